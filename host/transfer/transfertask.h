#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "host/transfer/transfererrorinterface.h"

class CompleteTask;
class GalleryShowTask;

enum class TaskType : std::int32_t { Upload = 1, Download = 2, Complete = 3 };

// Completed and Failed have ended; the paused ones and Waiting are held in the
// queue. A failed task can be started anew.
enum class TaskStatus : std::int32_t {
  Completed = 1,
  PausedByUser = 2,
  Failed = 3,
  PausedBySystem = 4,  // the connection went away, or the user logged out
  Waiting = 6,
  Running = 8,
};

// One transfer: a file on its way. Held by its manager's queue; runs on one of
// its workers at a time, while StopTask and the reading operations may be called
// from any thread.
class TransferTask : public std::enable_shared_from_this<TransferTask>, public TransferErrorInterface {
 public:
  using Ptr = std::shared_ptr<TransferTask>;
  using Done = std::function<void(const Ptr&)>;

  explicit TransferTask(TaskType kind) : taskType(kind) {}
  TransferTask(const TransferTask&) = delete;
  TransferTask& operator=(const TransferTask&) = delete;

  // One run, on a worker; status Running. True when the transfer has succeeded
  // and OnComplete has been called. On false OnStop has been called: the task is
  // then Failed with an error, or in the status that StopTask gave it. The base's
  // part forgets the last run's error; false when the task has been stopped
  // meanwhile.
  virtual bool StartTask();

  // Ends a run as soon as may be, or keeps a task that waits from running. Does
  // nothing to a task that has ended. Sets flags and calls nobody: it runs under
  // the manager's lock.
  virtual void StopTask(TaskStatus status, std::int32_t errorCode);

  // The row that keeps the task over a restart. The base has none: true.
  virtual bool LoadFromDB() { return true; }
  virtual bool AddToDB() { return true; }
  virtual bool DeleteFromDB() { return true; }

  // After success: counts the task as completed.
  virtual bool OnComplete();

  // The row for the list of finished transfers; null for none.
  virtual std::shared_ptr<CompleteTask> GetCompleteTask();
  // What the window shows for it.
  virtual std::shared_ptr<GalleryShowTask> GetCompleteShowTask(const std::shared_ptr<CompleteTask>& task);

  virtual std::int64_t GetTotalSize() const = 0;  // bytes
  virtual std::wstring GetFileName() const = 0;
  virtual std::wstring GetLocalPath() const = 0;
  // Names the transfer; the same for two tasks of one file and direction.
  virtual std::string GetTransferId() const = 0;
  // False when there is none; the picture may come later.
  virtual bool GetThumbnailPath(std::wstring& path);

  // For the manager: Waiting becomes Running; false in any other status.
  bool BeginRun();
  // The end of a run without success: Running becomes Failed.
  void OnStop();

  TaskType GetTaskType() const { return taskType; }
  TaskStatus Status() const { return status; }
  bool HasEnded() const;
  // False for a task that has ended, unless it is put back to Waiting.
  bool SetStatus(TaskStatus next, std::int32_t reason);
  std::int32_t StatusReason() const { return statusReason; }

  // Bytes of GetTotalSize that are through. Set by the run.
  std::int64_t Transferred() const { return transferred; }
  void SetTransferred(std::int64_t bytes) { transferred = bytes; }
  // Bytes a second, as the manager last measured it.
  std::int64_t Speed() const { return speed; }
  void SetSpeed(std::int64_t bytesPerSecond) { speed = bytesPerSecond; }

  // Called once, when the task has ended or has been taken out of its queue, on a
  // worker or on the thread that takes it out. Set before the task is queued.
  void WhenDone(Done callback) { done = std::move(callback); }
  void CallDone();

  // One JSON line for the report of a run.
  static std::string GetResultReportInfo(const std::string& fileId, const std::string& fileName,
                                         double seconds, ErrCode result);

 protected:
  std::string ErrSubject() const override;
  virtual void OnStatusChanged() {}

 private:
  const TaskType taskType;
  std::atomic<TaskStatus> status{TaskStatus::Waiting};
  std::atomic<std::int32_t> statusReason{0};
  std::atomic<std::int64_t> transferred{0};
  std::atomic<std::int64_t> speed{0};
  std::atomic<bool> doneCalled{false};
  Done done;
};
