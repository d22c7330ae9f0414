#pragma once

#include <cstdint>

#include "model/records/viewcachedata.h"

// Sizes and places of the grid in device pixels, without a window.
namespace GridGeometry {

// Width of the album panel and of the ordinary scroll bar, height of a date header
// in the layout and the margin above the rows, all unscaled.
inline constexpr int kPanelWidth = 200;
inline constexpr int kScrollBarWidth = 14;
inline constexpr int kDateHeight = 40;
inline constexpr int kFloatingBarMargin = 30;

// Height of a date header on the screen. It is not scaled and differs from the
// layout's: the scroll range follows the layout.
inline constexpr int kHeaderPixels = 50;

// Rows that a list keeps at least, and pictures that a row holds at most.
inline constexpr int kPoolRows = 12;
inline constexpr int kRowCells = 12;

// Files a row for the zoom slider's value: 1 is 10, 2 is 8, 3 is 6, 4 is 4; any
// other value is logged and gives 6.
int GetPicCol(int sliderValue);

// Height of a row of pictures in a page that is `pageWidth` wide with the album
// panel; 0 when nothing fits.
int GetRowHeight(int pageWidth, int panelWidth, int barWidth, int columns);

// Rows that a list of this height needs: twelve, and as many more as cover a
// taller one.
int RowsFor(int listHeight, int rowHeight);

// Scroll position that puts the file at `fileIndex` into sight: after leaving the
// viewer, and one row higher for a file that was looked up. -1 when the layout does
// not hold the file. `rowHeight` is the one on the screen.
std::int64_t CalScrollBarPos(const ViewCacheData& view, std::uint64_t fileIndex, int rowHeight);
std::int64_t GetScrollBarPos(const ViewCacheData& view, std::uint64_t fileIndex, int rowHeight);

// Where a picture of `imageWidth` by `imageHeight` stands in a cell.
struct Rect {
  int x = 0, y = 0, width = 0, height = 0;
  bool operator==(const Rect&) const = default;
};
Rect Fit(int imageWidth, int imageHeight, int cellWidth, int cellHeight);

}  // namespace GridGeometry
