#include <sys/random.h>

#include <cerrno>

#include "common/platform/random.h"

namespace platform {

bool RandomBytes(std::span<std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t taken = getrandom(bytes.data(), bytes.size(), 0);
    if (taken < 0 && errno == EINTR) continue;
    if (taken <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(taken));
  }
  return true;
}

}  // namespace platform
