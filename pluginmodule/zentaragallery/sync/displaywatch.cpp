#include "sync/displaywatch.h"

#include "common/platform/thread.h"
#include "host/base/globalparamwrapper.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "utils/gallerylog.h"

namespace {

constexpr std::int64_t kWatchSeconds = 60;

bool IsLoggedIn() { return GlobalParamWrapper::GetInstance()->GetIsUserLoggedIn(); }

}  // namespace

void DisplayWatch::Start(Pause pause) {
  platform::MutexLock hold(lock);
  if (watching) return;  // Since a start before the ticks were stopped.
  if (thread.joinable()) thread.join();
  wait = std::move(pause);
  const bool shown = GlobalParamWrapper::GetInstance()->GetEnableShowLostCloudPhoto();
  watching = true;
  thread = std::thread([this, shown] {
    platform::SetThreadName("display watch");
    LoadDataToMemoryWhenDisplaySwitchChanged(shown);
    watching = false;
  });
}

void DisplayWatch::Join() {
  platform::MutexLock hold(lock);
  if (thread.joinable()) thread.join();
}

bool DisplayWatch::SleepWhileLoggedIn(std::int64_t seconds) const {
  constexpr std::chrono::milliseconds kSliceMs{100};  // so that a stop is seen at once
  constexpr int kSlices = 10;
  for (std::int64_t second = 0; second < seconds; ++second) {
    if (!IsLoggedIn()) return false;
    for (int slice = 0; slice < kSlices; ++slice) {
      if (isClosed()) return false;
      wait ? wait(kSliceMs) : std::this_thread::sleep_for(kSliceMs);
    }
  }
  return !isClosed() && IsLoggedIn();
}

void DisplayWatch::LoadDataToMemoryWhenDisplaySwitchChanged(bool shown) {
  constexpr char kTag[] = "SyncHelper::LoadDataToMemoryWhenDisplaySwitchChanged";
  while (true) {
    if (isClosed() || !IsLoggedIn()) return;
    std::int64_t complete = 0;
    if (DBHelper::GetInstance().GetHasDownAll(complete) && complete != 0) break;
    LogInfo(kTag, "wait for stop loop");
    if (!SleepWhileLoggedIn(kWatchSeconds)) return;
  }
  LogInfo(kTag, "Start to check whether enableShowLostCloudPhoto changes");
  do {
    CheckDisplaySwitch(shown);
  } while (SleepWhileLoggedIn(kWatchSeconds));
}

void DisplayWatch::CheckDisplaySwitch(bool& shown) {
  const bool now = GlobalParamWrapper::GetInstance()->GetEnableShowLostCloudPhoto();
  if (!now || shown) {
    shown = now;
    return;
  }
  auto& gallery = Gallery::GetInstance();
  Gallery::Files lost;
  if (!DBHelper::GetInstance().GetLostFiles(lost)) return;  // The next look tries again.
  std::erase_if(lost, [&gallery](const GalleryFile::Ptr& file) {
    return gallery.GetFile(file->UniqueId()) != nullptr;
  });
  if (!isClosed() && IsLoggedIn() && !lost.empty()) (void)gallery.AddFiles(lost);
  LogInfo("SyncHelper::LoadDataToMemoryWhenDisplaySwitchChanged", [&] {
    return "enableShowLostCloudPhoto:0->1,adding gallery files to memory,size:" + std::to_string(lost.size());
  });
  shown = now;
}
