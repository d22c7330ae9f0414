#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>

namespace photocloud {

// Work that nobody waits for, one task after the other on a thread of its own.
//
// Bounded: what does not fit is left out, so a task must be something that comes
// up again or that `check` finds too. Safe to call from any thread. Ends after
// the running task.
class Background {
 public:
  Background();
  ~Background();
  Background(const Background&) = delete;
  Background& operator=(const Background&) = delete;

  // Adds a task unless one of the same name waits. One owner's tasks do not
  // fill the queue for the others. Returns false when it is left out.
  bool Add(std::int64_t owner, const std::string& name, std::function<void()> task);

  // True once the destructor runs; long tasks look at it between their steps.
  bool IsStopping() const;

  // Returns when nothing waits or runs.
  void WaitUntilIdle();

 private:
  struct Task {
    std::int64_t owner = 0;
    std::string name;
    std::function<void()> run;
  };

  void Run();

  mutable std::mutex queueLock;
  std::condition_variable changed;
  // Guarded by queueLock.
  std::deque<Task> waiting;
  std::set<std::string> names;
  std::map<std::int64_t, int> ofOwner;
  bool running = false;
  bool stopping = false;

  std::thread thread;
};

}  // namespace photocloud
