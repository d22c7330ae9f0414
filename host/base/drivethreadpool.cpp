#include "host/base/drivethreadpool.h"

#include <utility>

#include "common/platform/thread.h"

namespace CommonAbility {
namespace {

constexpr std::size_t kMaxWorkers = 32;

}  // namespace

DriveThreadPool::~DriveThreadPool() { Stop(); }

DriveThreadPool& DriveThreadPool::GetInstance() {
  static DriveThreadPool instance;
  return instance;
}

bool DriveThreadPool::Add(std::function<void()> work, std::chrono::milliseconds delay) {
  platform::MutexLock hold(lock);
  if (stopped) return false;
  waiting.emplace(std::chrono::steady_clock::now() + delay, std::move(work));
  if (waiting.size() > idle && workers.size() < kMaxWorkers) {
    workers.emplace_back([this] { RunWorker(); });
    ++idle;  // It counts from here on, or the next call would start another one for the same work.
  }
  changed.notify_all();
  return true;
}

void DriveThreadPool::Stop() {
  std::vector<std::thread> ending;
  std::multimap<Time, std::function<void()>> dropped;
  {
    platform::MutexLock hold(lock);
    stopped = true;
    dropped.swap(waiting);
    ending.swap(workers);
    changed.notify_all();
  }
  for (std::thread& worker : ending) worker.join();
}

void DriveThreadPool::RunWorker() {
  platform::SetThreadName("drive pool");
  while (const auto work = Take()) {
    work();
    platform::MutexLock hold(lock);
    ++idle;
  }
}

std::function<void()> DriveThreadPool::Take() {
  platform::MutexLock hold(lock);
  for (;;) {
    if (stopped) return {};
    if (waiting.empty()) {
      changed.wait(lock);
      continue;
    }
    const Time due = waiting.begin()->first;
    if (due > std::chrono::steady_clock::now()) {
      (void)changed.wait_until(lock, due);
      continue;
    }
    --idle;
    return std::move(waiting.extract(waiting.begin()).mapped());
  }
}

}  // namespace CommonAbility
