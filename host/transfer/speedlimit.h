#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>

#include "common/platform/mutex.h"

// How many bytes a second all transfers of one direction move together: a bucket that
// fills at that rate, and that each piece is taken out of before it moves. What a pause
// saves up is a quarter of a second's worth, so that a burst stays short.
//
// Safe from any thread. Who takes waits on his own thread; a change of the rate counts at
// once, for those who wait too.
class SpeedLimit {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Rate = std::function<std::int64_t()>;  // bytes a second; 0 for no limit
  using Clock = std::function<Time()>;
  using Wait = std::function<void(std::chrono::nanoseconds)>;

  // A stop and a new rate are noticed after this time at the latest.
  static constexpr std::chrono::milliseconds kLongestWait{100};
  // Pieces that are asked for are no longer than this; a longer one holds the others up.
  static constexpr std::size_t kPieceBytes = 64 << 10;

  explicit SpeedLimit(Rate bytesASecond);
  SpeedLimit(const SpeedLimit&) = delete;
  SpeedLimit& operator=(const SpeedLimit&) = delete;

  // Those of all uploads and of all downloads, by the settings of the profile. What the
  // user looks at just now, thumbnails and films, is not a transfer and does not wait.
  static SpeedLimit& Uploads();
  static SpeedLimit& Downloads();

  // Waits until `bytes` may move. False when `goesOn` has said no meanwhile.
  [[nodiscard]] bool Take(std::size_t bytes, const std::function<bool()>& goesOn);
  // All that was taken since the start, with a limit or without.
  std::uint64_t Taken() const { return taken; }

  // For tests; by itself the steady clock and a sleep.
  void SetClock(Clock next, Wait nextWait);

 private:
  // How long to wait before the next look; zero: the bytes are taken.
  std::chrono::nanoseconds TryTake(std::size_t bytes);
  Wait Waiter();

  const Rate rate;
  std::atomic<std::uint64_t> taken{0};
  platform::Mutex lock;
  Clock now GUARDED_BY(lock);
  Wait wait GUARDED_BY(lock);
  double level GUARDED_BY(lock) = 0;  // below zero: what was taken ahead
  Time filledAt GUARDED_BY(lock);
};
