#include "host/database/databaseservice.h"

#include <gtest/gtest.h>

#include "common/platform/paths.h"
#include "host/database/databaseoperationbase.h"
#include "tests/support/temporaryfolder.h"

namespace {

using DatabaseService::GalleryDBProvider;

std::int64_t Count(DatabaseOperationBase& database, std::string_view from) {
  DatabaseQueryResultList rows;
  EXPECT_TRUE(database.Query("SELECT COUNT(*) FROM " + std::string(from), rows));
  return rows.empty() ? -1 : rows[0].GetInt();
}

TEST(DatabaseServiceTest, HostDatabaseIsMadeWithItsFolder) {
  const TemporaryFolder folder;
  EXPECT_TRUE(DatabaseService::InitDataBase(platform::WidePath(folder / "user/level")));
  EXPECT_TRUE(std::filesystem::exists(folder / "user/level/host.db"));
  EXPECT_FALSE(DatabaseService::InitDataBase(L"/proc/none"));
  EXPECT_FALSE(DatabaseService::InitDataBase(L""));
}

TEST(DatabaseServiceTest, ResetEmptiesEveryTableUnderOpenConnections) {
  const TemporaryFolder folder;
  const std::wstring path = platform::WidePath(folder / "gallery.db");
  DatabaseOperationBase database(path);
  ASSERT_TRUE(database.Execute("PRAGMA journal_mode=WAL"));
  ASSERT_TRUE(database.Execute("CREATE TABLE Album(AlbumId VARCHAR PRIMARY KEY NOT NULL)"));
  ASSERT_TRUE(
      database.Execute("CREATE TABLE \"odd \"\"name\"(Id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL)"));
  ASSERT_TRUE(database.Execute("INSERT INTO Album VALUES('a'), ('b')"));
  ASSERT_TRUE(database.Execute("INSERT INTO \"odd \"\"name\" VALUES(1), (2)"));
  EXPECT_TRUE(GalleryDBProvider::ResetGalleryDatabase(path));
  EXPECT_EQ(Count(database, "Album"), 0);
  EXPECT_EQ(Count(database, "\"odd \"\"name\""), 0);
  EXPECT_TRUE(database.Execute("INSERT INTO Album VALUES('a')"));
}

TEST(DatabaseServiceTest, ResetOfAMissingFileFailsAndMakesNone) {
  const TemporaryFolder folder;
  EXPECT_FALSE(GalleryDBProvider::ResetGalleryDatabase(platform::WidePath(folder / "none.db")));
  EXPECT_FALSE(std::filesystem::exists(folder / "none.db"));
}

TEST(DatabaseServiceTest, FailedResetKeepsAllRows) {
  const TemporaryFolder folder;
  const std::wstring path = platform::WidePath(folder / "gallery.db");
  DatabaseOperationBase database(path);
  ASSERT_TRUE(database.Execute("CREATE TABLE A(Id INTEGER)"));
  ASSERT_TRUE(database.Execute("CREATE TABLE B(Id INTEGER)"));
  ASSERT_TRUE(database.Execute("INSERT INTO A VALUES(1)"));
  ASSERT_TRUE(database.Execute("INSERT INTO B VALUES(1)"));
  ASSERT_TRUE(
      database.Execute("CREATE TRIGGER Refuse BEFORE DELETE ON B BEGIN SELECT RAISE(ABORT, 'no'); END"));
  EXPECT_FALSE(GalleryDBProvider::ResetGalleryDatabase(path));
  EXPECT_EQ(Count(database, "A"), 1);
  EXPECT_EQ(Count(database, "B"), 1);
}

}  // namespace
