#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "host/base/msgthreadability.h"

// Empties the bin of what has lain there for thirty days, once a day, for a process
// that stays open for longer and has no sync whose cycles would do it.
//
// It looks at the time of day each hour: a computer that slept for days must not wait
// another one. Open and Stop may be called from any thread.
class BinWatch : public CommonAbility::MsgThreadAbility {
 public:
  ~BinWatch() override { Stop(); }

  // Starts the thread, right behind a load of the gallery, which empties the bin too.
  void Open();

  // Between two looks at the clock; of the next start. For tests.
  static std::atomic<std::chrono::milliseconds> lookPeriod;

 protected:
  void ThreadStarted() override;
  void TimerExpired(int id) override;

 private:
  std::atomic<std::int64_t> emptied{0};  // when it was last, ms since 1970
};
