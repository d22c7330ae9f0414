#pragma once

#include <functional>
#include <vector>

#include "common/duilib_business/windowbusybaseshadow.h"
#include "model/records/galleryfile.h"

class CEditUI;

// Asks where originals are to go. A choice, and "do not ask again", are kept; the files
// are ordered from the page then, which fetches them into the standard folder.
class DownloadPicWnd : public WindowBusyBaseShadow {
 public:
  DownloadPicWnd(std::vector<GalleryFile::Ptr> wanted, std::function<QString(const QString&)> choose)
      : files(std::move(wanted)), chooseFolder(std::move(choose)) {}

  QString GetSkinFile() override { return QStringLiteral("Gallery/DonwloadPic/DownLoadPic.xml"); }
  const char* GetWindowClassName() const override { return "CDownloadPicWnd"; }
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;

  // Why a folder cannot take downloads, as a text key; empty for a good one.
  static QString Refused(const QString& folder);
  // Where downloads go without being asked.
  static QString StandardFolder();
  static bool AsksEachTime();

 private:
  void Check();
  void OnOk();
  void OnOpenFile();

  const std::vector<GalleryFile::Ptr> files;
  const std::function<QString(const QString&)> chooseFolder;
  CEditUI* edit = nullptr;
};
