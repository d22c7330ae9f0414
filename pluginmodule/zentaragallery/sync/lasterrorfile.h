#pragma once

#include "sync/syncstatus.h"

// Why the last cycle of this user did not get through, kept as "lastsyncerror.json"
// beside the gallery's database, so that a process that starts later can tell. It
// holds "step", "cause", "item" and "time"; no file means that it went well. Each
// write replaces the whole file, so that a reader in another process never sees
// half of one.
namespace LastErrorFile {

// Keeps the error, or forgets the one before when `error` is empty. False,
// logged, when the folder refuses.
bool Store(const SyncError& error);
// Empty when there is none, or none that can be read.
SyncError Load();

}  // namespace LastErrorFile
