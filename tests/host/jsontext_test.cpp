#include "host/base/jsontext.h"

#include <gtest/gtest.h>

namespace {

using JsonText::Parse;
using JsonText::Text;

TEST(JsonTextTest, NumbersOfAnySizeReadAsText) {
  const auto json = Parse(
      R"({"max":18446744073709551615,"min":-9223372036854775808,"beyond":18446744073709551616,"half":1.5})");
  ASSERT_TRUE(json);
  EXPECT_EQ(Text(*json, "max"), "18446744073709551615");
  EXPECT_EQ(Text(*json, "min"), "-9223372036854775808");
  EXPECT_EQ(Text(*json, "beyond"), "");
  EXPECT_EQ(Text(*json, "half"), "");
}

}  // namespace
