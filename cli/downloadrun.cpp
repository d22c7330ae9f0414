#include "downloadrun.h"

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/transfer/completetask.h"
#include "transfer/download/downloaderrors.h"
#include "transfer/gallerytransmanager.h"

namespace {

GalleryTransManager& Transfers() { return GalleryTransManager::GetInstance(); }

void PrintPath(const CompleteTask& task, Output& output) {
  const std::string path = platform::NativePath(task.LocalPath).string();
  Json::Value json(Json::objectValue);
  json["id"] = task.UniqueId;
  PutExact(json, "path", path);
  json["size"] = Json::Int64{task.TotalLength};
  output.Print(json, platform::DisplayText(platform::WidePath(path)));
}

bool IsUnderWay(const TransferTask& task) {
  const TaskStatus status = task.Status();
  // A completed one is under way until its row is among the finished.
  return status == TaskStatus::Waiting || status == TaskStatus::Running ||
         (status == TaskStatus::Completed && Transfers().HasTask(TaskType::Download, task.GetTransferId()));
}

}  // namespace

DownloadRun::DownloadRun(Output& to) : output(to) {
  for (const auto& task : Transfers().Tasks(TaskType::Complete))
    KnowFinished(static_cast<const CompleteTask&>(*task).Id);
}

void DownloadRun::Take(const std::set<std::string>& ids) {
  own.insert(ids.begin(), ids.end());
  for (const auto& task : Transfers().Tasks(TaskType::Download)) {
    if (ids.contains(task->GetTransferId())) tasks.push_back(task);
  }
}

void DownloadRun::TakeAll() {
  std::set<std::string> ids;
  for (const auto& task : Transfers().Tasks(TaskType::Download)) ids.insert(task->GetTransferId());
  // Those that have arrived since the run was made.
  for (const auto& task : Transfers().Tasks(TaskType::Complete)) {
    const auto& complete = static_cast<const CompleteTask&>(*task);
    if (!before.contains(complete.Id)) ids.insert(complete.UniqueId);
  }
  Take(ids);
}

bool DownloadRun::IsThrough() const {
  return std::none_of(tasks.begin(), tasks.end(), [](const auto& task) { return IsUnderWay(*task); });
}

std::size_t DownloadRun::Count(TaskStatus status) const {
  return static_cast<std::size_t>(std::count_if(
      tasks.begin(), tasks.end(), [status](const auto& task) { return task->Status() == status; }));
}

void DownloadRun::Show() const {
  if (!output.Terminal().ErrorIsTerminal()) return;
  std::int64_t through = 0, bytes = 0, speed = 0;
  for (const auto& task : tasks) {
    const bool done = task->Status() == TaskStatus::Completed;
    through += done ? task->GetTotalSize() : task->Transferred();
    bytes += task->GetTotalSize();
    if (task->Status() == TaskStatus::Running) speed += task->Speed();
  }
  const std::size_t failed = Count(TaskStatus::Failed);
  output.Progress(std::to_string(Count(TaskStatus::Completed)) + " of " + std::to_string(tasks.size()) +
                  " files, " + SizeText(through) + " of " + SizeText(bytes) + ", " + SizeText(speed) + "/s" +
                  (failed > 0 ? ", " + std::to_string(failed) + " failed" : ""));
}

void DownloadRun::Stop() {
  std::vector<std::string> ids;
  ids.reserve(tasks.size());
  for (const auto& task : tasks) ids.push_back(task->GetTransferId());
  Transfers().Pause(TaskType::Download, ids);
}

void DownloadRun::PrintArrived() const {
  for (const auto& task : Transfers().Tasks(TaskType::Complete)) {
    const auto& complete = static_cast<const CompleteTask&>(*task);
    if (own.contains(complete.UniqueId) && !before.contains(complete.Id)) PrintPath(complete, output);
  }
}

Exit DownloadRun::Finish() {
  bool stopped = false;
  (void)Transfers().WaitUntilIdle(TaskType::Download, [&] {
    Show();
    if (output.Stopped() && !std::exchange(stopped, true)) Stop();
    return IsThrough();
  });
  output.EndProgress();
  PrintArrived();
  const bool paused = Count(TaskStatus::PausedByUser) + Count(TaskStatus::PausedBySystem) > 0;
  std::erase_if(tasks, [](const auto& task) { return task->Status() != TaskStatus::Failed; });
  for (const auto& task : tasks) PrintFailure(*task, output);
  DownloadErrors::Keep(tasks);
  if (paused) output.Error("paused; \"zentaractl resume\" goes on where it was");
  return !tasks.empty() || paused || stopped ? Exit::Failed : Exit::Done;
}

void PrintFailure(const TransferTask& task, Output& output) {
  const Json::Value error = DownloadErrors::Of(task);
  const bool upload = task.GetTaskType() == TaskType::Upload;
  const std::string name = platform::DisplayText(task.GetFileName());
  Json::Value json = error;
  json["id"] = task.GetTransferId();
  PutExact(json, "fileName", platform::ExactText(task.GetFileName()));
  if (output.IsJson()) output.Print(json, "");
  output.Error((upload ? "cannot upload " : "cannot download ") + name + ": " + DownloadErrors::Text(error));
}
