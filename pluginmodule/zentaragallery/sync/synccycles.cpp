// The kinds of cycle: the full download, changes, and the comparison.

#include "host/base/logger.h"
#include "sync/synchelper.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"

namespace {

constexpr int kEventCycleFailed = 281;
constexpr int kMovedWhileListing = 3;

// What Briefing answers.
constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kAlreadyRunning = 2;
constexpr int kRefused = 4;
constexpr int kByPush = 2;

}  // namespace

bool SyncHelper::FullSync(SyncMode next) {
  if (!syncSwitch) return false;
  LogInfo("SyncHelper::FullSync", "Begin Full Sync");
  cycle.Tell(SyncStatus::DOWNLOAD, -1);
  ClearStopFlags();
  cycleRunning = true;
  if (!cycle.localOperation.SaveUnsaved()) {
    (void)cycle.Fail("SyncHelper::FullSync", "rows of the last cycle could not be written");
    return EndFullSync(false);
  }
  if (next == SyncModeFull ? !listing.EmptyForFullSync() : !cycle.LoadDataToMemory())
    return EndFullSync(false);
  if (GlobalData::cloudGeneration != GlobalData::kGenerationV2) return EndFullSync(false);
  if (!listing.FullSyncAlbumsV2() || !listing.TakeInStoredRows()) return EndFullSync(false);
  cycle.Tell(SyncStatus::ALBUMSREADY, -1);
  if (cycle.IsPaused()) return EndFullSync(true);
  if (!FullSyncGalleryFilesV2(next)) return EndFullSync(false);
  return EndFullSync(true);
}

bool SyncHelper::FullSyncGalleryFilesV2(SyncMode next) {
  constexpr char kTag[] = "SyncHelper::FullSyncGalleryFilesV2";
  if (next == SyncModeBriefing) {
    LogInfo(kTag, [this] { return "Briefing strart! type:" + std::to_string(briefing.Type()); });
    const int result = Briefing(briefing.Type());
    LogInfo(kTag, [result] { return "Briefing result: " + std::to_string(result); });
    LogInfo(kTag, "Briefing end!");
    return result == 0;
  }
  LogInfo(kTag, "All Download V2 Begin");
  std::size_t olderRows = 0;
  Note(&Progress::fullListing, true);
  const bool listed = listing.RequestDownLoadFileV2(olderRows);
  Note(&Progress::fullListing, false);
  if (!listed) return cycle.Fail(kTag, "All DownLoad V2 Faild");
  const auto version = cycle.QueryVersion();
  if (!version) {
    (void)cycle.Fail(kTag, "All DownLoad V2 Faild");
    return true;  // The listing itself was good; the next tick lists again and skips what is here.
  }
  const AlbumLocalVersion row = cycle.localOperation.GetVersionRecord();
  const bool moved =
      !row.AlbumVersion.empty() && row.LatestVersion > 0 && row.LatestVersion < version->fileVersion;
  // What the cloud has deleted stands in no listing: files that were here before
  // this one started are compared with it, unless it only adds to them.
  const bool anew = next == SyncModeFull || row.UpdateTime == 0;
  if (moved || (anew && olderRows > 0)) {
    briefing.SetType(kMovedWhileListing);
    return Briefing(kMovedWhileListing) != 0 || listing.FinishFullSync();
  }
  if (!listing.FinishFullSync()) return false;
  LogInfo(kTag, "full sync success!");
  return true;
}

bool SyncHelper::EndFullSync(bool good) {
  cycleRunning = false;
  if (!good) {
    cycle.Enter(SyncStatus::SYNCERROR);
    cycle.Tell(SyncStatus::SYNCERROR, -1);
    return false;
  }
  if (cycle.IsPaused()) {
    cycle.Tell(SyncStatus::PAUSE, -1);
    return true;
  }
  cycle.Enter(SyncStatus::IDLE);
  cycle.Tell(SyncStatus::IDLE, -1);
  LogInfo("SyncHelper::FullSync", "End Full Sync");
  return true;
}

bool SyncHelper::IncrementSync() {
  const bool good = IncrementCycle();
  pull.ForgetTarget();
  cycleRunning = false;
  if (good && !cycle.IsPaused()) refunds.Resume();
  return good;
}

bool SyncHelper::IncrementCycle() {
  constexpr char kTag[] = "SyncHelper::IncrementSync";
  if (cycle.IsPaused()) {
    cycle.TellPaused();
    return true;
  }
  if (!cycle.localOperation.CanSync()) {
    cycle.Enter(SyncStatus::NOTREADY);
    return cycle.Fail(kTag, "the download is not complete");
  }
  LogInfo(kTag, "Begin Increment Sync");
  ClearStopFlags();
  pull.ForgetTarget();
  Note(&Progress::pulled, false);
  cycleRunning = true;
  if (!cycle.TakeService()) {
    if (cycle.IsPaused()) cycle.TellPaused();
    if (GlobalData::cloudGeneration != GlobalData::kGenerationUnknown) return true;
    return cycle.Fail(kTag, "the cloud did not tell its generation");
  }
  cycle.Tell(SyncStatus::ALBUMSREADY, -1);
  cycle.Enter(SyncStatus::CHECK);
  cycle.Tell(SyncStatus::CHECK, -1);
  if (!pull.DownLoadFromCloud(std::nullopt)) {
    EndFailedPull();
    return false;
  }
  Note(&Progress::pulled, true);
  if (cycle.IsPaused()) {
    cycle.TellPaused();
    return true;
  }
  const bool uploaded = UploadUnderLock();
  EndIncrement();
  LogInfo(kTag, "End Increment Sync");
  return uploaded;
}

bool SyncHelper::UploadUnderLock() {
  constexpr char kTag[] = "SyncHelper::IncrementSync";
  if (!cycle.localOperation.HasLocalChanges()) return true;
  cycle.Enter(SyncStatus::UPLOAD);
  cycle.Tell(SyncStatus::UPLOAD, -1);
  if (!lock.Lock()) return true;
  LogInfo(kTag, "get lock from gallery upload task success");
  const bool uploaded = SyncUpload();
  if (!refunds.HoldLock()) {
    LogInfo(kTag, "Release lock from upload");
    lock.Release();
  }
  return uploaded;
}

void SyncHelper::EndIncrement() {
  if (cycle.IsPaused()) return cycle.TellPaused();
  cycle.Enter(SyncStatus::IDLE);
  cycle.CountPending();
  cycle.Tell(SyncStatus::IDLE, cycle.uploadPending);
}

void SyncHelper::EndFailedPull() {
  AlbumLocalVersion row;
  bool found = false;
  // The cursor has expired, and the rows are gone: memory and table differ until
  // the listing.
  if (cycle.localOperation.ReadVersionRecord(row, found) && !found) cycle.Wake();
  if (cycle.IsPaused()) {
    cycle.TellPaused();
    Logger::OutputOperationLog(kEventCycleFailed, 5, 2,
                               {{"errorCode", "4"}, {"errorReason", "SyncStatus::PAUSE"}});
    return;
  }
  cycle.Enter(SyncStatus::SYNCERROR);
  cycle.Tell(SyncStatus::SYNCERROR, -1);
  Logger::OutputOperationLog(kEventCycleFailed, 5, 2,
                             {{"errorCode", "5"}, {"errorReason", "SyncStatus::SYNCERROR"}});
}

bool SyncHelper::SyncUpload() {
  if (!cycle.Service() || !changes.Upload()) return false;
  content.UploadContent();
  const SyncStatus now = cycle.Status();
  if (now == SyncStatus::PAUSE || now == SyncStatus::NOSPACE) {
    cycle.Tell(now, cycle.uploadPending);
    return true;
  }
  return pull.DownLoadFromCloud(std::nullopt);
}

bool SyncHelper::CompareAll() {
  constexpr char kTag[] = "SyncHelper::Briefing";
  // Changes behind this point are left to the pull that follows.
  (void)cycle.CutStatus();  // It tells whether a backup was put back.
  const auto version = cycle.QueryVersion();
  const bool nothingHere = Gallery::GetInstance().FileCount() == 0;
  // A backup that was put back lacks what it never had, which is no deletion.
  const bool fellBehind = version && version->FellBehind(cycle.localOperation.GetLatestVersion());
  const bool compared =
      fellBehind ? comparison.CompareAfterLoss(fellBehind) : comparison.BriefingFullUpdate();
  if (!compared) (void)cycle.Fail(kTag, "[Briefing]Briefing Failed!");
  LogInfo(kTag, "[Briefing]-----------Briefing End-------------");
  if (compared && !version) (void)cycle.Fail(kTag, "the cloud's version is not known");
  if (!compared || !version) return false;
  LogInfo(kTag, [&] { return "latestStartCursor:" + std::to_string(version->fileVersion); });
  // An empty gallery or an empty listing was not compared: what the cloud has,
  // or no longer has, comes by the pull from where the last one ended.
  return (nothingHere || comparison.ListedNothing() ||
          cycle.localOperation.SetLatestVersion(version->fileVersion)) &&
         listing.FinishFullSync();
}

int SyncHelper::Briefing(int type) {
  constexpr char kTag[] = "SyncHelper::Briefing";
  LogInfo(kTag, [type] { return "Briefing type: " + std::to_string(type); });
  if (!briefing.Begin()) {
    LogInfo(kTag, "[Briefing]Is Briefing Now");
    return kAlreadyRunning;
  }
  if (type == kByPush && Noted().fullListing) {
    LogInfo(kTag, "[Briefing]Is AllDown Now");
    briefing.End();
    return kRefused;
  }
  LogInfo(kTag,
          [type] { return "[Briefing]-------Begin Briefing By :" + std::to_string(type) + "----------"; });
  const bool good = CompareAll();
  if (good) {
    comparison.GiveBackEmpty();
    (void)IncrementSync();  // What fails there is repeated by the next tick.
  }
  briefing.End();
  return good ? kDone : kFailed;
}
