#include "store/sqlitedb.h"

#include <sqlite3.h>

#include <memory>

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "utils/gallerylog.h"

namespace {

constexpr int kOpenFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
static_assert(kOpenFlags == 32774);

// Another process of the same user may be at the same file at this moment. The
// change of the journal does not wait for it by itself.
constexpr int kBusyTries = 500;
constexpr int kBusyWaitMs = 10;

struct ConnectionCloser {
  void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
};
using Connection = std::unique_ptr<sqlite3, ConnectionCloser>;

constexpr char kTag[] = "SQLiteDB::CreateDb";

int SetWal(sqlite3* connection) {
  int code = SQLITE_BUSY;
  for (int i = 0; i < kBusyTries && code == SQLITE_BUSY; ++i) {
    if (i > 0) sqlite3_sleep(kBusyWaitMs);
    char* reason = nullptr;
    code = sqlite3_exec(connection, "PRAGMA journal_mode=WAL;", nullptr, nullptr, &reason);
    sqlite3_free(reason);
  }
  return code;
}

}  // namespace

SQLiteDB& SQLiteDB::GetInstance() {
  static SQLiteDB instance;
  return instance;
}

int SQLiteDB::CreateDb(const std::string& file) {
  LogInfo(kTag, [&] { return "create db:" + file; });
  const std::string native = platform::NativePath(platform::Utf8ToWide(file)).string();
  sqlite3* opened = nullptr;
  const int openCode = sqlite3_open_v2(native.c_str(), &opened, kOpenFlags, nullptr);
  const Connection connection(opened);
  if (openCode != SQLITE_OK) {
    LogError(kTag, "Create sync database failed,error code is ." + std::to_string(openCode));
    return 0;
  }
  const int walCode = SetWal(connection.get());
  if (walCode != SQLITE_OK) {
    LogError(kTag, "Set WAL failed,error code is " + std::to_string(walCode) +
                       ",reason:" + sqlite3_errmsg(connection.get()));
    return 0;
  }
  return 1;
}

void SQLiteDB::SetPath(const std::string& next) {
  platform::MutexLock hold(lock);
  path = next;
}

std::string SQLiteDB::Path() const {
  platform::MutexLock hold(lock);
  return path;
}
