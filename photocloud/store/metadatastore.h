#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "photocloud/store/records.h"

namespace photocloud {

// Thrown when the store cannot answer: disk full, damaged file, lost backend.
//
// An exception and not a value, because such a failure ends the whole request
// wherever it strikes, and no caller in between may go on or commit. It is
// caught where a request or a command ends, and nowhere else.
class StoreFailure : public std::runtime_error {
 public:
  // Busy: another process holds the writer's place, and a later try may do.
  enum class Kind { Broken, Busy, Full };

  explicit StoreFailure(const std::string& reason, Kind failureKind = Kind::Broken)
      : std::runtime_error(reason), kind(failureKind) {}

  const Kind kind;
};

enum class Counting { Look, Repair };

// A place in a list ordered by creation time, newest first, then by id.
struct ListPosition {
  std::int64_t createdMs = 0;
  std::string id;
};

struct MediaFilter {
  std::string albumId;  // Empty: of all albums.
  std::optional<bool> recycled;
};

// Everything the service knows except the bytes of objects.
//
// The one place where data of accounts is told apart: each operation names the
// account and touches no other. Safe to call from any thread. What an operation
// has written outlives the end of this process once it has returned, or inside
// Atomically once the outermost Atomically has returned; a power cut, after the
// next Flush.
class MetadataStore {
 public:
  virtual ~MetadataStore() = default;

  // Runs `work` so that all of it is stored or nothing: nothing when it returns
  // false or throws. Calls nest; only one runs at a time, in all processes that
  // share the store. Returns what `work` returned.
  virtual bool Atomically(const std::function<bool()>& work) = 0;

  // Returns when everything that any thread has written so far is on the disk.
  // Comes before whatever relies on it outside the store: an answer, also one
  // that only tells what others have written, and the removal of a file. Many
  // threads that wait share one flush. Not called inside Atomically.
  virtual void Flush() = 0;

  // A secret of this installation, made on first use; signs URLs. A backup has none:
  // then the version of each account that was used goes far ahead of any that a device
  // can have seen, and no older one can be asked for. Devices learn so that the account
  // has gone back, however many changes it sees before they come.
  virtual std::string Secret() = 0;

  // InsertAccount returns the new id, or nothing when the name is taken. Names
  // that differ in the case of the letters A to Z only are the same.
  virtual std::optional<std::int64_t> InsertAccount(const Account& account) = 0;
  virtual std::optional<Account> FindAccount(std::int64_t id) = 0;
  virtual std::optional<Account> FindAccountByName(const std::string& userName) = 0;
  virtual std::vector<Account> ListAccounts() = 0;
  // Writes all fields but the ids, the name and the counters below.
  virtual void UpdateAccount(const Account& account) = 0;
  // Removes the account and every record of it; its objects become orphans.
  virtual void RemoveAccount(std::int64_t id) = 0;
  // Raises the version by one and returns it.
  virtual std::int64_t NextVersion(std::int64_t account) = 0;
  virtual void AddUsedBytes(std::int64_t account, std::int64_t bytes) = 0;

  virtual void InsertSession(const Session& session) = 0;
  virtual void UpdateSession(const Session& session) = 0;
  // Returns false when the account has no such session.
  virtual bool RemoveSession(std::int64_t account, std::int64_t id) = 0;
  // All but one; ids are never 0, and never used again.
  virtual void RemoveSessionsOf(std::int64_t account, std::int64_t butId) = 0;
  virtual void TouchSession(std::int64_t id, std::int64_t usedMs) = 0;
  virtual bool HasSession(std::int64_t id) = 0;
  virtual std::vector<Session> ListSessions(std::int64_t account) = 0;
  virtual std::optional<Session> FindSessionByAccess(const std::string& accessHash) = 0;
  // By the present or the previous refresh token.
  virtual std::optional<Session> FindSessionByRefresh(const std::string& refreshHash) = 0;
  virtual void RemoveSessionsBefore(std::int64_t refreshUntilMs) = 0;

  virtual WrappedKeys LoadKeys(std::int64_t account) = 0;
  virtual void StoreKeys(std::int64_t account, const WrappedKeys& keys) = 0;

  virtual LockRecord LoadLock(std::int64_t account) = 0;
  virtual void StoreLock(std::int64_t account, const LockRecord& lock) = 0;

  // Albums. Find returns deleted ones too.
  virtual std::optional<AlbumRecord> FindAlbum(std::int64_t account, const std::string& id) = 0;
  virtual std::optional<AlbumRecord> FindAlbumByName(std::int64_t account, const std::string& name) = 0;
  virtual void PutAlbum(std::int64_t account, const AlbumRecord& album) = 0;
  // An empty `type` lists all types.
  virtual std::vector<AlbumRecord> ListAlbums(std::int64_t account, const std::string& type,
                                              const std::optional<ListPosition>& after, int limit) = 0;
  // True while media outside the bin live in the album.
  virtual bool AlbumHoldsMedia(std::int64_t account, const std::string& albumId) = 0;

  // Media. Find returns uploads and tombstones too.
  virtual std::optional<MediaRecord> FindMedia(std::int64_t account, const std::string& id) = 0;
  virtual void PutMedia(std::int64_t account, const MediaRecord& media) = 0;
  virtual void RemoveMedia(std::int64_t account, const std::string& id) = 0;
  // Visible ones, with what lists show: without their device, when they were touched,
  // and the versions in which they were made and lost.
  virtual std::vector<MediaRecord> ListMedia(std::int64_t account, const MediaFilter& filter,
                                             const std::optional<ListPosition>& after, int limit,
                                             Extent extent) = 0;
  virtual std::vector<MediaRecord> ListChanges(std::int64_t account, std::int64_t afterVersion,
                                               bool includeDeleted, int limit) = 0;
  virtual std::vector<MediaRecord> ListLosts(std::int64_t account, std::int64_t afterVersion, int limit) = 0;
  virtual std::vector<std::pair<std::int64_t, std::string>> ListUploadsBefore(std::int64_t touchedMs,
                                                                              int limit) = 0;
  // Uploads of which no object's digests have been announced.
  virtual std::vector<std::pair<std::int64_t, std::string>> ListEmptyUploadsBefore(std::int64_t touchedMs,
                                                                                   int limit) = 0;
  // Counts no further than `most`.
  virtual int CountUploads(std::int64_t account, int most) = 0;
  // Counts the bytes of objects and records anew. Returns whether the account's
  // sums were right; Repair puts them right.
  virtual bool CountBytes(std::int64_t account, Counting counting) = 0;
  // Drops tombstones older than that and raises oldestCursor past them.
  virtual void PruneTombstones(std::int64_t touchedBeforeMs) = 0;
  // Makes every change cursor given out before now expire.
  virtual void ExpireCursors(std::int64_t account) = 0;

  virtual std::vector<AssetRecord> ListAssets(std::int64_t account, const std::string& mediaId) = 0;
  // The assets of several media with their slices, by media and in the order of
  // their usages, in one read. Ends after `limit` slices, in the order of `mediaIds`.
  virtual std::map<std::string, std::vector<ContentRecord>> ListContents(
      std::int64_t account, const std::vector<std::string>& mediaIds, int limit) = 0;
  virtual void PutAsset(std::int64_t account, const AssetRecord& asset) = 0;
  // Visible assets of the same content all of whose objects are stored.
  virtual std::vector<AssetRecord> ListWholeAssets(std::int64_t account, const AssetRecord& like,
                                                   int limit) = 0;
  // In the order of their numbers.
  virtual std::vector<SliceRecord> ListSlices(std::int64_t account, const std::string& assetId) = 0;
  virtual std::optional<std::pair<std::int64_t, SliceRecord>> FindSlice(const std::string& objectId) = 0;
  virtual void PutSlice(std::int64_t account, const SliceRecord& slice) = 0;
  // Removes the media's assets and slices; returns the objects they named.
  virtual std::vector<std::string> RemoveAssets(std::int64_t account, const std::string& mediaId) = 0;
  // Bytes that open uploads have announced and not stored yet.
  virtual std::int64_t ReservedBytes(std::int64_t account) = 0;

  virtual std::optional<ObjectRecord> FindObject(std::int64_t account, const std::string& sha256) = 0;
  virtual void PutObject(std::int64_t account, const ObjectRecord& object) = 0;
  // Removes the record, if there is one, and remembers the name as an orphan,
  // whose file is to go.
  virtual void RemoveObject(std::int64_t account, const std::string& sha256) = 0;
  virtual std::vector<std::pair<std::int64_t, std::string>> ListOrphans(int limit) = 0;
  virtual void ForgetOrphan(std::int64_t account, const std::string& sha256) = 0;
  virtual std::vector<ObjectRecord> ListObjects(std::int64_t account, const std::string& afterSha256,
                                                int limit) = 0;
  virtual bool IsObjectUsed(std::int64_t account, const std::string& sha256) = 0;
  // Visible media with an asset that names the object.
  virtual std::vector<std::string> ListMediaOfObject(std::int64_t account, const std::string& sha256) = 0;
};

}  // namespace photocloud
