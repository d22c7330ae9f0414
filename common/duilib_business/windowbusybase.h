#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "common/toolkit/overlays.h"
#include "common/toolkit/windowimplbase.h"

// To the host's window: word is the handle of a window over it that opens, or goes.
inline constexpr UINT WM_BUSY_CHILD_INIT = 8524;
inline constexpr UINT WM_BUSY_CHILD_DESTROY = 8525;
// Like WM_DPI_CHANGED, from the host's window to those over it.
inline constexpr UINT WM_BUSY_DPI_CHANGED = 8527;

// Takes messages of a busy window before the window does.
class busyProxyInterface {
 public:
  virtual ~busyProxyInterface() = default;
  // Sets `handled` to keep the message.
  virtual LRESULT OnBusyMessage(UINT message, WPARAM word, LPARAM value, bool& handled) = 0;
};

// The base of windows that open over the host's: the host's window knows its children,
// and all follow a change of resolution together. User-interface thread.
class WindowBusyBase : public WindowImplBaseEx {
 public:
  // The host's window, which the others tell of themselves; null: none does.
  static void SetTopWindow(HWND window);
  static HWND TopWindow();
  // Where lines of the log go; before the first window.
  static void SetLog(std::function<void(const std::string& line)> write);

  void AddDelegate(busyProxyInterface* delegate) { delegates.push_back(delegate); }
  const std::map<HWND, std::string>& Children() const { return childMap; }

  void InitWindow() override;
  void OnFinalMessage() override;
  void Notify(TNotifyUI& message) override;
  LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override;

 protected:
  static void Log(const std::string& line);
  // The subclass's data, on "windowinit" and on a "timer" put off to later.
  virtual void OnPrepareData() {}
  // Puts it off to the next "timer", once.
  void PrepareLater() { preparing = true; }
  virtual void Sub_OnDPIChanged() {}

 private:
  bool IsTop() const { return GetHWND() == TopWindow(); }
  void OnChildInitMsg(HWND child);
  void OnChildDestroyMsg(HWND child);
  void OnDPIChanged(UINT message, WPARAM dpi);
  // The same, told by the host's window; its children get the same message.
  void OnMyDpiChangedMsg(WPARAM dpi) { OnDPIChanged(WM_BUSY_DPI_CHANGED, dpi); }
  LRESULT HandleCustomMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled);

  std::vector<busyProxyInterface*> delegates;
  std::map<HWND, std::string> childMap;  // the data: its class
  HWND self = nullptr;
  bool preparing = false;
};
