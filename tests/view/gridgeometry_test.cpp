// Rows, columns and places of the grid. Expected numbers are worked out by hand.

#include "ui/view/gridgeometry.h"

#include "viewtest.h"

namespace {

using GridGeometry::Rect;

TEST(GridGeometry, SliderGivesTheColumns) {
  EXPECT_EQ(GridGeometry::GetPicCol(1), 10);
  EXPECT_EQ(GridGeometry::GetPicCol(2), 8);
  EXPECT_EQ(GridGeometry::GetPicCol(3), 6);
  EXPECT_EQ(GridGeometry::GetPicCol(4), 4);
  for (const int other : {-1, 0, 5, 100}) EXPECT_EQ(GridGeometry::GetPicCol(other), 6) << other;
}

TEST(GridGeometry, RowHeightFollowsTheWidth) {
  // 1356 - 200 - 14 = 1142; (1142 - 60) / 6 = 180.33
  EXPECT_EQ(GridGeometry::GetRowHeight(1356, 200, 14, 6), 180);
  EXPECT_EQ(GridGeometry::GetRowHeight(1356, 200, 14, 10), 104);
  EXPECT_EQ(GridGeometry::GetRowHeight(214, 200, 14, 6), 0);
  EXPECT_EQ(GridGeometry::GetRowHeight(1356, 200, 14, 0), 0);
}

TEST(GridGeometry, TwelveRowsUnlessTheListIsTaller) {
  EXPECT_EQ(GridGeometry::RowsFor(800, 180), 12);
  EXPECT_EQ(GridGeometry::RowsFor(1100, 100), 12);
  EXPECT_EQ(GridGeometry::RowsFor(1101, 100), 13);
  EXPECT_EQ(GridGeometry::RowsFor(2160, 100), 23);
  EXPECT_EQ(GridGeometry::RowsFor(2160, 0), 12);
}

TEST(GridGeometry, PictureIsFittedIntoTheCell) {
  EXPECT_EQ(GridGeometry::Fit(400, 300, 180, 180), (Rect{0, 22, 180, 135}));
  EXPECT_EQ(GridGeometry::Fit(300, 400, 180, 180), (Rect{22, 0, 135, 180}));
  EXPECT_EQ(GridGeometry::Fit(500, 500, 180, 160), (Rect{10, 0, 160, 160}));
  EXPECT_EQ(GridGeometry::Fit(500, 500, 160, 180), (Rect{0, 10, 160, 160}));
  EXPECT_EQ(GridGeometry::Fit(0, 10, 160, 180), Rect{});
}

class ScrollPlace : public ViewTest {};

TEST_F(ScrollPlace, IsThatOfTheRowOnTheScreen) {
  AddDay(0, 7);                      // header, 6, 1
  AddDay(1, 1);                      // header, 1
  const auto older = AddDay(2, 20);  // header, 6, 6, 6, 2
  ShowTimeLine();
  const auto layout = helper.CurrentView().layout;
  const std::uint32_t index = helper.GetFileIndex(older[13]);
  ASSERT_EQ(index, 21u);
  // Picture rows up to its own: 2 + 1 + 3 = 6; headers: 3.
  EXPECT_EQ(GridGeometry::CalScrollBarPos(*layout, index, 100), 100 * 5 + 50 * 3 - 50);
  // Its row is the 9th of all, index 8; 8 - 3 = 5 picture rows above it.
  EXPECT_EQ(GridGeometry::GetScrollBarPos(*layout, index, 100), 100 * 4 + 50 * 2);
  EXPECT_EQ(GridGeometry::CalScrollBarPos(*layout, 0, 100), 0);
  EXPECT_EQ(GridGeometry::CalScrollBarPos(*layout, 28, 100), -1);
}

TEST_F(ScrollPlace, IsFoundWhereHeadersAreAsHighAsRows) {
  AddDay(0, 7);
  AddDay(1, 1);
  const auto older = AddDay(2, 20);
  Show("Pictures", 6, kDateHeight);
  const auto layout = helper.CurrentView().layout;
  EXPECT_EQ(GridGeometry::CalScrollBarPos(*layout, 21, 40), 40 * 5 + 50 * 3 - 50);
}

}  // namespace
