#pragma once

#include <cstdint>

#include "sync/syncstatus.h"

// Who shows what the sync does. Called on the sync's threads and on whoever
// pauses it: an implementation posts to its window and returns.
class ISyncCallback {
 public:
  virtual ~ISyncCallback() = default;

  // Asks the window to show itself: 0 albums are loaded, 1 they could not be.
  virtual void Notify(std::int32_t state) = 0;
  virtual void OnSyncStatus(SyncStatus status, std::int64_t count) = 0;
  // Centres the window and shows it.
  virtual void ShowWindow() = 0;
};
