#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "model/records/viewcachedata.h"

// What the time line's scroll bar knows: the days of the layout that the list shows,
// where its thumb stands, and which day lies under a pointer. Pixels are device
// pixels. One thread.
class TimeBar {
 public:
  // The layout as of the list's last refresh; until the next one the bar keeps
  // showing these days.
  void SetLayout(std::shared_ptr<const ViewCacheData> shown) { layout = std::move(shown); }

  struct Thumb {
    int top = 0, length = 0;  // from the rail's top
    bool operator==(const Thumb&) const = default;
  };
  // The thumb of a rail `height` long: it fills a rail without range, has the fixed
  // length else, and is empty on a rail that is no longer than that.
  static Thumb ThumbAt(int height, int fixedLength, int range, int position);

  // Scroll position for a press `distance` below the rail's top.
  static std::int64_t ScrollFromPoint(int distance, int height, int thumbLength, int range);

  // The day, in seconds at its local midnight, of what lies `distance` below the
  // rail's top, and at a scroll position. Nothing where no day is.
  std::optional<std::int64_t> GetDateAtPoint(int distance, int height, int range) const;
  std::optional<std::int64_t> DateAtScroll(std::int64_t position) const;

  // The bubble's picture for a scale in per cent; empty for one that has none. The frame
  // is drawn for those that have one, and left out at others.
  static std::string BubbleImage(int scalePercent);

 private:
  std::shared_ptr<const ViewCacheData> layout = std::make_shared<const ViewCacheData>();
};
