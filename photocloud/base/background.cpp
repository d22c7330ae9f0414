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
    const MutexLock guard(queueLock);
    stopping = true;
  }
  changed.WakeAll();
  thread.join();
}

bool Background::Add(std::int64_t owner, const std::string& name, std::function<void()> task) {
  const MutexLock guard(queueLock);
  if (names.contains(name)) return true;
  if (waiting.size() >= kMostWaiting || ofOwner[owner] >= kMostOfOwner) return false;
  names.insert(name);
  ++ofOwner[owner];
  waiting.push_back({owner, name, std::move(task)});
  changed.WakeAll();
  return true;
}

bool Background::IsStopping() const {
  const MutexLock guard(queueLock);
  return stopping;
}

void Background::WaitUntilIdle() {
  const MutexLock guard(queueLock);
  while (running || !waiting.empty()) changed.Wait(queueLock);
}

void Background::Run() {
  while (const auto task = Take()) {
    try {
      task->run();
    } catch (const std::exception& failure) {
      Log(LogLevel::Error, "background task failed", {{"reason", failure.what()}});
    }
    Finish();
  }
}

std::optional<Background::Task> Background::Take() {
  const MutexLock guard(queueLock);
  while (!stopping && waiting.empty()) changed.Wait(queueLock);
  if (stopping) return std::nullopt;
  Task task = std::move(waiting.front());
  waiting.pop_front();
  names.erase(task.name);
  if (--ofOwner[task.owner] == 0) ofOwner.erase(task.owner);
  running = true;
  return task;
}

void Background::Finish() {
  const MutexLock guard(queueLock);
  running = false;
  changed.WakeAll();
}

}  // namespace photocloud
