#include "sync/threadtimer.h"

#include "common/platform/thread.h"
#include "utils/gallerylog.h"

namespace {

// At this value the disk may lose what is written.
constexpr std::int32_t kDiskError = 4;
constexpr char kTag[] = "ThreadTimer";

}  // namespace

ThreadTimer::~ThreadTimer() {
  if (thread.joinable()) Stop();
}

void ThreadTimer::Start(std::int64_t intervalMs, std::function<void()> function, bool runAfterWait) {
  if (!expired) return;
  if (thread.joinable()) thread.join();
  expired = false;
  stopRequested = false;
  thread = std::thread([this, intervalMs, function = std::move(function), runAfterWait] {
    Run(intervalMs, function, runAfterWait);
  });
}

void ThreadTimer::Run(std::int64_t intervalMs, const std::function<void()>& function, bool runAfterWait) {
  platform::SetThreadName("sync timer");
  LogInfo(kTag, [] {
    std::ostringstream text;
    text << "ThreadTimer thread id:" << std::this_thread::get_id();
    return text.str();
  });
  while (!stopRequested) {
    if (!runAfterWait) RunOnce(function);
    Wait(intervalMs);
    if (runAfterWait && !stopRequested) RunOnce(function);
  }
  platform::MutexLock hold(lock);
  expired = true;
  ended.notify_all();
}

void ThreadTimer::RunOnce(const std::function<void()>& function) {
  if (diskHealth && diskHealth() >= kDiskError) {
    LogWarning(kTag, "Disk error occurred, sync paused");
    return;
  }
  function();
}

void ThreadTimer::Wait(std::int64_t intervalMs) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(intervalMs);
  platform::MutexLock hold(lock);
  while (!stopRequested && !wakeRequested && ended.wait_until(lock, end) != std::cv_status::timeout) {
  }
  wakeRequested = false;
}

void ThreadTimer::Wake() {
  platform::MutexLock hold(lock);
  wakeRequested = true;
  ended.notify_all();
}

void ThreadTimer::Stop() {
  LogInfo(kTag, "Start stop timer");
  if (thread.get_id() == std::this_thread::get_id()) {
    stopRequested = true;
    return;
  }
  if (expired) {
    LogInfo(kTag, "expired is true");
  } else {
    platform::MutexLock hold(lock);
    stopRequested = true;
    ended.notify_all();
  }
  if (thread.joinable()) thread.join();
  stopRequested = false;
}
