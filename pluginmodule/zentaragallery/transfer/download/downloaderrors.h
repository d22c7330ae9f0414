#pragma once

#include <json/value.h>

#include <vector>

#include "host/transfer/transfertask.h"

// Why downloads have not arrived, kept as "downloaderrors.json" beside the
// gallery's database, so that a process that starts later can tell:
//
//     {"FILE ID": {"error": 3, "step": "...", "text": "...", "cause": "..."}, ...}
//
// Each write replaces the whole file, so that a reader in another process never
// sees half of one. Only the process that owns the profile writes.
namespace DownloadErrors {

// What is kept of a task's last error.
Json::Value Of(const TransferTask& task);
// The same in one line.
std::string Text(const Json::Value& error);
// An object by file id; empty when there is none, or none that can be read.
Json::Value Load();
// Adds what these tasks have failed of, and forgets downloads without a row. A
// folder that refuses is logged: the errors have been printed already.
void Keep(const std::vector<TransferTask::Ptr>& failed);

}  // namespace DownloadErrors
