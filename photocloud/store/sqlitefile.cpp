#include "photocloud/store/sqlitefile.h"

#include "photocloud/store/disk.h"
#include "photocloud/store/sqliteconnections.h"
#include "photocloud/store/sqlitestatement.h"

namespace photocloud {
namespace {

bool IsSound(SqliteConnection& database) {
  SqliteStatement row(database.Prepare("PRAGMA integrity_check(1)"));
  return row.Step() && row.Text(0) == "ok";
}

}  // namespace

void SettleLog(const std::filesystem::path& file) {
  const std::filesystem::path log = file.string() + "-wal";
  std::error_code ignored;
  if (std::filesystem::exists(log, ignored)) {
    try {
      const SqliteConnection database(file, SQLITE_OPEN_READWRITE);
      database.Execute("PRAGMA journal_mode=DELETE");
    } catch (const StoreFailure&) {
      // Whatever it is, it is no database; its log belongs to nothing either.
    }
  }
  std::filesystem::remove(log, ignored);
  std::filesystem::remove(file.string() + "-shm", ignored);
}

void FinishCopy(const std::filesystem::path& copy) {
  {
    SqliteConnection database(copy, SQLITE_OPEN_READWRITE);
    // Whoever reads a backup could otherwise sign URLs of the running service.
    database.Execute("PRAGMA secure_delete=ON; DELETE FROM settings WHERE name='secret'");
    if (!IsSound(database)) throw StoreFailure("the copy cannot be read back");
  }
  if (!SyncPath(copy)) throw StoreFailure("the copy cannot be flushed");
}

}  // namespace photocloud
