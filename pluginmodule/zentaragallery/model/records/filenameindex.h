#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>
#include <map>
#include <string_view>
#include <vector>

#include "model/records/galleryfile.h"

// The files of an album by their names, for name clashes.
//
// Kept by a hash of the name, which is compared afterwards: a name is stored once,
// in its record. One thread at a time: the album's lock.
class FileNameIndex {
 public:
  using FilePtr = GalleryFile::Ptr;

  void Add(const FilePtr& file);
  // Takes the file out; a file whose name changed since it was added is looked
  // for everywhere.
  void Remove(const FilePtr& file);
  bool Contains(const FilePtr& file) const;
  // All files of that name (UTF-8).
  std::vector<FilePtr> Find(std::string_view name) const;

 private:
  // Names in an album differ but for rare cases, so one file a hash stands in
  // the flat table and what collides with it beside it.
  boost::unordered_flat_map<std::uint64_t, FilePtr> first;
  std::multimap<std::uint64_t, FilePtr> more;
};
