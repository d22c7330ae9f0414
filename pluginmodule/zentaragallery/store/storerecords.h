#pragma once

#include <cstdint>
#include <string>

// The one row of the table AlbumLocalVersion: how far this gallery is in step
// with the cloud. Fields are named after the columns.
struct AlbumLocalVersion {
  std::string AlbumVersion;
  std::string AlbumListVersion;
  std::int64_t LatestVersion = 0;
  std::string ClearVersion;
  std::int64_t UpdateTime = 0;
  std::int64_t HasDownAll = 0;
  std::int64_t TempVersion = 0;
  std::string Cursor;
  std::string RecyCursor;
  std::int64_t BriefingTime = 0;
  std::string SyncToken;
  std::string CloudPhotoVersion;
  std::string FileCursor;
  std::int64_t lastLostFileQueryTimestamp = 0;
  std::string lostFileQueryCursor;
};

// A row of the table DownloadTask: a download that survives a restart.
struct DownloadRow {
  std::wstring FileName;
  std::string AlbumId;
  std::string FileId;
  std::string UniqueId;
  std::int64_t TotalLength = 0;
  std::int64_t Position = 0;
  std::wstring LocalPath;
  std::wstring OriginalFileLocalPath;
  std::int64_t TaskType = 0;
  bool IsLocalFileDownload = false;
  std::int64_t Id = 0;
};

// A row of the table TransferCompleteCloudTask: a finished transfer.
struct CompletedRow {
  std::wstring FileName;
  std::string FileId;
  std::string UniqueId;
  std::int64_t TotalLength = 0;
  std::wstring LocalPath;
  std::int64_t TaskType = 0;
  std::int64_t EndTime = 0;
  bool IsLocalFileDownload = false;
  std::int64_t Id = 0;
};
