#include "sync/briefingplan.h"

#include <utility>

namespace {

constexpr std::int64_t kDayMs = 86'400'000;
constexpr std::int64_t kDefaultBriefingDays = 30;

}  // namespace

void BriefingPlan::Set(std::int32_t periodDays, std::int64_t randomMs) {
  platform::MutexLock hold(lock);
  briefingPeriodDays = periodDays;
  briefingRandomMs = randomMs;
}

bool BriefingPlan::IsDue(std::int64_t lastMs, std::int64_t nowMs) const {
  platform::MutexLock hold(lock);
  const std::int64_t days = briefingPeriodDays > 0 ? briefingPeriodDays : kDefaultBriefingDays;
  return nowMs > lastMs + days * kDayMs + briefingRandomMs;
}

void BriefingPlan::SetType(int type) {
  platform::MutexLock hold(lock);
  briefingType = type;
}

int BriefingPlan::Type() const {
  platform::MutexLock hold(lock);
  return briefingType;
}

bool BriefingPlan::Begin() {
  platform::MutexLock hold(lock);
  return !std::exchange(briefingBusy, true);
}

void BriefingPlan::End() {
  platform::MutexLock hold(lock);
  briefingBusy = false;
}
