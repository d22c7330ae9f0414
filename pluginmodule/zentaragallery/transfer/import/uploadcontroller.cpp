#include "transfer/import/uploadcontroller.h"

#include <condition_variable>
#include <filesystem>
#include <thread>
#include <unordered_set>

#include "common/platform/mutex.h"
#include "common/platform/paths.h"
#include "common/platform/thread.h"
#include "host/logger.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "transfer/import/localfilecheck.h"
#include "utils/gallerylog.h"

namespace {

// Files that reach the database and the lists together: few enough to show
// progress, enough that a commit is not the cost.
constexpr std::size_t kCommitFiles = 64;

constexpr int kEventImport = 161;

void DropThumbnail(const GalleryFile& file) {
  std::error_code ignored;  // A thumbnail without a file is only lost space.
  std::filesystem::remove(platform::NativePath(file.ThumbnailName()), ignored);
}

// Checks paths on as many workers as there are processors and hands the results
// out in the order of the paths.
class CheckPipeline {
 public:
  CheckPipeline(const std::vector<std::wstring>& of, const Album& into,
                std::unordered_set<std::string> hashes, const std::atomic<bool>* stop)
      : paths(of),
        album(into),
        known(std::move(hashes)),
        userStop(stop),
        checked(of.size()),
        ready(of.size()) {
    const unsigned count = std::max(1u, std::thread::hardware_concurrency());
    for (unsigned i = 0; i < count; ++i) workers.emplace_back([this] { Work(); });
  }
  ~CheckPipeline() {
    stopping = true;
    for (auto& worker : workers) worker.join();
    for (const auto& left : checked) {
      if (left.file) DropThumbnail(*left.file);
    }
  }
  CheckPipeline(const CheckPipeline&) = delete;
  CheckPipeline& operator=(const CheckPipeline&) = delete;

  // Nothing once the user has stopped; what a check gave then means nothing either.
  std::optional<CheckedFile> Take(std::size_t index) {
    platform::MutexLock hold(lock);
    while (!IsStopped() && !ready[index]) arrived.wait_for(lock, kLook);
    if (IsStopped()) return std::nullopt;
    return std::exchange(checked[index], {});
  }

 private:
  // The flag of the user tells nobody when it is set.
  static constexpr std::chrono::milliseconds kLook{20};

  bool IsStopped() const { return userStop && *userStop; }
  void Work() {
    platform::SetThreadName("file check");
    while (!stopping) {
      const std::size_t index = next++;
      if (index >= paths.size()) return;
      CheckedFile result = CheckLocalFile(
          paths[index], album, [this](const std::string& hash) { return known.contains(hash); }, &stopping);
      {
        const platform::MutexLock hold(lock);
        checked[index] = std::move(result);
        ready[index] = true;
      }
      arrived.notify_all();
    }
  }

  const std::vector<std::wstring>& paths;
  const Album& album;
  const std::unordered_set<std::string> known;
  const std::atomic<bool>* const userStop;
  std::atomic<std::size_t> next{0};
  std::atomic<bool> stopping{false};
  platform::Mutex lock;
  std::condition_variable_any arrived;
  std::vector<CheckedFile> checked GUARDED_BY(lock);
  std::vector<bool> ready GUARDED_BY(lock);
  std::vector<std::thread> workers;
};

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

}  // namespace

UploadController::Result UploadController::AddToLocal(const std::vector<std::wstring>& paths,
                                                      const Album::Ptr& album) {
  constexpr char kTag[] = "UploadController::AddToLocal";
  Result result;
  if (!album) {
    LogError(kTag, "get album fail,");
    return result;
  }
  if (paths.size() > kFilesUpperLimit) {
    result.overLimit = true;
    return result;
  }
  Progress progress{0, paths.size(), 0};
  std::unordered_set<std::string> hashes = HashesIn(*album);
  std::unordered_set<std::wstring> seenPaths;
  std::unordered_set<std::wstring> batchNames;
  std::vector<GalleryFile::Ptr> batch;

  const auto refuse = [&](const std::wstring& path, const char* key, const char* errorReason) {
    result.refused.push_back({path, key});
    if (errorReason) Logger::OutputOperationLog(kEventImport, 1, 1, {{"errorReason", errorReason}});
  };
  const auto commit = [&] {
    if (batch.empty()) return;
    const auto giveBack = [&](const GalleryFile::Ptr& file) {
      const char* cause = CheckCache();
      refuse(file->LocalPath(), cause ? cause : kWriteDenied, nullptr);
      hashes.erase(file->Hash());
      progress.bytes -= file->Size;
      DropThumbnail(*file);
    };
    if (HasRow(album) && DBHelper::GetInstance().AddFiles(batch)) {
      Gallery::GetInstance().AddFiles(batch);
      for (const auto& file : batch) {
        if (Gallery::GetInstance().GetFile(file->UniqueId()) == file) {
          result.added.push_back(file);
        } else {
          // The album was deleted meanwhile: no list would show the row.
          (void)DBHelper::GetInstance().DeleteFiles({file});
          giveBack(file);
        }
      }
    } else {
      for (const auto& file : batch) giveBack(file);
    }
    batch.clear();
    batchNames.clear();
  };
  // A name of its own before the row is written: a clash that only the list
  // resolved would leave the old name in the row.
  const auto takeName = [&](const GalleryFile::Ptr& file) {
    if (batchNames.contains(file->FileName()) || album->HasNameClash(file)) {
      commit();  // so that the album knows all names that are taken
      if (album->RenameToFreeName(file)) file->GalleryState = 1;  // the content goes up with its name
    }
    batchNames.insert(file->FileName());
  };
  const auto take = [&](const std::wstring& path, const CheckedFile& checked) {
    if (!checked.file) return refuse(path, checked.textKey, checked.errorReason);
    const auto drop = [&](const char* key) {
      DropThumbnail(*checked.file);
      refuse(path, key, nullptr);
    };
    if (!seenPaths.insert(path).second) return drop(kAlreadyQueued);
    if (const char* cause = CheckCache()) return drop(cause);
    if (!hashes.insert(checked.file->Hash()).second) return drop(kAlreadyExists);
    takeName(checked.file);
    progress.bytes += checked.file->Size;
    batch.push_back(checked.file);
    if (batch.size() == kCommitFiles) commit();
  };

  {
    CheckPipeline pipeline(paths, *album, hashes, stop);
    for (std::size_t i = 0; i < paths.size(); ++i) {
      const auto checked = pipeline.Take(i);
      if (!checked) {
        result.stopped = true;
        break;
      }
      take(paths[i], *checked);
      ++progress.done;
      if (onProgress) onProgress(progress);
    }
  }
  commit();
  Logger::OutputOperationLog(kEventImport, 1, 0,
                             {{"num", std::to_string(result.added.size())},
                              {"total", std::to_string(paths.size())},
                              {"size", std::to_string(progress.bytes)}});
  return result;
}
