#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "model/records/album.h"
#include "model/records/cloudphotov1.h"

// What the two generations of the photo cloud report to the sync, in one shape.
// Plain records; `code` 0 is success.

using CloudFileInfo = NS::CloudPhoto::V1::FileInfo;

// How far the cloud is.
struct CloudVersion {
  std::int32_t code = 0;
  std::string info;
  std::string albumVersion;
  std::string albumListVersion;
  std::int64_t fileVersion = 0;
  std::int64_t minVersion = -1;  // older history is no longer kept; -1 not told
  std::string clearVersion;
  std::int64_t restoredVersion = 0;  // the version at which a backup was put back; 0 never

  // Whether a gallery that is complete up to `local` may hold what the cloud has lost.
  bool FellBehind(std::int64_t local) const { return fileVersion < local || local < restoredVersion; }
};

// A lock on the account, or what the cloud answered in place of it.
struct LockResult {
  std::int32_t code = 0;
  std::string token;
  std::int32_t keepInterval = 0;  // seconds of validity; 0: needs no keeping
  std::string albumListVersion;
  std::string cloudVersion;
  std::int64_t fileVersion = 0;
  std::int32_t albumLimit = 0;
  std::int32_t fileLimit = 0;
  std::string clearVersion;
};

// One item of a batch that the cloud refused.
struct FailedItem {
  std::string id;
  std::string fileId;
  std::string code;  // local code, see the operations
  std::string reason;
  std::string conflictId;
};

inline constexpr std::int32_t kAllGood = 0;
inline constexpr std::int32_t kAllFailed = 1;
inline constexpr std::int32_t kPartlyFailed = 31;

struct AlbumUploadResult {
  std::int32_t code = kAllGood;
  std::vector<std::string> succeeded;  // album ids
  std::vector<FailedItem> failed;
};

struct FileUploadResult {
  std::int32_t code = kAllGood;
  std::vector<CloudFileInfo> succeeded;
  std::vector<FailedItem> failed;
};

// One media of a page of a full listing.
struct ListedFiles {
  std::vector<std::shared_ptr<GalleryFile>> files;
  std::string nextCursor;  // empty: the last page
};
