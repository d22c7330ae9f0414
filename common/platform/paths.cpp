#include "common/platform/paths.h"

#include "common/platform/text.h"
#include "common/platform/utf.h"

namespace platform {
namespace {

constexpr char32_t kStandInBase = 0xF000;
constexpr char32_t kStandInLast = 0xF0FF;
constexpr char32_t kControlPictures = 0x2400;
constexpr char32_t kDelete = 0x7F;
constexpr char32_t kDeletePicture = 0x2421;

bool IsInStandInRange(char32_t c) { return c >= kStandInBase && c <= kStandInLast; }

// Whether `c` is a stand-in that WidePath makes. The rest of the range, such as
// U+F000 + "/" or + ".", comes from elsewhere and is no more than a character:
// turned into bytes, a name from outside could leave its folder.
bool IsStandIn(char32_t c) {
  return c == kStandInBase + '\\' || (c >= kStandInBase + 0x80 && c <= kStandInLast);
}

void AppendStandIns(std::string_view bytes, std::wstring& wide) {
  for (const char byte : bytes) AppendWide(kStandInBase + static_cast<unsigned char>(byte), wide);
}

void AppendNative(char32_t c, std::string& native) {
  if (c == '\\') {
    native.push_back('/');
  } else if (c == 0) {
    AppendUtf8(kReplacementCharacter, native);  // A zero would cut the path off in the system's calls.
  } else if (IsStandIn(c)) {
    native.push_back(static_cast<char>(c - kStandInBase));
  } else {
    AppendUtf8(c, native);
  }
}

char32_t Visible(char32_t c) {
  if (c < 0x20) return kControlPictures + c;
  return c == kDelete ? kDeletePicture : c;
}

// Undoes the stand-ins and keeps everything else, separators included.
std::string WithoutStandIns(std::wstring_view wide) {
  std::string bytes;
  for (std::size_t at = 0; at < wide.size();) {
    const char32_t c = NextOfWide(wide, at);
    if (IsStandIn(c)) {
      bytes.push_back(static_cast<char>(c - kStandInBase));
    } else {
      AppendUtf8(c, bytes);
    }
  }
  return bytes;
}

}  // namespace

std::filesystem::path NativePath(std::wstring_view wide) {
  std::string native;
  native.reserve(wide.size());
  for (std::size_t at = 0; at < wide.size();) AppendNative(NextOfWide(wide, at), native);
  return native;
}

std::wstring WidePath(const std::filesystem::path& native) {
  const std::string bytes = native.string();
  std::wstring wide;
  wide.reserve(bytes.size());
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t start = at;
    const DecodedCharacter decoded = NextOfUtf8(bytes, at);
    const bool keep = decoded.valid && decoded.character != '\\' && !IsInStandInRange(decoded.character);
    if (keep) {
      AppendWide(decoded.character, wide);
    } else {
      AppendStandIns(std::string_view(bytes).substr(start, at - start), wide);
    }
  }
  return wide;
}

std::wstring WideFileName(std::wstring_view wide) {
  return std::wstring(wide.substr(wide.find_last_of(L"\\/") + 1));
}

std::wstring WideExtension(std::wstring_view wide) {
  const std::wstring name = WideFileName(wide);
  const std::size_t dot = name.rfind(L'.');
  return dot == std::wstring::npos ? std::wstring() : AsciiLower(std::wstring_view(name).substr(dot));
}

std::string ExactText(std::wstring_view wide) { return WithoutStandIns(wide); }

std::string DisplayText(std::wstring_view wide) {
  const std::string bytes = WithoutStandIns(wide);
  std::string text;
  text.reserve(bytes.size());
  for (std::size_t at = 0; at < bytes.size();) AppendUtf8(Visible(NextOfUtf8(bytes, at).character), text);
  return text;
}

}  // namespace platform
