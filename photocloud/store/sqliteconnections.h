#pragma once

#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

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
class WriterPlace {
 public:
  // False when it was not free in that time.
  bool Take(std::chrono::milliseconds longest);
  void Leave();

 private:
  std::mutex lock;
  std::condition_variable becameFree;
  std::thread::id holder;
  int depth = 0;
};

// The connections of one process to a database: one that writes, used under a
// Guard, and as many for reading as threads read at a time.
class SqliteConnections {
 public:
  SqliteConnections(const std::filesystem::path& file, int busyMs);
  SqliteConnections(const SqliteConnections&) = delete;
  SqliteConnections& operator=(const SqliteConnections&) = delete;

  // Keeps the writer's place for one thread. Throws when that takes too long.
  class Guard {
   public:
    explicit Guard(SqliteConnections& owner);
    ~Guard();
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

    SqliteConnection& Get() { return borrowed ? *borrowed : connections.writer; }

   private:
    SqliteConnections& connections;
    std::unique_ptr<SqliteConnection> borrowed;
  };

  // These three belong to the thread with the Guard. Between EnterLevel and
  // LeaveLevel, which nest, it reads what it has written.
  SqliteConnection& Writer() { return writer; }
  int Levels() const { return levels; }
  void EnterLevel();
  void LeaveLevel();

 private:
  std::unique_ptr<SqliteConnection> OpenReader() const;

  const std::filesystem::path file;
  const int busyMs;

  WriterPlace place;
  // The thread inside a transaction; written under `place`.
  std::atomic<std::thread::id> writingThread{};
  SqliteConnection writer;  // Guarded by place.
  int levels = 0;           // Guarded by place.

  std::mutex readersLock;
  std::vector<std::unique_ptr<SqliteConnection>> readers;  // Idle ones; guarded by readersLock.
};

}  // namespace photocloud
