#include "host/requests/ns/cloudtime.h"

#include <gtest/gtest.h>

namespace {

using NS::CloudTime::Format;
using NS::CloudTime::Parse;

// Expected values by "date -u -d TEXT +%s".
TEST(CloudTimeTest, ReadsWhatTheServiceWrites) {
  EXPECT_EQ(Parse("2024-05-01T10:20:30Z"), 1'714'558'830'000);
  EXPECT_EQ(Parse("2024-05-01T10:20:30"), 1'714'558'830'000);
  EXPECT_EQ(Parse("2024-05-01T10:20:30.125Z"), 1'714'558'830'125);
  EXPECT_EQ(Parse("2024-05-01T10:20:30.5Z"), 1'714'558'830'500);
  EXPECT_EQ(Parse("2024-05-01T10:20:30.123456789Z"), 1'714'558'830'123);
  EXPECT_EQ(Parse("2024-05-01T12:20:30+02:00"), 1'714'558'830'000);
  EXPECT_EQ(Parse("2024-04-30T23:50:30-10:30"), 1'714'558'830'000);
  EXPECT_EQ(Parse("1969-12-31T23:59:59.999Z"), -1);
  EXPECT_EQ(Parse("2024-02-29T00:00:00Z"), 1'709'164'800'000);
}

TEST(CloudTimeTest, RefusesWhatIsNoTime) {
  for (const char* text : {"", "Z", "2024-05-01", "2024-05-01T10:20", "2024-13-01T10:20:30Z",
                           "2023-02-29T00:00:00Z", "2024-05-01T24:00:00Z", "2024-05-01T10:60:00Z",
                           "2024-05-01T10:20:30.Z", "2024-05-01T10:20:30+2:00", "2024-05-01T10:20:30ZZ",
                           "2024-05-01T10:20:30+02:60", "202a-05-01T10:20:30Z", "2024-05-01T10:20:30 "}) {
    EXPECT_EQ(Parse(text), std::nullopt) << text;
  }
}

TEST(CloudTimeTest, WritesUtcWithMilliseconds) {
  EXPECT_EQ(Format(1'714'558'830'125), "2024-05-01T10:20:30.125Z");
  EXPECT_EQ(Format(0), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(Format(-1), "1969-12-31T23:59:59.999Z");
  EXPECT_EQ(Format(253'402'300'799'999), "9999-12-31T23:59:59.999Z");
  EXPECT_EQ(Format(253'402'300'800'000), "");
}

TEST(CloudTimeTest, ComesBackAsItWasWritten) {
  for (std::int64_t ms = -1'000'000'007; ms < 4'000'000'000'000; ms += 86'399'999'993) {
    EXPECT_EQ(Parse(Format(ms)), ms);
  }
}

}  // namespace
