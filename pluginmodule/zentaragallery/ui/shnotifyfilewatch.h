#pragma once

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "common/platform/folderwatch.h"
#include "common/platform/window.h"

namespace TAVISH_COMMON {

// Tells a window of files and folders that come into the places where a drag can end:
// WM_GALLERY_SHELL_DROP with a copy of the path, once for each, which the window frees.
//
// Its thread watches and only posts. Made, started and ended by one thread.
class ShNotifyFileWatch {
 public:
  // Whether a path is worth telling; asked on the watch's thread.
  using Wanted = std::function<bool(const std::wstring& path)>;

  // No more folders than that are watched.
  static constexpr std::size_t kMostFolders = 2000;

  ShNotifyFileWatch(HWND target, Wanted wanted);
  ~ShNotifyFileWatch();
  ShNotifyFileWatch(const ShNotifyFileWatch&) = delete;
  ShNotifyFileWatch& operator=(const ShNotifyFileWatch&) = delete;

  // Starts to watch; the folders below `places` are looked for on its thread. False,
  // logged, when the system gives no watch. With fewer watches than folders the higher
  // ones are watched, and the lack is logged.
  bool InitInstance(const std::vector<platform::FolderWatch::Root>& places);
  // Posts a path. Those of a recycle bin are dropped.
  void CallFilePathFunc(const std::wstring& path) const;

 private:
  void Run(const std::vector<platform::FolderWatch::Root>& places);

  const HWND window;
  const Wanted isWanted;
  platform::FolderWatch watch;
  std::thread thread;
};

}  // namespace TAVISH_COMMON
