#pragma once

#include <functional>

#include "common/duilib_business/windowbusybaseshadow.h"

class CEditUI;

// Asks where originals are to go. RunOver gives IDOK behind a choice; the choice and
// "do not ask again" are kept.
class DownloadPicWnd : public WindowBusyBaseShadow {
 public:
  explicit DownloadPicWnd(std::function<QString(const QString&)> choose) : chooseFolder(std::move(choose)) {}

  QString GetSkinFile() override { return QStringLiteral("Gallery/DonwloadPic/DownLoadPic.xml"); }
  const char* GetWindowClassName() const override { return "CDownloadPicWnd"; }
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;

  QString Folder() const { return folder; }

  // Why a folder cannot take downloads, as a text key; empty for a good one.
  static QString Refused(const QString& folder);
  // Where downloads go without being asked.
  static QString StandardFolder();
  static bool AsksEachTime();

 private:
  void Check();
  void OnOk();
  void OnOpenFile();

  const std::function<QString(const QString&)> chooseFolder;
  CEditUI* edit = nullptr;
  QString folder;
};
