#include "session/synclisteners.h"

#include <algorithm>

void SyncListeners::Add(ISyncCallback* listener) {
  platform::MutexLock hold(lock);
  listeners.push_back(listener);
}

void SyncListeners::Remove(ISyncCallback* listener) {
  platform::MutexLock hold(lock);
  std::erase(listeners, listener);
}

void SyncListeners::OnSyncStatus(SyncStatus status, std::int64_t count) {
  platform::MutexLock hold(lock);
  for (ISyncCallback* listener : listeners) listener->OnSyncStatus(status, count);
}
