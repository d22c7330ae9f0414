#include "photocloud/store/sqlitestore.h"

#include <thread>

#include "testcloud.h"

namespace photocloud::testing {
namespace {

class SqliteStoreTest : public ::testing::Test {
 protected:
  std::int64_t Account(const std::string& name) {
    photocloud::Account account;
    account.userId = "id of " + name;
    account.userName = name;
    return store.InsertAccount(account).value_or(0);
  }
  static AlbumRecord Album(const std::string& id) {
    AlbumRecord album;
    album.id = id;
    album.albumName = "name of " + id;
    return album;
  }

  TempFolder folder;
  SqliteStore store{folder.path / "test.db"};
};

TEST_F(SqliteStoreTest, RefusedWorkLeavesNothing) {
  const auto account = Account("anna");
  EXPECT_FALSE(store.Atomically([&] {
    store.PutAlbum(account, Album("a"));
    return false;
  }));
  EXPECT_FALSE(store.FindAlbum(account, "a"));
}

TEST_F(SqliteStoreTest, ThrownFailureLeavesNothing) {
  const auto account = Account("anna");
  EXPECT_THROW(store.Atomically([&]() -> bool {
    store.PutAlbum(account, Album("a"));
    throw StoreFailure("disk full");
  }),
               StoreFailure);
  EXPECT_FALSE(store.FindAlbum(account, "a"));
  EXPECT_TRUE(store.Atomically([&] {
    store.PutAlbum(account, Album("b"));
    return true;
  }));
  EXPECT_TRUE(store.FindAlbum(account, "b"));
}

TEST_F(SqliteStoreTest, InnerRefusalUndoesItsPartOnly) {
  const auto account = Account("anna");
  EXPECT_TRUE(store.Atomically([&] {
    store.PutAlbum(account, Album("kept"));
    EXPECT_FALSE(store.Atomically([&] {
      store.PutAlbum(account, Album("undone"));
      return false;
    }));
    EXPECT_TRUE(store.Atomically([&] {
      store.PutAlbum(account, Album("inner"));
      return true;
    }));
    return true;
  }));
  EXPECT_TRUE(store.FindAlbum(account, "kept"));
  EXPECT_TRUE(store.FindAlbum(account, "inner"));
  EXPECT_FALSE(store.FindAlbum(account, "undone"));
}

TEST_F(SqliteStoreTest, OuterRefusalUndoesInnerParts) {
  const auto account = Account("anna");
  store.Atomically([&] {
    store.Atomically([&] {
      store.PutAlbum(account, Album("inner"));
      return true;
    });
    return false;
  });
  EXPECT_FALSE(store.FindAlbum(account, "inner"));
}

TEST_F(SqliteStoreTest, VersionsOfSeveralThreadsNeverRepeat) {
  const auto account = Account("anna");
  std::mutex lock;
  std::set<std::int64_t> versions;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int k = 0; k < 50; ++k) {
        const auto version = store.NextVersion(account);
        const std::lock_guard guard(lock);
        EXPECT_TRUE(versions.insert(version).second);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(versions.size(), 200u);
  EXPECT_EQ(*versions.rbegin(), 200);
}

TEST_F(SqliteStoreTest, SecondProcessSeesWhatIsCommittedOnly) {
  const auto account = Account("anna");
  SqliteStore other(folder.path / "test.db");
  store.Atomically([&] {
    store.PutAlbum(account, Album("a"));
    EXPECT_FALSE(other.FindAlbum(account, "a"));
    return true;
  });
  EXPECT_TRUE(other.FindAlbum(account, "a"));
}

TEST_F(SqliteStoreTest, SecretStaysTheSame) {
  const std::string secret = store.Secret();
  EXPECT_EQ(secret.size(), 64u);
  EXPECT_EQ(SqliteStore(folder.path / "test.db").Secret(), secret);
}

TEST_F(SqliteStoreTest, AccountThatNobodyUsedStaysNewAtTheFirstStart) {
  const auto account = Account("anna");
  (void)store.Secret();
  EXPECT_EQ(store.FindAccount(account)->version, 0);
  EXPECT_EQ(store.FindAccount(account)->restoredCursor, 0);
}

TEST_F(SqliteStoreTest, BytesSurviveInTexts) {
  const auto account = Account("anna");
  AlbumRecord album = Album("a");
  album.properties = "{\"x\":\"\xC3\xA4 ' \\u0000\"}";
  store.PutAlbum(account, album);
  EXPECT_EQ(store.FindAlbum(account, "a")->properties, album.properties);
}

TEST_F(SqliteStoreTest, DamagedFileIsToldNotUsed) {
  const auto file = folder.path / "broken.db";
  std::FILE* stream = std::fopen(file.c_str(), "wb");
  const std::string text(8192, 'x');
  std::fwrite(text.data(), 1, text.size(), stream);
  std::fclose(stream);
  EXPECT_THROW(SqliteStore{file}, StoreFailure);
}

// A database that may not grow, as on a full disk, and one that another writes to.
TEST(SqliteFailure, TellsFullAndBusyFromBroken) {
  const TempFolder folder;
  const std::string file = folder.path / "a.db";
  sqlite3* first = nullptr;
  sqlite3* second = nullptr;
  sqlite3_open(file.c_str(), &first);
  sqlite3_open(file.c_str(), &second);
  const auto fails = [](sqlite3* connection, const char* sql) {
    EXPECT_NE(sqlite3_exec(connection, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    return SqliteFailure(connection, sql).kind;
  };
  EXPECT_EQ(fails(first, "SELECT * FROM none"), StoreFailure::Kind::Broken);
  sqlite3_exec(first, "CREATE TABLE t(x); PRAGMA max_page_count=4", nullptr, nullptr, nullptr);
  EXPECT_EQ(fails(first, "INSERT INTO t VALUES(zeroblob(100000))"), StoreFailure::Kind::Full);
  sqlite3_exec(first, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
  EXPECT_EQ(fails(second, "BEGIN IMMEDIATE"), StoreFailure::Kind::Busy);
  sqlite3_close(first);
  sqlite3_close(second);
}

// Makes every insert into a table fail, as a full disk would.
class RefusedTable {
 public:
  RefusedTable(const std::filesystem::path& file, const std::string& name) : table(name) {
    sqlite3_open(file.c_str(), &connection);
    Execute("CREATE TRIGGER refuse_insert BEFORE INSERT ON " + table +
            " BEGIN SELECT RAISE(ABORT,'full'); END");
    Execute("CREATE TRIGGER refuse_update BEFORE UPDATE ON " + table +
            " BEGIN SELECT RAISE(ABORT,'full'); END");
  }
  ~RefusedTable() {
    Execute("DROP TRIGGER refuse_insert");
    Execute("DROP TRIGGER refuse_update");
    sqlite3_close(connection);
  }

 private:
  void Execute(const std::string& sql) {
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
  }
  const std::string table;
  sqlite3* connection = nullptr;
};

TEST_F(CloudTest, EachFailedWriteOfAnUploadLeavesNothing) {
  const auto account = cloud.store.FindAccountByName("anna")->id;
  const Json::Value body = UploadBody("a.jpg", std::string(100, 'a'), "s", "l");
  for (const char* table : {"media", "assets", "slices"}) {
    const RefusedTable refused(cloud.folder.path / "photocloud.db", table);
    EXPECT_EQ(cloud.Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp", body).Code(), "31085000") << table;
    EXPECT_TRUE(cloud.store.ListUploadsBefore(INT64_MAX, 10).empty()) << table;
    EXPECT_EQ(cloud.store.ReservedBytes(account), 0) << table;
  }
  Upload(cloud, anna, "a.jpg", std::string(100, 'a'));
}

TEST_F(CloudTest, EachFailedWriteOfAChangeLeavesTheVersion) {
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  const std::string version = cloud.Version(anna);
  for (const char* table : {"media", "accounts"}) {
    const RefusedTable refused(cloud.folder.path / "photocloud.db", table);
    EXPECT_EQ(cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, Json(R"({"favorite":true})")).status,
              500);
    EXPECT_EQ(cloud.Call(anna, "DELETE", "/cloudPhoto/v1/media/" + id).status, 500);
    EXPECT_EQ(cloud.Version(anna), version) << table;
    EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/media/" + id).json["favorite"], false);
  }
  EXPECT_EQ(cloud.Call(anna, "DELETE", "/cloudPhoto/v1/media/" + id).status, 200);
}

TEST_F(SqliteStoreTest, CopyIsAStoreOfItsOwn) {
  const auto account = Account("anna");
  store.PutAlbum(account, Album("a"));
  store.CopyTo(folder.path / "copy.db");
  store.PutAlbum(account, Album("b"));
  SqliteStore copy(folder.path / "copy.db");
  EXPECT_TRUE(copy.FindAlbum(account, "a"));
  EXPECT_FALSE(copy.FindAlbum(account, "b"));
}

}  // namespace
}  // namespace photocloud::testing
