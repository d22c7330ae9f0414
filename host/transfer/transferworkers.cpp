// The workers of a queue: runs, their outcome, and the next try.

#include <array>

#include "common/platform/thread.h"
#include "host/base/globalparamwrapper.h"
#include "host/transfer/transferqueue.h"
#include "host/transfer/transferqueueitem.h"

namespace {

// A service that restarts is back at the second or third try; one that is not
// back after a minute needs somebody to look.
constexpr std::array<std::chrono::seconds, 3> kTryAgain{std::chrono::seconds(2), std::chrono::seconds(10),
                                                        std::chrono::seconds(60)};

}  // namespace

std::size_t TransferQueue::Workers() const {
  if (chosenWorkers) return *chosenWorkers;
  auto* settings = GlobalParamWrapper::GetInstance();
  return kind == TaskType::Upload ? settings->GetUploadWorkers() : settings->GetDownloadWorkers();
}

void TransferQueue::StartWorkers() {
  const std::size_t wanted = std::min(Workers(), running + ready.size());
  while (!ending && workers.size() < wanted) workers.emplace_back([this] { Work(); });
}

void TransferQueue::Work() {
  platform::SetThreadName(kind == TaskType::Upload ? "upload worker" : "download worker");
  while (const ItemPtr item = TakeNext()) FinishRun(*item);
}

TransferQueue::ItemPtr TransferQueue::TakeNext() {
  platform::MutexLock hold(lock);
  while (!ending) {
    MakeDueReady();
    if (running < Workers()) {
      if (ItemPtr item = BeginNext()) return item;
    }
    if (later.empty()) {
      changed.wait(lock);
    } else {
      changed.wait_for(lock, later.begin()->first - now());
    }
  }
  return nullptr;
}

void TransferQueue::MakeDueReady() {
  while (!later.empty() && later.begin()->first <= now()) {
    Item& item = *items.at(later.begin()->second);
    Unqueue(item);
    ready.insert(item.number);
  }
}

TransferQueue::ItemPtr TransferQueue::BeginNext() {
  while (!ready.empty()) {
    ItemPtr item = items.at(*ready.begin());
    ready.erase(ready.begin());
    Announce();
    if (!item->task->BeginRun()) continue;  // Somebody has stopped it; it stays listed.
    item->phase = Item::Phase::Run;
    item->meter.Start(now(), item->task->Transferred());
    ++running;
    return item;
  }
  return nullptr;
}

void TransferQueue::FinishRun(Item& item) {
  TransferTask::Ptr task;
  {
    platform::MutexLock hold(lock);
    task = item.task;
  }
  (void)task->StartTask();  // The status tells how it went.
  task->OnStop();           // Ends a run whose task has forgotten to.
  if (task->Status() == TaskStatus::Completed) whenCompleted(task);
  if (SettleRun(item, *task)) task->CallDone();
  EndRun(item);
}

// Whether the task has ended.
bool TransferQueue::SettleRun(Item& item, TransferTask& task) {
  platform::MutexLock hold(lock);
  item.phase = Item::Phase::Callbacks;
  Announce();
  if (task.Status() == TaskStatus::Completed) {
    ++completed;
    Erase(item);
    return true;
  }
  // Whoever takes a task out calls back.
  return task.Status() == TaskStatus::Failed && !item.leaving && !TryAgainLater(item, task);
}

bool TransferQueue::TryAgainLater(Item& item, TransferTask& task) {
  if (task.LastErr().outage == TransferErrorInterface::Outage::No) return false;
  constexpr auto kReason = TransferErrorInterface::kService;
  const bool connected = !offline && GlobalParamWrapper::GetInstance()->GetNetIsConnect();
  if (connected && item.tries == kTryAgain.size()) return false;
  (void)task.SetStatus(TaskStatus::Waiting, kReason);
  if (!connected) {
    (void)task.SetStatus(TaskStatus::PausedBySystem, kReason);
    return true;
  }
  item.due = now() + kTryAgain[item.tries++];
  later.insert({*item.due, item.number});
  return true;
}

void TransferQueue::EndRun(Item& item) {
  platform::MutexLock hold(lock);
  item.phase = Item::Phase::AtRest;
  --running;
  // Resumed while the run or its callback was ending.
  const bool again = !item.gone && !item.leaving && !item.due;
  if (again && item.task->Status() == TaskStatus::Waiting) ready.insert(item.number);
  Announce();
}
