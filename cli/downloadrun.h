#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>

#include "host/transfer/transfertask.h"
#include "output.h"
#include "session.h"

// Keeps a second process of the profile from working on the same unfinished
// files. Held until it is destroyed, or the process ends.
class DownloadLock {
 public:
  DownloadLock();
  ~DownloadLock();
  DownloadLock(const DownloadLock&) = delete;
  DownloadLock& operator=(const DownloadLock&) = delete;
  bool IsHeld() const { return held; }

 private:
  int file = -1;
  bool held = false;
};

// Waits for the downloads that are listed, with a progress line, and prints what
// arrived, but for what the rows `before` tell, and what failed. Ctrl-C, and a pause from another terminal,
// stop them and keep their rows.
Exit RunDownloads(Output& output, const std::set<std::int64_t>& before = {});

// "cannot upload a.jpg: step: sentence: cause", or the JSON form of it.
void PrintFailure(const TransferTask& task, Output& output);
