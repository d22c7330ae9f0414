#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <optional>
#include <vector>

#include "common/platform/mutex.h"
#include "host/base/tavishthread.h"

namespace CommonAbility {

// A thread with a queue: runs what is posted to it, in order, and its timers.
//
// Posting is safe from any thread, before Start too. What still waits when the
// thread stops is dropped.
class MsgThreadAbility : public tavishThread {
 public:
  using Work = std::function<void()>;

  void PostTask(Work work);

  // Calls TimerExpired(id) every `period` from now on, on this thread; a second
  // call for one id changes its period. A timer that falls behind skips.
  void SetTimer(int id, std::chrono::milliseconds period);
  void KillTimer(int id);

 protected:
  // On this thread, before the first task and after the last one.
  virtual void ThreadStarted() {}
  virtual void ThreadStopping() {}
  virtual void TimerExpired(int id);

  void Run() final;
  void OnStopRequested() override;

 private:
  using Time = std::chrono::steady_clock::time_point;
  struct Timer {
    int id;
    std::chrono::milliseconds period;
    Time due;
  };

  std::optional<Work> WaitForWork();
  std::optional<Work> TakeDue() REQUIRES(queueLock);
  void Wait() REQUIRES(queueLock);

  platform::Mutex queueLock;
  std::condition_variable_any arrived;
  std::deque<Work> waiting GUARDED_BY(queueLock);
  std::vector<Timer> timers GUARDED_BY(queueLock);
};

}  // namespace CommonAbility
