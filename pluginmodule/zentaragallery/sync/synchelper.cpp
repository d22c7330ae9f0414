// Start, stop, tick and status.

#include "sync/synchelper.h"

#include <random>

#include "common/platform/thread.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "store/dbhelper.h"
#include "sync/lasterrorfile.h"
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
// A service that refuses is asked again after n * n * 120 + 120 seconds; after
// this many refusals not before the next start.
constexpr std::int32_t kMaxFailures503 = 3;
constexpr std::int64_t kBackOffMs = 120'000;

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

SyncHelper::SyncHelper(SyncServices given) : services(std::move(given)) {}

SyncHelper::~SyncHelper() {
  phase = Phase::kClosed;
  cycle.Stop();
  turns.LookAgain();
  StopTimer();
  lock.Release();
  displayWatch.Join();
  platform::MutexLock hold(driverLock);
  if (playerThread.joinable()) playerThread.join();
}

void SyncHelper::StartSync() {
  constexpr char kTag[] = "SyncHelper::StartSync";
  const int stopsBefore = Stops();
  platform::MutexLock starting(startLock);
  if (IsStarted()) return;
  LogInfo(kTag, "StartSync");
  if (IsClosed()) {
    // A cycle may have gone on behind the stop, with what it had read of the user
    // before.
    EndTicks();
    ForgetRun();
  }
  {
    platform::MutexLock hold(driverLock);
    if (stops != stopsBefore) return;
    phase = Phase::kOpen;
  }
  if (GlobalData::cloudGeneration == GlobalData::kGenerationUnknown) (void)cycle.CutStatus();
  CheckAndClearDatabase();
  std::mt19937 generator(std::random_device{}());
  const std::int64_t randomMs = static_cast<std::int64_t>(generator() & kRandomMask) % kDayMs;
  LogInfo(kTag, [randomMs] { return "Briefing Random Time :" + std::to_string(randomMs) + " ms"; });
  briefing.Set(services.briefingPeriodDays ? services.briefingPeriodDays() : 0, randomMs);
  platform::MutexLock hold(driverLock);
  if (IsClosed()) return;  // A stop came while the service was asked.
  phase = Phase::kStarted;
  refunds.ResumeLater();
  cycle.TakeStopBack();
  // The switch was turned on before the start.
  if (syncSwitch && cycle.IsPaused()) cycle.SetStatus(SyncStatus::IDLE);
  timer.diskHealth = services.diskHealth;
  timer.Start(
      kTickMs, [this] { TimerTick(); }, false);
  GalleryTransManager::GetInstance().GalleryInit();
  (void)GalleryTransManager::GetInstance().LoadTaskFromDB();  // What cannot be read has been logged.
  if (GlobalData::cloudGeneration == GlobalData::kGenerationV2) {
    if (services.startLostFiles) services.startLostFiles(RefundOf(kContent), RefundOf(kThumbnails));
    displayWatch.Start(services.pause);
  }
  if (services.registerPush) {
    services.registerPush(
        [this](const std::string& command, const std::string& body) { ProcessPushMsg(command, body); });
  }
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
    if (IsStarted()) phase = Phase::kOpen;
  }
  if (timerTicks) EndCycle();
  if (services.removePush) services.removePush();
  StopTimer();
}

void SyncHelper::TimerTick() {
  timerTicks = true;
  if (IsStarted()) (void)RunOnce();
  timerTicks = false;
}

void SyncHelper::Reopen() {
  platform::MutexLock starting(startLock);
  if (!IsClosed()) return;
  EndTicks();
  ForgetRun();
  platform::MutexLock hold(driverLock);
  phase = Phase::kOpen;
  cycle.TakeStopBack();
}

int SyncHelper::Stops() {
  platform::MutexLock hold(driverLock);
  return stops;
}

void SyncHelper::ForgetRun() {
  displayWatch.Join();
  lock.Release();
  cycle.Forget();
  EmptyViews();
  pull.ForgetTarget();
  comparison.ForgetRequeued();
  refunds.Forget();
  platform::MutexLock hold(progressLock);
  progress = {};
}

void SyncHelper::EmptyViews() {
  auto& gallery = Gallery::GetInstance();
  (void)gallery.Init();
  (void)gallery.AddFiles({});
}

void SyncHelper::StopSync() {
  LogInfo("SyncHelper::StopSync", "StopSync");
  {
    platform::MutexLock hold(driverLock);
    ++stops;
    phase = Phase::kClosed;
  }
  cycle.Stop();
  turns.LookAgain();
  if (services.clearSelection) services.clearSelection();
  EmptyViews();
  if (services.removePush) services.removePush();
  cycle.localOperation.ForgetUnsaved();
  cycle.SetLoaded(false);
}

void SyncHelper::ClearStopFlags() {
  // Not that of the lock's keeper: the lock of a refund may be on its way back.
  cycle.TakeStopBack();
  // A stop that came between must not be forgotten.
  if (IsClosed() || (timerTicks && !IsStarted())) cycle.Stop();
}

void SyncHelper::SetSyncSwitch(bool on) {
  syncSwitch = on;
  if (IsStarted()) SetPaused(!on);
}

void SyncHelper::SetPaused(bool paused) {
  if (paused) {
    cycle.SetStatus(SyncStatus::PAUSE);
    cycle.TellPaused();
    return;
  }
  if (!cycle.IsPaused()) return;
  cycle.Tell(SyncStatus::DOWNLOAD, cycle.uploadPending);
  cycle.SetStatus(SyncStatus::CHECK);
  cycle.Wake();
}

void SyncHelper::PostToFrame(unsigned message) const {
  platform::PostMessageW(GlobalParamWrapper::GetInstance()->GetMainWnd(), message, 0, 0);
}

void SyncHelper::NotifyTimeLine(bool Progress::*done) {
  if (Note(done, true)) return;
  if (const auto album = Gallery::GetInstance().GetAlbum(SystemAlbumId(AlbumKind::TimeLine))) album->Notify();
}

bool SyncHelper::RunOnce() { return turns.TryTick() && RunTurn(); }

bool SyncHelper::RunNext(const std::function<bool()>& giveUp, const std::function<void()>& begun) {
  if (!turns.Wait(giveUp)) return false;
  begun();
  return RunTurn();
}

bool SyncHelper::BetweenCycles(const std::function<bool()>& work) {
  if (!turns.Wait([this] { return IsClosed(); })) return false;
  const bool done = !IsClosed() && work();
  EndTurn();
  return done;
}

void SyncHelper::EndTurn() {
  turns.Free();
  refunds.ReleaseWhenEnded();
}

bool SyncHelper::WithLock(const std::function<bool()>& work) {
  return BetweenCycles([&] {
    if ((!cycle.Service() && !cycle.TakeService()) || !lock.Lock()) return false;
    const bool done = work();
    // Contents on their way up need the lock until the last of them has ended.
    if (!refunds.HoldLock()) lock.Release();
    return done;
  });
}

SyncServices::Refund SyncHelper::RefundOf(std::int32_t type) {
  return
      [this, type](const Ids& ids) { return BetweenCycles([&] { return RefundGetLock(ids, type, false); }); };
}

void SyncHelper::GiveBackContents(const Ids& ids) { (void)RefundGetLock(ids, kContent, true); }

bool SyncHelper::GiveBackLost(const std::function<bool()>& goOn) {
  if (!services.giveBackLost || !services.giveBackLost(RefundOf(kContent), RefundOf(kThumbnails)))
    return cycle.Fail("SyncHelper::GiveBackLost", "what the cloud has lost cannot be given back now");
  refunds.WaitUntilEnded([&] { return !IsClosed() && goOn(); });
  return !IsClosed();
}

bool SyncHelper::RunTurn() {
  cycle.Begin();
  comparison.ForgetRequeued();
  Note(&Progress::hasTicked, true);
  SyncTick();
  ExpireBin();
  EndTurn();
  return !cycle.HasFailed();
}

// Once a day, while the bin holds something old, its age is compared with the
// service's clock.
void SyncHelper::ExpireBin() {
  const auto bin = Gallery::GetInstance().GetAlbum(kRecycleAlbumId);
  if (!bin || !bin->HoldsExpired() || cycle.IsStopRequested() || cycle.HasFailed()) return;
  const std::int64_t now = MethodFunction::CurrentTime();
  if (now >= expiryAsked && now < expiryAsked + kDayMs) return;
  if (!UserAuthService::GetInstance()->AskServerTime()) return;
  expiryAsked = now;
  bin->ClearExpiresFiles();
}

// For processes that ask later. Written only when it changed: a tick that fails
// each minute would otherwise wake the disk each minute.
void SyncHelper::KeepLastError() {
  const SyncError error = cycle.LastError(), kept = LastErrorFile::Load();
  if (error.step == kept.step && error.cause == kept.cause && error.item == kept.item &&
      error.words == kept.words)
    return;
  (void)LastErrorFile::Store(error);  // Logged there; this process knows it anyway.
}

void SyncHelper::SyncTick() {
  if (IsClosed()) return;
  cycle.CountPending();
  if (!syncSwitch) {
    cycle.TellPaused();
    return;
  }
  cycle.Tell(SyncStatus::DOWNLOAD, 0);
  const SpaceInfo space = services.spaceInfo ? services.spaceInfo() : SpaceInfo();
  if (space.status == 0 && space.total > 0 && space.free == 0 && cycle.Status() == SyncStatus::IDLE) {
    (void)cycle.Fail("SyncHelper::SyncTick", "the cloud's space is used up");
    KeepLastError();
    cycle.Tell(SyncStatus::IDLE, cycle.uploadPending);
    return;
  }
  if (cycleRunning) return;
  const SyncMode next = GetSyncMode();
  Note(&Progress::mode, next);
  if (next == SyncModeFailed || next == SyncModeNewAccount) {
    KeepLastError();
    NotifyTimeLine(&Progress::timeLineToldIdle);
    return;
  }
  PostToFrame(WM_FRAME_SYNC_BEGIN);
  (void)RunMode(next);  // What failed stands in the cycle.
  KeepLastError();
  PostToFrame(WM_FRAME_SYNC_END);
  NotifyTimeLine(&Progress::timeLineToldCycle);
}

bool SyncHelper::RunMode(SyncMode next) {
  if (next == SyncModeIncrement) {
    Note(&Progress::hasSynced, true);
    return IncrementSync();
  }
  if (WaitsAfter503()) return cycle.Fail("SyncHelper::SyncTick", "service unavailable, waiting");
  Note(&Progress::hasSynced, false);
  const bool good = FullSync(next);
  Note(&Progress::hasSynced, true);
  return good;
}

bool SyncHelper::WaitsAfter503() const {
  const auto cloud = cycle.Listing();
  const std::int64_t failures = cloud ? cloud->Failures503() : 0;
  if (failures == 0) return false;
  if (failures > kMaxFailures503) return true;
  return MethodFunction::CurrentTime() <= cloud->Last503Ms() + failures * failures * kBackOffMs + kBackOffMs;
}

SyncState SyncHelper::GetState() {
  const Progress noted = Noted();
  SyncState state;
  state.status = cycle.Status();
  state.mode = noted.mode;
  state.started = IsStarted();
  state.hasSynced = noted.hasSynced;
  state.lockHeld = !GalleryTransManager::GetInstance().LockToken().empty();
  (void)cycle.localOperation.ReadVersionRecord(state.row, state.hasRow);  // Unreadable shows as no row.
  state.targetVersion = pull.TargetVersion();
  state.pulled = noted.pulled;
  state.pendingAlbums = cycle.localOperation.GetCreatedAlbums().size() +
                        cycle.localOperation.GetModifyAlbums().size() +
                        cycle.localOperation.GetDeleteAlbums().size();
  state.pendingFiles =
      cycle.localOperation.GetChangedFiles().size() + cycle.localOperation.GetDeleteFiles().size();
  state.pendingUploads = cycle.localOperation.GetUploadFiles().size();
  state.requeued = comparison.Requeued();
  state.lastError = noted.hasTicked ? cycle.LastError() : LastErrorFile::Load();
  return state;
}
