// What the next tick has to do.

#include "host/base/globalparamwrapper.h"
#include "store/dbhelper.h"
#include "sync/synchelper.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/methodfunction.h"

namespace {

constexpr char kTag[] = "SyncHelper::GetSyncMode";
constexpr char kSecondGeneration[] = "v2.0";
// With this much down a comparison costs less than another listing.
constexpr std::int64_t kEnoughIsDown = 50;

bool SaysNothing(const std::string& version) { return version.empty() || version == "0"; }

bool IsNewAccount(const CloudVersion& cloud) {
  return SaysNothing(cloud.albumVersion) && SaysNothing(cloud.albumListVersion) && cloud.fileVersion < 1;
}

AlbumLocalVersion RecordOf(const CloudVersion& cloud) {
  AlbumLocalVersion record;
  record.AlbumVersion = cloud.albumVersion;
  record.AlbumListVersion = cloud.albumListVersion;
  record.LatestVersion = cloud.fileVersion;
  record.ClearVersion = cloud.clearVersion;
  record.TempVersion = -1;
  record.CloudPhotoVersion = kSecondGeneration;
  record.lastLostFileQueryTimestamp = GlobalParamWrapper::GetInstance()->GetServerTime();
  return record;
}

}  // namespace

SyncMode SyncHelper::GetSyncMode() {
  AlbumLocalVersion row;
  bool hasRow = false;
  // A row that cannot be read is not a row that is missing: taking it for that
  // would list the whole cloud again.
  if (!cycle.localOperation.ReadVersionRecord(row, hasRow)) {
    (void)cycle.Fail(kTag, "the version row could not be read");
    return SyncModeFailed;
  }
  const bool complete = hasRow && !row.AlbumVersion.empty() && row.HasDownAll != 0;
  if (complete && !cycle.LoadDataToMemory()) return SyncModeFailed;
  if (GlobalData::cloudGeneration == GlobalData::kGenerationUnknown) (void)cycle.CutStatus();
  if (!complete) return DecideWithoutFullRow(hasRow, row);
  const std::int64_t now = MethodFunction::CurrentTime();
  if (row.BriefingTime == 0) {
    row.BriefingTime = now;
    (void)cycle.localOperation.ChangeVersionRecord(
        [now](AlbumLocalVersion& stored) { stored.BriefingTime = now; });
  }
  if (!briefing.IsDue(row.BriefingTime, now)) return SyncModeIncrement;
  LogInfo(kTag, "start briefing by expired!");
  briefing.SetType(1);
  return SyncModeBriefing;
}

SyncMode SyncHelper::DecideWithoutFullRow(bool hasRow, const AlbumLocalVersion& row) {
  const auto cloud = cycle.QueryVersion();
  if (!cloud) {
    (void)cycle.Fail(kTag, "get cloud ver fail!");
    if (!cycle.IsLoaded()) cycle.TellLoaded(false);
    return SyncModeFailed;
  }
  const bool fresh = IsNewAccount(*cloud);
  if (hasRow && !fresh && !row.AlbumVersion.empty()) return RestartFull(row, *cloud);
  AlbumLocalVersion record = RecordOf(*cloud);
  if (fresh) {
    record.HasDownAll = 1;
    record.UpdateTime = MethodFunction::CurrentTime();
    // There is nothing to list but the system albums, which every account has: without a
    // version the next pull brings them, and what is imported finds them.
    record.AlbumListVersion.clear();
    LogInfo(kTag, "new account, set hasdown to 1, quit full sync!");
    (void)Gallery::GetInstance().AddFiles({});
    if (!cycle.LoadDataToMemory()) return SyncModeFailed;
  }
  const bool stored = hasRow ? DBHelper::GetInstance().UpdateLocalVersion(record, row.AlbumVersion)
                             : DBHelper::GetInstance().AddLocalVersion(record);
  if (!stored) {
    (void)cycle.Fail(kTag, "the version row could not be stored");
    return SyncModeFailed;
  }
  return fresh ? SyncModeNewAccount : SyncModeFull;
}

SyncMode SyncHelper::RestartFull(const AlbumLocalVersion& row, const CloudVersion& cloud) {
  if (cloud.fileVersion <= row.LatestVersion) return SyncModeResume;
  const std::int64_t max = DBHelper::GetInstance().GetMaxOffset(),
                     min = DBHelper::GetInstance().GetMinOffset();
  if (max + (min < 1 ? min : 0) >= kEnoughIsDown) {
    briefing.SetType(0);
    return SyncModeBriefing;
  }
  const bool stored = cycle.localOperation.ChangeVersionRecord([&cloud](AlbumLocalVersion& stored_) {
    stored_.LatestVersion = cloud.fileVersion;
    stored_.UpdateTime = 0;
    stored_.FileCursor.clear();
  });
  if (stored) return SyncModeFull;
  (void)cycle.Fail(kTag, "the version row could not be stored");
  return SyncModeFailed;
}
