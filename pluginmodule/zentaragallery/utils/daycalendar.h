#pragma once

#include <cstdint>

// Local midnight, in seconds since 1970, of the local day that holds `seconds`.
//
// Each thread remembers the offset from UTC of some 8,000 days, so that a million
// times cost a look-up each and not a walk through the zone's rules. The time
// zone is the one at the thread's first call.
// A day on which the clocks go forward at midnight has no midnight: its first
// moment counts. On a day that has two, the first one counts, so that a day has
// one key whatever the hour.
std::int64_t LocalMidnight(std::int64_t seconds);

// The year of the local day that holds `seconds`; by UTC outside the years 1 to
// 9999.
int LocalYear(std::int64_t seconds);

// Seconds by which local time is ahead of UTC at `seconds`.
std::int64_t LocalOffset(std::int64_t seconds);
