#pragma once

#include "common/platform/window.h"

// Message numbers between workers, the model and the windows.
inline constexpr platform::UINT WM_HOME_GALLERY_DATA = 3213;    // Album to the host's window: 0, file count
inline constexpr platform::UINT WM_GALLERY_ALBUM_COVER = 3214;  // Album to the host's window: 0, path
inline constexpr platform::UINT WM_FRAME_SYNC_END = 3095;       // SyncHelper to the host's frame window: 0, 0
inline constexpr platform::UINT WM_FRAME_SYNC_BEGIN = 3096;     // SyncHelper to the host's frame window: 0, 0
inline constexpr platform::UINT WM_FRAME_SILENT_USER = 3356;    // V2 calls to the frame: 0, 0
inline constexpr platform::UINT WM_FRAME_DATA_HIDE_REQUEST_FAILED = 3363;  // V2 calls to the frame: 0, 0
