#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/database/databaseparameter.h"

// A prepared statement that remembers which of its parameters each name is, so
// that a batch looks the names up once. Belongs to one SqliteConnection.
class SqliteStatement {
 public:
  explicit SqliteStatement(sqlite3_stmt* prepared);

  sqlite3_stmt* Handle() const { return statement.get(); }
  // Whether a run may change the database.
  bool Writes() const { return sqlite3_stmt_readonly(statement.get()) == 0; }
  int ParameterCount() const { return parameterCount; }

  // Binds every value of `set`, whose texts must stay as they are until Reset.
  // SQLITE_MISUSE when a name is unknown or a parameter stays without a value,
  // otherwise SQLite's result.
  int Bind(const DatabaseBindParameter& set);

  // Ends the run and lets go of the bound texts.
  void Reset();

 private:
  struct Bound {
    std::wstring name;
    int index;
  };
  using Values = std::vector<DatabaseBindParameter::Value>;

  bool IsBoundTo(const Values& values) const;
  bool Resolve(const Values& values);

  struct Finalize {
    void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
  };
  std::unique_ptr<sqlite3_stmt, Finalize> statement;
  int parameterCount;
  std::vector<Bound> order;  // the names of the last set in its order
};

// One connection to a database file with its prepared statements. Used by one
// thread at a time.
class SqliteConnection {
 public:
  // Why an operation failed: SQLite's extended code and its text.
  struct Failure {
    int code = SQLITE_OK;
    std::string reason;
  };

  // Null, with `failure` filled, when the file cannot be opened. It is made when
  // missing, its folder is not.
  static std::unique_ptr<SqliteConnection> Open(const std::string& path, Failure& failure);
  ~SqliteConnection() = default;
  SqliteConnection(const SqliteConnection&) = delete;
  SqliteConnection& operator=(const SqliteConnection&) = delete;

  sqlite3* Handle() const { return connection.get(); }
  Failure LastFailure() const;

  // The statement of `sql`, prepared at its first use; null when it cannot be
  // prepared or is more than one statement. Valid until the next Prepare.
  SqliteStatement* Prepare(std::string_view sql, Failure& failure);

  // Runs a statement without parameters to its end.
  bool Run(std::string_view sql, Failure& failure);

  bool InTransaction() const { return sqlite3_get_autocommit(connection.get()) == 0; }
  // Leaves a transaction that is still open.
  void RollBack();

 private:
  struct Close {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
  };
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };

  explicit SqliteConnection(sqlite3* opened) : connection(opened) {}
  void Configure();

  std::unique_ptr<sqlite3, Close> connection;
  // Declared behind the connection: statements go before it.
  std::unordered_map<std::string, SqliteStatement, TextHash, std::equal_to<>> statements;
};
