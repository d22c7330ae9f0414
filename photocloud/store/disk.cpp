#include "photocloud/store/disk.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace photocloud {

bool SyncPath(const std::filesystem::path& path) {
  const int handle = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (handle < 0) return false;
  const bool done = ::fsync(handle) == 0;
  const int reason = errno;
  ::close(handle);
  errno = reason;
  return done;
}

bool MeansNoRoom(int reason) { return reason == ENOSPC || reason == EDQUOT || reason == EFBIG; }

}  // namespace photocloud
