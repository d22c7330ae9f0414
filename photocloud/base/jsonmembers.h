#pragma once

#include <cstddef>
#include <string_view>

namespace photocloud {

// Members of stored JSON as they stand, without taking the text apart into values.
//
// For texts that WriteJson made: sound, and without blanks.

// The place behind the string that opens at `at`.
std::size_t BehindString(std::string_view text, std::size_t at);

// The place behind the value that begins at `at`.
std::size_t BehindValue(std::string_view text, std::size_t at);

// The value of an object's member as it stands, or an empty text.
std::string_view MemberOf(std::string_view object, std::string_view name);

// Calls `take(key, value)` for each member until it returns false.
template <typename Take>
void ForEachMember(std::string_view object, const Take& take) {
  std::size_t at = 1;
  while (at < object.size() && object[at] == '"') {
    const auto behindKey = BehindString(object, at);
    const auto behind = BehindValue(object, behindKey + 1);
    if (behindKey + 1 >= object.size()) return;
    if (!take(object.substr(at + 1, behindKey - at - 2),
              object.substr(behindKey + 1, behind - behindKey - 1)))
      return;
    at = behind + 1;
  }
}

}  // namespace photocloud
