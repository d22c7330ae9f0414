#include "photocloud/store/folderlock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace photocloud {

FolderLock::FolderLock(const std::filesystem::path& folder)
    : handle(::open((folder / "photocloud.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
  if (handle < 0 || ::flock(handle, LOCK_EX | LOCK_NB) == 0) return;
  ::close(handle);
  handle = -1;
}

FolderLock::~FolderLock() {
  if (handle >= 0) ::close(handle);
}

}  // namespace photocloud
