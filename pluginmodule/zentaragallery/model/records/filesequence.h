#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <vector>

#include "model/records/galleryfile.h"

// The files of an album in display order: an immutable snapshot that readers
// hold for as long as they like and index like a vector.
//
// The files stand in chunks that snapshots share. A new snapshot after a change
// copies the chunks that the change touches and points to the others, so that a
// page of 100 files costs an album of a million files no walk of the million.
// Immutable after construction: safe from any thread.
class FileSequence {
 public:
  using FilePtr = GalleryFile::Ptr;
  using Files = std::vector<FilePtr>;

  class Iterator {
   public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = FilePtr;
    using difference_type = std::ptrdiff_t;
    using pointer = const FilePtr*;
    using reference = const FilePtr&;

    Iterator() = default;
    Iterator(const FileSequence* sequence, std::size_t index);
    reference operator*() const { return (*chunkFiles)[within]; }
    pointer operator->() const { return &**this; }
    Iterator& operator++();
    Iterator operator++(int);
    Iterator operator+(difference_type steps) const;
    difference_type operator-(const Iterator& other) const;
    bool operator==(const Iterator& other) const { return chunk == other.chunk && within == other.within; }

   private:
    void Settle();
    const FileSequence* sequence = nullptr;
    std::size_t chunk = 0;
    std::size_t within = 0;
    const Files* chunkFiles = nullptr;
  };

  FileSequence() = default;

  std::size_t size() const { return starts.empty() ? 0 : starts.back(); }
  bool empty() const { return size() == 0; }
  const FilePtr& operator[](std::size_t index) const;
  Iterator begin() const { return {this, 0}; }
  Iterator end() const { return {this, size()}; }

  // Position of the first file that does not sort before `file`; size() when all
  // do.
  std::size_t LowerBound(const FilePtr& file, const GalleryFile::OrderBy& order) const;
  // Position of `file` itself, or size().
  std::size_t Find(const FilePtr& file, const GalleryFile::OrderBy& order) const;

  // This sequence less `removed`, which stand in it, plus `added`, which do not.
  // Neither needs to be sorted.
  std::shared_ptr<const FileSequence> Changed(Files removed, Files added,
                                              const GalleryFile::OrderBy& order) const;

 private:
  using Chunk = std::shared_ptr<const Files>;

  std::size_t ChunkOf(const FilePtr& file, const GalleryFile::OrderBy& order) const;
  void Append(Files files);
  void Append(const Chunk& chunk);

  std::vector<Chunk> chunks;        // none is empty
  std::vector<std::size_t> starts;  // behind the last file of each chunk
};

// A hold of a sequence for as long as one looks at it. Loops may run over a
// temporary one: it lives as long as the loop, unlike what a pointer points to.
class FileSnapshot {
 public:
  explicit FileSnapshot(std::shared_ptr<const FileSequence> of) : sequence(std::move(of)) {}

  FileSequence::Iterator begin() const { return sequence->begin(); }
  FileSequence::Iterator end() const { return sequence->end(); }
  std::size_t size() const { return sequence->size(); }
  bool empty() const { return sequence->empty(); }
  const GalleryFile::Ptr& operator[](std::size_t index) const { return (*sequence)[index]; }
  const FileSequence* operator->() const { return sequence.get(); }
  const std::shared_ptr<const FileSequence>& Sequence() const { return sequence; }

 private:
  std::shared_ptr<const FileSequence> sequence;
};

// Sorts by `order`, with each key read once.
void SortFiles(std::vector<GalleryFile::Ptr>& files, const GalleryFile::OrderBy& order);
