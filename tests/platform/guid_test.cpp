#include "common/platform/guid.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

class FixedSource final : public platform::GuidSource {
 public:
  std::array<std::uint8_t, 16> Next() override {
    return {0x0A, 0x1B, 0x2C, 0x3D, 0x00, 0x01, 0x4F, 0xFF, 0x80, 0x01, 0xAB, 0xCD, 0xEF, 0x00, 0x10, 0x02};
  }
};

TEST(GuidTest, FormatIsExact) {
  FixedSource source;
  platform::GuidSource::Replace(&source);
  EXPECT_EQ(platform::NewGuid(), "0A1B2C3D-0001-4FFF-8001-ABCDEF001002");
  platform::GuidSource::Replace(nullptr);
}

TEST(GuidTest, SystemGuidsAreRandomOnesOfVersionFour) {
  const std::string guid = platform::NewGuid();
  EXPECT_EQ(guid.size(), 36U);
  EXPECT_THAT(guid,
              testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
}

TEST(GuidTest, GuidsDiffer) {
  std::set<std::string> seen;
  for (int i = 0; i < 10'000; ++i) seen.insert(platform::NewGuid());
  EXPECT_EQ(seen.size(), 10'000U);
}

}  // namespace
