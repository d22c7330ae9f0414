#pragma once

#include <cstdint>

// Space of the account in bytes. `status` 0 says that the service has told it;
// with another status the sizes are 0 and mean nothing. A total with nothing free
// says that nothing more may be stored.
struct SpaceInfo {
  std::int32_t status = 0;
  std::int64_t total = 0;
  std::int64_t free = 0;

  bool IsFull() const { return status == 0 && total > 0 && free <= 0; }
};

// Asks the service for the account's space. Safe from any thread.
class CloudSpaceQuery {
 public:
  static constexpr std::int32_t kNotTold = -1;  // no answer, or none that tells a space

  // Waits for the service. `status` is kNotTold or the HTTP status of a refusal,
  // logged, when it did not tell.
  static SpaceInfo GetSpaceInfo();
};
