#include "host/transfer/downloadtask.h"

#include "common/platform/files.h"
#include "common/platform/paths.h"

namespace fs = std::filesystem;

namespace {

// A folder with so many files of one name is no place for another.
constexpr int kMostNames = 10000;

fs::path Numbered(const fs::path& path, int number) {
  fs::path name = path.stem();
  name += " (" + std::to_string(number) + ")";
  name += path.extension();
  return path.parent_path() / name;
}

bool IsTaken(const fs::path& path) {
  std::error_code error;
  return fs::symlink_status(path, error).type() != fs::file_type::not_found;
}

fs::path WithSuffix(const fs::path& path) {
  fs::path result = path;
  result += ".download";
  return result;
}

}  // namespace

bool DownloadTask::StartTask() {
  if (!TransferTask::StartTask() || Status() != TaskStatus::Running) {
    OnStop();
    return false;
  }
  if (RunTask() && OnComplete()) return true;
  OnStop();
  return false;
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
  fs::path target = wanted;
  for (int number = 1; IsTaken(target); ++number) {
    if (number > kMostNames) {
      AddErr(kNoSpaceOnDisk, kError, "DownloadTask::SetLocalFile", __LINE__, "no free name in the folder");
      return false;
    }
    target = Numbered(wanted, number);
  }
  if (target == wanted) return true;
  std::error_code ignored;
  if (IsTaken(WithSuffix(wanted))) fs::rename(WithSuffix(wanted), WithSuffix(target), ignored);
  Change(LocalPath, platform::WidePath(target));
  return true;
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
