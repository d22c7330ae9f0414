// The list: what comes in, what goes out, and what is told about it. Workers are
// in transferworkers.cpp.

#include "host/transfer/transferqueue.h"

#include "host/transfer/transferqueueitem.h"

namespace {

constexpr std::size_t kMostWorkers = 16;
constexpr std::chrono::milliseconds kAskMs{500};

}  // namespace

TransferQueue::TransferQueue(TaskType which, std::function<void(const TransferTask::Ptr&)> completedTask)
    : kind(which), whenCompleted(std::move(completedTask)), now(std::chrono::steady_clock::now) {}

TransferQueue::~TransferQueue() {
  Remove(std::nullopt, TaskStatus::PausedBySystem, Failed::Remove, Rows::Keep);
  std::vector<std::thread> threads;
  {
    platform::MutexLock hold(lock);
    ending = true;
    threads.swap(workers);
    Announce();
  }
  for (std::thread& thread : threads) thread.join();
}

void TransferQueue::SetClock(const TransferManager::SteadyClock& next) {
  platform::MutexLock hold(lock);
  now = next;
}

void TransferQueue::OnClockMoved() {
  platform::MutexLock hold(lock);
  Announce();
}

void TransferQueue::SetWorkers(std::size_t count) {
  platform::MutexLock hold(lock);
  chosenWorkers = std::clamp<std::size_t>(count, 1, kMostWorkers);
  StartWorkers();
  Announce();
}

bool TransferQueue::Add(const TransferTask::Ptr& task, TaskStatus status) {
  platform::MutexLock hold(lock);
  const auto listed = byId.find(task->GetTransferId());
  if (listed != byId.end()) return AddBeside(*items.at(listed->second), task);
  (void)task->SetStatus(status, 0);  // A task that has ended is no task for a queue.
  Insert(task);
  return true;
}

bool TransferQueue::AddBeside(Item& listed, const TransferTask::Ptr& task) {
  if (listed.leaving) {
    if (listed.successor) return false;
    listed.successor = task;
    return true;
  }
  if (listed.HasFailed()) {
    const bool upload = kind == TaskType::Upload;
    if (upload) listed.task = task;
    Start(listed);
    return upload;
  }
  if (listed.task->Status() == TaskStatus::PausedBySystem) Start(listed);
  return false;
}

bool TransferQueue::Has(const std::string& id) const {
  platform::MutexLock hold(lock);
  return byId.contains(id);
}

void TransferQueue::Insert(const TransferTask::Ptr& task) {
  const auto item = std::make_shared<Item>(nextNumber++, task);
  items.emplace(item->number, item);
  byId[item->id] = item->number;
  if (task->Status() == TaskStatus::Waiting) Start(*item);
}

void TransferQueue::Erase(Item& item) {
  if (std::exchange(item.gone, true)) return;
  Unqueue(item);
  byId.erase(item.id);
  const TransferTask::Ptr successor = std::move(item.successor);
  items.erase(item.number);
  if (successor) Insert(successor);
  Announce();
}

// Lets a task wait for a worker from now on, or for the connection.
void TransferQueue::Start(Item& item) {
  Unqueue(item);
  item.tries = 0;
  (void)item.task->SetStatus(TaskStatus::Waiting, 0);
  if (offline) {
    (void)item.task->SetStatus(TaskStatus::PausedBySystem, TransferErrorInterface::kService);
  } else if (item.phase == Item::Phase::AtRest) {
    ready.insert(item.number);
    StartWorkers();
  }  // else its worker puts it there: two runs at once would write one file
  Announce();
}

void TransferQueue::Unqueue(Item& item) {
  ready.erase(item.number);
  if (item.due) later.erase({*item.due, item.number});
  item.due.reset();
}

void TransferQueue::Stop(Item& item, TaskStatus status, std::int32_t reason) {
  // A run that has just failed may be about to wait for its next try.
  if (item.phase == Item::Phase::Run && item.task->Status() == TaskStatus::Failed)
    (void)item.task->SetStatus(TaskStatus::Waiting, 0);
  if (item.phase == Item::Phase::Run) {
    item.task->StopTask(status, reason);
  } else if (!item.task->HasEnded()) {
    (void)item.task->SetStatus(status, reason);
  }
  Unqueue(item);
  Announce();
}

std::vector<TransferQueue::ItemPtr> TransferQueue::Find(const std::optional<Ids>& ids) const {
  std::vector<ItemPtr> found;
  if (!ids) {
    for (const auto& [number, item] : items) found.push_back(item);
    return found;
  }
  for (const auto& id : *ids) {
    const auto listed = byId.find(id);
    if (listed != byId.end()) {
      found.push_back(items.at(listed->second));
      continue;
    }
    for (const auto& [number, item] : items) {
      if (item->task->GetTransferId() == id) found.push_back(item);
    }
  }
  return found;
}

void TransferQueue::Remove(const std::optional<Ids>& ids, TaskStatus status, Failed failed, Rows rows) {
  std::vector<ItemPtr> chosen, mine;
  std::vector<TransferTask::Ptr> dropped;
  {
    platform::MutexLock hold(lock);
    chosen = Find(ids);
    if (failed == Failed::Keep) std::erase_if(chosen, [](const ItemPtr& item) { return item->HasFailed(); });
    for (const auto& item : chosen) {
      if (item->successor) dropped.push_back(std::move(item->successor));
      if (std::exchange(item->leaving, true)) continue;
      Stop(*item, status, 0);
      mine.push_back(item);
    }
  }
  for (const auto& task : dropped) {
    (void)task->SetStatus(status, 0);
    task->CallDone();
  }
  for (const auto& item : mine) RemoveOne(item, rows);
  platform::MutexLock hold(lock);
  for (const auto& item : chosen) {
    while (!item->gone) changed.wait(lock);
  }
}

void TransferQueue::RemoveOne(const ItemPtr& item, Rows rows) {
  TransferTask::Ptr task;
  {
    platform::MutexLock hold(lock);
    while (item->phase != Item::Phase::AtRest) changed.wait(lock);
    if (item->gone) return;  // It has succeeded after all.
    task = item->task;
  }
  // Before a task for the same file may come in: it would lose its new row.
  if (rows == Rows::Delete) (void)task->DeleteFromDB();  // A row that stays comes back at the next start.
  {
    platform::MutexLock hold(lock);
    Erase(*item);
  }
  task->CallDone();
}

void TransferQueue::Pause(const std::optional<Ids>& ids) {
  platform::MutexLock hold(lock);
  for (const auto& item : Find(ids)) {
    if (!item->leaving && !item->HasFailed()) Stop(*item, TaskStatus::PausedByUser, 0);
  }
}

void TransferQueue::Resume(const std::optional<Ids>& ids, Failed failed) {
  platform::MutexLock hold(lock);
  for (const auto& item : Find(ids)) {
    const TaskStatus status = item->task->Status();
    const bool paused = status == TaskStatus::PausedByUser || status == TaskStatus::PausedBySystem;
    const bool again = failed == Failed::Remove && item->HasFailed();
    if (!item->leaving && (paused || again || item->due)) Start(*item);
  }
}

std::size_t TransferQueue::RetryFailed() {
  platform::MutexLock hold(lock);
  std::size_t count = 0;
  for (const auto& [number, item] : items) {
    if (item->leaving || !item->HasFailed()) continue;
    Start(*item);
    ++count;
  }
  return count;
}

void TransferQueue::OnNetworkDisconnect() {
  platform::MutexLock hold(lock);
  offline = true;
  for (const auto& [number, item] : items) {
    if (item->leaving || item->HasFailed() || item->task->Status() == TaskStatus::PausedByUser) continue;
    Stop(*item, TaskStatus::PausedBySystem, TransferErrorInterface::kService);
  }
}

void TransferQueue::OnNetworkResume() {
  platform::MutexLock hold(lock);
  offline = false;
  for (const auto& [number, item] : items) {
    if (!item->leaving && item->task->Status() == TaskStatus::PausedBySystem) Start(*item);
  }
}

void TransferQueue::ForgetCompleted() {
  platform::MutexLock hold(lock);
  completed = 0;
}

void TransferQueue::Measure() const {
  const Time time = now();
  for (const auto& [number, item] : items) {
    const bool runs = item->task->Status() == TaskStatus::Running;
    item->task->SetSpeed(runs ? item->meter.Measure(time, item->task->Transferred()) : 0);
  }
}

TransferManager::Figures TransferQueue::GetFigures() const {
  platform::MutexLock hold(lock);
  Measure();
  TransferManager::Figures figures;
  figures.completed = completed;
  for (const auto& [number, item] : items) {
    const TransferTask& task = *item->task;
    const TaskStatus status = task.Status();
    if (status == TaskStatus::Waiting) ++figures.waiting;
    if (status == TaskStatus::Running) ++figures.running;
    if (status == TaskStatus::PausedByUser || status == TaskStatus::PausedBySystem) ++figures.paused;
    if (status == TaskStatus::Failed) ++figures.failed;
    figures.bytes += task.GetTotalSize();
    figures.transferred += task.Transferred();
    figures.speed += task.Speed();
  }
  return figures;
}

std::vector<TransferTask::Ptr> TransferQueue::Tasks() const {
  platform::MutexLock hold(lock);
  Measure();
  std::vector<TransferTask::Ptr> tasks;
  tasks.reserve(items.size());
  for (const auto& [number, item] : items) tasks.push_back(item->task);
  return tasks;
}

bool TransferQueue::IsIdle() const {
  const auto waits = [this](const auto& entry) REQUIRES(lock) {
    return items.at(entry.second)->task->Status() == TaskStatus::Waiting;
  };
  return running == 0 && ready.empty() && std::none_of(later.begin(), later.end(), waits);
}

bool TransferQueue::WaitUntilIdle(const std::function<bool()>& giveUp) const {
  const auto changesNow = [this] {
    platform::MutexLock hold(lock);
    return changes;
  };
  while (true) {
    const std::uint64_t seen = changesNow();
    if (giveUp && giveUp()) return false;
    platform::MutexLock hold(lock);
    if (IsIdle()) return true;
    if (changes == seen) changed.wait_for(lock, kAskMs);
  }
}

void TransferQueue::Announce() {
  ++changes;
  changed.notify_all();
}
