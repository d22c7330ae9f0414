#include "common/platform/text.h"

#include "common/platform/utf.h"

namespace platform {
namespace {

template <typename Character>
std::basic_string<Character> FoldAscii(std::basic_string_view<Character> text) {
  std::basic_string<Character> folded(text);
  for (Character& character : folded) {
    if (character >= Character{'A'} && character <= Character{'Z'}) character += Character{'a' - 'A'};
  }
  return folded;
}

}  // namespace

std::string WideToUtf8(std::wstring_view wide) {
  std::string utf8;
  utf8.reserve(wide.size() + wide.size() / 2);
  for (std::size_t at = 0; at < wide.size();) AppendUtf8(NextOfWide(wide, at), utf8);
  return utf8;
}

std::wstring Utf8ToWide(std::string_view utf8) {
  std::wstring wide;
  wide.reserve(utf8.size());
  for (std::size_t at = 0; at < utf8.size();) AppendWide(NextOfUtf8(utf8, at).character, wide);
  return wide;
}

bool IsUtf8(std::string_view bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    if (!NextOfUtf8(bytes, at).valid) return false;
  }
  return true;
}

std::string AsciiLower(std::string_view text) { return FoldAscii(text); }
std::wstring AsciiLower(std::wstring_view text) { return FoldAscii(text); }

}  // namespace platform
