#pragma once

#include <condition_variable>
#include <deque>
#include <set>

#include "common/platform/mutex.h"
#include "host/transfer/completetask.h"
#include "host/transfer/transfermanager.h"

// A transfer that does what a test says: a run waits until it is told its outcome
// or is stopped.
class FakeTask : public TransferTask {
 public:
  enum class OnStopTask { EndRun, GoOn };
  // A run ends with these; kNone is success.
  using Outcome = ErrCode;

  FakeTask(TaskType kind, std::string transferId) : TransferTask(kind), id(std::move(transferId)) {}

  bool StartTask() override;
  void StopTask(TaskStatus status, std::int32_t reason) override;
  bool DeleteFromDB() override;
  std::shared_ptr<CompleteTask> GetCompleteTask() override;
  std::int64_t GetTotalSize() const override { return 1000; }
  std::wstring GetFileName() const override { return L"a.jpg"; }
  std::wstring GetLocalPath() const override { return {}; }
  std::string GetTransferId() const override { return id; }

  // One more run ends so.
  void Let(Outcome outcome);
  void WaitForRun(int number);  // until so many have begun
  // Stops end its runs from now on.
  void EndWhenStopped();
  int Runs();
  std::vector<std::string> Events();  // "run", "end", "delete", "done"
  void Note(const std::string& event);

  OnStopTask onStop = OnStopTask::EndRun;  // set before the task is queued
  bool keepsFinished = false;
  std::set<Outcome> outages{kService};

 private:
  Outcome WaitForOutcome();

  const std::string id;
  std::mutex lock;
  std::condition_variable changed;
  std::deque<Outcome> outcomes;
  std::vector<std::string> events;
  int runs = 0;
  bool inRun = false;
  bool stop = false;
};

// A finished transfer that counts how often it is stored.
class FakeComplete : public CompleteTask {
 public:
  bool AddToDB() override {
    ++stored;
    return true;
  }
  std::atomic<int> stored{0};
};

class FakeManager : public TransferManager {
 public:
  FakeManager() { Register(); }
  bool GetHttpHeader(std::map<std::string, std::string>&) override { return true; }
  std::size_t LoadTaskFromDB() override { return 0; }
  void DelAllTaskDB(TaskType) override {}
};
