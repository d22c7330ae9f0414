#include "downloadrun.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "downloaderrors.h"
#include "host/globalparamwrapper.h"
#include "host/transfer/completetask.h"
#include "transfer/gallerytransmanager.h"

namespace {

void ShowProgress(std::size_t files, std::int64_t bytes, Output& output) {
  const auto figures = GalleryTransManager::GetInstance().GetFigures(TaskType::Download);
  const std::int64_t through = bytes - figures.bytes + figures.transferred;
  output.Progress(std::to_string(figures.completed) + " of " + std::to_string(files) + " files, " +
                  SizeText(std::max<std::int64_t>(through, 0)) + " of " + SizeText(bytes) + ", " +
                  SizeText(figures.speed) + "/s" +
                  (figures.failed > 0 ? ", " + std::to_string(figures.failed) + " failed" : ""));
}

void PrintArrived(const CompleteTask& task, Output& output) {
  const std::string path = platform::NativePath(task.LocalPath).string();
  Json::Value json(Json::objectValue);
  json["id"] = task.UniqueId;
  json["path"] = path;
  json["size"] = Json::Int64{task.TotalLength};
  output.Print(json, path);
}

}  // namespace

DownloadLock::DownloadLock() {
  const auto path =
      platform::NativePath(GlobalParamWrapper::GetInstance()->GetUserDataBaseFolder()) / "downloads.lock";
  file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  held = file >= 0 && ::flock(file, LOCK_EX | LOCK_NB) == 0;
}

DownloadLock::~DownloadLock() {
  if (file >= 0) ::close(file);
}

void PrintFailure(const TransferTask& task, Output& output) {
  const Json::Value error = DownloadErrors::Of(task);
  const bool upload = task.GetTaskType() == TaskType::Upload;
  const std::string name = platform::DisplayText(task.GetFileName());
  Json::Value json = error;
  json["id"] = task.GetTransferId();
  json["fileName"] = name;
  if (output.IsJson()) output.Print(json, "");
  output.Error((upload ? "cannot upload " : "cannot download ") + name + ": " + DownloadErrors::Text(error));
}

Exit RunDownloads(Output& output, const std::set<std::int64_t>& before) {
  auto& manager = GalleryTransManager::GetInstance();
  const auto start = manager.GetFigures(TaskType::Download);
  const std::size_t files = manager.Tasks(TaskType::Download).size() + start.completed;
  bool stopped = false;
  (void)manager.WaitUntilIdle(TaskType::Download, [&] {
    ShowProgress(files, start.bytes, output);
    if (!stopped && (Session::Stopped() || GlobalParamWrapper::GetInstance()->GetTransfersPaused())) {
      stopped = true;
      manager.PauseAll(TaskType::Download);
    }
    return false;
  });
  output.EndProgress();
  for (const auto& task : manager.Tasks(TaskType::Complete)) {
    const auto& complete = static_cast<const CompleteTask&>(*task);
    if (!before.contains(complete.Id)) PrintArrived(complete, output);
  }
  auto failed = manager.Tasks(TaskType::Download);
  std::erase_if(failed, [](const auto& task) { return task->Status() != TaskStatus::Failed; });
  for (const auto& task : failed) PrintFailure(*task, output);
  DownloadErrors::Keep(failed);
  if (stopped) output.Error("paused; \"zentaractl resume\" goes on where it was");
  return !failed.empty() || stopped ? Exit::Failed : Exit::Done;
}
