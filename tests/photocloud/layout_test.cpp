// Databases of earlier layouts go on in the present one.

#include <sqlite3.h>

#include <fstream>
#include <sstream>

#include "photocloud/base/json.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

// data/layout0.sql is a dump of what the first release wrote: user "anna" with
// the secret "secret", a media with content, sealed keys and an open session;
// and a user "Anna", which later versions would not have made.
constexpr const char* kRefreshToken = "YQFjkyoOXr-Y083UOHej8zRNPm5T6nldHe0RP6RiYaY";

class LayoutTest : public ::testing::Test {
 protected:
  explicit LayoutTest(const char* dump = "layout0.sql") {
    std::ifstream file(std::filesystem::path(PHOTOCLOUD_DATA) / dump);
    std::stringstream text;
    text << file.rdbuf();
    Execute(text.str());
  }

  std::filesystem::path File() const { return folder.path / "photocloud.db"; }

  void Execute(const std::string& sql) {
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(File().c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(connection);
    sqlite3_close(connection);
  }

  TempFolder folder;
  Clock clock;
};

TEST_F(LayoutTest, FirstLayoutIsTakenOverWithAllThatIsInIt) {
  for (int start = 0; start < 2; ++start) {
    SqliteStore store(File());
    AccountService accounts(store, clock, PasswordCost::Least);
    const auto account = store.FindAccountByName("anna");
    ASSERT_TRUE(account);
    EXPECT_EQ(account->version, 2);
    EXPECT_EQ(store.LoadKeys(account->id).keys, R"({"blob":"one"})");
    EXPECT_TRUE(std::holds_alternative<Tokens>(accounts.Login({"anna", "secret", "phone", ""}).outcome));
    ASSERT_EQ(store.ListMedia(account->id, {}, std::nullopt, 10, Extent::Whole).size(), 1u);
    EXPECT_EQ(store.ListAlbums(account->id, "", std::nullopt, 10).size(), 4u);
  }
}

TEST_F(LayoutTest, OpenSessionsOfTheFirstLayoutGoOn) {
  SqliteStore store(File());
  AccountService accounts(store, clock, PasswordCost::Least);
  const auto session = store.ListSessions(1);
  ASSERT_EQ(session.size(), 1u);
  EXPECT_EQ(session[0].deviceId, "desktop");
  EXPECT_EQ(session[0].lastUsedMs, 4099852800000);
  EXPECT_TRUE(std::holds_alternative<Tokens>(accounts.Refresh(kRefreshToken)));
}

TEST_F(LayoutTest, NamesThatDifferInCaseOnlyStayTwoAccounts) {
  SqliteStore store(File());
  EXPECT_EQ(store.FindAccountByName("anna")->id, 1);
  EXPECT_EQ(store.FindAccountByName("Anna")->id, 2);
  EXPECT_EQ(store.FindAccountByName("ANNA")->id, 1);
}

TEST_F(LayoutTest, LaterLayoutIsLeftAlone) {
  { SqliteStore store(File()); }
  Execute("PRAGMA user_version=1000");
  EXPECT_THROW(SqliteStore store(File()), StoreFailure);
}

// data/layout3.sql is a dump of what the release before wrote: user "anna" with three
// visible media, an open upload and a tombstone.
class ThirdLayoutTest : public LayoutTest {
 protected:
  ThirdLayoutTest() : LayoutTest("layout3.sql") {}
};

TEST_F(ThirdLayoutTest, RecordsFromBeforeAreInTheListsForComparisons) {
  for (int start = 0; start < 2; ++start) {
    SqliteStore store(File());
    const auto media = store.ListMedia(1, {}, std::nullopt, 10, Extent::Brief);
    ASSERT_EQ(media.size(), 3u);
    EXPECT_EQ(media[0].fields,
              R"({"createdTime":"2023-05-01T14:00:00Z","editedTime":"2023-05-02T12:00:00.250Z",)"
              R"("size":9007199254740993})");
    EXPECT_EQ(media[1].fields, R"({"createdTime":"2023-05-01T13:00:00Z","size":0})");
    EXPECT_EQ(media[2].fields,
              R"({"createdTime":"2023-05-01T12:00:00Z","editedTime":"2023-05-02T12:00:00Z","size":3000000})");
    EXPECT_EQ(media[2].id, "176dab0f25f5a10e7455477ef533e701");
    EXPECT_EQ(media[2].albumId, "default-album-1");
    EXPECT_EQ(media[2].status, ContentStatus::Whole);
  }
}

}  // namespace
}  // namespace photocloud::testing
