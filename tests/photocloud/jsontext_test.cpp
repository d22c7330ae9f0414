#include "photocloud/api/jsontext.h"

#include "testcloud.h"

namespace photocloud::testing {
namespace {

TEST(JsonText, MemberIsSetInItsPlace) {
  EXPECT_EQ(WithMember(R"({"a":1,"b":{"c":[1,2]},"d":"x"})", "b", "false"), R"({"a":1,"b":false,"d":"x"})");
  EXPECT_EQ(WithMember(R"({"a":1,"d":"x"})", "b", R"({"c":"}"})"), R"({"a":1,"b":{"c":"}"},"d":"x"})");
  EXPECT_EQ(WithMember(R"({"a":1})", "z", "2"), R"({"a":1,"z":2})");
  EXPECT_EQ(WithMember(R"({"b":1})", "a", "2"), R"({"a":2,"b":1})");
  EXPECT_EQ(WithMember("{}", "a", "null"), R"({"a":null})");
}

TEST(JsonText, MemberIsTakenAway) {
  EXPECT_EQ(WithMember(R"({"a":1,"b":"\",\"c\":2","c":3})", "b", ""), R"({"a":1,"c":3})");
  EXPECT_EQ(WithMember(R"({"a":1})", "a", ""), "{}");
  EXPECT_EQ(WithMember(R"({"a":1})", "b", ""), R"({"a":1})");
  EXPECT_EQ(WithMember("{}", "b", ""), "{}");
}

// Texts from before could stand in any order.
TEST(JsonText, MemberOfAnUnorderedTextIsNotDoubled) {
  EXPECT_EQ(WithMember(R"({"z":1,"a":2})", "a", "3"), R"({"z":1,"a":3})");
}

TEST(JsonText, ValuesAreWrittenAsJson) {
  std::string text;
  for (const Json::Value& value : Json(R"([true,-5,1.5,"a\"b\u00e9\n",null,{"k":[]}])")) {
    AppendValue(text, value);
    text += ' ';
  }
  EXPECT_EQ(text, "true -5 1.5 \"a\\\"b\u00e9\\n\" null {\"k\":[]} ");
}

// At each place of a word of eight letters, and behind the last whole one.
TEST(JsonText, LettersThatNeedEscapesAreFoundAtEachPlace) {
  const std::pair<char, const char*> escapes[] = {
      {'"', "\\\""}, {'\\', "\\\\"}, {'\x01', "\\u0001"}, {'\x1f', "\\u001f"}, {'\n', "\\n"}};
  for (std::size_t size = 1; size < 20; ++size) {
    for (std::size_t at = 0; at < size; ++at) {
      for (const auto& [letter, escape] : escapes) {
        std::string text(size, 'a');
        text[at] = letter;
        std::string out;
        AppendText(out, text);
        EXPECT_EQ(out, '"' + std::string(at, 'a') + escape + std::string(size - at - 1, 'a') + '"');
      }
    }
    std::string plain;
    for (std::size_t i = 0; i < size; ++i) plain += "~ !#[]\x80\xff"[i % 8];
    std::string out;
    AppendText(out, plain);
    EXPECT_EQ(out, '"' + plain + '"');
  }
}

}  // namespace
}  // namespace photocloud::testing
