#pragma once

#include <QPointer>
#include <utility>

#include "common/duilib_business/windowbusybase.h"

// A dialog with a shadow around it, modal over a dim layer. The toolkit draws the
// shadow, which follows the dialog.
class WindowBusyBaseShadow : public WindowBusyBase {
 public:
  // Opens over the window around `owner`, with a dim layer over all of that, runs
  // until it is closed, and gives the result. The focus goes back to where it was.
  // When `owner` or its window goes meanwhile, the result is IDCANCEL and the dialog
  // may be gone too: call it through an Asked, and touch nothing of the owner's then.
  int RunOver(QWidget& owner);

  void InitWindow() override;

 protected:
  void Sub_OnDPIChanged() override;
  bool eventFilter(QObject* watched, QEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  void ShadowCreate();
  void FitContents();
};

// A dialog for the time of a question. It belongs to the window that it lies over, and
// goes with it; else it goes here.
template <class Dialog>
class Asked {
 public:
  template <class... Arguments>
  explicit Asked(Arguments&&... arguments) : dialog(new Dialog(std::forward<Arguments>(arguments)...)) {}
  Asked(const Asked&) = delete;
  Asked& operator=(const Asked&) = delete;
  ~Asked() { delete dialog; }

  // For good only while nobody has let the dialog's window go: behind RunOver's IDOK.
  Dialog* operator->() const { return dialog; }
  int RunOver(QWidget& owner) { return dialog->RunOver(owner); }

 private:
  QPointer<Dialog> dialog;
};

// The dim layer under a dialog: follows its window, and goes when the dialog says so.
class UIBackGroundMessWnd : public WindowBusyBase {
 public:
  const char* GetWindowClassName() const override { return "UIChildMessWnd"; }
  QString GetSkinFile() override { return QStringLiteral("Gallery//BackGroundWnd.xml"); }
  LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override;

  // The topmost one that is open; null without a dialog.
  static HWND Top();
  void InitWindow() override;
  void OnFinalMessage() override;

  static constexpr UINT kDialogClosed = 3186;
  static constexpr UINT kResized = 3189;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void hideEvent(QHideEvent* event) override;
  void mousePressEvent(QMouseEvent*) override {}
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  HWND handle = nullptr;
};
