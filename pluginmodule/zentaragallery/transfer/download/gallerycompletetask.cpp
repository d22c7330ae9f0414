#include "transfer/download/gallerycompletetask.h"

#include "host/base/threadadminmodule.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "transfer/download/gallerydownloadtask.h"
#include "transfer/gallerytransmanager.h"
#include "utils/gallerylog.h"
#include "utils/methodfunction.h"

namespace {

// The picture of a file, which is sent for when there is none yet.
bool PictureOf(const std::string& uniqueId, std::wstring& path) {
  path.clear();
  const auto file = Gallery::GetInstance().GetFile(uniqueId);
  if (!file) return false;
  path = file->ThumbnailPath();
  if (path.empty()) {
    CommonAbility::ThreadAdminModule::GetInstance().AddCallbackFunction(
        0, [file] { upward::Thumbnails().Fetch({file}, [](const GalleryFile::Ptr&) {}); });
    path = file->ThumbnailPath();
  }
  return !path.empty();
}

bool DeleteRow(const char* tag, std::int64_t id) {
  LogInfo(tag, "Delete CompleteTask From DB");
  if (!DBHelper::GetInstance().DeleteCompleted(id)) return false;
  GalleryTransManager::GetInstance().DropFinished(id);
  return true;
}

}  // namespace

GalleryCompleteTask::GalleryCompleteTask(const DownloadTask& finished) {
  FileName = finished.FileName;
  FileId = finished.FileId;
  LocalPath = finished.LocalPath;
  UniqueId = finished.UniqueId;
  TotalLength = finished.TotalLength;
  CompletedTaskProperty::TaskType = static_cast<std::int64_t>(finished.GetTaskType());
  EndTime = MethodFunction::CurrentTime();
  IsLocalFileDownload = finished.IsLocalFileDownload;
  (void)SetStatus(TaskStatus::Completed, 0);
}

GalleryCompleteTask::GalleryCompleteTask(const CompletedTaskProperty& row) {
  static_cast<CompletedTaskProperty&>(*this) = row;
  (void)SetStatus(TaskStatus::Completed, 0);
}

bool GalleryCompleteTask::AddToDB() { return DBHelper::GetInstance().AddCompleted(*this); }

bool GalleryCompleteTask::DeleteFromDB() { return DeleteRow("GalleryCompleteTask::DeleteFromDB", Id); }

std::shared_ptr<GalleryShowTask> GalleryCompleteTask::GetCompleteShowTask(
    const std::shared_ptr<CompleteTask>& task) {
  return std::make_shared<GalleryCompleteShowTask>(&GalleryTransManager::GetInstance(), *task);
}

bool GalleryCompleteTask::GetThumbnailPath(std::wstring& path) { return PictureOf(UniqueId, path); }

GalleryCompleteShowTask::GalleryCompleteShowTask(
    TransferManager* owner, const DatabaseService::TransmissionDB::CompletedTaskProperty& row)
    : GalleryShowTask(owner) {
  SetFileName(row.FileName);
  SetFileId(row.FileId);
  SetUniqueId(row.UniqueId);
  SetTotalLength(row.TotalLength);
  SetLocalPath(row.LocalPath);
  SetTaskType(row.TaskType);
  SetEndTime(row.EndTime);
  SetIsFastTrans(row.IsLocalFileDownload);
  SetId(row.Id);
}

bool GalleryCompleteShowTask::DeleteFromDB() {
  return DeleteRow("GalleryCompleteShowTask::DeleteFromDB", Row().Id);
}

bool GalleryCompleteShowTask::GetThumbnailPath(std::wstring& path) { return PictureOf(Row().UniqueId, path); }

// How a download goes over into the list of finished transfers.

std::shared_ptr<CompleteTask> GalleryDownloadTask::GetCompleteTask() {
  return std::make_shared<GalleryCompleteTask>(*this);
}

std::shared_ptr<GalleryShowTask> GalleryDownloadTask::GetCompleteShowTask(
    const std::shared_ptr<CompleteTask>& task) {
  return std::make_shared<GalleryCompleteShowTask>(&GalleryTransManager::GetInstance(), *task);
}
