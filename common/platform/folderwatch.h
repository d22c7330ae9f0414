#pragma once

#include <filesystem>
#include <map>
#include <system_error>
#include <vector>

namespace platform {

// Tells of files and folders that come into watched folders: by being written there, or
// by being moved or linked there. A file is told when it is closed; one that grows fast
// may be told before that too.
//
// Folders come and are taken off by one thread, the one that calls Next; Stop comes from
// any.
class FolderWatch {
 public:
  struct Root {
    std::filesystem::path folder;
    int depth = 0;  // 0: what lies in the folder itself
  };

  FolderWatch();
  ~FolderWatch();
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  // Watches these folders and those below them, the higher ones first, at most `most` in
  // all. Left out are hidden ones, links and what may not be read. The system gives a
  // user only so many watches: the error tells that not all could be had, and those that
  // could stay.
  [[nodiscard]] std::error_code Watch(const std::vector<Root>& roots, std::size_t most);
  std::size_t Count() const { return folders.size(); }

  // Waits for what comes next, folders that are made meanwhile included; empty once
  // stopped, and when the system ends the watch.
  std::vector<std::filesystem::path> Next();
  void Stop();

 private:
  struct Folder {
    std::filesystem::path path;
    int depth = 0;  // folders below are watched so far down
  };

  std::error_code Add(const Folder& folder);
  void Read(std::vector<std::filesystem::path>& came);
  void TakeNewFolder(const Folder& folder, std::vector<std::filesystem::path>& came);

  int events = -1;  // both -1 when the system gave none
  int stop = -1;
  std::size_t mostFolders = 0;
  std::error_code opened;
  std::map<int, Folder> folders;  // by the watch's number
};

}  // namespace platform
