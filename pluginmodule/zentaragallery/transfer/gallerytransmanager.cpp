#include "transfer/gallerytransmanager.h"

#include <json/value.h>

#include "cloud/cheader.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsontext.h"
#include "model/gallery.h"
#include "model/records/upward.h"
#include "store/dbhelper.h"
#include "transfer/download/downloadplaces.h"
#include "transfer/download/gallerycompletetask.h"
#include "transfer/download/gallerydownloadtask.h"
#include "transfer/upload/galleryuploadtask.h"
#include "utils/gallerylog.h"

using ZentaraDeskClient::GalleryUpThdMng;

namespace {

constexpr int kEventDownload = 184;

// What was asked for, in the words of the operation log: kinds of files with
// their counts, "heic:2,jpg:31".
void LogDownload(const std::vector<GalleryTransManager::DownloadPtr>& batch, std::size_t asked) {
  std::int64_t bytes = 0;
  std::map<std::string, int> kinds;
  for (const auto& task : batch) {
    bytes += task->GetTotalSize();
    const std::wstring extension = platform::WideExtension(task->FileName);
    ++kinds[platform::WideToUtf8(extension.substr(extension.empty() ? 0 : 1))];
  }
  std::string suffixes;
  for (const auto& [kind, count] : kinds)
    suffixes += (suffixes.empty() ? "" : ",") + kind + ":" + std::to_string(count);
  Logger::OutputOperationLog(kEventDownload, 1, 0,
                             {{"num", std::to_string(batch.size())},
                              {"total", std::to_string(asked)},
                              {"size", std::to_string(bytes)},
                              {"suf", suffixes}});
}

bool IsIn(const std::wstring& folder, const std::wstring& path) {
  return platform::NativePath(path).lexically_normal().parent_path() ==
         (platform::NativePath(folder) / "").lexically_normal().parent_path();
}

// An upload sends both along. A record knows of its thumbnails once somebody has
// looked; for a file of the cloud nobody has in a program without windows.
void FindThumbnails(GalleryFile& file) {
  auto& thumbnails = upward::Thumbnails();
  if (!file.TestThumbnailOnDisk() && thumbnails.MakeLocal(file, file.ThumbnailName(), false))
    (void)file.TestThumbnailOnDisk();
  if (!file.TestLcdOnDisk() && thumbnails.MakeLocal(file, file.LcdName(), true)) (void)file.TestLcdOnDisk();
}

}  // namespace

GalleryTransManager& GalleryTransManager::GetInstance() {
  static GalleryTransManager instance;
  return instance;
}

GalleryTransManager::GalleryTransManager() = default;

// Here, since tasks ask this class for the cloud's generation and its lock.
GalleryTransManager::~GalleryTransManager() { OnLogout(); }

void GalleryTransManager::GalleryInit() {
  LogInfo("GalleryTransManager::GalleryInit", "GalleryInit");
  Register();
  GalleryUpThdMng::GetInstance().SetEngine(
      this, [this](const GalleryUpThdMng::Request& request) { return NewRefund(request); });
}

void GalleryTransManager::GalleryStop() {
  OnLogout();
  GalleryUpThdMng::GetInstance().Close();
}

GalleryVer GalleryTransManager::GetGalleryVer() {
  const GalleryVer asked = ::GetGalleryVer();
  galleryVer = asked;
  return asked;
}

bool GalleryTransManager::GetHttpHeader(std::map<std::string, std::string>& headers) {
  auto& common = CHeader::GetInstance();
  if (GetGalleryVer() == GalleryVer::V1) {
    common.Build(headers);
    return true;
  }
  Json::Value lists(Json::objectValue);
  common.BuildJson(lists, "");
  for (const std::string& name : lists.getMemberNames()) {
    const Json::Value& values = lists[name];
    if (values.isArray() && !values.empty() && values[0].isString()) headers[name] = values[0].asString();
  }
  return true;
}

void GalleryTransManager::SetMakeUpload(MakeUpload next) {
  platform::MutexLock hold(makeLock);
  makeUpload = std::move(next);
}

TransferTask::Ptr GalleryTransManager::NewUpload(const GalleryFile::Ptr& file,
                                                 const Album::Ptr& album) const {
  MakeUpload make;
  {
    platform::MutexLock hold(makeLock);
    make = makeUpload;
  }
  if (make) return make(file, album);
  return std::make_shared<GalleryUploadTask>(file, album);
}

// What goes back to the cloud; null for a file without local content, which
// another device may have.
TransferTask::Ptr GalleryTransManager::NewRefund(const GalleryUpThdMng::Request& request) const {
  auto file = Gallery::GetInstance().GetFile(request.fileId);
  if (!file) file = DBHelper::GetInstance().GetFile(request.fileId);
  if (!file || file->LocalPath().empty()) return nullptr;
  std::error_code error;
  if (!std::filesystem::is_regular_file(platform::NativePath(file->LocalPath()), error)) return nullptr;
  FindThumbnails(*file);
  return NewUpload(file, nullptr);
}

std::size_t GalleryTransManager::GalleryUpload(const Files& files, const Album::Ptr& album,
                                               const Done& done) {
  return GalleryUpload(files, album, std::vector<Done>(files.size(), done));
}

std::size_t GalleryTransManager::GalleryUpload(const Files& files, const Album::Ptr& album,
                                               const std::vector<Done>& done) {
  std::size_t queued = 0;
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (!files[i]) {
      LogWarning("GalleryTransManager::GalleryUpload", "file nullptr");
      continue;
    }
    const auto task = NewUpload(files[i], album);
    if (!task || !task->AddToDB()) continue;
    if (i < done.size()) task->WhenDone(done[i]);
    if (AddUpload(task)) ++queued;
  }
  return queued;
}

// An interrupted download into the same folder goes on; one into another begins
// anew. Null when the folder has no place for it.
GalleryTransManager::DownloadPtr GalleryTransManager::NewDownload(const GalleryFile::Ptr& file,
                                                                  const std::wstring& folder,
                                                                  DownloadPlaces& places) const {
  const std::string id = file->UniqueId();
  if (const DownloadTaskProperty* stored = places.RowOf(id)) {
    auto earlier = std::make_shared<GalleryDownloadTask>(*stored);
    if (IsIn(folder, stored->LocalPath)) return earlier;
    (void)earlier->DeleteFromDB();  // A row that stays is the new task's; it then has no ".download" file.
  }
  DownloadTaskProperty row;
  row.FileName = file->FileName();
  row.AlbumId = file->AlbumId();
  row.FileId = file->FileId();
  row.UniqueId = id;
  row.TotalLength = file->Size;
  row.LocalPath = places.Take(folder, file->FileName(), platform::Utf8ToWide(id));
  if (row.LocalPath.empty()) return nullptr;
  row.OriginalFileLocalPath = file->LocalPath();
  row.TaskType = static_cast<std::int64_t>(TaskType::Download);
  return std::make_shared<GalleryDownloadTask>(row);
}

std::size_t GalleryTransManager::GalleryDownload(const GalleryFile::Ptr& file, const std::wstring& folder,
                                                 const Done& done) {
  return GalleryDownload(Files{file}, folder, done);
}

bool GalleryTransManager::MakeDownloads(const Files& files, const std::wstring& folder, const Done& done,
                                        std::vector<DownloadPtr>& batch, std::vector<std::string>& listed) {
  constexpr char kTag[] = "GalleryTransManager::GalleryDownload";
  platform::MutexLock hold(DownloadPlaces::choosing);
  DownloadPlaces places;
  if (!places.Load()) {
    LogError(kTag, "the stored downloads cannot be read");
    return false;
  }
  // By their present ids: a run may have learnt another than it was listed by.
  std::set<std::string> known;
  for (const auto& task : Tasks(TaskType::Download)) known.insert(task->GetTransferId());
  for (const auto& file : files) {
    if (!file) {
      LogWarning(kTag, "file nullptr");
      continue;
    }
    const std::string id = file->UniqueId();
    if (!known.insert(id).second) {
      LogInfo(kTag, "delete download task:" + id);
      listed.push_back(id);
      continue;
    }
    const DownloadPtr task = NewDownload(file, folder, places);
    if (!task) {
      LogError(kTag, "no free name in the folder for " + id);
      continue;
    }
    task->WhenDone(done);
    (void)task->SetStatus(TaskStatus::Waiting, 0);
    batch.push_back(task);
  }
  // Without rows they are lost at the next end of the program, but not now.
  if (!AddDownloadsDB(batch)) LogError(kTag, "the downloads cannot be stored");
  return true;
}

std::size_t GalleryTransManager::GalleryDownload(const Files& files, const std::wstring& folder,
                                                 const Done& done) {
  std::vector<DownloadPtr> batch;
  std::vector<std::string> listed;
  if (!GlobalParamWrapper::GetInstance()->GetIsUserLoggedIn()) {
    LogError("GalleryTransManager::GalleryDownload", "nobody is logged in");
  } else if (!MakeDownloads(files, folder, done, batch, listed)) {
    return 0;
  }
  AddDownloads({batch.begin(), batch.end()}, TaskStatus::Waiting);
  Resume(TaskType::Download, listed);
  LogDownload(batch, files.size());
  return batch.size();
}

void GalleryTransManager::GalleryDownloadFromPortal(const std::string& json, const std::wstring& folder) {
  constexpr char kTag[] = "GalleryTransManager::GalleryDownloadFromPortal";
  const auto request = JsonText::Parse(json);
  if (!request || !request->isObject() || !(*request)["files"].isArray()) {
    LogError(kTag, "jsonReader files fail:");
    return;
  }
  Files files;
  for (const Json::Value& wanted : (*request)["files"]) {
    const std::string id = wanted.isObject() ? JsonText::Text(wanted, "uniqueId") : std::string();
    const auto file = Gallery::GetInstance().GetFile(id);
    if (file) {
      files.push_back(file);
    } else {
      LogWarning(kTag, "not found galleryFile, uniqueId: " + id);
    }
  }
  if (folder.empty()) {
    LogError(kTag, "downLoadPath empty ");
    return;
  }
  if (files.empty()) LogError(kTag, "GalleryDownloadFromPortal files fail:");
  (void)GalleryDownload(files, folder);  // What is left out is listed already, or logged there.
}

bool GalleryTransManager::AddDownloadsDB(const std::vector<DownloadPtr>& tasks) {
  LogInfo("GalleryTransManager::AddDownloadsDB", "Add DownLoadTask To DB");
  std::vector<DownloadTaskProperty*> rows;
  rows.reserve(tasks.size());
  for (const auto& task : tasks) rows.push_back(task.get());
  return DBHelper::GetInstance().AddDownloads(rows);
}

std::size_t GalleryTransManager::LoadTaskFromDB() {
  constexpr char kTag[] = "GalleryTransManager::LoadTaskFromDB";
  LogInfo(kTag, "Load DownloadTask From DB");
  std::vector<DownloadTaskProperty> rows;
  std::vector<CompletedTaskProperty> finishedRows;
  auto& database = DBHelper::GetInstance();
  if (!database.GetDownloads(rows) || !database.GetCompleted(finishedRows))
    LogError(kTag, "the stored transfers cannot be read");
  std::vector<TransferTask::Ptr> tasks, finished;
  tasks.reserve(rows.size());
  for (const auto& row : rows) tasks.push_back(std::make_shared<GalleryDownloadTask>(row));
  finished.reserve(finishedRows.size());
  for (const auto& row : finishedRows) finished.push_back(std::make_shared<GalleryCompleteTask>(row));
  const bool paused = GlobalParamWrapper::GetInstance()->GetTransfersPaused();
  const std::size_t count = tasks.size() + finished.size();
  SetFinished(std::move(finished));  // First: what ends from here on is added to it.
  AddDownloads(tasks, paused ? TaskStatus::PausedByUser : TaskStatus::Waiting);
  return count;
}

void GalleryTransManager::DelAllTaskDB(TaskType kind) {
  if (kind == TaskType::Download) (void)DBHelper::GetInstance().Execute("DELETE FROM DownloadTask");
  if (kind == TaskType::Complete)
    (void)DBHelper::GetInstance().Execute("DELETE FROM TransferCompleteCloudTask;");
}

void GalleryTransManager::DeleteTasks(const std::vector<TransferTask::Ptr>& tasks) {
  std::vector<std::string> ids;
  ids.reserve(tasks.size());
  for (const auto& task : tasks) ids.push_back(task->GetTransferId());
  DelTasks(ids);
}
