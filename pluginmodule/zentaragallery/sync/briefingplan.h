#pragma once

#include <cstdint>
#include <string>

#include "common/platform/mutex.h"

// When the next comparison with the whole cloud is due, of which type it is, and
// whether one runs. Safe from any thread.
class BriefingPlan {
 public:
  // Once a start: the period that the service wants, and this start's share of the
  // time by which devices are kept from asking all at once.
  void Set(std::int32_t periodDays, std::int64_t randomMs);
  bool IsDue(std::int64_t lastMs, std::int64_t nowMs) const;

  // The argument of the coming comparison.
  void SetType(int type);
  int Type() const;

  // False when one runs.
  bool Begin();
  void End();

 private:
  mutable platform::Mutex lock;  // a leaf
  std::int32_t briefingPeriodDays GUARDED_BY(lock) = 0;
  std::int64_t briefingRandomMs GUARDED_BY(lock) = 0;
  int briefingType GUARDED_BY(lock) = 0;
  bool briefingBusy GUARDED_BY(lock) = false;
};
