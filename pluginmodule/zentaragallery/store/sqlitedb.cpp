#include "store/sqlitedb.h"

#include <sqlite3.h>

#include <memory>

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "utils/gallerylog.h"

namespace {

constexpr int kOpenFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
static_assert(kOpenFlags == 32774);
constexpr int kBusyMs = 5000;

struct ConnectionCloser {
  void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
};
using Connection = std::unique_ptr<sqlite3, ConnectionCloser>;

constexpr char kTag[] = "SQLiteDB::CreateDb";

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
  // Another process of the same user may be at the same file at this moment.
  sqlite3_busy_timeout(connection.get(), kBusyMs);
  char* reason = nullptr;
  const int walCode = sqlite3_exec(connection.get(), "PRAGMA journal_mode=WAL;", nullptr, nullptr, &reason);
  sqlite3_free(reason);
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
