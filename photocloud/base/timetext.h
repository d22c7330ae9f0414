#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace photocloud {

// Times on the wire: "2024-05-01T10:20:30", with an optional fraction of a
// second and an optional "Z", always UTC.

// Milliseconds since 1970, or nothing for any other text.
std::optional<std::int64_t> ParseTime(std::string_view text);

// With three digits of a second's fraction and "Z".
std::string FormatTime(std::int64_t milliseconds);

}  // namespace photocloud
