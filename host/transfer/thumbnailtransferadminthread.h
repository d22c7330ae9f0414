#pragma once

#include <condition_variable>
#include <deque>
#include <memory>

#include "common/platform/mutex.h"
#include "host/base/modulebase.h"

namespace ZentaraDeskClient {

// One piece of background work. Once the worker runs, exactly one of these
// operations is called, once.
class BackgroundTask {
 public:
  virtual ~BackgroundTask() = default;
  virtual void BusinessRun() = 0;  // on the worker
  virtual void Dropped() {}        // stopped before its turn; on the worker
};

// A module with a queue of background tasks and one worker, its own thread.
//
// Whenever tasks wait, the worker calls RunTask, which takes tasks and runs them
// one after another until none is left. Which comes next is the derived class's
// choice: TakeNewest for what the user looks at, TakeOldest for the rest. Events
// of the module wait while RunTask runs.
//
// Tasks may be added from any thread, before Start too. Stop lets the running
// task end and drops those that wait; Finish runs them first. The most derived
// class calls one of the two in its destructor.
class ThumbnailTransferAdminThread : public ModuleBase {
 public:
  // False once the thread is stopping or has stopped; the task is then the
  // caller's still, and nothing was called.
  bool AddTask(std::shared_ptr<BackgroundTask> task);

  // Waits until no task waits or runs, or the thread has stopped. Not to be
  // called on the worker or without a thread.
  void WaitUntilIdle();

  // Takes no more tasks, runs those that wait, and stops.
  void Finish();

 protected:
  using Task = std::shared_ptr<BackgroundTask>;

  // Runs what waits, the oldest first.
  virtual void RunTask();

  // The next task; null when none waits or the thread is to stop.
  Task TakeOldest();
  Task TakeNewest();

  // A derived class that overrides these calls them too.
  void OnInit() override;
  void OnDestroy() override;

 private:
  void Schedule() REQUIRES(taskLock);
  void RunScheduled();

  platform::Mutex taskLock;
  std::condition_variable_any becameIdle;
  std::deque<Task> tasks GUARDED_BY(taskLock);
  bool accepting GUARDED_BY(taskLock) = true;
  bool finishing GUARDED_BY(taskLock) = false;
  bool scheduled GUARDED_BY(taskLock) = false;
};

}  // namespace ZentaraDeskClient
