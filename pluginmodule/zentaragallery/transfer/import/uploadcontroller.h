#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "model/records/album.h"

// A file that was not taken: `textKey` names the words for the user.
struct RefusedFile {
  std::wstring path;
  const char* textKey = nullptr;
};

// Stands between the user's choice of files and the gallery: checks each file,
// reads its metadata, makes its thumbnails, and adds the good ones to the local
// gallery, where they wait for upload.
//
// Checks of one path, in this order, so that a user gets the reason that helps
// most: there at all, a supported kind, a usable name, openable, not empty, hash,
// not there already in the album, playable or decodable, not twice in the list,
// room and rights in the cache.
//
// AddToLocal blocks its caller and checks on workers; call it off the
// user-interface thread. One call at a time for each album.
class UploadController {
 public:
  // More paths than this in one call are refused as a whole.
  static constexpr std::size_t kFilesUpperLimit = 100'000;

  struct Progress {
    std::size_t done = 0;  // added and refused
    std::size_t total = 0;
    std::int64_t bytes = 0;
  };
  struct Result {
    std::vector<GalleryFile::Ptr> added;
    std::vector<RefusedFile> refused;
    bool stopped = false;    // by `stop`; what was added until then stays
    bool overLimit = false;  // nothing was added
  };

  // Called on the caller's thread, in the order of the paths.
  std::function<void(const Progress&)> onProgress;
  // Ends it at once, also while a file is read.
  const std::atomic<bool>* stop = nullptr;

  // Adds to `album`; null is logged and adds nothing.
  Result AddToLocal(const std::vector<std::wstring>& paths, const Album::Ptr& album);
};
