#include "photocloud/store/sqlitestatement.h"

#include <cerrno>

#include "photocloud/store/disk.h"

namespace photocloud {

SqliteStatement::~SqliteStatement() {
  sqlite3_reset(statement);
  sqlite3_clear_bindings(statement);
}

bool SqliteStatement::Step() {
  const int result = sqlite3_step(statement);
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) Check(result);
  return false;
}

int SqliteStatement::Run() {
  while (Step()) {
  }
  return sqlite3_changes(sqlite3_db_handle(statement));
}

std::string SqliteStatement::Text(int column) const {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement, column));
  return bytes ? std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)))
               : std::string();
}

void SqliteStatement::Bind(int index, const std::string& text) {
  Check(sqlite3_bind_text(statement, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT));
}

void SqliteStatement::Bind(int index, std::int64_t number) {
  Check(sqlite3_bind_int64(statement, index, number));
}

void SqliteStatement::Check(int result) const {
  if (result == SQLITE_OK) return;
  throw SqliteFailure(sqlite3_db_handle(statement), sqlite3_sql(statement));
}

StoreFailure SqliteFailure(sqlite3* connection, const std::string& what) {
  const int reason = errno;
  StoreFailure::Kind kind = StoreFailure::Kind::Broken;
  const int code = sqlite3_errcode(connection) & 0xFF;
  if (code == SQLITE_BUSY || code == SQLITE_LOCKED) kind = StoreFailure::Kind::Busy;
  // The library itself knows one of the reasons only, and keeps none of a commit's
  // writes; the call that failed was its last one.
  const bool isRefused = sqlite3_extended_errcode(connection) == SQLITE_IOERR_WRITE && MeansNoRoom(reason);
  if (code == SQLITE_FULL || isRefused) kind = StoreFailure::Kind::Full;
  return StoreFailure(std::string(sqlite3_errmsg(connection)) + " in " + what, kind);
}

}  // namespace photocloud
