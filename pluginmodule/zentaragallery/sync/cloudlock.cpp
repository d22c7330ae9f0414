#include "sync/cloudlock.h"

#include "common/platform/thread.h"
#include "sync/cloudpull.h"
#include "transfer/gallerytransmanager.h"
#include "utils/gallerylog.h"

namespace {

GalleryTransManager& Transfers() { return GalleryTransManager::GetInstance(); }

}  // namespace

bool CloudLock::Lock() {
  constexpr char kTag[] = "SyncHelper::Lock";
  if (lockCount > 0 || !Transfers().LockToken().empty()) return true;
  ISyncServiceOperation* service = cycle.Service();
  if (!service) return false;
  LogInfo(kTag, "Begin Get Lock");
  const auto lock = service->GetLock(cycle.CancelWord());
  if (!lock || lock->code != 0) return cycle.Fail(kTag, "End Get Lock failed!");
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
  if (pull.DownLoadFromCloud(CloudMarks{lock->albumListVersion, lock->fileVersion, lock->clearVersion}))
    return true;
  LogInfo(kTag, "Release lock");
  Release();
  return false;
}

void CloudLock::KeepLock(std::int32_t intervalSeconds) {
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
    ISyncServiceOperation* service = cycle.Service();
    const auto kept = service ? service->KeepLock(Transfers().LockToken()) : nullptr;
    if (!kept || kept->code != 0 || kept->keepInterval == 0) {
      cycle.Cancel();
      (void)cycle.Fail(kTag, "keepLock Error,cancel Task!");
      return;
    }
    intervalSeconds = kept->keepInterval;
  }
}

void CloudLock::StopKeeper(bool stop) {
  {
    platform::MutexLock hold(keeperStopLock);
    keepLockStop = stop;
  }
  keeperStops.notify_all();
}

bool CloudLock::KeeperStopsBefore(std::chrono::steady_clock::time_point end) {
  platform::MutexLock hold(keeperStopLock);
  while (!keepLockStop) {
    if (keeperStops.wait_until(keeperStopLock, end) == std::cv_status::timeout) break;
  }
  return keepLockStop;
}

void CloudLock::Release() {
  {
    platform::MutexLock hold(keeperLock);  // Its thread takes no lock of ours.
    StopKeeper(true);
    if (keepLockThread.joinable()) keepLockThread.join();
  }
  const std::string token = Transfers().LockToken();
  ISyncServiceOperation* service = cycle.Service();
  if (!token.empty() && service) {
    LogInfo("SyncHelper::ReleaseLock", "Release lock");
    (void)service->ReleaseLock(token);  // One that stays runs out by itself.
  }
  Transfers().SetLockToken("");
  lockCount = 0;
}
