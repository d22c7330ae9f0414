#include "host/database/databaseservice.h"

#include <sqlite3.h>

#include <vector>

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "host/base/logger.h"
#include "host/database/databaseoperationbase.h"
#include "host/database/sqliteconnection.h"

namespace DatabaseService {
namespace {

constexpr wchar_t kHostDatabase[] = L"/host.db";
constexpr char kTables[] =
    "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'";

using Failure = SqliteConnection::Failure;

bool Fail(const char* operation, int line, const std::string& reason) {
  Logger::CloudLogger::GetInstance()->Output("Database", Logger::Severity::Error, line,
                                             std::string("DatabaseService::") + operation, reason);
  return false;
}

bool Fail(const char* operation, int line, const Failure& failure) {
  return Fail(operation, line, "code:" + std::to_string(failure.code) + " reason:" + failure.reason);
}

DatabaseOperationBase& HostDatabase() {
  static DatabaseOperationBase database(L"");
  return database;
}

std::string Quoted(std::string_view name) {
  std::string quoted = "\"";
  for (const char c : name) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + "\"";
}

bool ListTables(SqliteConnection& connection, std::vector<std::string>& tables, Failure& failure) {
  SqliteStatement* statement = connection.Prepare(kTables, failure);
  if (!statement) return false;
  int code = SQLITE_OK;
  while ((code = sqlite3_step(statement->Handle())) == SQLITE_ROW) {
    tables.emplace_back(DatabaseQueryResult::View(statement->Handle()).GetText());
  }
  if (code != SQLITE_DONE) failure = connection.LastFailure();
  statement->Reset();
  return code == SQLITE_DONE;
}

bool EmptyTables(SqliteConnection& connection, Failure& failure) {
  std::vector<std::string> tables;
  if (!connection.Run("BEGIN IMMEDIATE", failure)) return false;
  if (!ListTables(connection, tables, failure)) return false;
  for (const std::string& table : tables) {
    if (!connection.Run("DELETE FROM " + Quoted(table), failure)) return false;
  }
  return connection.Run("COMMIT", failure);
}

}  // namespace

bool InitDataBase(const std::wstring& userDatabaseFolder) {
  if (userDatabaseFolder.empty()) return Fail("InitDataBase", __LINE__, std::string("no database folder"));
  if (const auto error = platform::MakeFolder(platform::NativePath(userDatabaseFolder))) {
    return Fail("InitDataBase", __LINE__, error.message());
  }
  HostDatabase().SetDatabasePath(userDatabaseFolder + kHostDatabase);
  return HostDatabase().Execute("PRAGMA journal_mode=WAL");
}

bool GalleryDBProvider::ResetGalleryDatabase(const std::wstring& path) {
  const std::filesystem::path file = platform::NativePath(path);
  // Opening would make the file, and an empty database is not a reset one.
  if (!platform::CanWrite(file))
    return Fail("ResetGalleryDatabase", __LINE__, std::string("no such database"));
  Failure failure;
  const auto connection = SqliteConnection::Open(file.string(), failure);
  if (!connection) return Fail("ResetGalleryDatabase", __LINE__, failure);
  const bool done = EmptyTables(*connection, failure);
  connection->RollBack();
  return done || Fail("ResetGalleryDatabase", __LINE__, failure);
}

}  // namespace DatabaseService
