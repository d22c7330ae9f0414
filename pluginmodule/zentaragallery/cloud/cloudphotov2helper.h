#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cloud/syncrecords.h"
#include "model/records/galleryfile.h"

// The calls of the photo cloud's second generation, one operation each. Static,
// synchronous, any thread. Null or false is an error that was logged already.
class CloudPhotoV2Helper {
 public:
  struct Lock {
    std::string token;
    std::int32_t expiresInSeconds = 0;
  };
  // An album that lists its media, in the order of the answer.
  struct MediaPage {
    std::vector<CloudFileInfo> media;  // `otype` is not set
    std::vector<std::string> status;   // of each media, in the service's words
    std::vector<std::int64_t> editedTime;
  };

  // The generation that serves this user, kept in GlobalData::cloudGeneration; a
  // lost connection leaves the last answer.
  static std::int32_t GetCutStatus();

  static std::unique_ptr<CloudVersion> GetAllVersion();
  // "suspendCursor" of the last about answer, or empty.
  static std::string GetSuspendCursor();

  static std::unique_ptr<std::vector<Album::Ptr>> GetAlbums(const std::string& cursor);
  // One page; kind 1 asks only for what a comparison needs. `cursor` takes the
  // next page's, empty behind the last.
  static std::unique_ptr<MediaPage> GetFiles(std::string& cursor, int kind);
  static std::unique_ptr<MediaPage> GetFilesByAlbumId(const std::string& albumId);
  static std::unique_ptr<std::vector<CloudFileInfo>> GetFileDetail(const std::vector<std::string>& ids);
  // One page of changes with `otype`, `device` and what the change holds.
  static std::unique_ptr<std::vector<CloudFileInfo>> GetChangeFiles(const std::string& startCursor,
                                                                    std::string& nextCursor);

  static std::unique_ptr<Lock> GetV2Lock(const std::string& token);
  static bool DeleteV2Lock(const std::string& token);

  // How often the media listing was answered with 503, and when last (ms). Never
  // lowered while the process lives.
  static std::atomic<std::int32_t> failures503;
  static std::atomic<std::int64_t> last503Ms;
  // Items of a batch that the service takes; told by the about answer.
  static std::atomic<std::int32_t> maxBatchNumber;
};
