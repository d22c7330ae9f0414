#include "host/transfer/speedlimit.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kPiece = 64 << 10;

// A bucket whose time passes only while somebody waits.
class SpeedLimitTest : public testing::Test {
 protected:
  SpeedLimitTest() {
    limit.SetClock([this] { return SpeedLimit::Time(std::chrono::nanoseconds(time)); },
                   [this](std::chrono::nanoseconds of) { time += of.count(); });
  }
  double Seconds() const { return static_cast<double>(time) / 1e9; }
  static bool Always() { return true; }

  std::atomic<std::int64_t> time{0};
  std::atomic<std::int64_t> rate{0};
  SpeedLimit limit{[this] { return rate.load(); }};
};

TEST_F(SpeedLimitTest, WithoutALimitNobodyWaits) {
  for (int i = 0; i < 10'000; ++i) ASSERT_TRUE(limit.Take(kPiece, Always));
  EXPECT_EQ(Seconds(), 0);
  EXPECT_EQ(limit.Taken(), 10'000 * kPiece);
}

TEST_F(SpeedLimitTest, EachSecondHasAsManyBytesAsTheLimitSays) {
  rate = 1'000'000;
  std::size_t moved = 0;
  while (Seconds() < 60) {
    ASSERT_TRUE(limit.Take(kPiece, Always));
    moved += kPiece;
    // At no time more than what the rate has given, and the piece that is taken ahead.
    ASSERT_LE(static_cast<double>(moved), Seconds() * 1e6 + kPiece + 1) << Seconds();
  }
  EXPECT_GE(moved, 60'000'000u);
  EXPECT_EQ(limit.Taken(), moved);
}

TEST_F(SpeedLimitTest, PauseSavesUpAQuarterOfASecondAndNoMore) {
  rate = 1'000'000;
  ASSERT_TRUE(limit.Take(1, Always));
  time += std::chrono::nanoseconds(1h).count();
  const double before = Seconds();
  std::size_t atOnce = 0;
  while (Seconds() == before) {
    ASSERT_TRUE(limit.Take(1000, Always));
    atOnce += 1000;
  }
  EXPECT_GE(atOnce, 250'000u);
  EXPECT_LE(atOnce, 253'000u);
}

TEST_F(SpeedLimitTest, StopEndsTheWait) {
  rate = 1;
  ASSERT_TRUE(limit.Take(kPiece, Always));  // From here on a day is owed.
  int asked = 0;
  EXPECT_FALSE(limit.Take(kPiece, [&asked] { return ++asked < 5; }));
  EXPECT_LE(Seconds(), 0.5);
  EXPECT_EQ(limit.Taken(), kPiece);
}

TEST_F(SpeedLimitTest, LimitThatIsLiftedLetsThoseGoWhoWait) {
  rate = 1;
  ASSERT_TRUE(limit.Take(kPiece, Always));
  EXPECT_TRUE(limit.Take(kPiece, [this] {
    rate = 0;
    return true;
  }));
  EXPECT_LE(Seconds(), 0.1);
}

TEST_F(SpeedLimitTest, ManyTakeFromOneBucket) {
  rate = 1'000'000;
  std::vector<std::thread> transfers;
  for (int i = 0; i < 8; ++i)
    transfers.emplace_back([this] {
      for (int piece = 0; piece < 50; ++piece) EXPECT_TRUE(limit.Take(kPiece, Always));
    });
  for (auto& transfer : transfers) transfer.join();
  EXPECT_EQ(limit.Taken(), 8 * 50 * kPiece);
  EXPECT_GE(Seconds(), (8 * 50 - 1) * static_cast<double>(kPiece) / 1e6);
}

}  // namespace
