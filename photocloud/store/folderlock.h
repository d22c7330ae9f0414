#pragma once

#include <filesystem>

namespace photocloud {

// Keeps a data folder to one server at a time: two would not know of each
// other's files that are just coming into being.
//
// The lock is the system's, on the file `photocloud.lock`, and goes with the
// process however that ends. Commands beside a server do not take it.
class FolderLock {
 public:
  // Does not wait. IsHeld is false when another process has the lock or the
  // folder cannot be written.
  explicit FolderLock(const std::filesystem::path& folder);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  bool IsHeld() const { return handle >= 0; }

 private:
  int handle = -1;
};

}  // namespace photocloud
