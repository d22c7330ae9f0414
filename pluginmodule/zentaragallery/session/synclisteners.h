#pragma once

#include <vector>

#include "common/platform/mutex.h"
#include "sync/isynccallback.h"

// Hands what the sync tells to all commands that want to know. Safe from any
// thread; the listeners are called one after the other, under a lock.
class SyncListeners : public ISyncCallback {
 public:
  void Add(ISyncCallback* listener);
  // It is not called any more after the return.
  void Remove(ISyncCallback* listener);

  void Notify(std::int32_t) override {}
  void ShowWindow() override {}
  void OnSyncStatus(SyncStatus status, std::int64_t count) override;

 private:
  platform::Mutex lock;
  std::vector<ISyncCallback*> listeners GUARDED_BY(lock);
};
