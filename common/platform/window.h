#pragma once

#include <cstdint>
#include <functional>

// Window handles and messages, as workers and the presentation use them to
// reach each other, without a toolkit.
//
// A handle is an entry in a process-wide registry. Whoever makes a window
// registers a handler and a way to run something on the window's own thread;
// a worker posts to the handle and never touches a control. With no window
// registered every call is a look-up that finds nothing.
//
// Safe from any thread. A handle is never reused in a process, so a message to
// a window that has closed is dropped and reaches no other.
namespace platform {

struct WindowTag;
using HWND = WindowTag*;
using UINT = std::uint32_t;
using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;
using LRESULT = std::intptr_t;

// Public message numbers (documented Win32 values).
inline constexpr UINT WM_CLOSE = 0x0010;
inline constexpr UINT WM_KEYDOWN = 0x0100;
inline constexpr UINT WM_USER = 0x0400;

// Handles one message; runs on the window's thread.
using WindowHandler = std::function<LRESULT(UINT message, WPARAM word, LPARAM value)>;
// Runs its argument on the window's thread, in order of calls, not within the
// call itself.
using WindowDispatcher = std::function<void(std::function<void()>)>;

// The calling thread becomes the window's thread.
HWND RegisterWindow(WindowHandler handler, WindowDispatcher dispatcher);
// After the return no message reaches the handler any more, queued ones
// included. Unknown handles are ignored.
void UnregisterWindow(HWND window);

bool IsWindow(HWND window);

// Queues the message and returns at once; false when the window is not there.
bool PostMessageW(HWND window, UINT message, WPARAM word, LPARAM value);

// Delivers the message and waits for its result; directly on the window's own
// thread, through its queue from another. 0 when the window is not there or
// closes meanwhile.
LRESULT SendMessageW(HWND window, UINT message, WPARAM word, LPARAM value);

}  // namespace platform

using platform::HWND;
