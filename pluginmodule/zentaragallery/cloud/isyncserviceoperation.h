#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cloud/syncrecords.h"

// The cloud side of the sync, one class for each service generation. Calls are
// synchronous, run on the caller's thread and never throw. A null or false result
// is an error that was logged already: a lost connection, an error answer or a
// service that is not there. None retries but GetLock.
class ISyncServiceOperation {
 public:
  using AlbumList = std::vector<Album::Ptr>;

  virtual ~ISyncServiceOperation() = default;

  // True while less than 1800 s have passed since the library was loaded.
  bool IsInFirstHalfHour() const;

  virtual std::unique_ptr<CloudVersion> GetCloudVersion() = 0;
  // Every album that the account has; null when the listing is not complete.
  virtual std::unique_ptr<AlbumList> GetCloudAlbums() = 0;
  // One page of changes after `version`, or from `cursor` on when it is not
  // empty; `cursor` takes the place of the next page, empty behind the last one.
  // With a non-empty `albumIds` the recycle feed of a service that has one.
  virtual bool GetCloudIncrementFiles(std::int64_t version, const std::vector<std::string>& albumIds,
                                      std::string& cursor, std::vector<CloudFileInfo>& files) = 0;

  // Tries for the account's lock, at most `lockRetries` times with 10 s between;
  // null when it cannot be had, and within a moment once `*cancel` is set.
  virtual std::unique_ptr<LockResult> GetLock(const std::atomic<bool>* cancel) = 0;
  virtual std::unique_ptr<LockResult> KeepLock(const std::string& token) = 0;
  virtual bool ReleaseLock(const std::string& token) = 0;

  virtual std::unique_ptr<AlbumUploadResult> UploadCreateAlbum(const AlbumList& albums,
                                                               const std::string& lockToken) = 0;
  virtual std::unique_ptr<AlbumUploadResult> UploadModifyAlbum(const AlbumList& albums,
                                                               const std::string& lockToken) = 0;
  virtual std::unique_ptr<AlbumUploadResult> UploadDeleteAlbum(const std::vector<std::string>& albumIds,
                                                               const std::string& lockToken) = 0;
  virtual std::unique_ptr<FileUploadResult> UploadModifyFile(const std::vector<CloudFileInfo>& files,
                                                             const std::string& lockToken) = 0;
  virtual std::unique_ptr<FileUploadResult> UploadDeleteFile(const std::vector<CloudFileInfo>& files,
                                                             const std::string& lockToken) = 0;

  std::int32_t GetFileLimit() const { return fileLimit; }
  std::int32_t GetAlbumLimit() const { return albumLimit; }

 protected:
  std::int32_t albumLimit = 10;
  std::int32_t lockRetries = 3;
  std::int32_t fileLimit = 50;
};
