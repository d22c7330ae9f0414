#include "photocloud/store/sqlitestore.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "photocloud/base/text.h"

namespace photocloud {
namespace {

// The first layout, which had no number. A new file starts with it too and goes
// through all steps below, so that there is one way to the present layout.
constexpr const char* kTables = R"sql(
CREATE TABLE IF NOT EXISTS settings(name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS accounts(
  id INTEGER PRIMARY KEY AUTOINCREMENT, user_id TEXT NOT NULL UNIQUE, user_name TEXT NOT NULL UNIQUE,
  verifier TEXT NOT NULL, disabled INTEGER NOT NULL, hidden INTEGER NOT NULL, user_status TEXT NOT NULL,
  suspend_cursor TEXT NOT NULL, version INTEGER NOT NULL DEFAULT 0, oldest_cursor INTEGER NOT NULL DEFAULT 0,
  quota_bytes INTEGER NOT NULL, used_bytes INTEGER NOT NULL DEFAULT 0);
CREATE TABLE IF NOT EXISTS sessions(
  id INTEGER PRIMARY KEY, account INTEGER NOT NULL, device TEXT NOT NULL, access_hash TEXT NOT NULL UNIQUE,
  access_until INTEGER NOT NULL, refresh_hash TEXT NOT NULL UNIQUE, refresh_until INTEGER NOT NULL,
  previous_hash TEXT NOT NULL, previous_until INTEGER NOT NULL);
CREATE INDEX IF NOT EXISTS sessions_previous ON sessions(previous_hash) WHERE previous_hash != '';
CREATE INDEX IF NOT EXISTS sessions_account ON sessions(account);
CREATE TABLE IF NOT EXISTS wrapped_keys(account INTEGER PRIMARY KEY, keys TEXT NOT NULL, revision INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS locks(
  account INTEGER PRIMARY KEY, token TEXT NOT NULL, device TEXT NOT NULL, until_ms INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS albums(
  account INTEGER NOT NULL, id TEXT NOT NULL, name TEXT NOT NULL, type TEXT NOT NULL, created_time TEXT NOT NULL,
  created_ms INTEGER NOT NULL, local_path TEXT NOT NULL, properties TEXT NOT NULL, version INTEGER NOT NULL,
  deleted INTEGER NOT NULL, PRIMARY KEY(account, id)) WITHOUT ROWID;
CREATE UNIQUE INDEX IF NOT EXISTS albums_name ON albums(account, name) WHERE deleted = 0;
CREATE INDEX IF NOT EXISTS albums_created ON albums(account, created_ms DESC, id DESC) WHERE deleted = 0;
CREATE TABLE IF NOT EXISTS media(
  account INTEGER NOT NULL, id TEXT NOT NULL, phase INTEGER NOT NULL, album_id TEXT NOT NULL,
  recycled INTEGER NOT NULL, created_ms INTEGER NOT NULL, version INTEGER NOT NULL, created_version INTEGER NOT NULL,
  device TEXT NOT NULL, status INTEGER NOT NULL, lost_version INTEGER NOT NULL, touched_ms INTEGER NOT NULL,
  fields TEXT NOT NULL, PRIMARY KEY(account, id));
CREATE INDEX IF NOT EXISTS media_created ON media(account, created_ms DESC, id DESC) WHERE phase = 1;
CREATE INDEX IF NOT EXISTS media_album ON media(account, album_id, created_ms DESC, id DESC) WHERE phase = 1;
CREATE INDEX IF NOT EXISTS media_version ON media(account, version) WHERE phase != 0;
CREATE INDEX IF NOT EXISTS media_lost ON media(account, lost_version) WHERE lost_version > 0;
CREATE INDEX IF NOT EXISTS media_upload ON media(account, touched_ms) WHERE phase = 0;
CREATE INDEX IF NOT EXISTS media_tombstone ON media(account, touched_ms) WHERE phase = 2;
CREATE TABLE IF NOT EXISTS assets(
  account INTEGER NOT NULL, media_id TEXT NOT NULL, id TEXT NOT NULL, version_id TEXT NOT NULL, usage TEXT NOT NULL,
  hash TEXT NOT NULL, sha256 TEXT NOT NULL, length INTEGER NOT NULL, slice_size INTEGER NOT NULL,
  status INTEGER NOT NULL, fields TEXT NOT NULL, PRIMARY KEY(account, id));
CREATE INDEX IF NOT EXISTS assets_media ON assets(account, media_id);
CREATE INDEX IF NOT EXISTS assets_hash ON assets(account, hash);
CREATE TABLE IF NOT EXISTS slices(
  object_id TEXT PRIMARY KEY, account INTEGER NOT NULL, media_id TEXT NOT NULL, asset_id TEXT NOT NULL,
  number INTEGER NOT NULL, start INTEGER NOT NULL, length INTEGER NOT NULL, md5 TEXT NOT NULL, sha256 TEXT NOT NULL)
  WITHOUT ROWID;
CREATE INDEX IF NOT EXISTS slices_asset ON slices(account, asset_id, number);
CREATE INDEX IF NOT EXISTS slices_media ON slices(account, media_id);
CREATE INDEX IF NOT EXISTS slices_object ON slices(account, sha256);
CREATE TABLE IF NOT EXISTS objects(
  account INTEGER NOT NULL, sha256 TEXT NOT NULL, md5 TEXT NOT NULL, length INTEGER NOT NULL, whole INTEGER NOT NULL,
  PRIMARY KEY(account, sha256)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS orphans(account INTEGER NOT NULL, sha256 TEXT NOT NULL, PRIMARY KEY(account, sha256))
  WITHOUT ROWID;
)sql";

// Each brings a file to the layout of the next number, which stands in
// user_version. A step that was released once is never changed.
constexpr const char* kLayoutSteps[] = {
    // 1: sessions that can be listed and ended by their id. Those from before
    // were last used at their last refresh, as far as anybody knows.
    R"sql(
CREATE TABLE sessions_1(
  id INTEGER PRIMARY KEY AUTOINCREMENT, account INTEGER NOT NULL, device TEXT NOT NULL,
  access_hash TEXT NOT NULL UNIQUE, access_until INTEGER NOT NULL, refresh_hash TEXT NOT NULL UNIQUE,
  refresh_until INTEGER NOT NULL, previous_hash TEXT NOT NULL, previous_until INTEGER NOT NULL,
  created_ms INTEGER NOT NULL, last_used_ms INTEGER NOT NULL);
INSERT INTO sessions_1 SELECT id,account,device,access_hash,access_until,refresh_hash,refresh_until,previous_hash,
  previous_until,refresh_until-2592000000,refresh_until-2592000000 FROM sessions;
DROP TABLE sessions;
ALTER TABLE sessions_1 RENAME TO sessions;
CREATE INDEX sessions_previous ON sessions(previous_hash) WHERE previous_hash != '';
CREATE INDEX sessions_account ON sessions(account);
CREATE INDEX accounts_name ON accounts(user_name COLLATE NOCASE);
)sql",
    // 2: texts of records count as used space. The albums that every account has
    // from its start do not, so that a new account uses nothing.
    R"sql(
ALTER TABLE accounts ADD COLUMN record_bytes INTEGER NOT NULL DEFAULT 0;
CREATE TRIGGER media_in AFTER INSERT ON media BEGIN
  UPDATE accounts SET record_bytes=record_bytes+length(CAST(new.fields AS BLOB)) WHERE id=new.account; END;
CREATE TRIGGER media_change AFTER UPDATE OF fields ON media WHEN new.fields!=old.fields BEGIN
  UPDATE accounts SET record_bytes=record_bytes+length(CAST(new.fields AS BLOB))-length(CAST(old.fields AS BLOB))
  WHERE id=new.account; END;
CREATE TRIGGER media_out AFTER DELETE ON media BEGIN
  UPDATE accounts SET record_bytes=record_bytes-length(CAST(old.fields AS BLOB)) WHERE id=old.account; END;
CREATE TRIGGER assets_in AFTER INSERT ON assets BEGIN
  UPDATE accounts SET record_bytes=record_bytes+length(CAST(new.fields AS BLOB)) WHERE id=new.account; END;
CREATE TRIGGER assets_change AFTER UPDATE OF fields ON assets WHEN new.fields!=old.fields BEGIN
  UPDATE accounts SET record_bytes=record_bytes+length(CAST(new.fields AS BLOB))-length(CAST(old.fields AS BLOB))
  WHERE id=new.account; END;
CREATE TRIGGER assets_out AFTER DELETE ON assets BEGIN
  UPDATE accounts SET record_bytes=record_bytes-length(CAST(old.fields AS BLOB)) WHERE id=old.account; END;
CREATE TRIGGER albums_in AFTER INSERT ON albums
  WHEN new.id NOT IN ('default-album-1','default-album-2','default-album-3') BEGIN
  UPDATE accounts SET record_bytes=record_bytes+length(CAST(new.name||new.local_path||new.properties AS BLOB))
  WHERE id=new.account; END;
CREATE TRIGGER albums_change AFTER UPDATE ON albums
  WHEN new.id NOT IN ('default-album-1','default-album-2','default-album-3') BEGIN
  UPDATE accounts SET record_bytes=record_bytes+length(CAST(new.name||new.local_path||new.properties AS BLOB))
    -length(CAST(old.name||old.local_path||old.properties AS BLOB)) WHERE id=new.account; END;
UPDATE accounts SET record_bytes=
  (SELECT coalesce(sum(length(CAST(fields AS BLOB))),0) FROM media WHERE media.account=accounts.id)+
  (SELECT coalesce(sum(length(CAST(fields AS BLOB))),0) FROM assets WHERE assets.account=accounts.id)+
  (SELECT coalesce(sum(length(CAST(name||local_path||properties AS BLOB))),0) FROM albums WHERE
   albums.account=accounts.id AND id NOT IN ('default-album-1','default-album-2','default-album-3'));
)sql",
};
constexpr std::int64_t kLayoutVersion = std::size(kLayoutSteps);

// Column lists in the order of the readers below; macros, because statements are literals.
#define ACCOUNT_COLUMNS                                                                                   \
  "id,user_id,user_name,verifier,disabled,hidden,user_status,suspend_cursor,version,oldest_cursor,quota_" \
  "bytes,"                                                                                                \
  "used_bytes,record_bytes"
#define SESSION_COLUMNS                                                                                 \
  "id,account,device,access_hash,access_until,refresh_hash,refresh_until,previous_hash,previous_until," \
  "created_ms,last_used_ms"
#define ALBUM_COLUMNS "id,name,type,created_time,created_ms,local_path,properties,version,deleted"
#define MEDIA_COLUMNS                                                                                    \
  "id,phase,album_id,recycled,created_ms,version,created_version,device,status,lost_version,touched_ms," \
  "fields"
#define LISTED_COLUMNS "id,album_id,recycled,created_ms,version,status,fields"
#define ASSET_COLUMNS "media_id,id,version_id,usage,hash,sha256,length,slice_size,status,fields"
#define SLICE_COLUMNS                                                                                        \
  "s.object_id,s.media_id,s.asset_id,s.number,s.start,s.length,s.md5,s.sha256,EXISTS(SELECT 1 FROM objects " \
  "o "                                                                                                       \
  "WHERE o.account=s.account AND o.sha256=s.sha256 AND o.length=s.length AND o.whole=1)"

Account ReadAccount(const SqliteStatement& row) {
  return {row.Number(0),  row.Text(1),    row.Text(2),   row.Text(3),   row.Flag(4),
          row.Flag(5),    row.Text(6),    row.Text(7),   row.Number(8), row.Number(9),
          row.Number(10), row.Number(11), row.Number(12)};
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

bool SyncPath(const std::filesystem::path& path) {
  const int handle = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (handle < 0) return false;
  const bool done = ::fsync(handle) == 0;
  ::close(handle);
  return done;
}

sqlite3* OpenConnection(const std::filesystem::path& file, int flags) {
  sqlite3* connection = nullptr;
  if (sqlite3_open_v2(file.c_str(), &connection, flags, nullptr) == SQLITE_OK) return connection;
  const std::string reason = connection ? sqlite3_errmsg(connection) : "out of memory";
  sqlite3_close_v2(connection);
  throw StoreFailure("cannot open " + file.string() + ": " + reason);
}

// A connection of its own for work on a whole file.
class PlainConnection {
 public:
  explicit PlainConnection(const std::filesystem::path& file)
      : connection(OpenConnection(file, SQLITE_OPEN_READWRITE)) {}
  ~PlainConnection() { sqlite3_close_v2(connection); }
  PlainConnection(const PlainConnection&) = delete;
  PlainConnection& operator=(const PlainConnection&) = delete;

  void Execute(const char* sql) const {
    if (sqlite3_exec(connection, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
      throw SqliteFailure(connection, sql);
  }

  bool IsSound() const {
    bool isSound = false;
    const auto read = [](void* target, int, char** values, char**) {
      *static_cast<bool*>(target) = std::string_view(values[0]) == "ok";
      return 0;
    };
    return sqlite3_exec(connection, "PRAGMA integrity_check(1)", read, &isSound, nullptr) == SQLITE_OK &&
           isSound;
  }

 private:
  sqlite3* const connection;
};

std::string ReadText(const SqliteStatement& row) { return row.Text(0); }
std::int64_t ReadNumber(const SqliteStatement& row) { return row.Number(0); }

}  // namespace

void SettleLog(const std::filesystem::path& file) {
  const std::filesystem::path log = file.string() + "-wal";
  std::error_code ignored;
  if (std::filesystem::exists(log, ignored)) {
    try {
      const PlainConnection database(file);
      database.Execute("PRAGMA journal_mode=DELETE");
    } catch (const StoreFailure&) {
      // Whatever it is, it is no database; its log belongs to nothing either.
    }
  }
  std::filesystem::remove(log, ignored);
  std::filesystem::remove(file.string() + "-shm", ignored);
}

SqliteStore::Connection::~Connection() {
  for (const auto& [sql, statement] : prepared) sqlite3_finalize(statement);
  sqlite3_close_v2(handle);
}

void SqliteStore::Connection::Execute(const char* sql) const {
  if (sqlite3_exec(handle, sql, nullptr, nullptr, nullptr) != SQLITE_OK) throw SqliteFailure(handle, sql);
}

sqlite3_stmt* SqliteStore::Connection::Prepare(const char* sql) {
  // Keyed by the literal's address: each place in this file keeps its own.
  sqlite3_stmt*& statement = prepared[sql];
  if (statement) return statement;
  if (sqlite3_prepare_v3(handle, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK)
    throw SqliteFailure(handle, sql);
  return statement;
}

bool SqliteStore::Place::Take(std::chrono::milliseconds longest) {
  const auto self = std::this_thread::get_id();
  std::unique_lock hold(lock);
  if (depth > 0 && holder == self) {
    ++depth;
    return true;
  }
  if (!becameFree.wait_for(hold, longest, [this] { return depth == 0; })) return false;
  holder = self;
  depth = 1;
  return true;
}

void SqliteStore::Place::Leave() {
  {
    const std::lock_guard hold(lock);
    if (--depth > 0) return;
  }
  becameFree.notify_one();
}

SqliteStore::Guard::Guard(SqliteStore& owner) : store(owner) {
  if (!store.storeLock.Take(std::chrono::milliseconds(store.busyMs)))
    throw StoreFailure("other writers take too long", StoreFailure::Kind::Busy);
}

SqliteStore::Guard::~Guard() { store.storeLock.Leave(); }

SqliteStore::Reader::Reader(SqliteStore& owner) : store(owner) {
  if (store.writingThread == std::this_thread::get_id()) return;
  {
    const std::lock_guard guard(store.readersLock);
    if (!store.readers.empty()) {
      borrowed = std::move(store.readers.back());
      store.readers.pop_back();
    }
  }
  if (!borrowed) borrowed = store.OpenReader();
}

SqliteStore::Reader::~Reader() {
  if (!borrowed) return;
  const std::lock_guard guard(store.readersLock);
  store.readers.push_back(std::move(borrowed));
}

SqliteStore::SqliteStore(const std::filesystem::path& databaseFile, int writersWaitMs)
    : file(databaseFile), logFile(file.string() + "-wal"), busyMs(writersWaitMs) {
  writer = std::make_unique<Connection>(
      OpenConnection(file, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX));
  sqlite3_busy_timeout(writer->handle, busyMs);
  Execute("PRAGMA journal_mode=WAL");
  // Flushes the log before it is taken over into the database, and no more.
  Execute("PRAGMA synchronous=NORMAL");
  Execute("PRAGMA cache_size=-65536");
  sqlite3_wal_hook(writer->handle, &SqliteStore::OnCommit, this);
  MakeTables();
  Flush();
  // The log's own name was new.
  if (!SyncPath(file.has_parent_path() ? file.parent_path() : "."))
    throw StoreFailure("cannot flush the folder");
}

SqliteStore::~SqliteStore() = default;

std::unique_ptr<SqliteStore::Connection> SqliteStore::OpenReader() const {
  auto reader =
      std::make_unique<Connection>(OpenConnection(file, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX));
  sqlite3_busy_timeout(reader->handle, busyMs);
  reader->Execute("PRAGMA query_only=1");
  reader->Execute("PRAGMA cache_size=-16384");
  // All readers share the system's pages: with caches of their own only, accounts in
  // turn read each page anew. The most that the library maps.
  reader->Execute("PRAGMA mmap_size=2147418112");
  return reader;
}

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
  const std::lock_guard guard(flushLock);
  if (flushed >= wanted) return;
  const std::uint64_t reached = commits;
  if (!SyncPath(logFile)) {
    const bool isFull = errno == ENOSPC || errno == EDQUOT;
    throw StoreFailure("cannot flush " + logFile.string(),
                       isFull ? StoreFailure::Kind::Full : StoreFailure::Kind::Broken);
  }
  flushed = reached;
}

void SqliteStore::CopyTo(const std::filesystem::path& target) {
  Run("VACUUM INTO ?", target.string());
  const PlainConnection copy(target);
  // Whoever reads a backup could otherwise sign URLs of the running service.
  copy.Execute("PRAGMA secure_delete=ON; DELETE FROM settings WHERE name='secret'");
  if (!copy.IsSound() || !SyncPath(target)) throw StoreFailure("the copy cannot be read back");
}

template <typename... Values>
int SqliteStore::Run(const char* sql, const Values&... values) {
  const Guard guard(*this);
  return SqliteStatement(writer->Prepare(sql), values...).Run();
}

template <typename Read, typename... Values>
auto SqliteStore::Rows(Read read, const char* sql, const Values&... values) {
  Reader reader(*this);
  SqliteStatement statement(reader.Get().Prepare(sql), values...);
  std::vector<decltype(read(statement))> rows;
  rows.reserve(kRowsOfPage);
  while (statement.Step()) rows.push_back(read(statement));
  return rows;
}

template <typename Read, typename... Values>
auto SqliteStore::Row(Read read, const char* sql, const Values&... values) {
  Reader reader(*this);
  SqliteStatement statement(reader.Get().Prepare(sql), values...);
  std::optional<decltype(read(statement))> row;
  if (statement.Step()) row = read(statement);
  return row;
}

bool SqliteStore::Atomically(const std::function<bool()>& work) {
  const Guard guard(*this);
  // The writer's place is taken at once: a transaction that only found out at
  // its first write that another process writes would have to start again.
  Run(depth == 0 ? "BEGIN IMMEDIATE" : "SAVEPOINT nested");
  const char* const keep = depth == 0 ? "COMMIT" : "RELEASE nested";
  const char* const undo = depth == 0 ? "ROLLBACK" : "ROLLBACK TO nested; RELEASE nested";
  ++depth;
  writingThread = std::this_thread::get_id();
  bool done = false;
  try {
    done = work();
    if (done) Run(keep);
  } catch (...) {
    // After a failed commit there may be nothing left to undo.
    (void)sqlite3_exec(writer->handle, undo, nullptr, nullptr, nullptr);
    LeaveLevel();
    throw;
  }
  LeaveLevel();
  if (!done) Execute(undo);
  return done;
}

void SqliteStore::LeaveLevel() {
  if (--depth == 0) writingThread = std::thread::id();
}

void SqliteStore::MakeTables() {
  Atomically([this] {
    auto version = LayoutVersion();
    if (version > kLayoutVersion) throw StoreFailure("the database was written by a later version");
    if (version == 0) Execute(kTables);
    for (; version < kLayoutVersion; ++version) Execute(kLayoutSteps[version]);
    Execute(("PRAGMA user_version=" + std::to_string(kLayoutVersion)).c_str());
    return true;
  });
}

std::int64_t SqliteStore::LayoutVersion() { return Row(ReadNumber, "PRAGMA user_version").value_or(0); }

std::string SqliteStore::Secret() {
  Run("INSERT OR IGNORE INTO settings(name,value) VALUES('secret',?)", ToHex(RandomBytes(32)));
  return Row(ReadText, "SELECT value FROM settings WHERE name='secret'").value_or("");
}

std::optional<std::int64_t> SqliteStore::InsertAccount(const Account& account) {
  const Guard guard(*this);
  const int rows = Run(
      "INSERT OR IGNORE INTO accounts(user_id,user_name,verifier,disabled,hidden,user_status,suspend_cursor,"
      "quota_bytes) SELECT ?1,?2,?3,?4,?5,?6,?7,?8 WHERE NOT EXISTS(SELECT 1 FROM accounts WHERE "
      "user_name=?2 COLLATE NOCASE)",
      account.userId, account.userName, account.verifier, account.disabled, account.hidden,
      account.userStatus, account.suspendCursor, account.quotaBytes);
  if (rows == 0) return std::nullopt;
  return sqlite3_last_insert_rowid(writer->handle);
}

std::optional<Account> SqliteStore::FindAccount(std::int64_t id) {
  return Row(ReadAccount, "SELECT " ACCOUNT_COLUMNS " FROM accounts WHERE id=?", id);
}

std::optional<Account> SqliteStore::FindAccountByName(const std::string& userName) {
  // Files of the first layout may hold names that differ in case only: there the
  // exact one goes first.
  return Row(ReadAccount,
             "SELECT " ACCOUNT_COLUMNS
             " FROM accounts WHERE user_name=?1 COLLATE NOCASE ORDER BY user_name=?1 DESC,id LIMIT 1",
             userName);
}

std::vector<Account> SqliteStore::ListAccounts() {
  return Rows(ReadAccount, "SELECT " ACCOUNT_COLUMNS " FROM accounts ORDER BY id");
}

void SqliteStore::UpdateAccount(const Account& account) {
  Run("UPDATE accounts SET verifier=?,disabled=?,hidden=?,user_status=?,suspend_cursor=?,quota_bytes=? WHERE "
      "id=?",
      account.verifier, account.disabled, account.hidden, account.userStatus, account.suspendCursor,
      account.quotaBytes, account.id);
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
  const Guard guard(*this);
  SqliteStatement statement(
      writer->Prepare("UPDATE accounts SET version=version+1 WHERE id=? RETURNING version"), account);
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
  Run("INSERT INTO sessions(account,device,access_hash,access_until,refresh_hash,refresh_until,previous_hash,"
      "previous_until,created_ms,last_used_ms) VALUES(?,?,?,?,?,?,?,?,?,?)",
      session.accountId, session.deviceId, session.accessHash, session.accessUntilMs, session.refreshHash,
      session.refreshUntilMs, session.previousHash, session.previousUntilMs, session.createdMs,
      session.lastUsedMs);
}

void SqliteStore::UpdateSession(const Session& session) {
  Run("UPDATE sessions SET access_hash=?,access_until=?,refresh_hash=?,refresh_until=?,previous_hash=?,"
      "previous_until=? WHERE id=?",
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
  return Rows(ReadSession, "SELECT " SESSION_COLUMNS " FROM sessions WHERE account=?", account);
}

std::optional<Session> SqliteStore::FindSessionByAccess(const std::string& accessHash) {
  return Row(ReadSession, "SELECT " SESSION_COLUMNS " FROM sessions WHERE access_hash=?", accessHash);
}

std::optional<Session> SqliteStore::FindSessionByRefresh(const std::string& refreshHash) {
  return Row(ReadSession,
             "SELECT " SESSION_COLUMNS " FROM sessions WHERE refresh_hash=?1 OR previous_hash=?1",
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
  return Row(ReadAlbum, "SELECT " ALBUM_COLUMNS " FROM albums WHERE account=? AND id=?", account, id);
}

std::optional<AlbumRecord> SqliteStore::FindAlbumByName(std::int64_t account, const std::string& name) {
  return Row(ReadAlbum, "SELECT " ALBUM_COLUMNS " FROM albums WHERE account=? AND name=? AND deleted=0",
             account, name);
}

void SqliteStore::PutAlbum(std::int64_t account, const AlbumRecord& album) {
  Run("INSERT INTO albums(account," ALBUM_COLUMNS
      ") VALUES(?,?,?,?,?,?,?,?,?,?) ON CONFLICT(account,id) DO UPDATE SET "
      "name=excluded.name,type=excluded.type,"
      "created_time=excluded.created_time,created_ms=excluded.created_ms,local_path=excluded.local_path,"
      "properties=excluded.properties,version=excluded.version,deleted=excluded.deleted",
      account, album.id, album.albumName, album.type, album.createdTime, album.createdMs, album.localPath,
      album.properties, album.version, album.deleted);
}

std::vector<AlbumRecord> SqliteStore::ListAlbums(std::int64_t account, const std::string& type,
                                                 const std::optional<ListPosition>& after, int limit) {
  const ListPosition from = after.value_or(ListPosition{INT64_MAX, ""});
  return Rows(
      ReadAlbum,
      "SELECT " ALBUM_COLUMNS
      " FROM albums WHERE account=?1 AND deleted=0 AND (created_ms,id)<(?2,?3) AND (?4='' OR type=?4) "
      "ORDER BY created_ms DESC,id DESC LIMIT ?5",
      account, from.createdMs, from.id, type, limit);
}

bool SqliteStore::AlbumHoldsMedia(std::int64_t account, const std::string& albumId) {
  return Row(ReadNumber,
             "SELECT 1 FROM media WHERE account=? AND album_id=? AND phase=1 AND recycled=0 LIMIT 1", account,
             albumId)
      .has_value();
}

std::optional<MediaRecord> SqliteStore::FindMedia(std::int64_t account, const std::string& id) {
  return Row(ReadMedia, "SELECT " MEDIA_COLUMNS " FROM media WHERE account=? AND id=?", account, id);
}

void SqliteStore::PutMedia(std::int64_t account, const MediaRecord& media) {
  const Guard guard(*this);
  // Most changes leave a record at its place in all lists but the one by versions:
  // a statement that names no column of the others leaves their indexes alone.
  const int changed = Run(
      "UPDATE media SET recycled=?1,version=?2,device=?3,status=?4,touched_ms=?5,fields=?6 WHERE account=?7 "
      "AND id=?8 AND phase=?9 AND album_id=?10 AND created_ms=?11 AND created_version=?12 AND "
      "lost_version=?13",
      media.recycled, media.version, media.device, static_cast<int>(media.status), media.touchedMs,
      media.fields, account, media.id, static_cast<int>(media.phase), media.albumId, media.createdMs,
      media.createdVersion, media.lostVersion);
  if (changed > 0) return;
  Run("INSERT INTO media(account," MEDIA_COLUMNS
      ") VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?) ON CONFLICT(account,id) DO UPDATE SET phase=excluded.phase,"
      "album_id=excluded.album_id,recycled=excluded.recycled,created_ms=excluded.created_ms,"
      "version=excluded.version,created_version=excluded.created_version,device=excluded.device,"
      "status=excluded.status,lost_version=excluded.lost_version,touched_ms=excluded.touched_ms,"
      "fields=excluded.fields",
      account, media.id, static_cast<int>(media.phase), media.albumId, media.recycled, media.createdMs,
      media.version, media.createdVersion, media.device, static_cast<int>(media.status), media.lostVersion,
      media.touchedMs, media.fields);
}

void SqliteStore::RemoveMedia(std::int64_t account, const std::string& id) {
  Run("DELETE FROM media WHERE account=? AND id=?", account, id);
}

std::vector<MediaRecord> SqliteStore::ListMedia(std::int64_t account, const MediaFilter& filter,
                                                const std::optional<ListPosition>& after, int limit) {
  const ListPosition from = after.value_or(ListPosition{INT64_MAX, ""});
  const int recycled = filter.recycled ? (*filter.recycled ? 1 : 0) : -1;
  // Two statements, because one with an optional album would not use its index.
  if (!filter.albumId.empty()) {
    return Rows(
        ReadListed,
        "SELECT " LISTED_COLUMNS
        " FROM media WHERE account=?1 AND phase=1 AND album_id=?5 AND (created_ms,id)<(?2,?3) AND (?4<0 OR "
        "recycled=?4) ORDER BY created_ms DESC,id DESC LIMIT ?6",
        account, from.createdMs, from.id, recycled, filter.albumId, limit);
  }
  return Rows(
      ReadListed,
      "SELECT " LISTED_COLUMNS
      " FROM media WHERE account=?1 AND phase=1 AND (created_ms,id)<(?2,?3) AND (?4<0 OR recycled=?4) ORDER "
      "BY created_ms DESC,id DESC LIMIT ?5",
      account, from.createdMs, from.id, recycled, limit);
}

std::vector<MediaRecord> SqliteStore::ListChanges(std::int64_t account, std::int64_t afterVersion,
                                                  bool includeDeleted, int limit) {
  return Rows(ReadMedia,
              "SELECT " MEDIA_COLUMNS
              " FROM media WHERE account=?1 AND phase!=0 AND version>?2 AND (?3 OR phase=1) ORDER BY version "
              "LIMIT ?4",
              account, afterVersion, includeDeleted, limit);
}

std::vector<MediaRecord> SqliteStore::ListLosts(std::int64_t account, std::int64_t afterVersion, int limit) {
  return Rows(
      ReadMedia,
      "SELECT " MEDIA_COLUMNS
      " FROM media WHERE account=? AND lost_version>? AND lost_version>0 AND phase=1 ORDER BY lost_version "
      "LIMIT ?",
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
              "SELECT m.account,m.id FROM media m INDEXED BY media_upload WHERE m.phase=0 AND m.touched_ms<? "
              "AND NOT EXISTS(SELECT 1 FROM "
              "slices s WHERE s.account=m.account AND s.media_id=m.id AND s.sha256!='') LIMIT ?",
              touchedMs, limit);
}

int SqliteStore::CountUploads(std::int64_t account, int most) {
  return static_cast<int>(Row(ReadNumber,
                              "SELECT count(*) FROM (SELECT 1 FROM media INDEXED BY media_upload WHERE "
                              "account=? AND phase=0 LIMIT ?)",
                              account, most)
                              .value_or(0));
}

bool SqliteStore::CountBytes(std::int64_t account, Counting counting) {
  bool wasRight = true;
  Atomically([&] {
    const auto before = FindAccount(account);
    const auto objects =
        Row(ReadNumber, "SELECT coalesce(sum(length),0) FROM objects WHERE account=?", account).value_or(0);
    const auto records =
        Row(ReadNumber,
            "SELECT (SELECT coalesce(sum(length(CAST(fields AS BLOB))),0) FROM media WHERE "
            "account=?1)+(SELECT "
            "coalesce(sum(length(CAST(fields AS BLOB))),0) FROM assets WHERE account=?1)+(SELECT "
            "coalesce(sum(length(CAST(name||local_path||properties AS BLOB))),0) FROM albums WHERE "
            "account=?1 AND "
            "id NOT IN ('default-album-1','default-album-2','default-album-3'))",
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
    Run("UPDATE accounts SET oldest_cursor=max(oldest_cursor,(SELECT coalesce(max(version),0) FROM media "
        "WHERE "
        "media.account=accounts.id AND phase=2 AND touched_ms<?))",
        touchedBeforeMs);
    // By version and not by time, so that no tombstone stays behind the mark.
    Run("DELETE FROM media WHERE phase=2 AND version<=(SELECT oldest_cursor FROM accounts WHERE "
        "accounts.id=media.account)");
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
  return Rows(ReadAsset, "SELECT " ASSET_COLUMNS " FROM assets WHERE account=? AND media_id=? ORDER BY usage",
              account, mediaId);
}

std::map<std::string, std::vector<ContentRecord>> SqliteStore::ListContents(
    std::int64_t account, const std::vector<std::string>& mediaIds, int limit) {
  // Ids are the service's own, of hexadecimal digits.
  std::string ids = "[";
  for (const std::string& id : mediaIds) ids += (ids.size() > 1 ? ",\"" : "\"") + id + "\"";
  ids += ']';
  std::map<std::string, std::vector<ContentRecord>> contents;
  Reader reader(*this);
  SqliteStatement row(
      reader.Get().Prepare(
          "SELECT a.media_id,a.id,a.version_id,a.usage,a.hash,a.sha256,a.length,a.slice_size,"
          "a.status,a.fields,s.object_id,s.number,s.start,s.length,s.md5,s.sha256,"
          "o.sha256 IS NOT NULL FROM json_each(?2) j CROSS JOIN assets a ON a.account=?1 AND "
          "a.media_id=j.value LEFT JOIN slices s ON s.account=?1 AND s.asset_id=a.id LEFT JOIN "
          "objects o ON o.account=?1 AND o.sha256=s.sha256 AND o.length=s.length AND o.whole=1 "
          "ORDER BY j.key,a.usage,a.id,s.number LIMIT ?3"),
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
  Run("INSERT INTO assets(account," ASSET_COLUMNS
      ") VALUES(?,?,?,?,?,?,?,?,?,?,?) ON CONFLICT(account,id) DO UPDATE SET media_id=excluded.media_id,"
      "version_id=excluded.version_id,usage=excluded.usage,hash=excluded.hash,sha256=excluded.sha256,"
      "length=excluded.length,slice_size=excluded.slice_size,status=excluded.status,fields=excluded.fields",
      account, asset.mediaId, asset.id, asset.versionId, asset.usage, asset.hash, asset.sha256, asset.length,
      asset.sliceSize, static_cast<int>(asset.status), asset.fields);
}

std::vector<AssetRecord> SqliteStore::ListWholeAssets(std::int64_t account, const AssetRecord& like,
                                                      int limit) {
  return Rows(
      ReadAsset,
      "SELECT " ASSET_COLUMNS
      " FROM assets a WHERE account=?1 AND hash=?2 AND sha256=?3 AND usage=?4 AND length=?5 AND "
      "slice_size=?6 "
      "AND EXISTS(SELECT 1 FROM media m WHERE m.account=?1 AND m.id=a.media_id AND m.phase=1) AND NOT "
      "EXISTS(SELECT 1 FROM slices s WHERE s.account=?1 AND s.asset_id=a.id AND NOT EXISTS(SELECT 1 FROM "
      "objects o WHERE o.account=?1 AND o.sha256=s.sha256 AND o.length=s.length AND o.whole=1)) LIMIT ?7",
      account, like.hash, like.sha256, like.usage, like.length, like.sliceSize, limit);
}

std::vector<SliceRecord> SqliteStore::ListSlices(std::int64_t account, const std::string& assetId) {
  return Rows(ReadSlice,
              "SELECT " SLICE_COLUMNS " FROM slices s WHERE s.account=? AND s.asset_id=? ORDER BY s.number",
              account, assetId);
}

std::optional<std::pair<std::int64_t, SliceRecord>> SqliteStore::FindSlice(const std::string& objectId) {
  const auto read = [](const SqliteStatement& row) { return std::make_pair(row.Number(9), ReadSlice(row)); };
  return Row(read, "SELECT " SLICE_COLUMNS ",s.account FROM slices s WHERE s.object_id=?", objectId);
}

void SqliteStore::PutSlice(std::int64_t account, const SliceRecord& slice) {
  Run("INSERT OR REPLACE INTO slices(account,object_id,media_id,asset_id,number,start,length,md5,sha256) "
      "VALUES(?,?,?,?,?,?,?,?,?)",
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
             "SELECT coalesce(sum(s.length),0) FROM media m INDEXED BY media_upload CROSS JOIN slices s ON "
             "s.account=m.account AND s.media_id=m.id WHERE m.account=? AND m.phase=0 AND NOT EXISTS(SELECT "
             "1 FROM "
             "objects o WHERE o.account=s.account AND o.sha256=s.sha256 AND o.length=s.length AND o.whole=1)",
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
              "SELECT DISTINCT s.media_id FROM slices s JOIN media m ON m.account=s.account AND "
              "m.id=s.media_id WHERE "
              "s.account=? AND s.sha256=? AND m.phase=1",
              account, sha256);
}

}  // namespace photocloud
