#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "model/records/album.h"
#include "model/records/galleryfile.h"

// The checks of one path that is to be added, and the record that is made of a
// good one. Stateless; safe from any thread.
struct CheckedFile {
  GalleryFile::Ptr file;              // null when refused
  const char* textKey = nullptr;      // why refused
  const char* errorReason = nullptr;  // the same for the operation log, where it has one
};

// Reads the file, and nothing of the gallery; `isThere` tells whether the album
// holds a content hash already, before the costly steps. The tests against the
// other files of the list are left to the caller. `stop` ends it at once, wherever
// it is; what it gives then means nothing.
CheckedFile CheckLocalFile(const std::wstring& path, const Album& album,
                           const std::function<bool(const std::string&)>& isThere,
                           const std::atomic<bool>* stop);

// Gives a file that waits for its upload what lies at its path now: size, hash,
// metadata, thumbnails. It keeps its place in the lists. Nothing changes, and false,
// when that is no picture or film; the row is the caller's to write.
bool RenewLocalFile(GalleryFile& file, const std::string& hash, std::int64_t size);

// The keys of refusals that stand apart from the content of one file.
inline constexpr char kAlreadyExists[] = "IDS_GALLERT_FILE_ALREADY_EXIST";
inline constexpr char kAlreadyQueued[] = "IDS_GALLERT_FILE_TOUPLOADED";
inline constexpr char kNoCacheSpace[] = "IDS_GALLERT_INSUF_CACHE_SPACE";
inline constexpr char kWriteDenied[] = "IDS_TRANSERR_Error_WRITE_DENIED";
inline constexpr char kDamaged[] = "IDS_GALLERY_FILE_DAMAGED";   // known kind, no picture comes of it
inline constexpr char kTooSlow[] = "IDS_GALLERY_FILE_TOO_SLOW";  // a reader was given up
inline constexpr char kStillWritten[] = "IDS_GALLERY_FILE_STILL_WRITTEN";
inline constexpr char kUpperLimit[] = "IDS_GALLERT_FILES_UPPER_LIMIT";

// Room and rights of the cache folder: null when good, else the key.
const char* CheckCache();
