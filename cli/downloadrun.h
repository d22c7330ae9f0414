#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "commands.h"
#include "host/transfer/transfertask.h"
#include "output.h"

// Downloads that one command waits for, among those of all commands.
class DownloadRun {
 public:
  // Made before its downloads are queued: what has arrived before is not its own.
  explicit DownloadRun(Output& to);

  // What is listed of these ids, or all that is listed, is its own from here on.
  void Take(const std::set<std::string>& ids);
  void TakeAll();
  // A finished download of an earlier process, which is not to be told again.
  void KnowFinished(std::int64_t row) { before.insert(row); }

  // Waits for its downloads, with a progress line, and prints what arrived and
  // what failed. The end of the command, and a pause from another terminal, stop
  // them and keep their rows.
  Exit Finish();

 private:
  bool IsThrough() const;
  void Show() const;
  void Stop();
  std::size_t Count(TaskStatus status) const;
  void PrintArrived() const;

  Output& output;
  std::set<std::int64_t> before;  // rows of finished transfers
  std::set<std::string> own;      // ids
  std::vector<TransferTask::Ptr> tasks;
};

// "cannot upload a.jpg: step: sentence: cause", or the JSON form of it.
void PrintFailure(const TransferTask& task, Output& output);
