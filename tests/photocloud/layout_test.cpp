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
  LayoutTest() {
    std::ifstream file(PHOTOCLOUD_DATA "/layout0.sql");
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
    ASSERT_EQ(store.ListMedia(account->id, {}, std::nullopt, 10).size(), 1u);
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

}  // namespace
}  // namespace photocloud::testing
