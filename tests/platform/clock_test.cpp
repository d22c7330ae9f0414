#include "common/platform/clock.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

class FixedClock final : public platform::Clock {
 public:
  explicit FixedClock(std::int64_t ticks) : now(ticks) { Replace(this); }
  ~FixedClock() override { Replace(nullptr); }
  std::int64_t Ticks() const override { return now; }

 private:
  std::int64_t now;
};

TEST(ClockTest, MillisecondsAreRoundedTowardsZeroOnBothSidesOf1970) {
  const std::pair<std::int64_t, std::int64_t> kCases[] = {{0, 0},
                                                          {9'999, 0},
                                                          {10'000, 1},
                                                          {-9'999, 0},
                                                          {-10'000, -1},
                                                          {-19'999, -1},
                                                          {17'000'000'000'009'999, 1'700'000'000'000}};
  for (const auto& [ticks, ms] : kCases) {
    const FixedClock clock(ticks);
    EXPECT_EQ(platform::NowMs(), ms) << ticks;
  }
}

TEST(ClockTest, SecondsAreWhole) {
  const FixedClock clock(17'000'000'009'999'999);
  EXPECT_EQ(platform::NowSeconds(), 1'700'000'000);
}

TEST(ClockTest, SystemClockAgreesWithTheCLibrary) {
  const std::int64_t before = std::time(nullptr);
  const std::int64_t now = platform::NowSeconds();
  EXPECT_GE(now, before);
  EXPECT_LE(now, std::time(nullptr) + 1);
}

}  // namespace
