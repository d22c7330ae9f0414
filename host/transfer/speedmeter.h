#pragma once

#include <chrono>
#include <cstdint>
#include <deque>

// The speed of one transfer over its last seconds, or since it was last asked
// for when that is longer ago. Not safe from several threads.
class SpeedMeter {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // A run begins at so many bytes.
  void Start(Time now, std::int64_t bytes);
  // Bytes a second; 0 right after the start. Fewer bytes than before are a new
  // start: the run has thrown some away.
  std::int64_t Measure(Time now, std::int64_t bytes);

 private:
  struct Sample {
    Time when;
    std::int64_t bytes;
  };
  std::deque<Sample> samples;  // never empty after Start
};
