#include "ui/view/thumbrequests.h"

#include "host/base/drivethreadpool.h"
#include "model/records/upward.h"

ThumbRequests& ThumbRequests::GetInstance() {
  static ThumbRequests& requests = *new ThumbRequests;  // Workers may still end.
  return requests;
}

void ThumbRequests::Ask(const Files& missing, const Arrived& arrived) {
  Files fresh;
  {
    platform::MutexLock hold(lock);
    for (const auto& file : missing) {
      if (!failed.contains(file.get()) && underWay.emplace(file.get(), file).second) fresh.push_back(file);
    }
  }
  if (fresh.empty()) return;
  (void)CommonAbility::DriveThreadPool::GetInstance().Add(
      [this, fresh = std::move(fresh), arrived] { Look(fresh, arrived); });
}

void ThumbRequests::Look(const Files& files, const Arrived& arrived) {
  Files absent;
  for (const auto& file : files) {
    // One that only this computer has is made from its original.
    if (!file->TestThumbnailOnDisk() && !file->MakeThumbnail()) {
      absent.push_back(file);
      continue;
    }
    Leave(file);
    arrived(file);
  }
  if (absent.empty()) return;
  upward::Thumbnails().Fetch(absent, [this, arrived](const GalleryFile::Ptr& file) {
    (void)file->TestThumbnailOnDisk();
    Leave(file);
    arrived(file);
  });
}

void ThumbRequests::Leave(const GalleryFile::Ptr& file) {
  platform::MutexLock hold(lock);
  underWay.erase(file.get());
  if (!file->thumbExists) failed.emplace(file.get(), file);
}

void ThumbRequests::Forget() {
  platform::MutexLock hold(lock);
  failed.clear();
}

bool ThumbRequests::HasFailed(const GalleryFile::Ptr& file) const {
  platform::MutexLock hold(lock);
  return failed.contains(file.get());
}
