#pragma once

#include <filesystem>

namespace photocloud {

// Work on a database as a whole file, over a connection of its own.

// Takes what a killed process left in the log of a database over into the
// database, and removes the log. No process may have the file open.
void SettleLog(const std::filesystem::path& file);

// Takes the secret that signs URLs out of a copy, reads the copy back whole and
// flushes it. Throws StoreFailure.
void FinishCopy(const std::filesystem::path& copy);

}  // namespace photocloud
