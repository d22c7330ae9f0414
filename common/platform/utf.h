#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Single steps of the conversions in text.h and paths.h, inlined because the
// model converts every name of every row while it loads.
namespace platform {

inline constexpr char32_t kReplacementCharacter = 0xFFFD;

inline constexpr bool IsSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDFFF; }

struct DecodedCharacter {
  char32_t character;
  bool valid;
};

namespace utf_detail {

// What a leading byte asks for. The range of the first continuation byte is
// narrower for some: this shuts out overlong forms, surrogates and values above
// U+10FFFF (Unicode, table 3-7).
struct Lead {
  unsigned char continuations;
  unsigned char low;
  unsigned char high;
};

constexpr Lead LeadOf(unsigned char byte) {
  if (byte >= 0xC2 && byte <= 0xDF) return {1, 0x80, 0xBF};
  if (byte == 0xE0) return {2, 0xA0, 0xBF};
  if (byte == 0xED) return {2, 0x80, 0x9F};
  if (byte >= 0xE1 && byte <= 0xEF) return {2, 0x80, 0xBF};
  if (byte == 0xF0) return {3, 0x90, 0xBF};
  if (byte >= 0xF1 && byte <= 0xF3) return {3, 0x80, 0xBF};
  if (byte == 0xF4) return {3, 0x80, 0x8F};
  return {0, 0, 0};
}

}  // namespace utf_detail

// Decodes the character at `at` and steps past it; past the longest beginning of
// a character when it is broken.
inline DecodedCharacter NextOfUtf8(std::string_view utf8, std::size_t& at) {
  const auto first = static_cast<unsigned char>(utf8[at++]);
  if (first < 0x80) return {first, true};
  const utf_detail::Lead lead = utf_detail::LeadOf(first);
  if (lead.continuations == 0) return {kReplacementCharacter, false};
  char32_t character = first & (0x3FU >> lead.continuations);
  unsigned char low = lead.low;
  unsigned char high = lead.high;
  for (unsigned char taken = 0; taken < lead.continuations; ++taken) {
    if (at == utf8.size()) return {kReplacementCharacter, false};
    const auto byte = static_cast<unsigned char>(utf8[at]);
    if (byte < low || byte > high) return {kReplacementCharacter, false};
    character = (character << 6) | (byte & 0x3FU);
    low = 0x80;
    high = 0xBF;
    ++at;
  }
  return {character, true};
}

// Decodes the character at `at` and steps past it. A pair of surrogates counts
// as one character with either width of wchar_t.
inline char32_t NextOfWide(std::wstring_view wide, std::size_t& at) {
  const auto first = static_cast<char32_t>(wide[at++]);
  if (!IsSurrogate(first)) return first <= 0x10FFFF ? first : kReplacementCharacter;
  if (first >= 0xDC00 || at == wide.size()) return kReplacementCharacter;
  const auto second = static_cast<char32_t>(wide[at]);
  if (second < 0xDC00 || second > 0xDFFF) return kReplacementCharacter;
  ++at;
  return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
}

inline void AppendUtf8(char32_t c, std::string& utf8) {
  if (c < 0x80) {
    utf8.push_back(static_cast<char>(c));
    return;
  }
  const int continuations = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
  constexpr unsigned char kLeadMarks[] = {0x00, 0xC0, 0xE0, 0xF0};
  utf8.push_back(static_cast<char>(kLeadMarks[continuations] | (c >> (6 * continuations))));
  for (int left = continuations - 1; left >= 0; --left) {
    utf8.push_back(static_cast<char>(0x80 | ((c >> (6 * left)) & 0x3F)));
  }
}

inline void AppendWide(char32_t c, std::wstring& wide) {
  if constexpr (sizeof(wchar_t) == 2) {
    if (c >= 0x10000) {
      wide.push_back(static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10)));
      wide.push_back(static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
      return;
    }
  }
  wide.push_back(static_cast<wchar_t>(c));
}

}  // namespace platform
