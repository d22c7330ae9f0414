// Statements on the table GalleryFile.

#include "common/platform/text.h"
#include "store/columns.h"
#include "store/dbhelper.h"
#include "store/tables.h"

namespace {

constexpr std::array<Column, 31> kColumns{{
    {"UniqueId", L":UniqueId", "VARCHAR PRIMARY KEY NOT NULL"},
    {"FileId", L":FileId", "VARCHAR"},
    {"VideoThumbId", L":VideoThumbId", "VARCHAR"},
    {"Hash", L":Hash", "VARCHAR"},
    {"CreateTime", L":CreateTime", "INTEGER"},
    {"FirstUpdateTime", L":FirstUpdateTime", "INTEGER"},
    {"ThumbFileId", L":ThumbFileId", "VARCHAR"},
    {"LcdFileId", L":LcdFileId", "VARCHAR"},
    {"Size", L":Size", "INTEGER"},
    {"RecycleAlbumId", L":RecycleAlbumId", "VARCHAR"},
    {"RecycleTime", L":RecycleTime", "INTEGER"},
    {"Guid", L":Guid", "VARCHAR"},
    {"Expand", L":Expand", "VARCHAR"},
    {"GalleryState", L":GalleryState", "INTEGER"},
    {"IsLocalUpload", L":IsLocalUpload", "INTEGER"},
    {"[Offset]", L":Offset", "INTEGER"},  // the bare word is reserved
    {"LocalPath", L":LocalPath", "VARCHAR"},
    {"OperateTime", L":OperateTime", "INTEGER"},
    {"ContinuousNo", L":ContinuousNo", "INTEGER"},
    {"ContinuousType", L":ContinuousType", "INTEGER"},
    {"ContinuousName", L":ContinuousName", "VARCHAR"},
    {"IsDeleted", L":IsDeleted", "INTEGER"},
    {"FileName", L":FileName", "VARCHAR"},
    {"AlbumId", L":AlbumId", "VARCHAR"},
    {"IsFavorite", L":IsFavorite", "INTEGER"},
    {"SavedFileType", L":SavedFileType", "INTEGER"},
    {"CheckSumn", L":CheckSumn", "VARCHAR"},
    {"Sdsmtime", L":Sdsmtime", "DATETIME"},
    {"PictureMetadata", L":PictureMetadata", "VARCHAR"},
    {"VideoMetadata", L":VideoMetadata", "VARCHAR"},
    {"cloudContentStatus", L":cloudContentStatus", "INTEGER DEFAULT (0)"},
}};

constexpr std::string_view kHealthy = " (cloudContentStatus=0 OR cloudContentStatus=1)";
// Whatever hides such a row: the cloud hears only of what is in memory.
constexpr std::string_view kToTell = " OR GalleryState!=0 OR IsDeleted!=0";
constexpr std::string_view kLost = " (cloudContentStatus!=0 AND cloudContentStatus!=1)";

void BindText(const GalleryFile& file, FileText which, std::wstring_view name, DatabaseBindParameter& set) {
  file.Texts().With(which, [&](std::string_view text) { set.Insert(name, text); });
}

// In the order of the columns, so that a set's values and the statement's
// parameters run in parallel.
void BindFile(const GalleryFile& file, DatabaseBindParameter& set) {
  BindText(file, FileText::UniqueId, L":UniqueId", set);
  BindText(file, FileText::FileId, L":FileId", set);
  BindText(file, FileText::VideoThumbId, L":VideoThumbId", set);
  BindText(file, FileText::Hash, L":Hash", set);
  set.Insert(L":CreateTime", file.CreateTime.Get());
  set.Insert(L":FirstUpdateTime", file.FirstUpdateTime.Get());
  BindText(file, FileText::ThumbFileId, L":ThumbFileId", set);
  BindText(file, FileText::LcdFileId, L":LcdFileId", set);
  set.Insert(L":Size", file.Size.Get());
  set.Insert(L":RecycleAlbumId", file.RecycleAlbumId());
  set.Insert(L":RecycleTime", file.RecycleTime.Get());
  BindText(file, FileText::Guid, L":Guid", set);
  set.Insert(L":Expand", file.ExpandText());
  set.Insert(L":GalleryState", std::int64_t{file.GalleryState});
  set.Insert(L":IsLocalUpload", std::int64_t{file.IsLocalUpload});
  set.Insert(L":Offset", file.Offset.Get());
  BindText(file, FileText::LocalPath, L":LocalPath", set);
  set.Insert(L":OperateTime", file.OperateTime.Get());
  set.Insert(L":ContinuousNo", std::int64_t{file.ContinuousNo});
  set.Insert(L":ContinuousType", std::int64_t{file.ContinuousType});
  BindText(file, FileText::ContinuousName, L":ContinuousName", set);
  set.Insert(L":IsDeleted", std::int64_t{file.IsDeleted});
  BindText(file, FileText::FileName, L":FileName", set);
  set.Insert(L":AlbumId", file.AlbumId());
  set.Insert(L":IsFavorite", std::int64_t{file.IsFavorite});
  set.Insert(L":SavedFileType", std::int64_t{file.SavedFileType});
  BindText(file, FileText::CheckSumn, L":CheckSumn", set);
  set.Insert(L":Sdsmtime", file.Sdsmtime.Get());
  BindText(file, FileText::PictureMetadata, L":PictureMetadata", set);
  BindText(file, FileText::VideoMetadata, L":VideoMetadata", set);
  set.Insert(L":cloudContentStatus", std::int64_t{file.cloudContentStatus});
}

// Reads a row of all columns. A statement that left out `absent` gets its text
// from `known`.
class RowReader {
 public:
  explicit RowReader(DatabaseQueryResult& of) : row(of) {}
  RowReader(DatabaseQueryResult& of, FileText absent, std::string_view known)
      : row(of), absent(absent), known(known) {}

  void Fill(GalleryFile& file) {
    Text(FileText::UniqueId);
    Text(FileText::FileId);
    Text(FileText::VideoThumbId);
    Text(FileText::Hash);
    file.CreateTime = row.GetInt();
    file.FirstUpdateTime = row.GetInt();
    Text(FileText::ThumbFileId);
    Text(FileText::LcdFileId);
    file.Size = row.GetInt();
    file.SetRecycleAlbumId(row.GetText());
    file.RecycleTime = row.GetInt();
    Text(FileText::Guid);
    Text(FileText::Expand);
    file.GalleryState = Small();
    file.IsLocalUpload = row.GetBoolean();
    file.Offset = row.GetInt();
    Text(FileText::LocalPath);
    file.OperateTime = row.GetInt();
    file.ContinuousNo = Small();
    file.ContinuousType = Small();
    Text(FileText::ContinuousName);
    file.IsDeleted = row.GetBoolean();
    Text(FileText::FileName);
    file.SetAlbumId(row.GetText());
    file.IsFavorite = row.GetBoolean();
    file.SavedFileType = Small();
    Text(FileText::CheckSumn);
    file.Sdsmtime = row.GetInt();
    Text(FileText::PictureMetadata);
    Text(FileText::VideoMetadata);
    file.cloudContentStatus = Small();
    file.SetTexts(texts);
  }

 private:
  void Text(FileText which) {
    texts[static_cast<std::size_t>(which)] = which == absent ? known : row.GetText();
  }
  std::int32_t Small() { return static_cast<std::int32_t>(row.GetInt()); }

  DatabaseQueryResult& row;
  std::optional<FileText> absent;
  std::string_view known;
  FileTexts texts{};
};

DatabaseBindParameter UniqueIdOf(const std::string& uniqueId) {
  DatabaseBindParameter set;
  set.Insert(L":UniqueId", uniqueId);
  return set;
}

}  // namespace

std::string FileTableStatement() { return CreateStatement("GalleryFile", kColumns); }

bool DBHelper::AddFile(const FilePtr& file) { return AddFiles({file}); }

DBHelper::Statement DBHelper::PutFiles(const FileVector& files) {
  static const std::string sql = InsertStatement("INSERT OR REPLACE", "GalleryFile", kColumns);
  return {sql, files.size(),
          [&files](std::size_t i, DatabaseBindParameter& set) { BindFile(*files[i], set); }};
}

bool DBHelper::AddFiles(const FileVector& files) {
  const Statement put = PutFiles(files);
  return Execute(put.sql, put.count, put.fill);
}

bool DBHelper::GetFile(GalleryFile& file, const std::string& uniqueId) {
  static const std::string sql =
      SelectStatement("GalleryFile", kColumns, " WHERE UniqueId = :UniqueId", "UniqueId");
  bool found = false;
  file.SetUniqueId(uniqueId);
  return Query(sql, UniqueIdOf(uniqueId),
               [&](DatabaseQueryResult& row) {
                 RowReader(row, FileText::UniqueId, uniqueId).Fill(file);
                 found = true;
               }) &&
         found;
}

DBHelper::FilePtr DBHelper::GetFile(const std::string& uniqueId) {
  auto file = std::make_shared<GalleryFile>();
  return GetFile(*file, uniqueId) ? file : nullptr;
}

bool DBHelper::GetFileByGuid(GalleryFile& file, const std::string& guid) {
  static const std::string sql = SelectStatement("GalleryFile", kColumns, " WHERE Guid = :Guid", "Guid");
  DatabaseBindParameter set;
  set.Insert(L":Guid", guid);
  bool found = false;
  file.SetGuid(guid);
  return Query(sql, set,
               [&](DatabaseQueryResult& row) {
                 if (!found) RowReader(row, FileText::Guid, guid).Fill(file);
                 found = true;
               }) &&
         found;
}

std::wstring DBHelper::GetLocalPath(const std::string& uniqueId) {
  DatabaseQueryResultList rows;
  (void)Query("SELECT LocalPath FROM GalleryFile WHERE UniqueId = :UniqueId;", UniqueIdOf(uniqueId), rows);
  return rows.empty() ? std::wstring() : rows.front().GetWstring();
}

bool DBHelper::ReadFiles(const std::string& sql, FileVector& files) {
  return Query(sql, DatabaseBindParameter(), [&files](DatabaseQueryResult& row) {
    auto file = std::make_shared<GalleryFile>();
    RowReader(row).Fill(*file);
    files.push_back(std::move(file));
  });
}

bool DBHelper::GetFiles(FileVector& files, bool showLost) {
  const std::string where =
      showLost ? std::string() : " WHERE" + std::string(kHealthy) + std::string(kToTell);
  return ReadFiles(SelectStatement("GalleryFile", kColumns, where), files);
}

bool DBHelper::GetLostFiles(FileVector& files) {
  return ReadFiles(SelectStatement("GalleryFile", kColumns, " WHERE" + std::string(kLost)), files);
}

bool DBHelper::DeleteFiles(const FileVector& files) {
  return Execute("DELETE FROM GalleryFile WHERE UniqueId = :UniqueId;", files.size(),
                 [&](std::size_t i, DatabaseBindParameter& set) {
                   BindText(*files[i], FileText::UniqueId, L":UniqueId", set);
                 });
}

bool DBHelper::UpdateFile(const FilePtr& file, const std::string& oldUniqueId) {
  static const std::string sql = UpdateStatement("GalleryFile", kColumns, "UniqueId = :OldUniqueId");
  DatabaseBindParameter set;
  BindFile(*file, set);
  set.Insert(L":OldUniqueId", oldUniqueId);
  return ExecuteOne(sql, set);
}

bool DBHelper::UpdateFiles(const FileVector& files) {
  return Execute(
      "UPDATE GalleryFile SET RecycleAlbumId = :RecycleAlbumId, RecycleTime = :RecycleTime, Expand = "
      ":Expand, "
      "GalleryState = :GalleryState, OperateTime = :OperateTime, IsDeleted = :IsDeleted, IsFavorite = "
      ":IsFavorite "
      "WHERE UniqueId = :UniqueId;",
      files.size(), [&](std::size_t i, DatabaseBindParameter& set) {
        const GalleryFile& file = *files[i];
        set.Insert(L":RecycleAlbumId", file.RecycleAlbumId());
        set.Insert(L":RecycleTime", file.RecycleTime.Get());
        set.Insert(L":Expand", file.ExpandText());
        set.Insert(L":GalleryState", std::int64_t{file.GalleryState});
        set.Insert(L":OperateTime", file.OperateTime.Get());
        set.Insert(L":IsDeleted", std::int64_t{file.IsDeleted});
        set.Insert(L":IsFavorite", std::int64_t{file.IsFavorite});
        BindText(file, FileText::UniqueId, L":UniqueId", set);
      });
}

bool DBHelper::UpdateFilesAlbum(const FileVector& files) {
  const Statement place{
      "UPDATE GalleryFile SET AlbumId = :AlbumId, GalleryState = 2 WHERE UniqueId = :UniqueId;", files.size(),
      [&files](std::size_t i, DatabaseBindParameter& set) {
        set.Insert(L":AlbumId", files[i]->AlbumId());
        BindText(*files[i], FileText::UniqueId, L":UniqueId", set);
      }};
  // Or a restart would tell the cloud the new album with the path of the old one.
  const Statement change{
      "UPDATE GalleryFile SET Expand = :Expand, OperateTime = :OperateTime WHERE UniqueId = :UniqueId;",
      files.size(), [&files](std::size_t i, DatabaseBindParameter& set) {
        set.Insert(L":Expand", files[i]->ExpandText());
        set.Insert(L":OperateTime", files[i]->OperateTime.Get());
        BindText(*files[i], FileText::UniqueId, L":UniqueId", set);
      }};
  return ExecuteTogether({place, change});
}

bool DBHelper::ChangeAlbumId(const std::string& oldId, const std::string& newId) {
  DatabaseBindParameter set;
  set.Insert(L":AlbumId", newId);
  set.Insert(L":OldAlbumId", oldId);
  return ExecuteOne("UPDATE GalleryFile SET AlbumId = :AlbumId WHERE AlbumId = :OldAlbumId;", set);
}

bool DBHelper::SetLocalPath(const FilePtr& file) {
  DatabaseBindParameter set;
  BindText(*file, FileText::LocalPath, L":LocalPath", set);
  BindText(*file, FileText::UniqueId, L":UniqueId", set);
  return ExecuteOne("UPDATE GalleryFile SET LocalPath = :LocalPath WHERE UniqueId = :UniqueId;", set);
}

bool DBHelper::SetSize(const FilePtr& file) {
  DatabaseBindParameter set;
  set.Insert(L":Size", file->Size.Get());
  BindText(*file, FileText::UniqueId, L":UniqueId", set);
  return ExecuteOne("UPDATE GalleryFile SET Size = :Size WHERE UniqueId = :UniqueId;", set);
}

bool DBHelper::SetContentStatus(const std::string& uniqueId, std::int64_t status) {
  return SetContentStatus(ContentStatuses{{uniqueId, status}});
}

bool DBHelper::SetContentStatus(const ContentStatuses& statuses) {
  return Execute(
      "UPDATE GalleryFile SET cloudContentStatus = :cloudContentStatus WHERE UniqueId = :UniqueId;",
      statuses.size(), [&statuses](std::size_t i, DatabaseBindParameter& set) {
        set.Insert(L":UniqueId", statuses[i].first);
        set.Insert(L":cloudContentStatus", statuses[i].second);
      });
}

bool DBHelper::GetBurstCovers(const std::wstring& name, FileVector& covers) {
  DatabaseBindParameter set;
  set.Insert(L":ContinuousName", platform::WideToUtf8(name));
  return Query(
      "SELECT UniqueId, ContinuousNo, ContinuousType, ContinuousName FROM GalleryFile "
      "WHERE ContinuousName = :ContinuousName And ContinuousType = 1;",
      set, [&covers](DatabaseQueryResult& row) {
        auto cover = std::make_shared<GalleryFile>();
        cover->SetUniqueId(row.GetText());
        cover->ContinuousNo = static_cast<std::int32_t>(row.GetInt());
        cover->ContinuousType = static_cast<std::int32_t>(row.GetInt());
        cover->SetContinuousName(row.GetWstring());
        covers.push_back(std::move(cover));
      });
}

bool DBHelper::GetGuids(std::unordered_set<std::string>& guids) {
  return Query("SELECT Guid FROM GalleryFile;", DatabaseBindParameter(),
               [&guids](DatabaseQueryResult& row) { guids.emplace(row.GetText()); });
}

bool DBHelper::ClearOffsets() { return Execute("UPDATE GalleryFile SET [Offset] = 0;"); }

std::int64_t DBHelper::GetMaxOffset() { return QueryNumber("SELECT Max(Offset) FROM GalleryFile;"); }

std::int64_t DBHelper::GetMinOffset() { return QueryNumber("SELECT Min([Offset]) FROM GalleryFile;"); }

std::int64_t DBHelper::CountFiles() { return QueryNumber("SELECT COUNT (UniqueId) FROM GalleryFile;"); }
