// What the cloud is told of a thumbnail that it has lost.

#include "host/base/logger.h"
#include "host/requests/ns/cloudphotov2losts.h"
#include "host/requests/ns/request.h"
#include "transfer/thumbnails/thumbnaildownload.h"
#include "utils/gallerylog.h"

namespace {

constexpr std::int32_t kUnknown = -1;
constexpr std::int32_t kLost = 2;
constexpr int kOperation = 184;

}  // namespace

void ThumbnailDownload::LogOperationFailure(const std::string& text) const {
  Logger::OutputOperationLog(
      kOperation, 0, 0,
      {{"mediaId", Id()}, {"errorReason", "AddOperationLog " + text + " file id: " + Id()}});
}

void ThumbnailDownload::ReportLost() const {
  if (GetThumbnailStatus() != kLost) return UpdateThumbnailStatus();
  LogInfo("ThumbnailHelper::DownloadThumbnail",
          [this] { return "thumbnail status is already 2, not to update, fileId: " + Id(); });
}

std::int32_t ThumbnailDownload::GetThumbnailStatus() const {
  constexpr char kTag[] = "ThumbnailHelper::GetThumbnailStatus";
  const auto answer = NS::Request::Sync(NS::CloudPhoto::V2::GetContentCall(Id(), "attachments"));
  if (answer.NetError()) {
    LogError(kTag, "net error! info:" + curlppx::CurlGlobal::GetErrStr(answer.curlCode));
  } else if (answer.error) {
    LogOperationFailure("GetUrl error:" + answer.error->Text());
  } else if (!answer.payload) {
    LogError(kTag, "service error! http code:" + std::to_string(answer.httpCode));
  }
  const auto* thumbnail = answer.payload ? answer.payload->Find("thumbnail") : nullptr;
  if (!thumbnail) return kUnknown;
  LogInfo(kTag, [&] { return "asset is: " + thumbnail->asset.id + " status: " + thumbnail->status; });
  return thumbnail->status == std::to_string(kLost) ? kLost : kUnknown;
}

void ThumbnailDownload::UpdateThumbnailStatus() const {
  const auto& asset = place.thumbnail.asset;
  Logger::OutputOperationLog(kOperation, 0, 0,
                             {{"mediaId", Id()},
                              {"fileSize", std::to_string(file->Size)},
                              {"assetId", asset.id},
                              {"versionId", asset.versionId},
                              {"status", std::to_string(kLost)}});
  if (GalleryAssetsRevisionsUpdate(kLost)) return;
  LogError("ThumbnailHelper::UpdateThumbnailStatus",
           [this] { return "GalleryAssetsRevisionsUpdate failed! fileid: " + Id(); });
}

bool ThumbnailDownload::GalleryAssetsRevisionsUpdate(std::int32_t status) const {
  const auto& asset = place.thumbnail.asset;
  const auto answer = NS::Request::Sync(
      NS::CloudPhoto::V2::AssetsRevisionsUpdateQuery(Id(), asset.id, asset.versionId, status));
  return answer.payload.has_value();
}
