// Tool buttons, words of the status line, days left in the bin.

#include "ui/view/pagerules.h"

#include <gtest/gtest.h>

namespace {

using namespace PageRules;

TEST(PageRules, PicturesOfSomeAlbumsMayBeMoved) {
  for (const int type : {0, 1, 5, 6, 8, 9, 10, 11, 12})
    EXPECT_TRUE(IsMovableType(static_cast<AlbumKind>(type))) << type;
  for (const int type : {2, 3, 4, 7}) EXPECT_FALSE(IsMovableType(static_cast<AlbumKind>(type))) << type;
}

TEST(PageRules, NothingSelectedLeavesUploadOnly) {
  const auto bar = ToolbarFor(ToolbarState::Nothing, AlbumKind::TimeLine, false, {});
  EXPECT_EQ(bar.upload, true);
  EXPECT_EQ(bar.download, false);
  EXPECT_EQ(bar.move, false);
  EXPECT_EQ(bar.remove, false);
  EXPECT_EQ(bar.reply, false);
  EXPECT_EQ(bar.removeForGood, false);
}

TEST(PageRules, OpenViewerKeepsItsButtons) {
  const auto bar = ToolbarFor(ToolbarState::Nothing, AlbumKind::TimeLine, true, {});
  EXPECT_EQ(bar.download, std::nullopt);
  EXPECT_EQ(bar.remove, std::nullopt);
  EXPECT_EQ(bar.reply, false);
}

TEST(PageRules, SelectionInTheBinIsRestoredOrRemoved) {
  const auto bar = ToolbarFor(ToolbarState::Selected, AlbumKind::RecycleBin, false, {});
  EXPECT_EQ(bar.move, false);
  EXPECT_EQ(bar.reply, true);
  EXPECT_EQ(bar.removeForGood, true);
}

TEST(PageRules, RightsOfTheAccountEndAButton) {
  const auto bar =
      ToolbarFor(ToolbarState::Selected, AlbumKind::Camera, false, {.move = false, .remove = false});
  EXPECT_EQ(bar.download, true);
  EXPECT_EQ(bar.move, false);
  EXPECT_EQ(bar.remove, false);
  const auto bin = ToolbarFor(ToolbarState::Selected, AlbumKind::RecycleBin, false,
                              {.removeForGood = false, .restore = false});
  EXPECT_EQ(bin.reply, false);
  EXPECT_EQ(bin.removeForGood, false);
  EXPECT_EQ(ToolbarFor(ToolbarState::Nothing, AlbumKind::Camera, false, {.upload = false}).upload, false);
}

TEST(PageRules, ViewerStates) {
  EXPECT_EQ(ToolbarFor(ToolbarState::Viewer, AlbumKind::Camera, true, {}).move, true);
  EXPECT_EQ(ToolbarFor(ToolbarState::BurstMember, AlbumKind::Camera, true, {}).move, false);
  EXPECT_EQ(ToolbarFor(ToolbarState::BurstMember, AlbumKind::Camera, true, {}).remove, false);
  EXPECT_EQ(ToolbarFor(ToolbarState::BurstMember, AlbumKind::Camera, true, {}).download, true);
  EXPECT_EQ(ToolbarFor(ToolbarState::LocalItem, AlbumKind::Camera, true, {}).upload, false);
  EXPECT_EQ(ToolbarFor(ToolbarState::LocalItem, AlbumKind::Camera, true, {}).remove, true);
  const auto video = ToolbarFor(ToolbarState::Video, AlbumKind::Camera, true, {});
  EXPECT_EQ(video.move, false);
  EXPECT_EQ(video.remove, std::nullopt);
}

TEST(PageRules, StatusLineFollowsTheSync) {
  EXPECT_EQ(StatusFor(1, 0, true, 10).key, "IDS_GALLERT_UPLOAD_UPDATE");
  EXPECT_TRUE(StatusFor(3, 0, true, 10).ring);
  const auto uploading = StatusFor(2, 3, true, 10);
  EXPECT_EQ(uploading.key, "IDS_GALLERT_UPLOAD");
  EXPECT_EQ(uploading.count, 3);
  EXPECT_TRUE(uploading.ring);
  EXPECT_TRUE(uploading.reload);
  EXPECT_TRUE(StatusFor(2, 0, true, 10).hidden);
  EXPECT_FALSE(StatusFor(2, 0, true, 10).ring);
  EXPECT_EQ(StatusFor(4, 0, true, 10).key, "IDS_GALLERT_SyncOffline");
  EXPECT_EQ(StatusFor(5, 0, true, 10).key, "IDS_GALLERT_UPDATE_FAILED");
  EXPECT_EQ(StatusFor(8, 0, true, 10).key, "IDS_TRANSERR_Error_DriveNoEnough");
  EXPECT_TRUE(StatusFor(0, 4, false, 10).isStorageFull);
  EXPECT_EQ(StatusFor(0, 4, true, 10).key, "IDS_GALLERT_JUST_NOW_UPDATE");
  EXPECT_EQ(StatusFor(0, 0, false, 10).key, "IDS_GALLERT_JUST_NOW_UPDATE");
}

TEST(PageRules, LastUpdateIsToldInMinutesThenAsATime) {
  EXPECT_EQ(LastUpdateText(59).key, "IDS_GALLERT_JUST_NOW_UPDATE");
  EXPECT_EQ(LastUpdateText(60).key, "IDS_GALLERT_BEFORE_UPDATE");
  EXPECT_EQ(LastUpdateText(60).count, 1);
  EXPECT_EQ(LastUpdateText(3599).count, 59);
  EXPECT_EQ(LastUpdateText(3600).key, "IDS_GALLEY_TIME_UPDATE");
  EXPECT_TRUE(LastUpdateText(3600).isTime);
  EXPECT_TRUE(LastUpdateText(-1).hidden);
}

TEST(PageRules, DaysLeftInTheBin) {
  constexpr std::int64_t kDay = 86400, kNow = 1'700'000'000;
  const auto left = [&](std::int64_t seconds) { return GetRecycleDaysLeft((kNow - seconds) * 1000, kNow); };
  EXPECT_EQ(left(0), (DaysLeft{29, true}));
  EXPECT_EQ(left(kDay - 1), (DaysLeft{29, true}));
  EXPECT_EQ(left(kDay), (DaysLeft{0, false}));  // A whole number of days: no text.
  EXPECT_EQ(left(kDay + 1), (DaysLeft{28, true}));
  EXPECT_EQ(left(5 * kDay), (DaysLeft{0, false}));
  EXPECT_EQ(left(28 * kDay + 1), (DaysLeft{1, true}));
  EXPECT_EQ(left(31 * kDay + 1), (DaysLeft{-2, true}));
  EXPECT_TRUE(IsUrgent({3, true}));
  EXPECT_TRUE(IsUrgent({-2, true}));
  EXPECT_FALSE(IsUrgent({4, true}));
  EXPECT_FALSE(IsUrgent({0, false}));
}

TEST(PageRules, TypedDatesAreYearsMonthsAndDays) {
  EXPECT_EQ(EndOfTypedDate("2019"), 1577836800);     // date -u -d 2020-01-01 +%s
  EXPECT_EQ(EndOfTypedDate("2019-03"), 1554076800);  // 2019-04-01
  EXPECT_EQ(EndOfTypedDate("2019-12"), 1577836800);
  EXPECT_EQ(EndOfTypedDate("2019-3-14"), 1552608000);  // 2019-03-15
  EXPECT_EQ(EndOfTypedDate("2019-02-30"), std::nullopt);
  EXPECT_EQ(EndOfTypedDate("2019-13"), std::nullopt);
  EXPECT_EQ(EndOfTypedDate("abc"), std::nullopt);
  EXPECT_EQ(EndOfTypedDate(""), std::nullopt);
}

TEST(PageRules, OfTooManyPathsTheFirstStay) {
  PageRules::PathGroups groups{{L"", {L"1", L"2"}}, {L"Trip", {L"3", L"4"}}, {L"Zoo", {L"5"}}};
  EXPECT_FALSE(PageRules::KeepFirst(groups, 5));
  EXPECT_TRUE(PageRules::KeepFirst(groups, 3));
  EXPECT_EQ(groups, (PageRules::PathGroups{{L"", {L"1", L"2"}}, {L"Trip", {L"3"}}}));
}

}  // namespace
