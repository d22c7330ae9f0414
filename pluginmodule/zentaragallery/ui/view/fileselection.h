#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "model/records/filesequence.h"

// A set of files of one album, as large as the album may be.
//
// What was chosen by ranges is kept as ranges of a snapshot of the album: choosing
// all of a million files, or half a million by Shift, costs what one file costs. A
// file that does not stand in the snapshot is kept by itself.
// Used on one thread.
class FileSelection {
 public:
  using Ptr = GalleryFile::Ptr;
  using Files = std::vector<Ptr>;
  struct Range {
    std::size_t first = 0, last = 0;  // behind the last file
    bool operator==(const Range&) const = default;
  };

  // The album's files now, and the order in which they stand. Ranges move to the new
  // snapshot; what is not in it any more is kept by itself, and `Prune` drops it.
  void Follow(const FileSnapshot& files, const GalleryFile::OrderBy& order);

  bool Contains(const Ptr& file) const;
  std::size_t size() const;
  bool empty() const { return ranges.empty() && others.empty(); }
  // The only file of a selection of one; null for any other.
  Ptr Single() const;
  Files ToList() const;
  // How many files of a range of the snapshot are chosen.
  std::size_t CountIn(const Range& range) const;

  // True when it was not there.
  bool Insert(const Ptr& file);
  bool Erase(const Ptr& file);
  void InsertRange(const Range& range);
  void EraseRange(const Range& range);
  void Clear();
  // Drops what is not in the snapshot.
  void Prune() { others.clear(); }

 private:
  std::size_t Find(const Ptr& file) const;
  void Rebase(const FileSequence& from, const FileSequence& to, const Range& range);

  FileSnapshot snapshot{std::make_shared<const FileSequence>()};
  const GalleryFile::OrderBy* sorted = nullptr;
  std::vector<Range> ranges;  // ascending, none empty, none overlapping
  std::set<Ptr> others;
};
