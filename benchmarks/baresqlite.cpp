#include "baresqlite.h"

#include <sqlite3.h>

#include <array>
#include <chrono>
#include <cstdlib>

namespace {

using Seconds = std::chrono::duration<double>;

void Check(bool good) {
  if (!good) std::abort();
}

struct Row {
  std::array<std::string, 16> texts;
  std::array<std::int64_t, 15> numbers;
};

// Which of the 31 columns are text.
constexpr char kColumns[] = "TTTTNNTTNTNTTNNNTNNNTNTTNNTNTTN";

Row MakeRow(const GalleryFile& f) {
  return {{f.UniqueId(), f.FileId(), f.VideoThumbId(), f.Hash(), f.ThumbFileId(), f.LcdFileId(),
           f.RecycleAlbumId(), f.Guid(), f.ExpandText(), f.Texts().Get(FileText::LocalPath),
           f.Texts().Get(FileText::ContinuousName), f.Texts().Get(FileText::FileName), f.AlbumId(),
           f.CheckSumn(), f.PictureMetadata(), f.VideoMetadata()},
          {f.CreateTime, f.FirstUpdateTime, f.Size, f.RecycleTime, f.GalleryState, f.IsLocalUpload, f.Offset,
           f.OperateTime, f.ContinuousNo, f.ContinuousType, f.IsDeleted, f.IsFavorite, f.SavedFileType,
           f.Sdsmtime, f.cloudContentStatus}};
}

}  // namespace

double BareInsert(const std::filesystem::path& path, const std::vector<GalleryFile::Ptr>& files) {
  std::vector<Row> rows;
  rows.reserve(files.size());
  for (const auto& file : files) rows.push_back(MakeRow(*file));

  sqlite3* database = nullptr;
  Check(sqlite3_open(path.c_str(), &database) == SQLITE_OK);
  sqlite3_exec(
      database,
      "PRAGMA journal_mode=WAL;PRAGMA synchronous=NORMAL;"
      "CREATE TABLE GalleryFile(UniqueId VARCHAR PRIMARY KEY NOT NULL,b,c,d,e,f,g,h,i,j,k,l,m,n,o,p,q,r,s,t,"
      "u,v,w,x,y,z,aa,bb,cc,dd,ee)",
      nullptr, nullptr, nullptr);
  const auto start = std::chrono::steady_clock::now();
  sqlite3_exec(database, "BEGIN", nullptr, nullptr, nullptr);
  sqlite3_stmt* insert = nullptr;
  Check(sqlite3_prepare_v2(
            database,
            "INSERT OR REPLACE INTO GalleryFile VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,"
            "?,?,?,?,?,?)",
            -1, &insert, nullptr) == SQLITE_OK);
  for (const auto& row : rows) {
    std::size_t text = 0, number = 0;
    for (int column = 0; column < 31; ++column) {
      if (kColumns[column] == 'T') {
        const std::string& value = row.texts[text++];
        sqlite3_bind_text(insert, column + 1, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
      } else {
        sqlite3_bind_int64(insert, column + 1, row.numbers[number++]);
      }
    }
    Check(sqlite3_step(insert) == SQLITE_DONE);
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr);
  const double seconds = Seconds(std::chrono::steady_clock::now() - start).count();
  sqlite3_close(database);
  return seconds;
}

double BareScan(const std::filesystem::path& path) {
  sqlite3* database = nullptr;
  Check(sqlite3_open(path.c_str(), &database) == SQLITE_OK);
  sqlite3_stmt* select = nullptr;
  Check(sqlite3_prepare_v2(database, "SELECT * FROM GalleryFile", -1, &select, nullptr) == SQLITE_OK);
  std::uint64_t seen = 0;
  const auto start = std::chrono::steady_clock::now();
  while (sqlite3_step(select) == SQLITE_ROW) {
    for (int column = 0; column < 31; ++column) {
      if (kColumns[column] == 'T') {
        (void)sqlite3_column_text(select, column);
        seen += static_cast<std::uint64_t>(sqlite3_column_bytes(select, column));
      } else {
        seen += static_cast<std::uint64_t>(sqlite3_column_int64(select, column));
      }
    }
  }
  const double seconds = Seconds(std::chrono::steady_clock::now() - start).count();
  Check(seen > 0);
  sqlite3_finalize(select);
  sqlite3_close(database);
  return seconds;
}
