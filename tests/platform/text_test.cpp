#include "common/platform/text.h"

#include <gtest/gtest.h>

namespace {

using platform::AsciiLower;
using platform::Utf8ToWide;
using platform::WideToUtf8;

struct Pair {
  const char* utf8;
  const wchar_t* wide;
};

// Sequences from the table of RFC 3629 and the borders between lengths.
constexpr Pair kValidPairs[] = {
    {"", L""},
    {"plain", L"plain"},
    {"A\xE2\x89\xA2\xCE\x91.", L"A\u2262\u0391."},
    {"\xED\x95\x9C\xEA\xB5\xAD\xEC\x96\xB4", L"\uD55C\uAD6D\uC5B4"},
    {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", L"\u007F\u0080\u07FF\u0800\uFFFF"},
    {"\xF0\x90\x80\x80\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF", L"\U00010000\U0001F600\U0010FFFF"},
    {"\xED\x9F\xBF\xEE\x80\x80", L"\uD7FF\uE000"},
};

TEST(TextTest, ValidTextConvertsBothWays) {
  for (const Pair& pair : kValidPairs) {
    EXPECT_EQ(Utf8ToWide(pair.utf8), pair.wide);
    EXPECT_EQ(WideToUtf8(pair.wide), pair.utf8);
  }
}

TEST(TextTest, ZeroCharacterIsKept) {
  EXPECT_EQ(Utf8ToWide(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
  EXPECT_EQ(WideToUtf8(std::wstring_view(L"a\0b", 3)), std::string("a\0b", 3));
}

// Each expectation follows the practice of "substitution of maximal subparts"
// (Unicode, section 3.9, tables 3-8 to 3-11).
TEST(TextTest, BrokenUtf8GivesOneReplacementForEachMaximalPart) {
  const std::pair<std::string, std::wstring> kCases[] = {
      {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82"
       "A",
       L"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA"},
      {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF"
       "A",
       L"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA"},
      {"\xF4\x91\x92\x93\xFF"
       "A\x80\xBF"
       "B",
       L"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA\uFFFD\uFFFDB"},
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF"
       "A",
       L"\uFFFD\uFFFD\uFFFD\uFFFDA"},
      {"end\xF0\x9F\x98", L"end\uFFFD"},
  };
  for (const auto& [utf8, wide] : kCases) EXPECT_EQ(Utf8ToWide(utf8), wide);
}

TEST(TextTest, UnpairedSurrogatesBecomeReplacements) {
  const wchar_t high = static_cast<wchar_t>(0xD83D);
  const wchar_t low = static_cast<wchar_t>(0xDE00);
  EXPECT_EQ(WideToUtf8(std::wstring{high}), "\xEF\xBF\xBD");
  EXPECT_EQ(WideToUtf8(std::wstring{low, L'a'}),
            "\xEF\xBF\xBD"
            "a");
  EXPECT_EQ(WideToUtf8(std::wstring{high, L'a'}),
            "\xEF\xBF\xBD"
            "a");
  EXPECT_EQ(WideToUtf8(std::wstring{low, high}), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(TextTest, SurrogatePairIsOneCharacter) {
  EXPECT_EQ(WideToUtf8(std::wstring{static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)}),
            "\xF0\x9F\x98\x80");
}

TEST(TextTest, ValueAboveUnicodeBecomesReplacement) {
  EXPECT_EQ(WideToUtf8(std::wstring{static_cast<wchar_t>(0x110000)}), "\xEF\xBF\xBD");
}

TEST(TextTest, LowerFoldsAsciiOnly) {
  EXPECT_EQ(AsciiLower(std::string_view("AZaz@[\xC3\x84")), "azaz@[\xC3\x84");
  EXPECT_EQ(AsciiLower(std::wstring_view(L"IMG.JPG\u00C4\u0130")), L"img.jpg\u00C4\u0130");
}

}  // namespace
