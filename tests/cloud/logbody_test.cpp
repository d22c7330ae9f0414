#include "cloud/logbody.h"

#include <gtest/gtest.h>

namespace {

TEST(LogBodyTest, MasksSecretsAndNamesAndKeepsTheRest) {
  EXPECT_EQ(
      LogBody(
          R"({"token": "abc","id":"1","fileName":"my \"beach\".jpg","size":5,"thumbnailDownloadLink":"u"})"),
      R"({"token": "***","id":"1","fileName":"***","size":5,"thumbnailDownloadLink":"***"})");
}

TEST(LogBodyTest, KeepsWhatIsNoJson) {
  EXPECT_EQ(LogBody("plain \"text"), "plain \"text");
  EXPECT_EQ(LogBody(""), "");
  EXPECT_EQ(LogBody("\"\\"), "\"\\");
}

TEST(LogBodyTest, CutsLongBodies) { EXPECT_EQ(LogBody(std::string(100'000, 'x')), std::string(4096, 'x')); }

}  // namespace
