#include "utils/daycalendar.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <memory>

#include "common/platform/localtime.h"

namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

// More days than 20 years have; 64 KiB a thread. A power of two.
constexpr std::size_t kRememberedDays = 8192;

// Times outside of this range (the years 1 to 9999) are no dates of pictures;
// they are grouped by UTC days, since the system's calendar refuses some of them.
constexpr std::int64_t kEarliest = -62135596800;
constexpr std::int64_t kLatest = 253402300799;

constexpr std::int32_t kOffsetChanges = INT32_MAX;

std::int64_t FloorToDay(std::int64_t seconds) {
  const std::int64_t rest = seconds % kSecondsPerDay;
  return seconds - (rest < 0 ? rest + kSecondsPerDay : rest);
}

// The offset that holds from one day before the UTC day to one day after it,
// and so at every midnight that a moment of the day may belong to.
std::int32_t OffsetAround(std::int64_t utcDay) {
  const std::int64_t start = utcDay * kSecondsPerDay;
  const std::int64_t offset = platform::OffsetFromUtc(start);
  for (const std::int64_t days : {-1, 1, 2}) {
    if (platform::OffsetFromUtc(start + days * kSecondsPerDay) != offset) return kOffsetChanges;
  }
  return static_cast<std::int32_t>(offset);
}

class DayMemory {
 public:
  DayMemory() { tzset(); }

  std::int32_t Offset(std::int64_t utcDay) {
    Slot& slot = slots[static_cast<std::size_t>(utcDay) % kRememberedDays];
    if (!slot.used || slot.day != utcDay)
      slot = {static_cast<std::int32_t>(utcDay), true, OffsetAround(utcDay)};
    return slot.offset;
  }

 private:
  struct Slot {
    std::int32_t day : 31 = 0;
    bool used : 1 = false;
    std::int32_t offset = 0;
  };
  std::array<Slot, kRememberedDays> slots{};
};

// Near a change of the clocks the old and the new offset each give a candidate.
std::int64_t MidnightNearChange(std::int64_t seconds) {
  const std::int64_t localDay = FloorToDay(seconds + platform::OffsetFromUtc(seconds));
  const std::int64_t before = localDay - platform::OffsetFromUtc(seconds - 2 * kSecondsPerDay);
  const std::int64_t after = localDay - platform::OffsetFromUtc(seconds + 2 * kSecondsPerDay);
  const bool beforeIsMidnight = before + platform::OffsetFromUtc(before) == localDay;
  const bool afterIsMidnight = after + platform::OffsetFromUtc(after) == localDay;
  if (beforeIsMidnight && afterIsMidnight) return std::min(before, after);
  if (afterIsMidnight) return after;
  // Also when neither is: by the old offset midnight is the moment of the change.
  return before;
}

}  // namespace

std::int64_t LocalMidnight(std::int64_t seconds) {
  if (seconds < kEarliest || seconds > kLatest) return FloorToDay(seconds);
  thread_local const std::unique_ptr<DayMemory> memory = std::make_unique<DayMemory>();
  const std::int32_t offset = memory->Offset(FloorToDay(seconds) / kSecondsPerDay);
  if (offset == kOffsetChanges) return MidnightNearChange(seconds);
  return FloorToDay(seconds + offset) - offset;
}

int LocalYear(std::int64_t seconds) {
  const bool hasRules = seconds >= kEarliest && seconds <= kLatest;
  const std::int64_t days =
      FloorToDay(seconds + (hasRules ? platform::OffsetFromUtc(seconds) : 0)) / kSecondsPerDay;
  const std::chrono::sys_days date{std::chrono::days{days}};
  return static_cast<int>(std::chrono::year_month_day{date}.year());
}

std::int64_t LocalOffset(std::int64_t seconds) { return platform::OffsetFromUtc(seconds); }
