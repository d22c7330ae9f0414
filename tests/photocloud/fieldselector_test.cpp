#include "photocloud/api/fieldselector.h"

#include "testcloud.h"

namespace photocloud::testing {
namespace {

Json::Value Select(const std::string& selector, const std::string& value) {
  const auto parsed = FieldSelector::Parse(selector);
  EXPECT_TRUE(parsed) << selector;
  return parsed ? parsed->Apply(Json(value)) : Json::Value();
}

TEST(FieldSelector, EmptySelectsEverything) {
  EXPECT_EQ(Select("", R"({"a":1,"b":{"c":2}})"), Json(R"({"a":1,"b":{"c":2}})"));
  EXPECT_EQ(Select("  ", R"({"a":1})"), Json(R"({"a":1})"));
}

TEST(FieldSelector, NestedNamesReachIntoObjectsAndLists) {
  EXPECT_EQ(Select("n,m(id,p(x))", R"({"n":"c","o":1,"m":[{"id":1,"q":2,"p":{"x":3,"y":4}},{"id":5}]})"),
            Json(R"({"n":"c","m":[{"id":1,"p":{"x":3}},{"id":5}]})"));
}

TEST(FieldSelector, NameWithoutParenthesesTakesTheWholeMember) {
  EXPECT_EQ(Select("p", R"({"p":{"x":3,"y":4},"q":1})"), Json(R"({"p":{"x":3,"y":4}})"));
}

TEST(FieldSelector, UnknownNamesGiveNothing) {
  EXPECT_EQ(Select("z(y),a", R"({"a":1})"), Json(R"({"a":1})"));
}

TEST(FieldSelector, BlanksAroundNamesDoNotCount) {
  EXPECT_EQ(Select("mediaOwnerId, fileName , p ( x )", R"({"fileName":"a","p":{"x":1,"y":2}})"),
            Json(R"({"fileName":"a","p":{"x":1}})"));
}

TEST(FieldSelector, BrokenSelectorsAreRefused) {
  for (const char* text : {"a(", "a)", "a(b", "a,,b", "a,", "(a)", "a()", "a(b))", "a b", ","}) {
    EXPECT_FALSE(FieldSelector::Parse(text)) << text;
  }
  std::string deep;
  for (int i = 0; i < 1000; ++i) deep += "a(";
  EXPECT_FALSE(FieldSelector::Parse(deep));
}

// Members are found in stored text, which has such characters escaped, and in parsed JSON,
// which has not.
TEST(FieldSelector, NamesThatJsonWouldEscapeAreRefused) {
  for (const char* text : {"\"p", "a,b\\", "a\x01", "p(\"x)"})
    EXPECT_FALSE(FieldSelector::Parse(text)) << text;
}

TEST(FieldSelector, TellsWhatIsWanted) {
  const auto selector = FieldSelector::Parse("media(id,attachments)");
  ASSERT_TRUE(selector);
  EXPECT_TRUE(selector->Inside("media").Names("attachments"));
  EXPECT_FALSE(selector->Inside("media").Names("cipher"));
  EXPECT_TRUE(selector->Inside("other").IsEverything());
}

}  // namespace
}  // namespace photocloud::testing
