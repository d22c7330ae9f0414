#include "common/platform/localtime.h"

namespace platform {

std::optional<std::tm> LocalTime(std::int64_t secondsSince1970) {
  const auto moment = static_cast<std::time_t>(secondsSince1970);
  std::tm local{};
  if (!localtime_r(&moment, &local)) return std::nullopt;
  return local;
}

std::int64_t OffsetFromUtc(std::int64_t secondsSince1970) {
  const auto local = LocalTime(secondsSince1970);
  return local ? local->tm_gmtoff : 0;
}

}  // namespace platform
