#include "host/transfer/thumbnailtransferadminthread.h"

#include <utility>

namespace ZentaraDeskClient {

bool ThumbnailTransferAdminThread::AddTask(std::shared_ptr<BackgroundTask> task) {
  platform::MutexLock hold(taskLock);
  if (!accepting) return false;
  tasks.push_back(std::move(task));
  if (!scheduled) Schedule();
  return true;
}

void ThumbnailTransferAdminThread::WaitUntilIdle() {
  platform::MutexLock hold(taskLock);
  while (scheduled) becameIdle.wait(taskLock);
}

void ThumbnailTransferAdminThread::Finish() {
  {
    platform::MutexLock hold(taskLock);
    accepting = false;
    finishing = true;  // The worker may not even have begun.
    while (scheduled && IsRunning()) becameIdle.wait(taskLock);
  }
  Stop();
}

void ThumbnailTransferAdminThread::RunTask() {
  while (const Task task = TakeOldest()) task->BusinessRun();
}

ThumbnailTransferAdminThread::Task ThumbnailTransferAdminThread::TakeOldest() {
  platform::MutexLock hold(taskLock);
  if (tasks.empty() || StopRequested()) return nullptr;
  Task task = std::move(tasks.front());
  tasks.pop_front();
  return task;
}

ThumbnailTransferAdminThread::Task ThumbnailTransferAdminThread::TakeNewest() {
  platform::MutexLock hold(taskLock);
  if (tasks.empty() || StopRequested()) return nullptr;
  Task task = std::move(tasks.back());
  tasks.pop_back();
  return task;
}

void ThumbnailTransferAdminThread::OnInit() {
  platform::MutexLock hold(taskLock);
  accepting = !finishing;
}

void ThumbnailTransferAdminThread::OnDestroy() {
  std::deque<Task> dropped;
  {
    platform::MutexLock hold(taskLock);
    accepting = false;
    finishing = false;
    dropped.swap(tasks);
  }
  for (const Task& task : dropped) task->Dropped();
  platform::MutexLock hold(taskLock);
  scheduled = false;
  becameIdle.notify_all();
}

void ThumbnailTransferAdminThread::Schedule() {
  scheduled = true;
  PostTask([this] { RunScheduled(); });
}

void ThumbnailTransferAdminThread::RunScheduled() {
  RunTask();
  platform::MutexLock hold(taskLock);
  if (!tasks.empty()) {
    Schedule();
    return;
  }
  scheduled = false;
  becameIdle.notify_all();
}

}  // namespace ZentaraDeskClient
