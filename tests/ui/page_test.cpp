// The page with real input: what it shows, and what mouse and keys do.

#include "common/toolkit/resourcequeue.h"
#include "pagetest.h"

namespace {

TEST_F(PageTest, ShowsTheTimeLineWithItsDays) {
  const auto today = AddDay(0, 9);
  AddDay(5, 4);
  Open();
  ASSERT_TRUE(UntilPictures());
  Keep("timeline");
  EXPECT_EQ(Text("time_text"), QStringLiteral("Pictures"));
  EXPECT_EQ(Text("gallery_type"), QStringLiteral("13 photos"));
  const auto& rows = List().Body()->Rows();
  ASSERT_EQ(rows.size(), 5u);  // header, 6, 3; header, 4
  const auto* header = dynamic_cast<CTimeAlbumRow*>(rows[0]);
  ASSERT_NE(header, nullptr);
  EXPECT_TRUE(header->IsHeader());
  EXPECT_EQ(header->DateLabel()->GetText(), QStringLiteral("14 Nov 2023"));
  EXPECT_EQ(header->height(), 50);
  // (1356 - 200 - 14 - 60) / 6
  EXPECT_EQ(rows[1]->height(), 180);
  EXPECT_EQ(rows[1]->Cell(0)->File(), today[0]);
  EXPECT_EQ(rows[2]->Cell(2)->File(), today[8]);
  EXPECT_EQ(rows[2]->Cell(3)->File(), nullptr);
}

TEST_F(PageTest, MonthsOfPicturesScrollThroughOnePool) {
  for (int day = 0; day < 40; ++day) AddDay(day, 3 + day % 9);
  Open();
  ASSERT_TRUE(UntilPictures());
  auto& body = *List().Body();
  const auto pool = body.Rows().size();
  EXPECT_EQ(pool, 12u);
  const int range = body.GetScrollRange().height();
  ASSERT_GT(range, 5000);
  const QPoint middle = List().rect().center();
  const int before = body.GetScrollPos().height();
  QWheelEvent wheel(middle, List().mapToGlobal(middle), {}, {0, -120}, Qt::NoButton, {}, Qt::NoScrollPhase, false);
  QApplication::sendEvent(List().CellAt(List().rect().center()) ? static_cast<QWidget*>(List().CellAt(middle)) : &List(), &wheel);
  EXPECT_EQ(body.GetScrollPos().height(), before + 64);
  List().setFocus();
  QTest::keyClick(&List(), Qt::Key_End);
  EXPECT_EQ(body.GetScrollPos().height(), range);
  EXPECT_EQ(body.Rows().size(), pool);
  ASSERT_TRUE(UntilPictures());
  Keep("scrolled");
  QTest::keyClick(&List(), Qt::Key_Home);
  EXPECT_EQ(body.GetScrollPos().height(), 0);
}

TEST_F(PageTest, SelectionByClickCtrlAndShift) {
  const auto today = AddDay(0, 9);
  const auto before = AddDay(3, 8);
  Open();
  ASSERT_TRUE(UntilPictures());
  Click(today[1]);
  EXPECT_EQ(Selected(), (std::set{today[1]}));
  EXPECT_TRUE(IsEnabled("btn_download"));
  List().setFocus();
  QTest::keyPress(&List(), Qt::Key_Control);
  Click(today[3], Qt::ControlModifier);
  QTest::keyRelease(&List(), Qt::Key_Control);
  EXPECT_EQ(Selected(), (std::set{today[1], today[3]}));
  EXPECT_EQ(Text("GalleryNums"), QStringLiteral("2 files selected"));
  QTest::keyPress(&List(), Qt::Key_Shift);
  Click(before[1], Qt::ShiftModifier);
  QTest::keyRelease(&List(), Qt::Key_Shift);
  Settle();
  EXPECT_EQ(Selected().size(), 8u);  // Shift begins where Ctrl has ended.
  Keep("selection");
  QTest::keyClick(&List(), Qt::Key_Escape);
  Settle();
  EXPECT_TRUE(Selected().empty());
  EXPECT_FALSE(IsEnabled("btn_download"));
  QTest::keyClick(&List(), Qt::Key_A, Qt::ControlModifier);
  Settle();
  EXPECT_EQ(Selected().size(), 17u);
}

TEST_F(PageTest, EmptyGalleryInvitesToUpload) {
  Add({});  // The rows have come in; there are none.
  Open();
  Settle();
  Keep("empty");
  EXPECT_TRUE(IsShown("empty_page"));
  EXPECT_EQ(Text("empty_title"), QStringLiteral("No pictures yet"));
  EXPECT_TRUE(IsShown("empty_upload"));
  EXPECT_FALSE(IsEnabled("slider_pic"));
}

}  // namespace
