#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "photocloud/content/objectvault.h"
#include "photocloud/store/sqlitestore.h"

namespace photocloud {

struct CheckResult {
  std::int64_t media = 0;
  std::int64_t objects = 0;
  std::int64_t damagedObjects = 0;
  std::int64_t wrongSums = 0;          // Accounts whose used bytes were wrong.
  std::vector<std::string> lostMedia;  // "user/media id"
};

// Reads every object of every visible media. What is missing or damaged is
// noted, so that its media come onto the list of lost ones. The accounts' sums of
// bytes are counted anew, and put right where `counting` says so. May run beside
// the server.
CheckResult CheckAll(MetadataStore& store, ObjectVault& vault, Counting counting = Counting::Look);

// Copies metadata and all objects that they name into a folder, which may hold
// an earlier backup: objects that are there already are not copied again. The
// copy is for its owner only, lacks the secret that signs URLs, and is read back
// before it takes the place of an earlier one. Refuses the store's own folder,
// whatever it is called, and one that a server runs on. May run beside the
// server. Returns why it failed, or an empty text.
std::string BackUp(SqliteStore& store, const ObjectStore& objects, const std::filesystem::path& folder);

}  // namespace photocloud
