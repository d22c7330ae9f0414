#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "store/storerecords.h"

// What the sync is doing, as the user sees it.
enum class SyncStatus : std::int32_t {
  IDLE = 0,         // a cycle ended; told with the number of files still to upload
  DOWNLOAD = 1,     // changes are being pulled
  UPLOAD = 2,       // local changes or contents are being sent; told with their count
  CHECK = 3,        // an increment cycle started
  PAUSE = 4,        // the sync switch is off
  SYNCERROR = 5,    // a cycle failed
  NOTREADY = 6,     // the database is not ready for a cycle
  ALBUMSREADY = 7,  // albums are in memory
  NOSPACE = 8,      // a content would not fit into the cloud's free space
};

// What a tick does.
enum SyncMode : std::int32_t {
  SyncModeFailed = 0,      // the cloud did not tell its version
  SyncModeNewAccount = 1,  // nothing to download
  SyncModeFull = 2,        // everything, from the start
  SyncModeResume = 3,      // everything, from where it stopped
  SyncModeBriefing = 4,    // compare with the cloud's listing
  SyncModeIncrement = 5,   // what has changed
};

// Why a cycle did not get through.
struct SyncError {
  std::string step;   // the operation
  std::string cause;  // what it said
  std::string item;   // id of the file or album, or empty
  std::int64_t timeMs = 0;
  std::string words;  // id of the words for the user; empty when the cause has to do
  void swap(SyncError& other) noexcept { std::swap(*this, other); }
};

// A snapshot for status displays.
struct SyncState {
  SyncStatus status = SyncStatus::IDLE;
  SyncMode mode = SyncModeFailed;  // of the last tick
  bool started = false;
  bool hasSynced = false;
  bool lockHeld = false;
  bool hasRow = false;
  AlbumLocalVersion row;            // versions and cursors as stored
  std::int64_t targetVersion = -1;  // of the pull under way
  bool pulled = false;              // the last increment reached what the cloud holds
  std::size_t pendingAlbums = 0;    // albums to create, change or delete in the cloud
  std::size_t pendingFiles = 0;     // files to change or delete in the cloud
  std::size_t pendingUploads = 0;   // files whose content waits
  std::size_t requeued = 0;         // of these, what the last tick found missing in the cloud
  SyncError
      lastError;  // of the last tick, before the first one of an earlier process; empty when it went well
};
