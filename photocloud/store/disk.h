#pragma once

#include <filesystem>

namespace photocloud {

// Flushes a file, or a folder and with it new names in it. False with the reason
// in errno.
bool SyncPath(const std::filesystem::path& path);

// True for the reasons in errno that say that there is no room: on the disk, for
// the service's user, or under a limit on the size of files.
bool MeansNoRoom(int reason);

}  // namespace photocloud
