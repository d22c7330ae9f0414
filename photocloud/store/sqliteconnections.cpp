#include "photocloud/store/sqliteconnections.h"

#include "photocloud/store/sqlitestatement.h"

namespace photocloud {
namespace {

sqlite3* OpenConnection(const std::filesystem::path& file, int flags) {
  sqlite3* connection = nullptr;
  if (sqlite3_open_v2(file.c_str(), &connection, flags, nullptr) == SQLITE_OK) return connection;
  const std::string reason = connection ? sqlite3_errmsg(connection) : "out of memory";
  sqlite3_close_v2(connection);
  throw StoreFailure("cannot open " + file.string() + ": " + reason);
}

}  // namespace

SqliteConnection::SqliteConnection(const std::filesystem::path& file, int flags)
    : handle(OpenConnection(file, flags)) {}

SqliteConnection::~SqliteConnection() {
  for (const auto& [sql, statement] : prepared) sqlite3_finalize(statement);
  sqlite3_close_v2(handle);
}

void SqliteConnection::Execute(const char* sql) const {
  if (sqlite3_exec(handle, sql, nullptr, nullptr, nullptr) != SQLITE_OK) throw SqliteFailure(handle, sql);
}

sqlite3_stmt* SqliteConnection::Prepare(const char* sql) {
  // Keyed by the literal's address: each place in this file keeps its own.
  sqlite3_stmt*& statement = prepared[sql];
  if (statement) return statement;
  if (sqlite3_prepare_v3(handle, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK)
    throw SqliteFailure(handle, sql);
  return statement;
}

// The place is a lock made of other locks: what these two promise is for their
// callers to rely on, and not for the analysis to find in here.
bool WriterPlace::Take(std::chrono::milliseconds longest) NO_THREAD_SAFETY_ANALYSIS {
  const auto end = std::chrono::steady_clock::now() + longest;
  const auto self = std::this_thread::get_id();
  const MutexLock hold(lock);
  if (depth > 0 && holder == self) {
    ++depth;
    return true;
  }
  while (depth > 0) {
    if (!becameFree.WaitUntil(lock, end) && depth > 0) return false;
  }
  holder = self;
  depth = 1;
  return true;
}

void WriterPlace::Leave() NO_THREAD_SAFETY_ANALYSIS {
  {
    const MutexLock hold(lock);
    if (--depth > 0) return;
  }
  becameFree.WakeOne();
}

SqliteConnections::Guard::Guard(SqliteConnections& owner) : connections(owner) {
  if (!connections.place.Take(std::chrono::milliseconds(connections.busyMs)))
    throw StoreFailure("other writers take too long", StoreFailure::Kind::Busy);
}

SqliteConnections::Guard::~Guard() { connections.place.Leave(); }

SqliteConnections::Reader::Reader(SqliteConnections& owner) : connections(owner) {
  if (connections.writingThread == std::this_thread::get_id()) return;
  {
    const MutexLock guard(connections.readersLock);
    if (!connections.readers.empty()) {
      borrowed = std::move(connections.readers.back());
      connections.readers.pop_back();
    }
  }
  if (!borrowed) borrowed = connections.OpenReader();
}

SqliteConnections::Reader::~Reader() {
  if (!borrowed) return;
  const MutexLock guard(connections.readersLock);
  connections.readers.push_back(std::move(borrowed));
}

SqliteConnections::SqliteConnections(const std::filesystem::path& databaseFile, int writersWaitMs)
    : file(databaseFile),
      busyMs(writersWaitMs),
      writer(file, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX) {
  sqlite3_busy_timeout(writer.Handle(), busyMs);
  writer.Execute("PRAGMA journal_mode=WAL");
  // Flushes the log before it is taken over into the database, and no more.
  writer.Execute("PRAGMA synchronous=NORMAL");
  writer.Execute("PRAGMA cache_size=-65536");
}

std::unique_ptr<SqliteConnection> SqliteConnections::OpenReader() const {
  auto reader = std::make_unique<SqliteConnection>(file, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX);
  sqlite3_busy_timeout(reader->Handle(), busyMs);
  reader->Execute("PRAGMA query_only=1");
  reader->Execute("PRAGMA cache_size=-16384");
  // All readers share the system's pages: with caches of their own only, accounts in
  // turn read each page anew. The most that the library maps.
  reader->Execute("PRAGMA mmap_size=2147418112");
  return reader;
}

void SqliteConnections::EnterLevel() {
  ++levels;
  writingThread = std::this_thread::get_id();
}

void SqliteConnections::LeaveLevel() {
  if (--levels == 0) writingThread = std::thread::id();
}

}  // namespace photocloud
