#include "model/records/filenameindex.h"

#include <functional>

namespace {

std::uint64_t HashName(std::string_view name) { return std::hash<std::string_view>()(name); }

std::uint64_t HashNameOf(const GalleryFile::Ptr& file) {
  return file->Texts().With(FileText::FileName, HashName);
}

bool IsNamed(const GalleryFile::Ptr& file, std::string_view name) {
  return file->Texts().With(FileText::FileName, [name](std::string_view own) { return own == name; });
}

}  // namespace

void FileNameIndex::Add(const FilePtr& file) {
  const std::uint64_t hash = HashNameOf(file);
  const auto [place, fresh] = first.try_emplace(hash, file);
  if (fresh || place->second == file) return;
  const auto [from, to] = more.equal_range(hash);
  for (auto it = from; it != to; ++it) {
    if (it->second == file) return;
  }
  more.emplace(hash, file);
}

void FileNameIndex::Remove(const FilePtr& file) {
  const std::uint64_t hash = HashNameOf(file);
  const auto isFile = [&file](const auto& entry) { return entry.second == file; };
  const auto [from, to] = more.equal_range(hash);
  if (const auto it = std::find_if(from, to, isFile); it != to) {
    more.erase(it);
    return;
  }
  auto place = first.find(hash);
  if (place == first.end() || place->second != file) {
    place = std::find_if(first.begin(), first.end(), isFile);
    std::erase_if(more, isFile);
  }
  if (place == first.end()) return;
  const auto heir = more.find(place->first);
  if (heir == more.end()) {
    first.erase(place);
  } else {
    place->second = heir->second;
    more.erase(heir);
  }
}

bool FileNameIndex::Contains(const FilePtr& file) const {
  const std::uint64_t hash = HashNameOf(file);
  const auto place = first.find(hash);
  if (place == first.end()) return false;
  if (place->second == file) return true;
  const auto [from, to] = more.equal_range(hash);
  return std::any_of(from, to, [&file](const auto& entry) { return entry.second == file; });
}

std::vector<GalleryFile::Ptr> FileNameIndex::Find(std::string_view name) const {
  std::vector<FilePtr> found;
  const std::uint64_t hash = HashName(name);
  const auto place = first.find(hash);
  if (place == first.end()) return found;
  if (IsNamed(place->second, name)) found.push_back(place->second);
  const auto [from, to] = more.equal_range(hash);
  for (auto it = from; it != to; ++it) {
    if (IsNamed(it->second, name)) found.push_back(it->second);
  }
  return found;
}
