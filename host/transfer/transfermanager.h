#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/transfer/transfertask.h"

// The queues of one module's transfers and the workers that run them, uploads
// and downloads side by side.
//
// Tasks of a kind start in the order in which they were added. A task that ends
// without success by itself is Failed and stays in the list until it is retried or
// deleted; a completed one leaves the queue, and its GetCompleteTask, if any, is
// stored and listed. Safe from any thread; callbacks run under no lock. A
// callback may add tasks, but not wait for any.
//
// A run that an outage of the service or the connection has ended is tried again
// by itself, 2, 10 and 60 s later, and then is Failed as after any other error.
// When the connection goes away, running and waiting tasks become PausedBySystem,
// and Waiting again when it is back; so does a task that such a failure meets
// while GlobalParamWrapper knows of no connection. A log-out ends everything: runs
// are stopped and waited for, and the queues emptied; rows of downloads stay for
// the user's next login.
class TransferManager {
 public:
  struct Figures {
    std::size_t waiting = 0, running = 0, paused = 0, failed = 0;
    std::size_t completed = 0;                // since the start or the last log-out
    std::int64_t bytes = 0, transferred = 0;  // of all tasks that are listed
    std::int64_t speed = 0;                   // bytes a second, running tasks in sum
  };
  using SteadyClock = std::function<std::chrono::steady_clock::time_point()>;

  // Visits the managers of all modules, as they made themselves known. None of
  // them goes away meanwhile; `visit` must not make or destroy one.
  static void ForEach(const std::function<void(TransferManager&)>& visit);

  TransferManager();
  virtual ~TransferManager();
  TransferManager(const TransferManager&) = delete;
  TransferManager& operator=(const TransferManager&) = delete;

  // Slots of the module.
  virtual bool GetHttpHeader(std::map<std::string, std::string>& headers) = 0;
  // Fills the queues from the database; the count of tasks.
  virtual std::size_t LoadTaskFromDB() = 0;
  virtual void DelAllTaskDB(TaskType kind) = 0;

  // Queue tasks. Where one of the same kind and transfer id is listed, the new
  // task is left out (false, and its WhenDone is not called): waiting and running
  // ones go on, one paused by the user stays so, one paused by the system or
  // failed starts anew. Only a failed upload gives way to the new one, since its
  // source may be another by now. One that is just being taken out is followed by
  // the new one.
  bool AddUpload(const TransferTask::Ptr& task);
  void AddDownloads(const std::vector<TransferTask::Ptr>& tasks, TaskStatus status);
  bool HasTask(TaskType kind, const std::string& transferId) const;

  // Take tasks out, rows and unfinished files included, once their runs have
  // ended.
  void DelTasks(const std::vector<std::string>& transferIds);
  void Pause(TaskType kind, const std::vector<std::string>& transferIds);
  // Paused and failed tasks wait again; one that waits for its next try is due.
  void Resume(TaskType kind, const std::vector<std::string>& transferIds);
  void PauseAll(TaskType kind);
  // Paused ones only.
  void ResumeAll(TaskType kind);
  // Starts failed tasks anew; how many.
  std::size_t RetryFailed(TaskType kind);
  // Takes all tasks of the kind but failed ones out of the queue and waits for
  // their runs to end. Rows stay.
  void StopAllTask(TaskType kind);

  Figures GetFigures(TaskType kind) const;
  // Listed tasks in their order, failed ones included; the finished transfers for
  // TaskType::Complete.
  std::vector<TransferTask::Ptr> Tasks(TaskType kind) const;
  // Finished transfers of earlier runs become the list; or it becomes empty, with
  // its table.
  void SetFinished(std::vector<TransferTask::Ptr> tasks);
  // One leaves the list, by the id of its row.
  void DropFinished(std::int64_t rowId);
  void ClearFinished();
  // Waits until no task of the kind waits or runs and all callbacks have
  // returned; false when `giveUp` says so, which is asked at each change and at
  // least twice a second.
  bool WaitUntilIdle(TaskType kind, const std::function<bool()>& giveUp) const;

  // How many tasks of a kind run at once, from 1 to 16; until it is called, what
  // the settings say.
  void SetWorkers(TaskType kind, std::size_t count);

  // What speeds and retries go by; set before the first task. Whoever moves such
  // a clock says so, so that retries which have become due begin.
  void SetClock(const SteadyClock& clock);
  void OnClockMoved();

  // Told by the host.
  void OnNetworkDisconnect();
  void OnNetworkResume();
  void OnLogout();

 protected:
  // Makes it known to ForEach, once.
  void Register();

 private:
  struct State;
  const std::unique_ptr<State> state;
};
