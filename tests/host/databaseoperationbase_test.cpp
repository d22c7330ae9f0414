#include "host/database/databaseoperationbase.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <future>
#include <latch>

#include "common/platform/paths.h"
#include "host/base/logger.h"
#include "tests/platform/filesizelimit.h"
#include "tests/support/temporaryfolder.h"

namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kCreate[] = "CREATE TABLE Item(Id INTEGER PRIMARY KEY NOT NULL, Name VARCHAR, Size INTEGER)";
constexpr char kInsert[] = "INSERT INTO Item(Id, Name, Size) VALUES(:Id, :Name, :Size)";
constexpr char kCount[] = "SELECT COUNT(*) FROM Item";

// Counts its connections and can limit the file's pages.
class TestDatabase : public DatabaseOperationBase {
 public:
  explicit TestDatabase(const fs::path& path) : DatabaseOperationBase(platform::WidePath(path)) {}
  ~TestDatabase() override { CloseConnections(); }
  using DatabaseOperationBase::CloseConnections;

  std::atomic<int> opened = 0;
  std::atomic<int> closed = 0;
  std::atomic<int> maxPages = 0;

 protected:
  void AfterOpen(sqlite3* connection) override {
    ++opened;
    if (maxPages == 0) return;
    const std::string limit = "PRAGMA max_page_count=" + std::to_string(maxPages);
    EXPECT_EQ(sqlite3_exec(connection, limit.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  }
  void BeforeClose(sqlite3* connection) override {
    EXPECT_NE(sqlite3_db_filename(connection, "main"), nullptr);
    ++closed;
  }
};

DatabaseBindParameter Item(std::int64_t id, std::string_view name, std::int64_t size = 0) {
  DatabaseBindParameter set;
  set.Insert(L":Id", id);
  set.Insert(L":Name", name);
  set.Insert(L":Size", size);
  return set;
}

std::vector<DatabaseBindParameter> Items(std::int64_t first, std::int64_t count) {
  std::vector<DatabaseBindParameter> sets;
  for (std::int64_t i = 0; i < count; ++i) sets.push_back(Item(first + i, "name"));
  return sets;
}

class DatabaseTest : public ::testing::Test {
 protected:
  DatabaseTest() : database(folder / "test.db") {
    EXPECT_TRUE(database.Execute("PRAGMA journal_mode=WAL"));
    EXPECT_TRUE(database.Execute(kCreate));
  }

  std::int64_t Number(std::string_view sql) {
    DatabaseQueryResultList rows;
    EXPECT_TRUE(database.Query(sql, rows));
    return rows.size() == 1 ? rows[0].GetInt() : -1;
  }

  // What the database layer writes to the log while `work` runs.
  template <typename Work>
  std::string Logged(Work work) {
    testing::internal::CaptureStderr();
    work();
    return testing::internal::GetCapturedStderr();
  }

  TemporaryFolder folder;
  TestDatabase database;
};

TEST_F(DatabaseTest, RowsComeBackInColumnOrderWithTheirTypes) {
  ASSERT_TRUE(database.Execute(kInsert, {Item(7, "\xE4\xB8\xAD\xF0\x9F\x98\x80", -9'000'000'000)}));
  DatabaseQueryResultList rows;
  ASSERT_TRUE(database.Query("SELECT Name, Id, Size, Id, Name FROM Item", rows));
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].GetWstring(), L"\u4E2D\U0001F600");
  EXPECT_TRUE(rows[0].GetBoolean());
  EXPECT_EQ(rows[0].GetInt(), -9'000'000'000);
  EXPECT_EQ(rows[0].GetString(), "7");
  EXPECT_EQ(rows[0].GetText(), "\xE4\xB8\xAD\xF0\x9F\x98\x80");
  EXPECT_EQ(rows[0].GetInt(), 0);
  EXPECT_EQ(rows[0].GetText(), "");
  EXPECT_TRUE(database.FreeQueryResult(rows));
  EXPECT_THAT(rows, IsEmpty());
}

// Both kinds of rows must read alike: conversions are SQLite's own.
TEST_F(DatabaseTest, ViewsAndCopiesConvertAlike) {
  constexpr char kValues[] = "SELECT NULL, '12abc', 3.75, x'6162', 42, '', ''";
  const auto read = [](DatabaseQueryResult row) {
    std::string all;
    all += std::to_string(row.GetInt()) + "|";
    all += std::to_string(row.GetInt()) + "|";
    all += row.GetString() + "|";
    all += row.GetString() + "|";
    all += row.GetString() + "|";
    all += row.GetBoolean() ? "true|" : "false|";
    return all += row.GetString();
  };
  DatabaseQueryResultList rows;
  std::string viewed;
  ASSERT_TRUE(database.Query(kValues, rows));
  ASSERT_TRUE(database.Query(kValues, {}, [&](DatabaseQueryResult& row) { viewed = read(row); }));
  EXPECT_EQ(viewed, "0|12|3.75|ab|42|false|");
  EXPECT_EQ(read(rows.at(0)), viewed);
}

TEST_F(DatabaseTest, NullReadsAsNothing) {
  ASSERT_TRUE(database.Execute("INSERT INTO Item(Id) VALUES(1)"));
  DatabaseQueryResultList rows;
  ASSERT_TRUE(database.Query("SELECT Name, Name, Size, Size FROM Item", rows));
  EXPECT_EQ(rows[0].GetText(), "");
  EXPECT_EQ(rows[0].GetWstring(), L"");
  EXPECT_EQ(rows[0].GetInt(), 0);
  EXPECT_FALSE(rows[0].GetBoolean());
}

TEST_F(DatabaseTest, EmptyTextIsNotNull) {
  ASSERT_TRUE(database.Execute(kInsert, {Item(1, "")}));
  ASSERT_TRUE(database.Execute(kInsert, {Item(2, std::string_view())}));
  EXPECT_EQ(Number("SELECT COUNT(*) FROM Item WHERE Name = '' AND Name IS NOT NULL"), 2);
}

TEST_F(DatabaseTest, TextWithAZeroByteIsKept) {
  const std::string text("a\0b", 3);
  ASSERT_TRUE(database.Execute(kInsert, {Item(1, text)}));
  DatabaseQueryResultList rows;
  ASSERT_TRUE(database.Query("SELECT Name FROM Item", rows));
  EXPECT_EQ(rows[0].GetString(), text);
}

TEST_F(DatabaseTest, ParametersAreFoundByNameInAnyOrder) {
  DatabaseBindParameter set;
  set.Insert(L":Size", 3);
  set.Insert(L":Name", "three");
  set.Insert(L":Id", 1);
  ASSERT_TRUE(database.Execute(kInsert, {Item(2, "two", 2), set, Item(3, "x", 4)}));
  DatabaseBindParameter wanted;
  wanted.Insert(L":Size", 3);
  DatabaseQueryResultList rows;
  ASSERT_TRUE(database.Query("SELECT Id, Name FROM Item WHERE Size = :Size", wanted, rows));
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].GetInt(), 1);
  EXPECT_EQ(rows[0].GetString(), "three");
}

TEST_F(DatabaseTest, NamesThatShareAnAddressAreToldApart) {
  std::wstring name = L":Id";
  for (const auto& next : {L":Id", L":ID"}) {
    name = next;
    DatabaseBindParameter set;
    set.Insert(name, 5);
    const std::string sql = "INSERT INTO Item(Id) VALUES(:Id)";
    EXPECT_EQ(database.Execute(sql, {set}), name == L":Id") << "names differ in case";
  }
}

TEST_F(DatabaseTest, WrongParametersAreRefused) {
  DatabaseBindParameter missing;
  missing.Insert(L":Id", 1);
  DatabaseBindParameter unknown = Item(1, "x");
  unknown.Insert(L":Other", 1);
  const std::string log = Logged([&] {
    EXPECT_FALSE(database.Execute(kInsert, {missing}));
    EXPECT_FALSE(database.Execute(kInsert, {unknown}));
    EXPECT_FALSE(database.Execute(kInsert));
  });
  EXPECT_THAT(log, HasSubstr("the parameters do not match the statement"));
  EXPECT_EQ(Number(kCount), 0);
}

TEST_F(DatabaseTest, EmptyBatchSucceeds) {
  EXPECT_TRUE(database.Execute(kInsert, std::vector<DatabaseBindParameter>()));
  EXPECT_TRUE(database.Execute(kInsert, 0, [](std::size_t, DatabaseBindParameter&) { FAIL(); }));
}

TEST_F(DatabaseTest, FillingFormWritesTheSameRows) {
  EXPECT_TRUE(database.Execute(kInsert, 100, [](std::size_t i, DatabaseBindParameter& set) {
    EXPECT_THAT(set.GetValue(), IsEmpty());
    set.Insert(L":Id", static_cast<std::int64_t>(i));
    set.Insert(L":Name", "n" + std::to_string(i));
    set.Insert(L":Size", static_cast<std::int64_t>(i * i));
  }));
  EXPECT_EQ(Number("SELECT COUNT(*) FROM Item WHERE Name = 'n' || Id AND Size = Id * Id"), 100);
}

TEST_F(DatabaseTest, FailedBatchLeavesNothing) {
  auto sets = Items(1, 10);
  sets.push_back(Item(5, "again"));
  const std::string log = Logged([&] { EXPECT_FALSE(database.Execute(kInsert, sets)); });
  EXPECT_THAT(log, HasSubstr("UNIQUE constraint failed: Item.Id"));
  EXPECT_THAT(log, HasSubstr("code:1555"));  // SQLITE_CONSTRAINT_PRIMARYKEY
  EXPECT_EQ(Number(kCount), 0);
  EXPECT_TRUE(database.Execute(kInsert, Items(1, 10)));
  EXPECT_EQ(Number(kCount), 10);
}

TEST_F(DatabaseTest, BrokenStatementFailsWithItsReason) {
  DatabaseQueryResultList rows;
  const std::string log = Logged([&] {
    EXPECT_FALSE(database.Execute("INSERT INTO None VALUES(1)"));
    EXPECT_FALSE(database.Query("SELECT FROM", rows));
    EXPECT_FALSE(database.Execute("DELETE FROM Item; DELETE FROM Item"));
    EXPECT_FALSE(database.Execute("  -- nothing\n"));
    EXPECT_FALSE(database.Execute("BEGIN"));
  });
  EXPECT_THAT(log, HasSubstr("no such table: None"));
  EXPECT_THAT(log, HasSubstr("more than one statement"));
  EXPECT_THAT(log, HasSubstr("no statement"));
  EXPECT_THAT(log, HasSubstr("a transaction was left open"));
  EXPECT_TRUE(database.Execute("DELETE FROM Item; -- the end\n ; "));
  EXPECT_TRUE(database.Execute(kInsert, Items(1, 2)));
}

TEST_F(DatabaseTest, QueryMayWrite) {
  DatabaseQueryResultList rows;
  EXPECT_TRUE(database.Query("INSERT INTO Item(Id) VALUES(9) RETURNING Id", rows));
  EXPECT_EQ(rows.at(0).GetInt(), 9);
  EXPECT_TRUE(database.Query("WITH x(i) AS (VALUES(10)) INSERT INTO Item(Id) SELECT i FROM x", rows));
  EXPECT_EQ(Number(kCount), 2);
  EXPECT_TRUE(database.Query("PRAGMA user_version=7", rows));
  EXPECT_EQ(Number("PRAGMA user_version"), 7);
}

TEST_F(DatabaseTest, StatementsFollowAChangedSchema) {
  DatabaseQueryResultList rows;
  ASSERT_TRUE(database.Execute(kInsert, {Item(1, "x")}));
  ASSERT_TRUE(database.Query("SELECT * FROM Item", rows));
  ASSERT_TRUE(database.Execute("ALTER TABLE Item ADD COLUMN Extra INTEGER DEFAULT(5)"));
  ASSERT_TRUE(database.Query("SELECT * FROM Item", rows));
  for (int column = 0; column < 3; ++column) (void)rows[0].GetText();
  EXPECT_EQ(rows[0].GetInt(), 5);
}

TEST_F(DatabaseTest, ManyDifferentStatementsAreNoBurden) {
  for (int i = 0; i < 500; ++i) {
    ASSERT_TRUE(database.Execute("INSERT INTO Item(Id) VALUES(" + std::to_string(i) + ")"));
  }
  EXPECT_EQ(Number(kCount), 500);
}

TEST_F(DatabaseTest, OneThreadUsesOneWriterAndOneReader) {
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE(database.Execute(kInsert, {Item(i, "x")}));
    ASSERT_EQ(Number(kCount), i + 1);  // A call sees what the one before it has written.
  }
  EXPECT_EQ(database.opened, 2);
  database.CloseConnections();
  EXPECT_EQ(database.closed, 2);
  EXPECT_EQ(Number(kCount), 20);
}

TEST_F(DatabaseTest, ReadersGoOnDuringAWrite) {
  ASSERT_TRUE(database.Execute(kInsert, Items(1, 5)));
  std::int64_t seen = -1;
  ASSERT_TRUE(database.Execute(kInsert, 2, [&](std::size_t i, DatabaseBindParameter& set) {
    set = Item(100 + static_cast<std::int64_t>(i), "x");
    if (i == 1) seen = std::async(std::launch::async, [&] { return Number(kCount); }).get();
  }));
  EXPECT_EQ(seen, 5);
  EXPECT_EQ(Number(kCount), 7);
}

TEST_F(DatabaseTest, WritersAndReadersShareTheDatabase) {
  constexpr int kWriters = 4;
  constexpr int kBatches = 25;
  constexpr std::int64_t kBatch = 20;
  std::atomic<int> failures = 0;
  std::atomic<bool> done = false;
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&] {
      while (!done) failures += Number(kCount) % kBatch == 0 ? 0 : 1;
    });
  }
  std::vector<std::thread> writers;
  for (int writer = 0; writer < kWriters; ++writer) {
    writers.emplace_back([&, writer] {
      for (int batch = 0; batch < kBatches; ++batch) {
        failures += database.Execute(kInsert, Items((writer * kBatches + batch) * kBatch, kBatch)) ? 0 : 1;
      }
    });
  }
  for (auto& writer : writers) writer.join();
  done = true;
  for (auto& reader : readers) reader.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(Number(kCount), kWriters * kBatches * kBatch);
}

TEST_F(DatabaseTest, ChangeOfPathWaitsForRunningCalls) {
  ASSERT_TRUE(database.Execute(kInsert, Items(1, 3)));
  std::latch inVisit(1);
  std::promise<void> leave;
  auto reading = std::async(std::launch::async, [&] {
    int rows = 0;
    EXPECT_TRUE(database.Query("SELECT Id FROM Item", {}, [&](DatabaseQueryResult&) {
      if (rows++ == 0) {
        inVisit.count_down();
        leave.get_future().wait();
      }
    }));
    return rows;
  });
  inVisit.wait();
  auto changing = std::async(
      std::launch::async, [&] { return database.SetDatabasePath(platform::WidePath(folder / "other.db")); });
  EXPECT_EQ(database.closed, 0);
  leave.set_value();
  EXPECT_EQ(reading.get(), 3);
  EXPECT_TRUE(changing.get());
  EXPECT_EQ(database.closed, database.opened);
  EXPECT_EQ(Number("SELECT COUNT(*) FROM sqlite_master"), 0);
  EXPECT_TRUE(fs::exists(folder / "other.db"));
}

TEST_F(DatabaseTest, EmptyPathIsRefusedAndChangesNothing) {
  EXPECT_FALSE(database.SetDatabasePath(L""));
  EXPECT_EQ(Number(kCount), 0);
}

TEST_F(DatabaseTest, FileWithANastyNameIsUsed) {
  const fs::path path = folder / "\xE0\xB8\xA0 back\\slash \xFF.db";
  ASSERT_TRUE(database.SetDatabasePath(platform::WidePath(path)));
  EXPECT_TRUE(database.Execute(kCreate));
  EXPECT_TRUE(fs::exists(path));
}

TEST_F(DatabaseTest, MissingFolderFailsEachCallUntilItIsThere) {
  const fs::path path = folder / "later/test.db";
  ASSERT_TRUE(database.SetDatabasePath(platform::WidePath(path)));
  const std::string log = Logged([&] {
    DatabaseQueryResultList rows;
    EXPECT_FALSE(database.Execute(kCreate));
    EXPECT_FALSE(database.Execute(kInsert, Items(1, 2)));
    EXPECT_FALSE(database.Query(kCount, rows));
  });
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 3);
  EXPECT_THAT(log, HasSubstr("unable to open database file"));
  fs::create_directory(folder / "later");
  EXPECT_TRUE(database.Execute(kCreate));
}

TEST_F(DatabaseTest, UnusableFilesFail) {
  std::ofstream(folder / "no.db") << std::string(4096, 'x');
  const std::string log = Logged([&] {
    for (const fs::path& path : {folder / "no.db", fs::path("/proc/self/test.db"), folder.Path()}) {
      ASSERT_TRUE(database.SetDatabasePath(platform::WidePath(path)));
      EXPECT_FALSE(database.Execute(kCreate)) << path;
    }
  });
  EXPECT_THAT(log, HasSubstr("file is not a database"));
}

TEST_F(DatabaseTest, WithoutAPathEveryCallFails) {
  const std::string log = Logged([] {
    DatabaseOperationBase nothing(L"");
    EXPECT_FALSE(nothing.Execute(kCreate));
  });
  EXPECT_THAT(log, HasSubstr("no database path"));
}

TEST_F(DatabaseTest, FullDatabaseRollsTheBatchBack) {
  ASSERT_TRUE(database.Execute(kInsert, Items(1, 5)));
  database.CloseConnections();
  database.maxPages = 20;
  const std::string big(1000, 'x');
  const std::string log = Logged([&] {
    EXPECT_FALSE(database.Execute(kInsert, 1000, [&](std::size_t i, DatabaseBindParameter& set) {
      set = Item(100 + static_cast<std::int64_t>(i), big);
    }));
  });
  EXPECT_THAT(log, HasSubstr("database or disk is full"));
  EXPECT_EQ(Number(kCount), 5);
  EXPECT_TRUE(database.Execute(kInsert, Items(6, 5)));
  EXPECT_EQ(Number(kCount), 10);
}

TEST_F(DatabaseTest, FailingDiskRollsTheBatchBack) {
  ASSERT_TRUE(database.Execute(kInsert, Items(1, 5)));
  const std::string big(1000, 'x');
  const std::string log = Logged([&] {
    const FileSizeLimit limit(1024 * 1024);
    EXPECT_FALSE(database.Execute(kInsert, 20'000, [&](std::size_t i, DatabaseBindParameter& set) {
      set = Item(100 + static_cast<std::int64_t>(i), big);
    }));
  });
  EXPECT_THAT(log, HasSubstr("code:"));
  EXPECT_EQ(Number(kCount), 5);
  EXPECT_TRUE(database.Execute(kInsert, Items(6, 5)));
  DatabaseQueryResultList rows;
  ASSERT_TRUE(database.Query("PRAGMA integrity_check", rows));
  EXPECT_EQ(rows.at(0).GetString(), "ok");
}

// Another connection that holds the write lock, as another process would.
class OtherWriter {
 public:
  explicit OtherWriter(const fs::path& path) {
    EXPECT_EQ(sqlite3_open(path.c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  }
  ~OtherWriter() { sqlite3_close(connection); }
  void Commit() { EXPECT_EQ(sqlite3_exec(connection, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK); }

 private:
  sqlite3* connection = nullptr;
};

// Shortens the wait: the default of seconds would stop the test for as long.
class ImpatientDatabase : public TestDatabase {
 public:
  using TestDatabase::TestDatabase;
  ~ImpatientDatabase() override { CloseConnections(); }
  void AfterOpen(sqlite3* connection) override { sqlite3_busy_timeout(connection, 1); }
};

TEST_F(DatabaseTest, BusyDatabaseFailsWithItsReasonAndRecovers) {
  ImpatientDatabase impatient(folder / "test.db");
  OtherWriter other(folder / "test.db");
  const std::string log = Logged([&] {
    EXPECT_FALSE(impatient.Execute(kInsert, Items(1, 2)));
    EXPECT_FALSE(impatient.Execute(kInsert, Items(1, 1)));
  });
  EXPECT_THAT(log, HasSubstr("database is locked"));
  EXPECT_EQ(Number(kCount), 0);  // Readers are not kept out.
  other.Commit();
  EXPECT_TRUE(impatient.Execute(kInsert, Items(1, 2)));
}

TEST_F(DatabaseTest, BusyDatabaseIsWaitedFor) {
  OtherWriter other(folder / "test.db");
  std::latch started(1);
  auto writing = std::async(std::launch::async, [&] {
    started.count_down();
    return database.Execute(kInsert, Items(1, 2));
  });
  started.wait();
  other.Commit();
  EXPECT_TRUE(writing.get());
}

// Writes batches until it is killed, and tells of each one that is committed.
[[noreturn]] void WriteForEver(const fs::path& path, int pipe) {
  DatabaseOperationBase writer(platform::WidePath(path));
  for (std::int64_t batch = 0;; ++batch) {
    if (!writer.Execute(kInsert, Items(batch * 100, 100))) ::_exit(1);
    if (::write(pipe, "x", 1) != 1) ::_exit(2);
  }
}

TEST_F(DatabaseTest, KilledWriterLeavesWholeBatches) {
  database.CloseConnections();
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const pid_t child = ::fork();
  if (child == 0) WriteForEver(folder / "test.db", ends[1]);
  ::close(ends[1]);
  char told[20];
  std::size_t committed = 0;
  while (committed < sizeof told) {
    const ssize_t taken = ::read(ends[0], told, sizeof told - committed);
    if (taken <= 0) break;
    committed += static_cast<std::size_t>(taken);
  }
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  ::close(ends[0]);
  EXPECT_EQ(committed, sizeof told);
  EXPECT_EQ(Number(kCount) % 100, 0);
  EXPECT_GE(Number(kCount), static_cast<std::int64_t>(committed) * 100);
  DatabaseQueryResultList rows;
  ASSERT_TRUE(database.Query("PRAGMA integrity_check", rows));
  EXPECT_EQ(rows.at(0).GetString(), "ok");
}

TEST_F(DatabaseTest, StatementsTogetherTakeEffectTogether) {
  ASSERT_TRUE(database.Execute(kInsert, Items(1, 3)));
  const auto two = [](std::size_t i, DatabaseBindParameter& set) {
    set = Item(10 + static_cast<std::int64_t>(i), "more");
  };
  EXPECT_TRUE(
      database.ExecuteTogether({{"DELETE FROM Item WHERE Id = 1"}, {kInsert, 2, two}, {kInsert, 0, two}}));
  EXPECT_EQ(Number(kCount), 4);
  // The last one meets an id that is there.
  EXPECT_THAT(
      Logged([&] {
        EXPECT_FALSE(database.ExecuteTogether({{"DELETE FROM Item WHERE Id = 2"}, {kInsert, 2, two}}));
      }),
      HasSubstr("INSERT INTO Item"));
  EXPECT_EQ(Number(kCount), 4);
  EXPECT_EQ(Number("SELECT COUNT(*) FROM Item WHERE Id = 2"), 1);
  EXPECT_TRUE(database.ExecuteTogether({}));
}

}  // namespace
