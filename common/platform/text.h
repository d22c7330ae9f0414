#pragma once

#include <string>
#include <string_view>

// Text between UTF-8, which the database, JSON and the system's calls use, and
// wide text, which names and paths of the model use.
//
// A wide character is 32 bits on this system and 16 on others; no caller may
// depend on which. Conversion follows code page 65001: what is not valid in the
// source (a broken sequence, an unpaired surrogate) becomes U+FFFD, one for each
// maximal broken part, and nothing is ever dropped silently.
// All operations are pure and safe from any thread.
namespace platform {

std::string WideToUtf8(std::wstring_view wide);
std::wstring Utf8ToWide(std::string_view utf8);

bool IsUtf8(std::string_view bytes);

// Folds A to Z only; every other byte or character stays. File extensions and
// ids are compared this way, so that no locale changes the result.
std::string AsciiLower(std::string_view text);
std::wstring AsciiLower(std::wstring_view text);

}  // namespace platform
