#pragma once

#include <QtCore/qnamespace.h>
#include <QPoint>
#include <QString>

#include "common/platform/window.h"

class CControlUI;
class QMimeData;

using platform::HWND;
using platform::LPARAM;
using platform::LRESULT;
using platform::UINT;
using platform::WPARAM;

// What happened to a control. A type per line of input; buttons are told apart
// by their types, so a handler needs one switch.
enum class EventType {
  ButtonDown,
  ButtonUp,
  DoubleClick,
  RButtonDown,
  RButtonUp,
  RDoubleClick,
  MouseMove,
  MouseEnter,
  MouseLeave,
  Wheel,
  KeyDown,
  KeyUp,
  SetFocus,
  KillFocus,
  ContextMenu,
  SetCursor,
  Timer,
  TouchPress,
  TouchMove,
  TouchRelease,
};

// One event on its way from the control under it to the window.
//
// A control sees its own events first and, when nobody has set `handled`, those
// of its children after them; `pSender` stays the control that the event
// happened on, `ptMouse` is in the pixels of the control that is asked.
struct TEventUI {
  EventType Type{};
  CControlUI* pSender = nullptr;
  QPoint ptMouse{};
  QPoint ptScreen{};
  Qt::KeyboardModifiers modifiers{};
  int key = 0;         // a Qt::Key; keys only
  int wheelDelta = 0;  // 120 is one notch away from the user; wheel only
  bool handled = false;
  WPARAM wParam = 0;  // key: the Qt::Key; timer: its id; wheel: 0 up, 1 down
  LPARAM lParam = 0;
};

// What a control tells its window. Sent at once, on the user-interface thread.
//
// Types: "click", "valuechanged", "textchanged", "return", "escape",
// "itemselect", "selectchanged", "menu", "menuclick", "windowinit", "setfocus",
// "killfocus", "link", "dbclick", "timer".
struct TNotifyUI {
  QString sType{};
  CControlUI* pSender = nullptr;
  WPARAM wParam = 0;
  LPARAM lParam = 0;
  QPoint ptMouse{};   // on the screen
  QString sDetail{};  // "link": the address; "menuclick": the item's name
};

class INotifyUI {
 public:
  virtual ~INotifyUI() = default;
  virtual void Notify(TNotifyUI& message) = 0;
};

// Sees every message to a window before the window does.
class IMessageFilterUI {
 public:
  virtual ~IMessageFilterUI() = default;
  // Sets `handled` to keep the message from other filters and the window.
  virtual LRESULT MessageHandler(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) = 0;
};

// Message numbers of the toolkit itself.
inline constexpr UINT WM_DRAG_ENTER = 2024;
inline constexpr UINT WM_DRAG_LEAVE = 2026;
inline constexpr UINT WM_DRAG_OVER = 2027;
inline constexpr UINT WM_DRAG_RELEASE = 2028;
// Word: the new dots per inch. A window on a screen of another resolution gets
// the first, the windows embedded in it the second.
inline constexpr UINT WM_DPI_CHANGED = 3267;
inline constexpr UINT WM_DPI_FORWARD = 3258;

// The long parameter of the drag messages points to one of these, for the time
// of the call only. The handler sets `accepted`; `action` is what the drag
// source is told.
struct DragDataUI {
  const QMimeData* data = nullptr;  // null for WM_DRAG_LEAVE
  QPoint point{};                   // in the window
  QPoint screen{};
  Qt::DropActions possible{};
  Qt::DropAction action = Qt::CopyAction;
  bool fromHere = false;  // the drag began in this program
  bool accepted = false;
};
