#pragma once

#include <sqlite3.h>

#include <atomic>
#include <cstdint>
#include <filesystem>

#include "photocloud/base/mutex.h"
#include "photocloud/store/metadatastore.h"
#include "photocloud/store/sqliteconnections.h"
#include "photocloud/store/sqlitestatement.h"

namespace photocloud {

// A command beside a running server waits this long for its turn to write, and a
// request to a server so long: then it is answered that the service is busy.
constexpr int kPatientMs = 20000;
constexpr int kRequestMs = 3000;

// The metadata store in one SQLite file.
//
// Write-ahead log, flushed by Flush and not at each commit: a flush takes
// thousands of times as long as a commit, and those of several threads become
// one. One connection writes, used by one thread at a time; Atomically
// keeps its place while it runs, and what its thread reads meanwhile
// it reads there. All other reads have connections of their own and wait for no
// writer. Other processes, such as the account commands beside a running server,
// wait for their turn to write.
class SqliteStore final : public MetadataStore {
 public:
  // Opens the file and brings its tables up to date. Throws StoreFailure, also
  // for a file of a later version, which this one could only damage.
  // `busyMs` is how long a writer waits for its turn.
  explicit SqliteStore(const std::filesystem::path& file, int busyMs = kPatientMs);
  ~SqliteStore() override;
  SqliteStore(const SqliteStore&) = delete;
  SqliteStore& operator=(const SqliteStore&) = delete;

  // Writes a consistent copy of the present state to a new file, without the
  // secret that signs URLs, and reads it back whole. Throws StoreFailure.
  void CopyTo(const std::filesystem::path& file);
  const std::filesystem::path& File() const { return file; }

  bool Atomically(const std::function<bool()>& work) override;
  void Flush() override;
  std::string Secret() override;

  std::optional<std::int64_t> InsertAccount(const Account& account) override;
  std::optional<Account> FindAccount(std::int64_t id) override;
  std::optional<Account> FindAccountByName(const std::string& userName) override;
  std::vector<Account> ListAccounts() override;
  void UpdateAccount(const Account& account) override;
  void RemoveAccount(std::int64_t id) override;
  std::int64_t NextVersion(std::int64_t account) override;
  void AddUsedBytes(std::int64_t account, std::int64_t bytes) override;

  void InsertSession(const Session& session) override;
  void UpdateSession(const Session& session) override;
  bool RemoveSession(std::int64_t account, std::int64_t id) override;
  void RemoveSessionsOf(std::int64_t account, std::int64_t butId) override;
  void TouchSession(std::int64_t id, std::int64_t usedMs) override;
  bool HasSession(std::int64_t id) override;
  std::vector<Session> ListSessions(std::int64_t account) override;
  std::optional<Session> FindSessionByAccess(const std::string& accessHash) override;
  std::optional<Session> FindSessionByRefresh(const std::string& refreshHash) override;
  void RemoveSessionsBefore(std::int64_t refreshUntilMs) override;

  WrappedKeys LoadKeys(std::int64_t account) override;
  void StoreKeys(std::int64_t account, const WrappedKeys& keys) override;
  LockRecord LoadLock(std::int64_t account) override;
  void StoreLock(std::int64_t account, const LockRecord& lock) override;

  std::optional<AlbumRecord> FindAlbum(std::int64_t account, const std::string& id) override;
  std::optional<AlbumRecord> FindAlbumByName(std::int64_t account, const std::string& name) override;
  void PutAlbum(std::int64_t account, const AlbumRecord& album) override;
  std::vector<AlbumRecord> ListAlbums(std::int64_t account, const std::string& type,
                                      const std::optional<ListPosition>& after, int limit) override;
  bool AlbumHoldsMedia(std::int64_t account, const std::string& albumId) override;

  std::optional<MediaRecord> FindMedia(std::int64_t account, const std::string& id) override;
  void PutMedia(std::int64_t account, const MediaRecord& media) override;
  void RemoveMedia(std::int64_t account, const std::string& id) override;
  std::vector<MediaRecord> ListMedia(std::int64_t account, const MediaFilter& filter,
                                     const std::optional<ListPosition>& after, int limit,
                                     Extent extent) override;
  std::vector<MediaRecord> ListChanges(std::int64_t account, std::int64_t afterVersion, bool includeDeleted,
                                       int limit) override;
  std::vector<MediaRecord> ListLosts(std::int64_t account, std::int64_t afterVersion, int limit) override;
  std::vector<std::pair<std::int64_t, std::string>> ListUploadsBefore(std::int64_t touchedMs,
                                                                      int limit) override;
  std::vector<std::pair<std::int64_t, std::string>> ListEmptyUploadsBefore(std::int64_t touchedMs,
                                                                           int limit) override;
  int CountUploads(std::int64_t account, int most) override;
  bool CountBytes(std::int64_t account, Counting counting) override;
  void PruneTombstones(std::int64_t touchedBeforeMs) override;
  void ExpireCursors(std::int64_t account) override;

  std::vector<AssetRecord> ListAssets(std::int64_t account, const std::string& mediaId) override;
  std::map<std::string, std::vector<ContentRecord>> ListContents(std::int64_t account,
                                                                 const std::vector<std::string>& mediaIds,
                                                                 int limit) override;
  void PutAsset(std::int64_t account, const AssetRecord& asset) override;
  std::vector<AssetRecord> ListWholeAssets(std::int64_t account, const AssetRecord& like, int limit) override;
  std::vector<SliceRecord> ListSlices(std::int64_t account, const std::string& assetId) override;
  std::optional<std::pair<std::int64_t, SliceRecord>> FindSlice(const std::string& objectId) override;
  void PutSlice(std::int64_t account, const SliceRecord& slice) override;
  std::vector<std::string> RemoveAssets(std::int64_t account, const std::string& mediaId) override;
  std::int64_t ReservedBytes(std::int64_t account) override;

  std::optional<ObjectRecord> FindObject(std::int64_t account, const std::string& sha256) override;
  void PutObject(std::int64_t account, const ObjectRecord& object) override;
  void RemoveObject(std::int64_t account, const std::string& sha256) override;
  std::vector<std::pair<std::int64_t, std::string>> ListOrphans(int limit) override;
  void ForgetOrphan(std::int64_t account, const std::string& sha256) override;
  std::vector<ObjectRecord> ListObjects(std::int64_t account, const std::string& afterSha256,
                                        int limit) override;
  bool IsObjectUsed(std::int64_t account, const std::string& sha256) override;
  std::vector<std::string> ListMediaOfObject(std::int64_t account, const std::string& sha256) override;

 private:
  using Guard = SqliteConnections::Guard;
  using Reader = SqliteConnections::Reader;

  // Runs a statement without rows; returns the count of changed rows.
  template <typename... Values>
  int Run(const char* sql, const Values&... values);
  // Reads all rows, or the first one, through `read`.
  template <typename Read, typename... Values>
  auto Rows(Read read, const char* sql, const Values&... values);
  template <typename Read, typename... Values>
  auto Row(Read read, const char* sql, const Values&... values);

  static int OnCommit(void* self, sqlite3* connection, const char* database, int pages);

  const std::filesystem::path file;
  const std::filesystem::path logFile;
  std::atomic<std::uint64_t> commits{0};  // since the file was opened
  Mutex flushLock;
  std::uint64_t flushed GUARDED_BY(flushLock) = 0;  // How many of `commits` are on the disk.
  SqliteConnections connections;
};

}  // namespace photocloud
