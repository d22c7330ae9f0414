#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "common/platform/filelock.h"

namespace platform {

bool FileLock::TryLock(const std::filesystem::path& file, std::error_code& error) {
  error.clear();
  Release();
  const int opened = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (opened >= 0 && ::flock(opened, LOCK_EX | LOCK_NB) == 0) {
    handle = opened;
    return true;
  }
  if (errno != EWOULDBLOCK) error.assign(errno, std::generic_category());
  if (opened >= 0) ::close(opened);
  return false;
}

void FileLock::Release() {
  if (handle >= 0) ::close(std::exchange(handle, -1));
}

}  // namespace platform
