// The page with real input: what it shows, and what mouse and keys do.

#include <QAccessible>
#include <QPaintEvent>
#include <QScreen>

#include "common/toolkit/edit.h"
#include "common/toolkit/resourcequeue.h"
#include "pagetest.h"
#include "ui/timescrollbar.h"
#include "ui/userproperties.h"
#include "utils/messages.h"

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
  QWheelEvent wheel(middle, List().mapToGlobal(middle), {}, {0, -120}, Qt::NoButton, {}, Qt::NoScrollPhase,
                    false);
  QApplication::sendEvent(
      List().CellAt(List().rect().center()) ? static_cast<QWidget*>(List().CellAt(middle)) : &List(), &wheel);
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

TEST_F(PageTest, PicturesAreItemsOfAListForAssistiveTechnology) {
  const Files today = AddDay(0, 3);
  Open();
  ASSERT_TRUE(UntilPictures());
  EXPECT_EQ(QAccessible::queryAccessibleInterface(&List())->role(), QAccessible::List);
  auto* item = QAccessible::queryAccessibleInterface(Cell(today[1]));
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->role(), QAccessible::ListItem);
  EXPECT_EQ(item->text(QAccessible::Name), QStringLiteral("d0-1.jpg, 14 Nov 2023"));
  EXPECT_EQ(item->text(QAccessible::Description), QStringLiteral("2 of 3"));
  EXPECT_TRUE(item->state().selectable);
  EXPECT_FALSE(item->state().selected);
  item->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
  Settle();
  EXPECT_EQ(Selected(), (std::set{today[1]}));
  EXPECT_TRUE(item->state().selected);
  EXPECT_TRUE(item->text(QAccessible::Name).endsWith(QStringLiteral("selected")));
}

TEST_F(PageTest, RowsThatStayInSightKeepTheirCells) {
  const Files today = AddDay(0, 90);
  Open();
  ASSERT_TRUE(UntilPictures());
  const std::array<CGalleryPictureUI*, 2> before{Cell(today[12]), Cell(today[19])};
  ASSERT_TRUE(before[0] && before[1]);
  List().SetScrollPos({0, GridGeometry::kHeaderPixels + List().Body()->Rows()[1]->GetHeight() + 7});
  Settle();
  EXPECT_EQ(Cell(today[12]), before[0]);
  EXPECT_EQ(Cell(today[19]), before[1]);
  List().SetScrollPos({0, 0});
  Settle();
  EXPECT_EQ(Cell(today[12]), before[0]);
  EXPECT_NE(Cell(today[0]), nullptr);
  // From top to bottom they stand in their order.
  int top = -1;
  for (const auto* row : List().Body()->Rows()) {
    if (!row->IsVisible()) continue;
    EXPECT_GE(row->GetPos().top(), top);
    top = row->GetPos().bottom();
  }
}

TEST_F(PageTest, PictureHasRoundCornersOfThePage) {
  const Files today = AddDay(0, 1);
  Open();
  ASSERT_TRUE(UntilPictures());
  auto* cell = Cell(today[0]);
  const QImage shown = cell->grab().toImage();
  const QRect picture = cell->HitRect();
  const QColor page = CControlUI::ColorOf(QStringLiteral("page"));
  EXPECT_EQ(shown.pixelColor(picture.topLeft()), page);
  EXPECT_EQ(shown.pixelColor(picture.bottomRight()), page);
  EXPECT_NE(shown.pixelColor(picture.topLeft() + QPoint(5, 5)), page);
  EXPECT_NE(shown.pixelColor(picture.center()), page);
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

TEST_F(PageTest, ZoomChangesTheColumns) {
  AddDay(0, 30);
  Open();
  ASSERT_TRUE(UntilPictures());
  const auto columns = [this] { return helper.CurrentView().layout->cols; };
  EXPECT_EQ(columns(), 6);
  QTest::mouseClick(page->FindControl(QStringLiteral("btn_narrow"))->Widget(), Qt::LeftButton);
  ASSERT_TRUE(Until([&] { return columns() == 10; }));
  Settle();
  EXPECT_EQ(List().Body()->Rows()[1]->Columns(), 10);
  QTest::mouseClick(page->FindControl(QStringLiteral("btn_expansion"))->Widget(), Qt::LeftButton);
  ASSERT_TRUE(Until([&] { return columns() == 4; }));
  const QPoint middle = List().rect().center();
  QWheelEvent wheel(middle, List().mapToGlobal(middle), {}, {0, -120}, Qt::NoButton, Qt::ControlModifier,
                    Qt::NoScrollPhase, false);
  QApplication::sendEvent(&List(), &wheel);
  ASSERT_TRUE(Until([&] { return columns() == 6; }));
}

TEST_F(PageTest, KeyboardWalksThroughThePictures) {
  const auto today = AddDay(0, 8);
  const auto before = AddDay(1, 3);
  Open();
  ASSERT_TRUE(UntilPictures());
  List().setFocus();
  QTest::keyClick(&List(), Qt::Key_Right);
  EXPECT_EQ(Page::FocusFile(), today[0]);
  QTest::keyClick(&List(), Qt::Key_Right);
  EXPECT_EQ(Page::FocusFile(), today[1]);
  QTest::keyClick(&List(), Qt::Key_Down);
  EXPECT_EQ(Page::FocusFile(), today[7]);  // The row below holds two.
  QTest::keyClick(&List(), Qt::Key_Down);
  EXPECT_EQ(Page::FocusFile(), before[1]);  // Over the header of the next day.
  QTest::keyClick(&List(), Qt::Key_Up);
  EXPECT_EQ(Page::FocusFile(), today[7]);
  QTest::keyClick(&List(), Qt::Key_Space);
  EXPECT_EQ(Selected(), (std::set{today[7]}));
  EXPECT_TRUE(IsEnabled("btn_delete"));
  EXPECT_NE(Cell(today[7])->AccessibleText().indexOf(QStringLiteral("selected")), -1);
}

TEST_F(PageTest, TypedDigitsGoToADate) {
  for (int month = 0; month < 30; ++month) AddDay(month * 30, 9);
  Open();
  ASSERT_TRUE(UntilPictures());
  List().setFocus();
  QTest::keyClicks(&List(), QStringLiteral("2022"));
  Settle();
  const auto* header = dynamic_cast<CTimeAlbumRow*>(List().Body()->Rows()[0]);
  ASSERT_NE(header, nullptr);
  std::int64_t seen = header->IsHeader() ? header->Date() : header->Date() / 1000;
  EXPECT_LT(seen, 1'672'531'200);              // date -u -d 2023-01-01 +%s
  EXPECT_GT(seen, 1'672'531'200 - 32 * kDay);  // The newest of that year.
}

TEST_F(PageTest, DateOfAHeaderIsChosenAndReleased) {
  AddDay(0, 4);
  const auto before = AddDay(1, 3);
  Open();
  ASSERT_TRUE(UntilPictures());
  auto* header = dynamic_cast<CTimeAlbumRow*>(List().Body()->Rows()[2]);
  ASSERT_TRUE(header && header->IsHeader());
  QTest::mouseMove(header, {40, 20});
  Settle();
  ASSERT_TRUE(header->ChooseLabel()->isVisible());
  EXPECT_EQ(header->ChooseLabel()->GetText(), QStringLiteral("Select"));
  QTest::mouseClick(header->ChooseLabel(), Qt::LeftButton);
  Settle();
  EXPECT_EQ(Selected(), (std::set<FilePtr>(before.begin(), before.end())));
  EXPECT_EQ(header->ChooseLabel()->GetText(), QStringLiteral("Cancel"));
  QTest::mouseClick(header->ChooseLabel(), Qt::LeftButton);
  Settle();
  EXPECT_TRUE(Selected().empty());
}

TEST_F(PageTest, RubberBandChoosesWhatItTouches) {
  const auto today = AddDay(0, 6);
  Open();
  ASSERT_TRUE(UntilPictures());
  const QPoint from(4, 52);
  const auto at = [&](int index) {
    return Cell(today[static_cast<std::size_t>(index)])->mapTo(&List(), QPoint(60, 60));
  };
  QTest::mousePress(List().childAt(from), Qt::LeftButton, {}, List().childAt(from)->mapFrom(&List(), from));
  QWidget* grabber = List().childAt(from);
  Settle();
  QTest::mouseMove(grabber, grabber->mapFrom(&List(), at(0)));
  QTest::mouseMove(grabber, grabber->mapFrom(&List(), at(2)));
  Settle();
  EXPECT_EQ(Selected(), (std::set{today[0], today[1], today[2]}));
  QTest::mouseRelease(grabber, Qt::LeftButton, {}, grabber->mapFrom(&List(), at(2)));
}

TEST_F(PageTest, DeletedFilesGoToTheBinAndComeBackByUndo) {
  const auto today = AddDay(0, 5);
  Open();
  ASSERT_TRUE(UntilPictures());
  Click(today[1]);
  // The question is answered from inside its own event loop.
  QTimer::singleShot(0, [] {
    ASSERT_TRUE(QTest::qWaitFor([] {
      return QApplication::focusWidget() &&
             QApplication::focusWidget()->objectName() == QStringLiteral("btn_ok");
    }));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
  });
  QTest::mouseClick(page->FindControl(QStringLiteral("btn_delete"))->Widget(), Qt::LeftButton);
  ASSERT_TRUE(Until([&] { return today[1]->IsInBin(); }));
  ASSERT_TRUE(
      Until([&] { return page->findChild<QPushButton*>(QStringLiteral("toast_action")) != nullptr; }));
  Keep("toast");
  QTest::mouseClick(page->findChild<QPushButton*>(QStringLiteral("toast_action")), Qt::LeftButton);
  ASSERT_TRUE(Until([&] { return !today[1]->IsInBin(); }));
}

TEST_F(PageTest, BinTellsTheDaysThatAreLeft) {
  const auto today = AddDay(0, 5);
  clock.ms = platform::Clock::Get().Ticks() / 10'000;
  ASSERT_EQ(gallery.RecycleFiles({today[0], today[2]}, false), 2u);
  clock.ms = clock.ms + 26 * kDayMs + 60'000;
  Open();
  page->Panel()->SelectAlbum(kRecycleAlbumId);
  ASSERT_TRUE(Until([&] { return IsShown("del_VirList"); }));
  ASSERT_TRUE(UntilPictures());
  Keep("bin");
  auto* row = dynamic_cast<CDeleteAlbumRow*>(List().Body()->Rows()[0]);
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row->height(), 195);
  EXPECT_EQ(row->DaysLabel(0)->GetText(), QStringLiteral("3 days left"));
  EXPECT_TRUE(IsShown("btn_ReplyFiles"));
  EXPECT_FALSE(IsShown("btn_download"));
}

TEST_F(PageTest, AlbumIsMadeRenamedAndOpened) {
  AddDay(0, 3);
  Open();
  ASSERT_TRUE(UntilPictures());
  auto& panel = *page->Panel();
  QTest::mouseClick(panel.FindControl(QStringLiteral("btn_add_photo"))->Widget(), Qt::LeftButton);
  auto* edit = panel.Find<CEditUI>(QStringLiteral("edit_add"));
  ASSERT_TRUE(edit && edit->isVisible());
  QTest::keyClicks(edit, QStringLiteral("a/b"));
  EXPECT_TRUE(edit->HasError());
  edit->clear();
  QTest::keyClicks(edit, QStringLiteral("Harbour"));
  EXPECT_FALSE(edit->HasError());
  QTest::keyClick(edit, Qt::Key_Return);
  ASSERT_TRUE(Until(
      [&] { return page->CurrentAlbum() && page->CurrentAlbum() == gallery.AlbumNameIsExist(L"Harbour"); }));
  const auto album = gallery.AlbumNameIsExist(L"Harbour");
  EXPECT_EQ(panel.SelectedId(), album->AlbumId.Get());
  EXPECT_EQ(page->CurrentAlbum(), album);
  EXPECT_EQ(Text("nor_text"), QStringLiteral("Harbour"));
}

TEST_F(PageTest, ThumbnailThatArrivesReachesItsCell) {
  auto file = CloudFile("late", "default-album-1", (kToday + 10) * 1000);
  Add({file});
  Open();
  Settle();
  auto* cell = Cell(file);
  ASSERT_NE(cell, nullptr);
  EXPECT_TRUE(cell->ThumbPath().isEmpty());
  WriteThumbnail(*file, {320, 240});
  (void)file->TestThumbnailOnDisk();
  Page::Post(WM_GALLERY_THUMB_READY, 0, reinterpret_cast<LPARAM>(file.get()));
  ASSERT_TRUE(Until([&] { return !cell->ThumbPath().isEmpty(); }));
  ASSERT_TRUE(UntilPictures());
  // A wide picture fills the cell, two pixels inside.
  EXPECT_TRUE(Until([&] { return cell->HitRect().width() == cell->width() - 4; }));
}

TEST_F(PageTest, WhatIsChosenWhileABatchRunsStaysChosen) {
  const auto today = AddDay(0, 3);
  Open();
  ASSERT_TRUE(UntilPictures());
  Click(today[0]);
  page->Recycle({today[0]});
  EXPECT_TRUE(Selected().empty());
  Click(today[2]);
  ASSERT_TRUE(Until([&] { return today[0]->IsInBin(); }));
  Settle();
  EXPECT_EQ(Selected(), (std::set<FilePtr>{today[2]}));
}

TEST_F(PageTest, StatusLineFollowsTheSync) {
  AddDay(0, 1);
  Open();
  page->OnSyncStatus(SyncStatus::UPLOAD, 3);
  Settle();
  EXPECT_EQ(Text("update_status"), QStringLiteral("Uploading 3 items"));
  EXPECT_TRUE(IsShown("update_ring"));
  page->OnSyncStatus(SyncStatus::SYNCERROR, 0);
  Settle();
  EXPECT_EQ(Text("update_status"), QStringLiteral("The gallery could not be updated"));
  EXPECT_FALSE(IsShown("update_ring"));
  page->OnSyncStatus(SyncStatus::IDLE, 0);
  Settle();
  EXPECT_EQ(Text("update_status"), QStringLiteral("Updated just now"));
}

TEST_F(PageTest, TallWindowHasNoEmptyLowerHalf) {
  for (int day = 0; day < 60; ++day) AddDay(day, 1);
  Open({900, 2400});
  QTest::mouseClick(page->FindControl(QStringLiteral("btn_narrow"))->Widget(), Qt::LeftButton);
  ASSERT_TRUE(Until([this] { return helper.CurrentView().layout->cols == 10; }));
  Settle();
  int bottom = 0;
  for (const auto* row : List().Body()->Rows())
    if (row->IsVisible()) bottom = std::max(bottom, row->geometry().bottom());
  EXPECT_GE(bottom, List().Body()->height() - 1);
}

// What the window shows is what painting all of it anew would show.
TEST_F(PageTest, ScrolledPixelsAreThoseOfAFreshPaint) {
  for (int day = 0; day < 60; ++day) AddDay(day, 1 + day * 7 % 23);
  UserProperties::Set(UserProperties::kTipSeen, 1);  // A tip lies over the list.
  Open({1440, 900});
  ASSERT_TRUE(UntilPictures());
  const auto shown = [this] {
    Settle();
    return frame->screen()->grabWindow(frame->winId()).toImage().convertToFormat(QImage::Format_RGB32);
  };
  const auto fresh = [this] { return frame->grab().toImage().convertToFormat(QImage::Format_RGB32); };
  ASSERT_TRUE(Until([&] { return shown() == fresh(); }));
  auto& body = *List().Body();
  std::size_t at = 0;
  for (const int by :
       {64, 64, 64, 64, -64, 1, 7, 500, -300, 64, 64, 3000, -64, -64, 900, -3, 64, 64, 100'000, -64, -2000}) {
    body.SetScrollPos({0, body.GetScrollPos().height() + by});
    // A picture may still be on its way; pixels that were left behind stay wrong.
    ASSERT_TRUE(Until([&] { return shown() == fresh(); })) << "step " << at;
    ++at;
  }
  // The bubble of the bar stands over the rows.
  const auto expectSame = [&](const char* when) {
    EXPECT_TRUE(Until([&] { return shown() == fresh(); })) << when;
  };
  body.SetScrollPos({0, 0});
  auto* bar = dynamic_cast<CTimeAlbumBodyUI&>(body).TimeBar();
  ASSERT_NE(bar, nullptr);
  QTest::mousePress(bar, Qt::LeftButton, {}, {bar->width() / 2, 200});
  expectSame("pressed");
  QTest::mouseMove(bar, {bar->width() / 2, 230});
  expectSame("moved");
  body.LineDown();
  expectSame("scrolled under the bubble");
  QTest::mouseRelease(bar, Qt::LeftButton, {}, {bar->width() / 2, 230});
}

// A step paints what came in, and not what has only moved.
TEST_F(PageTest, StepPaintsWhatCameInAlone) {
  AddDay(0, 200);
  UserProperties::Set(UserProperties::kTipSeen, 1);
  Open();
  ASSERT_TRUE(UntilPictures());
  auto& body = *List().Body();
  body.SetScrollPos({0, 700});
  ASSERT_TRUE(UntilPictures());
  Settle();
  class Painted : public QObject {
   public:
    bool eventFilter(QObject*, QEvent* event) override {
      if (event->type() == QEvent::Paint)
        area += static_cast<QPaintEvent*>(event)->region().boundingRect().height();
      return false;
    }
    int area = 0;
  } painted;
  int cells = 0;
  for (auto* row : body.Rows())
    for (int k = 0; k < row->Columns(); ++k, ++cells) row->Cell(k)->installEventFilter(&painted);
  body.SetScrollPos({0, 700 + 64});
  Settle();
  EXPECT_GT(painted.area, 0);
  // Six cells of a strip of 64 pixels, and the last column under the bar.
  EXPECT_LE(painted.area, 6 * 64 + 6 * 170);
}

TEST_F(PageTest, WhatATestHasChosenIsNotFoundByTheNext) {
  AddDay(0, 20);
  Open();
  Find<CSliderUI>("slider_pic")->SetValue(1);
  Settle();
  ASSERT_EQ(UserProperties::GetText(UserProperties::kRowCount), "0");
  TearDown();
  SetUp();
  AddDay(0, 20);
  Open();
  EXPECT_EQ(Find<CSliderUI>("slider_pic")->GetValue(), 3);
}

// A worker swaps the layout in between two rows of one pass: each row is looked up by its
// place alone, and the next pass puts right what the first one has missed.
TEST_F(PageTest, FileThatIsDeletedBetweenTwoRowsOfAPassLeavesNoHole) {
  const auto today = AddDay(0, 12);
  Open();
  ASSERT_TRUE(UntilPictures());
  const auto row = [this](std::size_t index) { return List().Body()->Rows()[index]; };
  Files missing;
  const auto fill = [&](std::uint32_t index) {
    row(index)->SetFileInfoCell(helper.GetListViewVec(index), index, false, missing);
  };
  fill(1);
  ASSERT_EQ(gallery.RecycleFiles({today[2]}, false), 1u);
  fill(2);
  EXPECT_EQ(row(1)->Cell(2)->File(), today[2]);
  EXPECT_EQ(row(2)->Cell(0)->File(), today[7]);
  EXPECT_EQ(row(2)->Cell(5)->File(), nullptr);
  ASSERT_TRUE(Until([&] { return row(1)->Cell(2)->File() == today[3]; }));
  EXPECT_EQ(row(1)->Cell(5)->File(), today[6]);
  EXPECT_EQ(row(2)->Cell(0)->File(), today[7]);
}

}  // namespace
