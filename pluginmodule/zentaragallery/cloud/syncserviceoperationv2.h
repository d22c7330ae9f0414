#pragma once

#include <chrono>

#include "cloud/isyncserviceoperation.h"

// The cloud side of the sync on the second generation, made of the calls of
// CloudPhotoV2Helper. Batches take as many items as the service told when the
// object was made.
//
// Refused items of a batch stand in `failed` with the service's code; of the codes
// that a caller can act on, a taken album name is "5" and an unknown album "4". An
// album that still holds files keeps its whole code, which ends in "4038", and so
// does a file that is gone ("31084041").
class SyncServiceOperationV2 : public ISyncServiceOperation {
 public:
  SyncServiceOperationV2();

  std::unique_ptr<CloudVersion> GetCloudVersion() override;
  // The bin, which the service's listing leaves out, is added as it stands in the
  // gallery.
  std::unique_ptr<AlbumList> GetCloudAlbums() override;
  // Deletions come with their id only, and `otype` "2"; media that the gallery
  // does not have with "0", others with "1". The feed has no pass of its own for
  // recycled files: with album ids it costs no request and gives nothing.
  bool GetCloudIncrementFiles(std::int64_t version, const std::vector<std::string>& albumIds,
                              std::string& cursor, std::vector<CloudFileInfo>& files) override;

  std::unique_ptr<LockResult> GetLock(const std::atomic<bool>* cancel) override;
  std::unique_ptr<LockResult> KeepLock(const std::string& token) override;
  bool ReleaseLock(const std::string& token) override;

  std::unique_ptr<AlbumUploadResult> UploadCreateAlbum(const AlbumList& albums,
                                                       const std::string& lockToken) override;
  std::unique_ptr<AlbumUploadResult> UploadModifyAlbum(const AlbumList& albums,
                                                       const std::string& lockToken) override;
  std::unique_ptr<AlbumUploadResult> UploadDeleteAlbum(const std::vector<std::string>& albumIds,
                                                       const std::string& lockToken) override;
  std::unique_ptr<FileUploadResult> UploadModifyFile(const std::vector<CloudFileInfo>& files,
                                                     const std::string& lockToken) override;
  std::unique_ptr<FileUploadResult> UploadDeleteFile(const std::vector<CloudFileInfo>& files,
                                                     const std::string& lockToken) override;

 protected:
  // Between two tries for the lock; tests make it shorter.
  std::chrono::milliseconds lockRetryWait{10'000};

 private:
  std::unique_ptr<LockResult> TryLock(std::string& heldToken);
  bool WaitForRetry(const std::atomic<bool>* cancel) const;
};
