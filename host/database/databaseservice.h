#pragma once

#include <string>

// The host's own databases, and its side of throwing a user's gallery away.
namespace DatabaseService {

// Opens the host's database in `userDatabaseFolder` (made when missing). Serves
// the host only; the gallery's file is independent of it. False, logged, when it
// cannot be opened.
bool InitDataBase(const std::wstring& userDatabaseFolder);

class GalleryDBProvider {
 public:
  // Empties every table of the gallery database at `path` in one transaction
  // and leaves the file and its schema in place, so that open connections go on.
  static bool ResetGalleryDatabase(const std::wstring& path);
};

}  // namespace DatabaseService
