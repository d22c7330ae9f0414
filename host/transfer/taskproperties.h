#pragma once

#include <cstdint>
#include <string>

// The rows that keep transfers over a restart, with the columns' names.
namespace DatabaseService::TransmissionDB {

// A row of the table DownloadTask.
struct DownloadTaskProperty {
  std::wstring FileName;
  std::string AlbumId;
  std::string FileId;
  std::string UniqueId;
  std::int64_t TotalLength = 0;
  std::int64_t Position = 0;  // bytes of the ".download" file that are whole
  std::wstring LocalPath;
  std::wstring OriginalFileLocalPath;
  std::int64_t TaskType = 0;
  bool IsLocalFileDownload = false;
  std::int64_t Id = 0;
};

// A row of the table TransferCompleteCloudTask.
struct CompletedTaskProperty {
  std::wstring FileName;
  std::string FileId;
  std::string UniqueId;
  std::int64_t TotalLength = 0;
  std::wstring LocalPath;
  std::int64_t TaskType = 0;
  std::int64_t EndTime = 0;  // ms since 1970
  bool IsLocalFileDownload = false;
  std::int64_t Id = 0;
};

}  // namespace DatabaseService::TransmissionDB
