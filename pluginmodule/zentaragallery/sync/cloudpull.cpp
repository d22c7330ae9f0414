#include "sync/cloudpull.h"

#include "sync/cloudcomparison.h"
#include "utils/gallerylog.h"
#include "utils/methodfunction.h"

namespace {

// As the time of the last comparison: its period is over.
constexpr std::int64_t kCompareNow = 1;
constexpr char kPullTag[] = "SyncHelper::DownLoadFromCloud";

std::string Number(std::int64_t number) { return std::to_string(number); }

}  // namespace

bool CloudPull::DownLoadFromCloud(const std::optional<CloudMarks>& given) {
  ISyncServiceOperation* service = cycle.Service();
  if (!service) return cycle.Fail(kPullTag, "no service");
  // Before any version moves: a row of the last cycle may still be missing.
  if (!cycle.localOperation.SaveUnsaved())
    return cycle.Fail(kPullTag, "rows of the last cycle could not be written");
  CloudMarks marks;
  CloudVersion told;
  if (given && given->fileVersion >= 1) {
    marks = *given;
  } else {
    const auto cloud = service->GetCloudVersion();
    if (!cloud || cloud->code != 0) return cycle.Fail(kPullTag, "cloudVersion fail");
    marks = {cloud->albumListVersion, cloud->fileVersion, cloud->clearVersion};
    told = *cloud;
  }
  std::int64_t local = cycle.localOperation.GetLatestVersion();
  if (local == -1) return cycle.Fail(kPullTag, "filesVersion = -1");
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
  if (!now || now->code != 0) return cycle.Fail(kPullTag, "Get Cloud Version Failed!");
  if (now->fileVersion != marks.fileVersion)
    return cycle.Fail(kPullTag, "cloud ver has changed, quit sync process!");
  if (!cycle.localOperation.SetLatestVersion(marks.fileVersion))
    return cycle.Fail(kPullTag, "the version could not be stored");
  // A cloud that tells no marker leaves ours: without one the database would be
  // taken for out of date at the next start.
  if (!marks.clearVersion.empty() && !cycle.localOperation.SetClearVersion(marks.clearVersion)) {
    return cycle.Fail(kPullTag, "the clear marker could not be stored");
  }
  // Albums go last, so that their files had their chance to move.
  if (!cycle.localOperation.DeleteAlbums(deleted))
    return cycle.Fail(kPullTag, "deleted albums could not be stored");
  if (storeLater && !cycle.localOperation.SetAlbumListVersion(marks.albumListVersion)) {
    return cycle.Fail(kPullTag, "the album list version could not be stored");
  }
  return true;
}

// `storeLater`: albums wait for their deletion, and the version of the list may
// not be stored before that.
bool CloudPull::PullAlbums(const std::string& version, Gallery::Albums& deleted, bool& storeLater) {
  if (cycle.localOperation.GetAlbumListVersion() == version) return true;
  cycle.Enter(SyncStatus::DOWNLOAD);
  cycle.Tell(SyncStatus::DOWNLOAD, -1);
  if (!SyncAblum(deleted)) return cycle.Fail(kPullTag, "sync download albums fail!");
  storeLater = !deleted.empty();
  if (storeLater || cycle.localOperation.SetAlbumListVersion(version)) return true;
  return cycle.Fail(kPullTag, "the album list version could not be stored");
}

// The cloud no longer keeps history as far back as this gallery is, or a backup of
// it was put back and its history goes on from an earlier point.
bool CloudPull::FillGap(bool fellBehind, std::int64_t fileVersion) {
  const bool nothingHere = Gallery::GetInstance().FileCount() == 0;
  if (!comparison.CompareAfterLoss(fellBehind)) return cycle.Fail(kPullTag, "BriefingFullUpdate fail");
  if (nothingHere) {
    // Nothing was compared, so nothing came: only a listing brings it.
    (void)cycle.localOperation.ChangeVersionRecord([](AlbumLocalVersion& row) {
      row.HasDownAll = 0;
      row.FileCursor.clear();
    });
    return cycle.Fail(kPullTag, "history is gone, the listing starts again");
  }
  const bool stored = cycle.localOperation.ChangeVersionRecord([&](AlbumLocalVersion& row) {
    row.LatestVersion = fileVersion;
    row.UpdateTime = MethodFunction::CurrentTime();
    // Cursors of the history before mean nothing in this one.
    row.TempVersion = -1;
    row.Cursor.clear();
    row.RecyCursor.clear();
    // No pull could ever close the gap of an account without files, so the
    // version moves; in case it was silence, the next tick compares again.
    if (comparison.ListedNothing()) row.BriefingTime = kCompareNow;
  });
  if (!stored) return cycle.Fail(kPullTag, "the version could not be stored");
  comparison.GiveBackEmpty();
  return true;
}

bool CloudPull::PullFiles(std::int64_t from, std::int64_t to) {
  targetVersion = to;
  cycle.Enter(SyncStatus::DOWNLOAD);
  cycle.Tell(SyncStatus::DOWNLOAD, -1);
  LogInfo(kPullTag, [from] { return "Local FileVersion Is " + Number(from); });
  if (SyncGeneralFiles(from) && SyncRecycleFiles(cycle.localOperation.GetRecycleAlbumIds(), from))
    return true;
  return cycle.Fail(kPullTag, "sync download galleryFile fail!");
}

bool CloudPull::SyncAblum(Gallery::Albums& deleted) {
  constexpr char kTag[] = "SyncHelper::SyncAblum";
  const auto albums = cycle.Service()->GetCloudAlbums();
  if (!albums) return cycle.Fail(kTag, "the albums could not be listed");
  const auto changes = cycle.localOperation.GetCloudChangedAlbums(*albums);
  if (!changes.empty()) {
    if (!cycle.localOperation.SetLocalAlbums(changes, deleted))
      return cycle.Fail(kTag, "albums could not be stored");
    LogInfo(kTag, [&] { return "Changed Albums To OrigSource Count:" + std::to_string(changes.size()); });
  }
  return !cycle.IsCancelled();
}

bool CloudPull::SyncGeneralFiles(std::int64_t fromVersion) {
  constexpr char kTag[] = "SyncHelper::SyncGeneralFiles";
  const AlbumLocalVersion record = cycle.localOperation.GetVersionRecord();
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
    (void)cycle.localOperation.SetTempVersion(targetVersion, cursor,
                                              "");  // Lost: the pull starts at its first page.
    LogInfo(kTag, [&] {
      return "Updata LocalTempVersion TempVersion : " + Number(targetVersion) + " Cursor: " + cursor;
    });
  };
  while (true) {
    std::vector<CloudFileInfo> files;
    const bool fetched = cycle.Service()->GetCloudIncrementFiles(fromVersion, {}, cursor, files);
    LogInfo(kTag, [fromVersion] { return "Get Local TempVersion = " + Number(fromVersion); });
    if (!fetched) {
      if (!cursor.empty()) keepPlace();
      return cycle.Fail(kTag, "a page of changes did not come");
    }
    const std::size_t count = files.size();
    if (!cycle.localOperation.SetLocalGeneralFiles(files))
      return cycle.Fail(kTag, "a page of changes could not be stored");
    if (count > 0)
      LogInfo(kTag, [count] { return "Changed Files To OrigSource Count : " + std::to_string(count); });
    if (cycle.IsCancelled()) {
      keepPlace();
      return cycle.Fail(kTag, "stopped");
    }
    if (!cursor.empty()) continue;
    if (cycle.localOperation.SetTempVersion(targetVersion, "", "")) return true;
    return cycle.Fail(kTag, "the cursor could not be stored");
  }
}

bool CloudPull::SyncRecycleFiles(const SyncCycle::Ids& albumIds, std::int64_t fromVersion) {
  constexpr char kTag[] = "SyncHelper::SyncRecycleFiles";
  const AlbumLocalVersion record = cycle.localOperation.GetVersionRecord();
  std::string cursor;
  if (record.TempVersion > 0 && !record.RecyCursor.empty() && record.TempVersion == targetVersion) {
    cursor = record.RecyCursor;
    LogInfo(kTag, [&] { return "Recry Files Has Cursor : " + cursor; });
  }
  const auto keepPlace = [&] {
    (void)cycle.localOperation.SetTempVersion(targetVersion, "",
                                              cursor);  // Lost: this pass starts at its first page.
    LogInfo(kTag, [&] {
      return "Updata Recy LocalTempVersion TempVersion : " + Number(targetVersion) + " Cursor: " + cursor;
    });
  };
  while (true) {
    std::vector<CloudFileInfo> files;
    if (!cycle.Service()->GetCloudIncrementFiles(fromVersion, albumIds, cursor, files)) {
      if (!cursor.empty()) keepPlace();
      return cycle.Fail(kTag, "a page of the bin did not come");
    }
    const std::size_t count = files.size();
    if (!cycle.localOperation.SetRecycleFiles(files))
      return cycle.Fail(kTag, "a page of the bin could not be stored");
    LogInfo(kTag, [count] { return "Changed Files To OrigSource Count:" + std::to_string(count); });
    if (cycle.IsCancelled()) {
      keepPlace();
      return cycle.Fail(kTag, "stopped");
    }
    if (!cursor.empty()) continue;
    if (cycle.localOperation.SetTempVersion(-1, "", "")) return true;
    return cycle.Fail(kTag, "the cursor could not be stored");
  }
}
