#include "cloud/syncserviceoperationv2.h"

#include <array>
#include <thread>

#include "cloud/cloudphotov2helper.h"
#include "model/gallery.h"
#include "utils/gallerylog.h"

namespace {

using AlbumIds = std::vector<std::string>;

// The cancel word is looked at this often.
constexpr std::chrono::milliseconds kPollStep{1};
constexpr std::size_t kTailLength = 4;

struct CodeRule {
  std::string_view tail;
  std::string_view local;
};
constexpr std::array<CodeRule, 2> kCodes{{{"4932", "5"}, {"4909", "4"}}};

std::string LocalCode(const std::string& code) {
  const std::string_view tail =
      std::string_view(code).substr(code.size() - std::min(code.size(), kTailLength));
  for (const CodeRule& rule : kCodes) {
    if (tail == rule.tail) return std::string(rule.local);
  }
  return code;
}

FailedItem ToFailed(const NS::SingleAnswer& answer, const std::string& id, const std::string& fileId = {}) {
  FailedItem failed;
  failed.id = id;
  failed.fileId = fileId;
  // Without an error record there is still the item's own return code.
  failed.code = answer.error ? LocalCode(answer.error->Code()) : std::to_string(answer.code);
  failed.reason = answer.error ? answer.error->Reason() : std::string();
  return failed;
}

template <typename Result>
void SetCode(Result& result) {
  if (result.failed.empty()) {
    result.code = kAllGood;
  } else {
    result.code = result.succeeded.empty() ? kAllFailed : kPartlyFailed;
  }
}

std::unique_ptr<AlbumUploadResult> ToResult(const AlbumIds& ids,
                                            const CloudPhotoV2Helper::BatchResult& answers) {
  if (!answers) return nullptr;
  auto result = std::make_unique<AlbumUploadResult>();
  for (std::size_t i = 0; i < ids.size(); ++i) {
    const NS::SingleAnswer& answer = (*answers)[i];
    if (answer.Ok()) {
      result->succeeded.push_back(ids[i]);
    } else {
      result->failed.push_back(ToFailed(answer, ids[i]));
    }
  }
  SetCode(*result);
  return result;
}

std::unique_ptr<FileUploadResult> ToResult(const std::vector<CloudFileInfo>& files,
                                           const CloudPhotoV2Helper::BatchResult& answers) {
  if (!answers) return nullptr;
  auto result = std::make_unique<FileUploadResult>();
  for (std::size_t i = 0; i < files.size(); ++i) {
    const NS::SingleAnswer& answer = (*answers)[i];
    if (answer.Ok()) {
      result->succeeded.push_back(files[i]);
    } else {
      result->failed.push_back(ToFailed(answer, files[i].uniqueId, files[i].fileId));
    }
  }
  SetCode(*result);
  return result;
}

AlbumIds IdsOf(const ISyncServiceOperation::AlbumList& albums) {
  AlbumIds ids;
  for (const auto& album : albums) ids.push_back(album->AlbumId.Get());
  return ids;
}

bool IsCancelled(const std::atomic<bool>* cancel) { return cancel && *cancel; }

}  // namespace

SyncServiceOperationV2::SyncServiceOperationV2() {
  albumLimit = CloudPhotoV2Helper::maxBatchNumber;
  fileLimit = CloudPhotoV2Helper::maxBatchNumber;
}

std::unique_ptr<CloudVersion> SyncServiceOperationV2::GetCloudVersion() {
  auto version = CloudPhotoV2Helper::GetAllVersion();
  if (version) LogInfo("SyncServiceOperationV2::GetCloudVersion", "Get CloudVersion Success");
  return version;
}

std::unique_ptr<ISyncServiceOperation::AlbumList> SyncServiceOperationV2::GetCloudAlbums() {
  auto albums = CloudPhotoV2Helper::GetAlbums({});
  if (!albums) return nullptr;
  const auto isBin = [](const Album::Ptr& album) { return album->AlbumId.Get() == kRecycleAlbumId; };
  const auto bin = Gallery::GetInstance().GetAlbum(kRecycleAlbumId);
  if (bin && std::none_of(albums->begin(), albums->end(), isBin)) albums->push_back(bin);
  LogInfo("SyncServiceOperationV2::GetCloudAlbums", "Get Cloud Albums Success");
  return albums;
}

bool SyncServiceOperationV2::GetCloudIncrementFiles(std::int64_t version,
                                                    const std::vector<std::string>& albumIds,
                                                    std::string& cursor, std::vector<CloudFileInfo>& files) {
  if (!albumIds.empty()) {
    cursor.clear();
    return true;
  }
  const std::string start = cursor.empty() ? std::to_string(version) : cursor;
  auto changes = CloudPhotoV2Helper::GetChangeFiles(start, cursor);
  if (!changes) return false;
  for (CloudFileInfo& file : *changes) {
    if (file.otype == "1" && !Gallery::GetInstance().GetFile(file.uniqueId)) file.otype = "0";
  }
  files = std::move(*changes);
  return true;
}

std::unique_ptr<LockResult> SyncServiceOperationV2::GetLock(const std::atomic<bool>* cancel) {
  std::string heldToken;
  for (int count = 1; !IsCancelled(cancel); ++count) {
    if (auto result = TryLock(heldToken)) return result;
    if (count >= lockRetries || !WaitForRetry(cancel)) break;
  }
  // A lock that was had without its versions would keep other devices out.
  if (!heldToken.empty()) (void)ReleaseLock(heldToken);
  return nullptr;
}

std::unique_ptr<LockResult> SyncServiceOperationV2::TryLock(std::string& heldToken) {
  const auto lock = CloudPhotoV2Helper::GetV2Lock({});
  if (lock) heldToken = lock->token;
  const auto version = CloudPhotoV2Helper::GetAllVersion();
  if (!lock || !version) return nullptr;
  auto result = std::make_unique<LockResult>();
  result->token = lock->token;
  result->keepInterval = lock->expiresInSeconds;
  result->albumListVersion = version->albumListVersion;
  result->cloudVersion = version->albumVersion;
  result->fileVersion = version->fileVersion;
  result->clearVersion = version->clearVersion;
  LogInfo("SyncServiceOperationV2::GetLock", "Get Lock Success");
  return result;
}

// False when the wait was cancelled.
bool SyncServiceOperationV2::WaitForRetry(const std::atomic<bool>* cancel) const {
  const auto until = std::chrono::steady_clock::now() + lockRetryWait;
  while (!IsCancelled(cancel) && std::chrono::steady_clock::now() < until)
    std::this_thread::sleep_for(kPollStep);
  return !IsCancelled(cancel);
}

std::unique_ptr<LockResult> SyncServiceOperationV2::KeepLock(const std::string& token) {
  const auto lock = CloudPhotoV2Helper::GetV2Lock(token);
  if (!lock) return nullptr;
  auto result = std::make_unique<LockResult>();
  result->token = lock->token;
  result->keepInterval = lock->expiresInSeconds;
  return result;
}

bool SyncServiceOperationV2::ReleaseLock(const std::string& token) {
  return CloudPhotoV2Helper::DeleteV2Lock(token);
}

std::unique_ptr<AlbumUploadResult> SyncServiceOperationV2::UploadCreateAlbum(const AlbumList& albums,
                                                                             const std::string& lockToken) {
  return ToResult(IdsOf(albums), CloudPhotoV2Helper::BatchCreateAlbum(albums, lockToken));
}

std::unique_ptr<AlbumUploadResult> SyncServiceOperationV2::UploadModifyAlbum(const AlbumList& albums,
                                                                             const std::string& lockToken) {
  return ToResult(IdsOf(albums), CloudPhotoV2Helper::BatchModifyAlbum(albums, lockToken));
}

std::unique_ptr<AlbumUploadResult> SyncServiceOperationV2::UploadDeleteAlbum(
    const std::vector<std::string>& albumIds, const std::string& lockToken) {
  return ToResult(albumIds, CloudPhotoV2Helper::BatchDeleteAlbum(albumIds, lockToken));
}

std::unique_ptr<FileUploadResult> SyncServiceOperationV2::UploadModifyFile(
    const std::vector<CloudFileInfo>& files, const std::string& lockToken) {
  return ToResult(files, CloudPhotoV2Helper::BatchModifyFile(files, lockToken));
}

std::unique_ptr<FileUploadResult> SyncServiceOperationV2::UploadDeleteFile(
    const std::vector<CloudFileInfo>& files, const std::string& lockToken) {
  return ToResult(files, CloudPhotoV2Helper::BatchDeleteFile(files, lockToken));
}
