// Start, stop, tick and status.

#include "sync/synchelper.h"

#include <random>

#include "common/platform/thread.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/requests/cloudtrouble.h"
#include "store/dbhelper.h"
#include "sync/lasterrorfile.h"
#include "sync/modelload.h"
#include "transfer/gallerytransmanager.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/messages.h"
#include "utils/methodfunction.h"

namespace {

// Kinds of content that go back to the cloud.
constexpr std::int32_t kContent = 0;
constexpr std::int32_t kThumbnails = 1;
constexpr std::int64_t kTickMs = 60'000;
// The generator of the first clients gave 15 bits, so that all of them start
// within half a minute although a day is asked for; a wider spread would move
// the briefings of one account's devices apart.
constexpr std::uint32_t kRandomMask = 0x7fff;
constexpr std::int64_t kDayMs = 86'400'000;
constexpr std::int32_t kDefaultBriefingDays = 30;
// A service that refuses is asked again after n * n * 120 + 120 seconds; after
// this many refusals not before the next start.
constexpr std::int32_t kMaxFailures503 = 3;
constexpr std::int64_t kBackOffMs = 120'000;
constexpr std::chrono::milliseconds kTurnPollMs{50};

std::atomic<SyncHelper*> replacement{nullptr};

}  // namespace

SyncHelper& SyncHelper::GetInstance() {
  if (SyncHelper* other = replacement) return *other;
  // The transfers come first and so go last: the end of the sync still asks them for
  // the lock that it gives back.
  (void)GalleryTransManager::GetInstance();
  static SyncHelper instance{HostSyncServices()};
  return instance;
}

void SyncHelper::Replace(SyncHelper* other) { replacement = other; }

SyncHelper::SyncHelper(SyncServices given)
    : services(std::move(given)), localOperation(services, [this] { timer.Wake(); }) {}

SyncHelper::~SyncHelper() {
  closed = stopRequested = cancelTask = true;
  StopTimer();
  ReleaseLock();
  platform::MutexLock hold(watchLock);
  if (watchThread.joinable()) watchThread.join();
  if (playerThread.joinable()) playerThread.join();
}

void SyncHelper::StartSync() {
  constexpr char kTag[] = "SyncHelper::StartSync";
  const int stopsBefore = stops;
  platform::MutexLock starting(startLock);
  if (started) return;
  LogInfo(kTag, "StartSync");
  if (closed) {
    // A cycle may have gone on behind the stop, with what it had read of the user
    // before.
    EndTicks();
    ForgetRun();
  }
  {
    platform::MutexLock hold(driverLock);
    if (stops != stopsBefore) return;
    closed = false;
  }
  if (GlobalData::cloudGeneration == GlobalData::kGenerationUnknown) (void)CutStatus();
  CheckAndClearDatabase();
  std::mt19937 generator(std::random_device{}());
  briefingRandomMs = static_cast<std::int64_t>(generator() & kRandomMask) % kDayMs;
  LogInfo(kTag, [this] { return "Briefing Random Time :" + std::to_string(briefingRandomMs) + " ms"; });
  briefingPeriodDays = services.briefingPeriodDays ? services.briefingPeriodDays() : kDefaultBriefingDays;
  platform::MutexLock hold(driverLock);
  if (closed) return;  // A stop came while the service was asked.
  started = refundsToResume = true;
  cancelTask = stopRequested = false;
  // The switch was turned on before the start.
  if (syncSwitch && IsPaused()) status = static_cast<std::int32_t>(SyncStatus::IDLE);
  timer.diskHealth = services.diskHealth;
  timer.Start(
      kTickMs, [this] { TimerTick(); }, false);
  GalleryTransManager::GetInstance().GalleryInit();
  (void)GalleryTransManager::GetInstance().LoadTaskFromDB();  // What cannot be read has been logged.
  if (GlobalData::cloudGeneration == GlobalData::kGenerationV2) {
    if (services.startLostFiles) services.startLostFiles(RefundOf(kContent), RefundOf(kThumbnails));
    StartWatch();
  }
  if (services.registerPush) {
    services.registerPush(
        [this](const std::string& command, const std::string& body) { ProcessPushMsg(command, body); });
  }
  platform::MutexLock watch(watchLock);
  if (services.makePlayer && !playerThread.joinable()) playerThread = std::thread(services.makePlayer);
}

void SyncHelper::StopTimer() {
  platform::MutexLock starting(startLock);
  EndTicks();
}

void SyncHelper::EndTicks() {
  timer.Stop();
  if (services.stopLostFiles) services.stopLostFiles();
}

void SyncHelper::ForgetUser() {
  platform::MutexLock starting(startLock);
  ForgetRun();
}

void SyncHelper::StopTicks() {
  {
    platform::MutexLock hold(driverLock);
    ++stops;
    started = false;
  }
  if (timerTicks) EndCycle();
  if (services.removePush) services.removePush();
  StopTimer();
}

void SyncHelper::TimerTick() {
  timerTicks = true;
  if (started) (void)RunOnce();
  timerTicks = false;
}

void SyncHelper::Reopen() {
  platform::MutexLock starting(startLock);
  if (!closed) return;
  EndTicks();
  ForgetRun();
  platform::MutexLock hold(driverLock);
  closed = stopRequested = cancelTask = false;
}

void SyncHelper::ForgetRun() {
  {
    platform::MutexLock hold(watchLock);
    if (watchThread.joinable()) watchThread.join();
  }
  ReleaseLock();
  serviceOperation = nullptr;
  localOperation.ForgetUnsaved();
  localOperation.ForgetServices();
  EmptyViews();
  lastError.Set({});
  targetVersion = -1;
  uploadPending = 0;
  requeued = 0;
  pulled = refundsToResume = false;
  dataLoaded = hasTicked = timeLineToldIdle = timeLineToldCycle = false;
}

void SyncHelper::EmptyViews() {
  auto& gallery = Gallery::GetInstance();
  (void)gallery.Init();
  (void)gallery.AddFiles({});
}

void SyncHelper::StartWatch() {
  platform::MutexLock hold(watchLock);
  if (watching) return;  // Since a start before the ticks were stopped.
  if (watchThread.joinable()) watchThread.join();
  const bool shown = GlobalParamWrapper::GetInstance()->GetEnableShowLostCloudPhoto();
  watching = true;
  watchThread = std::thread([this, shown] {
    platform::SetThreadName("display watch");
    LoadDataToMemoryWhenDisplaySwitchChanged(shown);
    watching = false;
  });
}

void SyncHelper::StopSync() {
  LogInfo("SyncHelper::StopSync", "StopSync");
  {
    platform::MutexLock hold(driverLock);
    ++stops;
    closed = true;
    started = false;
  }
  stopRequested = cancelTask = true;
  if (services.clearSelection) services.clearSelection();
  EmptyViews();
  if (services.removePush) services.removePush();
  localOperation.ForgetUnsaved();
  dataLoaded = false;
}

void SyncHelper::ClearStopFlags() {
  // Not `keepLockStop`: the lock of a refund may be on its way back.
  stopRequested = cancelTask = false;
  // A stop that came between must not be forgotten.
  if (closed || (timerTicks && !started)) stopRequested = cancelTask = true;
}

void SyncHelper::SetSyncSwitch(bool on) {
  syncSwitch = on;
  if (started) SetPaused(!on);
}

void SyncHelper::SetPaused(bool paused) {
  if (paused) {
    status = static_cast<std::int32_t>(SyncStatus::PAUSE);
    Tell(SyncStatus::PAUSE, uploadPending);
    return;
  }
  if (!IsPaused()) return;
  Tell(SyncStatus::DOWNLOAD, uploadPending);
  status = static_cast<std::int32_t>(SyncStatus::CHECK);
  timer.Wake();
}

void SyncHelper::Tell(SyncStatus next, std::int64_t count) {
  if (ISyncCallback* listener = callback) listener->OnSyncStatus(next, count);
}

// A cycle never takes the pause away: only the user's switch does.
void SyncHelper::Enter(SyncStatus next) {
  std::int32_t now = status;
  while (now != static_cast<std::int32_t>(SyncStatus::PAUSE) &&
         !status.compare_exchange_weak(now, static_cast<std::int32_t>(next))) {
  }
}

bool SyncHelper::Fail(const char* step, const std::string& text, const std::string& item) {
  LogWarning(step, text + (item.empty() ? "" : " " + item));
  // The first cause of a cycle is the one that helps.
  if (lastError.Get().step.empty())
    lastError.Set({step, text, item, MethodFunction::CurrentTime(), CloudTrouble::Since(troublesBefore)});
  return false;
}

void SyncHelper::PostToFrame(unsigned message) const {
  platform::PostMessageW(GlobalParamWrapper::GetInstance()->GetMainWnd(), message, 0, 0);
}

void SyncHelper::NotifyTimeLine(std::atomic<bool>& done) {
  if (done.exchange(true)) return;
  if (const auto album = Gallery::GetInstance().GetAlbum(SystemAlbumId(AlbumKind::TimeLine))) album->Notify();
}

std::int64_t SyncHelper::PendingUploads() {
  return static_cast<std::int64_t>(localOperation.GetUploadFiles().size());
}

bool SyncHelper::RunOnce() {
  if (ticking.exchange(true)) {
    tickRefused = true;
    return false;
  }
  return RunTurn();
}

bool SyncHelper::RunNext(const std::function<bool()>& giveUp, const std::function<void()>& begun) {
  while (ticking.exchange(true)) {
    if (giveUp()) return false;
    std::this_thread::sleep_for(kTurnPollMs);
  }
  begun();
  return RunTurn();
}

bool SyncHelper::RunTurn() {
  troublesBefore = CloudTrouble::Count();
  lastError.Set({});
  requeued = 0;
  hasTicked = true;
  SyncTick();
  ExpireBin();
  EndTurn();
  return lastError.Get().step.empty();
}

// Once a day, while the bin holds something old, its age is compared with the
// service's clock.
void SyncHelper::ExpireBin() {
  const auto bin = Gallery::GetInstance().GetAlbum(kRecycleAlbumId);
  if (!bin || !bin->HoldsExpired() || stopRequested || !lastError.Get().step.empty()) return;
  const std::int64_t now = MethodFunction::CurrentTime();
  if (now >= expiryAsked && now < expiryAsked + kDayMs) return;
  if (!UserAuthService::GetInstance()->AskServerTime()) return;
  expiryAsked = now;
  bin->ClearExpiresFiles();
}

// For processes that ask later. Written only when it changed: a tick that fails
// each minute would otherwise wake the disk each minute.
void SyncHelper::KeepLastError() {
  const SyncError error = lastError.Get(), kept = LastErrorFile::Load();
  if (error.step == kept.step && error.cause == kept.cause && error.item == kept.item &&
      error.words == kept.words)
    return;
  (void)LastErrorFile::Store(error);  // Logged there; this process knows it anyway.
}

void SyncHelper::SyncTick() {
  if (closed) return;
  uploadPending = PendingUploads();
  if (!syncSwitch) {
    Tell(SyncStatus::PAUSE, uploadPending);
    return;
  }
  Tell(SyncStatus::DOWNLOAD, 0);
  const SpaceInfo space = services.spaceInfo ? services.spaceInfo() : SpaceInfo();
  if (space.status == 0 && space.total > 0 && space.free == 0 &&
      status == static_cast<std::int32_t>(SyncStatus::IDLE)) {
    (void)Fail("SyncHelper::SyncTick", "the cloud's space is used up");
    KeepLastError();
    Tell(SyncStatus::IDLE, uploadPending);
    return;
  }
  if (cycleRunning) return;
  const SyncMode next = GetSyncMode();
  mode = static_cast<std::int32_t>(next);
  if (next == SyncModeFailed || next == SyncModeNewAccount) {
    KeepLastError();
    NotifyTimeLine(timeLineToldIdle);
    return;
  }
  PostToFrame(WM_FRAME_SYNC_BEGIN);
  (void)RunMode(next);  // What failed stands in lastError.
  KeepLastError();
  PostToFrame(WM_FRAME_SYNC_END);
  NotifyTimeLine(timeLineToldCycle);
}

bool SyncHelper::RunMode(SyncMode next) {
  if (next == SyncModeIncrement) {
    hasSynced = true;
    return IncrementSync();
  }
  if (WaitsAfter503()) return Fail("SyncHelper::SyncTick", "service unavailable, waiting");
  hasSynced = false;
  const bool good = FullSync(next);
  hasSynced = true;
  return good;
}

bool SyncHelper::WaitsAfter503() const {
  const auto listing = Listing();
  const std::int64_t failures = listing ? listing->Failures503() : 0;
  if (failures == 0) return false;
  if (failures > kMaxFailures503) return true;
  return MethodFunction::CurrentTime() <=
         listing->Last503Ms() + failures * failures * kBackOffMs + kBackOffMs;
}

bool SyncHelper::LoadDataToMemory() {
  if (dataLoaded) return true;
  if (!LoadModel([this](bool loaded) {
        if (ISyncCallback* listener = callback) listener->Notify(loaded ? 0 : 1);
      })) {
    return Fail("SyncHelper::LoadDataToMemory", "the database could not be read");
  }
  dataLoaded = true;
  return true;
}

SyncState SyncHelper::GetState() {
  SyncState state;
  state.status = static_cast<SyncStatus>(status.load());
  state.mode = static_cast<SyncMode>(mode.load());
  state.started = started;
  state.hasSynced = hasSynced;
  state.lockHeld = !GalleryTransManager::GetInstance().LockToken().empty();
  (void)localOperation.ReadVersionRecord(state.row, state.hasRow);  // Unreadable shows as no row.
  state.targetVersion = targetVersion;
  state.pulled = pulled;
  state.pendingAlbums = localOperation.GetCreatedAlbums().size() + localOperation.GetModifyAlbums().size() +
                        localOperation.GetDeleteAlbums().size();
  state.pendingFiles = localOperation.GetChangedFiles().size() + localOperation.GetDeleteFiles().size();
  state.pendingUploads = localOperation.GetUploadFiles().size();
  state.requeued = requeued;
  state.lastError = hasTicked ? lastError.Get() : LastErrorFile::Load();
  return state;
}
