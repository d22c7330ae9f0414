#include "ui/view/gridgeometry.h"

#include <algorithm>
#include <iterator>

#include "utils/gallerylog.h"

namespace GridGeometry {
namespace {

struct Place {
  std::int64_t headers = 0;   // up to and with the one of the file's day
  std::int64_t pictures = 0;  // picture rows above the file's
};

// How many headers stand above the row of `group`, its own among them. Rows and
// pixels above it are sums over headers and picture rows, so that two equations
// give both; headers as high as rows leave only counting.
std::int64_t HeadersTo(const ViewCacheData& view, const DateGroup& group) {
  const std::int64_t difference = std::int64_t{view.dateHeight} - view.lineHeight;
  if (difference != 0) {
    const auto top = static_cast<std::int64_t>(group.top);
    const auto rows = static_cast<std::int64_t>(group.firstRow);
    return (top - rows * view.lineHeight) / difference + 1;
  }
  return std::distance(view.dateGroups.begin(), view.dateGroups.find(group)) + 1;
}

const DateGroup* GroupOfFile(const ViewCacheData& view, std::uint64_t fileIndex) {
  // Files and rows grow together, so the groups are sorted by their first file too.
  const DateGroup* found = nullptr;
  std::uint64_t low = 0, high = view.rowCount;
  while (low < high) {
    const std::uint64_t row = low + (high - low) / 2;
    const auto group = view.dateGroups.find(DateGroup{.firstRow = row});
    if (group == view.dateGroups.end()) return nullptr;
    if (fileIndex < group->firstFile) {
      high = group->firstRow;
    } else if (fileIndex >= group->firstFile + group->count) {
      low = group->firstRow + group->rows;
    } else {
      found = &*group;
      break;
    }
  }
  return found;
}

bool FindPlace(const ViewCacheData& view, std::uint64_t fileIndex, Place& place) {
  if (view.cols == 0) return false;
  const DateGroup* group = GroupOfFile(view, fileIndex);
  if (!group) return false;
  place.headers = HeadersTo(view, *group);
  const std::uint64_t row = group->firstRow + 1 + (fileIndex - group->firstFile) / view.cols;
  place.pictures = static_cast<std::int64_t>(row) - place.headers;
  return true;
}

}  // namespace

int GetPicCol(int sliderValue) {
  if (sliderValue >= 1 && sliderValue <= 4) return 12 - 2 * sliderValue;
  LogError("ZentaraGallery::GetPicCol", "get zoom level failed by slider bar!");
  return 6;
}

int GetRowHeight(int pageWidth, int panelWidth, int barWidth, int columns) {
  const int width = pageWidth - panelWidth - barWidth;
  if (width < 1 || columns < 1) return 0;
  return (width - 10 * columns) / columns;
}

int RowsFor(int listHeight, int rowHeight) {
  if (rowHeight < 1) return kPoolRows;
  // One row more than fits: the first and the last may both be cut.
  return std::max(kPoolRows, (listHeight + rowHeight - 1) / rowHeight + 1);
}

std::int64_t CalScrollBarPos(const ViewCacheData& view, std::uint64_t fileIndex, int rowHeight) {
  Place place;
  if (!FindPlace(view, fileIndex, place)) return -1;
  return std::int64_t{rowHeight} * place.pictures + kHeaderPixels * place.headers - kHeaderPixels;
}

std::int64_t GetScrollBarPos(const ViewCacheData& view, std::uint64_t fileIndex, int rowHeight) {
  Place place;
  if (!FindPlace(view, fileIndex, place)) return -1;
  return std::int64_t{rowHeight} * (place.pictures - 1) + kHeaderPixels * (place.headers - 1);
}

Rect Fit(int imageWidth, int imageHeight, int cellWidth, int cellHeight) {
  if (imageWidth < 1 || imageHeight < 1) return {};
  if (imageWidth > imageHeight) {
    const int height = static_cast<int>(std::int64_t{imageHeight} * cellWidth / imageWidth);
    return {0, std::max(0, (cellHeight - height) / 2), cellWidth, height};
  }
  if (imageWidth < imageHeight) {
    const int width = static_cast<int>(std::int64_t{imageWidth} * cellHeight / imageHeight);
    return {std::max(0, (cellWidth - width) / 2), 0, width, cellHeight};
  }
  const int side = std::min(cellWidth, cellHeight);
  return {(cellWidth - side) / 2, (cellHeight - side) / 2, side, side};
}

}  // namespace GridGeometry
