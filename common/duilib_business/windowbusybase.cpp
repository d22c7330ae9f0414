#include "common/duilib_business/windowbusybase.h"

#include <cstdio>

namespace {

HWND& Top() {
  static HWND window = nullptr;
  return window;
}

std::function<void(const std::string&)>& LogSink() {
  static std::function<void(const std::string&)> sink;
  return sink;
}

std::string Hex(HWND window) {
  char text[32];
  std::snprintf(text, sizeof text, "0x%zx", reinterpret_cast<std::size_t>(window));
  return text;
}

}  // namespace

void WindowBusyBase::SetTopWindow(HWND window) { Top() = window; }
HWND WindowBusyBase::TopWindow() { return Top(); }
void WindowBusyBase::SetLog(std::function<void(const std::string&)> write) { LogSink() = std::move(write); }

void WindowBusyBase::Log(const std::string& line) {
  if (LogSink()) LogSink()(line);
}

void WindowBusyBase::InitWindow() {
  self = GetHWND();
  Log("WindowBusyBase::InitWindow, hWnd=[" + Hex(self) + "]");
  if (!IsTop()) platform::SendMessageW(Top(), WM_BUSY_CHILD_INIT, reinterpret_cast<WPARAM>(self), 0);
}

void WindowBusyBase::OnFinalMessage() {
  Log("WindowBusyBase::OnFinalMessage, hWnd=[" + Hex(self) + "]");
  if (self != Top()) platform::SendMessageW(Top(), WM_BUSY_CHILD_DESTROY, reinterpret_cast<WPARAM>(self), 0);
}

void WindowBusyBase::Notify(TNotifyUI& message) {
  const bool deferred = message.sType == QStringLiteral("timer") && preparing;
  if (message.sType == QStringLiteral("windowinit") || deferred) {
    preparing = false;
    OnPrepareData();
  }
  WindowImplBaseEx::Notify(message);
}

void WindowBusyBase::OnChildInitMsg(HWND child) {
  const auto* window = toolkit::WidgetOf(child);
  childMap[child] = window ? window->GetWindowClassName() : "";
}

void WindowBusyBase::OnChildDestroyMsg(HWND child) {
  if (childMap.erase(child) == 0) Log("hwnd[" + Hex(child) + "] destory not in childMap");
}

void WindowBusyBase::OnDPIChanged(UINT message, WPARAM dpi) {
  Log("WindowBusyBase::OnDPIChanged uMsg=" + std::to_string(message) + ",hWnd=[" + Hex(GetHWND()) + "]");
  const int before = Manager().GetDPI();
  const QSize same = before > 0 ? size() * static_cast<double>(dpi) / before : size();
  OnDpi(static_cast<int>(dpi));
  Sub_OnDPIChanged();
  if (isWindow()) resize(same);
  for (const auto& [child, data] : childMap) {
    if (platform::IsWindow(child)) platform::SendMessageW(child, message, dpi, 0);
  }
}

LRESULT WindowBusyBase::HandleCustomMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) {
  for (auto* delegate : delegates) {
    const LRESULT result = delegate->OnBusyMessage(uMsg, wParam, lParam, handled);
    if (handled) return result;
  }
  return 0;
}

LRESULT WindowBusyBase::HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) {
  const LRESULT result = HandleCustomMessage(uMsg, wParam, lParam, handled);
  if (handled) return result;
  switch (uMsg) {
    case WM_BUSY_CHILD_INIT:
      handled = true;
      OnChildInitMsg(reinterpret_cast<HWND>(wParam));
      return 0;
    case WM_BUSY_CHILD_DESTROY:
      handled = true;
      OnChildDestroyMsg(reinterpret_cast<HWND>(wParam));
      return 0;
    case WM_DPI_CHANGED:
      handled = true;
      OnDPIChanged(uMsg, wParam);
      return 0;
    case WM_BUSY_DPI_CHANGED:
      handled = true;
      OnMyDpiChangedMsg(wParam);
      return 0;
    default:
      return WindowImplBaseEx::HandleMessage(uMsg, wParam, lParam, handled);
  }
}
