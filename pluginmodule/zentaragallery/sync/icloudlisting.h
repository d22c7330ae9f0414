#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cloud/cloudphotov2helper.h"

// The calls of the service's second generation that the sync makes beside an
// ISyncServiceOperation. Null or false is an error that was logged already. Safe
// from any thread.
class ICloudListing {
 public:
  using MediaPage = CloudPhotoV2Helper::MediaPage;

  virtual ~ICloudListing() = default;

  virtual std::int32_t GetCutStatus() = 0;
  virtual std::unique_ptr<CloudVersion> GetAllVersion() = 0;
  virtual std::unique_ptr<std::vector<Album::Ptr>> GetAlbums(const std::string& cursor) = 0;
  // `cursor` takes the next page's, empty behind the last one. With `expired` it is told
  // there that the service knows the cursor no longer; ForgetCursor is the caller's then.
  virtual std::unique_ptr<MediaPage> GetFiles(std::string& cursor, int kind, bool* expired = nullptr) = 0;
  // Has the next cycle list all anew.
  virtual void ForgetCursor() = 0;
  virtual std::unique_ptr<MediaPage> GetFilesByAlbumId(const std::string& albumId) = 0;
  // Of those that the cloud has; in any order.
  virtual std::unique_ptr<std::vector<CloudFileInfo>> GetFileDetail(const std::vector<std::string>& ids) = 0;

  // Answers of 503 that the media listing has met, and when the last came (ms).
  virtual std::int32_t Failures503() const = 0;
  virtual std::int64_t Last503Ms() const = 0;
};
