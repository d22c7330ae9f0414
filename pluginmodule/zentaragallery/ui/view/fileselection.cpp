#include "ui/view/fileselection.h"

#include <algorithm>

namespace {

// Appends a range; one that touches the last joins it.
void Append(std::vector<FileSelection::Range>& list, const FileSelection::Range& range) {
  if (range.first >= range.last) return;
  if (!list.empty() && list.back().last == range.first) {
    list.back().last = range.last;
  } else {
    list.push_back(range);
  }
}

}  // namespace

std::size_t FileSelection::Find(const Ptr& file) const {
  return sorted && file ? snapshot->Find(file, *sorted) : snapshot.size();
}

// The files of `range` keep their order, so both sequences are walked once side by
// side; only where they differ is a file looked up.
void FileSelection::Rebase(const FileSequence& from, const FileSequence& to, const Range& range) {
  auto old = from.begin() + static_cast<std::ptrdiff_t>(range.first);
  std::size_t at = to.LowerBound(*old, *sorted);
  auto next = to.begin() + static_cast<std::ptrdiff_t>(at);
  std::size_t start = at;
  const auto endRun = [&] { Append(ranges, {start, at}); };
  for (std::size_t index = range.first; index < range.last; ++index, ++old) {
    if (at < to.size() && *next == *old) {
      ++at;
      ++next;
      continue;
    }
    endRun();
    const std::size_t found = to.Find(*old, *sorted);
    if (found == to.size()) {
      others.insert(*old);
      start = at;
      continue;
    }
    start = found;
    at = found + 1;
    next = to.begin() + static_cast<std::ptrdiff_t>(at);
  }
  endRun();
}

void FileSelection::Follow(const FileSnapshot& files, const GalleryFile::OrderBy& order) {
  if (files.Sequence() == snapshot.Sequence() && sorted == &order) return;
  const FileSnapshot before = std::exchange(snapshot, files);
  sorted = &order;
  const auto oldRanges = std::exchange(ranges, {});
  for (const Range& range : oldRanges) Rebase(*before.Sequence(), *files.Sequence(), range);
  // A file whose time has changed stands elsewhere now.
  std::sort(ranges.begin(), ranges.end(),
            [](const Range& left, const Range& right) { return left.first < right.first; });
  const auto oldOthers = std::exchange(others, {});
  for (const Ptr& file : oldOthers) (void)Insert(file);
}

bool FileSelection::Contains(const Ptr& file) const {
  if (empty() || !file) return false;
  const std::size_t at = Find(file);
  return at < snapshot.size() ? CountIn({at, at + 1}) > 0 : others.contains(file);
}

std::size_t FileSelection::CountIn(const Range& range) const {
  std::size_t count = 0;
  auto it = std::partition_point(ranges.begin(), ranges.end(),
                                 [&](const Range& own) { return own.last <= range.first; });
  for (; it != ranges.end() && it->first < range.last; ++it)
    count += std::min(it->last, range.last) - std::max(it->first, range.first);
  return count;
}

std::size_t FileSelection::size() const {
  std::size_t count = others.size();
  for (const Range& range : ranges) count += range.last - range.first;
  return count;
}

FileSelection::Ptr FileSelection::Single() const {
  if (size() != 1) return nullptr;
  return others.empty() ? snapshot[ranges.front().first] : *others.begin();
}

FileSelection::Files FileSelection::ToList() const {
  Files list(others.begin(), others.end());
  list.reserve(size());
  for (const Range& range : ranges) {
    auto file = snapshot.begin() + static_cast<std::ptrdiff_t>(range.first);
    for (std::size_t index = range.first; index < range.last; ++index, ++file) list.push_back(*file);
  }
  return list;
}

bool FileSelection::Insert(const Ptr& file) {
  if (!file) return false;
  const std::size_t at = Find(file);
  if (at == snapshot.size()) return others.insert(file).second;
  if (CountIn({at, at + 1}) > 0) return false;
  InsertRange({at, at + 1});
  return true;
}

bool FileSelection::Erase(const Ptr& file) {
  if (!file) return false;
  const std::size_t at = Find(file);
  if (at == snapshot.size()) return others.erase(file) > 0;
  if (CountIn({at, at + 1}) == 0) return false;
  EraseRange({at, at + 1});
  return true;
}

void FileSelection::InsertRange(const Range& range) {
  if (range.first >= range.last) return;
  const auto first = std::partition_point(ranges.begin(), ranges.end(),
                                          [&](const Range& own) { return own.last < range.first; });
  auto last = first;
  Range joined = range;
  for (; last != ranges.end() && last->first <= range.last; ++last) {
    joined = {std::min(joined.first, last->first), std::max(joined.last, last->last)};
  }
  ranges.insert(ranges.erase(first, last), joined);
}

void FileSelection::EraseRange(const Range& range) {
  std::vector<Range> left;
  for (const Range& own : ranges) {
    Append(left, {own.first, std::min(own.last, range.first)});
    if (own.last > range.last) Append(left, {std::max(own.first, range.last), own.last});
  }
  ranges = std::move(left);
}

void FileSelection::Clear() {
  ranges.clear();
  others.clear();
}
