#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "common/platform/mutex.h"

// The text columns of a file, as UTF-8.
enum class FileText : std::uint8_t {
  UniqueId,
  FileId,
  VideoThumbId,
  Hash,
  ThumbFileId,
  LcdFileId,
  Guid,
  Expand,
  LocalPath,
  ContinuousName,
  FileName,
  CheckSumn,
  PictureMetadata,
  VideoMetadata,
};
inline constexpr std::size_t kFileTextCount = 14;
using FileTexts = std::array<std::string_view, kFileTextCount>;

// All texts of one record in one block of memory: a gallery of a million files
// would otherwise spend more on empty strings and allocations than on text.
//
// [end of text 0] ... [end of text 13] [bytes of text 0] ... [bytes of text 13]
//
// Safe from any thread: readers copy a text out under a short lock. The locks
// are shared between records by address, so none is held while another is
// taken.
class RecordTexts {
 public:
  RecordTexts() = default;
  RecordTexts(const RecordTexts&) = delete;
  RecordTexts& operator=(const RecordTexts&) = delete;

  std::string Get(FileText which) const;
  // Calls `read` with the text under the lock: it must be short and call nothing
  // of a record.
  template <typename Read>
  auto With(FileText which, Read read) const {
    platform::MutexLock hold(LockOf(this));
    return read(View(which));
  }
  void Set(FileText which, std::string_view text);
  // Replaces all texts; those of `texts` may not lie in this record.
  void SetAll(const FileTexts& texts);

 private:
  static platform::Mutex& LockOf(const RecordTexts* texts);
  std::string_view View(FileText which) const;
  FileTexts Views() const;

  std::unique_ptr<char[]> block;  // null: all texts are empty
};

// A text that many records share, kept once for the life of the process; for
// ids of albums, of which there are few.
const std::string* InternText(std::string_view text);
