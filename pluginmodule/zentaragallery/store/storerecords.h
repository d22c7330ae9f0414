#pragma once

#include <cstdint>
#include <string>

#include "host/transfer/taskproperties.h"

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

// Rows of the tables DownloadTask and TransferCompleteCloudTask.
using DatabaseService::TransmissionDB::CompletedTaskProperty;
using DatabaseService::TransmissionDB::DownloadTaskProperty;
