#pragma once

#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

#include "common/platform/mutex.h"
#include "model/records/galleryfile.h"

// Brings the thumbnails that a list lacks. A worker looks on the disk first, so that
// the user-interface thread never does, and asks the thumbnail fetcher for the rest,
// all of them in one call. What could not be had is left alone until Forget: a list
// that repaints does not ask in a loop.
// Safe from any thread.
class ThumbRequests {
 public:
  using Files = std::vector<GalleryFile::Ptr>;
  // Called on a worker, once for each file that was asked for, whether or not its
  // thumbnail is there now.
  using Arrived = std::function<void(const GalleryFile::Ptr&)>;

  static ThumbRequests& GetInstance();

  // Files under way, and such as failed, are left out.
  void Ask(const Files& missing, const Arrived& arrived);
  // Failed ones may be asked for again, as after a sync.
  void Forget();
  bool HasFailed(const GalleryFile::Ptr& file) const;

 private:
  void Look(const Files& files, const Arrived& arrived);
  void Leave(const GalleryFile::Ptr& file);

  mutable platform::Mutex lock;
  // Held, so that no other file can come to stand at the address.
  std::unordered_map<const GalleryFile*, GalleryFile::Ptr> underWay GUARDED_BY(lock);
  std::unordered_map<const GalleryFile*, GalleryFile::Ptr> failed GUARDED_BY(lock);
};
