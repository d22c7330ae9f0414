#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "photocloud/base/mutex.h"

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
  // Waits for the next task; nothing at the end.
  std::optional<Task> Take();
  void Finish();

  mutable Mutex queueLock;
  Condition changed;
  std::deque<Task> waiting GUARDED_BY(queueLock);
  std::set<std::string> names GUARDED_BY(queueLock);
  std::map<std::int64_t, int> ofOwner GUARDED_BY(queueLock);
  bool running GUARDED_BY(queueLock) = false;
  bool stopping GUARDED_BY(queueLock) = false;

  std::thread thread;
};

}  // namespace photocloud
