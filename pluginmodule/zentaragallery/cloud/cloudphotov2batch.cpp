// The calls of CloudPhotoV2Helper that send many requests in one.

#include "cloud/cloudanswers.h"
#include "cloud/cloudphotov2helper.h"
#include "cloud/cloudrecords.h"
#include "host/requests/ns/cloudphotov2.h"

namespace {

namespace V2 = NS::CloudPhoto::V2;
using CloudAnswers::HasPayload;
using Items = std::vector<NS::SingleRequest>;

constexpr int kNotFound = 404;
constexpr char kDetailFields[] =
    "albumId,createdTime,favorite,id,fileName,hashId,recycled,recycledTime,fileType,size,properties,"
    "editedTime,"
    "status";

// `call` names the operation in the log.
CloudPhotoV2Helper::BatchResult Send(const Items& items, const std::string& call) {
  const auto answer = NS::Request::Batch(items);
  const std::string tag = "CloudPhotoV2Helper::" + call;
  if (!HasPayload(answer, tag, "AddOperationLog " + call + " error:")) return nullptr;
  return std::make_unique<std::vector<NS::SingleAnswer>>(answer.payload->GetBatchResponse());
}

template <typename List, typename Make>
Items ItemsOf(const List& list, Make make) {
  Items items;
  for (const auto& entry : list) items.push_back(make(entry));
  return items;
}

// Adds the records that the cloud has. False, logged, for an item that failed: a
// caller would take what is missing for deleted.
bool AddRecords(const std::vector<NS::SingleAnswer>& answers, std::vector<CloudFileInfo>& files) {
  for (const NS::SingleAnswer& answer : answers) {
    V2::Media media;
    if (answer.Ok() && V2::Read(answer.body, media)) {
      files.push_back(CloudRecords::ToFileInfo(media));
    } else if (answer.code != kNotFound) {
      LogError("CloudPhotoV2Helper::GetFileDetail",
               "code:" + std::to_string(answer.code) + " " + (answer.error ? answer.error->Text() : ""));
      return false;
    }
  }
  return true;
}

}  // namespace

std::unique_ptr<std::vector<CloudFileInfo>> CloudPhotoV2Helper::GetFileDetail(
    const std::vector<std::string>& ids) {
  // An empty id would ask for the list instead.
  if (std::find(ids.begin(), ids.end(), std::string()) != ids.end()) {
    LogError("CloudPhotoV2Helper::GetFileDetail", "build batch req err!");
    return nullptr;
  }
  auto files = std::make_unique<std::vector<CloudFileInfo>>();
  const auto step = static_cast<std::size_t>(std::max(maxBatchNumber.load(), 1));
  for (std::size_t at = 0; at < ids.size(); at += step) {
    const std::vector<std::string> part(
        ids.begin() + static_cast<std::ptrdiff_t>(at),
        ids.begin() + static_cast<std::ptrdiff_t>(std::min(at + step, ids.size())));
    const auto answers = Send(
        ItemsOf(part, [](const std::string& id) { return V2::MediaReq::GetMetadata(id, kDetailFields); }),
        "GetFileDetail");
    if (!answers || !AddRecords(*answers, *files)) return nullptr;
  }
  return files;
}

CloudPhotoV2Helper::BatchResult CloudPhotoV2Helper::BatchCreateAlbum(const std::vector<Album::Ptr>& albums,
                                                                     const std::string& lockToken) {
  return Send(ItemsOf(albums,
                      [&](const Album::Ptr& album) {
                        return V2::AlbumsReq::Create(CloudRecords::AlbumCreateRequest(*album), lockToken);
                      }),
              "BatchCreateAlbum");
}

CloudPhotoV2Helper::BatchResult CloudPhotoV2Helper::BatchModifyAlbum(const std::vector<Album::Ptr>& albums,
                                                                     const std::string& lockToken) {
  return Send(ItemsOf(albums,
                      [&](const Album::Ptr& album) {
                        return V2::AlbumsReq::Update(album->AlbumId.Get(),
                                                     CloudRecords::AlbumUpdateRequest(*album), lockToken);
                      }),
              "BatchModifyAlbum");
}

CloudPhotoV2Helper::BatchResult CloudPhotoV2Helper::BatchDeleteAlbum(const std::vector<std::string>& albumIds,
                                                                     const std::string& lockToken) {
  return Send(ItemsOf(albumIds, [&](const std::string& id) { return V2::AlbumsReq::Delete(id, lockToken); }),
              "BatchDeleteAlbum");
}

CloudPhotoV2Helper::BatchResult CloudPhotoV2Helper::BatchModifyFile(const std::vector<CloudFileInfo>& files,
                                                                    const std::string& lockToken) {
  return Send(ItemsOf(files,
                      [&](const CloudFileInfo& file) {
                        return V2::MediaReq::PatchMetadata(file.uniqueId,
                                                           CloudRecords::MediaUpdateRequest(file), lockToken);
                      }),
              "BatchModifyFile");
}

CloudPhotoV2Helper::BatchResult CloudPhotoV2Helper::BatchDeleteFile(const std::vector<CloudFileInfo>& files,
                                                                    const std::string& lockToken) {
  return Send(
      ItemsOf(files,
              [&](const CloudFileInfo& file) { return V2::MediaReq::Delete(file.uniqueId, lockToken); }),
      "BatchDeleteFile");
}
