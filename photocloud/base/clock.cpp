#include "photocloud/base/clock.h"

#include <chrono>

namespace photocloud {

std::int64_t Clock::NowMs() const {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count() + offsetMs;
}

}  // namespace photocloud
