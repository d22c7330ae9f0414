#include "cloud/isyncserviceoperation.h"

#include <chrono>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kFirstHalfHour{1800};
const Clock::time_point loadedAt = Clock::now();

}  // namespace

bool ISyncServiceOperation::IsInFirstHalfHour() const { return Clock::now() - loadedAt < kFirstHalfHour; }
