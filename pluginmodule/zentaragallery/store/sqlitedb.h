#pragma once

#include <string>

#include "common/platform/mutex.h"

// Creates the gallery's database file. Holds no connection: all work on it goes
// through the host's database layer.
class SQLiteDB {
 public:
  static SQLiteDB& GetInstance();

  // Opens or makes the file at `path` (UTF-8), puts it into WAL mode and closes
  // it again. Non-zero on success; failures are logged with SQLite's code.
  int CreateDb(const std::string& path);

  // The path of the last start, also when its file could not be made.
  void SetPath(const std::string& path);
  std::string Path() const;

 private:
  SQLiteDB() = default;
  mutable platform::Mutex lock;
  std::string path GUARDED_BY(lock);
};
