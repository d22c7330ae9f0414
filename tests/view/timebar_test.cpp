// The time line's scroll bar.

#include "ui/view/timebar.h"

#include "viewtest.h"

namespace {

using Thumb = TimeBar::Thumb;

TEST(TimeBarThumb, KeepsItsLengthAndStaysOnTheRail) {
  EXPECT_EQ(TimeBar::ThumbAt(664, 64, 1000, 0), (Thumb{0, 64}));
  EXPECT_EQ(TimeBar::ThumbAt(664, 64, 1000, 500), (Thumb{300, 64}));
  EXPECT_EQ(TimeBar::ThumbAt(664, 64, 1000, 1000), (Thumb{600, 64}));
  EXPECT_EQ(TimeBar::ThumbAt(664, 64, 1000, 1500), (Thumb{600, 64}));
}

TEST(TimeBarThumb, FillsARailWithoutRange) { EXPECT_EQ(TimeBar::ThumbAt(664, 64, 0, 0), (Thumb{0, 664})); }

TEST(TimeBarThumb, IsEmptyOnAShortRail) { EXPECT_EQ(TimeBar::ThumbAt(64, 64, 1000, 10), Thumb{}); }

TEST(TimeBarPress, GivesTheScrollPosition) {
  EXPECT_EQ(TimeBar::ScrollFromPoint(300, 664, 64, 1000), 500);
  EXPECT_EQ(TimeBar::ScrollFromPoint(0, 664, 64, 1000), 0);
  EXPECT_EQ(TimeBar::ScrollFromPoint(300, 664, 64, 0), 0);
}

TEST(TimeBarBubble, HasAPictureForSomeScales) {
  EXPECT_EQ(TimeBar::BubbleImage(100), "Gallery\\TimeLine\\TimeFrame.png");
  EXPECT_EQ(TimeBar::BubbleImage(150), "Gallery\\TimeLine\\TimeFrame@150.png");
  EXPECT_EQ(TimeBar::BubbleImage(225), "Gallery\\TimeLine\\TimeFrame@225.png");
  EXPECT_EQ(TimeBar::BubbleImage(300), "Gallery\\TimeLine\\TimeFrame@225.png");
  EXPECT_EQ(TimeBar::BubbleImage(110), "");
}

class TimeBarDates : public ViewTest {};

TEST_F(TimeBarDates, AreThoseOfTheContentAtTheSameHeight) {
  for (int day = 0; day < 10; ++day) AddDay(day, 6);  // 10 days of 140 pixels
  ShowTimeLine();
  TimeBar bar;
  bar.SetLayout(helper.CurrentView().layout);
  // A rail of 700 for a content of 1400: two pixels of content for one.
  EXPECT_EQ(bar.GetDateAtPoint(0, 700, 700), Day(0));
  EXPECT_EQ(bar.GetDateAtPoint(69, 700, 700), Day(0));
  EXPECT_EQ(bar.GetDateAtPoint(70, 700, 700), Day(1));
  EXPECT_EQ(bar.GetDateAtPoint(699, 700, 700), Day(9));
  EXPECT_EQ(bar.GetDateAtPoint(700, 700, 700), std::nullopt);
  EXPECT_EQ(bar.GetDateAtPoint(-1, 700, 700), std::nullopt);
  EXPECT_EQ(bar.DateAtScroll(140), Day(1));
}

TEST_F(TimeBarDates, NoneWithoutRange) {
  AddDay(0, 6);
  ShowTimeLine();
  TimeBar bar;
  bar.SetLayout(helper.CurrentView().layout);
  EXPECT_EQ(bar.GetDateAtPoint(10, 700, 0), std::nullopt);
}

TEST_F(TimeBarDates, StayThoseOfTheLastRefresh) {
  AddDay(3, 6);
  ShowTimeLine();
  TimeBar bar;
  bar.SetLayout(helper.CurrentView().layout);
  AddDay(0, 6);
  EXPECT_EQ(bar.DateAtScroll(0), Day(3));
  bar.SetLayout(helper.CurrentView().layout);
  EXPECT_EQ(bar.DateAtScroll(0), Day(0));
}

}  // namespace
