// Layout and rows of the current album.

#include "viewtest.h"

namespace {

using ViewHelper = ViewTest;

TEST_F(ViewHelper, DayOfExactlyOneRowHasTwoRows) {
  AddDay(0, 6);
  ShowTimeLine();
  EXPECT_EQ(helper.RowCount(), 2u);
  const auto view = helper.CurrentView();
  EXPECT_EQ(view.layout->totalHeight, 140u);
  EXPECT_EQ(helper.GetListViewVec(1).files.size(), 6u);
  EXPECT_TRUE(helper.GetListViewVec(2).empty());
}

TEST_F(ViewHelper, DaysStandBelowEachOtherNewestFirst) {
  AddDay(3, 1);
  const auto today = AddDay(0, 8);
  ShowTimeLine();
  // Header, 6, 2; header, 1.
  EXPECT_EQ(helper.RowCount(), 5u);
  EXPECT_TRUE(helper.GetListViewVec(0).headerMarker);
  EXPECT_EQ(helper.GetListViewVec(0).date, Day(0));
  EXPECT_EQ(helper.GetListViewVec(0).columns, 6);
  EXPECT_EQ(helper.GetListViewVec(1).files.front(), today.front());
  EXPECT_EQ(helper.GetListViewVec(2).files.size(), 2u);
  EXPECT_EQ(helper.GetListViewVec(2).files.back(), today.back());
  EXPECT_TRUE(helper.GetListViewVec(3).headerMarker);
  EXPECT_EQ(helper.GetListViewVec(3).date, Day(3));
  EXPECT_EQ(helper.GetListViewVec(4).files.size(), 1u);
  const auto layout = helper.CurrentView().layout;
  EXPECT_EQ(layout->totalHeight, 40u + 200u + 40u + 100u);
  ASSERT_EQ(layout->yearTable.size(), 1u);
  EXPECT_EQ(layout->yearTable.at(2023), 380u);
}

TEST_F(ViewHelper, YearTableEndsWithEachYearsLastDay) {
  AddDay(0, 1);
  AddDay(400, 1);  // in 2022
  AddDay(401, 7);
  ShowTimeLine();
  const auto years = helper.CurrentView().layout->yearTable;
  ASSERT_EQ(years.size(), 2u);
  EXPECT_EQ(years.at(2023), 140u);
  EXPECT_EQ(years.at(2022), 140u + 140u + 240u);
}

TEST_F(ViewHelper, PixelOnABoundaryBelongsToTheRowThatEndsThere) {
  AddDay(0, 12);
  AddDay(1, 1);
  ShowTimeLine();
  GalleryFileListViewHelper::RowPlace place;
  ASSERT_TRUE(helper.GetRowAtPos(0, place));
  EXPECT_EQ(place.row, 0u);
  EXPECT_EQ(place.top, 0);
  EXPECT_EQ(place.bottom, 40);
  ASSERT_TRUE(helper.GetRowAtPos(40, place));  // The first picture row begins here.
  EXPECT_EQ(place.row, 0u);
  EXPECT_EQ(place.bottom, 40);
  EXPECT_EQ(place.top, -60);
  ASSERT_TRUE(helper.GetRowAtPos(41, place));
  EXPECT_EQ(place.row, 1u);
  EXPECT_EQ(place.top, 40);
  EXPECT_EQ(place.bottom, 140);
  ASSERT_TRUE(helper.GetRowAtPos(140, place));
  EXPECT_EQ(place.row, 1u);
  EXPECT_EQ(place.bottom, 140);
  ASSERT_TRUE(helper.GetRowAtPos(141, place));
  EXPECT_EQ(place.row, 2u);
  ASSERT_TRUE(helper.GetRowAtPos(240, place));  // The next header.
  EXPECT_EQ(place.row, 3u);
  EXPECT_EQ(place.bottom, 280);
  EXPECT_FALSE(helper.GetRowAtPos(380, place));
  EXPECT_FALSE(helper.GetRowAtPos(1'000'000, place));
  EXPECT_FALSE(helper.GetRowAtPos(-1, place));
}

TEST_F(ViewHelper, OrdinaryAlbumHasRowsOfFilesOnly) {
  AddDay(0, 5);
  AddDay(1, 8);
  Show("default-album-1");
  EXPECT_EQ(helper.RowCount(), 3u);
  EXPECT_EQ(helper.CurrentView().layout->totalHeight, 300u);
  EXPECT_FALSE(helper.GetListViewVec(0).headerMarker);
  EXPECT_EQ(helper.GetListViewVec(0).files.size(), 6u);
  EXPECT_EQ(helper.GetListViewVec(2).files.size(), 1u);
  EXPECT_TRUE(helper.GetListViewVec(3).empty());
  GalleryFileListViewHelper::RowPlace place;
  EXPECT_FALSE(helper.GetRowAtPos(10, place));
}

TEST_F(ViewHelper, WithoutColumnsThereIsNothingToRead) {
  const auto files = AddDay(0, 5);
  ShowTimeLine(0);
  EXPECT_EQ(helper.RowCount(), 0u);
  EXPECT_TRUE(helper.GetListViewVec(0).empty());
  EXPECT_EQ(helper.GetFileByIndex(0), nullptr);
  // Nobody may take a file for gone.
  EXPECT_TRUE(helper.HasFile(CloudFile("elsewhere")));
  EXPECT_TRUE(helper.HasSameFile(CloudFile("elsewhere")));
}

TEST_F(ViewHelper, UnknownAlbumLeavesTheFormerOneCurrent) {
  AddDay(0, 1);
  ShowTimeLine();
  Show("no such album");
  EXPECT_EQ(helper.CurrentAlbumId(), "Pictures");
  EXPECT_EQ(helper.RowCount(), 2u);
}

TEST_F(ViewHelper, FilesAreFoundByIndexAndIndexByFile) {
  const auto files = AddDay(0, 9);
  ShowTimeLine();
  for (std::uint32_t i = 0; i < 9; ++i) {
    EXPECT_EQ(helper.GetFileIndex(files[i]), i);
    EXPECT_EQ(helper.GetFileByIndex(i), files[i]);
  }
  EXPECT_EQ(helper.GetFileIndex(CloudFile("other")), GalleryFileListViewHelper::kNoIndex);
  EXPECT_EQ(helper.GetFileIndex(nullptr), GalleryFileListViewHelper::kNoIndex);
  EXPECT_EQ(helper.GetFileByIndex(9), nullptr);
  EXPECT_TRUE(helper.HasFile(files[3]));
  EXPECT_FALSE(helper.HasFile(CloudFile("other")));
}

TEST_F(ViewHelper, BinIsSearchedInItsOwnOrder) {
  const auto files = AddDay(0, 5);
  ASSERT_EQ(gallery.RecycleFiles({files[3]}, false), 1u);
  clock.ms = clock.ms + 1000;
  ASSERT_EQ(gallery.RecycleFiles({files[1], files[4]}, false), 2u);
  Show(kRecycleAlbumId);
  EXPECT_EQ(helper.GetFileIndex(files[3]), 2u);
  EXPECT_LT(helper.GetFileIndex(files[1]), 2u);
  EXPECT_LT(helper.GetFileIndex(files[4]), 2u);
}

TEST_F(ViewHelper, RangeHoldsBothEnds) {
  const auto files = AddDay(0, 5);
  ShowTimeLine();
  Files out;
  helper.GetFilesByRange(2, 2, out);
  EXPECT_EQ(out, Files{files[2]});
  helper.GetFilesByRange(3, 1, out);
  EXPECT_EQ(out, (Files{files[1], files[2], files[3]}));
  helper.GetFilesByRange(5, 5, out);
  EXPECT_TRUE(out.empty());
  helper.GetFilesByRange(0, 5, out);
  EXPECT_TRUE(out.empty());
}

TEST_F(ViewHelper, FilesOfADayAreThoseOfItsGroup) {
  AddDay(0, 2);
  const auto yesterday = AddDay(1, 3);
  ShowTimeLine();
  Files out;
  helper.GetFilesByDate(Day(1), out);
  EXPECT_EQ(out, yesterday);
  helper.GetFilesByDate(Day(2), out);
  EXPECT_TRUE(out.empty());
}

TEST_F(ViewHelper, ShotOfABurstStandsForItsBurst) {
  auto cover = CloudFile("IMG_BURST001_COVER");
  cover->SetFileName(L"IMG_BURST001_COVER.jpg");
  auto member = CloudFile("IMG_BURST002");
  member->SetFileName(L"IMG_BURST002.jpg");
  cover->ParseBurstName();
  member->ParseBurstName();
  Add({cover, member});
  ShowTimeLine();
  EXPECT_FALSE(helper.HasFile(member));
  EXPECT_TRUE(helper.HasSameFile(member));
  auto other = CloudFile("OTHER_BURST002");
  other->SetFileName(L"OTHER_BURST002.jpg");
  other->ParseBurstName();
  EXPECT_FALSE(helper.HasSameFile(other));
}

TEST_F(ViewHelper, CallbackHearsOfEachChangeOfTheAlbum) {
  AddDay(0, 6);
  ShowTimeLine();
  EXPECT_EQ(told, 2u);
  AddDay(1, 1);
  EXPECT_EQ(told, 4u);
  helper.DropCallback();
  AddDay(2, 1);
  EXPECT_EQ(told, 4u);
}

TEST_F(ViewHelper, FormerAlbumIsNotListenedToAnyMore) {
  AddDay(0, 6);
  Show("default-album-1");
  CloudAlbum("trip", L"Trip");
  Show("trip");
  told = 99;
  AddDay(1, 1);  // Comes into the former album.
  EXPECT_EQ(told, 99u);
}

TEST_F(ViewHelper, LastOfQuickCallsWins) {
  AddDay(0, 12);
  for (int round = 0; round < 200; ++round) {
    for (const std::uint8_t columns : {10, 8, 4, 6, 10, 4})
      helper.SetListViewConf("Pictures", columns, nullptr, kDateHeight, kLineHeight);
    helper.SetListViewConf("Pictures", 6, nullptr, kDateHeight, kLineHeight);
    helper.WaitForConf();
    ASSERT_EQ(helper.CurrentView().layout->cols, 6) << round;
  }
}

TEST_F(ViewHelper, ReloadedGalleryKeepsTheLayout) {
  AddDay(0, 6);
  ShowTimeLine(4);
  Restart();
  EXPECT_EQ(helper.CurrentView().layout->cols, 4);
  EXPECT_EQ(helper.RowCount(), 3u);
  AddDay(1, 1);
  EXPECT_EQ(told, 5u);
}

TEST_F(ViewHelper, CountsPhotosAndVideos) {
  auto video = CloudFile("v");
  video->SavedFileType = 4;
  AddDay(0, 2);
  Add({video});
  EXPECT_EQ(helper.GetPhotoVideoCount("Pictures"), (std::pair<std::uint64_t, std::uint64_t>{2, 1}));
  EXPECT_EQ(helper.GetPhotoVideoCount("nowhere"), (std::pair<std::uint64_t, std::uint64_t>{0, 0}));
}

TEST_F(ViewHelper, BinIsExpiredWhenItIsShown) {
  const auto files = AddDay(0, 2);
  ASSERT_EQ(gallery.RecycleFiles(files, false), 2u);
  clock.ms = clock.ms + 30 * kDayMs;
  Show(kRecycleAlbumId);
  EXPECT_EQ(gallery.GetAlbum(kRecycleAlbumId)->FileCount(), 0u);
}

TEST_F(ViewHelper, FileThatIsDeletedBetweenTwoRowsStaysUntilTheNextLayout) {
  const auto today = AddDay(0, 12);
  ShowTimeLine();
  EXPECT_EQ(helper.GetListViewVec(1).files.back(), today[5]);
  today[6]->IsDeleted = 1;  // The record is first; the album's view follows.
  EXPECT_EQ(helper.GetListViewVec(2).files.front(), today[6]);
  today[6]->IsDeleted = 0;
  ASSERT_EQ(gallery.RecycleFiles({today[6]}, false), 1u);
  EXPECT_EQ(helper.GetListViewVec(2).files.front(), today[7]);
}

}  // namespace
