#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <thread>
#include <vector>

#include "common/platform/mutex.h"

namespace CommonAbility {

// Threads for work that must not run on the caller's: batches that fan out, and
// jobs that run later.
//
// It grows with the work that waits, up to 32 threads, so that a job which waits
// for others of the pool does not keep them from starting. Safe from any thread.
class DriveThreadPool {
 public:
  DriveThreadPool() = default;
  ~DriveThreadPool();
  DriveThreadPool(const DriveThreadPool&) = delete;
  DriveThreadPool& operator=(const DriveThreadPool&) = delete;

  // The pool of the process; it stops when the process ends.
  static DriveThreadPool& GetInstance();

  // Runs `work` on a thread of the pool, not before `delay` has passed. Work with
  // the same time starts in the order of the calls. False after Stop.
  bool Add(std::function<void()> work, std::chrono::milliseconds delay = std::chrono::milliseconds(0));

  // Drops what has not begun and waits for what runs. Not to be called on a
  // thread of the pool.
  void Stop();

 private:
  using Time = std::chrono::steady_clock::time_point;

  void RunWorker();
  // Waits for work that is due; empty when the pool stops.
  std::function<void()> Take();

  platform::Mutex lock;
  std::condition_variable_any changed;
  std::multimap<Time, std::function<void()>> waiting GUARDED_BY(lock);
  std::vector<std::thread> workers GUARDED_BY(lock);
  std::size_t idle GUARDED_BY(lock) = 0;
  bool stopped GUARDED_BY(lock) = false;
};

}  // namespace CommonAbility
