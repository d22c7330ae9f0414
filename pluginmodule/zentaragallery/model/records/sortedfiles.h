#pragma once

#include <boost/unordered/unordered_flat_set.hpp>
#include <memory>
#include <vector>

#include "model/records/filesequence.h"

// The true members of an album in their order, as a batch changes them.
//
// Changes gather until Refill makes the next snapshot of them in one step. The
// sort key of a member may change only between Erase, Refill and Insert. One
// thread at a time: the album's writeLock.
class SortedFiles {
 public:
  using FilePtr = GalleryFile::Ptr;

  struct Change {
    std::shared_ptr<const FileSequence> members;
    std::vector<FilePtr> added;
    std::vector<FilePtr> removed;
  };

  explicit SortedFiles(std::shared_ptr<const GalleryFile::OrderBy> by)
      : order(std::move(by)), members(std::make_shared<const FileSequence>()) {}

  bool Contains(const FilePtr& file) const;
  // False when the file is in already.
  bool Insert(const FilePtr& file);
  // False when the file is not in.
  bool Erase(const FilePtr& file);

  // Takes the gathered changes in; tells all members and what changed.
  Change Refill();

  const GalleryFile::OrderBy& Order() const { return *order; }

 private:
  // Files in order of their coming, each once. An erased file stays in the list
  // until it is taken, so that erasing walks nothing.
  struct Pending {
    bool Put(const FilePtr& file);
    bool Drop(const FilePtr& file) { return set.erase(file.get()) > 0; }
    bool Has(const FilePtr& file) const { return set.contains(file.get()); }
    std::vector<FilePtr> Take();

    std::vector<FilePtr> list;
    boost::unordered_flat_set<const GalleryFile*> set;
  };

  bool IsMember(const FilePtr& file) const { return members->Find(file, *order) < members->size(); }

  std::shared_ptr<const GalleryFile::OrderBy> order;
  std::shared_ptr<const FileSequence> members;  // as of the last Refill
  Pending added;
  Pending removed;
};
