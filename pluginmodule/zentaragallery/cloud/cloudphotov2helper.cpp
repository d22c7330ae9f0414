#include "cloud/cloudphotov2helper.h"

#include <array>
#include <cstdlib>

#include "cloud/cheader.h"
#include "cloud/cloudanswers.h"
#include "cloud/cloudrecords.h"
#include "common/platform/clock.h"
#include "common/platform/mutex.h"
#include "common/platform/text.h"
#include "common/platform/window.h"
#include "host/account/userauthservice.h"
#include "host/base/coperationmanageservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/requests/ns/basic.h"
#include "host/requests/ns/cloudphotov2.h"
#include "store/dbhelper.h"
#include "utils/globaldata.h"
#include "utils/messages.h"

namespace {

namespace V2 = NS::CloudPhoto::V2;
using CloudAnswers::HasPayload;
using Settings = std::map<std::string, std::string>;

constexpr char kAboutFields[] =
    "dataVersion,status,maxBatchNumber,maxFileUploadSize,maxThumbnailSize,fullUploadCursor";
constexpr char kAlbumFields[] = "nextCursor,albums(albumName,id,type,createdTime,properties,localPath)";
constexpr char kCompareFields[] = "nextCursor,media(albumId,id,editedTime,createdTime,size,status)";
constexpr char kMediaFields[] =
    "nextCursor,media(albumId,appSettings,createdTime,deviceId,editedTime,favorite,fileName,fileType,hashId,"
    "id,"
    "properties,recycled,recycledTime,size,status,pictureMetadata(aperture,cameraMaker,cameraModel,"
    "colorSpace,"
    "exifTime,exposureBias,exposureMode,exposureTime,flashUsed,focalLength,isoSpeed,lens,maxApertureValue,"
    "meteringMode,sensor,subjectDistance,whiteBalance,rotation,width,height),videoMetadata(durationTime,"
    "width,"
    "height,position,rotation),version)";
constexpr char kChangeFields[] =
    "newStartCursor,nextCursor,changes(changeType,device,deleted,mediaId,media(id,mediaOwnerId, "
    "fileName,hashId,"
    "fileType,favorite,recycled,recycledTime,albumId,properties,appSettings,status,createdTime,editedTime,"
    "size,"
    "source,deviceId,creator(userId,displayName),pictureMetadata(aperture,cameraMaker,cameraModel,colorSpace,"
    "exifTime,exposureBias,exposureMode,exposureTime,flashUsed,focalLength,isoSpeed,lens,maxApertureValue,"
    "meteringMode,sensor,subjectDistance,whiteBalance,position,rotation,width,height),videoMetadata("
    "durationTime,"
    "width,height,position,rotation),cipher,description))";
constexpr char kCursorFields[] = "startCursor,fullUploadCursor";
constexpr char kAlbumType[] = "albumType=0";
constexpr char kNewestFirst[] = "createdTime desc";

constexpr std::string_view kCursorExpired = "4100";
constexpr std::string_view kSilentUser = "4977";
constexpr std::string_view kDataHidden = "4052";
constexpr std::string_view kAskUserStatus = "4933";
constexpr char kSilentStatus[] = "W";
constexpr char kNormalStatus[] = "normal";

// In place of a data version: the service could not be asked.
constexpr char kNoAnswer[] = "99";
constexpr char kVersionV2[] = "v2.0";
constexpr char kCutSetting[] = "v2cut";
constexpr char kNotCut[] = "0";
constexpr std::int32_t kFirstMaxBatchNumber = 50;
constexpr long kUnavailable = 503;

// What the last about answer said beside the version.
struct KeptSettings {
  platform::Mutex lock;
  Settings values GUARDED_BY(lock);
  std::string status GUARDED_BY(lock);  // empty without an answer
};
KeptSettings& Kept() {
  static KeptSettings* const kept = new KeptSettings;
  return *kept;
}

std::atomic<bool> dataHideNoticeArmed{true};

void TellFrame(platform::UINT message) {
  (void)platform::PostMessageW(GlobalParamWrapper::GetInstance()->GetMainWnd(), message, 0, 0);
}

void AskUserStatus(std::string_view tag) {
  const auto country = platform::WideToUtf8(UserAuthService::GetInstance()->GetCurrentCountryCode());
  const auto answer = NS::Request::Sync(NS::Basic::UserRegisterInfoQuery::Get(country, "userStatus"));
  if (!HasPayload(answer, tag) || answer.payload->userStatus != kSilentStatus) return;
  LogInfo(tag, "Silent user status is W");
  TellFrame(WM_FRAME_SILENT_USER);
}

// What an error code says about the user rather than about the request.
void LookAtUserStatus(const NS::ErrorResp& error, std::string_view tag) {
  if (error.EndsIn(kSilentUser)) {
    LogInfo(tag, "Silent user status change and error code is " + error.Code());
    TellFrame(WM_FRAME_SILENT_USER);
  } else if (error.EndsIn(kDataHidden)) {
    if (dataHideNoticeArmed.exchange(false)) TellFrame(WM_FRAME_DATA_HIDE_REQUEST_FAILED);
  } else if (error.EndsIn(kAskUserStatus)) {
    AskUserStatus(tag);
  }
}

// The data version and the settings of the service.
struct DataVersion {
  std::string text = kNoAnswer;
  Settings settings;
};

DataVersion FetchDataVersion() {
  constexpr char kTag[] = "CloudPhotoV2Helper::GetCutStatus";
  if (GlobalParamWrapper::GetInstance()->GetIsHideData()) {
    LogError(kTag, "DataHidePeriod About Request Fail");
    return {};
  }
  const auto answer = NS::Request::Sync(V2::AboutReq::Get(kAboutFields));
  if (!HasPayload(answer, kTag)) {
    if (answer.error) LookAtUserStatus(*answer.error, kTag);
    return {};
  }
  const V2::About& about = *answer.payload;
  if (about.maxBatchNumber > 0) CloudPhotoV2Helper::maxBatchNumber = about.maxBatchNumber;
  COperationManageService::GetInstance()->SetServerSettings(about.settings);
  {
    platform::MutexLock hold(Kept().lock);
    Kept().values = about.settings;
    Kept().status = about.status.empty() ? kNormalStatus : about.status;
  }
  return {about.dataVersion, about.settings};
}

std::string KeptSetting(const char* name) {
  platform::MutexLock hold(Kept().lock);
  const auto found = Kept().values.find(name);
  return found == Kept().values.end() ? std::string() : found->second;
}

std::int64_t RestoredVersion() { return std::atoll(KeptSetting("restoredCursor").c_str()); }

// Whether the present listing cannot go on because a backup was put back. What the
// gallery has and the cloud lacks is no deletion then.
bool HasFallenBehind() {
  (void)FetchDataVersion();
  const std::int64_t restored = RestoredVersion();
  std::vector<AlbumLocalVersion> rows;
  return restored > 0 && DBHelper::GetInstance().GetLocalVersions(rows) && !rows.empty() &&
         rows.front().HasDownAll != 0 && rows.front().LatestVersion < restored;
}

void CursorExpired(const NS::ErrorResp& error) {
  if (error.EndsIn(kCursorExpired)) CloudPhotoV2Helper::ForgetCursor();
}

std::int32_t Keep(std::int32_t generation) {
  GlobalData::cloudGeneration = generation;
  return generation;
}

V2::ListParameters MediaList(const char* fields, const std::string& cursor, const std::string& queryParam) {
  return {fields, cursor, queryParam, kNewestFirst, V2::kPageSize};
}

void Append(const std::vector<V2::Media>& media, CloudPhotoV2Helper::MediaPage& page) {
  for (const V2::Media& record : media) {
    page.media.push_back(CloudRecords::ToFileInfo(record));
    page.status.push_back(record.status);
    page.editedTime.push_back(std::max<std::int64_t>(record.editedTime, 0));
  }
}

CloudFileInfo ToFileInfo(const V2::Change& change) {
  CloudFileInfo file;
  if (change.deleted) {
    file.uniqueId = change.mediaId;
    file.otype = "2";
    return file;
  }
  file = CloudRecords::ToFileInfo(change.media);
  file.otype = "1";
  file.device = change.device;
  return file;
}

// False, logged, for a service that gives the page's own cursor as the next one:
// the listing would go on for ever.
bool Advance(std::string& cursor, const std::string& next) {
  if (!next.empty() && next == cursor) {
    LogError("CloudPhotoV2Helper::Advance", "the service repeats a cursor");
    return false;
  }
  cursor = next;
  return true;
}

void Note503(long httpCode) {
  if (httpCode != kUnavailable) return;
  CloudPhotoV2Helper::last503Ms = platform::NowMs();
  ++CloudPhotoV2Helper::failures503;
}

}  // namespace

std::atomic<std::int32_t> CloudPhotoV2Helper::failures503{0};
std::atomic<std::int64_t> CloudPhotoV2Helper::last503Ms{0};
std::atomic<std::int32_t> CloudPhotoV2Helper::maxBatchNumber{kFirstMaxBatchNumber};

std::int32_t CloudPhotoV2Helper::GetCutStatus() {
  constexpr char kTag[] = "CloudPhotoV2Helper::GetCutStatus";
  (void)CHeader::GetInstance();  // The first use makes it the source of headers.
  const DataVersion version = FetchDataVersion();
  if (version.text > "0" && version.text <= kNoAnswer) {
    LogInfo(kTag, "network is error, dataverion is same with before");
    return GlobalData::cloudGeneration;
  }
  const auto cut = version.settings.find(kCutSetting);
  if (!version.text.empty() && cut == version.settings.end()) {
    LogError(kTag, "Get CutStatus Failed");
    return Keep(GlobalData::kGenerationV2);
  }
  const bool isV2 = version.text == kVersionV2;
  if (isV2 && cut->second == kNotCut) return Keep(GlobalData::kGenerationV1Eur);
  return Keep(isV2 ? GlobalData::kGenerationV2 : GlobalData::kGenerationV1);
}

std::string CloudPhotoV2Helper::GetSuspendCursor() { return KeptSetting("suspendCursor"); }

CloudPhotoV2Helper::ServiceState CloudPhotoV2Helper::GetServiceState() {
  ServiceState state;
  {
    platform::MutexLock hold(Kept().lock);
    state.known = !Kept().status.empty();
    // A word, or the number of the first generation.
    state.disabled = Kept().status == "disabled" || Kept().status == "1";
  }
  state.disableTimeMs = std::atoll(KeptSetting("disableTime").c_str());
  state.deleteTimeMs = std::atoll(KeptSetting("deleteTime").c_str());
  state.clearVersion = GetSuspendCursor();
  return state;
}

std::unique_ptr<CloudVersion> CloudPhotoV2Helper::GetAllVersion() {
  constexpr char kTag[] = "CloudPhotoV2Helper::GetAllVersion";
  if (GlobalParamWrapper::GetInstance()->GetIsHideData()) {
    LogError(kTag, "DataHidePeriod get Start Cursor Request Fail");
    return nullptr;
  }
  const auto answer = NS::Request::Sync(V2::ChangesReq::GetStartCursor(kCursorFields));
  if (!HasPayload(answer, kTag, "Get FileVer Failed ")) {
    if (answer.error) CursorExpired(*answer.error);
    return nullptr;
  }
  auto version = std::make_unique<CloudVersion>();
  version->albumVersion = answer.payload->startCursor;
  version->albumListVersion = answer.payload->startCursor;
  version->fileVersion = std::atoll(answer.payload->startCursor.c_str());
  version->minVersion = std::atoll(answer.payload->fullUploadCursor.c_str());
  version->clearVersion = GetSuspendCursor();
  version->restoredVersion = RestoredVersion();
  return version;
}

std::unique_ptr<std::vector<Album::Ptr>> CloudPhotoV2Helper::GetAlbums(const std::string& cursor) {
  auto albums = std::make_unique<std::vector<Album::Ptr>>();
  std::string next = cursor;
  for (;;) {
    const auto answer =
        NS::Request::Sync(V2::AlbumsReq::List({kAlbumFields, next, kAlbumType, kNewestFirst, V2::kPageSize}));
    if (!HasPayload(answer, "CloudPhotoV2Helper::GetAlbums")) return nullptr;
    for (const auto& album : answer.payload->albums) albums->push_back(CloudRecords::ToAlbum(album));
    if (!Advance(next, answer.payload->nextCursor)) return nullptr;
    if (next.empty()) return albums;
  }
}

std::unique_ptr<CloudPhotoV2Helper::MediaPage> CloudPhotoV2Helper::GetFiles(std::string& cursor, int kind,
                                                                            bool* expired) {
  const char* fields = kind == 1 ? kCompareFields : kMediaFields;
  const auto answer = NS::Request::Sync(V2::MediaReq::List(MediaList(fields, cursor, kAlbumType)));
  if (!HasPayload(answer, "CloudPhotoV2Helper::GetFiles")) {
    Note503(answer.httpCode);
    if (answer.error && expired) *expired = answer.error->EndsIn(kCursorExpired);
    if (answer.error && !expired) CursorExpired(*answer.error);
    return nullptr;
  }
  if (!Advance(cursor, answer.payload->nextCursor)) return nullptr;
  auto page = std::make_unique<MediaPage>();
  Append(answer.payload->media, *page);
  return page;
}

void CloudPhotoV2Helper::ForgetCursor() {
  // Where the store refuses, which it has logged, the next cycle meets the same answer.
  if (HasFallenBehind() || !DBHelper::GetInstance().ForgetCloud()) return;
  LogInfo("CloudPhotoV2Helper::CursorExpired", "Cursor Is EXPIRED, DownLoad All");
}

std::unique_ptr<CloudPhotoV2Helper::MediaPage> CloudPhotoV2Helper::GetFilesByAlbumId(
    const std::string& albumId) {
  auto all = std::make_unique<MediaPage>();
  std::string cursor;
  for (;;) {
    const auto answer = NS::Request::Sync(
        V2::MediaReq::List(MediaList(kMediaFields, cursor, "albumId='" + albumId + "'&recycled=false")));
    if (!HasPayload(answer, "CloudPhotoV2Helper::GetFilesByAlbumId")) return nullptr;
    Append(answer.payload->media, *all);
    if (!Advance(cursor, answer.payload->nextCursor)) return nullptr;
    if (cursor.empty()) return all;
  }
}

std::unique_ptr<std::vector<CloudFileInfo>> CloudPhotoV2Helper::GetChangeFiles(const std::string& startCursor,
                                                                               std::string& nextCursor) {
  constexpr char kTag[] = "CloudPhotoV2Helper::GetChangeFiles";
  const auto answer = NS::Request::Sync(V2::ChangesReq::List(kChangeFields, startCursor));
  if (!HasPayload(answer, kTag)) {
    if (answer.error) {
      CursorExpired(*answer.error);
      LookAtUserStatus(*answer.error, kTag);
    }
    return nullptr;
  }
  std::string next = startCursor;
  if (!Advance(next, answer.payload->nextCursor)) return nullptr;
  auto files = std::make_unique<std::vector<CloudFileInfo>>();
  for (const V2::Change& change : answer.payload->changes) files->push_back(ToFileInfo(change));
  nextCursor = next;
  return files;
}

std::unique_ptr<CloudPhotoV2Helper::Lock> CloudPhotoV2Helper::GetV2Lock(const std::string& token) {
  const auto answer = NS::Request::Sync(V2::Locks::Get(token));
  if (!HasPayload(answer, "CloudPhotoV2Helper::GetV2Lock", "Get Lock Failed ")) return nullptr;
  return std::make_unique<Lock>(Lock{answer.payload->token, answer.payload->expiresIn});
}

bool CloudPhotoV2Helper::DeleteV2Lock(const std::string& token) {
  const auto answer = NS::Request::Sync(V2::Locks::Delete(token));
  return HasPayload(answer, "CloudPhotoV2Helper::DeleteV2Lock", "Delete Lock Failed ");
}

void CloudPhotoV2Helper::Forget() {
  failures503 = 0;
  last503Ms = 0;
  maxBatchNumber = kFirstMaxBatchNumber;
  COperationManageService::GetInstance()->SetServerSettings({});
  platform::MutexLock hold(Kept().lock);
  Kept().values.clear();
  Kept().status.clear();
}

void CloudPhotoV2Helper::ArmDataHideNotice() { dataHideNoticeArmed = true; }
