#pragma once

#include <filesystem>
#include <system_error>

namespace platform {

// An exclusive hold of a file among processes. The system gives it back when the
// process ends, however it ends, so that nobody finds the lock of a dead one.
// Programs that this process starts do not share it.
class FileLock {
 public:
  FileLock() = default;
  ~FileLock() { Release(); }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  // Makes `file`, for its owner only, where there is none. True when the lock is
  // held; false without an error when another process holds it.
  [[nodiscard]] bool TryLock(const std::filesystem::path& file, std::error_code& error);
  void Release();
  bool IsHeld() const { return handle >= 0; }

 private:
  int handle = -1;
};

}  // namespace platform
