#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <string>

#include "photocloud/store/metadatastore.h"

namespace photocloud {

// The connection's last failure.
StoreFailure SqliteFailure(sqlite3* connection, const std::string& what);

// One use of a prepared statement: binds, steps, and resets it at its end.
//
// Does not own the statement, which the connection keeps for the next use.
// Belongs to the thread that holds the connection. Throws StoreFailure.
class SqliteStatement {
 public:
  template <typename... Values>
  SqliteStatement(sqlite3_stmt* prepared, const Values&... values) : statement(prepared) {
    int index = 0;
    (Bind(++index, values), ...);
  }
  ~SqliteStatement();
  SqliteStatement(const SqliteStatement&) = delete;
  SqliteStatement& operator=(const SqliteStatement&) = delete;

  // True while there is a row.
  bool Step();
  // For statements without rows; returns the count of changed rows.
  int Run();

  std::string Text(int column) const;
  std::int64_t Number(int column) const { return sqlite3_column_int64(statement, column); }
  bool Flag(int column) const { return Number(column) != 0; }

 private:
  void Bind(int index, const std::string& text);
  void Bind(int index, std::int64_t number);
  void Check(int result) const;

  sqlite3_stmt* const statement;
};

}  // namespace photocloud
