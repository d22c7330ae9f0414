// Statements on the lists of running downloads and finished transfers.

#include "common/platform/text.h"
#include "store/columns.h"
#include "store/dbhelper.h"
#include "store/tables.h"

namespace {

constexpr std::array<Column, 11> kDownloadColumns{{
    {"FileName", L":FileName", "VARCHAR"},
    {"AlbumId", L":AlbumId", "VARCHAR"},
    {"FileId", L":FileId", "VARCHAR"},
    {"UniqueId", L":UniqueId", "VARCHAR"},
    {"TotalLength", L":TotalLength", "INTEGER"},
    {"Position", L":Position", "INTEGER"},
    {"LocalPath", L":LocalPath", "VARCHAR"},
    {"OriginalFileLocalPath", L":OriginalFileLocalPath", "VARCHAR"},
    {"TaskType", L":TaskType", "INTEGER"},
    {"IsLocalFileDownload", L":IsLocalFileDownload", "INTEGER"},
    {"Id", L":Id", "INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL"},
}};

constexpr std::array<Column, 9> kCompletedColumns{{
    {"FileName", L":FileName", "VARCHAR"},
    {"FileId", L":FileId", "VARCHAR"},
    {"UniqueId", L":UniqueId", "VARCHAR"},
    {"TotalLength", L":TotalLength", "INTEGER"},
    {"LocalPath", L":LocalPath", "VARCHAR"},
    {"TaskType", L":TaskType", "INTEGER"},
    {"EndTime", L":EndTime", "INTEGER"},
    {"IsLocalFileDownload", L":IsLocalFileDownload", "INTEGER"},
    {"Id", L":Id", "INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL"},
}};

void BindDownload(const DownloadTaskProperty& task, DatabaseBindParameter& set) {
  set.Insert(L":FileName", platform::WideToUtf8(task.FileName));
  set.Insert(L":AlbumId", task.AlbumId);
  set.Insert(L":FileId", task.FileId);
  set.Insert(L":UniqueId", task.UniqueId);
  set.Insert(L":TotalLength", task.TotalLength);
  set.Insert(L":Position", task.Position);
  set.Insert(L":LocalPath", platform::WideToUtf8(task.LocalPath));
  set.Insert(L":OriginalFileLocalPath", platform::WideToUtf8(task.OriginalFileLocalPath));
  set.Insert(L":TaskType", task.TaskType);
  set.Insert(L":IsLocalFileDownload", std::int64_t{task.IsLocalFileDownload});
}

DownloadTaskProperty ReadDownload(DatabaseQueryResult& row) {
  DownloadTaskProperty task;
  task.FileName = row.GetWstring();
  task.AlbumId = row.GetString();
  task.FileId = row.GetString();
  task.UniqueId = row.GetString();
  task.TotalLength = row.GetInt();
  task.Position = row.GetInt();
  task.LocalPath = row.GetWstring();
  task.OriginalFileLocalPath = row.GetWstring();
  task.TaskType = row.GetInt();
  task.IsLocalFileDownload = row.GetBoolean();
  task.Id = row.GetInt();
  return task;
}

CompletedTaskProperty ReadCompleted(DatabaseQueryResult& row) {
  CompletedTaskProperty task;
  task.FileName = row.GetWstring();
  task.FileId = row.GetString();
  task.UniqueId = row.GetString();
  task.TotalLength = row.GetInt();
  task.LocalPath = row.GetWstring();
  task.TaskType = row.GetInt();
  task.EndTime = row.GetInt();
  task.IsLocalFileDownload = row.GetBoolean();
  task.Id = row.GetInt();
  return task;
}

constexpr char kFindDownload[] = "SELECT Id FROM DownloadTask WHERE UniqueId = :UniqueId";

DatabaseBindParameter IdSet(std::int64_t id) {
  DatabaseBindParameter set;
  set.Insert(L":Id", id);
  return set;
}

}  // namespace

std::string DownloadTableStatement() { return CreateStatement("DownloadTask", kDownloadColumns); }
std::string CompletedTableStatement() {
  return CreateStatement("TransferCompleteCloudTask", kCompletedColumns);
}

bool DBHelper::AddDownload(DownloadTaskProperty& task) {
  static const std::string sql = InsertStatement("INSERT", "DownloadTask", kDownloadColumns, "Id");
  DatabaseBindParameter key;
  key.Insert(L":UniqueId", task.UniqueId);
  DatabaseQueryResultList rows;
  if (!Query(kFindDownload, key, rows)) return false;
  if (rows.empty()) {
    DatabaseBindParameter set;
    BindDownload(task, set);
    if (!ExecuteOne(sql, set) || !Query(kFindDownload, key, rows) || rows.empty()) return false;
  }
  task.Id = rows.front().GetInt();
  return true;
}

bool DBHelper::AddDownloads(const std::vector<DownloadTaskProperty*>& tasks) {
  static const std::string sql = InsertStatement("INSERT", "DownloadTask", kDownloadColumns, "Id");
  std::map<std::string, std::int64_t> ids;
  const auto readIds = [&] {
    std::vector<DownloadTaskProperty> rows;
    if (!GetDownloads(rows)) return false;
    for (const auto& row : rows) ids[row.UniqueId] = row.Id;
    return true;
  };
  if (!readIds()) return false;
  std::vector<DownloadTaskProperty*> fresh;
  for (DownloadTaskProperty* task : tasks) {
    if (ids.emplace(task->UniqueId, 0).second) fresh.push_back(task);
  }
  const auto fill = [&fresh](std::size_t i, DatabaseBindParameter& set) { BindDownload(*fresh[i], set); };
  if (!Execute(sql, fresh.size(), fill) || !readIds()) return false;
  for (DownloadTaskProperty* task : tasks) task->Id = ids[task->UniqueId];
  return true;
}

bool DBHelper::GetDownloads(std::vector<DownloadTaskProperty>& tasks) {
  static const std::string sql = SelectStatement("DownloadTask", kDownloadColumns);
  return Query(sql, DatabaseBindParameter(),
               [&tasks](DatabaseQueryResult& row) { tasks.push_back(ReadDownload(row)); });
}

bool DBHelper::DeleteDownload(std::int64_t id) {
  return ExecuteOne("DELETE FROM DownloadTask WHERE Id = :Id;", IdSet(id));
}

bool DBHelper::UpdateDownload(const DownloadTaskProperty& task, std::int64_t oldId) {
  static const std::string sql = UpdateStatement("DownloadTask", kDownloadColumns, "Id = :OldId");
  DatabaseBindParameter set;
  BindDownload(task, set);
  set.Insert(L":Id", task.Id);
  set.Insert(L":OldId", oldId);
  return ExecuteOne(sql, set);
}

bool DBHelper::AddCompleted(CompletedTaskProperty& task) {
  static const std::string sql =
      InsertStatement("INSERT", "TransferCompleteCloudTask", kCompletedColumns, "Id");
  DatabaseBindParameter set;
  set.Insert(L":FileName", platform::WideToUtf8(task.FileName));
  set.Insert(L":FileId", task.FileId);
  set.Insert(L":UniqueId", task.UniqueId);
  set.Insert(L":TotalLength", task.TotalLength);
  set.Insert(L":LocalPath", platform::WideToUtf8(task.LocalPath));
  set.Insert(L":TaskType", task.TaskType);
  set.Insert(L":EndTime", task.EndTime);
  set.Insert(L":IsLocalFileDownload", std::int64_t{task.IsLocalFileDownload});
  platform::MutexLock hold(completedLock);
  if (!ExecuteOne(sql, set)) return false;
  DatabaseQueryResultList rows;
  if (!Query("SELECT MAX(id) FROM TransferCompleteCloudTask", rows) || rows.empty()) return false;
  task.Id = rows.front().GetInt();
  return true;
}

bool DBHelper::GetCompleted(std::vector<CompletedTaskProperty>& tasks) {
  static const std::string sql = SelectStatement("TransferCompleteCloudTask", kCompletedColumns);
  return Query(sql, DatabaseBindParameter(),
               [&tasks](DatabaseQueryResult& row) { tasks.push_back(ReadCompleted(row)); });
}

bool DBHelper::DeleteCompleted(std::int64_t id) {
  return ExecuteOne("DELETE FROM TransferCompleteCloudTask WHERE Id = :Id;", IdSet(id));
}
