#pragma once

#include "common/duilib_business/windowbusybase.h"

// A dialog with a shadow around it, modal over a dim layer. The toolkit draws the
// shadow, which follows the dialog.
class WindowBusyBaseShadow : public WindowBusyBase {
 public:
  // Opens over the window around `owner`, with a dim layer over all of that, runs
  // until it is closed, and gives the result. The focus goes back to where it was.
  int RunOver(QWidget& owner);

  void InitWindow() override;

 protected:
  void Sub_OnDPIChanged() override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void ShadowCreate();
  void FitContents();
};

// The dim layer under a dialog: follows its window, and goes when the dialog says so.
class UIBackGroundMessWnd : public WindowBusyBase {
 public:
  const char* GetWindowClassName() const override { return "UIChildMessWnd"; }
  QString GetSkinFile() override { return QStringLiteral("Gallery/BackGroundWnd.xml"); }
  LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override;

  // The topmost one that is open; null without a dialog.
  static HWND Top();
  void InitWindow() override;
  void OnFinalMessage() override;

  static constexpr UINT kDialogClosed = 3186;
  static constexpr UINT kResized = 3189;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent*) override {}
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  HWND handle = nullptr;
};
