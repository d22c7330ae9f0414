#include "ui/view/timebar.h"

#include <algorithm>

TimeBar::Thumb TimeBar::ThumbAt(int height, int fixedLength, int range, int position) {
  if (height <= fixedLength) return {};
  if (range < 1) return {0, height};
  const double place = static_cast<double>(height - fixedLength) / range * position;
  return {std::min(static_cast<int>(place), height - fixedLength), fixedLength};
}

std::int64_t TimeBar::ScrollFromPoint(int distance, int height, int thumbLength, int range) {
  if (range < 1 || height <= thumbLength) return 0;
  const double step = static_cast<double>(height - thumbLength) / range;
  return static_cast<std::int64_t>(distance / step);
}

std::optional<std::int64_t> TimeBar::GetDateAtPoint(int distance, int height, int range) const {
  if (distance < 0 || height < 1 || range < 1) return std::nullopt;
  const double step = static_cast<double>(height) / (static_cast<double>(range) + height);
  return DateAtScroll(static_cast<std::int64_t>(distance / step));
}

std::optional<std::int64_t> TimeBar::DateAtScroll(std::int64_t position) const {
  if (position < 0) return std::nullopt;
  const auto group = layout->dateGroups.find(DateGroup{.top = static_cast<std::uint64_t>(position)});
  if (group == layout->dateGroups.end()) return std::nullopt;
  return group->date;
}

std::string TimeBar::BubbleImage(int scalePercent) {
  const std::string base = "Gallery\\TimeLine\\TimeFrame";
  if (scalePercent == 100) return base + ".png";
  if (scalePercent >= 225) return base + "@225.png";
  for (const int drawn : {125, 150, 175, 200}) {
    if (scalePercent == drawn) return base + "@" + std::to_string(drawn) + ".png";
  }
  return {};
}
