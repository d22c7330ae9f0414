#include "sync/localchanges.h"

#include "common/platform/text.h"
#include "host/base/logger.h"
#include "transfer/gallerytransmanager.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"

namespace {

constexpr int kEventUploadFailed = 280;
// The code of an album that still holds files, at the end of a longer one.
constexpr char kAlbumNotEmpty[] = "4038";
constexpr char kUnknownAlbum[] = "4";
constexpr char kNameTaken[] = "5";
constexpr char kKnownUnderOtherId[] = "21";
constexpr char kFileNameClash[] = "104";
constexpr char kDerivedType[] = "3";
constexpr char kUsualType[] = "0";

std::string LockToken() { return GalleryTransManager::GetInstance().LockToken(); }

bool HasFailures(std::int32_t code) { return code == kAllFailed || code == kPartlyFailed; }

bool IsAlbumCode(const std::string& code) {
  return code == kUnknownAlbum || code == kNameTaken || code == kKnownUnderOtherId;
}

bool IsAlbumDeletionCode(const std::string& code) {
  return code == kUnknownAlbum || code.find(kAlbumNotEmpty) != std::string::npos;
}

// A file whose album got another name first waits for the next cycle.
bool IsFileCode(const std::string& code) {
  return code == kFileNameClash || code == kUnknownAlbum || IsGoneInCloud(code);
}

bool IsSecondGeneration() { return GlobalData::cloudGeneration == GlobalData::kGenerationV2; }

// Runs `work` on one batch after the other; false when one fails or the cycle is
// stopped between them.
template <typename List, typename Work>
bool ForEachBatch(const List& list, std::int32_t limit, const SyncCycle& cycle, Work work) {
  const std::size_t size = limit > 0 ? static_cast<std::size_t>(limit) : 1;
  for (std::size_t start = 0; start < list.size(); start += size) {
    const auto first = list.begin() + static_cast<std::ptrdiff_t>(start);
    const auto last = list.begin() + static_cast<std::ptrdiff_t>(std::min(start + size, list.size()));
    if (!work(List(first, last)) || cycle.IsCancelled()) return false;
  }
  return true;
}

Album::Ptr CopyForUpload(const Album& album) {
  auto copy = std::make_shared<Album>();
  copy->AlbumId = album.AlbumId.Get();
  copy->AlbumName = album.AlbumName.Get();
  const std::string type = album.AlbumType.Get();
  copy->AlbumType = IsSecondGeneration() && type == kDerivedType ? kUsualType : type;
  copy->CreateTime = album.CreateTime.Get();
  copy->Lpath = album.Lpath.Get();
  copy->SetExpand(album.Expand());
  return copy;
}

Gallery::Albums CopiesForUpload(const Gallery::Albums& albums) {
  Gallery::Albums copies;
  for (const auto& album : albums) copies.push_back(CopyForUpload(*album));
  return copies;
}

// Takes albums that the user changed while they were sent out of `succeeded` and
// returns them: they have to go up once more.
SyncCycle::Ids TakeOutChanged(const Gallery::Albums& copies, SyncCycle::Ids& succeeded) {
  SyncCycle::Ids changed;
  for (const auto& copy : copies) {
    const std::string id = copy->AlbumId.Get();
    const auto present = Gallery::GetInstance().GetAlbum(id);
    if (!present) continue;
    if (present->AlbumName.Get() == copy->AlbumName.Get() && present->Expand() == copy->Expand()) continue;
    if (std::erase(succeeded, id) == 0) continue;
    LogInfo("SyncHelper::UploadModifyAlbums", "Album Name Has Changed " + id);
    changed.push_back(id);
  }
  return changed;
}

CloudFileInfo RecordForUpload(const GalleryFile& file) {
  CloudFileInfo record;
  record.uniqueId = file.UniqueId();
  record.fileId = file.FileId();
  record.size = file.Size;
  record.favorite = file.IsFavorite;
  record.fileName = file.FileName();
  record.fileType = std::to_string(file.SavedFileType);
  record.createTime = file.CreateTime;
  record.videoThumbId = file.VideoThumbId();
  record.hash = file.Hash();
  record.expand = file.Expand();
  record.operateTime = file.OperateTime;
  record.albumId = file.AlbumId();
  if (file.IsInBin()) {
    record.albumId = kRecycleAlbumId;
    record.source = file.AlbumId();
    record.recycleTime = file.RecycleTime;
  }
  if (!IsSecondGeneration()) return record;
  if (!file.IsVideo()) record.pictureMetadata = file.PictureMetadata();
  record.videoMetadata = file.VideoMetadata();
  return record;
}

std::string Counts(const char* success, std::size_t good, const char* failure, std::size_t bad) {
  return success + std::to_string(good) + failure + std::to_string(bad);
}

}  // namespace

bool LocalChanges::UploadFailed(const char* text) {
  Logger::OutputOperationLog(kEventUploadFailed, 5, 2, {{"errorCode", "5"}, {"errorReason", text}});
  return cycle.Fail("SyncHelper::SyncUpload", text);
}

// Refusals that no rule deals with; what they are about keeps waiting.
void LocalChanges::NoteRefused(const char* step, const std::vector<FailedItem>& failed,
                               const std::function<bool(const std::string& code)>& isDealtWith) {
  for (const auto& item : failed) {
    if (!isDealtWith(item.code))
      (void)cycle.Fail(step, "refused with code " + item.code + " " + item.reason, item.id);
  }
}

void LocalChanges::NoteStuck(const char* step, const SyncCycle::Ids& albums) {
  for (const auto& id : albums) (void)cycle.Fail(step, "the name is taken, and no other can be given", id);
}

bool LocalChanges::Upload() {
  if (!UploadCreatedAlbums()) return UploadFailed("Upload Created Albums Fialed!");
  if (!UploadModifyAlbums()) return UploadFailed("Upload Modfiy Albums Failed!");
  if (!UploadModifyFiles()) return UploadFailed("Upload Modfiy Files Failed!");
  if (!UploadDeleteFiles()) return UploadFailed("Upload Delete Files Failed!");
  if (!UploadDeleteAlbums()) return UploadFailed("Upload Delete Albums Failed!");
  return true;
}

bool LocalChanges::UploadCreatedAlbums() {
  constexpr char kTag[] = "SyncHelper::UploadCreatedAlbums";
  ISyncServiceOperation* service = cycle.Service();
  cycle.localOperation.JoinNamesakes();
  return ForEachBatch(cycle.localOperation.GetCreatedAlbums(), service->GetAlbumLimit(), cycle,
                      [&](const Gallery::Albums& batch) {
                        const Gallery::Albums copies = CopiesForUpload(batch);
                        const auto result = service->UploadCreateAlbum(copies, LockToken());
                        if (!result) {
                          LogWarning(kTag, "Upload Created Albums Failed!");
                          return false;
                        }
                        if (HasFailures(result->code))
                          NoteStuck(kTag, cycle.localOperation.UploadCreatedAlbumsFailed(result->failed));
                        NoteRefused(kTag, result->failed, IsAlbumCode);
                        const SyncCycle::Ids changed = TakeOutChanged(copies, result->succeeded);
                        cycle.localOperation.SetAlbumsUploaded(result->succeeded, kAlbumCreated);
                        cycle.localOperation.SetAlbumsChanged(changed);
                        LogInfo(kTag,
                                Counts("Upload Created Albums Success Count : ", result->succeeded.size(),
                                       "Failed Count:", result->failed.size()));
                        return true;
                      });
}

bool LocalChanges::UploadModifyAlbums() {
  constexpr char kTag[] = "SyncHelper::UploadModifyAlbums";
  ISyncServiceOperation* service = cycle.Service();
  return ForEachBatch(cycle.localOperation.GetModifyAlbums(), service->GetAlbumLimit(), cycle,
                      [&](const Gallery::Albums& batch) {
                        const Gallery::Albums copies = CopiesForUpload(batch);
                        const auto result = service->UploadModifyAlbum(copies, LockToken());
                        if (!result) return false;
                        (void)TakeOutChanged(copies, result->succeeded);  // They are changes already.
                        if (HasFailures(result->code))
                          NoteStuck(kTag, cycle.localOperation.UploadModifyAlbumsFailed(result->failed));
                        NoteRefused(kTag, result->failed, IsAlbumCode);
                        cycle.localOperation.SetAlbumsUploaded(result->succeeded, kAlbumModified);
                        LogInfo(kTag, Counts("Upload Modify Albums Success Count :", result->succeeded.size(),
                                             "Failed Count : ", result->failed.size()));
                        return true;
                      });
}

bool LocalChanges::UploadModifyFiles() {
  auto files = cycle.localOperation.GetChangedFiles();
  std::stable_partition(files.begin(), files.end(),
                        [](const GalleryFile::Ptr& file) { return file->IsInBin(); });
  return ForEachBatch(files, cycle.Service()->GetFileLimit(), cycle,
                      [this](const SyncLocalOperation::Files& batch) {
                        SyncLocalOperation::Files recycled, others;
                        for (const auto& file : batch) {
                          // The cloud takes one kind in a request. Behind the recycled ones the rest
                          // of the batch waits for the next cycle.
                          if (!file->IsInBin() && !recycled.empty()) break;
                          (file->IsInBin() ? recycled : others).push_back(file);
                        }
                        return UploadFileGroup(recycled) && UploadFileGroup(others);
                      });
}

bool LocalChanges::UploadFileGroup(const SyncLocalOperation::Files& group) {
  constexpr char kTag[] = "SyncHelper::UploadModifyFiles";
  if (group.empty()) return true;
  std::vector<CloudFileInfo> records;
  std::map<std::string, CloudFileInfo> sent;
  for (const auto& file : group) {
    records.push_back(RecordForUpload(*file));
    sent[records.back().uniqueId] = records.back();
  }
  const auto result = cycle.Service()->UploadModifyFile(records, LockToken());
  if (!result) return false;
  if (HasFailures(result->code)) cycle.localOperation.UploadModifyFilesFailed(result->failed);
  NoteRefused(kTag, result->failed, IsFileCode);
  std::vector<CloudFileInfo> done;
  for (const auto& answer : result->succeeded) {
    const auto record = sent.find(answer.uniqueId);
    const auto file = Gallery::GetInstance().GetFile(answer.uniqueId);
    if (record == sent.end() || !file) continue;
    if (const char* change = ChangeSince(record->second, *file)) {
      LogInfo(kTag, change + answer.uniqueId);
      continue;
    }
    if (!answer.fileId.empty()) record->second.fileId = answer.fileId;
    if (!answer.thumbFileId.empty()) record->second.thumbFileId = answer.thumbFileId;
    if (!answer.lcdFileId.empty()) record->second.lcdFileId = answer.lcdFileId;
    if (!answer.videoThumbId.empty()) record->second.videoThumbId = answer.videoThumbId;
    done.push_back(record->second);
  }
  cycle.localOperation.SetFilesUploaded(done);
  LogInfo(kTag, Counts("Upload Modify Files Success Count :", done.size(),
                       "Failed Count :", result->failed.size()));
  return true;
}

bool LocalChanges::UploadDeleteFiles() {
  constexpr char kTag[] = "SyncHelper::UploadDeleteFiles";
  ISyncServiceOperation* service = cycle.Service();
  (void)Gallery::GetInstance().DropNeverUploaded();  // A row that stays is dropped by the next cycle.
  return ForEachBatch(cycle.localOperation.GetDeleteFiles(), service->GetFileLimit(), cycle,
                      [&](const SyncLocalOperation::Files& batch) {
                        std::vector<CloudFileInfo> records;
                        for (const auto& file : batch) {
                          CloudFileInfo record;
                          record.uniqueId = file->UniqueId();
                          record.albumId = file->IsInBin() ? kRecycleAlbumId : file->AlbumId();
                          record.size = file->Size;
                          record.fileId = file->FileId();
                          record.recycleTime = file->RecycleTime;
                          LogInfo(kTag, [&] { return "Upload Delete GalleryFile fileId :" + record.fileId; });
                          records.push_back(std::move(record));
                        }
                        const auto result = service->UploadDeleteFile(records, LockToken());
                        if (!result) return false;
                        if (HasFailures(result->code))
                          (void)cycle.localOperation.UploadDeleteFilesFailed(result->failed);
                        NoteRefused(kTag, result->failed, IsFileCode);
                        SyncCycle::Ids done;
                        for (const auto& record : result->succeeded) done.push_back(record.uniqueId);
                        cycle.localOperation.SetFilesDeleted(done);
                        LogInfo(kTag, Counts("Upload Delete Files Success Count :", done.size(),
                                             ",Failed Count :", result->failed.size()));
                        return true;
                      });
}

// The cloud's album holds files that this gallery does not have there: they go
// to the bin, and the next cycle can delete the album.
bool LocalChanges::RecycleLeftFiles(const std::string& albumId) {
  const auto listing = cycle.Listing();
  const auto page = listing ? listing->GetFilesByAlbumId(albumId) : nullptr;
  if (!page) return false;
  SyncCycle::Ids ids;
  for (const auto& media : page->media) ids.push_back(media.uniqueId);
  SyncLocalOperation::Files files;
  (void)Gallery::GetInstance().GetGalleryFiles(ids, files);
  // The user moved these out, and the cloud hears of it in a later batch.
  std::erase_if(files, [&albumId](const GalleryFile::Ptr& file) {
    return HasLocalChange(*file) && !file->IsInBin() && file->AlbumId() != albumId;
  });
  (void)cycle.localOperation.RecycleHere(files);  // Rows that could not be written wait for the next cycle.
  (void)cycle.localOperation.RecycleHidden(ids);  // As above.
  return true;
}

bool LocalChanges::UploadDeleteAlbums() {
  constexpr char kTag[] = "SyncHelper::UploadDeleteAlbums";
  ISyncServiceOperation* service = cycle.Service();
  return ForEachBatch(
      cycle.localOperation.GetDeleteAlbums(), service->GetAlbumLimit(), cycle,
      [&](const Gallery::Albums& batch) {
        SyncCycle::Ids ids;
        for (const auto& album : batch) ids.push_back(album->AlbumId.Get());
        const auto result = service->UploadDeleteAlbum(ids, LockToken());
        if (!result) return false;
        for (const auto& item : result->failed) {
          if (IsSecondGeneration() && HasFailures(result->code) &&
              item.code.find(kAlbumNotEmpty) != std::string::npos) {
            (void)RecycleLeftFiles(item.id);  // Not listed: the next cycle meets the same refusal.
          }
          // The other device was faster; there is nothing left to delete.
          if (item.code == kUnknownAlbum) result->succeeded.push_back(item.id);
        }
        NoteRefused(kTag, result->failed, IsAlbumDeletionCode);
        cycle.localOperation.SetAlbumsUploaded(result->succeeded, kAlbumDeleted);
        LogInfo(kTag, "Upload Delete Albums Success Count :" + std::to_string(result->succeeded.size()));
        LogInfo(kTag, "Upload Delete Albums Failed Count :" + std::to_string(result->failed.size()));
        return true;
      });
}
