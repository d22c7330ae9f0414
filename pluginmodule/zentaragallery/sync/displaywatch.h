#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "common/platform/mutex.h"

// Looks once a minute whether lost files are to be shown now, and takes them into the
// gallery then. It begins once the cloud is all down and ends by itself when the user
// logs out. Start and Join from any thread.
class DisplayWatch {
 public:
  using Pause = std::function<void(std::chrono::milliseconds)>;

  // `closed` says when to end. `pause` stands in for the waits; empty: the real ones.
  explicit DisplayWatch(std::function<bool()> closed) : isClosed(std::move(closed)) {}
  ~DisplayWatch() { Join(); }
  DisplayWatch(const DisplayWatch&) = delete;
  DisplayWatch& operator=(const DisplayWatch&) = delete;

  // Nothing while one looks.
  void Start(Pause pause);
  // Waits for its end, which somebody has asked for.
  void Join();
  // One look; `shown` is the setting last seen.
  void CheckDisplaySwitch(bool& shown);

 private:
  void LoadDataToMemoryWhenDisplaySwitchChanged(bool shown);
  bool SleepWhileLoggedIn(std::int64_t seconds) const;

  const std::function<bool()> isClosed;
  Pause wait;  // of the thread
  std::atomic<bool> watching{false};
  platform::Mutex lock;
  std::thread thread GUARDED_BY(lock);
};
