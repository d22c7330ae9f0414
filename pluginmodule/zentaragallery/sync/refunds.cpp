#include "sync/refunds.h"

#include "host/base/globalparamwrapper.h"
#include "store/dbhelper.h"
#include "sync/cloudlock.h"
#include "sync/cycleturns.h"
#include "utils/gallerylog.h"

namespace {

constexpr std::int32_t kContent = 0;
constexpr std::int32_t kPendingUpload = 2;
// How soon a wait notices that its command was stopped.
constexpr std::chrono::milliseconds kStopStep{200};

}  // namespace

bool Refunds::BuildRefundTasks(const SyncCycle::Ids& fileIds, std::int32_t type, bool force,
                               std::vector<RefundTask>& tasks) {
  for (const auto& id : fileIds) {
    if (!GlobalParamWrapper::GetInstance()->GetIsUserLoggedIn()) {
      LogWarning("SyncHelper::RefundGetLock", "change account");
      return false;
    }
    RefundTask task{id, type, nullptr};
    if (type != kPendingUpload) {
      task.file = DBHelper::GetInstance().GetFile(id);
      if (!task.file) {
        LogWarning("SyncHelper::RefundGetLock", "CreateGalleryTasks find error fileId = " + id);
        continue;
      }
      if (type == kContent && !force && task.file->FileName().empty()) continue;
    }
    tasks.push_back(std::move(task));
  }
  return true;
}

bool Refunds::RefundGetLock(const SyncCycle::Ids& fileIds, std::int32_t type, bool force) {
  constexpr char kTag[] = "SyncHelper::RefundGetLock";
  auto* parameters = GlobalParamWrapper::GetInstance();
  LogInfo(kTag, [&] { return "CreateGalleryTask size = " + std::to_string(fileIds.size()); });
  if (fileIds.empty()) return true;
  std::vector<RefundTask> tasks;
  if (!BuildRefundTasks(fileIds, type, force, tasks)) return false;
  if (tasks.empty()) {
    LogInfo(kTag, "create gallery refund task, data is empty");
    return true;
  }
  // Nobody could do the tasks, and a lock for them would never be given back.
  if (!cycle.services.createRefundTasks) return true;
  const bool served = cycle.TakeService();
  bool held = false;
  if (!parameters->GetIsUserLoggedIn()) {
    LogWarning(kTag, "change account");
  } else {
    LogInfo(kTag, "get lock from gallery refund task");
    held = served && lock.Lock();
  }
  if (held) ++refundHoldsLock;
  cycle.services.createRefundTasks(tasks, held, [this, held] {
    if (!held) return;
    EndOne();
    ReleaseWhenEnded();
  });
  return held;
}

// Not under a cycle, which may need the lock by now; such a cycle comes here at
// its end.
void Refunds::ReleaseWhenEnded() {
  while (ended && turns.Try()) {
    if (ended.exchange(false) && refundHoldsLock == 0 && cycle.PendingUploads() == 0) {
      LogInfo("SyncHelper::RefundGetLock", "Release lock from refund");
      lock.Release();
    }
    turns.Free();
  }
}

void Refunds::EndOne() {
  {
    platform::MutexLock hold(endLock);
    --refundHoldsLock;
  }
  ended = true;
  oneEnded.notify_all();
}

void Refunds::WaitUntilEnded(const std::function<bool()>& goOn) {
  while (HoldLock() && goOn()) {
    platform::MutexLock hold(endLock);
    if (HoldLock()) oneEnded.wait_for(endLock, kStopStep);
  }
}

// After a cycle: memory is loaded, and the lock is nobody's.
void Refunds::Resume() {
  if (!toResume.exchange(false)) return;
  const SyncCycle::Ids pending =
      cycle.services.pendingUploads ? cycle.services.pendingUploads() : SyncCycle::Ids();
  if (!RefundGetLock(pending, kPendingUpload, false)) toResume = true;
}
