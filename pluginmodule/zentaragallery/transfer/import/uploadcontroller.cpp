#include "transfer/import/uploadcontroller.h"

#include <unordered_set>

#include "host/base/logger.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "transfer/import/checkpipeline.h"
#include "utils/gallerylog.h"

namespace {

// Files that reach the database and the lists together: few enough to show
// progress, enough that a commit is not the cost.
constexpr std::size_t kCommitFiles = 64;

constexpr int kEventImport = 161;

// What the album holds already, by content.
std::unordered_set<std::string> HashesIn(const Album& album) {
  std::unordered_set<std::string> hashes;
  for (const auto& file : album.Files()) {
    hashes.insert(file->Hash());
    for (const auto& member : file->GetMembers()) hashes.insert(member->Hash());
  }
  return hashes;
}

// Rows of files without the row of their album would be shown by no list after
// the next start.
bool HasRow(const Album::Ptr& album) {
  Album row;
  auto& database = DBHelper::GetInstance();
  return database.GetAlbum(row, album->AlbumId.Get()) || database.AddAlbum(album);
}

// One call of AddToLocal: takes what the checks gave, in the order of the paths, and
// commits the good files in batches.
class AlbumImport {
 public:
  using Result = UploadController::Result;
  using Progress = UploadController::Progress;

  AlbumImport(const std::vector<std::wstring>& from, const Album::Ptr& into)
      : paths(from), album(into), hashes(HashesIn(*into)), progress{0, from.size(), 0} {}

  Result Run(const std::atomic<bool>* stop, const std::function<void(const Progress&)>& onProgress) {
    TakeAll(stop, onProgress);
    Commit();
    Log();
    return std::move(result);
  }

 private:
  void TakeAll(const std::atomic<bool>* stop, const std::function<void(const Progress&)>& onProgress) {
    CheckPipeline pipeline(paths, *album, hashes, stop);
    for (std::size_t i = 0; i < paths.size(); ++i) {
      const auto checked = pipeline.Take(i);
      result.stopped = !checked;
      if (!checked) return;
      Take(paths[i], *checked);
      ++progress.done;
      if (onProgress) onProgress(progress);
    }
  }

  void Take(const std::wstring& path, const CheckedFile& checked) {
    if (!checked.file) {
      Refuse(path, checked.textKey);
      if (checked.errorReason)
        Logger::OutputOperationLog(kEventImport, 1, 1, {{"errorReason", checked.errorReason}});
    } else if (const char* cause = CauseAgainst(path, *checked.file)) {
      DropThumbnail(*checked.file);
      Refuse(path, cause);
    } else {
      Queue(checked.file);
    }
  }

  // What only the rest of the list and the cache can tell.
  const char* CauseAgainst(const std::wstring& path, const GalleryFile& file) {
    if (!seenPaths.insert(path).second) return kAlreadyQueued;
    if (const char* cause = CheckCache()) return cause;
    return hashes.insert(file.Hash()).second ? nullptr : kAlreadyExists;
  }

  void Queue(const GalleryFile::Ptr& file) {
    TakeName(file);
    progress.bytes += file->Size;
    batch.push_back(file);
    if (batch.size() == kCommitFiles) Commit();
  }

  // A name of its own before the row is written: a clash that only the list
  // resolved would leave the old name in the row.
  void TakeName(const GalleryFile::Ptr& file) {
    if (batchNames.contains(file->FileName()) || album->HasNameClash(file)) {
      Commit();  // so that the album knows all names that are taken
      if (album->RenameToFreeName(file)) file->GalleryState = 1;  // the content goes up with its name
    }
    batchNames.insert(file->FileName());
  }

  void Commit() {
    if (batch.empty()) return;
    const bool stored = HasRow(album) && DBHelper::GetInstance().AddFiles(batch);
    if (stored) Gallery::GetInstance().AddFiles(batch);
    for (const auto& file : batch) stored ? KeepIfListed(file) : GiveBack(*file);
    batch.clear();
    batchNames.clear();
  }

  void KeepIfListed(const GalleryFile::Ptr& file) {
    if (Gallery::GetInstance().GetFile(file->UniqueId()) == file) {
      result.added.push_back(file);
      return;
    }
    // The album was deleted meanwhile: no list would show the row.
    (void)DBHelper::GetInstance().DeleteFiles({file});
    GiveBack(*file);
  }

  void GiveBack(const GalleryFile& file) {
    const char* cause = CheckCache();
    Refuse(file.LocalPath(), cause ? cause : kWriteDenied);
    hashes.erase(file.Hash());
    progress.bytes -= file.Size;
    DropThumbnail(file);
  }

  void Refuse(const std::wstring& path, const char* key) { result.refused.push_back({path, key}); }

  void Log() const {
    Logger::OutputOperationLog(kEventImport, 1, 0,
                               {{"num", std::to_string(result.added.size())},
                                {"total", std::to_string(paths.size())},
                                {"size", std::to_string(progress.bytes)}});
  }

  const std::vector<std::wstring>& paths;
  const Album::Ptr& album;
  std::unordered_set<std::string> hashes;
  std::unordered_set<std::wstring> seenPaths;
  std::vector<GalleryFile::Ptr> batch;
  std::unordered_set<std::wstring> batchNames;  // of the batch
  Progress progress;
  Result result;
};

}  // namespace

UploadController::Result UploadController::AddToLocal(const std::vector<std::wstring>& paths,
                                                      const Album::Ptr& album) {
  Result result;
  result.overLimit = album && paths.size() > kFilesUpperLimit;
  if (!album) LogError("UploadController::AddToLocal", "get album fail,");
  if (!album || result.overLimit) return result;
  return AlbumImport(paths, album).Run(stop, onProgress);
}
