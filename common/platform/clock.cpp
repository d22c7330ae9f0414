#include "common/platform/clock.h"

#include <atomic>
#include <chrono>

namespace platform {
namespace {

constexpr std::int64_t kTicksPerMs = 10'000;
constexpr std::int64_t kTicksPerSecond = 10'000'000;

class SystemClock final : public Clock {
 public:
  std::int64_t Ticks() const override {
    using TickDuration = std::chrono::duration<std::int64_t, std::ratio<1, kTicksPerSecond>>;
    return std::chrono::duration_cast<TickDuration>(std::chrono::system_clock::now().time_since_epoch())
        .count();
  }
};

const SystemClock systemClock;
std::atomic<const Clock*> replacement{nullptr};

}  // namespace

const Clock& Clock::Get() {
  const Clock* replaced = replacement.load(std::memory_order_acquire);
  return replaced ? *replaced : systemClock;
}

void Clock::Replace(const Clock* clock) { replacement.store(clock, std::memory_order_release); }

// Integer division rounds towards zero, before 1970 too.
std::int64_t NowMs() { return Clock::Get().Ticks() / kTicksPerMs; }
std::int64_t NowSeconds() { return Clock::Get().Ticks() / kTicksPerSecond; }

}  // namespace platform
