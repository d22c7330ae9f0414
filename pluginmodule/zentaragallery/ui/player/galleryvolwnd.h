#pragma once

#include <QPointer>

#include "common/toolkit/windowimplbase.h"

class CPlayControlUI;
class CSliderUI;

// The volume above the bar: a slider and a button that turns the sound off and on.
// Closes with the focus and on a click beside it.
class GalleryVolWnd : public WindowImplBaseEx {
 public:
  GalleryVolWnd(CPlayControlUI& opener, QWidget& pressed);
  QString GetSkinFile() override { return QStringLiteral("VLC/Vol.xml"); }
  const char* GetWindowClassName() const override { return "GalleryVolWnd"; }
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;
  // Over `button`, with the bottom at its top.
  static void Open(CPlayControlUI& bar, QWidget& button);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void closeEvent(QCloseEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void ShowVolume();
  void ShowSound();

  const QPointer<CPlayControlUI> bar;
  const QPointer<QWidget> button, focusBefore;
  CSliderUI* slider = nullptr;
};
