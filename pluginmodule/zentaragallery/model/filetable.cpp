#include "model/filetable.h"

GalleryFile::Ptr FileTable::Find(std::string_view uniqueId) const {
  const auto found = files.find(uniqueId);
  return found == files.end() ? nullptr : *found;
}

void FileTable::Erase(const FilePtr& file) {
  const auto found = files.find(file);
  if (found != files.end() && *found == file) files.erase(found);
}

void FileTable::EraseFormer(std::string_view formerId, const FilePtr& file) {
  // A growth of the table in between has moved the file to its new id's place.
  const auto found = files.find(Former{formerId, file.get()});
  if (found != files.end()) {
    files.erase(found);
  } else {
    Erase(file);
  }
}

std::vector<GalleryFile::Ptr> FileTable::Sorted() const {
  std::vector<std::pair<std::string, FilePtr>> keyed;
  keyed.reserve(files.size());
  for (const auto& file : files) keyed.emplace_back(file->UniqueId(), file);
  std::sort(keyed.begin(), keyed.end());
  std::vector<FilePtr> sorted;
  sorted.reserve(keyed.size());
  for (auto& entry : keyed) sorted.push_back(std::move(entry.second));
  return sorted;
}
