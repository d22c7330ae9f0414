#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace photocloud {

// Small text helpers. Pure functions, callable from any thread.

std::string ToHex(std::string_view bytes);
std::string ToBase64Url(std::string_view bytes);
bool IsHex(std::string_view text, std::size_t digits);

// `count` bytes of the system's random generator.
std::string RandomBytes(std::size_t count);
// A fresh name of 32 hexadecimal digits.
std::string RandomId();

std::vector<std::string> Split(std::string_view text, char separator);
std::string ToLower(std::string_view text);

// The number that the whole text is; nothing for an empty text, a sign, any
// other character, or a number beyond 63 bits.
std::optional<std::int64_t> ParseNumber(std::string_view text);

// Undoes %XX, and "+" when `plusIsBlank`. Nothing for a broken sequence.
std::optional<std::string> PercentDecode(std::string_view text, bool plusIsBlank);

// Compares in a time that does not tell where the texts differ.
bool EqualSecrets(std::string_view left, std::string_view right);

// True for well-formed UTF-8 without control characters.
bool IsPlainText(std::string_view text);

}  // namespace photocloud
