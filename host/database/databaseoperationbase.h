#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/database/databaseparameter.h"
#include "host/database/databasequeryresult.h"

struct sqlite3;

// Base of a class that works on one SQLite file.
//
// Safe from many threads at once: one connection writes, behind a lock, and
// readers have connections of their own, so that under WAL they go on during a
// write. Each connection prepares a statement once and reuses it. A reader sees
// everything that was committed before its call.
//
// A call is one statement, or a list of them, without BEGIN or COMMIT of its own; a text with more
// than one is refused, and so is a parameter set with a name that the statement
// does not know or without a value for one of its parameters. Statements that
// only read go to a reader, all others to the writer.
//
// Failures are false, logged here once with the operation, SQLite's code and its
// text. A busy database is waited for up to 5 s; a full disk fails the call and
// leaves the file as it was before it.
class DatabaseOperationBase {
 public:
  // Binds the object to a database file, which is opened at the first use.
  explicit DatabaseOperationBase(std::wstring databaseName);
  virtual ~DatabaseOperationBase();
  DatabaseOperationBase(const DatabaseOperationBase&) = delete;
  DatabaseOperationBase& operator=(const DatabaseOperationBase&) = delete;

  // Leaves the present file, once running calls have ended, and works on `path`
  // from the next call on. True unless `path` is empty.
  bool SetDatabasePath(const std::wstring& path);

  bool Execute(std::string_view sql);
  // Runs the statement once for each parameter set, in order and in one
  // transaction: a failure in the middle rolls all of it back. An empty list
  // succeeds.
  bool Execute(std::string_view sql, const std::vector<DatabaseBindParameter>& parameters);
  // The same for `count` sets of which one is in memory at a time: `fill` puts
  // the values of set i into an empty parameter set. It runs while the writer is
  // held and must not call this object.
  bool Execute(std::string_view sql, std::size_t count,
               const std::function<void(std::size_t, DatabaseBindParameter&)>& fill);

  // One statement of several that take effect together. An empty `fill` means one
  // run without values.
  struct Statement {
    std::string sql;
    std::size_t count = 0;
    std::function<void(std::size_t, DatabaseBindParameter&)> fill = nullptr;
  };
  // Runs the statements in order and in one transaction: all of them or none.
  bool ExecuteTogether(const std::vector<Statement>& statements);

  bool Query(std::string_view sql, DatabaseQueryResultList& result);
  bool Query(std::string_view sql, const DatabaseBindParameter& parameter, DatabaseQueryResultList& result);
  // Hands each row to `visit` while the statement runs, without building a list.
  // `visit` must not call this object.
  bool Query(std::string_view sql, const DatabaseBindParameter& parameter,
             const std::function<void(DatabaseQueryResult&)>& visit);

  bool FreeQueryResult(DatabaseQueryResultList& result);

 protected:
  // Called for each connection after it was opened and before it is closed.
  virtual void AfterOpen(sqlite3* connection);
  virtual void BeforeClose(sqlite3* connection);

  // Closes all connections; the next call opens them again. A derived class
  // that overrides BeforeClose calls it in its destructor.
  void CloseConnections();

 private:
  struct State;
  std::unique_ptr<State> state;
};
