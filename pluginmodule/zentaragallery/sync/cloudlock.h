#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <thread>

#include "common/platform/mutex.h"
#include "sync/synccycle.h"

class CloudPull;

// The cloud's lock, under which everything is changed there, and the thread that renews
// it while it is held. Callers that take it must not do so at the same time.
class CloudLock {
 public:
  CloudLock(SyncCycle& of, CloudPull& with) : cycle(of), pull(with) {}

  // Takes the lock and pulls what came before it; true at once when it is held.
  bool Lock();
  // Safe from any thread, and without a lock.
  void Release();

 private:
  void KeepLock(std::int32_t intervalSeconds);
  void StopKeeper(bool stop);
  bool KeeperStopsBefore(std::chrono::steady_clock::time_point end);

  SyncCycle& cycle;
  CloudPull& pull;
  std::atomic<int> lockCount{0};

  platform::Mutex keeperStopLock;  // a leaf, of the keeper's wait alone
  std::condition_variable_any keeperStops;
  bool keepLockStop GUARDED_BY(keeperStopLock) = false;

  platform::Mutex keeperLock;
  std::thread keepLockThread GUARDED_BY(keeperLock);
};
