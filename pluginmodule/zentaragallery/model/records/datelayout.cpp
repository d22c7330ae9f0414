// The day groups of the time line, and the layout of an album for a window size.

#include <map>

#include "model/records/album.h"
#include "model/records/upward.h"
#include "utils/methodfunction.h"

namespace {

// The first day of 1970 counts from its second second: a date of 0 means "no
// date" in a key.
std::int64_t GroupDate(std::int64_t timeMs) {
  const std::int64_t day = MethodFunction::GetDayKey(timeMs);
  return day == 0 ? 1 : day;
}

}  // namespace

void Album::UpdateDateGroups(const SortedFiles::Change& change, ViewCacheData& view) const {
  std::map<std::int64_t, std::int64_t> counts;
  const auto count = [&counts](const FileList& list, std::int64_t step) {
    // Neighbours in a batch are mostly of one day.
    std::int64_t day = 0;
    std::int64_t* counter = nullptr;
    for (const auto& file : list) {
      const std::int64_t key = GroupDate(file->CreateTime);
      if (!counter || key != day) counter = &counts[day = key];
      *counter += step;
    }
  };
  count(change.added, +1);
  count(change.removed, -1);
  for (const auto& [day, step] : counts) {
    const auto group = view.dateGroups.emplace(DateGroup{.date = day}).first;
    const std::int64_t files = static_cast<std::int64_t>(group->count) + step;
    if (files > 0) {
      group->count = static_cast<std::uint64_t>(files);
    } else {
      view.dateGroups.erase(group);
    }
  }
  std::uint64_t first = 0;
  for (const auto& group : view.dateGroups) {
    group.firstFile = first;
    first += group.count;
  }
}

void Album::SetViewConf(std::uint8_t cols, std::uint16_t dateHeight, std::uint16_t lineHeight) {
  const auto front = ViewCache();
  if (front->cols == cols && front->dateHeight == dateHeight && front->lineHeight == lineHeight) return;
  platform::WriterLock hold(writeLock);
  auto nextView = std::make_shared<ViewCacheData>(*ViewCache());
  nextView->cols = cols;
  nextView->dateHeight = dateHeight;
  nextView->lineHeight = lineHeight;
  const auto snapshot = Files();
  upward::Views().ComputeLayout(*this, snapshot.size(), *nextView);
  SwapIn(snapshot.Sequence(), std::move(nextView));
}
