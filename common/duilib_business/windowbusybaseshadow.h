#pragma once

#include "common/duilib_business/windowbusybase.h"

// A dialog with rounded corners and a shadow around it, modal over a dim layer.
//
// Where nothing composes translucent windows the corners stay square and the edge
// alone remains.
class WindowBusyBaseShadow : public WindowBusyBase {
 public:
  // Opens over the window around `owner`, with a dim layer over all of that, runs
  // until it is closed, and gives the result. The focus goes back to where it was.
  int RunOver(QWidget& owner);

  void InitWindow() override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void Sub_OnDPIChanged() override;

 private:
  void ShadowCreate();
};

// The dim layer under a dialog: follows its window, and goes when the dialog says so.
class UIBackGroundMessWnd : public WindowBusyBase {
 public:
  const char* GetWindowClassName() const override { return "UIChildMessWnd"; }
  QString GetSkinFile() override { return QStringLiteral("Gallery/BackGroundWnd.xml"); }
  LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override;

  static constexpr UINT kDialogClosed = 3186;
  static constexpr UINT kResized = 3189;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent*) override {}
};
