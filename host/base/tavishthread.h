#pragma once

#include <atomic>
#include <string_view>
#include <thread>

#include "common/platform/mutex.h"

namespace CommonAbility {

// A thread as an object. A derived class says in Run what it does and looks at
// StopRequested between its steps.
//
// Start and Stop may be called from any thread. The most derived class calls
// Stop in its destructor: later its Run would work on a part that is gone, and
// an object that still has its thread ends the process.
class tavishThread {
 public:
  tavishThread() = default;
  virtual ~tavishThread() = default;
  tavishThread(const tavishThread&) = delete;
  tavishThread& operator=(const tavishThread&) = delete;

  // Starts the thread under a name for debuggers. False when it runs already.
  // After a Stop it can be started again.
  bool Start(std::string_view name);

  // Asks the thread to end and waits until it has; called on the thread itself
  // it only asks. Without a thread it returns at once.
  void Stop();

  bool IsRunning() const { return running.load(std::memory_order_acquire); }
  bool StopRequested() const { return stopRequested.load(std::memory_order_acquire); }

 protected:
  virtual void Run() = 0;
  // Called by Stop once StopRequested is true, on the thread that stops: ends a
  // wait of Run.
  virtual void OnStopRequested() {}

 private:
  bool OnOwnThread() const { return std::this_thread::get_id() == own.load(std::memory_order_acquire); }

  std::atomic<bool> running{false};
  std::atomic<bool> stopRequested{false};
  std::atomic<std::thread::id> own{};
  platform::Mutex lifeLock;
  std::thread thread GUARDED_BY(lifeLock);
};

}  // namespace CommonAbility
