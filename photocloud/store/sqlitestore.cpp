#include "photocloud/store/sqlitestore.h"

#include <cerrno>

#include "photocloud/base/jsonmembers.h"
#include "photocloud/base/text.h"
#include "photocloud/store/disk.h"
#include "photocloud/store/sqlitefile.h"
#include "photocloud/store/sqlitelayout.h"

namespace photocloud {
namespace {

// More changes than any account has seen since its backup was made.
constexpr std::int64_t kRestoreStep = 1'000'000'000;

Account ReadAccount(const SqliteStatement& row) {
  return {row.Number(0),  row.Text(1),    row.Text(2),    row.Text(3),   row.Flag(4),    row.Flag(5),
          row.Text(6),    row.Text(7),    row.Number(8),  row.Number(9), row.Number(10), row.Number(11),
          row.Number(12), row.Number(13), row.Number(14), row.Number(15)};
}

Session ReadSession(const SqliteStatement& row) {
  return {row.Number(0), row.Number(1), row.Text(2),   row.Text(3),   row.Number(4), row.Text(5),
          row.Number(6), row.Text(7),   row.Number(8), row.Number(9), row.Number(10)};
}

AlbumRecord ReadAlbum(const SqliteStatement& row) {
  return {row.Text(0), row.Text(1), row.Text(2),   row.Text(3), row.Number(4),
          row.Text(5), row.Text(6), row.Number(7), row.Flag(8)};
}

MediaRecord ReadMedia(const SqliteStatement& row) {
  return {row.Text(0),
          static_cast<MediaPhase>(row.Number(1)),
          row.Text(2),
          row.Flag(3),
          row.Number(4),
          row.Number(5),
          row.Number(6),
          row.Text(7),
          static_cast<ContentStatus>(row.Number(8)),
          row.Number(9),
          row.Number(10),
          row.Text(11)};
}

// Of the longest lists: five columns less take a tenth off a page.
MediaRecord ReadListed(const SqliteStatement& row) {
  MediaRecord media;
  media.id = row.Text(0);
  media.phase = MediaPhase::Visible;
  media.albumId = row.Text(1);
  media.recycled = row.Flag(2);
  media.createdMs = row.Number(3);
  media.version = row.Number(4);
  media.status = static_cast<ContentStatus>(row.Number(5));
  media.fields = row.Text(6);
  return media;
}

MediaRecord ReadBrief(const SqliteStatement& row) {
  MediaRecord media;
  media.id = row.Text(0);
  media.phase = MediaPhase::Visible;
  media.albumId = row.Text(1);
  media.createdMs = row.Number(2);
  media.status = static_cast<ContentStatus>(row.Number(3));
  media.fields = row.Text(4);
  return media;
}

// The object with kBriefFields only, as the index of the lists holds it.
std::string BriefOf(std::string_view fields) {
  std::string brief;
  for (const std::string_view name : kBriefFields) {
    const std::string_view value = MemberOf(fields, name);
    if (value.empty()) continue;
    brief += brief.empty() ? "{\"" : ",\"";
    brief.append(name).append("\":").append(value);
  }
  return brief.empty() ? "{}" : brief + '}';
}

AssetRecord ReadAsset(const SqliteStatement& row) {
  return {row.Text(0),   row.Text(1),   row.Text(2),
          row.Text(3),   row.Text(4),   row.Text(5),
          row.Number(6), row.Number(7), static_cast<ContentStatus>(row.Number(8)),
          row.Text(9)};
}

SliceRecord ReadSlice(const SqliteStatement& row) {
  return {row.Text(0),   row.Text(1), row.Text(2), row.Number(3), row.Number(4),
          row.Number(5), row.Text(6), row.Text(7), row.Flag(8)};
}

ObjectRecord ReadObject(const SqliteStatement& row) {
  return {row.Text(0), row.Text(1), row.Number(2), row.Flag(3)};
}

// Rows of a page and the one that tells whether more follow.
constexpr std::size_t kRowsOfPage = 101;

// The library's pages of a log that is taken over into the database.
constexpr int kPagesOfLog = 1000;

std::string ReadText(const SqliteStatement& row) { return row.Text(0); }
std::int64_t ReadNumber(const SqliteStatement& row) { return row.Number(0); }

}  // namespace

SqliteStore::SqliteStore(const std::filesystem::path& databaseFile, int busyMs)
    : file(databaseFile), logFile(file.string() + "-wal"), connections(file, busyMs) {
  const Guard guard(connections);
  SqliteConnection& writer = connections.Writer();
  sqlite3_wal_hook(writer.Handle(), &SqliteStore::OnCommit, this);
  Atomically([&writer] {
    BringUpToDate(writer);
    return true;
  });
  Flush();
  // The log's own name was new.
  if (!SyncPath(file.has_parent_path() ? file.parent_path() : "."))
    throw StoreFailure("cannot flush the folder");
}

SqliteStore::~SqliteStore() = default;

// Takes the place of the library's own hook, and so does its work too.
int SqliteStore::OnCommit(void* self, sqlite3* connection, const char* database, int pages) {
  ++static_cast<SqliteStore*>(self)->commits;
  if (pages < kPagesOfLog) return SQLITE_OK;
  // One that cannot run now runs after a later commit.
  (void)sqlite3_wal_checkpoint_v2(connection, database, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
  return SQLITE_OK;
}

void SqliteStore::Flush() {
  const std::uint64_t wanted = commits;
  const MutexLock guard(flushLock);
  if (flushed >= wanted) return;
  const std::uint64_t reached = commits;
  if (!SyncPath(logFile)) {
    const auto kind = MeansNoRoom(errno) ? StoreFailure::Kind::Full : StoreFailure::Kind::Broken;
    throw StoreFailure("cannot flush " + logFile.string(), kind);
  }
  flushed = reached;
}

void SqliteStore::CopyTo(const std::filesystem::path& target) {
  Run("VACUUM INTO ?", target.string());
  FinishCopy(target);
}

template <typename... Values>
int SqliteStore::Run(const char* sql, const Values&... values) {
  const Guard guard(connections);
  return SqliteStatement(connections.Writer().Prepare(sql), values...).Run();
}

template <typename Read, typename... Values>
auto SqliteStore::Rows(Read read, const char* sql, const Values&... values) {
  Reader reader(connections);
  SqliteStatement statement(reader.Get().Prepare(sql), values...);
  std::vector<decltype(read(statement))> rows;
  rows.reserve(kRowsOfPage);
  while (statement.Step()) rows.push_back(read(statement));
  return rows;
}

template <typename Read, typename... Values>
auto SqliteStore::Row(Read read, const char* sql, const Values&... values) {
  Reader reader(connections);
  SqliteStatement statement(reader.Get().Prepare(sql), values...);
  std::optional<decltype(read(statement))> row;
  if (statement.Step()) row = read(statement);
  return row;
}

bool SqliteStore::Atomically(const std::function<bool()>& work) {
  const Guard guard(connections);
  const bool isOutermost = connections.Levels() == 0;
  // The writer's place is taken at once: a transaction that only found out at
  // its first write that another process writes would have to start again.
  Run(isOutermost ? "BEGIN IMMEDIATE" : "SAVEPOINT nested");
  const char* const keep = isOutermost ? "COMMIT" : "RELEASE nested";
  const char* const undo = isOutermost ? "ROLLBACK" : "ROLLBACK TO nested; RELEASE nested";
  SqliteConnection& writer = connections.Writer();
  connections.EnterLevel();
  bool done = false;
  try {
    done = work();
    if (done) Run(keep);
  } catch (...) {
    // After a failed commit there may be nothing left to undo.
    (void)sqlite3_exec(writer.Handle(), undo, nullptr, nullptr, nullptr);
    connections.LeaveLevel();
    throw;
  }
  connections.LeaveLevel();
  if (!done) writer.Execute(undo);
  return done;
}

std::string SqliteStore::Secret() {
  Atomically([&] {
    const bool isNew =
        Run("INSERT OR IGNORE INTO settings(name,value) VALUES('secret',?)", ToHex(RandomBytes(32))) > 0;
    // Only a backup has data and no secret. An account that nobody ever used is new as before.
    if (isNew) {
      Run(R"sql(
        UPDATE accounts SET version=version+?1,oldest_cursor=version+?1,restored_cursor=version+?1
        WHERE version>0 OR EXISTS(SELECT 1 FROM wrapped_keys WHERE account=accounts.id))sql",
          kRestoreStep);
    }
    return true;
  });
  return Row(ReadText, "SELECT value FROM settings WHERE name='secret'").value_or("");
}

std::optional<std::int64_t> SqliteStore::InsertAccount(const Account& account) {
  const Guard guard(connections);
  const int rows = Run(
      R"sql(
    INSERT OR IGNORE INTO accounts(user_id,user_name,verifier,disabled,hidden,user_status,
    suspend_cursor,quota_bytes) SELECT ?1,?2,?3,?4,?5,?6,?7,?8 WHERE NOT EXISTS(SELECT 1 FROM
    accounts WHERE user_name=?2 COLLATE NOCASE))sql",
      account.userId, account.userName, account.verifier, account.disabled, account.hidden,
      account.userStatus, account.suspendCursor, account.quotaBytes);
  if (rows == 0) return std::nullopt;
  return sqlite3_last_insert_rowid(connections.Writer().Handle());
}

std::optional<Account> SqliteStore::FindAccount(std::int64_t id) {
  return Row(ReadAccount, R"sql(
    SELECT id,user_id,user_name,verifier,disabled,hidden,user_status,suspend_cursor,version,
    oldest_cursor,quota_bytes,used_bytes,record_bytes,restored_cursor,suspended_ms,delete_ms FROM accounts WHERE id=?)sql",
             id);
}

std::optional<Account> SqliteStore::FindAccountByName(const std::string& userName) {
  // Files of the first layout may hold names that differ in case only: there the
  // exact one goes first.
  return Row(ReadAccount,
             R"sql(
    SELECT id,user_id,user_name,verifier,disabled,hidden,user_status,suspend_cursor,version,
    oldest_cursor,quota_bytes,used_bytes,record_bytes,restored_cursor,suspended_ms,delete_ms FROM accounts WHERE user_name=?1 COLLATE
    NOCASE ORDER BY user_name=?1 DESC,id LIMIT 1)sql",
             userName);
}

std::vector<Account> SqliteStore::ListAccounts() {
  return Rows(ReadAccount, R"sql(
    SELECT id,user_id,user_name,verifier,disabled,hidden,user_status,suspend_cursor,version,
    oldest_cursor,quota_bytes,used_bytes,record_bytes,restored_cursor,suspended_ms,delete_ms FROM accounts ORDER BY id)sql");
}

void SqliteStore::UpdateAccount(const Account& account) {
  Run(R"sql(
    UPDATE accounts SET verifier=?,disabled=?,hidden=?,user_status=?,suspend_cursor=?,quota_bytes=?,
    suspended_ms=?,delete_ms=? WHERE id=?)sql",
      account.verifier, account.disabled, account.hidden, account.userStatus, account.suspendCursor,
      account.quotaBytes, account.suspendedMs, account.deleteMs, account.id);
}

void SqliteStore::RemoveAccount(std::int64_t id) {
  Atomically([&] {
    // First, so that its sums need not be kept while its records go.
    Run("DELETE FROM accounts WHERE id=?", id);
    Run("DELETE FROM sessions WHERE account=?", id);
    Run("DELETE FROM wrapped_keys WHERE account=?", id);
    Run("DELETE FROM locks WHERE account=?", id);
    Run("DELETE FROM albums WHERE account=?", id);
    Run("DELETE FROM media WHERE account=?", id);
    Run("DELETE FROM assets WHERE account=?", id);
    Run("DELETE FROM slices WHERE account=?", id);
    Run("INSERT OR IGNORE INTO orphans SELECT account,sha256 FROM objects WHERE account=?", id);
    Run("DELETE FROM objects WHERE account=?", id);
    return true;
  });
}

std::int64_t SqliteStore::NextVersion(std::int64_t account) {
  const Guard guard(connections);
  SqliteStatement statement(
      connections.Writer().Prepare("UPDATE accounts SET version=version+1 WHERE id=? RETURNING version"),
      account);
  if (!statement.Step()) return 0;
  const auto version = statement.Number(0);
  // A write is done, and committed, only when the statement has ended.
  while (statement.Step()) {
  }
  return version;
}

void SqliteStore::AddUsedBytes(std::int64_t account, std::int64_t bytes) {
  Run("UPDATE accounts SET used_bytes=max(0,used_bytes+?) WHERE id=?", bytes, account);
}

void SqliteStore::InsertSession(const Session& session) {
  Run(R"sql(
    INSERT INTO sessions(account,device,access_hash,access_until,refresh_hash,refresh_until,
    previous_hash,previous_until,created_ms,last_used_ms) VALUES(?,?,?,?,?,?,?,?,?,?))sql",
      session.accountId, session.deviceId, session.accessHash, session.accessUntilMs, session.refreshHash,
      session.refreshUntilMs, session.previousHash, session.previousUntilMs, session.createdMs,
      session.lastUsedMs);
}

void SqliteStore::UpdateSession(const Session& session) {
  Run(R"sql(
    UPDATE sessions SET access_hash=?,access_until=?,refresh_hash=?,refresh_until=?,previous_hash=?,
    previous_until=? WHERE id=?)sql",
      session.accessHash, session.accessUntilMs, session.refreshHash, session.refreshUntilMs,
      session.previousHash, session.previousUntilMs, session.id);
}

bool SqliteStore::RemoveSession(std::int64_t account, std::int64_t id) {
  return Run("DELETE FROM sessions WHERE account=? AND id=?", account, id) > 0;
}

void SqliteStore::RemoveSessionsOf(std::int64_t account, std::int64_t butId) {
  Run("DELETE FROM sessions WHERE account=? AND id!=?", account, butId);
}

void SqliteStore::TouchSession(std::int64_t id, std::int64_t usedMs) {
  Run("UPDATE sessions SET last_used_ms=max(last_used_ms,?) WHERE id=?", usedMs, id);
}

bool SqliteStore::HasSession(std::int64_t id) {
  return Row(ReadNumber, "SELECT 1 FROM sessions WHERE id=?", id).has_value();
}

std::vector<Session> SqliteStore::ListSessions(std::int64_t account) {
  return Rows(ReadSession, R"sql(
    SELECT id,account,device,access_hash,access_until,refresh_hash,refresh_until,previous_hash,
    previous_until,created_ms,last_used_ms FROM sessions WHERE account=?)sql",
              account);
}

std::optional<Session> SqliteStore::FindSessionByAccess(const std::string& accessHash) {
  return Row(ReadSession, R"sql(
    SELECT id,account,device,access_hash,access_until,refresh_hash,refresh_until,previous_hash,
    previous_until,created_ms,last_used_ms FROM sessions WHERE access_hash=?)sql",
             accessHash);
}

std::optional<Session> SqliteStore::FindSessionByRefresh(const std::string& refreshHash) {
  return Row(ReadSession,
             R"sql(
    SELECT id,account,device,access_hash,access_until,refresh_hash,refresh_until,previous_hash,
    previous_until,created_ms,last_used_ms FROM sessions WHERE refresh_hash=?1 OR previous_hash=?1)sql",
             refreshHash);
}

void SqliteStore::RemoveSessionsBefore(std::int64_t refreshUntilMs) {
  Run("DELETE FROM sessions WHERE refresh_until<?", refreshUntilMs);
}

WrappedKeys SqliteStore::LoadKeys(std::int64_t account) {
  const auto read = [](const SqliteStatement& row) { return WrappedKeys{row.Text(0), row.Number(1)}; };
  return Row(read, "SELECT keys,revision FROM wrapped_keys WHERE account=?", account).value_or(WrappedKeys());
}

void SqliteStore::StoreKeys(std::int64_t account, const WrappedKeys& keys) {
  Run("INSERT OR REPLACE INTO wrapped_keys(account,keys,revision) VALUES(?,?,?)", account, keys.keys,
      keys.revision);
}

LockRecord SqliteStore::LoadLock(std::int64_t account) {
  const auto read = [](const SqliteStatement& row) {
    return LockRecord{row.Text(0), row.Text(1), row.Number(2)};
  };
  return Row(read, "SELECT token,device,until_ms FROM locks WHERE account=?", account).value_or(LockRecord());
}

void SqliteStore::StoreLock(std::int64_t account, const LockRecord& lock) {
  Run("INSERT OR REPLACE INTO locks(account,token,device,until_ms) VALUES(?,?,?,?)", account, lock.token,
      lock.device, lock.untilMs);
}

std::optional<AlbumRecord> SqliteStore::FindAlbum(std::int64_t account, const std::string& id) {
  return Row(ReadAlbum, R"sql(
    SELECT id,name,type,created_time,created_ms,local_path,properties,version,deleted FROM albums
    WHERE account=? AND id=?)sql",
             account, id);
}

std::optional<AlbumRecord> SqliteStore::FindAlbumByName(std::int64_t account, const std::string& name) {
  return Row(ReadAlbum, R"sql(
    SELECT id,name,type,created_time,created_ms,local_path,properties,version,deleted FROM albums
    WHERE account=? AND name=? AND deleted=0)sql",
             account, name);
}

void SqliteStore::PutAlbum(std::int64_t account, const AlbumRecord& album) {
  Run(R"sql(
    INSERT INTO albums(account,id,name,type,created_time,created_ms,local_path,properties,version,
    deleted) VALUES(?,?,?,?,?,?,?,?,?,?) ON CONFLICT(account,id) DO UPDATE SET name=excluded.name,
    type=excluded.type,created_time=excluded.created_time,created_ms=excluded.created_ms,
    local_path=excluded.local_path,properties=excluded.properties,version=excluded.version,
    deleted=excluded.deleted)sql",
      account, album.id, album.albumName, album.type, album.createdTime, album.createdMs, album.localPath,
      album.properties, album.version, album.deleted);
}

std::vector<AlbumRecord> SqliteStore::ListAlbums(std::int64_t account, const std::string& type,
                                                 const std::optional<ListPosition>& after, int limit) {
  const ListPosition from = after.value_or(ListPosition{INT64_MAX, ""});
  return Rows(ReadAlbum,
              R"sql(
    SELECT id,name,type,created_time,created_ms,local_path,properties,version,deleted FROM albums
    WHERE account=?1 AND deleted=0 AND (created_ms,id)<(?2,?3) AND (?4='' OR type=?4) ORDER BY
    created_ms DESC,id DESC LIMIT ?5)sql",
              account, from.createdMs, from.id, type, limit);
}

bool SqliteStore::AlbumHoldsMedia(std::int64_t account, const std::string& albumId) {
  return Row(ReadNumber,
             "SELECT 1 FROM media WHERE account=? AND album_id=? AND phase=1 AND recycled=0 LIMIT 1", account,
             albumId)
      .has_value();
}

std::optional<MediaRecord> SqliteStore::FindMedia(std::int64_t account, const std::string& id) {
  return Row(ReadMedia, R"sql(
    SELECT id,phase,album_id,recycled,created_ms,version,created_version,device,status,lost_version,
    touched_ms,fields FROM media WHERE account=? AND id=?)sql",
             account, id);
}

void SqliteStore::PutMedia(std::int64_t account, const MediaRecord& media) {
  const Guard guard(connections);
  const std::string brief = BriefOf(media.fields);
  // Most changes leave a record at its place in all lists but the one by versions:
  // a statement that names no column of the others leaves their indexes alone.
  const int changed = Run(
      R"sql(
    UPDATE media SET recycled=?1,version=?2,device=?3,touched_ms=?4,fields=?5 WHERE account=?6 AND
    id=?7 AND phase=?8 AND album_id=?9 AND created_ms=?10 AND created_version=?11 AND status=?12 AND
    lost_version=?13 AND brief=?14)sql",
      media.recycled, media.version, media.device, media.touchedMs, media.fields, account, media.id,
      static_cast<int>(media.phase), media.albumId, media.createdMs, media.createdVersion,
      static_cast<int>(media.status), media.lostVersion, brief);
  if (changed > 0) return;
  Run(R"sql(
    INSERT INTO media(account,id,phase,album_id,recycled,created_ms,version,created_version,device,
    status,lost_version,touched_ms,fields,brief) VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?,?) ON
    CONFLICT(account,id) DO UPDATE SET phase=excluded.phase,album_id=excluded.album_id,recycled=excluded.recycled,
    created_ms=excluded.created_ms,version=excluded.version,
    created_version=excluded.created_version,device=excluded.device,status=excluded.status,
    lost_version=excluded.lost_version,touched_ms=excluded.touched_ms,fields=excluded.fields,
    brief=excluded.brief)sql",
      account, media.id, static_cast<int>(media.phase), media.albumId, media.recycled, media.createdMs,
      media.version, media.createdVersion, media.device, static_cast<int>(media.status), media.lostVersion,
      media.touchedMs, media.fields, brief);
}

void SqliteStore::RemoveMedia(std::int64_t account, const std::string& id) {
  Run("DELETE FROM media WHERE account=? AND id=?", account, id);
}

std::vector<MediaRecord> SqliteStore::ListMedia(std::int64_t account, const MediaFilter& filter,
                                                const std::optional<ListPosition>& after, int limit,
                                                Extent extent) {
  const ListPosition from = after.value_or(ListPosition{INT64_MAX, ""});
  // All that this one names stands in its index: the records themselves are not read.
  if (extent == Extent::Brief && filter.albumId.empty() && !filter.recycled) {
    return Rows(ReadBrief,
                R"sql(
    SELECT id,album_id,created_ms,status,brief FROM media INDEXED BY media_created WHERE account=?1
    AND phase=1 AND (created_ms,id)<(?2,?3) ORDER BY created_ms DESC,id DESC LIMIT ?4)sql",
                account, from.createdMs, from.id, limit);
  }
  const int recycled = filter.recycled ? (*filter.recycled ? 1 : 0) : -1;
  // Two statements, because one with an optional album would not use its index.
  if (!filter.albumId.empty()) {
    return Rows(ReadListed,
                R"sql(
    SELECT id,album_id,recycled,created_ms,version,status,fields FROM media WHERE account=?1 AND
    phase=1 AND album_id=?5 AND (created_ms,id)<(?2,?3) AND (?4<0 OR recycled=?4) ORDER BY
    created_ms DESC,id DESC LIMIT ?6)sql",
                account, from.createdMs, from.id, recycled, filter.albumId, limit);
  }
  return Rows(ReadListed,
              R"sql(
    SELECT id,album_id,recycled,created_ms,version,status,fields FROM media WHERE account=?1 AND
    phase=1 AND (created_ms,id)<(?2,?3) AND (?4<0 OR recycled=?4) ORDER BY created_ms DESC,id DESC
    LIMIT ?5)sql",
              account, from.createdMs, from.id, recycled, limit);
}

std::vector<MediaRecord> SqliteStore::ListChanges(std::int64_t account, std::int64_t afterVersion,
                                                  bool includeDeleted, int limit) {
  return Rows(ReadMedia,
              R"sql(
    SELECT id,phase,album_id,recycled,created_ms,version,created_version,device,status,lost_version,
    touched_ms,fields FROM media WHERE account=?1 AND phase!=0 AND version>?2 AND (?3 OR phase=1)
    ORDER BY version LIMIT ?4)sql",
              account, afterVersion, includeDeleted, limit);
}

std::vector<MediaRecord> SqliteStore::ListLosts(std::int64_t account, std::int64_t afterVersion, int limit) {
  return Rows(ReadMedia,
              R"sql(
    SELECT id,phase,album_id,recycled,created_ms,version,created_version,device,status,lost_version,
    touched_ms,fields FROM media WHERE account=? AND lost_version>? AND lost_version>0 AND phase=1
    ORDER BY lost_version LIMIT ?)sql",
              account, afterVersion, limit);
}

std::vector<std::pair<std::int64_t, std::string>> SqliteStore::ListUploadsBefore(std::int64_t touchedMs,
                                                                                 int limit) {
  const auto read = [](const SqliteStatement& row) { return std::make_pair(row.Number(0), row.Text(1)); };
  return Rows(read,
              "SELECT account,id FROM media INDEXED BY media_upload WHERE phase=0 AND touched_ms<? LIMIT ?",
              touchedMs, limit);
}

std::vector<std::pair<std::int64_t, std::string>> SqliteStore::ListEmptyUploadsBefore(std::int64_t touchedMs,
                                                                                      int limit) {
  const auto read = [](const SqliteStatement& row) { return std::make_pair(row.Number(0), row.Text(1)); };
  return Rows(read,
              R"sql(
    SELECT m.account,m.id FROM media m INDEXED BY media_upload WHERE m.phase=0 AND m.touched_ms<?
    AND NOT EXISTS(SELECT 1 FROM slices s WHERE s.account=m.account AND s.media_id=m.id AND
    s.sha256!='') LIMIT ?)sql",
              touchedMs, limit);
}

int SqliteStore::CountUploads(std::int64_t account, int most) {
  return static_cast<int>(Row(ReadNumber,
                              R"sql(
    SELECT count(*) FROM (SELECT 1 FROM media INDEXED BY media_upload WHERE account=? AND phase=0
    LIMIT ?))sql",
                              account, most)
                              .value_or(0));
}

bool SqliteStore::CountBytes(std::int64_t account, Counting counting) {
  bool wasRight = true;
  Atomically([&] {
    const auto before = FindAccount(account);
    const auto objects =
        Row(ReadNumber, "SELECT coalesce(sum(length),0) FROM objects WHERE account=?", account).value_or(0);
    const auto records = Row(ReadNumber,
                             R"sql(
    SELECT (SELECT coalesce(sum(length(CAST(fields AS BLOB))),0) FROM media WHERE
    account=?1)+(SELECT coalesce(sum(length(CAST(fields AS BLOB))),0) FROM assets WHERE
    account=?1)+(SELECT coalesce(sum(length(CAST(name||local_path||properties AS BLOB))),0) FROM
    albums WHERE account=?1 AND id NOT IN ('default-album-1','default-album-2','default-album-3')))sql",
                             account)
                             .value_or(0);
    if (!before || (before->usedBytes == objects && before->recordBytes == records)) return true;
    if (counting == Counting::Repair)
      Run("UPDATE accounts SET used_bytes=?,record_bytes=? WHERE id=?", objects, records, account);
    wasRight = false;
    return true;
  });
  return wasRight;
}

void SqliteStore::PruneTombstones(std::int64_t touchedBeforeMs) {
  Atomically([&] {
    Run(R"sql(
    UPDATE accounts SET oldest_cursor=max(oldest_cursor,(SELECT coalesce(max(version),0) FROM media
    WHERE media.account=accounts.id AND phase=2 AND touched_ms<?)))sql",
        touchedBeforeMs);
    // By version and not by time, so that no tombstone stays behind the mark.
    Run(R"sql(
    DELETE FROM media WHERE phase=2 AND version<=(SELECT oldest_cursor FROM accounts WHERE
    accounts.id=media.account))sql");
    return true;
  });
}

void SqliteStore::ExpireCursors(std::int64_t account) {
  Atomically([&] {
    Run("UPDATE accounts SET version=version+1 WHERE id=?", account);
    Run("UPDATE accounts SET oldest_cursor=version WHERE id=?", account);
    return true;
  });
}

std::vector<AssetRecord> SqliteStore::ListAssets(std::int64_t account, const std::string& mediaId) {
  return Rows(ReadAsset, R"sql(
    SELECT media_id,id,version_id,usage,hash,sha256,length,slice_size,status,fields FROM assets
    WHERE account=? AND media_id=? ORDER BY usage)sql",
              account, mediaId);
}

std::map<std::string, std::vector<ContentRecord>> SqliteStore::ListContents(
    std::int64_t account, const std::vector<std::string>& mediaIds, int limit) {
  // Ids are the service's own, of hexadecimal digits.
  std::string ids = "[";
  for (const std::string& id : mediaIds) ids += (ids.size() > 1 ? ",\"" : "\"") + id + "\"";
  ids += ']';
  std::map<std::string, std::vector<ContentRecord>> contents;
  Reader reader(connections);
  SqliteStatement row(reader.Get().Prepare(
                          R"sql(
    SELECT a.media_id,a.id,a.version_id,a.usage,a.hash,a.sha256,a.length,a.slice_size,a.status,
    a.fields,s.object_id,s.number,s.start,s.length,s.md5,s.sha256,o.sha256 IS NOT NULL FROM
    json_each(?2) j CROSS JOIN assets a ON a.account=?1 AND a.media_id=j.value LEFT JOIN slices s ON
    s.account=?1 AND s.asset_id=a.id LEFT JOIN objects o ON o.account=?1 AND o.sha256=s.sha256 AND
    o.length=s.length AND o.whole=1 ORDER BY j.key,a.usage,a.id,s.number LIMIT ?3)sql"),
                      account, ids, limit);
  while (row.Step()) {
    auto& list = contents[row.Text(0)];
    if (list.empty() || list.back().asset.id != row.Text(1)) list.push_back({ReadAsset(row), {}});
    if (row.Text(10).empty()) continue;
    const AssetRecord& asset = list.back().asset;
    list.back().slices.push_back({row.Text(10), asset.mediaId, asset.id, row.Number(11), row.Number(12),
                                  row.Number(13), row.Text(14), row.Text(15), row.Flag(16)});
  }
  return contents;
}

void SqliteStore::PutAsset(std::int64_t account, const AssetRecord& asset) {
  Run(R"sql(
    INSERT INTO assets(account,media_id,id,version_id,usage,hash,sha256,length,slice_size,status,
    fields) VALUES(?,?,?,?,?,?,?,?,?,?,?) ON CONFLICT(account,id) DO UPDATE SET
    media_id=excluded.media_id,version_id=excluded.version_id,usage=excluded.usage,
    hash=excluded.hash,sha256=excluded.sha256,length=excluded.length,slice_size=excluded.slice_size,
    status=excluded.status,fields=excluded.fields)sql",
      account, asset.mediaId, asset.id, asset.versionId, asset.usage, asset.hash, asset.sha256, asset.length,
      asset.sliceSize, static_cast<int>(asset.status), asset.fields);
}

std::vector<AssetRecord> SqliteStore::ListWholeAssets(std::int64_t account, const AssetRecord& like,
                                                      int limit) {
  return Rows(ReadAsset,
              R"sql(
    SELECT media_id,id,version_id,usage,hash,sha256,length,slice_size,status,fields FROM assets a
    WHERE account=?1 AND hash=?2 AND sha256=?3 AND usage=?4 AND length=?5 AND slice_size=?6 AND
    EXISTS(SELECT 1 FROM media m WHERE m.account=?1 AND m.id=a.media_id AND m.phase=1) AND NOT
    EXISTS(SELECT 1 FROM slices s WHERE s.account=?1 AND s.asset_id=a.id AND NOT EXISTS(SELECT 1
    FROM objects o WHERE o.account=?1 AND o.sha256=s.sha256 AND o.length=s.length AND o.whole=1))
    LIMIT ?7)sql",
              account, like.hash, like.sha256, like.usage, like.length, like.sliceSize, limit);
}

std::vector<SliceRecord> SqliteStore::ListSlices(std::int64_t account, const std::string& assetId) {
  return Rows(ReadSlice,
              R"sql(
    SELECT s.object_id,s.media_id,s.asset_id,s.number,s.start,s.length,s.md5,s.sha256,EXISTS(SELECT
    1 FROM objects o WHERE o.account=s.account AND o.sha256=s.sha256 AND o.length=s.length AND
    o.whole=1) FROM slices s WHERE s.account=? AND s.asset_id=? ORDER BY s.number)sql",
              account, assetId);
}

std::optional<std::pair<std::int64_t, SliceRecord>> SqliteStore::FindSlice(const std::string& objectId) {
  const auto read = [](const SqliteStatement& row) { return std::make_pair(row.Number(9), ReadSlice(row)); };
  return Row(read, R"sql(
    SELECT s.object_id,s.media_id,s.asset_id,s.number,s.start,s.length,s.md5,s.sha256,EXISTS(SELECT
    1 FROM objects o WHERE o.account=s.account AND o.sha256=s.sha256 AND o.length=s.length AND
    o.whole=1),s.account FROM slices s WHERE s.object_id=?)sql",
             objectId);
}

void SqliteStore::PutSlice(std::int64_t account, const SliceRecord& slice) {
  Run(R"sql(
    INSERT OR REPLACE INTO slices(account,object_id,media_id,asset_id,number,start,length,md5,
    sha256) VALUES(?,?,?,?,?,?,?,?,?))sql",
      account, slice.objectId, slice.mediaId, slice.assetId, slice.number, slice.start, slice.length,
      slice.md5, slice.sha256);
}

std::vector<std::string> SqliteStore::RemoveAssets(std::int64_t account, const std::string& mediaId) {
  std::vector<std::string> objects;
  Atomically([&] {
    objects =
        Rows(ReadText, "SELECT DISTINCT sha256 FROM slices WHERE account=? AND media_id=? AND sha256!=''",
             account, mediaId);
    Run("DELETE FROM slices WHERE account=? AND media_id=?", account, mediaId);
    Run("DELETE FROM assets WHERE account=? AND media_id=?", account, mediaId);
    return true;
  });
  return objects;
}

std::int64_t SqliteStore::ReservedBytes(std::int64_t account) {
  // From the few open uploads to their slices; left to itself the library goes
  // through all slices of a large account.
  return Row(ReadNumber,
             R"sql(
    SELECT coalesce(sum(s.length),0) FROM media m INDEXED BY media_upload CROSS JOIN slices s ON
    s.account=m.account AND s.media_id=m.id WHERE m.account=? AND m.phase=0 AND NOT EXISTS(SELECT 1
    FROM objects o WHERE o.account=s.account AND o.sha256=s.sha256 AND o.length=s.length AND
    o.whole=1))sql",
             account)
      .value_or(0);
}

std::optional<ObjectRecord> SqliteStore::FindObject(std::int64_t account, const std::string& sha256) {
  return Row(ReadObject, "SELECT sha256,md5,length,whole FROM objects WHERE account=? AND sha256=?", account,
             sha256);
}

void SqliteStore::PutObject(std::int64_t account, const ObjectRecord& object) {
  Run("INSERT OR REPLACE INTO objects(account,sha256,md5,length,whole) VALUES(?,?,?,?,?)", account,
      object.sha256, object.md5, object.length, object.whole);
}

void SqliteStore::RemoveObject(std::int64_t account, const std::string& sha256) {
  Atomically([&] {
    Run("DELETE FROM objects WHERE account=? AND sha256=?", account, sha256);
    Run("INSERT OR IGNORE INTO orphans(account,sha256) VALUES(?,?)", account, sha256);
    return true;
  });
}

std::vector<std::pair<std::int64_t, std::string>> SqliteStore::ListOrphans(int limit) {
  const auto read = [](const SqliteStatement& row) { return std::make_pair(row.Number(0), row.Text(1)); };
  return Rows(read, "SELECT account,sha256 FROM orphans LIMIT ?", limit);
}

void SqliteStore::ForgetOrphan(std::int64_t account, const std::string& sha256) {
  Run("DELETE FROM orphans WHERE account=? AND sha256=?", account, sha256);
}

std::vector<ObjectRecord> SqliteStore::ListObjects(std::int64_t account, const std::string& afterSha256,
                                                   int limit) {
  return Rows(
      ReadObject,
      "SELECT sha256,md5,length,whole FROM objects WHERE account=? AND sha256>? ORDER BY sha256 LIMIT ?",
      account, afterSha256, limit);
}

bool SqliteStore::IsObjectUsed(std::int64_t account, const std::string& sha256) {
  return Row(ReadNumber, "SELECT 1 FROM slices WHERE account=? AND sha256=? LIMIT 1", account, sha256)
      .has_value();
}

std::vector<std::string> SqliteStore::ListMediaOfObject(std::int64_t account, const std::string& sha256) {
  return Rows(ReadText,
              R"sql(
    SELECT DISTINCT s.media_id FROM slices s JOIN media m ON m.account=s.account AND m.id=s.media_id
    WHERE s.account=? AND s.sha256=? AND m.phase=1)sql",
              account, sha256);
}

}  // namespace photocloud
