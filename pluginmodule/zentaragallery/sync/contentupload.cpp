#include "sync/contentupload.h"

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

bool ContentUpload::ContentIsPaused() const {
  return cycle.services.contentPaused && cycle.services.contentPaused();
}

void ContentUpload::UploadContent() {
  if (ContentIsPaused()) return;
  auto& transfers = GalleryTransManager::GetInstance();
  const auto files = cycle.localOperation.GetUploadFiles();
  cycle.uploadPending = static_cast<std::int64_t>(files.size());
  if (files.empty()) return;
  const SpaceInfo space = cycle.services.spaceInfo ? cycle.services.spaceInfo() : SpaceInfo();
  const bool limited = cycle.services.spaceInfo && space.status == 0;
  std::int64_t bytes = 0;
  bool queued = false;
  for (std::size_t next = 0; next < files.size();) {
    if (cycle.IsCancelled()) break;
    if (cycle.IsPaused()) {
      cycle.TellPaused();
      break;
    }
    const std::size_t remaining = files.size() - next;
    GalleryTransManager::Files pass;
    for (; next < files.size() && pass.size() < kFilesOfPass; ++next) {
      if (limited && bytes + files[next]->Size > space.free) {
        cycle.Enter(SyncStatus::NOSPACE);
        (void)cycle.Fail("SyncHelper::UploadContent",
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
  cycle.CountPending();
}

bool ContentUpload::WaitForTasks(std::size_t remaining) {
  const auto& transfers = GalleryTransManager::GetInstance();
  const std::int64_t behind = std::max<std::int64_t>(static_cast<std::int64_t>(remaining) - kShownAhead, 0);
  std::int64_t told = 0;
  return transfers.WaitUntilIdle(TaskType::Upload, [&] {
    const auto figures = transfers.GetFigures(TaskType::Upload);
    const auto now = static_cast<std::int64_t>(figures.waiting + figures.running);
    if (now == 0) return false;
    if (cycle.IsCancelled() || cycle.IsPaused() || ContentIsPaused()) return true;
    if (std::exchange(told, now) != now) cycle.Tell(SyncStatus::UPLOAD, behind + now);
    return false;
  });
}
