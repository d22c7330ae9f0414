#pragma once

#include <QPointer>
#include <QWidget>
#include <memory>

#include "common/toolkit/dialogbuilder.h"
#include "common/toolkit/paintmanager.h"

class QEventLoop;

// What kind of window Create makes.
enum class WindowStyle {
  Frame,   // with a frame of the desktop
  Child,   // a part of its parent
  Dialog,  // over its parent's window, in its middle, as large as its contents
  Popup,   // over its parent's window, where it is put; closes on a click beside it
};

inline constexpr int IDOK = 1;
inline constexpr int IDCANCEL = 2;

// A window made from a skin, which workers reach by its handle.
//
// The life of a window: constructor, Create (skin, InitWindow, "windowinit"),
// messages, Close (OnFinalMessage). A window that is closed or deleted has no
// handle any more; a message on its way to it is dropped. Who made the window
// deletes it, unless WA_DeleteOnClose is set; a parent deletes its children.
// What can be deleted with its parent while somebody waits in ShowModal is made
// on the heap and held by a QPointer.
class WindowImplBaseEx : public QWidget, public INotifyUI, public IDialogBuilderCallback {
 public:
  WindowImplBaseEx();
  ~WindowImplBaseEx() override;

  // "Gallery/MainPage.xml"; empty for a window without a skin.
  virtual QString GetSkinFile() { return {}; }
  virtual const char* GetWindowClassName() const { return "Window"; }

  // `rect` in pixels of the parent, or of the screen; an empty one takes the
  // size of the contents. Null when the skin cannot be built.
  HWND Create(QWidget* parent, const QString& name, WindowStyle style, const QRect& rect = {});
  HWND Create(HWND parent, const QString& name, WindowStyle style, const QRect& rect = {});

  HWND GetHWND() const { return manager.GetPaintWindow(); }
  CPaintManagerUI& Manager() { return manager; }
  const CPaintManagerUI& Manager() const { return manager; }
  CControlUI* FindControl(const QString& name) const { return manager.FindControl(name); }
  // Null as well when the control is of another class.
  template <class T>
  T* Find(const QString& name) const {
    return dynamic_cast<T*>(FindControl(name));
  }

  // Runs the window until it is closed and gives the result of Close. A dialog
  // keeps the focus inside and gives it back; whoever opens one lays a dim layer
  // over the rest before.
  int ShowModal();
  void ShowWindow(bool show = true, bool takeFocus = true);
  // Ends the window; closes the windows inside it before, and those that it has
  // opened elsewhere. Does nothing twice.
  void Close(int result = IDCANCEL);
  // It lies in another window than the one that has opened it, and ends with that.
  void CloseWith(QWidget& widget) { opener = &widget; }
  void CenterWindow();

  // Drags over the window arrive as messages 2024, 2026, 2027 and 2028.
  void EnableDragDrop(bool enable = true) { setAcceptDrops(enable); }
  // The keys of Tab stay with the window's controls (the default).
  void EnableTab(bool enable) { tabs = enable; }

  // Builds the controls as a child of the window; the base takes GetSkinFile.
  virtual CControlUI* BuildRoot();
  // After the skin was built.
  virtual void InitWindow() {}
  // The last call; the handle is gone.
  virtual void OnFinalMessage() {}
  void Notify(TNotifyUI& message) override;
  // Messages that no filter took. WM_CLOSE closes the window.
  virtual LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled);
  // Keys that no control took. The base closes a dialog on Escape.
  virtual bool OnKey(TEventUI& event);
  CControlUI* CreateControl(const QString& element) override;

 protected:
  // Makes the window and those inside it anew for a resolution.
  void OnDpi(int dpi);
  // What lies below a dialog or a popup; null for other windows.
  QWidget* Shadow() const { return shadow; }
  void closeEvent(QCloseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void keyReleaseEvent(QKeyEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void showEvent(QShowEvent* event) override;
  bool focusNextPrevChild(bool next) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dragMoveEvent(QDragMoveEvent* event) override;
  void dragLeaveEvent(QDragLeaveEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  LRESULT Dispatch(UINT uMsg, WPARAM wParam, LPARAM lParam);
  bool BuildSkin();
  void Register();
  void Unregister();
  void CloseInside();
  void FollowScreen();
  bool Drag(UINT message, QDropEvent& event);

  CPaintManagerUI manager;
  QEventLoop* modal = nullptr;
  QPointer<QWidget> focusBefore;
  QPointer<QWidget> opener;
  QPointer<QWidget> shadow;
  WindowStyle windowStyle = WindowStyle::Frame;
  int result = IDCANCEL;
  bool closing = false;
  bool tabs = true;
};

namespace toolkit {

// The window of a handle; null when it is not a window of this toolkit or is
// gone. User-interface thread only.
WindowImplBaseEx* WidgetOf(HWND handle);
// The widget itself, or the next one up that is such a window; null without one.
// User-interface thread only.
const WindowImplBaseEx* WindowAround(const QWidget* widget);

}  // namespace toolkit
