// What the user changed in files, for the way up, and what came of it.

#include "store/dbhelper.h"
#include "sync/synclocaloperation.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"

namespace {

constexpr std::int32_t kMetadataChanged = 2;
constexpr char kNameClash[] = "104";

template <typename Test>
Gallery::Files FilesThat(Test test) {
  Gallery::Files files;
  Gallery::GetInstance().GetAllFiles(files);
  std::erase_if(files, [&test](const GalleryFile::Ptr& file) { return !test(*file); });
  return files;
}

bool WaitsForContent(const GalleryFile& file) {
  return !file.IsDeleted && !file.IsInBin() && file.IsLocalOnly();
}

// A file that the cloud has never seen has nothing to change there: its marks go
// up with its content, and a refused change would delete it here.
bool IsChanged(const GalleryFile& file) {
  return file.GalleryState == kMetadataChanged && !file.IsLocalOnly();
}

std::string Count(std::size_t count) { return std::to_string(count); }

bool LogCount(const char* tag, const char* text, std::size_t count) {
  LogInfo(tag, [&] { return text + Count(count); });
  return count > 0;
}

void TakeReturned(GalleryFile& file, const CloudFileInfo& record) {
  if (!record.fileId.empty()) file.SetFileId(record.fileId);
  if (!record.thumbFileId.empty()) file.SetThumbFileId(record.thumbFileId);
  if (!record.lcdFileId.empty()) file.SetLcdFileId(record.lcdFileId);
  if (!record.videoThumbId.empty()) file.SetVideoThumbId(record.videoThumbId);
}

}  // namespace

bool IsGoneInCloud(const std::string& code) { return code == "301" || code == "31084041"; }

const char* ChangeSince(const CloudFileInfo& sent, const GalleryFile& file) {
  if (file.FileName() != sent.fileName) return "File Name is Changed : ";
  if (file.IsFavorite != sent.favorite) return "File Favorite is Changed : ";
  const bool sentToBin = sent.albumId == kRecycleAlbumId;
  if (sentToBin) return file.IsInBin() ? nullptr : "File Has Move From Recycle : ";
  if (file.IsInBin()) return "File Has Move To Recycle :";
  if (file.AlbumId() != sent.albumId) return "File Has Move To Other Album :";
  return nullptr;
}

bool SyncLocalOperation::HasLocalChanges() {
  if (GlobalData::cloudGeneration == GlobalData::kGenerationV1Eur) return false;
  if (!GetCreatedAlbums().empty() || !GetModifyAlbums().empty() || !GetDeleteAlbums().empty()) return true;
  Files files;
  Gallery::GetInstance().GetAllFiles(files);
  return std::any_of(files.begin(), files.end(),
                     [](const FilePtr& file) { return HasLocalChange(*file) || WaitsForContent(*file); });
}

SyncLocalOperation::Files SyncLocalOperation::GetUploadFiles() { return FilesThat(WaitsForContent); }

SyncLocalOperation::Files SyncLocalOperation::GetChangedFiles() {
  Files files = FilesThat(IsChanged);
  (void)LogCount("SyncLocalOperation::GetChangedFiles",
                 "Get Local Modfiy Files Success Count :", files.size());
  return files;
}

SyncLocalOperation::Files SyncLocalOperation::GetDeleteFiles() {
  Files files = FilesThat([](const GalleryFile& file) { return file.IsDeleted.Get(); });
  (void)LogCount("SyncLocalOperation::GetDeleteFiles", "Get Local Delete Files Success Count:", files.size());
  return files;
}

void SyncLocalOperation::SetFilesUploaded(const std::vector<CloudFileInfo>& done) {
  for (const auto& record : done) {
    const auto file = Gallery::GetInstance().GetFile(record.uniqueId);
    if (!file) continue;
    TakeReturned(*file, record);
    // The state is cleared before the last look: a change of the user that comes
    // right now sets it again, or is seen here.
    file->GalleryState = 0;
    if (ChangeSince(record, *file)) file->GalleryState = kMetadataChanged;
    if (DBHelper::GetInstance().UpdateFile(file, record.uniqueId)) continue;
    (void)SaveFiles({file});  // Kept for the next cycle when the database still refuses.
  }
}

void SyncLocalOperation::UploadModifyFilesFailed(const std::vector<FailedItem>& failed) {
  std::vector<std::string> gone;
  for (const auto& item : failed) {
    if (IsGoneInCloud(item.code)) gone.push_back(item.id);
    if (item.code != kNameClash) continue;
    const auto file = Gallery::GetInstance().GetFile(item.id);
    const auto album = file ? Gallery::GetInstance().GetAlbum(file->AlbumId()) : nullptr;
    if (album && album->RenameToFreeName(file)) (void)SaveFiles({file});
  }
  (void)DeleteForGood(gone);
}

std::vector<std::string> SyncLocalOperation::UploadDeleteFilesFailed(const std::vector<FailedItem>& failed) {
  std::vector<std::string> gone;
  for (const auto& item : failed) {
    if (IsGoneInCloud(item.code)) gone.push_back(item.id);
  }
  (void)DeleteForGood(gone);
  return gone;
}

void SyncLocalOperation::SetFilesDeleted(const std::vector<std::string>& ids) { (void)DeleteForGood(ids); }
