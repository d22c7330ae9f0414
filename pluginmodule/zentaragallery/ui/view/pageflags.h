#pragma once

#include <atomic>

#include "common/platform/window.h"

// What the windows of the page tell each other. Written on the user-interface
// thread; read anywhere.
namespace GlobalData {

inline std::atomic<HWND> viewerWnd{nullptr};  // the picture viewer
inline std::atomic<HWND> fullWnd{nullptr};    // the viewer on the full screen
inline std::atomic<HWND> albumWnd{nullptr};   // the album panel
inline std::atomic<HWND> attrWnd{nullptr};    // the viewer's details

// The grid is to put itself on the picture that the viewer showed.
inline std::atomic<bool> returningFromViewer{false};
// A picture was asked for by its path: its selection stays until it is in sight.
inline std::atomic<bool> searchJump{false};
inline std::atomic<bool> searchJumpPending{false};
// The number label has no selection to tell and shows the date in sight.
inline std::atomic<bool> dateLineMode{true};
// The tip under the multi-select button is still to be shown: nobody has dismissed it.
inline std::atomic<bool> multiBubbleShown{true};
inline std::atomic<bool> cloudDisabled{false};
inline std::atomic<bool> dragging{false};

}  // namespace GlobalData
