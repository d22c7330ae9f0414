#include "transfer/thumbnails/gallerythumbnailmodule.h"

#include <chrono>
#include <filesystem>
#include <future>
#include <unordered_set>

#include "common/platform/paths.h"
#include "common/platform/thread.h"
#include "host/base/globalparamwrapper.h"
#include "store/dbhelper.h"
#include "utils/globaldata.h"

namespace fs = std::filesystem;

namespace ZentaraDeskClient {

namespace {

// No fetch takes as long; a younger file may be another process's.
constexpr std::chrono::hours kLongestFetch{1};

// Unfinished thumbnails of processes that were killed: each has a name of its own,
// so nothing writes over them. And those of files that have left the table, which a
// crash between row and thumbnail leaves.
void RemoveLeftOvers(const std::atomic<bool>& goOn) {
  std::unordered_set<std::string> guids;
  const bool knowsFiles = DBHelper::GetInstance().GetGuids(guids);
  const auto isLeft = [&](const fs::path& path) {
    const auto extension = path.extension();
    if (extension == ".crypt" || extension == ".tmp") return true;
    return knowsFiles && !guids.contains(path.stem().string());
  };
  const auto before = fs::file_time_type::clock::now() - kLongestFetch;
  for (const wchar_t* folder : {GlobalData::kThumbnailFolder, GlobalData::kLcdThumbnailFolder}) {
    std::error_code failed;
    const auto path = platform::NativePath(GlobalParamWrapper::GetInstance()->GetUserCachePath() + folder);
    for (auto entry = fs::directory_iterator(path, failed); !failed && entry != fs::directory_iterator();
         entry.increment(failed)) {
      if (!goOn) return;
      if (!isLeft(entry->path())) continue;
      std::error_code ignored;  // gone meanwhile
      if (entry->last_write_time(ignored) < before && !ignored) fs::remove(entry->path(), ignored);
    }
  }
}

}  // namespace

GalleryThumbnailModule& GalleryThumbnailModule::GetInstance() {
  static GalleryThumbnailModule instance;
  return instance;
}

GalleryThumbnailModule::~GalleryThumbnailModule() { Stop(); }

bool GalleryThumbnailModule::StartFetching() {
  if (!Start("thumbnails")) return false;
  // A worker that was stopped before takes tasks only once it has begun again.
  auto begun = std::make_shared<std::promise<void>>();
  const auto ready = begun->get_future();
  // Dropped by a stop, the task takes the promise along, and the wait ends.
  PostTask([begun = std::move(begun)] { begun->set_value(); });
  ready.wait();
  // Apart from the worker: nobody waits for a picture while a million are looked at.
  sweepOn = true;
  sweeper = std::thread([this] {
    platform::SetThreadName("thumb sweep");
    RemoveLeftOvers(sweepOn);
  });
  return true;
}

void GalleryThumbnailModule::WaitForSweep() {
  if (sweeper.joinable()) sweeper.join();
}

void GalleryThumbnailModule::OnDestroy() {
  GalleryThumbnailDownload::OnDestroy();
  sweepOn = false;
  WaitForSweep();
}

bool GalleryThumbnailModule::Add(ThumbnailRequest request, GalleryThumbnailDownloadTask::Ended ended) {
  if (!IsRunning()) return false;
  return AddTask(std::make_shared<GalleryThumbnailDownloadTask>(
      std::move(request), [this] { return !StopRequested(); }, std::move(ended)));
}

}  // namespace ZentaraDeskClient
