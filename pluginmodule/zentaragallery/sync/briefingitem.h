#pragma once

#include <cstdint>
#include <string>

// What the cheap listing of a briefing tells of one file.
struct BriefingItem {
  std::string uniqueId;
  std::string albumId;
  std::int64_t size = 0;
  std::int64_t editedTime = 0;  // 0: not told
  std::int32_t status = 0;      // as GalleryFile::cloudContentStatus
  bool lost = false;            // the first generation's mark of lost content

  // Albums of others that are shared with this user have ids of another make.
  bool IsOwn(const char* prefix) const { return albumId.empty() || albumId.starts_with(prefix); }
};
