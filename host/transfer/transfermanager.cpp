#include "host/transfer/transfermanager.h"

#include "common/platform/mutex.h"
#include "host/account/userauthservice.h"
#include "host/transfer/completetask.h"
#include "host/transfer/transferqueue.h"

namespace {

struct Registry {
  platform::Mutex lock;
  std::vector<TransferManager*> managers GUARDED_BY(lock);
};

// Never destroyed: managers that live as long as the process take themselves out
// at its end.
Registry& GetRegistry() {
  static auto* const registry = [] {
    UserAuthService::GetInstance()->AtLogout(
        [] { TransferManager::ForEach([](TransferManager& manager) { manager.OnLogout(); }); });
    return new Registry;
  }();
  return *registry;
}

}  // namespace

struct TransferManager::State {
  using Failed = TransferQueue::Failed;
  using Rows = TransferQueue::Rows;

  // Downloads for anything that is no upload: finished transfers have no queue.
  TransferQueue& Queue(TaskType kind) { return kind == TaskType::Upload ? uploads : downloads; }

  void KeepFinished(const TransferTask::Ptr& task) {
    const auto complete = task->GetCompleteTask();
    if (!complete) return;
    (void)complete->AddToDB();  // Without its row it is listed until the program ends.
    platform::MutexLock hold(lock);
    finished.push_back(complete);
  }

  platform::Mutex lock;
  std::vector<TransferTask::Ptr> finished GUARDED_BY(lock);
  TransferQueue uploads{TaskType::Upload, [this](const TransferTask::Ptr& task) { KeepFinished(task); }};
  TransferQueue downloads{TaskType::Download, [this](const TransferTask::Ptr& task) { KeepFinished(task); }};
};

void TransferManager::ForEach(const std::function<void(TransferManager&)>& visit) {
  Registry& registry = GetRegistry();
  platform::MutexLock hold(registry.lock);  // Covers the visits, so that a destructor waits for them.
  for (TransferManager* manager : registry.managers) visit(*manager);
}

void TransferManager::Register() {
  Registry& registry = GetRegistry();
  platform::MutexLock hold(registry.lock);
  auto& managers = registry.managers;
  if (std::find(managers.begin(), managers.end(), this) == managers.end()) managers.push_back(this);
}

TransferManager::TransferManager() : state(std::make_unique<State>()) {}

TransferManager::~TransferManager() {
  Registry& registry = GetRegistry();
  platform::MutexLock hold(registry.lock);
  std::erase(registry.managers, this);
}

bool TransferManager::AddUpload(const TransferTask::Ptr& task) {
  return state->uploads.Add(task, TaskStatus::Waiting);
}

void TransferManager::AddDownloads(const std::vector<TransferTask::Ptr>& tasks, TaskStatus status) {
  for (const auto& task : tasks) (void)state->downloads.Add(task, status);  // One that is listed goes on.
}

bool TransferManager::HasTask(TaskType kind, const std::string& transferId) const {
  return state->Queue(kind).Has(transferId);
}

void TransferManager::DelTasks(const std::vector<std::string>& transferIds) {
  for (const TaskType kind : {TaskType::Upload, TaskType::Download}) {
    state->Queue(kind).Remove(transferIds, TaskStatus::PausedByUser, State::Failed::Remove,
                              State::Rows::Delete);
  }
}

void TransferManager::Pause(TaskType kind, const std::vector<std::string>& transferIds) {
  state->Queue(kind).Pause(transferIds);
}

void TransferManager::Resume(TaskType kind, const std::vector<std::string>& transferIds) {
  state->Queue(kind).Resume(transferIds, State::Failed::Remove);
}

void TransferManager::PauseAll(TaskType kind) { state->Queue(kind).Pause(std::nullopt); }
void TransferManager::ResumeAll(TaskType kind) {
  state->Queue(kind).Resume(std::nullopt, State::Failed::Keep);
}
std::size_t TransferManager::RetryFailed(TaskType kind) { return state->Queue(kind).RetryFailed(); }

void TransferManager::StopAllTask(TaskType kind) {
  state->Queue(kind).Remove(std::nullopt, TaskStatus::PausedBySystem, State::Failed::Keep, State::Rows::Keep);
}

TransferManager::Figures TransferManager::GetFigures(TaskType kind) const {
  return state->Queue(kind).GetFigures();
}

std::vector<TransferTask::Ptr> TransferManager::Tasks(TaskType kind) const {
  if (kind != TaskType::Complete) return state->Queue(kind).Tasks();
  platform::MutexLock hold(state->lock);
  return state->finished;
}

void TransferManager::SetFinished(std::vector<TransferTask::Ptr> tasks) {
  platform::MutexLock hold(state->lock);
  state->finished = std::move(tasks);
}

void TransferManager::DropFinished(std::int64_t rowId) {
  platform::MutexLock hold(state->lock);
  std::erase_if(state->finished, [rowId](const TransferTask::Ptr& task) {
    const auto* complete = dynamic_cast<const CompleteTask*>(task.get());
    return complete && complete->Id == rowId;
  });
}

void TransferManager::ClearFinished() {
  SetFinished({});
  DelAllTaskDB(TaskType::Complete);
}

bool TransferManager::WaitUntilIdle(TaskType kind, const std::function<bool()>& giveUp) const {
  return state->Queue(kind).WaitUntilIdle(giveUp);
}

void TransferManager::SetWorkers(TaskType kind, std::size_t count) { state->Queue(kind).SetWorkers(count); }

void TransferManager::SetClock(const SteadyClock& clock) {
  state->uploads.SetClock(clock);
  state->downloads.SetClock(clock);
}

void TransferManager::OnClockMoved() {
  state->uploads.OnClockMoved();
  state->downloads.OnClockMoved();
}

void TransferManager::OnNetworkDisconnect() {
  state->uploads.OnNetworkDisconnect();
  state->downloads.OnNetworkDisconnect();
}

void TransferManager::OnNetworkResume() {
  state->uploads.OnNetworkResume();
  state->downloads.OnNetworkResume();
}

void TransferManager::OnLogout() {
  for (const TaskType kind : {TaskType::Upload, TaskType::Download}) {
    TransferQueue& queue = state->Queue(kind);
    queue.Remove(std::nullopt, TaskStatus::PausedBySystem, State::Failed::Remove, State::Rows::Keep);
    queue.ForgetCompleted();
  }
  SetFinished({});
}
