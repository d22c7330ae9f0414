#include "sync/lostfilemanager.h"

#include <map>

#include "common/platform/thread.h"
#include "host/base/globalparamwrapper.h"
#include "host/requests/curlppx.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "sync/synchelper.h"
#include "transfer/gallerytransmanager.h"
#include "utils/gallerylog.h"

namespace CloudPhoto {
namespace {

using NS::CloudPhoto::V2::LostMedia;
using NS::CloudPhoto::V2::LostsListQuery;
using NS::CloudPhoto::V2::MediaReq;
using NS::CloudPhoto::V2::P2ReqMediaPatchMetadataRet;

constexpr int kWaitSteps = 600;  // a minute in all
constexpr std::chrono::milliseconds kPagePauseMs{1};
constexpr std::int64_t kDaySeconds = 86400;
constexpr std::int64_t kContentIsThere = 1;
constexpr char kStatusFields[] = "id,attachments,source,sha256,hash,status,fileName";

GlobalParamWrapper& Parameters() { return *GlobalParamWrapper::GetInstance(); }
DBHelper& Database() { return DBHelper::GetInstance(); }

bool NeedsRefund(std::uint32_t status) { return Parameters().IsStatusThatNeedToBeRefunded(status); }

// An attachment that is there is judged by its status; a missing one is lost.
LostFileInfo ClassifyOne(const LostMedia& media) {
  std::map<std::string, std::uint32_t> statusOf;
  for (const auto& attachment : media.attachments) statusOf[attachment.usage] = attachment.status;
  const auto lost = [&](const char* usage) { return NeedsRefund(statusOf.at(usage)); };
  const bool large = statusOf.contains("largeThumbnail");
  const bool small = statusOf.contains("smallThumbnail");
  LostFileInfo info{media.id, media.status, false, false};
  info.lostContent = !statusOf.contains("content") || lost("content");
  if (statusOf.contains("thumbnail"))
    info.lostThumbnail = lost("thumbnail");
  else if (large && small)
    info.lostThumbnail = lost("largeThumbnail") || lost("smallThumbnail");
  else
    info.lostThumbnail = large || small || media.size >= 1;
  return info;
}

bool UpdateMediaStatus(const NS::Call<P2ReqMediaPatchMetadataRet>& request, const std::string& id) {
  constexpr char kTag[] = "LostFileManager::UpdateMediaStatus";
  const auto answer = NS::Request::Sync(request);
  if (answer.payload) return true;
  std::string text = "UpdateMediaStatus error,http code:" + std::to_string(answer.httpCode);
  if (answer.NetError()) text = "net error! info:" + curlppx::CurlGlobal::GetErrStr(answer.curlCode);
  if (answer.error) text = "UpdateMediaStatus error:" + answer.error->Text();
  LogError(kTag, text + ",fileId:" + id);
  return false;
}

constexpr char kCheckTag[] = "LostFileManager::CheckMediaAssetLost";

void LogNotUpdated(const std::string& id) {
  LogWarning(kCheckTag, [&id] { return "record.status update fail,fileId:" + id; });
}

// The record stays on the cloud's list when this fails, and is seen again when
// the list is walked from its start.
void UpdateStatusOf(const std::string& id) {
  const auto request = MediaReq::UpdateMediaStatus(id, kStatusFields, "normal",
                                                   GalleryTransManager::GetInstance().LockToken());
  if (!UpdateMediaStatus(request, id)) return LogNotUpdated(id);
  LogInfo(kCheckTag, [&id] { return "record.status update success,fileId:" + id; });
  // This device's own change comes back in no list. One that cannot be written is
  // seen again when the list is walked from its start.
  if (!Database().SetContentStatus(id, kContentIsThere)) return;
  if (const auto file = Gallery::GetInstance().GetFile(id)) file->cloudContentStatus = kContentIsThere;
}

std::string Flag(bool value) { return value ? "1" : "0"; }

}  // namespace

LostFileManager::LostFileManager(Pause ownPause, std::chrono::milliseconds waitStep)
    : pause(std::move(ownPause)), step(waitStep) {
  if (pause) return;
  pause = [this](std::chrono::milliseconds time) {
    platform::MutexLock hold(lock);
    ended.wait_for(lock, time, [this] { return stopRequested.load(); });
  };
}

void LostFileManager::StartupRefundTask(Refund content, Refund thumbnails) {
  Stop();
  stopRequested = false;
  contentRefund = std::move(content);
  thumbnailRefund = std::move(thumbnails);
  thread = std::thread([this] {
    platform::SetThreadName("lost files");
    Run();
  });
}

bool LostFileManager::GiveBackNow(Refund content, Refund thumbnails) {
  contentRefund = std::move(content);
  thumbnailRefund = std::move(thumbnails);
  Walk walk;
  do {
    walk.list.clear();
    if (!QueryLostFiles(walk)) {
      LogWarning("LostFileManager::GiveBackNow", "get list of lost files failed,errorCode:" + walk.errorCode +
                                                     ",errorDescription:" + walk.errorDescription);
      return false;
    }
    CheckMediaAssetLost(walk.list);
    if (!RefundLostFiles(walk.list)) return false;
  } while (walk.pageFollows);
  return GoesOn();
}

void LostFileManager::Stop() {
  {
    platform::MutexLock hold(lock);
    stopRequested = true;
    ended.notify_all();
  }
  if (thread.joinable()) thread.join();
}

bool LostFileManager::GoesOn() const { return !stopRequested && Parameters().GetIsUserLoggedIn(); }

void LostFileManager::Wait() {
  for (int i = 0; i < kWaitSteps && GoesOn(); ++i) pause(step);
}

void LostFileManager::Run() {
  constexpr char kTag[] = "LostFileManager::StartupRefundTask";
  LogInfo(kTag, "start refund task");
  // Before the first full download nobody knows which files are here.
  while (GoesOn()) {
    std::int64_t complete = 0;
    if (Database().GetHasDownAll(complete) && complete != 0) break;
    Wait();
  }
  if (!GoesOn()) {
    LogInfo(kTag, "not logged in");
    return;
  }
  while (GoesOn()) {
    DoWork();
    Wait();
  }
  LogInfo(kTag, "end refund task");
}

void LostFileManager::DoWork() {
  constexpr char kTag[] = "LostFileManager::DoWork";
  if (!Parameters().GetEnableCloudPhotoAssetRefund()) {
    LogInfo(kTag, "assetRefundSwitch=0");
    return;
  }
  const std::int64_t now = Parameters().GetServerTime();
  std::vector<AlbumLocalVersion> rows;
  const bool known = Database().GetLocalVersions(rows) && !rows.empty();
  // The column's seconds are 32 bits wide.
  const std::int64_t last = known ? static_cast<std::int32_t>(rows.front().lastLostFileQueryTimestamp)
                                  : Parameters().GetServerTime();
  if (now - last >= Parameters().GetCloudPhotoAssetRefundPeriod() * kDaySeconds) {
    LogInfo(kTag, "query and refund lost files");
    QueryAndRefundLostFiles();
  } else {
    LogInfo(kTag, "no query and refund for lost files");
  }
}

void LostFileManager::QueryAndRefundLostFiles() {
  Walk walk;
  std::vector<AlbumLocalVersion> rows;
  if (Database().GetLocalVersions(rows) && !rows.empty()) walk.cursor = rows.front().lostFileQueryCursor;
  while (true) {
    const std::string previous = walk.cursor;
    if (!QueryPage(walk)) return;
    CheckMediaAssetLost(walk.list);
    if (RefundLostFiles(walk.list) && Database().SetLostFileQueryCursor(walk.cursor)) {
      pause(kPagePauseMs);
      if (walk.pageFollows) continue;
      // Failing, the walk starts once more after the wait, which does no harm.
      (void)Database().SetLastLostFileQueryTimestamp(Parameters().GetServerTime());
      return;
    }
    LogWarning("LostFileManager::QueryAndRefundLostFiles", "failed to refund data or save the cursor");
    walk.cursor = previous;
    Wait();
  }
}

// One page, however often it takes. False once nobody is logged in.
bool LostFileManager::QueryPage(Walk& walk) {
  walk.list.clear();
  while (GoesOn()) {
    if (!SyncHelper::GetInstance().IsStopRequested() && QueryLostFiles(walk)) break;
    HandleLostsListFailureScenario(walk.cursor, walk.errorCode, walk.errorDescription);
  }
  return GoesOn();
}

bool LostFileManager::QueryLostFiles(Walk& walk) {
  const auto fail = [&walk](const std::string& code, const std::string& text) {
    walk.errorCode = code;
    walk.errorDescription = text;
    return false;
  };
  const auto answer = NS::Request::Sync(LostsListQuery(walk.cursor));
  if (answer.NetError()) return fail(std::to_string(answer.curlCode), "network request failed");
  if (answer.error) return fail(answer.error->Code(), answer.error->Reason());
  if (!answer.payload) {
    walk.list.clear();
    return fail(std::to_string(answer.httpCode), "failed to parse data");
  }
  const auto& changes = answer.payload->GetChangeList();
  if (!Classify(changes.media, walk.list)) {
    walk.list.clear();
    return true;
  }
  // A page that names itself as the next one would be asked for without end.
  walk.pageFollows =
      changes.newStartCursor.empty() && !changes.nextCursor.empty() && changes.nextCursor != walk.cursor;
  if (!changes.newStartCursor.empty())
    walk.cursor = changes.newStartCursor;
  else if (!changes.nextCursor.empty())
    walk.cursor = changes.nextCursor;
  return true;
}

bool LostFileManager::Classify(const std::vector<LostMedia>& media, List& list) const {
  for (const LostMedia& record : media) {
    if (!GoesOn()) return false;
    list.push_back(ClassifyOne(record));
  }
  return true;
}

void LostFileManager::HandleLostsListFailureScenario(std::string& cursor, std::string& errorCode,
                                                     std::string& errorDescription) {
  LogWarning("LostFileManager::HandleLostsListFailureScenario", [&] {
    return "get list of lost files failed,errorCode:" + errorCode + ",errorDescription:" + errorDescription;
  });
  // A cursor that the cloud does not take: the walk starts again.
  if (errorCode.ends_with("4100") || errorCode.ends_with("4002")) {
    cursor.clear();
    errorCode.clear();
    errorDescription.clear();
    (void)Database().SetLostFileQueryCursor(cursor);  // Refused once more otherwise, and emptied then.
    return;
  }
  Wait();
}

void LostFileManager::CheckMediaAssetLost(List& list) const {
  const auto isWhole = [](const LostFileInfo& info) { return !info.lostContent && !info.lostThumbnail; };
  Ids wrong;
  for (const LostFileInfo& info : list) {
    if (isWhole(info) && NeedsRefund(info.status)) wrong.push_back(info.id);
  }
  const auto update = [&wrong] {
    for (const std::string& id : wrong) UpdateStatusOf(id);
    return true;
  };
  if (!wrong.empty() && !SyncHelper::GetInstance().WithLock(update)) {
    for (const std::string& id : wrong) LogNotUpdated(id);
  }
  std::erase_if(list, isWhole);
}

bool LostFileManager::RefundLostFiles(const List& list) const {
  constexpr char kTag[] = "LostFileManager::RefundLostFiles";
  if (list.empty()) return true;
  LogInfo(kTag, [&] { return "the number of lost files is " + std::to_string(list.size()); });
  Ids contents;
  Ids thumbnails;
  DBHelper::ContentStatuses statuses;
  for (const LostFileInfo& info : list) {
    if (!GoesOn()) return false;
    LogInfo(kTag, [&] {
      return "lostFileId:" + info.id + ",lostContent:" + Flag(info.lostContent) +
             ",lostThumbnail:" + Flag(info.lostThumbnail);
    });
    if (info.lostContent) {
      contents.push_back(info.id);
      statuses.emplace_back(info.id, info.status);
    }
    if (info.lostThumbnail) thumbnails.push_back(info.id);
  }
  // The change list tells the same statuses, so a failed write is made good.
  if (!statuses.empty() && GoesOn()) (void)Database().SetContentStatus(statuses);
  return CreateContentRefundTasks(contents) && CreateThumbnailRefundTasks(thumbnails);
}

bool LostFileManager::CreateContentRefundTasks(const Ids& ids) const {
  LogInfo("LostFileManager::CreateContentRefundTasks",
          [&] { return "Number of files whose content needs to be refunded:" + std::to_string(ids.size()); });
  return CreateTasks(contentRefund, ids);
}

bool LostFileManager::CreateThumbnailRefundTasks(const Ids& ids) const {
  LogInfo("LostFileManager::CreateThumbnailRefundTasks", [&] {
    return "Number of files whose thumbnail needs to be refunded:" + std::to_string(ids.size());
  });
  return CreateTasks(thumbnailRefund, ids);
}

bool LostFileManager::CreateTasks(const Refund& refund, const Ids& ids) const {
  if (ids.empty()) return true;
  return GoesOn() && refund && refund(ids);
}

}  // namespace CloudPhoto
