// Content that the cloud has lost, and its proxy may still have.

#include <set>

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/base/logger.h"
#include "host/requests/ns/cloudphotov2losts.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "transfer/download/gallerydownloadtask.h"
#include "utils/gallerylog.h"

namespace {

constexpr std::int64_t kLost = 2;
constexpr int kNormal = 1;
constexpr int kOperation = 184;

// A film is too long for the proxy.
bool IsVideo(const std::wstring& name) {
  static const std::set<std::wstring> extensions{L".mp4", L".3g2", L".3gp", L".asf", L".avi",
                                                 L".m4v", L".mkv", L".mov", L".wmv"};
  return extensions.contains(platform::WideExtension(name));
}

}  // namespace

bool GalleryDownloadTask::RefundGalleryFile() {
  constexpr char kTag[] = "GalleryDownloadTask::RefundGalleryFile";
  LogError(kTag, [this] {
    const auto file = Gallery::GetInstance().GetFile(UniqueId);
    return "Download file lost content, fileid: " + UniqueId +
           " Create time: " + std::to_string(file ? std::int64_t{file->CreateTime} : 0);
  });
  Fail(kService, kError, kTag, __LINE__, "the cloud has lost the content");
  UpdateLostStatus();
  if (IsVideo(FileName)) {
    DeleteTempDownloadFile();
    LogInfo(kTag, [this] { return "file is video, not download from fileproxy, fileid is: " + UniqueId; });
    return false;
  }
  if (!DownloadContentFromFileproxy()) return false;
  ContentUpdateStatus();
  return true;
}

void GalleryDownloadTask::UpdateLostStatus() {
  constexpr char kTag[] = "GalleryDownloadTask::UpdateLostStatus";
  const auto file = Gallery::GetInstance().GetFile(UniqueId);
  if (file && file->cloudContentStatus == kLost) {
    LogInfo(kTag, [this] { return "status is already 2, no updatecontent status, fileID is: " + UniqueId; });
    return;
  }
  if (!DBHelper::GetInstance().SetContentStatus(UniqueId, kLost)) {
    LogError(kTag, [this] { return "update file content status error fileid: " + UniqueId; });
    return;
  }
  if (file) file->cloudContentStatus = static_cast<std::int32_t>(kLost);
  LogInfo(kTag, [this] { return "update file content status is 2, fileID is: " + UniqueId; });
}

bool GalleryDownloadTask::DownloadContentFromFileproxy() {
  constexpr char kTag[] = "GalleryDownloadTask::DownloadContentFromFileproxy";
  const auto* thumbnail = place.media.Find("thumbnail");
  LogInfo(kTag, [&] {
    return "contentstatus is: " + place.content.status +
           "thumbnailStatus is: " + (thumbnail ? thumbnail->status : std::string());
  });
  const std::string url = place.media.contentDownloadLink;
  if (url.empty()) {
    // Not recorded: that the cloud has lost the content is what helps the user.
    LogError(kTag, [this] { return "get url failed! fileid: " + UniqueId; });
    return false;
  }
  LogContentStatus(place.content.status);
  return DownloadContent(url);
}

void GalleryDownloadTask::LogContentStatus(const std::string& status) const {
  const auto& asset = place.content.asset;
  Logger::OutputOperationLog(kOperation, 0, 0,
                             {{"mediaId", UniqueId},
                              {"fileSize", std::to_string(TotalLength)},
                              {"assetId", asset.id},
                              {"versionId", asset.versionId},
                              {"status", status}});
}

bool GalleryDownloadTask::DownloadContent(const std::string& url) {
  constexpr char kTag[] = "GalleryDownloadTask::DownloadContent";
  if (!StartOver()) return Fail(kNoSpaceOnDisk, kError, kTag, __LINE__, "slice file open failed!");
  const Fetched fetched =
      HttpDownload(url, SessionHeaders(url), [this](std::string_view piece) { return AppendPlain(piece); });
  if (!tempStream) {
    DeleteTempDownloadFile();
    Position = 0;
    return Fail(kNoSpaceOnDisk, kError, kTag, __LINE__, "file write failed! fileid: " + UniqueId);
  }
  if (!fetched.IsDone()) {
    Fail(kService, kError, kTag, __LINE__,
         " url:" + curlppx::CurlUrl::Place(url) + "\ndownload httpcode:" + std::to_string(fetched.httpCode) +
             " curl code:" + std::to_string(fetched.curlCode) + " fileid is " + UniqueId +
             "\nres:" + fetched.response,
         fetched.IsOutage() ? Outage::Yes : Outage::No);
    DeleteTempDownloadFile();
    Position = 0;
    return false;
  }
  LogInfo(kTag, [this] { return "download file from fileproxy, filename: " + UniqueId; });
  place.fromFileproxy = true;
  if (!CheckContent()) return false;
  ClearErr();
  return true;
}

void GalleryDownloadTask::ContentUpdateStatus() {
  constexpr char kTag[] = "GalleryDownloadTask::ContentUpdateStatus";
  const auto& asset = place.content.asset;
  LogContentStatus(std::to_string(kNormal));
  const auto answer = NS::Request::Sync(
      NS::CloudPhoto::V2::AssetsRevisionsUpdateQuery(UniqueId, asset.id, asset.versionId, kNormal));
  if (answer.NetError())
    LogError(kTag, "net error! curlcode: " + std::to_string(answer.curlCode));
  else if (answer.error)
    LogError(kTag, "net request error! " + answer.error->Text());
  else if (!answer.HasPayload())
    LogError(kTag, "net request error! httpcode: " + std::to_string(answer.httpCode));
}
