#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <random>

#include "utils/methodfunction.h"

namespace {

// The zone is remembered by thread, so each zone gets a thread of its own.
void InZone(const char* zone, const std::function<void()>& run) {
  const char* before = std::getenv("TZ");
  const std::string kept = before ? before : "";
  setenv("TZ", zone, 1);
  tzset();
  std::thread(run).join();
  before ? setenv("TZ", kept.c_str(), 1) : unsetenv("TZ");
  tzset();
}

std::int64_t DayKey(std::int64_t seconds) { return MethodFunction::GetDayKey(seconds * 1000); }

std::string LocalDate(std::int64_t seconds) {
  const auto moment = static_cast<std::time_t>(seconds);
  std::tm local{};
  char text[32];
  return {text, std::strftime(text, sizeof text, "%F", localtime_r(&moment, &local))};
}

// Processor time of this thread alone, which a busy machine does not stretch.
std::chrono::nanoseconds ThreadTime() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

// Expected values of this file come from `TZ=... date -d ... +%s` and zdump.
TEST(DayKey, IsLocalMidnight) {
  InZone("Asia/Shanghai", [] {
    EXPECT_EQ(DayKey(1718158500), 1718121600);
    EXPECT_EQ(DayKey(1718121600), 1718121600);
    EXPECT_EQ(DayKey(1718121599), 1718121600 - 86400);
    EXPECT_EQ(DayKey(-164700), -201600);  // 1969
    EXPECT_EQ(MethodFunction::GetDayKey(1718121600999), 1718121600);
  });
}

TEST(DayKey, HoldsOverChangesOfTheClocks) {
  InZone("Europe/Berlin", [] {
    EXPECT_EQ(DayKey(1269781200), 1269730800);  // 28 March 2010, 15:00, a day of 23 hours
    EXPECT_EQ(DayKey(1288565999), 1288476000);  // 31 October 2010, 23:59:59, a day of 25 hours
    EXPECT_EQ(DayKey(1288566000), 1288566000);
  });
}

TEST(DayKey, DayWithoutMidnightBeginsAtItsFirstMoment) {
  InZone("America/Havana", [] {
    EXPECT_EQ(DayKey(1236528000), 1236488400);  // 8 March 2009 begins at 01:00
    EXPECT_EQ(DayKey(1236488400), 1236488400);
    EXPECT_EQ(DayKey(1236488399), 1236402000);
  });
}

TEST(DayKey, DayWithTwoMidnightsHasOneKey) {
  InZone("America/Havana", [] {
    EXPECT_EQ(DayKey(1256443200), 1256443200);         // 25 October 2009, 00:00 for the first time
    EXPECT_EQ(DayKey(1256443200 + 3600), 1256443200);  // and for the second time
    EXPECT_EQ(DayKey(1256443200 + 86400), 1256443200);
  });
}

// Days and keys stand in a one-to-one relation, whatever the zone's rules are.
TEST(DayKey, EachDateHasItsOwnKey) {
  for (const char* zone : {"America/St_Johns", "America/Sao_Paulo", "Asia/Beirut", "Pacific/Apia", "UTC"}) {
    InZone(zone, [zone] {
      std::map<std::int64_t, std::string> dates;
      std::set<std::string> seen;
      for (std::int64_t seconds = 1230768000; seconds < 1356998400; seconds += 1799) {
        const auto [entry, fresh] = dates.emplace(DayKey(seconds), LocalDate(seconds));
        ASSERT_EQ(entry->second, LocalDate(seconds)) << zone << " " << seconds;
        ASSERT_EQ(seen.insert(entry->second).second, fresh) << zone << " " << seconds;
        ASSERT_EQ(LocalDate(entry->first), entry->second) << zone << " " << seconds;
      }
    });
  }
}

// The calendar's own calls take some 400 ns each; a look-up must stay far below.
TEST(DayKey, MillionTimesInAnyOrderAreFast) {
  InZone("Europe/Berlin", [] {
    std::mt19937_64 random(7);
    std::uniform_int_distribution<std::int64_t> any(0, 20LL * 365 * 86'400'000);
    std::vector<std::int64_t> times(1'000'000);
    for (auto& time : times) time = any(random);
    std::int64_t sum = 0;
    const auto start = ThreadTime();
    for (const auto time : times) sum += MethodFunction::GetDayKey(time);
    const auto elapsed = ThreadTime() - start;
    EXPECT_NE(sum, 0);
    RecordProperty("milliseconds", static_cast<int>(elapsed / std::chrono::milliseconds(1)));
    EXPECT_LT(elapsed, std::chrono::milliseconds(300));
  });
}

TEST(DayKey, ExtremeTimesDoNotOverflow) {
  EXPECT_LE(MethodFunction::GetDayKey(INT64_MAX), INT64_MAX / 1000);
  EXPECT_LE(MethodFunction::GetDayKey(INT64_MIN), INT64_MIN / 1000);
}

TEST(TimeText, IsLocalTime) {
  InZone("Asia/Shanghai", [] { EXPECT_EQ(MethodFunction::TimeText(1718158500000), "2024-06-12T10:15:00"); });
}

}  // namespace
