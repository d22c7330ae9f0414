#include "store/dbhelper.h"

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "store/columns.h"
#include "store/sqlitedb.h"
#include "store/tables.h"
#include "utils/gallerylog.h"
#include "utils/methodfunction.h"

namespace {

constexpr std::array<Column, 8> kAlbumColumns{{
    {"AlbumId", L":AlbumId", "VARCHAR PRIMARY KEY NOT NULL"},
    {"AlbumName", L":AlbumName", "VARCHAR"},
    {"CreateTime", L":CreateTime", "INTEGER"},
    {"Lpath", L":Lpath", "VARCHAR"},
    {"AlbumType", L":AlbumType", "VARCHAR"},
    {"Operation", L":Operation", "VARCHAR"},
    {"IsDelete", L":IsDelete", "INTEGER"},
    {"Expand", L":Expand", "VARCHAR"},
}};

constexpr std::array<Column, 15> kVersionColumns{{
    {"AlbumVersion", L":AlbumVersion", "VARCHAR PRIMARY KEY NOT NULL"},
    {"AlbumListVersion", L":AlbumListVersion", "VARCHAR"},
    {"LatestVersion", L":LatestVersion", "INTEGER"},
    {"ClearVersion", L":ClearVersion", "VARCHAR"},
    {"UpdateTime", L":UpdateTime", "INTEGER"},
    {"HasDownAll", L":HasDownAll", "INTEGER"},
    {"TempVersion", L":TempVersion", "INTEGER"},
    {"Cursor", L":Cursor", "VARCHAR"},
    {"RecyCursor", L":RecyCursor", "VARCHAR"},
    {"BriefingTime", L":BriefingTime", "INTEGER"},
    {"SyncToken", L":SyncToken", "VARCHAR"},
    {"CloudPhotoVersion", L":CloudPhotoVersion", "VARCHAR"},
    {"FileCursor", L":FileCursor", "VARCHAR"},
    {"lastLostFileQueryTimestamp", L":lastLostFileQueryTimestamp", "INTEGER DEFAULT (0)"},
    {"lostFileQueryCursor", L":lostFileQueryCursor", "TEXT DEFAULT ('')"},
}};

struct ColumnUpgrade {
  std::string_view table;
  std::string_view column;
  std::string_view statement;
};
constexpr ColumnUpgrade kVersionUpgrades[] = {
    {"AlbumLocalVersion", "lastLostFileQueryTimestamp",
     "ALTER TABLE 'AlbumLocalVersion' ADD COLUMN 'lastLostFileQueryTimestamp' INTEGER  DEFAULT(0)"},
    {"AlbumLocalVersion", "lostFileQueryCursor",
     "ALTER TABLE 'AlbumLocalVersion' ADD COLUMN 'lostFileQueryCursor' TEXT  DEFAULT('')"},
};
constexpr ColumnUpgrade kFileUpgrade = {
    "GalleryFile", "cloudContentStatus",
    "ALTER TABLE 'GalleryFile' ADD COLUMN 'cloudContentStatus' INTEGER DEFAULT(0)"};

void BindAlbum(const Album& album, DatabaseBindParameter& set) {
  set.Insert(L":AlbumId", album.AlbumId.Get());
  set.Insert(L":AlbumName", platform::WideToUtf8(album.AlbumName.Get()));
  set.Insert(L":CreateTime", std::int64_t{album.CreateTime});
  set.Insert(L":Lpath", album.Lpath.Get());
  set.Insert(L":AlbumType", album.AlbumType.Get());
  set.Insert(L":Operation", album.Operation.Get());
  set.Insert(L":IsDelete", std::int64_t{album.IsDelete});
  set.Insert(L":Expand", CompactJson(album.Expand()));
}

// Everything behind the id, in the order of the columns.
void FillAlbum(Album& album, DatabaseQueryResult& row) {
  album.AlbumName = row.GetWstring();
  album.CreateTime = row.GetInt();
  album.Lpath = row.GetString();
  album.AlbumType = row.GetString();
  album.Operation = row.GetString();
  album.IsDelete = static_cast<std::int32_t>(row.GetInt());
  album.SetExpandText(row.GetText());
  album.Classify();
}

void BindVersion(const AlbumLocalVersion& record, DatabaseBindParameter& set) {
  set.Insert(L":AlbumVersion", record.AlbumVersion);
  set.Insert(L":AlbumListVersion", record.AlbumListVersion);
  set.Insert(L":LatestVersion", record.LatestVersion);
  set.Insert(L":ClearVersion", record.ClearVersion);
  set.Insert(L":UpdateTime", record.UpdateTime);
  set.Insert(L":HasDownAll", record.HasDownAll);
  set.Insert(L":TempVersion", record.TempVersion);
  set.Insert(L":Cursor", record.Cursor);
  set.Insert(L":RecyCursor", record.RecyCursor);
  set.Insert(L":BriefingTime", record.BriefingTime);
  set.Insert(L":SyncToken", record.SyncToken);
  set.Insert(L":CloudPhotoVersion", record.CloudPhotoVersion);
  set.Insert(L":FileCursor", record.FileCursor);
  set.Insert(L":lastLostFileQueryTimestamp", record.lastLostFileQueryTimestamp);
  set.Insert(L":lostFileQueryCursor", record.lostFileQueryCursor);
}

AlbumLocalVersion ReadVersion(DatabaseQueryResult& row) {
  AlbumLocalVersion record;
  record.AlbumVersion = row.GetString();
  record.AlbumListVersion = row.GetString();
  record.LatestVersion = row.GetInt();
  record.ClearVersion = row.GetString();
  record.UpdateTime = row.GetInt();
  record.HasDownAll = row.GetInt();
  record.TempVersion = row.GetInt();
  record.Cursor = row.GetString();
  record.RecyCursor = row.GetString();
  record.BriefingTime = row.GetInt();
  record.SyncToken = row.GetString();
  record.CloudPhotoVersion = row.GetString();
  record.FileCursor = row.GetString();
  record.lastLostFileQueryTimestamp = row.GetInt();
  record.lostFileQueryCursor = row.GetString();
  return record;
}

// Rows of files that a listing of the cloud brings again as they are.
constexpr char kToldByTheCloud[] = "GalleryState = 0 And IsDeleted = 0 And LocalPath = ''";
constexpr char kClearOffsets[] = "UPDATE GalleryFile SET [Offset] = 0;";
// Behind the rows of files: without its album a file that waits would be in no list.
constexpr char kDeleteAlbums[] =
    "DELETE FROM Album WHERE Operation = '' AND IsDelete != 1 AND "
    "(AlbumId IN ('default-album-1', 'default-album-2', 'default-album-3') "
    "OR AlbumId NOT IN (SELECT AlbumId FROM GalleryFile));";

std::wstring DatabaseFileName(const std::string& userId) {
  return platform::Utf8ToWide(MethodFunction::Sha256(userId + "Gallery") + "cpp.dat");
}

}  // namespace

std::string ParameterText(const Column& column) { return platform::WideToUtf8(column.parameter); }

DBHelper& DBHelper::GetInstance() {
  static DBHelper instance;
  return instance;
}

DBHelper::DBHelper() : DatabaseOperationBase(DatabaseFileName("")) {}

std::wstring DBHelper::GetGalleryDBName(const std::string& userId) {
  if (userId.empty()) LogError("DBHelper::GetGalleryDBName", "userId is empty");
  return DatabaseFileName(userId);
}

int DBHelper::IntiDataBase(const std::string& userId) {
  constexpr char kTag[] = "DBHelper::IntiDataBase";
  const std::wstring productFolder = platform::WidePath(platform::DataRoot()) + L"\\ZentaraCloud";
  const std::wstring folder = productFolder + L"\\" + platform::Utf8ToWide(MethodFunction::Sha256(userId));
  userFolder = folder;
  const std::wstring path = folder + L"\\" + GetGalleryDBName(userId);
  // Also when nothing comes of it: the rows of the user before must not be read on.
  SetDatabasePath(path);
  if (const auto failed = platform::MakeFolder(platform::NativePath(folder))) {
    LogError(kTag,
             "Create database directory failed." + platform::WideToUtf8(folder) + ": " + failed.message());
    return 0;
  }
  const std::string utf8Path = platform::WideToUtf8(path);
  LogInfo(kTag, [&] { return "gallery database path:" + utf8Path; });
  const int created = SQLiteDB::GetInstance().CreateDb(utf8Path);
  if (created) {
    CreateTables();
  } else {
    LogError(kTag, "Init database failed.");
  }
  SQLiteDB::GetInstance().SetPath(utf8Path);
  return created;
}

void DBHelper::CreateTables() {
  const auto upgrade = [this](const ColumnUpgrade& step) {
    if (!HasColumn(step.table, step.column)) (void)Execute(step.statement);
  };
  (void)Execute(CreateStatement("Album", kAlbumColumns));
  (void)Execute(CreateStatement("AlbumLocalVersion", kVersionColumns));
  for (const auto& step : kVersionUpgrades) upgrade(step);
  (void)Execute(DownloadTableStatement());
  (void)Execute(FileTableStatement());
  upgrade(kFileUpgrade);
  (void)Execute(CompletedTableStatement());
}

bool DBHelper::HasColumn(std::string_view table, std::string_view column) {
  DatabaseBindParameter set;
  set.Insert(L":tableName", table);
  DatabaseQueryResultList rows;
  (void)Query("SELECT COUNT(*) FROM SQLITE_MASTER WHERE NAME = :tableName AND SQL LIKE '%" +
                  std::string(column) + "%'",
              set, rows);
  return !rows.empty() && rows.front().GetInt() != 0;
}

bool DBHelper::ExecuteOne(std::string_view sql, const DatabaseBindParameter& parameter) {
  return Execute(sql, std::vector<DatabaseBindParameter>{parameter});
}

std::int64_t DBHelper::QueryNumber(std::string_view sql) {
  DatabaseQueryResultList rows;
  (void)Query(sql, rows);  // A failed query reads as 0, like an empty table.
  return rows.empty() ? 0 : rows.front().GetInt();
}

// --- Albums

bool DBHelper::AddAlbum(const AlbumPtr& album) { return AddAlbums({album}); }

DBHelper::Statement DBHelper::PutAlbums(const AlbumVector& albums) {
  static const std::string sql = InsertStatement("INSERT OR REPLACE", "Album", kAlbumColumns);
  return {sql, albums.size(),
          [&albums](std::size_t i, DatabaseBindParameter& set) { BindAlbum(*albums[i], set); }};
}

bool DBHelper::AddAlbums(const AlbumVector& albums) {
  const Statement put = PutAlbums(albums);
  return Execute(put.sql, put.count, put.fill);
}

bool DBHelper::GetAlbums(AlbumVector& albums) {
  static const std::string sql = SelectStatement("Album", kAlbumColumns, " order by CreateTime desc");
  return Query(sql, DatabaseBindParameter(), [&albums](DatabaseQueryResult& row) {
    auto album = std::make_shared<Album>();
    album->AlbumId = row.GetString();
    FillAlbum(*album, row);
    albums.push_back(std::move(album));
  });
}

bool DBHelper::GetAlbum(Album& album, const std::string& id) {
  DatabaseBindParameter set;
  set.Insert(L":albumId", id);
  DatabaseQueryResultList rows;
  album.AlbumId = id;
  if (!Query("SELECT AlbumName,CreateTime,Lpath,AlbumType,Operation,IsDelete,Expand FROM Album "
             "WHERE AlbumId = :albumId;",
             set, rows) ||
      rows.empty()) {
    return false;
  }
  FillAlbum(album, rows.front());
  return FreeQueryResult(rows);
}

bool DBHelper::ClearAlbums() { return Execute("DELETE FROM Album;"); }

bool DBHelper::UpdateAlbum(const AlbumPtr& album, const std::string& oldId) {
  static const std::string sql = UpdateStatement("Album", kAlbumColumns, "AlbumId = :OldAlbumId");
  DatabaseBindParameter set;
  BindAlbum(*album, set);
  set.Insert(L":OldAlbumId", oldId);
  return ExecuteOne(sql, set);
}

bool DBHelper::UpdateAlbumName(const AlbumPtr& album) {
  DatabaseBindParameter set;
  set.Insert(L":AlbumName", platform::WideToUtf8(album->AlbumName.Get()));
  set.Insert(L":AlbumId", album->AlbumId.Get());
  return ExecuteOne("UPDATE Album SET AlbumName = :AlbumName WHERE AlbumId = :AlbumId", set);
}

std::int64_t DBHelper::CountAlbums() { return QueryNumber("SELECT COUNT(AlbumId) FROM Album;"); }

// --- What the cloud told

bool DBHelper::ForgetCloud() {
  platform::MutexLock hold(versionLock);
  return ExecuteTogether({{"Delete From GalleryFile Where " + std::string(kToldByTheCloud) + ";"},
                          {kClearOffsets},
                          {"DELETE FROM AlbumLocalVersion; "},
                          {kDeleteAlbums}});
}

bool DBHelper::EmptyForListing(const AlbumVector& waitingAlbums, const FileVector& waitingFiles) {
  return ExecuteTogether(
      {{"Delete From GalleryFile Where Offset != 0 And " + std::string(kToldByTheCloud) + ";"},
       {kClearOffsets},
       {kDeleteAlbums},
       PutAlbums(waitingAlbums),
       PutFiles(waitingFiles)});
}

// --- Sync state

bool DBHelper::AddLocalVersion(const AlbumLocalVersion& record) {
  platform::MutexLock hold(versionLock);
  return PutLocalVersion(record);
}

bool DBHelper::UpdateLocalVersion(const AlbumLocalVersion& record, const std::string& oldVersion) {
  platform::MutexLock hold(versionLock);
  return ReplaceLocalVersion(record, oldVersion);
}

bool DBHelper::ChangeLocalVersions(const std::function<void(AlbumLocalVersion&)>& change) {
  platform::MutexLock hold(versionLock);
  std::vector<AlbumLocalVersion> records;
  if (!GetLocalVersions(records) || records.empty()) return false;
  bool stored = true;
  for (auto& record : records) {
    const std::string key = record.AlbumVersion;
    change(record);
    // The key changes only where a new cloud state replaces an older one.
    const bool sameKey = record.AlbumVersion == key;
    stored = (sameKey ? PutLocalVersion(record) : ReplaceLocalVersion(record, key)) && stored;
  }
  return stored;
}

bool DBHelper::PutLocalVersion(const AlbumLocalVersion& record) {
  static const std::string sql = InsertStatement("INSERT OR REPLACE", "AlbumLocalVersion", kVersionColumns);
  DatabaseBindParameter set;
  BindVersion(record, set);
  return ExecuteOne(sql, set);
}

bool DBHelper::GetLocalVersions(std::vector<AlbumLocalVersion>& records) {
  static const std::string sql = SelectStatement("AlbumLocalVersion", kVersionColumns);
  return Query(sql, DatabaseBindParameter(),
               [&records](DatabaseQueryResult& row) { records.push_back(ReadVersion(row)); });
}

bool DBHelper::ReplaceLocalVersion(const AlbumLocalVersion& record, const std::string& oldVersion) {
  static const std::string sql =
      UpdateStatement("AlbumLocalVersion", kVersionColumns, "AlbumVersion = :OldAlbumVersion");
  DatabaseBindParameter set;
  BindVersion(record, set);
  set.Insert(L":OldAlbumVersion", oldVersion);
  return ExecuteOne(sql, set);
}

bool DBHelper::SetFileCursor(const std::string& cursor) {
  platform::MutexLock hold(versionLock);
  DatabaseBindParameter set;
  set.Insert(L":FileCursor", cursor);
  return ExecuteOne("UPDATE AlbumLocalVersion SET FileCursor = :FileCursor;", set);
}

bool DBHelper::SetHasDownAll(std::int64_t value) {
  platform::MutexLock hold(versionLock);
  DatabaseBindParameter set;
  set.Insert(L":HasDownAll", value);
  return ExecuteOne("UPDATE AlbumLocalVersion SET HasDownAll = :HasDownAll;", set);
}

bool DBHelper::SetLostFileQueryCursor(const std::string& cursor) {
  platform::MutexLock hold(versionLock);
  DatabaseBindParameter set;
  set.Insert(L":lostFileQueryCursor", cursor);
  return ExecuteOne("UPDATE AlbumLocalVersion SET lostFileQueryCursor = :lostFileQueryCursor;", set);
}

bool DBHelper::SetLastLostFileQueryTimestamp(std::int64_t value) {
  platform::MutexLock hold(versionLock);
  DatabaseBindParameter set;
  set.Insert(L":lastLostFileQueryTimestampPara", value);
  return ExecuteOne(
      "UPDATE AlbumLocalVersion SET lastLostFileQueryTimestamp = :lastLostFileQueryTimestampPara;", set);
}

bool DBHelper::GetHasDownAll(std::int64_t& value) {
  std::vector<AlbumLocalVersion> records;
  if (!GetLocalVersions(records) || records.empty()) return false;
  value = records.front().HasDownAll;
  return true;
}

std::string DBHelper::GetCloudPhotoVersion() {
  std::vector<AlbumLocalVersion> records;
  if (!GetLocalVersions(records) || records.empty()) return {};
  return records.front().CloudPhotoVersion;
}
