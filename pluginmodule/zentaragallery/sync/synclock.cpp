// The cloud's lock, its keeper, and contents that are given back under it.

#include "common/platform/thread.h"
#include "host/base/globalparamwrapper.h"
#include "store/dbhelper.h"
#include "sync/synchelper.h"
#include "transfer/gallerytransmanager.h"
#include "utils/gallerylog.h"

namespace {

constexpr std::chrono::milliseconds kCyclePollMs{50};
constexpr std::int32_t kContent = 0;
constexpr std::int32_t kPendingUpload = 2;

GalleryTransManager& Transfers() { return GalleryTransManager::GetInstance(); }

}  // namespace

// The one before stays where there is none: a lock that is held goes back by it.
bool SyncHelper::TakeService() {
  ISyncServiceOperation* next = localOperation.ChooseService(CutStatus());
  if (next) serviceOperation = next;
  return next != nullptr;
}

bool SyncHelper::Lock() {
  constexpr char kTag[] = "SyncHelper::Lock";
  if (lockCount > 0 || !Transfers().LockToken().empty()) return true;
  ISyncServiceOperation* service = serviceOperation;
  if (!service) return false;
  LogInfo(kTag, "Begin Get Lock");
  const auto lock = service->GetLock(&stopRequested);
  if (!lock || lock->code != 0) return Fail(kTag, "End Get Lock failed!");
  ++lockCount;
  Transfers().SetLockToken(lock->token);
  LogInfo(kTag, "End Get Lock ok");
  if (lockCount >= 2) {
    LogInfo(kTag, "already get lock, not need to keepLock");
    return true;
  }
  if (lock->keepInterval != 0) {
    platform::MutexLock hold(keeperLock);
    StopKeeper(false);
    keepLockThread = std::thread([this, interval = lock->keepInterval] { KeepLock(interval); });
  }
  // The cloud may have moved while this cycle worked.
  if (DownLoadFromCloud(CloudMarks{lock->albumListVersion, lock->fileVersion, lock->clearVersion}))
    return true;
  LogInfo(kTag, "Release lock");
  ReleaseLock();
  return false;
}

void SyncHelper::KeepLock(std::int32_t intervalSeconds) {
  constexpr char kTag[] = "SyncHelper::KeepLock";
  platform::SetThreadName("keep lock");
  while (true) {
    // Twice a validity, so that one slow answer does not lose the lock.
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(intervalSeconds * 1000LL / 2);
    if (KeeperStopsBefore(end)) {
      LogInfo(kTag, "Stop KeepLock");
      return;
    }
    ISyncServiceOperation* service = serviceOperation;
    const auto kept = service ? service->KeepLock(Transfers().LockToken()) : nullptr;
    if (!kept || kept->code != 0 || kept->keepInterval == 0) {
      cancelTask = true;
      (void)Fail(kTag, "keepLock Error,cancel Task!");
      return;
    }
    intervalSeconds = kept->keepInterval;
  }
}

void SyncHelper::StopKeeper(bool stop) {
  {
    platform::MutexLock hold(keeperStopLock);
    keepLockStop = stop;
  }
  keeperStops.notify_all();
}

bool SyncHelper::KeeperStopsBefore(std::chrono::steady_clock::time_point end) {
  platform::MutexLock hold(keeperStopLock);
  while (!keepLockStop) {
    if (keeperStops.wait_until(keeperStopLock, end) == std::cv_status::timeout) break;
  }
  return keepLockStop;
}

void SyncHelper::ReleaseLock() {
  {
    platform::MutexLock hold(keeperLock);  // Its thread takes no lock of ours.
    StopKeeper(true);
    if (keepLockThread.joinable()) keepLockThread.join();
  }
  const std::string token = Transfers().LockToken();
  ISyncServiceOperation* service = serviceOperation;
  if (!token.empty() && service) {
    LogInfo("SyncHelper::ReleaseLock", "Release lock");
    (void)service->ReleaseLock(token);  // One that stays runs out by itself.
  }
  Transfers().SetLockToken("");
  lockCount = 0;
}

bool SyncHelper::BetweenCycles(const std::function<bool()>& work) {
  while (ticking.exchange(true)) {
    if (closed) return false;
    std::this_thread::sleep_for(kCyclePollMs);
  }
  const bool done = !closed && work();
  EndTurn();
  return done;
}

void SyncHelper::EndTurn() {
  FreeTurn();
  ReleaseAfterRefund();
}

// The wake of a tick that found the turn taken is spent: its next one is due now.
void SyncHelper::FreeTurn() {
  ticking = false;
  if (tickRefused.exchange(false)) timer.Wake();
}

// Not under a cycle, which may need the lock by now; such a cycle comes here at
// its end.
void SyncHelper::ReleaseAfterRefund() {
  while (refundEnded && !ticking.exchange(true)) {
    if (refundEnded.exchange(false) && refundHoldsLock == 0 && PendingUploads() == 0) {
      LogInfo("SyncHelper::RefundGetLock", "Release lock from refund");
      ReleaseLock();
    }
    FreeTurn();
  }
}

bool SyncHelper::WithLock(const std::function<bool()>& work) {
  return BetweenCycles([&] {
    if ((!serviceOperation && !TakeService()) || !Lock()) return false;
    const bool done = work();
    // Contents on their way up need the lock until the last of them has ended.
    if (!refundHoldsLock) ReleaseLock();
    return done;
  });
}

bool SyncHelper::BuildRefundTasks(const Ids& fileIds, std::int32_t type, bool force,
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

bool SyncHelper::RefundGetLock(const Ids& fileIds, std::int32_t type, bool force) {
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
  if (!services.createRefundTasks) return true;
  const bool served = TakeService();
  bool held = false;
  if (!parameters->GetIsUserLoggedIn()) {
    LogWarning(kTag, "change account");
  } else {
    LogInfo(kTag, "get lock from gallery refund task");
    held = served && Lock();
  }
  if (held) ++refundHoldsLock;
  services.createRefundTasks(tasks, held, [this, held] {
    if (!held) return;
    --refundHoldsLock;
    refundEnded = true;
    ReleaseAfterRefund();
  });
  return held;
}

SyncServices::Refund SyncHelper::RefundOf(std::int32_t type) {
  return
      [this, type](const Ids& ids) { return BetweenCycles([&] { return RefundGetLock(ids, type, false); }); };
}

bool SyncHelper::GiveBackLost(const std::function<bool()>& goOn) {
  constexpr std::int32_t kThumbnails = 1;
  if (!services.giveBackLost || !services.giveBackLost(RefundOf(kContent), RefundOf(kThumbnails)))
    return Fail("SyncHelper::GiveBackLost", "what the cloud has lost cannot be given back now");
  while (refundHoldsLock > 0 && !closed && goOn()) std::this_thread::sleep_for(kCyclePollMs);
  return !closed;
}

// After a cycle: memory is loaded, and the lock is nobody's.
void SyncHelper::ResumeRefunds() {
  if (!refundsToResume.exchange(false)) return;
  const Ids pending = services.pendingUploads ? services.pendingUploads() : Ids();
  if (!RefundGetLock(pending, kPendingUpload, false)) refundsToResume = true;
}
