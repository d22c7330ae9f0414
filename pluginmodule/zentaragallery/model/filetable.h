#pragma once

#include <boost/unordered/unordered_flat_set.hpp>
#include <functional>
#include <string_view>
#include <vector>

#include "model/records/galleryfile.h"

// All files of the user by `UniqueId`, which is read from the record: an id is
// stored once. Not synchronised: the gallery's fileLock.
class FileTable {
 public:
  using FilePtr = GalleryFile::Ptr;

  std::size_t size() const { return files.size(); }
  void Clear() { files = {}; }
  // Makes room for `count` more files at once. Only where room is missing: to
  // reserve is to hash every file anew, also when the table would shrink.
  void Expect(std::size_t count) {
    if (files.size() + count > files.max_load()) files.reserve(files.size() + count);
  }

  FilePtr Find(std::string_view uniqueId) const;
  bool Contains(std::string_view uniqueId) const { return files.contains(uniqueId); }
  // False when a file of that id is there already.
  bool Insert(const FilePtr& file) { return files.insert(file).second; }
  void Erase(const FilePtr& file);
  // Takes `file` out of the place of an id that it no longer has.
  void EraseFormer(std::string_view formerId, const FilePtr& file);
  // All files in order of their ids.
  std::vector<FilePtr> Sorted() const;

 private:
  struct Former {
    std::string_view id;
    const GalleryFile* file;
  };
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view id) const { return std::hash<std::string_view>()(id); }
    std::size_t operator()(const FilePtr& file) const {
      return file->Texts().With(FileText::UniqueId, *this);
    }
    std::size_t operator()(const Former& former) const { return (*this)(former.id); }
  };
  struct Equal {
    using is_transparent = void;
    bool operator()(const FilePtr& left, const FilePtr& right) const {
      return left == right || (*this)(right->UniqueId(), left);
    }
    bool operator()(std::string_view id, const FilePtr& file) const {
      return file->Texts().With(FileText::UniqueId, [id](std::string_view own) { return own == id; });
    }
    bool operator()(const Former& former, const FilePtr& file) const { return former.file == file.get(); }
    template <typename Key>
    bool operator()(const FilePtr& file, const Key& key) const requires(!std::is_same_v<Key, FilePtr>) {
      return (*this)(key, file);
    }
  };
  boost::unordered_flat_set<FilePtr, Hash, Equal> files;
};
