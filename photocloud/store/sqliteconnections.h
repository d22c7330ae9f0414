#pragma once

#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>
#include <unordered_map>
#include <vector>

#include "photocloud/base/mutex.h"

namespace photocloud {

// A connection with the statements that it has prepared. Used by one thread at a
// time. Throws StoreFailure.
class SqliteConnection {
 public:
  // `flags` of sqlite3_open_v2.
  SqliteConnection(const std::filesystem::path& file, int flags);
  ~SqliteConnection();
  SqliteConnection(const SqliteConnection&) = delete;
  SqliteConnection& operator=(const SqliteConnection&) = delete;

  // Runs statements that give no rows.
  void Execute(const char* sql) const;
  // `sql` is a literal: statements are kept by its address.
  sqlite3_stmt* Prepare(const char* sql);
  sqlite3* Handle() const { return handle; }

 private:
  sqlite3* const handle;
  std::unordered_map<const char*, sqlite3_stmt*> prepared;
};

// The place of the one writer, which its thread may take again. A recursive timed
// mutex, but one that the thread sanitizer follows.
class CAPABILITY("place") WriterPlace {
 public:
  // False when it was not free in that time.
  bool Take(std::chrono::milliseconds longest) TRY_ACQUIRE(true);
  void Leave() RELEASE();

 private:
  Mutex lock;
  Condition becameFree;
  std::thread::id holder GUARDED_BY(lock);
  int depth GUARDED_BY(lock) = 0;
};

// The connections of one process to a database: one that writes, used under a
// Guard, and as many for reading as threads read at a time.
class SqliteConnections {
 public:
  SqliteConnections(const std::filesystem::path& file, int busyMs);
  SqliteConnections(const SqliteConnections&) = delete;
  SqliteConnections& operator=(const SqliteConnections&) = delete;

  // Keeps the writer's place for one thread. Throws when that takes too long.
  class SCOPED_CAPABILITY Guard {
   public:
    explicit Guard(SqliteConnections& owner) ACQUIRE(owner.place);
    ~Guard() RELEASE();
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

   private:
    SqliteConnections& connections;
  };

  // The connection that this thread reads on: the writing one inside a
  // transaction, else one that it borrows.
  class Reader {
   public:
    explicit Reader(SqliteConnections& owner);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    // Without a borrowed one the thread is inside a transaction, whose Guard the
    // analysis cannot see from here.
    SqliteConnection& Get() NO_THREAD_SAFETY_ANALYSIS { return borrowed ? *borrowed : connections.writer; }

   private:
    SqliteConnections& connections;
    std::unique_ptr<SqliteConnection> borrowed;
  };

  // These three belong to the thread with the Guard. Between EnterLevel and
  // LeaveLevel, which nest, it reads what it has written.
  SqliteConnection& Writer() REQUIRES(place) { return writer; }
  int Levels() const REQUIRES(place) { return levels; }
  void EnterLevel() REQUIRES(place);
  void LeaveLevel() REQUIRES(place);

 private:
  std::unique_ptr<SqliteConnection> OpenReader() const;

  const std::filesystem::path file;
  const int busyMs;

  WriterPlace place;
  // The thread inside a transaction; written under `place`.
  std::atomic<std::thread::id> writingThread{};
  SqliteConnection writer GUARDED_BY(place);
  int levels GUARDED_BY(place) = 0;

  Mutex readersLock;
  std::vector<std::unique_ptr<SqliteConnection>> readers GUARDED_BY(readersLock);  // Idle ones.
};

}  // namespace photocloud
