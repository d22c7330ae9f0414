#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <thread>

#include "common/platform/mutex.h"

// Calls a function again and again on a thread of its own, with a wait between.
//
// Start and Stop belong to one thread at a time; Wake may be called from any.
// Stop waits for the function to return, so it must not be called under a lock
// that the function takes; from within the function it only asks for the end.
class ThreadTimer {
 public:
  ThreadTimer() = default;
  ~ThreadTimer();
  ThreadTimer(const ThreadTimer&) = delete;
  ThreadTimer& operator=(const ThreadTimer&) = delete;

  // Health of the disk, asked before each call; from 4 on the call is left out.
  // Set before Start.
  std::function<std::int32_t()> diskHealth;

  // Nothing when it runs already. `runAfterWait` false: the function runs first.
  void Start(std::int64_t intervalMs, std::function<void()> function, bool runAfterWait);
  // Ends the present wait, or the coming one.
  void Wake();
  void Stop();
  bool IsRunning() const { return !expired; }

 private:
  void Run(std::int64_t intervalMs, const std::function<void()>& function, bool runAfterWait);
  void RunOnce(const std::function<void()>& function);
  void Wait(std::int64_t intervalMs);

  std::atomic<bool> expired{true};
  std::atomic<bool> stopRequested{false};
  std::atomic<bool> wakeRequested{false};
  platform::Mutex lock;               // with `ended`, which wakes a waiting thread at a stop
  std::condition_variable_any ended;  // and woken
  std::thread thread;
};
