#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "common/platform/mutex.h"
#include "host/transfer/speedmeter.h"
#include "host/transfer/transfermanager.h"

// The tasks of one kind and their workers; carries out what TransferManager
// promises for each kind.
//
// Every task has a number by its arrival. Numbers of tasks that may start stand
// in `ready`, those that wait for their next try in `later`; a task that somebody
// stopped directly is noticed when its turn comes. Safe from any thread.
class TransferQueue {
 public:
  using Ids = std::vector<std::string>;
  enum class Failed { Keep, Remove };
  enum class Rows { Keep, Delete };

  // `whenCompleted` is told of each success, on a worker, before the task's own
  // callback.
  TransferQueue(TaskType kind, std::function<void(const TransferTask::Ptr&)> whenCompleted);
  ~TransferQueue();
  TransferQueue(const TransferQueue&) = delete;
  TransferQueue& operator=(const TransferQueue&) = delete;

  void SetClock(const TransferManager::SteadyClock& next);
  void OnClockMoved();
  void SetWorkers(std::size_t count);

  bool Add(const TransferTask::Ptr& task, TaskStatus status);
  bool Has(const std::string& id) const;

  // Without ids: all tasks.
  void Remove(const std::optional<Ids>& ids, TaskStatus status, Failed failed, Rows rows);
  void Pause(const std::optional<Ids>& ids);
  void Resume(const std::optional<Ids>& ids, Failed failed);
  std::size_t RetryFailed();
  void OnNetworkDisconnect();
  void OnNetworkResume();
  void ForgetCompleted();

  TransferManager::Figures GetFigures() const;
  std::vector<TransferTask::Ptr> Tasks() const;
  bool WaitUntilIdle(const std::function<bool()>& giveUp) const;

 private:
  using Time = std::chrono::steady_clock::time_point;
  struct Item;
  using ItemPtr = std::shared_ptr<Item>;

  // Workers
  void Work();
  ItemPtr TakeNext();
  ItemPtr BeginNext() REQUIRES(lock);
  void MakeDueReady() REQUIRES(lock);
  void FinishRun(Item& item);
  bool SettleRun(Item& item, TransferTask& task);
  bool TryAgainLater(Item& item, TransferTask& task) REQUIRES(lock);
  void EndRun(Item& item);
  void StartWorkers() REQUIRES(lock);

  // The list
  std::vector<ItemPtr> Find(const std::optional<Ids>& ids) const REQUIRES(lock);
  void Insert(const TransferTask::Ptr& task) REQUIRES(lock);
  void Erase(Item& item) REQUIRES(lock);
  bool AddBeside(Item& listed, const TransferTask::Ptr& task) REQUIRES(lock);
  void Start(Item& item) REQUIRES(lock);
  void Unqueue(Item& item) REQUIRES(lock);
  void Stop(Item& item, TaskStatus status, std::int32_t reason) REQUIRES(lock);
  void RemoveOne(const ItemPtr& item, Rows rows);
  void Announce() REQUIRES(lock);
  bool IsIdle() const REQUIRES(lock);
  void Measure() const REQUIRES(lock);
  std::size_t Workers() const REQUIRES(lock);

  const TaskType kind;
  const std::function<void(const TransferTask::Ptr&)> whenCompleted;

  mutable platform::Mutex lock;
  mutable std::condition_variable_any changed;
  TransferManager::SteadyClock now GUARDED_BY(lock);
  std::map<std::uint64_t, ItemPtr> items GUARDED_BY(lock);
  std::unordered_map<std::string, std::uint64_t> byId GUARDED_BY(lock);
  std::set<std::uint64_t> ready GUARDED_BY(lock);
  std::set<std::pair<Time, std::uint64_t>> later GUARDED_BY(lock);
  std::uint64_t nextNumber GUARDED_BY(lock) = 0;
  std::size_t running GUARDED_BY(lock) = 0;  // runs and their callbacks
  std::size_t completed GUARDED_BY(lock) = 0;
  std::optional<std::size_t> chosenWorkers GUARDED_BY(lock);
  std::uint64_t changes GUARDED_BY(lock) = 0;
  bool offline GUARDED_BY(lock) = false;
  bool ending GUARDED_BY(lock) = false;
  std::vector<std::thread> workers GUARDED_BY(lock);
};
