#pragma once

#include <cstdint>
#include <string>

// What keeps requests to the photo cloud from being done, as far as one reason
// holds for all of them. The reason's words stand in the resources under its
// name: command line and windows say the same. Safe from any thread.
namespace CloudTrouble {

// Ids of words.
inline constexpr char kUnreachable[] = "IDS_CLOUD_UNREACHABLE";
inline constexpr char kNotTrusted[] = "IDS_CLOUD_NOT_TRUSTED";
inline constexpr char kSessionEnded[] = "IDS_CLOUD_SESSION_ENDED";
inline constexpr char kBusy[] = "IDS_CLOUD_BUSY";
inline constexpr char kFailed[] = "IDS_CLOUD_FAILED";

// Told of each request that ended, by whoever sends it.
void Note(int curlCode, long httpCode);
// How often there was any; with Since it tells what happened in a span of time.
std::int64_t Count();
// The last one behind a count; empty when there was none.
std::string Since(std::int64_t count);

}  // namespace CloudTrouble
