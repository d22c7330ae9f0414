#include "photocloud/base/text.h"

#include <sodium.h>

#include <algorithm>
#include <cctype>
#include <charconv>

namespace photocloud {
namespace {

int HexValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

// True when the two first bytes open neither an overlong form nor a surrogate
// nor a number beyond Unicode's last one.
bool IsGoodStart(unsigned char lead, unsigned char next) {
  if (lead == 0xE0) return next >= 0xA0;
  if (lead == 0xED) return next < 0xA0;
  if (lead == 0xF0) return next >= 0x90;
  if (lead == 0xF4) return next < 0x90;
  return true;
}

// Length of the UTF-8 sequence that a byte opens, 0 when it opens none.
std::size_t SequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead < 0xE0) return 2;
  if (lead >= 0xE0 && lead < 0xF0) return 3;
  if (lead >= 0xF0 && lead < 0xF5) return 4;
  return 0;
}

}  // namespace

std::string ToHex(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const char byte : bytes) {
    text += kDigits[(static_cast<unsigned char>(byte) >> 4) & 15];
    text += kDigits[static_cast<unsigned char>(byte) & 15];
  }
  return text;
}

std::string ToBase64Url(std::string_view bytes) {
  constexpr int kVariant = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
  std::string text(sodium_base64_encoded_len(bytes.size(), kVariant), '\0');
  sodium_bin2base64(text.data(), text.size(), reinterpret_cast<const unsigned char*>(bytes.data()),
                    bytes.size(), kVariant);
  text.pop_back();  // The terminating zero.
  return text;
}

bool IsHex(std::string_view text, std::size_t digits) {
  if (text.size() != digits) return false;
  for (const char digit : text) {
    if (HexValue(digit) < 0) return false;
  }
  return true;
}

std::string RandomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  randombytes_buf(bytes.data(), bytes.size());
  return bytes;
}

std::string RandomId() { return ToHex(RandomBytes(16)); }

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  while (true) {
    const auto end = text.find(separator);
    parts.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

std::string ToLower(std::string_view text) {
  std::string lower(text);
  for (char& letter : lower) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  return lower;
}

std::optional<std::int64_t> ParseNumber(std::string_view text) {
  if (text.empty() || text.front() < '0' || text.front() > '9') return std::nullopt;
  std::int64_t value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<std::string> PercentDecode(std::string_view text, bool plusIsBlank) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '+' && plusIsBlank) {
      decoded += ' ';
    } else if (text[i] != '%') {
      decoded += text[i];
    } else {
      if (i + 2 >= text.size()) return std::nullopt;
      const int high = HexValue(text[i + 1]);
      const int low = HexValue(text[i + 2]);
      if (high < 0 || low < 0) return std::nullopt;
      decoded += static_cast<char>(high * 16 + low);
      i += 2;
    }
  }
  return decoded;
}

bool EqualSecrets(std::string_view left, std::string_view right) {
  return left.size() == right.size() && sodium_memcmp(left.data(), right.data(), left.size()) == 0;
}

bool IsUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto length = SequenceLength(static_cast<unsigned char>(text[i]));
    if (length == 0 || i + length > text.size()) return false;
    for (std::size_t k = 1; k < length; ++k) {
      if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
    }
    if (length > 1 &&
        !IsGoodStart(static_cast<unsigned char>(text[i]), static_cast<unsigned char>(text[i + 1])))
      return false;
    i += length;
  }
  return true;
}

bool IsPlainText(std::string_view text) {
  const auto isControl = [](char letter) {
    const auto byte = static_cast<unsigned char>(letter);
    return byte < 0x20 || byte == 0x7F;
  };
  return std::none_of(text.begin(), text.end(), isControl) && IsUtf8(text);
}

}  // namespace photocloud
