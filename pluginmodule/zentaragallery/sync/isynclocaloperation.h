#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cloud/isyncserviceoperation.h"
#include "model/gallery.h"
#include "store/storerecords.h"

// One difference between the cloud's albums and ours.
struct AlbumChange {
  enum Type : std::int32_t { Add = 1, Modify = 2, Delete = 3 };
  Album::Ptr album;
  Type changeType = Add;
};

// What stands behind SetAlbumsUploaded's second argument.
inline constexpr char kAlbumCreated[] = "0";
inline constexpr char kAlbumModified[] = "1";
inline constexpr char kAlbumDeleted[] = "2";

// This side of the sync: gallery and database. A false result is a write that
// failed; memory is then ahead of the tables, and a repeat of the call is
// harmless. All calls run on the sync's thread but GetUploadFiles and the reads
// of the version row, which any thread may make.
class ISyncLocalOperation {
 public:
  using Albums = Gallery::Albums;
  using Files = Gallery::Files;

  virtual ~ISyncLocalOperation() = default;

  // --- Changes of the cloud
  // Empty for an empty list: the cloud's silence deletes nothing.
  virtual std::vector<AlbumChange> GetCloudChangedAlbums(const Albums& cloudAlbums) = 0;
  // Takes over additions and modifications; deletions are handed back in
  // `deleted`, for Gallery::DelAlbums once the files have had their chance to
  // move.
  virtual bool SetLocalAlbums(const std::vector<AlbumChange>& changes, Albums& deleted) = 0;
  // One page of changed files; takes out of `files` what it has dealt with.
  virtual bool SetLocalGeneralFiles(std::vector<CloudFileInfo>& files) = 0;
  virtual std::vector<std::string> GetRecycleAlbumIds() = 0;
  virtual bool SetRecycleFiles(std::vector<CloudFileInfo>& files) = 0;

  // --- Changes of the user
  virtual bool HasLocalChanges() = 0;
  virtual Albums GetCreatedAlbums() = 0;
  // Both return the albums that can get no other name; they will be refused again.
  virtual std::vector<std::string> UploadCreatedAlbumsFailed(const std::vector<FailedItem>& failed) = 0;
  virtual std::vector<std::string> UploadModifyAlbumsFailed(const std::vector<FailedItem>& failed) = 0;
  // `operation` is one of kAlbumCreated, kAlbumModified and kAlbumDeleted; others
  // do nothing.
  virtual void SetAlbumsUploaded(const std::vector<std::string>& ids, const std::string& operation) = 0;
  virtual Albums GetModifyAlbums() = 0;
  virtual Albums GetDeleteAlbums() = 0;
  virtual Files GetChangedFiles() = 0;
  virtual void SetFilesUploaded(const std::vector<CloudFileInfo>& done) = 0;
  virtual void UploadModifyFilesFailed(const std::vector<FailedItem>& failed) = 0;
  virtual Files GetDeleteFiles() = 0;
  // Returns the ids that are gone here now.
  virtual std::vector<std::string> UploadDeleteFilesFailed(const std::vector<FailedItem>& failed) = 0;
  virtual void SetFilesDeleted(const std::vector<std::string>& ids) = 0;
  // Files whose content was never uploaded.
  virtual Files GetUploadFiles() = 0;

  // --- The version row. Setters change one part of the stored row at once.
  virtual std::string GetAlbumListVersion() = 0;
  virtual std::int64_t GetLatestVersion() = 0;
  virtual bool SetAlbumListVersion(const std::string& text) = 0;
  virtual bool SetLatestVersion(std::int64_t version) = 0;
  // Whether a complete download stands behind the row.
  virtual bool CanSync() = 0;
  // The row, or an empty record.
  virtual AlbumLocalVersion GetVersionRecord() = 0;
  virtual bool SetTempVersion(std::int64_t version, const std::string& cursor,
                              const std::string& recyCursor) = 0;
  virtual std::string GetClearVersion() = 0;
  virtual bool SetClearVersion(const std::string& text) = 0;

  // The cloud side for a generation; null when this cycle has none. Owned here.
  virtual ISyncServiceOperation* ChooseService(std::int32_t generation) = 0;
};
