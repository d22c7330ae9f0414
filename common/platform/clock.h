#pragma once

#include <cstdint>

namespace platform {

// The time of day. Safe from any thread; a test may put its own in place.
class Clock {
 public:
  virtual ~Clock() = default;

  // 100-nanosecond units since 1970, negative before.
  virtual std::int64_t Ticks() const = 0;

  static const Clock& Get();
  // `clock` must outlive its use; null puts the system's clock back.
  static void Replace(const Clock* clock);
};

// Milliseconds since 1970: ticks divided by 10,000, rounded towards zero.
std::int64_t NowMs();
// Whole seconds since 1970.
std::int64_t NowSeconds();

}  // namespace platform
