#include "host/transfer/downloadtask.h"

#include "common/platform/files.h"
#include "common/platform/paths.h"

namespace fs = std::filesystem;

namespace {

bool IsTaken(const fs::path& path) {
  std::error_code error;
  return fs::exists(fs::symlink_status(path, error));
}

}  // namespace

bool DownloadTask::StartTask() {
  if (!TransferTask::StartTask() || Status() != TaskStatus::Running) {
    OnStop();
    return false;
  }
  if (RunSafely() && OnComplete()) return true;
  OnStop();
  return false;
}

// A lack of memory or of threads is this download's misfortune, not the program's.
bool DownloadTask::RunSafely() {
  try {
    return RunTask();
  } catch (const std::exception& failure) {
    AddErr(kGeneral, kError, "DownloadTask::RunSafely", __LINE__, failure.what());
    return false;
  }
}

bool DownloadTask::OnComplete() {
  (void)DeleteFromDB();  // A row that stays only makes the download look again at the next start.
  return TransferTask::OnComplete();
}

bool DownloadTask::SetLocalFile() {
  const fs::path wanted = platform::NativePath(LocalPath);
  if (const auto error = platform::MakeFolder(wanted.parent_path())) {
    AddErr(kNoSpaceOnDisk, kError, "DownloadTask::SetLocalFile", __LINE__, error.message());
    return false;
  }
  // With its ".download" file this run goes on where an earlier one ended.
  return !IsTaken(wanted) || TakeOtherPlace();
}

bool DownloadTask::CheckFileStatus() {
  const fs::path path = platform::NativePath(TempPath());
  std::error_code error;
  const auto size = static_cast<std::int64_t>(fs::file_size(path, error));
  if (error || size < Position) Position = 0;
  if (!error && size > Position) fs::resize_file(path, static_cast<std::uintmax_t>(Position), error);
  return !error || Position == 0;
}

bool DownloadTask::ProgressDownload() {
  SetTransferred(Position);
  return Status() == TaskStatus::Running;
}

bool DownloadTask::PublishFile() {
  constexpr char kStep[] = "DownloadTask::PublishFile";
  while (true) {
    const fs::path finished = platform::NativePath(TempPath());
    if (const auto error = platform::FlushFile(finished)) {
      AddErr(kNoSpaceOnDisk, kError, kStep, __LINE__, error.message());
      return false;
    }
    const auto error = platform::RenameNew(finished, platform::NativePath(LocalPath));
    if (!error) return true;
    // The name was free at the start; somebody else has taken it meanwhile.
    if (error != std::errc::file_exists || !SetLocalFile()) {
      AddErr(kNoSpaceOnDisk, kError, kStep, __LINE__, error.message());
      return false;
    }
  }
}
