#pragma once

#include <vector>

#include "common/duilib_business/windowbusybaseshadow.h"
#include "common/toolkit/list.h"
#include "model/records/album.h"

// The list of a dialog that chooses an album: a turn of the wheel moves the choice by
// one.
class CListAlbumExUI : public CListUI {
 public:
  using CListUI::CListUI;
  QString GetClass() const override { return QStringLiteral("ListAlbumEx"); }
  void DoEvent(TEventUI& event) override;
};

// Chooses an album of the user, or makes one: the target of a move ("CMovePicWnd") or of
// an upload. RunOver gives IDOK behind a choice.
class MovePicWnd : public WindowBusyBaseShadow {
 public:
  // `without` is not offered.
  explicit MovePicWnd(Album::Ptr without) : left(std::move(without)) {}

  QString GetSkinFile() override { return QStringLiteral("Gallery/MovePic/MoveWnd.xml"); }
  const char* GetWindowClassName() const override { return "CMovePicWnd"; }
  CControlUI* CreateControl(const QString& element) override;
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;
  bool OnKey(TEventUI& event) override;
  const Album::Ptr& Chosen() const { return chosen; }

 protected:
  virtual QString AddButton() const { return QStringLiteral("btn_add_album"); }

 private:
  void Fill();
  void AddRow(const Album::Ptr& album);
  void FillTiles();
  void Choose(int index);
  void TellChoice(int index);
  void OnAdd();

  const Album::Ptr left;
  CListUI* list = nullptr;
  CContainerUI* tiles = nullptr;
  std::vector<Album::Ptr> albums;
  Album::Ptr chosen;
};

class UpLoadFilesWnd : public MovePicWnd {
 public:
  UpLoadFilesWnd() : MovePicWnd(nullptr) {}
  QString GetSkinFile() override { return QStringLiteral("Gallery/RightTop/UploadWnd.xml"); }
  const char* GetWindowClassName() const override { return "UpLoadFilesWnd"; }

 protected:
  QString AddButton() const override { return QStringLiteral("btn_add"); }
};
