#pragma once

#include <QImage>

#include "common/toolkit/tcontrol.h"
#include "common/toolkit/windowimplbase.h"

// The picture of the film: the frames of the player, contained in black. Element
// "VideoPicture".
class CVideoPictureUI : public CWidgetUI {
 public:
  explicit CVideoPictureUI(QWidget* parent = nullptr) : CWidgetUI(parent) {}
  QString GetClass() const override { return QStringLiteral("VideoPictureUI"); }
  void SetPicture(QImage image);
  const QImage& Picture() const { return picture; }
  // Where the picture is drawn.
  QRect PictureRect() const;
  void PaintBkImage(QPainter& painter) override;

 private:
  QImage picture;
};

// The window of the film: takes what libVLC's threads post and shows its pictures.
// Owned by the player.
class CDuiMainWnd : public WindowImplBaseEx {
 public:
  QString GetSkinFile() override { return QStringLiteral("VLC/MainWindow.xml"); }
  const char* GetWindowClassName() const override { return "DuiMainWnd"; }
  CControlUI* CreateControl(const QString& element) override;
  void InitWindow() override;
  LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override;
  // Every key is the viewer's.
  bool OnKey(TEventUI& event) override;

  CVideoPictureUI* Picture() const { return picture; }
  // A ring over the picture, while nothing comes.
  void ShowStall(bool on);
  bool IsStalled() const { return stall && stall->IsVisible(); }
  // Black until the next film's first picture.
  void Clear();

 private:
  CVideoPictureUI* picture = nullptr;  // "Player"
  CControlUI* playMove = nullptr;
  CControlUI* stall = nullptr;
};

// The black placeholder with a ring, until the film plays.
class VlcLoad : public WindowImplBaseEx {
 public:
  QString GetSkinFile() override { return QStringLiteral("VLC/VlcLoad.xml"); }
  const char* GetWindowClassName() const override { return "VLCLoad"; }
};

// Says over the viewer's lower edge why a film does not play; goes by itself.
class VLCErrorWnd : public WindowImplBaseEx {
 public:
  explicit VLCErrorWnd(QString key) : textKey(std::move(key)) { setAttribute(Qt::WA_DeleteOnClose); }
  QString GetSkinFile() override { return QStringLiteral("VLC/VLCErrorWnd.xml"); }
  const char* GetWindowClassName() const override { return "CVLCErrorWnd"; }
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;
  // At the lower start corner of `place`.
  void PlaceIn(const QRect& place);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  const QString textKey;
};
