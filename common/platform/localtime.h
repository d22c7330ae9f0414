#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

// The calendar of the user's time zone. Safe from any thread.
namespace platform {

// Nothing for moments that the system's calendar refuses.
std::optional<std::tm> LocalTime(std::int64_t secondsSince1970);

// Seconds that local time is ahead of UTC at that moment; 0 when nobody knows.
std::int64_t OffsetFromUtc(std::int64_t secondsSince1970);

}  // namespace platform
