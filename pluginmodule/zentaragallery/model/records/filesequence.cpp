#include "model/records/filesequence.h"

#include <algorithm>

namespace {

// A full chunk is cut in two. Small enough that a copy for one file is cheap,
// large enough that the table of chunks of a million files stays short.
constexpr std::size_t kMaxChunkFiles = 1024;
constexpr std::size_t kNewChunkFiles = 768;

using Files = FileSequence::Files;

// `kept` and `added` are sorted, `removed` is a sorted part of `kept`.
Files MergeChunk(const Files& kept, Files::const_iterator removed, Files::const_iterator removedEnd,
                 Files::iterator added, Files::iterator addedEnd, const GalleryFile::OrderBy& order) {
  Files merged;
  merged.reserve(kept.size() + static_cast<std::size_t>(addedEnd - added));
  for (const auto& file : kept) {
    if (removed != removedEnd && *removed == file) {
      ++removed;
      continue;
    }
    while (added != addedEnd && order(*added, file)) merged.push_back(std::move(*added++));
    merged.push_back(file);
  }
  merged.insert(merged.end(), std::move_iterator(added), std::move_iterator(addedEnd));
  return merged;
}

}  // namespace

void SortFiles(Files& files, const GalleryFile::OrderBy& order) {
  struct Keyed {
    std::int64_t key;
    GalleryFile* file;
    std::size_t index;
  };
  const auto before = [](const Keyed& left, const Keyed& right) {
    return left.key != right.key ? left.key > right.key : left.file > right.file;
  };
  std::vector<Keyed> keys;
  keys.reserve(files.size());
  for (const auto& file : files) keys.push_back({order.Key(*file), file.get(), keys.size()});
  if (std::is_sorted(keys.begin(), keys.end(), before)) return;
  std::sort(keys.begin(), keys.end(), before);
  Files sorted;
  sorted.reserve(files.size());
  for (const auto& keyed : keys) sorted.push_back(std::move(files[keyed.index]));
  files = std::move(sorted);
}

FileSequence::Iterator::Iterator(const FileSequence* of, std::size_t index) : sequence(of) {
  const auto& starts = of->starts;
  chunk = static_cast<std::size_t>(std::upper_bound(starts.begin(), starts.end(), index) - starts.begin());
  within = chunk == starts.size() ? 0 : index - (chunk == 0 ? 0 : starts[chunk - 1]);
  Settle();
}

void FileSequence::Iterator::Settle() {
  chunkFiles = chunk < sequence->chunks.size() ? sequence->chunks[chunk].get() : nullptr;
}

FileSequence::Iterator& FileSequence::Iterator::operator++() {
  if (++within == chunkFiles->size()) {
    ++chunk;
    within = 0;
    Settle();
  }
  return *this;
}

FileSequence::Iterator FileSequence::Iterator::operator++(int) {
  auto before = *this;
  ++*this;
  return before;
}

FileSequence::Iterator FileSequence::Iterator::operator+(difference_type steps) const {
  return {sequence, static_cast<std::size_t>((*this - sequence->begin()) + steps)};
}

FileSequence::Iterator::difference_type FileSequence::Iterator::operator-(const Iterator& other) const {
  const auto index = [](const Iterator& it) {
    const std::size_t start = it.chunk == 0 ? 0 : it.sequence->starts[it.chunk - 1];
    return static_cast<difference_type>(start + it.within);
  };
  return index(*this) - index(other);
}

const FileSequence::FilePtr& FileSequence::operator[](std::size_t index) const {
  const auto chunk =
      static_cast<std::size_t>(std::upper_bound(starts.begin(), starts.end(), index) - starts.begin());
  return (*chunks[chunk])[index - (chunk == 0 ? 0 : starts[chunk - 1])];
}

// The first chunk whose last file does not sort before `file`; the last chunk
// when all do.
std::size_t FileSequence::ChunkOf(const FilePtr& file, const GalleryFile::OrderBy& order) const {
  const auto found = std::lower_bound(
      chunks.begin(), chunks.end(), file,
      [&order](const Chunk& chunk, const FilePtr& probe) { return order(chunk->back(), probe); });
  return static_cast<std::size_t>(found - chunks.begin());
}

std::size_t FileSequence::LowerBound(const FilePtr& file, const GalleryFile::OrderBy& order) const {
  const std::size_t chunk = ChunkOf(file, order);
  if (chunk == chunks.size()) return size();
  const Files& files = *chunks[chunk];
  const auto at = std::lower_bound(files.begin(), files.end(), file,
                                   [&order](const FilePtr& l, const FilePtr& r) { return order(l, r); });
  return (chunk == 0 ? 0 : starts[chunk - 1]) + static_cast<std::size_t>(at - files.begin());
}

std::size_t FileSequence::Find(const FilePtr& file, const GalleryFile::OrderBy& order) const {
  const std::size_t at = LowerBound(file, order);
  return at < size() && (*this)[at] == file ? at : size();
}

void FileSequence::Append(const Chunk& chunk) {
  if (chunk->empty()) return;
  const std::size_t before = size();
  chunks.push_back(chunk);
  starts.push_back(before + chunk->size());
}

void FileSequence::Append(Files files) {
  if (files.size() <= kMaxChunkFiles) {
    files.shrink_to_fit();
    return Append(std::make_shared<const Files>(std::move(files)));
  }
  for (std::size_t at = 0; at < files.size(); at += kNewChunkFiles) {
    const auto first = files.begin() + static_cast<std::ptrdiff_t>(at);
    const auto last =
        files.begin() + static_cast<std::ptrdiff_t>(std::min(at + kNewChunkFiles, files.size()));
    Append(std::make_shared<const Files>(std::move_iterator(first), std::move_iterator(last)));
  }
}

std::shared_ptr<const FileSequence> FileSequence::Changed(Files removed, Files added,
                                                          const GalleryFile::OrderBy& order) const {
  SortFiles(removed, order);
  SortFiles(added, order);
  auto next = std::make_shared<FileSequence>();
  next->chunks.reserve(chunks.size() + added.size() / kNewChunkFiles + 1);
  next->starts.reserve(next->chunks.capacity());
  auto remove = removed.cbegin();
  auto add = added.begin();
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    const Files& files = *chunks[i];
    const bool last = i + 1 == chunks.size();
    // What sorts behind a chunk's last file belongs to the next chunk.
    const auto removeEnd =
        last ? removed.cend() : std::find_if(remove, removed.cend(), [&](const FilePtr& file) {
          return order(files.back(), file);
        });
    const auto addEnd =
        last ? added.end()
             : std::find_if(add, added.end(), [&](const FilePtr& file) { return order(files.back(), file); });
    if (remove == removeEnd && add == addEnd) {
      next->Append(chunks[i]);
    } else {
      next->Append(MergeChunk(files, remove, removeEnd, add, addEnd, order));
    }
    remove = removeEnd;
    add = addEnd;
  }
  if (chunks.empty()) next->Append(std::move(added));
  return next;
}
