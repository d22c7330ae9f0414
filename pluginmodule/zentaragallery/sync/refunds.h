#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>

#include "common/platform/mutex.h"
#include "sync/synccycle.h"

class CloudLock;
class CycleTurns;

// Contents that are given back to the cloud by tasks, which hold the lock until the
// last of them has ended.
class Refunds {
 public:
  Refunds(SyncCycle& of, CloudLock& with, CycleTurns& between) : cycle(of), lock(with), turns(between) {}

  // As SyncHelper::RefundGetLock, for whoever has the turn.
  bool RefundGetLock(const SyncCycle::Ids& fileIds, std::int32_t type, bool force);
  // Whether tasks hold the lock.
  bool HoldLock() const { return refundHoldsLock > 0; }
  // Behind a turn: gives the lock back when the last task has ended meanwhile.
  void ReleaseWhenEnded();
  // Waits until no task holds the lock, as long as `goOn`, which is asked several times
  // a second, says so.
  void WaitUntilEnded(const std::function<bool()>& goOn);

  // Uploads that were pending when the program ended are taken up behind the next
  // cycle.
  void ResumeLater() { toResume = true; }
  void Resume();
  void Forget() { toResume = false; }

 private:
  static bool BuildRefundTasks(const SyncCycle::Ids& fileIds, std::int32_t type, bool force,
                               std::vector<RefundTask>& tasks);
  void EndOne();

  SyncCycle& cycle;
  CloudLock& lock;
  CycleTurns& turns;
  std::atomic<int> refundHoldsLock{0};  // calls whose tasks have not ended
  std::atomic<bool> ended{false};       // nobody has looked since whether the lock can go
  std::atomic<bool> toResume{false};    // those that were pending at the start
  platform::Mutex endLock;              // a leaf, of WaitUntilEnded alone
  std::condition_variable_any oneEnded;
};
