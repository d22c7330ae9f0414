// Where the database lies, its tables, and databases of older clients.

#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "store/sqlitedb.h"
#include "support/gallerytest.h"

namespace fs = std::filesystem;

namespace {

// The file on its own, past the code under test.
class RawDatabase {
 public:
  explicit RawDatabase(const fs::path& path) { sqlite3_open(path.c_str(), &connection); }
  ~RawDatabase() { sqlite3_close_v2(connection); }
  RawDatabase(const RawDatabase&) = delete;
  RawDatabase& operator=(const RawDatabase&) = delete;

  bool Run(const std::string& sql) {
    return sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
  }
  std::vector<std::string> Column(const std::string& sql) {
    std::vector<std::string> values;
    sqlite3_exec(
        connection, sql.c_str(),
        [](void* to, int, char** row, char**) {
          static_cast<std::vector<std::string>*>(to)->push_back(row[0] ? row[0] : "");
          return 0;
        },
        &values, nullptr);
    return values;
  }

 private:
  sqlite3* connection = nullptr;
};

class SchemaTest : public testing::Test {
 protected:
  void SetUp() override { platform::SetProfileRoot(folder.Path()); }
  static int Open(const std::string& userId) { return DBHelper::GetInstance().IntiDataBase(userId); }
  static fs::path Path() {
    return platform::NativePath(platform::Utf8ToWide(SQLiteDB::GetInstance().Path()));
  }

  TemporaryFolder folder;
};

// Digests by `printf alice | sha256sum` and `printf aliceGallery | sha256sum`.
TEST_F(SchemaTest, FileIsNamedAfterDigestsOfTheUser) {
  ASSERT_TRUE(Open("alice"));
  const fs::path expected =
      folder.Path() / "data/ZentaraCloud/2bd806c97f0e00af1a1fc3328fa763a9269723c8db8fac4f93af71db186d6e90" /
      "449dee7167aa5273568d7b5a66c7b018f844018305f4e115075692c924d82f65cpp.dat";
  EXPECT_EQ(Path(), expected);
  EXPECT_TRUE(fs::exists(expected));
}

TEST_F(SchemaTest, EmptyUserGetsTheDigestOfTheWordAlone) {
  ASSERT_TRUE(Open(""));
  EXPECT_EQ(Path().filename(), "352cfc749e55222e135ee48e67631ba33f834d936c137560fd39063d2e57e5cbcpp.dat");
  EXPECT_EQ(Path().parent_path().filename(),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST_F(SchemaTest, TwoUsersShareNothingAndNoPathTellsTheirNames) {
  ASSERT_TRUE(Open("alice"));
  const fs::path first = Path();
  ASSERT_TRUE(Open("bob"));
  EXPECT_NE(Path().parent_path(), first.parent_path());
  EXPECT_NE(Path().filename(), first.filename());
  EXPECT_EQ(first.string().find("alice"), std::string::npos);
}

TEST_F(SchemaTest, HasTheFiveTablesAndNoIndexOfItsOwn) {
  ASSERT_TRUE(Open("alice"));
  RawDatabase raw(Path());
  EXPECT_EQ(
      raw.Column(
          "SELECT name FROM sqlite_master WHERE type='table' AND name NOT LIKE 'sqlite_%' ORDER BY name"),
      (std::vector<std::string>{"Album", "AlbumLocalVersion", "DownloadTask", "GalleryFile",
                                "TransferCompleteCloudTask"}));
  EXPECT_TRUE(raw.Column("SELECT name FROM sqlite_master WHERE type='index' AND sql IS NOT NULL").empty());
  EXPECT_EQ(raw.Column("PRAGMA journal_mode"), std::vector<std::string>{"wal"});
}

TEST_F(SchemaTest, GalleryFileHasItsColumnsInOrder) {
  ASSERT_TRUE(Open("alice"));
  RawDatabase raw(Path());
  EXPECT_EQ(raw.Column("SELECT name || ' ' || type || coalesce(' ' || dflt_value, '') FROM "
                       "pragma_table_info('GalleryFile')"),
            (std::vector<std::string>{"UniqueId VARCHAR",
                                      "FileId VARCHAR",
                                      "VideoThumbId VARCHAR",
                                      "Hash VARCHAR",
                                      "CreateTime INTEGER",
                                      "FirstUpdateTime INTEGER",
                                      "ThumbFileId VARCHAR",
                                      "LcdFileId VARCHAR",
                                      "Size INTEGER",
                                      "RecycleAlbumId VARCHAR",
                                      "RecycleTime INTEGER",
                                      "Guid VARCHAR",
                                      "Expand VARCHAR",
                                      "GalleryState INTEGER",
                                      "IsLocalUpload INTEGER",
                                      "Offset INTEGER",
                                      "LocalPath VARCHAR",
                                      "OperateTime INTEGER",
                                      "ContinuousNo INTEGER",
                                      "ContinuousType INTEGER",
                                      "ContinuousName VARCHAR",
                                      "IsDeleted INTEGER",
                                      "FileName VARCHAR",
                                      "AlbumId VARCHAR",
                                      "IsFavorite INTEGER",
                                      "SavedFileType INTEGER",
                                      "CheckSumn VARCHAR",
                                      "Sdsmtime DATETIME",
                                      "PictureMetadata VARCHAR",
                                      "VideoMetadata VARCHAR",
                                      "cloudContentStatus INTEGER 0"}));
}

class OldDatabase : public SchemaTest {
 protected:
  // What a client wrote that knew none of the later columns.
  void SetUp() override {
    SchemaTest::SetUp();
    ASSERT_TRUE(Open("alice"));
    path = Path();
    Open("bob");  // lets go of the file
    for (const char* suffix : {"", "-wal", "-shm"}) fs::remove(path.string() + suffix);
    RawDatabase raw(path);
    ASSERT_TRUE(raw.Run(
        "CREATE TABLE AlbumLocalVersion(AlbumVersion VARCHAR PRIMARY KEY NOT NULL,"
        "AlbumListVersion VARCHAR,LatestVersion INTEGER,ClearVersion VARCHAR,UpdateTime INTEGER,"
        "HasDownAll INTEGER,TempVersion INTEGER,Cursor VARCHAR,RecyCursor VARCHAR,BriefingTime INTEGER,"
        "SyncToken VARCHAR,CloudPhotoVersion VARCHAR,FileCursor VARCHAR);"
        "INSERT INTO AlbumLocalVersion VALUES('v','l',5,'',0,1,-1,'','',0,'t','v2.0','');"
        "CREATE TABLE GalleryFile(UniqueId VARCHAR PRIMARY KEY NOT NULL,FileId VARCHAR,"
        "VideoThumbId VARCHAR,Hash VARCHAR,CreateTime INTEGER,FirstUpdateTime INTEGER,"
        "ThumbFileId VARCHAR,LcdFileId VARCHAR,Size INTEGER,RecycleAlbumId VARCHAR,RecycleTime INTEGER,"
        "Guid VARCHAR,Expand VARCHAR,GalleryState INTEGER,IsLocalUpload INTEGER,[Offset] INTEGER,"
        "LocalPath VARCHAR,OperateTime INTEGER,ContinuousNo INTEGER,ContinuousType INTEGER,"
        "ContinuousName VARCHAR,IsDeleted INTEGER,FileName VARCHAR,AlbumId VARCHAR,IsFavorite INTEGER,"
        "SavedFileType INTEGER,CheckSumn VARCHAR,Sdsmtime DATETIME,PictureMetadata VARCHAR,"
        "VideoMetadata VARCHAR);"
        "INSERT INTO GalleryFile(UniqueId,FileName,Size) VALUES('old','old.jpg',7);"));
  }
  std::vector<std::string> Schema() {
    return RawDatabase(path).Column("SELECT sql FROM sqlite_master WHERE sql IS NOT NULL ORDER BY name");
  }
  fs::path path;
};

TEST_F(OldDatabase, GetsTheMissingColumnsWithTheirDefaults) {
  ASSERT_TRUE(Open("alice"));
  RawDatabase raw(path);
  EXPECT_EQ(raw.Column("SELECT cloudContentStatus FROM GalleryFile"), std::vector<std::string>{"0"});
  EXPECT_EQ(raw.Column("SELECT lastLostFileQueryTimestamp FROM AlbumLocalVersion"),
            std::vector<std::string>{"0"});
  EXPECT_EQ(raw.Column("SELECT lostFileQueryCursor FROM AlbumLocalVersion"), std::vector<std::string>{""});
  const auto file = DBHelper::GetInstance().GetFile("old");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->FileName(), L"old.jpg");
  EXPECT_EQ(file->Size, 7);
  EXPECT_EQ(file->Hash(), "");
}

TEST_F(OldDatabase, IsUpgradedOnce) {
  ASSERT_TRUE(Open("alice"));
  const auto upgraded = Schema();
  const auto version = RawDatabase(path).Column("PRAGMA schema_version");
  ASSERT_TRUE(Open("alice"));
  EXPECT_EQ(Schema(), upgraded);
  EXPECT_EQ(RawDatabase(path).Column("PRAGMA schema_version"), version);
}

TEST_F(SchemaTest, FreshDatabaseNeedsNoUpgrade) {
  ASSERT_TRUE(Open("alice"));
  const auto version = RawDatabase(Path()).Column("PRAGMA schema_version");
  ASSERT_TRUE(Open("alice"));
  EXPECT_EQ(RawDatabase(Path()).Column("PRAGMA schema_version"), version);
}

TEST_F(SchemaTest, ProcessesThatStartAtOnceAllGetTheirDatabase) {
  for (int round = 0; round < 20; ++round) {
    const std::string path = (folder.Path() / ("shared" + std::to_string(round))).string();
    std::atomic<int> created{0};
    std::vector<std::thread> starters;
    for (int i = 0; i < 4; ++i) {
      starters.emplace_back([&] { created += SQLiteDB::GetInstance().CreateDb(path); });
    }
    for (auto& starter : starters) starter.join();
    EXPECT_EQ(created, 4);
  }
}

TEST_F(SchemaTest, UserFolderThatCannotBeMadeLeavesTheGalleryWithoutAStore) {
  std::ofstream(folder.Path() / "data") << "a file stands where the folder should";
  EXPECT_FALSE(Open("alice"));
}

TEST_F(SchemaTest, FileThatIsNoDatabaseIsRefusedAndLeftAlone) {
  ASSERT_TRUE(Open("alice"));
  const fs::path path = Path();
  Open("bob");
  for (const char* suffix : {"-wal", "-shm"}) fs::remove(path.string() + suffix);
  const std::string letter(5000, 'x');
  std::ofstream(path) << letter;
  EXPECT_FALSE(Open("alice"));
  EXPECT_EQ(Path(), path);
  std::vector<GalleryFile::Ptr> files;
  EXPECT_FALSE(DBHelper::GetInstance().GetFiles(files, true));
  std::ifstream file(path);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), letter);
}

}  // namespace
