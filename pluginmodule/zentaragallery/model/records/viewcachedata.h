#pragma once

#include <cstdint>
#include <map>
#include <set>

// The files of one local day in the time line. Only `date` orders the groups;
// the other fields change while a group stands in its set.
struct DateGroup {
  static constexpr std::uint64_t kUnused = ~std::uint64_t{0};

  std::int64_t date = 0;  // local midnight in seconds since 1970; 0 in a key: unused
  mutable std::uint64_t count = 0;
  mutable std::uint64_t firstFile = 0;       // index in the album's files
  mutable std::uint64_t firstRow = kUnused;  // row of the header
  mutable std::uint64_t rows = 0;            // header included
  mutable std::uint64_t top = kUnused;       // pixel of the header's top edge
  mutable std::uint64_t height = 0;          // header included
};

// Latest day first. With a key that has no date, the group that holds the key's
// row, or else its pixel, is equivalent to it: one set answers three questions.
struct DateGroupOrder {
  bool operator()(const DateGroup& left, const DateGroup& right) const {
    if (left.date != 0 && right.date != 0) return left.date > right.date;
    if (left.firstRow != DateGroup::kUnused && right.firstRow != DateGroup::kUnused) {
      return Before(left.firstRow, left.rows, left.date == 0, right.firstRow);
    }
    return Before(left.top, left.height, left.date == 0, right.top);
  }

 private:
  // Whether the left place lies in front of the right one; a key is one place, a
  // group is a range of them.
  static bool Before(std::uint64_t left, std::uint64_t leftCount, bool leftIsKey, std::uint64_t right) {
    return leftIsKey ? left < right : left + leftCount <= right;
  }
};

// The layout of an album for one window size.
struct ViewCacheData {
  std::uint8_t cols = 0;  // files a row; 0: not configured
  std::uint16_t lineHeight = 0;
  std::uint16_t dateHeight = 0;
  std::uint32_t rowCount = 0;
  std::uint32_t fileCount = 0;
  std::uint32_t totalHeight = 0;
  std::map<std::uint16_t, std::uint32_t> yearTable;
  std::set<DateGroup, DateGroupOrder> dateGroups;  // of the time line; else empty
};
