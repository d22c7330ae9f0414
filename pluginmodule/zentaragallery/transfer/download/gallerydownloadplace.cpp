// Where the content of a download lies, as the cloud's record tells.

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/base/jsontext.h"
#include "host/requests/ns/request.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "transfer/download/gallerydownloadtask.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/methodfunction.h"

using NS::CloudPhoto::V2::Attachment;
using NS::CloudPhoto::V2::kContentFields;
using NS::CloudPhoto::V2::MediaGetResponse;

namespace {

constexpr char kTag[] = "GalleryDownloadTask::GetDownloadUrlV2";
constexpr std::size_t kGuidLength = 36;
constexpr char kMediaUnknown[] = "31084041";

}  // namespace

// A file that was queued before its upload ended has the cloud's id now.
void GalleryDownloadTask::FollowNewId() {
  GalleryFile row;
  if (UniqueId.size() != kGuidLength || !DBHelper::GetInstance().GetFileByGuid(row, UniqueId)) return;
  const std::string id = row.UniqueId();
  if (id.empty() || id == UniqueId) return;
  LogInfo(kTag, [&] { return "update uniqueId from " + UniqueId + " to " + id; });
  Change(UniqueId, id);
  (void)SavePosition();
}

bool GalleryDownloadTask::GetDownloadUrlV2() {
  place = Place();
  NS::Answer<MediaGetResponse> answer;
  if (!ReadMetadata(answer)) return false;
  place.media = std::move(*answer.payload);
  NoteMigration();
  ChooseContent();
  if (place.hasContent || ChooseThumbnail()) return true;
  return Fail(kNoUrl, kError, kTag, __LINE__,
              "get download url error, fileid: " + UniqueId +
                  " attachment size is: " + std::to_string(place.media.attachments.size()));
}

bool GalleryDownloadTask::ReadMetadata(NS::Answer<MediaGetResponse>& answer) {
  answer = NS::Request::Sync(NS::CloudPhoto::V2::GetContentCall(UniqueId, kContentFields));
  if (answer.payload) return true;
  const bool isGone = answer.error && answer.error->Code() == kMediaUnknown &&
                      answer.error->errors.front().subject == "mediaId";
  if (isGone) {
    LogInfo(kTag, [this] { return "resource is not exist,delete local,id:" + UniqueId; });
    Fail(kMediaGone, kFatal, kTag, __LINE__, "");
    ForgetFile();
    return false;
  }
  return Fail(kNoUrl, kError, kTag, __LINE__,
              "id:" + UniqueId +
                  (answer.error ? " " + answer.error->Text()
                                : " curlCode: " + std::to_string(answer.curlCode) +
                                      " http code: " + std::to_string(answer.httpCode)),
              answer.IsOutage() ? Outage::Yes : Outage::No);
}

void GalleryDownloadTask::ForgetFile() {
  auto& gallery = Gallery::GetInstance();
  auto file = gallery.GetFile(UniqueId);
  if (!file) file = DBHelper::GetInstance().GetFile(UniqueId);
  // One that waits for its upload is unknown to the cloud, and only here.
  if (file && !file->IsLocalOnly()) (void)gallery.DeleteGone({UniqueId});  // Else the next pull does it.
  (void)DeleteFromDB();
}

void GalleryDownloadTask::NoteMigration() const {
  if (GlobalData::GalleryMigrated || JsonText::Text(place.media.properties, "migrate") != "1") return;
  GlobalData::GalleryMigrated = true;
  LogInfo(kTag, "gallery has migreted, migrate = 1.");
}

void GalleryDownloadTask::ChooseContent() {
  const Attachment* content = place.media.Find("content");
  if (!content || content->asset.deleted) return;
  place.content = *content;
  ChooseKeychain();
  for (const auto& object : content->asset.resource.objects) place.slices.push_back(object.length);
  if (content->asset.resource.length != TotalLength) {
    LogInfo(kTag, [this] { return "file size is 1, fileid: " + UniqueId; });
    Change(TotalLength, content->asset.resource.length);
  }
  place.url = place.media.contentDownloadLink;
  place.usesBearer = true;
  place.hasContent = !place.url.empty() || (!place.slices.empty() && content->asset.cipher.isSet);
  if (!place.slices.empty()) return;
  LogInfo(kTag, [this] { return "download from fileproxy, fileid: " + UniqueId; });
  place.fromFileproxy = true;
}

void GalleryDownloadTask::ChooseKeychain() {
  const auto chain = place.content.asset.cipher.Strongest();
  place.ivText = place.content.asset.cipher.iv;
  place.keyType = chain.type;
  place.encryptedKey = chain.ekey;
}

// A picture of which only the thumbnail is left is better than none.
bool GalleryDownloadTask::ChooseThumbnail() {
  if (place.media.attachments.size() != 1 || !place.media.Find("thumbnail")) return false;
  LogInfo(kTag, [this] { return "asset size is 1, fileid: " + UniqueId; });
  const std::string type = MethodFunction::MimeType(platform::WideExtension(FileName));
  if (!type.starts_with("image")) return false;
  place.usesBearer = true;
  place.url = place.media.thumbnailDownloadLink;
  return !place.url.empty();
}

// A signed address has expired.
bool GalleryDownloadTask::RefreshDownloadHeader() {
  constexpr char kStep[] = "GalleryDownloadTask::RefreshDownloadHeader";
  const std::string sha256 = place.content.asset.resource.sha256;
  const auto answer = NS::Request::Sync(NS::CloudPhoto::V2::GetContentCall(UniqueId, kContentFields));
  if (answer.NetError()) {
    LogError(kStep, "net error! info:" + curlppx::CurlGlobal::GetErrStr(answer.curlCode));
  } else if (answer.error) {
    LogError(kStep, "GetUrl error:" + answer.error->Text());
  } else if (!answer.payload) {
    LogError(kStep, "service error! http code:" + std::to_string(answer.httpCode));
  }
  const Attachment* content = answer.payload ? answer.payload->Find("content") : nullptr;
  // Another content would go on in the middle of this one.
  if (!content || content->asset.resource.sha256 != sha256 ||
      content->asset.resource.objects.size() != place.slices.size()) {
    return Fail(kNoUrl, kError, kStep, __LINE__, "update url from server fail, fileid: " + UniqueId,
                answer.IsOutage() ? Outage::Yes : Outage::No);
  }
  place.content = *content;
  LogInfo(kStep, [this] {
    return "update url from server success, fileid: " + UniqueId + " index: " + std::to_string(objectIndex);
  });
  return true;
}
