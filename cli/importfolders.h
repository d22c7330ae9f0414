#pragma once

#include <string>
#include <vector>

#include "output.h"
#include "session.h"

// Files on their way into one album.
struct FolderFiles {
  std::wstring albumName;
  std::vector<std::wstring> paths;
};

// What a file that is in its album already counts as.
enum class Known { Refused, PassedOver };

// Adds the files to the real albums of those names, which are made where there are
// none, with progress, a line for each refused file and one for the sum. Failed when
// any was refused or the command was stopped.
Exit ImportFolders(Session& session, const std::vector<FolderFiles>& folders, Known known, Output& output);
