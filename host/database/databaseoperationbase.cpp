#include "host/database/databaseoperationbase.h"

#include <condition_variable>

#include "common/platform/mutex.h"
#include "common/platform/paths.h"
#include "host/base/logger.h"
#include "host/database/sqliteconnection.h"

namespace {

// Readers beyond these are closed after their call.
constexpr std::size_t kMaxIdleReaders = 8;
// Statements have no values in their text, but a whole INSERT would fill the log.
constexpr std::size_t kMaxLoggedSql = 100;

using Connection = std::unique_ptr<SqliteConnection>;
using Failure = SqliteConnection::Failure;
using RowVisitor = std::function<void(sqlite3_stmt*)>;

bool Fail(const char* operation, std::string_view sql, const Failure& failure, int line) {
  auto& logger = *Logger::CloudLogger::GetInstance();
  logger.Output("Database", Logger::Severity::Error, line, std::string("DatabaseOperationBase::") + operation,
                "code:" + std::to_string(failure.code) + " reason:" + failure.reason +
                    " sql:" + std::string(sql.substr(0, kMaxLoggedSql)));
  return false;
}

char UpperAscii(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c; }

bool StartsWithWord(std::string_view sql, std::string_view word) {
  const std::size_t start = sql.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos || sql.size() - start < word.size()) return false;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (UpperAscii(sql[start + i]) != word[i]) return false;
  }
  return true;
}

// Whether the statement may go to a reader, as far as its text tells. A PRAGMA
// that sets something has to reach the writer.
bool LooksLikeRead(std::string_view sql) {
  if (StartsWithWord(sql, "SELECT") || StartsWithWord(sql, "WITH")) return true;
  return StartsWithWord(sql, "PRAGMA") && sql.find_first_of("=(") == std::string_view::npos;
}

// Leaves a transaction that was not committed, on every way out.
class TransactionScope {
 public:
  explicit TransactionScope(SqliteConnection& inTransaction) : connection(inTransaction) {}
  ~TransactionScope() { connection.RollBack(); }
  TransactionScope(const TransactionScope&) = delete;
  TransactionScope& operator=(const TransactionScope&) = delete;

 private:
  SqliteConnection& connection;
};

// Ends the run of a statement on every way out.
class StatementRun {
 public:
  explicit StatementRun(SqliteStatement& running) : statement(running) {}
  ~StatementRun() { statement.Reset(); }
  StatementRun(const StatementRun&) = delete;
  StatementRun& operator=(const StatementRun&) = delete;

 private:
  SqliteStatement& statement;
};

// Lets calls run side by side and closes the file only between them. A plain
// reader-writer lock would let a stream of calls keep the closing side out for
// ever.
class CallGate {
 public:
  void Enter() {
    platform::MutexLock hold(lock);
    while (closing) changed.wait(lock);
    ++running;
  }
  void Leave() {
    platform::MutexLock hold(lock);
    --running;
    if (running == 0) changed.notify_all();
  }
  void CloseForCalls() {
    platform::MutexLock hold(lock);
    while (closing) changed.wait(lock);
    closing = true;
    while (running > 0) changed.wait(lock);
  }
  void OpenForCalls() {
    platform::MutexLock hold(lock);
    closing = false;
    changed.notify_all();
  }

 private:
  platform::Mutex lock;
  std::condition_variable_any changed;
  bool closing GUARDED_BY(lock) = false;
  int running GUARDED_BY(lock) = 0;
};

class RunningCall {
 public:
  explicit RunningCall(CallGate& entered) : gate(entered) { gate.Enter(); }
  ~RunningCall() { gate.Leave(); }
  RunningCall(const RunningCall&) = delete;
  RunningCall& operator=(const RunningCall&) = delete;

 private:
  CallGate& gate;
};

class NoCalls {
 public:
  explicit NoCalls(CallGate& closed) : gate(closed) { gate.CloseForCalls(); }
  ~NoCalls() { gate.OpenForCalls(); }
  NoCalls(const NoCalls&) = delete;
  NoCalls& operator=(const NoCalls&) = delete;

 private:
  CallGate& gate;
};

}  // namespace

// Lock order: gate, writerLock, readersLock.
struct DatabaseOperationBase::State {
  explicit State(DatabaseOperationBase& object, std::wstring name) : owner(object), path(std::move(name)) {}

  DatabaseOperationBase& owner;
  CallGate gate;
  std::wstring path;  // changes only while no call runs

  platform::Mutex writerLock;
  Connection writer GUARDED_BY(writerLock);
  platform::Mutex readersLock;
  std::vector<Connection> idleReaders GUARDED_BY(readersLock);

  Connection Open(Failure& failure) const {
    if (path.empty()) {
      failure = {SQLITE_CANTOPEN, "no database path"};
      return nullptr;
    }
    Connection opened = SqliteConnection::Open(platform::NativePath(path).string(), failure);
    if (opened) owner.AfterOpen(opened->Handle());
    return opened;
  }

  void Close(Connection connection) const {
    if (connection) owner.BeforeClose(connection->Handle());
  }

  SqliteConnection* Writer(Failure& failure) REQUIRES(writerLock) {
    if (!writer) writer = Open(failure);
    return writer.get();
  }

  Connection TakeReader(Failure& failure) {
    {
      platform::MutexLock hold(readersLock);
      if (!idleReaders.empty()) {
        Connection taken = std::move(idleReaders.back());
        idleReaders.pop_back();
        return taken;
      }
    }
    return Open(failure);
  }

  void ReturnReader(Connection reader) {
    {
      platform::MutexLock hold(readersLock);
      if (idleReaders.size() < kMaxIdleReaders) {
        idleReaders.push_back(std::move(reader));
        return;
      }
    }
    Close(std::move(reader));
  }

  void CloseAll() {
    platform::MutexLock holdWriter(writerLock);
    platform::MutexLock holdReaders(readersLock);
    for (Connection& reader : idleReaders) Close(std::move(reader));
    idleReaders.clear();
    Close(std::move(writer));
  }

  static bool Step(SqliteConnection& connection, SqliteStatement& statement, const RowVisitor& visit,
                   Failure& failure);
  static bool RunSet(SqliteConnection& connection, SqliteStatement& statement,
                     const DatabaseBindParameter& set, const RowVisitor& visit, Failure& failure);
  bool QueryWriter(std::string_view sql, const DatabaseBindParameter& parameter, const RowVisitor& visit,
                   Failure& failure);
  bool QueryReader(std::string_view sql, const DatabaseBindParameter& parameter, const RowVisitor& visit,
                   Failure& failure);

  bool Query(std::string_view sql, const DatabaseBindParameter& parameter, const RowVisitor& visit,
             Failure& failure) {
    return LooksLikeRead(sql) ? QueryReader(sql, parameter, visit, failure)
                              : QueryWriter(sql, parameter, visit, failure);
  }

  using NextSet = std::function<const DatabaseBindParameter&(std::size_t)>;
  bool ExecuteSets(std::string_view sql, std::size_t count, const NextSet& nextSet, Failure& failure);
  static bool RunSets(SqliteConnection& connection, std::string_view sql, std::size_t count,
                      const NextSet& nextSet, Failure& failure);
  bool ExecuteTogether(const std::vector<Statement>& statements, std::string_view& running, Failure& failure);
  static bool RunOne(SqliteConnection& connection, const Statement& statement, Failure& failure);
};

bool DatabaseOperationBase::State::Step(SqliteConnection& connection, SqliteStatement& statement,
                                        const RowVisitor& visit, Failure& failure) {
  for (;;) {
    const int code = sqlite3_step(statement.Handle());
    if (code == SQLITE_DONE) return true;
    if (code != SQLITE_ROW) {
      failure = connection.LastFailure();
      return false;
    }
    if (visit) visit(statement.Handle());
  }
}

bool DatabaseOperationBase::State::RunSet(SqliteConnection& connection, SqliteStatement& statement,
                                          const DatabaseBindParameter& set, const RowVisitor& visit,
                                          Failure& failure) {
  const StatementRun run(statement);
  const int code = statement.Bind(set);
  if (code == SQLITE_MISUSE) failure = {code, "the parameters do not match the statement"};
  if (code != SQLITE_OK && code != SQLITE_MISUSE) failure = connection.LastFailure();
  return code == SQLITE_OK && Step(connection, statement, visit, failure);
}

bool DatabaseOperationBase::State::QueryReader(std::string_view sql, const DatabaseBindParameter& parameter,
                                               const RowVisitor& visit, Failure& failure) {
  Connection reader = TakeReader(failure);
  if (!reader) return false;
  SqliteStatement* statement = reader->Prepare(sql, failure);
  const bool reads = statement && !statement->Writes();
  const bool done = reads && RunSet(*reader, *statement, parameter, visit, failure);
  const bool writes = statement && !reads;
  ReturnReader(std::move(reader));
  return writes ? QueryWriter(sql, parameter, visit, failure) : done;
}

bool DatabaseOperationBase::State::QueryWriter(std::string_view sql, const DatabaseBindParameter& parameter,
                                               const RowVisitor& visit, Failure& failure) {
  platform::MutexLock hold(writerLock);
  SqliteConnection* connection = Writer(failure);
  if (!connection) return false;
  SqliteStatement* statement = connection->Prepare(sql, failure);
  if (!statement || !RunSet(*connection, *statement, parameter, visit, failure)) return false;
  if (!connection->InTransaction()) return true;
  // Calls of other threads would otherwise join a transaction that nobody ends.
  connection->RollBack();
  failure = {SQLITE_MISUSE, "a transaction was left open"};
  return false;
}

bool DatabaseOperationBase::State::RunSets(SqliteConnection& connection, std::string_view sql,
                                           std::size_t count, const NextSet& nextSet, Failure& failure) {
  SqliteStatement* statement = connection.Prepare(sql, failure);
  if (!statement) return false;
  for (std::size_t i = 0; i < count; ++i) {
    if (!RunSet(connection, *statement, nextSet(i), nullptr, failure)) return false;
  }
  return true;
}

bool DatabaseOperationBase::State::ExecuteSets(std::string_view sql, std::size_t count,
                                               const NextSet& nextSet, Failure& failure) {
  platform::MutexLock hold(writerLock);
  SqliteConnection* connection = Writer(failure);
  if (!connection) return false;
  // A single run is a transaction by itself.
  if (count == 1) return RunSets(*connection, sql, count, nextSet, failure);
  const TransactionScope transaction(*connection);
  return connection->Run("BEGIN IMMEDIATE", failure) && RunSets(*connection, sql, count, nextSet, failure) &&
         connection->Run("COMMIT", failure);
}

bool DatabaseOperationBase::State::RunOne(SqliteConnection& connection, const Statement& statement,
                                          Failure& failure) {
  DatabaseBindParameter set;
  const auto nextSet = [&](std::size_t i) -> const DatabaseBindParameter& {
    set.Clear();
    if (statement.fill) statement.fill(i, set);
    return set;
  };
  return RunSets(connection, statement.sql, statement.fill ? statement.count : 1, nextSet, failure);
}

bool DatabaseOperationBase::State::ExecuteTogether(const std::vector<Statement>& statements,
                                                   std::string_view& running, Failure& failure) {
  platform::MutexLock hold(writerLock);
  SqliteConnection* connection = Writer(failure);
  if (!connection) return false;
  const TransactionScope transaction(*connection);
  running = "BEGIN IMMEDIATE";
  if (!connection->Run(running, failure)) return false;
  for (const Statement& statement : statements) {
    running = statement.sql;
    if (!RunOne(*connection, statement, failure)) return false;
  }
  running = "COMMIT";
  return connection->Run(running, failure);
}

DatabaseOperationBase::DatabaseOperationBase(std::wstring databaseName)
    : state(std::make_unique<State>(*this, std::move(databaseName))) {}

// By now the hooks of a derived class are gone, so connections that it has left
// open close without them.
DatabaseOperationBase::~DatabaseOperationBase() { CloseConnections(); }

bool DatabaseOperationBase::SetDatabasePath(const std::wstring& path) {
  if (path.empty()) return false;
  const NoCalls noCalls(state->gate);
  state->CloseAll();
  state->path = path;
  return true;
}

bool DatabaseOperationBase::Execute(std::string_view sql) {
  const RunningCall call(state->gate);
  Failure failure;
  if (state->QueryWriter(sql, {}, nullptr, failure)) return true;
  return Fail("Execute", sql, failure, __LINE__);
}

bool DatabaseOperationBase::Execute(std::string_view sql,
                                    const std::vector<DatabaseBindParameter>& parameters) {
  if (parameters.empty()) return true;
  const RunningCall call(state->gate);
  Failure failure;
  const auto nextSet = [&](std::size_t i) -> const DatabaseBindParameter& { return parameters[i]; };
  if (state->ExecuteSets(sql, parameters.size(), nextSet, failure)) return true;
  return Fail("Execute", sql, failure, __LINE__);
}

bool DatabaseOperationBase::Execute(std::string_view sql, std::size_t count,
                                    const std::function<void(std::size_t, DatabaseBindParameter&)>& fill) {
  if (count == 0) return true;
  const RunningCall call(state->gate);
  Failure failure;
  DatabaseBindParameter set;
  const auto nextSet = [&](std::size_t i) -> const DatabaseBindParameter& {
    set.Clear();
    fill(i, set);
    return set;
  };
  if (state->ExecuteSets(sql, count, nextSet, failure)) return true;
  return Fail("Execute", sql, failure, __LINE__);
}

bool DatabaseOperationBase::ExecuteTogether(const std::vector<Statement>& statements) {
  const RunningCall call(state->gate);
  Failure failure;
  std::string_view running;
  if (state->ExecuteTogether(statements, running, failure)) return true;
  return Fail("ExecuteTogether", running, failure, __LINE__);
}

bool DatabaseOperationBase::Query(std::string_view sql, DatabaseQueryResultList& result) {
  return Query(sql, DatabaseBindParameter(), result);
}

bool DatabaseOperationBase::Query(std::string_view sql, const DatabaseBindParameter& parameter,
                                  DatabaseQueryResultList& result) {
  result.clear();
  const RunningCall call(state->gate);
  Failure failure;
  const auto copy = [&](sqlite3_stmt* row) { result.push_back(DatabaseQueryResult::Copy(row)); };
  if (state->Query(sql, parameter, copy, failure)) return true;
  result.clear();
  return Fail("Query", sql, failure, __LINE__);
}

bool DatabaseOperationBase::Query(std::string_view sql, const DatabaseBindParameter& parameter,
                                  const std::function<void(DatabaseQueryResult&)>& visit) {
  const RunningCall call(state->gate);
  Failure failure;
  const auto look = [&](sqlite3_stmt* statement) {
    DatabaseQueryResult row = DatabaseQueryResult::View(statement);
    visit(row);
  };
  return state->Query(sql, parameter, look, failure) || Fail("Query", sql, failure, __LINE__);
}

bool DatabaseOperationBase::FreeQueryResult(DatabaseQueryResultList& result) {
  DatabaseQueryResultList().swap(result);
  return true;
}

void DatabaseOperationBase::AfterOpen(sqlite3* /*connection*/) {}
void DatabaseOperationBase::BeforeClose(sqlite3* /*connection*/) {}

void DatabaseOperationBase::CloseConnections() {
  const NoCalls noCalls(state->gate);
  state->CloseAll();
}
