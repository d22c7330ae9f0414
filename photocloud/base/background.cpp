#include "photocloud/base/background.h"

#include <exception>

#include "photocloud/base/log.h"

namespace photocloud {
namespace {

constexpr std::size_t kMostWaiting = 2000;
constexpr int kMostOfOwner = 200;

}  // namespace

Background::Background() : thread([this] { Run(); }) {}

Background::~Background() {
  {
    const std::lock_guard guard(queueLock);
    stopping = true;
  }
  changed.notify_all();
  thread.join();
}

bool Background::Add(std::int64_t owner, const std::string& name, std::function<void()> task) {
  const std::lock_guard guard(queueLock);
  if (names.count(name) > 0) return true;
  if (waiting.size() >= kMostWaiting || ofOwner[owner] >= kMostOfOwner) return false;
  names.insert(name);
  ++ofOwner[owner];
  waiting.push_back({owner, name, std::move(task)});
  changed.notify_all();
  return true;
}

bool Background::IsStopping() const {
  const std::lock_guard guard(queueLock);
  return stopping;
}

void Background::WaitUntilIdle() {
  std::unique_lock guard(queueLock);
  changed.wait(guard, [this] { return waiting.empty() && !running; });
}

void Background::Run() {
  std::unique_lock guard(queueLock);
  while (true) {
    changed.wait(guard, [this] { return stopping || !waiting.empty(); });
    if (stopping) return;
    const Task task = std::move(waiting.front());
    waiting.pop_front();
    names.erase(task.name);
    if (--ofOwner[task.owner] == 0) ofOwner.erase(task.owner);
    running = true;
    guard.unlock();
    try {
      task.run();
    } catch (const std::exception& failure) {
      Log(LogLevel::Error, "background task failed", {{"reason", failure.what()}});
    }
    guard.lock();
    running = false;
    changed.notify_all();
  }
}

}  // namespace photocloud
