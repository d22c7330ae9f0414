#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Times as the cloud writes them (RFC 3339): "2024-05-01T10:20:30.125Z".
namespace NS::CloudTime {

// Milliseconds since 1970. The fraction may be missing or have any number of
// digits, of which three count; a missing offset means UTC. Nothing for a text
// that is no time.
std::optional<std::int64_t> Parse(std::string_view text);

// UTC with three digits of a fraction; empty outside the years 0 to 9999.
std::string Format(std::int64_t ms);

}  // namespace NS::CloudTime
