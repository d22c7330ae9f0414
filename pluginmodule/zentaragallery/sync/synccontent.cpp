// Contents on their way to the transfer engine.

#include "sync/synchelper.h"
#include "transfer/gallerytransmanager.h"
#include "utils/gallerylog.h"

namespace {

// How many files the engine gets at once: enough to keep its workers busy, few
// enough that a pause takes hold soon.
constexpr std::size_t kFilesOfPass = 101;
constexpr std::int64_t kShownAhead = 100;

std::string NoRoom(std::int64_t free) {
  return "the cloud has room for " + std::to_string(std::max<std::int64_t>(free, 0)) + " more bytes";
}

}  // namespace

bool SyncHelper::ContentIsPaused() const { return services.contentPaused && services.contentPaused(); }

void SyncHelper::UploadContent() {
  if (ContentIsPaused()) return;
  auto& transfers = GalleryTransManager::GetInstance();
  const auto files = localOperation.GetUploadFiles();
  uploadPending = static_cast<std::int64_t>(files.size());
  if (files.empty()) return;
  const SpaceInfo space = services.spaceInfo ? services.spaceInfo() : SpaceInfo();
  const bool limited = services.spaceInfo && space.status == 0;
  std::int64_t bytes = 0;
  bool queued = false;
  for (std::size_t next = 0; next < files.size();) {
    if (cancelTask) break;
    if (IsPaused()) {
      Tell(SyncStatus::PAUSE, uploadPending);
      break;
    }
    const std::size_t remaining = files.size() - next;
    GalleryTransManager::Files pass;
    for (; next < files.size() && pass.size() < kFilesOfPass; ++next) {
      if (limited && bytes + files[next]->Size > space.free) {
        Enter(SyncStatus::NOSPACE);
        (void)Fail("SyncHelper::UploadContent",
                   NoRoom(space.free - bytes) + ", the file has " + std::to_string(files[next]->Size),
                   files[next]->UniqueId());
        continue;
      }
      bytes += files[next]->Size;
      pass.push_back(files[next]);
    }
    if (pass.empty()) break;
    queued = true;
    (void)transfers.GalleryUpload(pass, nullptr);  // What cannot be queued keeps waiting in the gallery.
    if (!WaitForTasks(remaining)) break;
  }
  // Without uploads of this call those that run belong to a refund.
  if (queued) transfers.StopAllTask(TaskType::Upload);
  uploadPending = PendingUploads();
}

bool SyncHelper::WaitForTasks(std::size_t remaining) {
  const auto& transfers = GalleryTransManager::GetInstance();
  const std::int64_t behind = std::max<std::int64_t>(static_cast<std::int64_t>(remaining) - kShownAhead, 0);
  std::int64_t told = 0;
  return transfers.WaitUntilIdle(TaskType::Upload, [&] {
    const auto figures = transfers.GetFigures(TaskType::Upload);
    const auto now = static_cast<std::int64_t>(figures.waiting + figures.running);
    if (now == 0) return false;
    if (cancelTask || IsPaused() || ContentIsPaused()) return true;
    if (std::exchange(told, now) != now) Tell(SyncStatus::UPLOAD, behind + now);
    return false;
  });
}
