#pragma once

#include <atomic>
#include <cstdint>

namespace photocloud {

// The time of the service. Everything that expires asks this object, so that
// tests move time on in place of waiting. Safe to call from any thread.
class Clock {
 public:
  // Milliseconds since 1970, moved on by all calls of Advance.
  std::int64_t NowMs() const;
  void Advance(std::int64_t milliseconds) { offsetMs += milliseconds; }

 private:
  std::atomic<std::int64_t> offsetMs{0};
};

}  // namespace photocloud
