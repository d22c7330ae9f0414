#include "sync/threadtimer.h"

#include <gtest/gtest.h>

#include <latch>

namespace {

TEST(ThreadTimerTest, RunsFirstAndWakes) {
  ThreadTimer timer;
  std::atomic<int> runs{0};
  std::latch first(1), second(1);
  timer.Start(
      3'600'000,
      [&] {
        if (++runs == 1) first.count_down();
        if (runs == 2) second.count_down();
      },
      false);
  first.wait();
  timer.Wake();
  second.wait();
  EXPECT_TRUE(timer.IsRunning());
  timer.Stop();
  EXPECT_FALSE(timer.IsRunning());
  timer.Stop();
}

TEST(ThreadTimerTest, WaitsFirstWhenToldAndStopsInTheWait) {
  ThreadTimer timer;
  std::atomic<int> runs{0};
  timer.Start(
      3'600'000, [&] { ++runs; }, true);
  timer.Start(
      1, [&] { ++runs; }, false);  // It runs already.
  timer.Stop();
  EXPECT_EQ(runs, 0);
}

TEST(ThreadTimerTest, BadDiskLeavesTheCallOut) {
  ThreadTimer timer;
  std::atomic<int> runs{0}, asked{0};
  timer.diskHealth = [&] { return ++asked, 4; };
  timer.Start(
      1, [&] { ++runs; }, false);
  while (asked < 3) std::this_thread::yield();
  timer.Stop();
  EXPECT_EQ(runs, 0);
}

TEST(ThreadTimerTest, StartsAgainAfterAStop) {
  ThreadTimer timer;
  for (int i = 0; i < 3; ++i) {
    std::latch ran(1);
    std::atomic<bool> once{false};
    timer.Start(
        3'600'000,
        [&] {
          if (!once.exchange(true)) ran.count_down();
        },
        false);
    ran.wait();
    timer.Stop();
  }
}

}  // namespace
