#include "host/database/sqliteconnection.h"

#include <algorithm>

#include "common/platform/text.h"

namespace {

// As long as a writer in another process may keep us waiting.
constexpr int kBusyTimeoutMs = 5'000;
// The gallery has about 40 statements; the limit is for callers that paste
// values into their text.
constexpr std::size_t kMaxStatements = 128;

// Under WAL a commit without a flush may be lost by a power failure, but never
// in part and never by the end of the process. In other journal modes the
// default stays, which flushes.
constexpr char kSynchronous[] = "PRAGMA synchronous=NORMAL";
// Four times the default: pages that many batches change are copied into the database
// less often, which was a tenth of a first download.
constexpr char kCheckpointPages[] = "PRAGMA wal_autocheckpoint=4000";
// A large import would otherwise leave a log of the same size behind.
constexpr char kJournalSizeLimit[] = "PRAGMA journal_size_limit=67108864";

SqliteConnection::Failure FailureOf(int code, sqlite3* connection) {
  if (!connection) return {code, sqlite3_errstr(code)};
  return {sqlite3_extended_errcode(connection), sqlite3_errmsg(connection)};
}

bool IsWal(sqlite3* connection) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(connection, "PRAGMA journal_mode", -1, &statement, nullptr) != SQLITE_OK)
    return false;
  const bool hasRow = sqlite3_step(statement) == SQLITE_ROW;
  const char* mode = hasRow ? reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)) : nullptr;
  const bool isWal = mode && std::string_view(mode) == "wal";
  sqlite3_finalize(statement);
  return isWal;
}

// Whether anything but blanks, comments and semicolons follows.
bool HasStatement(sqlite3* connection, const char* text, const char* end) {
  sqlite3_stmt* second = nullptr;
  while (text && text < end) {
    if (sqlite3_prepare_v2(connection, text, static_cast<int>(end - text), &second, &text) != SQLITE_OK)
      return true;
    if (second) {
      sqlite3_finalize(second);
      return true;
    }
  }
  return false;
}

}  // namespace

SqliteStatement::SqliteStatement(sqlite3_stmt* prepared)
    : statement(prepared), parameterCount(sqlite3_bind_parameter_count(prepared)) {}

int SqliteStatement::Bind(const DatabaseBindParameter& set) {
  const Values& values = set.GetValue();
  if (!IsBoundTo(values) && !Resolve(values)) return SQLITE_MISUSE;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const auto& value = values[i];
    const std::string_view text = value.isText ? set.Text(value) : std::string_view();
    const int code = value.isText ? sqlite3_bind_text64(statement.get(), order[i].index, text.data(),
                                                        text.size(), SQLITE_STATIC, SQLITE_UTF8)
                                  : sqlite3_bind_int64(statement.get(), order[i].index, value.number);
    if (code != SQLITE_OK) return code;
  }
  return SQLITE_OK;
}

void SqliteStatement::Reset() {
  sqlite3_reset(statement.get());
  sqlite3_clear_bindings(statement.get());
}

// Compares the names themselves: their addresses may serve other names by now.
bool SqliteStatement::IsBoundTo(const Values& values) const {
  return !order.empty() && values.size() == order.size() &&
         std::equal(values.begin(), values.end(), order.begin(),
                    [](const auto& value, const Bound& bound) { return value.name == bound.name; });
}

bool SqliteStatement::Resolve(const Values& values) {
  std::vector<Bound> resolved;
  std::vector<bool> covered(static_cast<std::size_t>(parameterCount), false);
  for (const auto& value : values) {
    const std::string name = platform::WideToUtf8(value.name);
    const int index = sqlite3_bind_parameter_index(statement.get(), name.c_str());
    if (index == 0) return false;
    covered[static_cast<std::size_t>(index) - 1] = true;
    resolved.push_back({std::wstring(value.name), index});
  }
  if (std::find(covered.begin(), covered.end(), false) != covered.end()) return false;
  order = std::move(resolved);
  return true;
}

std::unique_ptr<SqliteConnection> SqliteConnection::Open(const std::string& path, Failure& failure) {
  sqlite3* opened = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  const int code = sqlite3_open_v2(path.c_str(), &opened, flags, nullptr);
  std::unique_ptr<SqliteConnection> connection(new SqliteConnection(opened));
  if (code != SQLITE_OK) {
    failure = FailureOf(code, opened);
    return nullptr;
  }
  connection->Configure();
  return connection;
}

void SqliteConnection::Configure() {
  sqlite3_extended_result_codes(connection.get(), 1);
  sqlite3_busy_timeout(connection.get(), kBusyTimeoutMs);
  if (!IsWal(connection.get())) return;
  // All save time or space only, so their failure is no reason to stop.
  (void)sqlite3_exec(connection.get(), kSynchronous, nullptr, nullptr, nullptr);
  (void)sqlite3_exec(connection.get(), kCheckpointPages, nullptr, nullptr, nullptr);
  (void)sqlite3_exec(connection.get(), kJournalSizeLimit, nullptr, nullptr, nullptr);
}

SqliteConnection::Failure SqliteConnection::LastFailure() const {
  return FailureOf(SQLITE_ERROR, connection.get());
}

SqliteStatement* SqliteConnection::Prepare(std::string_view sql, Failure& failure) {
  if (const auto known = statements.find(sql); known != statements.end()) return &known->second;
  sqlite3_stmt* prepared = nullptr;
  const char* rest = nullptr;
  const int code = sqlite3_prepare_v3(connection.get(), sql.data(), static_cast<int>(sql.size()),
                                      SQLITE_PREPARE_PERSISTENT, &prepared, &rest);
  if (code != SQLITE_OK) {
    failure = LastFailure();
    return nullptr;
  }
  SqliteStatement statement(prepared);
  if (!prepared || HasStatement(connection.get(), rest, sql.data() + sql.size())) {
    failure = {SQLITE_MISUSE, prepared ? "more than one statement" : "no statement"};
    return nullptr;
  }
  if (statements.size() >= kMaxStatements) statements.clear();
  return &statements.emplace(std::string(sql), std::move(statement)).first->second;
}

bool SqliteConnection::Run(std::string_view sql, Failure& failure) {
  SqliteStatement* statement = Prepare(sql, failure);
  if (!statement) return false;
  int code = SQLITE_ROW;
  while (code == SQLITE_ROW) code = sqlite3_step(statement->Handle());
  if (code != SQLITE_DONE) failure = LastFailure();
  statement->Reset();
  return code == SQLITE_DONE;
}

void SqliteConnection::RollBack() {
  // Some failures, a full disk among them, have ended the transaction already.
  if (InTransaction()) (void)sqlite3_exec(connection.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}
