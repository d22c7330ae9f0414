// Contents on their way to the transfer engine.

#include "sync/synchelper.h"
#include "transfer/gallerytransmanager.h"
#include "utils/gallerylog.h"

namespace {

// How many files the engine gets at once: enough to keep its workers busy, few
// enough that a pause takes hold soon.
constexpr std::size_t kFilesOfPass = 101;
constexpr std::int64_t kShownAhead = 100;
constexpr std::chrono::milliseconds kPollMs{500};
constexpr std::int32_t kUploads = 1;

}  // namespace

void SyncHelper::UploadContent() {
  if (services.contentPaused && services.contentPaused()) return;
  auto& transfers = GalleryTransManager::GetInstance();
  const auto files = localOperation.GetUploadFiles();
  uploadPending = static_cast<std::int64_t>(files.size());
  if (files.empty()) return;
  const SpaceInfo space = services.spaceInfo ? services.spaceInfo() : SpaceInfo();
  const bool limited = services.spaceInfo && space.status == 0;
  std::int64_t bytes = 0;
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
        continue;
      }
      bytes += files[next]->Size;
      pass.push_back(files[next]);
    }
    if (pass.empty()) break;
    transfers.GalleryUpload(pass);
    if (!WaitForTasks(remaining)) break;
  }
  transfers.StopAllTask(kUploads);
  uploadPending = PendingUploads();
}

bool SyncHelper::WaitForTasks(std::size_t remaining) {
  const std::int64_t behind = std::max<std::int64_t>(static_cast<std::int64_t>(remaining) - kShownAhead, 0);
  while (true) {
    const auto running = static_cast<std::int64_t>(GalleryTransManager::GetInstance().RunningTasks());
    if (running == 0) return true;
    if (cancelTask || IsPaused()) return false;
    Tell(SyncStatus::UPLOAD, behind + running);
    std::this_thread::sleep_for(kPollMs);
  }
}
