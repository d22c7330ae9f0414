#include "model/records/sortedfiles.h"

bool SortedFiles::Pending::Put(const FilePtr& file) {
  if (!set.insert(file.get()).second) return false;
  list.push_back(file);
  return true;
}

std::vector<GalleryFile::Ptr> SortedFiles::Pending::Take() {
  if (list.size() != set.size()) {
    // A file that was dropped and put again stands twice: the set lets one pass.
    std::erase_if(list, [this](const FilePtr& file) { return set.erase(file.get()) == 0; });
  }
  set = {};
  return std::exchange(list, {});
}

bool SortedFiles::Contains(const FilePtr& file) const {
  return added.Has(file) || (!removed.Has(file) && IsMember(file));
}

bool SortedFiles::Insert(const FilePtr& file) {
  if (removed.Drop(file)) return true;
  return !added.Has(file) && !IsMember(file) && added.Put(file);
}

bool SortedFiles::Erase(const FilePtr& file) {
  if (added.Drop(file)) return true;
  return IsMember(file) && removed.Put(file);
}

SortedFiles::Change SortedFiles::Refill() {
  Change change{nullptr, added.Take(), removed.Take()};
  if (!change.added.empty() || !change.removed.empty()) {
    members = members->Changed(change.removed, change.added, *order);
  }
  change.members = members;
  return change;
}
