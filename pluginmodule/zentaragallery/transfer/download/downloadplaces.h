#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "common/platform/mutex.h"
#include "store/storerecords.h"

// Where downloads go: gives each a path of its own, which neither a file on the
// disk nor another download that is stored has. An object is for one thread.
class DownloadPlaces {
 public:
  // Held from Load until the rows of what was taken are stored: two that choose at
  // once would choose the same.
  static inline platform::Mutex choosing;

  // False when the rows cannot be read.
  bool Load();

  // A path in `folder` for a file of that name, cut to what a disk takes. A name of
  // the cloud cannot lead out of the folder; one that is no name becomes
  // `otherwise`. Empty when the folder is full of such names.
  std::wstring Take(const std::wstring& folder, const std::wstring& name, const std::wstring& otherwise);

  // The row of a file's unfinished download; null when there is none.
  const DownloadTaskProperty* RowOf(const std::string& uniqueId) const;

 private:
  bool IsFree(const std::wstring& path) const;

  std::map<std::string, DownloadTaskProperty> rows;  // by UniqueId
  std::set<std::string> taken;                       // paths of the rows
};
