// The increment cycle and its pull.

#include "host/base/logger.h"
#include "sync/synchelper.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/methodfunction.h"

namespace {

constexpr int kEventCycleFailed = 281;
// As the time of the last comparison: its period is over.
constexpr std::int64_t kCompareNow = 1;
constexpr char kPullTag[] = "SyncHelper::DownLoadFromCloud";

std::string Number(std::int64_t number) { return std::to_string(number); }

}  // namespace

bool SyncHelper::IncrementSync() {
  const bool good = IncrementCycle();
  targetVersion = -1;
  cycleRunning = false;
  if (good && !IsPaused()) ResumeRefunds();
  return good;
}

bool SyncHelper::IncrementCycle() {
  constexpr char kTag[] = "SyncHelper::IncrementSync";
  if (IsPaused()) {
    Tell(SyncStatus::PAUSE, uploadPending);
    return true;
  }
  if (!localOperation.CanSync()) {
    Enter(SyncStatus::NOTREADY);
    return Fail(kTag, "the download is not complete");
  }
  LogInfo(kTag, "Begin Increment Sync");
  ClearStopFlags();
  targetVersion = -1;
  pulled = false;
  cycleRunning = true;
  if (!TakeService()) {
    if (IsPaused()) Tell(SyncStatus::PAUSE, uploadPending);
    if (GlobalData::cloudGeneration != GlobalData::kGenerationUnknown) return true;
    return Fail(kTag, "the cloud did not tell its generation");
  }
  Tell(SyncStatus::ALBUMSREADY, -1);
  Enter(SyncStatus::CHECK);
  Tell(SyncStatus::CHECK, -1);
  if (!DownLoadFromCloud(std::nullopt)) {
    EndFailedPull();
    return false;
  }
  pulled = true;
  if (IsPaused()) {
    Tell(SyncStatus::PAUSE, uploadPending);
    return true;
  }
  bool uploaded = true;
  if (localOperation.HasLocalChanges()) {
    Enter(SyncStatus::UPLOAD);
    Tell(SyncStatus::UPLOAD, -1);
    if (Lock()) {
      LogInfo(kTag, "get lock from gallery upload task success");
      uploaded = SyncUpload();
      if (!refundHoldsLock) {
        LogInfo(kTag, "Release lock from upload");
        ReleaseLock();
      }
    }
  }
  if (IsPaused()) {
    Tell(SyncStatus::PAUSE, uploadPending);
  } else {
    Enter(SyncStatus::IDLE);
    uploadPending = PendingUploads();
    Tell(SyncStatus::IDLE, uploadPending);
  }
  LogInfo(kTag, "End Increment Sync");
  return uploaded;
}

void SyncHelper::EndFailedPull() {
  AlbumLocalVersion row;
  bool found = false;
  // The cursor has expired, and the rows are gone: memory and table differ until
  // the listing.
  if (localOperation.ReadVersionRecord(row, found) && !found) timer.Wake();
  if (IsPaused()) {
    Tell(SyncStatus::PAUSE, uploadPending);
    Logger::OutputOperationLog(kEventCycleFailed, 5, 2,
                               {{"errorCode", "4"}, {"errorReason", "SyncStatus::PAUSE"}});
    return;
  }
  Enter(SyncStatus::SYNCERROR);
  Tell(SyncStatus::SYNCERROR, -1);
  Logger::OutputOperationLog(kEventCycleFailed, 5, 2,
                             {{"errorCode", "5"}, {"errorReason", "SyncStatus::SYNCERROR"}});
}

bool SyncHelper::DownLoadFromCloud(const std::optional<CloudMarks>& given) {
  ISyncServiceOperation* service = serviceOperation;
  if (!service) return Fail(kPullTag, "no service");
  // Before any version moves: a row of the last cycle may still be missing.
  if (!localOperation.SaveUnsaved()) return Fail(kPullTag, "rows of the last cycle could not be written");
  CloudMarks marks;
  CloudVersion told;
  if (given && given->fileVersion >= 1) {
    marks = *given;
  } else {
    const auto cloud = service->GetCloudVersion();
    if (!cloud || cloud->code != 0) return Fail(kPullTag, "cloudVersion fail");
    marks = {cloud->albumListVersion, cloud->fileVersion, cloud->clearVersion};
    told = *cloud;
  }
  std::int64_t local = localOperation.GetLatestVersion();
  if (local == -1) return Fail(kPullTag, "filesVersion = -1");
  // Albums come first, so that files find theirs.
  Gallery::Albums deleted;
  bool storeLater = false;
  if (!PullAlbums(marks.albumListVersion, deleted, storeLater)) return false;
  told.fileVersion = marks.fileVersion;
  if (local < told.minVersion || told.FellBehind(local)) {
    if (!FillGap(told.FellBehind(local), marks.fileVersion)) return false;
    local = marks.fileVersion;
  }
  LogInfo(kPullTag,
          [&] { return "filesVersion:" + Number(marks.fileVersion) + " ;cloudFile:" + Number(local); });
  if (local != marks.fileVersion && !PullFiles(local, marks.fileVersion)) return false;
  const auto now = service->GetCloudVersion();
  if (!now || now->code != 0) return Fail(kPullTag, "Get Cloud Version Failed!");
  if (now->fileVersion != marks.fileVersion)
    return Fail(kPullTag, "cloud ver has changed, quit sync process!");
  if (!localOperation.SetLatestVersion(marks.fileVersion))
    return Fail(kPullTag, "the version could not be stored");
  // A cloud that tells no marker leaves ours: without one the database would be
  // taken for out of date at the next start.
  if (!marks.clearVersion.empty() && !localOperation.SetClearVersion(marks.clearVersion)) {
    return Fail(kPullTag, "the clear marker could not be stored");
  }
  // Albums go last, so that their files had their chance to move.
  if (!localOperation.DeleteAlbums(deleted)) return Fail(kPullTag, "deleted albums could not be stored");
  if (storeLater && !localOperation.SetAlbumListVersion(marks.albumListVersion)) {
    return Fail(kPullTag, "the album list version could not be stored");
  }
  return true;
}

// `storeLater`: albums wait for their deletion, and the version of the list may
// not be stored before that.
bool SyncHelper::PullAlbums(const std::string& version, Gallery::Albums& deleted, bool& storeLater) {
  if (localOperation.GetAlbumListVersion() == version) return true;
  Enter(SyncStatus::DOWNLOAD);
  Tell(SyncStatus::DOWNLOAD, -1);
  if (!SyncAblum(deleted)) return Fail(kPullTag, "sync download albums fail!");
  storeLater = !deleted.empty();
  if (storeLater || localOperation.SetAlbumListVersion(version)) return true;
  return Fail(kPullTag, "the album list version could not be stored");
}

// The cloud no longer keeps history as far back as this gallery is, or a backup of
// it was put back and its history goes on from an earlier point.
bool SyncHelper::FillGap(bool fellBehind, std::int64_t fileVersion) {
  const bool nothingHere = Gallery::GetInstance().FileCount() == 0;
  if (!CompareAfterLoss(fellBehind)) return Fail(kPullTag, "BriefingFullUpdate fail");
  if (nothingHere) {
    // Nothing was compared, so nothing came: only a listing brings it.
    (void)localOperation.ChangeVersionRecord([](AlbumLocalVersion& row) {
      row.HasDownAll = 0;
      row.FileCursor.clear();
    });
    return Fail(kPullTag, "history is gone, the listing starts again");
  }
  const bool stored = localOperation.ChangeVersionRecord([&](AlbumLocalVersion& row) {
    row.LatestVersion = fileVersion;
    row.UpdateTime = MethodFunction::CurrentTime();
    // Cursors of the history before mean nothing in this one.
    row.TempVersion = -1;
    row.Cursor.clear();
    row.RecyCursor.clear();
    // No pull could ever close the gap of an account without files, so the
    // version moves; in case it was silence, the next tick compares again.
    if (listedNothing) row.BriefingTime = kCompareNow;
  });
  if (!stored) return Fail(kPullTag, "the version could not be stored");
  GiveBackEmpty();
  return true;
}

bool SyncHelper::PullFiles(std::int64_t from, std::int64_t to) {
  targetVersion = to;
  Enter(SyncStatus::DOWNLOAD);
  Tell(SyncStatus::DOWNLOAD, -1);
  LogInfo(kPullTag, [from] { return "Local FileVersion Is " + Number(from); });
  if (SyncGeneralFiles(from) && SyncRecycleFiles(localOperation.GetRecycleAlbumIds(), from)) return true;
  return Fail(kPullTag, "sync download galleryFile fail!");
}

bool SyncHelper::SyncAblum(Gallery::Albums& deleted) {
  constexpr char kTag[] = "SyncHelper::SyncAblum";
  const auto albums = serviceOperation.load()->GetCloudAlbums();
  if (!albums) return Fail(kTag, "the albums could not be listed");
  const auto changes = localOperation.GetCloudChangedAlbums(*albums);
  if (!changes.empty()) {
    if (!localOperation.SetLocalAlbums(changes, deleted)) return Fail(kTag, "albums could not be stored");
    LogInfo(kTag, [&] { return "Changed Albums To OrigSource Count:" + std::to_string(changes.size()); });
  }
  return !cancelTask;
}

bool SyncHelper::SyncGeneralFiles(std::int64_t fromVersion) {
  constexpr char kTag[] = "SyncHelper::SyncGeneralFiles";
  const AlbumLocalVersion record = localOperation.GetVersionRecord();
  if (record.TempVersion > 0 && record.Cursor.empty() && record.TempVersion == targetVersion) {
    LogInfo(kTag, "General Album Files Has DownLoad All But Recy Is Not");
    return true;
  }
  std::string cursor;
  // The list is in the order of versions: what has changed since stands behind
  // every cursor, so that one holds although the cloud has moved on.
  if (record.TempVersion > 0 && record.TempVersion <= targetVersion && !record.Cursor.empty()) {
    cursor = record.Cursor;
    LogInfo(kTag, [&] { return "General Files Has Cursor : " + cursor; });
  }
  const auto keepPlace = [&] {
    (void)localOperation.SetTempVersion(targetVersion, cursor,
                                        "");  // Lost: the pull starts at its first page.
    LogInfo(kTag, [&] {
      return "Updata LocalTempVersion TempVersion : " + Number(targetVersion) + " Cursor: " + cursor;
    });
  };
  while (true) {
    std::vector<CloudFileInfo> files;
    const bool fetched = serviceOperation.load()->GetCloudIncrementFiles(fromVersion, {}, cursor, files);
    LogInfo(kTag, [fromVersion] { return "Get Local TempVersion = " + Number(fromVersion); });
    if (!fetched) {
      if (!cursor.empty()) keepPlace();
      return Fail(kTag, "a page of changes did not come");
    }
    const std::size_t count = files.size();
    if (!localOperation.SetLocalGeneralFiles(files))
      return Fail(kTag, "a page of changes could not be stored");
    if (count > 0)
      LogInfo(kTag, [count] { return "Changed Files To OrigSource Count : " + std::to_string(count); });
    if (cancelTask) {
      keepPlace();
      return Fail(kTag, "stopped");
    }
    if (!cursor.empty()) continue;
    if (localOperation.SetTempVersion(targetVersion, "", "")) return true;
    return Fail(kTag, "the cursor could not be stored");
  }
}

bool SyncHelper::SyncRecycleFiles(const Ids& albumIds, std::int64_t fromVersion) {
  constexpr char kTag[] = "SyncHelper::SyncRecycleFiles";
  const AlbumLocalVersion record = localOperation.GetVersionRecord();
  std::string cursor;
  if (record.TempVersion > 0 && !record.RecyCursor.empty() && record.TempVersion == targetVersion) {
    cursor = record.RecyCursor;
    LogInfo(kTag, [&] { return "Recry Files Has Cursor : " + cursor; });
  }
  const auto keepPlace = [&] {
    (void)localOperation.SetTempVersion(targetVersion, "",
                                        cursor);  // Lost: this pass starts at its first page.
    LogInfo(kTag, [&] {
      return "Updata Recy LocalTempVersion TempVersion : " + Number(targetVersion) + " Cursor: " + cursor;
    });
  };
  while (true) {
    std::vector<CloudFileInfo> files;
    if (!serviceOperation.load()->GetCloudIncrementFiles(fromVersion, albumIds, cursor, files)) {
      if (!cursor.empty()) keepPlace();
      return Fail(kTag, "a page of the bin did not come");
    }
    const std::size_t count = files.size();
    if (!localOperation.SetRecycleFiles(files)) return Fail(kTag, "a page of the bin could not be stored");
    LogInfo(kTag, [count] { return "Changed Files To OrigSource Count:" + std::to_string(count); });
    if (cancelTask) {
      keepPlace();
      return Fail(kTag, "stopped");
    }
    if (!cursor.empty()) continue;
    if (localOperation.SetTempVersion(-1, "", "")) return true;
    return Fail(kTag, "the cursor could not be stored");
  }
}
