#include "photocloud/base/text.h"

#include "photocloud/base/digest.h"
#include "photocloud/base/timetext.h"
#include "photocloud/net/message.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

TEST(Text, NumbersAreWholeAndUnsigned) {
  EXPECT_EQ(ParseNumber("0"), 0);
  EXPECT_EQ(ParseNumber("9223372036854775807"), INT64_MAX);
  for (const char* text : {"", "-1", "+1", " 1", "1 ", "1x", "9223372036854775808"})
    EXPECT_FALSE(ParseNumber(text)) << text;
}

TEST(Text, PercentSequencesDecode) {
  EXPECT_EQ(PercentDecode("a%20b+c%C3%a4", true), "a b c\xC3\xA4");
  EXPECT_EQ(PercentDecode("a+b", false), "a+b");
  for (const char* text : {"%", "%4", "%zz"}) EXPECT_FALSE(PercentDecode(text, true)) << text;
}

TEST(Text, PlainTextIsUtf8WithoutControls) {
  EXPECT_TRUE(IsPlainText("Größe 图 🙂"));
  for (const std::string& text : {std::string("\xFF"), std::string("\xC3"), std::string("a\nb"),
                                  std::string(1, '\0'), std::string("\xC0\x80"), std::string("\x7F")}) {
    EXPECT_FALSE(IsPlainText(text));
  }
}

TEST(Text, RandomIdsDiffer) { EXPECT_NE(RandomId(), RandomId()); }

TEST(TimeText, FormsThatAreTaken) {
  EXPECT_EQ(ParseTime("1970-01-01T00:00:00"), 0);
  EXPECT_EQ(ParseTime("2024-02-29T12:00:01Z"), 1709208001000);
  EXPECT_EQ(ParseTime("2024-02-29T12:00:01.5"), 1709208001500);
  EXPECT_EQ(ParseTime("2024-02-29T12:00:01.123456Z"), 1709208001123);
  EXPECT_EQ(ParseTime("1969-12-31T23:59:59.999Z"), -1);
}

TEST(TimeText, FormsThatAreRefused) {
  for (const char* text : {"", "2024", "2023-02-29T12:00:00", "2024-02-01 12:00:00", "2024-02-01T24:00:00",
                           "2024-02-01T12:60:00", "2024-02-01T12:00:00.", "2024-02-01T12:00:00.x",
                           "2024-02-01T12:00:00+01:00", "2024-13-01T12:00:00"}) {
    EXPECT_FALSE(ParseTime(text)) << text;
  }
}

TEST(TimeText, FormattedTimesParseBack) {
  for (const std::int64_t time : {std::int64_t{0}, std::int64_t{1709208001123}, std::int64_t{-86400001}}) {
    EXPECT_EQ(ParseTime(FormatTime(time)), time) << FormatTime(time);
  }
  EXPECT_EQ(FormatTime(1709208001123), "2024-02-29T12:00:01.123Z");
}

TEST(Digest, PublishedVectors) {
  EXPECT_EQ(Sha256Hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(Md5Hex("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(HmacSha256Hex("Jefe", "what do ya want for nothing?"),
            "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
}

TEST(Message, TargetFallsIntoPathAndQuery) {
  Request request;
  ASSERT_TRUE(request.SetTarget("/a/b?x=1&y=albumType%3D0&z=albumType=0&&empty"));
  EXPECT_EQ(request.path, "/a/b");
  EXPECT_EQ(request.Query("x"), "1");
  EXPECT_EQ(request.Query("y"), "albumType=0");
  EXPECT_EQ(request.Query("z"), "albumType=0");
  EXPECT_EQ(request.Query("empty"), "");
  EXPECT_EQ(request.Query("absent"), "");
  ASSERT_TRUE(request.SetTarget("/changes?&kinds=Media"));
  EXPECT_EQ(request.Query("kinds"), "Media");
  EXPECT_FALSE(request.SetTarget(""));
  EXPECT_FALSE(request.SetTarget("a"));
  EXPECT_FALSE(request.SetTarget("/a?x=%"));
}

}  // namespace
}  // namespace photocloud::testing
