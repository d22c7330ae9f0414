// The picture viewer with real input: opening, walking, zooming, leaving.

#include <gmock/gmock.h>

#include <QLabel>
#include <latch>

#include "common/toolkit/resourcemanager.h"
#include "host/base/drivethreadpool.h"
#include "tests/support/operationlog.h"
#include "ui/dialogs/deletepicwnd.h"
#include "viewertest.h"

namespace {

TEST_F(ViewerTest, ADoubleClickShowsTheThumbnailAtOnceAndThenTheOriginal) {
  const auto today = AddDay(0, 5);
  GiveOriginal(today[1], Quarters({1600, 1200}));
  Open();
  ASSERT_TRUE(UntilPictures());
  auto* cell = Cell(today[1]);
  DoubleClick(*cell, cell->rect().center());
  ASSERT_NE(Viewer(), nullptr);
  EXPECT_TRUE(Viewer()->isVisible());
  // Nothing has been decoded for it yet, and it is not empty: the stage is in the corner.
  const QImage first = Lcd().grab().toImage();
  EXPECT_NE(first.pixelColor(first.rect().center()), first.pixelColor(1, 1));
  EXPECT_FALSE(Looks(first.pixelColor(first.rect().center() - QPoint(20, 20)), Qt::red));
  ASSERT_TRUE(UntilSharp());
  Settle();
  Keep("viewer");
  const QRect place = Lcd().PicturePlace();
  // 4 : 3 in the stage less 64 at the sides and 32 above and below.
  EXPECT_EQ(place.height(), Lcd().height() - 64);
  EXPECT_TRUE(Looks(ColorAt(Lcd(), place.center() - QPoint(50, 50)), Qt::red));
  EXPECT_TRUE(Looks(ColorAt(Lcd(), place.center() + QPoint(50, 50)), Qt::yellow));
  EXPECT_EQ(Selected(), (std::set{today[1]}));
}

TEST_F(ViewerTest, LiesBesideThePanelAndBelowTheToolBar) {
  const auto today = OpenOnDayOf(3);
  EXPECT_EQ(Viewer()->geometry(), QRect(200, 49, 1356 - 200, 900 - 49));
  EXPECT_FALSE(IsEnabled("btn_uploadFiles"));
  EXPECT_TRUE(IsEnabled("btn_download"));
  EXPECT_TRUE(IsEnabled("btn_delete"));
  frame->resize(1600, 1000);
  page->resize(1600 - 84, 1000);
  Settle();
  EXPECT_EQ(Viewer()->geometry(), QRect(200, 49, 1516 - 200, 1000 - 49));
}

TEST_F(ViewerTest, ArrowsKeysAndWheelWalkThroughTheAlbum) {
  const auto today = OpenOnDayOf(4);
  EXPECT_FALSE(HasPart("leftBtn"));
  Press("rightBtn");
  EXPECT_EQ(Viewer()->Shown(), today[1]);
  EXPECT_TRUE(HasPart("leftBtn"));
  Key(Qt::Key_Right);
  EXPECT_EQ(Viewer()->Shown(), today[2]);
  Key(Qt::Key_6, Qt::KeypadModifier);
  EXPECT_EQ(Viewer()->Shown(), today[3]);
  EXPECT_FALSE(HasPart("rightBtn"));
  Key(Qt::Key_4, Qt::KeypadModifier);
  EXPECT_EQ(Viewer()->Shown(), today[2]);
  Wheel(Lcd(), 120, Lcd().rect().center());
  EXPECT_EQ(Viewer()->Shown(), today[1]);
  Wheel(Lcd(), -120, Lcd().rect().center());
  EXPECT_EQ(Viewer()->Shown(), today[2]);
  Key(Qt::Key_Home);
  EXPECT_EQ(Viewer()->Shown(), today[0]);
  Key(Qt::Key_End);
  EXPECT_EQ(Viewer()->Shown(), today[3]);
}

TEST_F(ViewerTest, ATouchPadTurnsByNotches) {
  const auto today = OpenOnDayOf(4);
  for (int i = 0; i < 3; ++i) Wheel(Lcd(), -30, Lcd().rect().center());
  EXPECT_EQ(Viewer()->Shown(), today[0]);
  Wheel(Lcd(), -30, Lcd().rect().center());
  EXPECT_EQ(Viewer()->Shown(), today[1]);
}

TEST_F(ViewerTest, AWheelThatTurnsSidewaysWalksUntilTheFullScreenIsOpen) {
  const auto today = OpenOnDayOf(4);
  const auto sideways = [&](QWidget& over, int delta) {
    const QPoint at = over.rect().center();
    QWheelEvent wheel(at, over.mapToGlobal(at), {}, {delta, 0}, Qt::NoButton, {}, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&over, &wheel);
    Settle();
  };
  sideways(Lcd(), -120);
  EXPECT_EQ(Viewer()->Shown(), today[1]);
  sideways(Lcd(), 120);
  EXPECT_EQ(Viewer()->Shown(), today[0]);
  constexpr UINT kHorizontal = 0x020E;  // WM_MOUSEHWHEEL
  (void)platform::SendMessageW(Viewer()->GetHWND(), kHorizontal, 0xFF880008, 0);
  EXPECT_EQ(Viewer()->Shown(), today[1]);
  Press("FullScreenBtn");
  sideways(*Full()->Lcd(), -120);
  for (const auto window : {Viewer()->GetHWND(), Full()->GetHWND()})
    (void)platform::SendMessageW(window, kHorizontal, 0xFF880008, 0);
  EXPECT_EQ(Full()->Shown(), today[1]);
  EXPECT_EQ(Viewer()->Shown(), today[1]);
  Wheel(*Full()->Lcd(), -120, Full()->Lcd()->rect().center());
  EXPECT_EQ(Full()->Shown(), today[2]);
}

TEST_F(ViewerTest, TheWheelAtTheEndsDoesNothingAndLogsNothing) {
  OperationLog log;
  const auto today = OpenOnDayOf(2);
  Wheel(Lcd(), 120, Lcd().rect().center());
  EXPECT_EQ(Viewer()->Shown(), today[0]);
  EXPECT_TRUE(log.Of(180).empty());
  Wheel(Lcd(), -120, Lcd().rect().center());
  EXPECT_EQ(Viewer()->Shown(), today[1]);
  const auto once = log.Of(180);
  ASSERT_EQ(once.size(), 1u);
  EXPECT_NE(once[0].find("\"ChangeType\":\"right\""), std::string::npos);
  Wheel(Lcd(), -120, Lcd().rect().center());
  EXPECT_EQ(log.Of(180), once);
}

TEST_F(ViewerTest, APictureDrawnAcrossIsTheNextOne) {
  const auto today = AddDay(0, 3);
  OpenOn(today[1]);
  const QPoint from = Lcd().rect().center();
  const auto draw = [&](int by) {
    QTest::mousePress(&Lcd(), Qt::LeftButton, {}, from);
    QTest::mouseMove(&Lcd(), from + QPoint(by, 0));
    QTest::mouseRelease(&Lcd(), Qt::LeftButton, {}, from + QPoint(by, 0));
    Settle();
  };
  draw(30);  // not far enough
  EXPECT_EQ(Viewer()->Shown(), today[1]);
  draw(31);
  EXPECT_EQ(Viewer()->Shown(), today[0]);
  draw(-60);
  EXPECT_EQ(Viewer()->Shown(), today[1]);
}

TEST_F(ViewerTest, CtrlAndWheelZoomAtThePointer) {
  const auto today = AddDay(0, 2);
  GiveOriginal(today[0], Quarters({2000, 1500}));
  OpenOn(today[0]);
  ASSERT_TRUE(UntilSharp());
  Settle();
  EXPECT_EQ(SliderValue(), 0);
  // From where the picture is larger than the window to both sides.
  for (int i = 0; i < 5; ++i) Wheel(Lcd(), 120, Lcd().rect().center(), Qt::ControlModifier);
  const QRect before = Lcd().PicturePlace();
  const QPoint pointer =
      before.topLeft() + QPoint(before.width() / 2, before.height() / 2) - QPoint(300, 200);
  const QPointF share(double(pointer.x() - before.x()) / before.width(),
                      double(pointer.y() - before.y()) / before.height());
  for (int i = 0; i < 2; ++i) Wheel(Lcd(), 120, pointer, Qt::ControlModifier);
  EXPECT_EQ(Viewer()->Shown(), today[0]);
  EXPECT_EQ(SliderValue(), 70);
  const QRect after = Lcd().PicturePlace();
  EXPECT_GT(after.width(), before.width());
  EXPECT_NEAR(double(pointer.x() - after.x()) / after.width(), share.x(), 0.002);
  EXPECT_NEAR(double(pointer.y() - after.y()) / after.height(), share.y(), 0.002);
  Keep("viewer-zoomed");
}

TEST_F(ViewerTest, ADoubleClickShowsPixelForPixelAndBack) {
  const auto today = AddDay(0, 1);
  GiveOriginal(today[0], Quarters({3000, 2000}));
  OpenOn(today[0]);
  ASSERT_TRUE(UntilSharp());
  Settle();
  const QPoint at = Lcd().rect().center() + QPoint(40, 20);
  DoubleClick(Lcd(), at);
  Settle();
  EXPECT_EQ(Lcd().PicturePlace().size(), QSize(3000, 2000));
  EXPECT_GT(SliderValue(), 0);
  DoubleClick(Lcd(), at);
  Settle();
  EXPECT_EQ(SliderValue(), 0);
  EXPECT_LT(Lcd().PicturePlace().width(), 1200);
}

TEST_F(ViewerTest, TheSliderZoomsAndThePictureIsMovedByDragging) {
  const auto today = AddDay(0, 2);
  GiveOriginal(today[0], Quarters({2400, 1800}));
  OpenOn(today[0]);
  ASSERT_TRUE(UntilSharp());
  QTest::mouseClick(page->FindControl(QStringLiteral("btn_expansion"))->Widget(), Qt::LeftButton);
  Settle();
  EXPECT_EQ(SliderValue(), 100);
  EXPECT_EQ(Lcd().PicturePlace().size(), QSize(4800, 3600));
  const QRect before = Lcd().PicturePlace();
  const QPoint from = Lcd().rect().center();
  QTest::mousePress(&Lcd(), Qt::LeftButton, {}, from);
  QTest::mouseMove(&Lcd(), from + QPoint(100, -50));
  QTest::mouseRelease(&Lcd(), Qt::LeftButton, {}, from + QPoint(100, -50));
  Settle();
  EXPECT_EQ(Lcd().PicturePlace(), before.translated(100, -50));
  EXPECT_EQ(Viewer()->Shown(), today[0]);
  // Never beyond its edge.
  QTest::mousePress(&Lcd(), Qt::LeftButton, {}, from);
  QTest::mouseMove(&Lcd(), from + QPoint(5000, 0));
  QTest::mouseRelease(&Lcd(), Qt::LeftButton, {}, from + QPoint(5000, 0));
  EXPECT_EQ(Lcd().PicturePlace().left(), 0);
}

TEST_F(ViewerTest, TheGridsZoomIsAsItWasAfterwards) {
  const auto today = AddDay(0, 9);
  OpenOn(today[3]);
  QTest::mouseClick(page->FindControl(QStringLiteral("btn_expansion"))->Widget(), Qt::LeftButton);
  Settle();
  Key(Qt::Key_Escape);
  EXPECT_EQ(Viewer(), nullptr);
  EXPECT_EQ(SliderValue(), 3);
  EXPECT_EQ(Find<CSliderUI>("slider_pic")->GetMaxValue(), 4);
  EXPECT_EQ(helper.CurrentView().layout->cols, 6);
  EXPECT_TRUE(IsEnabled("btn_uploadFiles"));
}

TEST_F(ViewerTest, ASmallPictureIsNotEnlarged) {
  const auto today = AddDay(0, 1);
  GiveOriginal(today[0], Quarters({200, 100}));
  OpenOn(today[0]);
  ASSERT_TRUE(UntilSharp());
  Settle();
  EXPECT_EQ(Lcd().PicturePlace().size(), QSize(200, 100));
}

TEST_F(ViewerTest, ATurnIsKeptForThisRunAndResetsTheZoom) {
  const auto today = AddDay(0, 2);
  GiveOriginal(today[0], Quarters({1200, 800}));
  OpenOn(today[0]);
  ASSERT_TRUE(UntilSharp());
  Wheel(Lcd(), 240, Lcd().rect().center(), Qt::ControlModifier);
  ASSERT_GT(SliderValue(), 0);
  Press("RotateBtn");
  ASSERT_TRUE(UntilSharp());
  Settle();
  EXPECT_EQ(SliderValue(), 0);
  EXPECT_EQ(Lcd().Rotation(), 90);
  QRect place = Lcd().PicturePlace();
  EXPECT_LT(place.width(), place.height());
  // Clockwise: what was at the bottom start is at the top start.
  EXPECT_TRUE(Looks(ColorAt(Lcd(), place.topLeft() + QPoint(20, 20)), Qt::blue));
  EXPECT_TRUE(Looks(ColorAt(Lcd(), place.topRight() + QPoint(-20, 20)), Qt::red));
  Keep("viewer-turned");
  Key(Qt::Key_Right);
  EXPECT_EQ(Lcd().Rotation(), 0);
  Key(Qt::Key_Left);
  EXPECT_EQ(Lcd().Rotation(), 90);
}

TEST_F(ViewerTest, AHeartIsSetAndTakenBack) {
  const auto today = OpenOnDayOf(2);
  EXPECT_EQ(Part("FavoriteBtn")->toolTip(), QStringLiteral("Add to favourites"));
  Press("FavoriteBtn");
  ASSERT_TRUE(Until([&] { return today[0]->IsFavorite.Get(); }));
  EXPECT_EQ(Part("FavoriteBtn")->toolTip(), QStringLiteral("Remove from favourites"));
  Key(Qt::Key_F);
  ASSERT_TRUE(Until([&] { return !today[0]->IsFavorite; }));
  EXPECT_EQ(Row("d0-0")->IsFavorite, false);
}

TEST_F(ViewerTest, AHeartIsToldWithTheWayBack) {
  const auto today = OpenOnDayOf(2);
  const auto said = [this](const char* key) {
    const auto* toast = Said();
    const auto words = CResourceManager::GetText(QString::fromLatin1(key));
    return toast && std::ranges::any_of(toast->findChildren<QLabel*>(),
                                        [&](const QLabel* label) { return label->text() == words; });
  };
  Press("FavoriteBtn");
  EXPECT_TRUE(said("IDS_VIEWER_FAVORITE_ADDED"));
  ASSERT_TRUE(Until([&] { return today[0]->IsFavorite == 1; }));
  // Also when another picture is shown by then.
  Viewer()->CalMouseWheelIndex(-120);
  Settle();
  ASSERT_NE(Said(), nullptr);
  auto* undo = Said()->findChild<QPushButton*>();
  ASSERT_NE(undo, nullptr);
  QTest::mouseClick(undo, Qt::LeftButton);
  EXPECT_TRUE(Until([&] { return today[0]->IsFavorite == 0; }));
  EXPECT_NE(today[1]->IsFavorite, 1);
  Viewer()->CalMouseWheelIndex(120);
  Press("FavoriteBtn");
  Settle();
  Press("FavoriteBtn");
  EXPECT_TRUE(said("IDS_VIEWER_FAVORITE_REMOVED"));
}

TEST_F(ViewerTest, AHeartThatIsPressedTwiceAtOnceIsAsItWas) {
  const auto today = OpenOnDayOf(1);
  OperationLog log;
  // No worker comes to the row in between.
  // Shared, since workers may be on their way out of the wait when the test ends.
  const auto begun = std::make_shared<std::latch>(32), go = std::make_shared<std::latch>(1);
  for (int i = 0; i < 32; ++i)
    ASSERT_TRUE(CommonAbility::DriveThreadPool::GetInstance().Add([begun, go] {
      begun->count_down();
      go->wait();
    }));
  begun->wait();
  for (int i = 0; i < 4; ++i) {
    QTest::keyClick(Viewer(), Qt::Key_F);
    EXPECT_EQ(log.Of(173).back().find("\"Isfavorite\":\"true\"") != std::string::npos, i % 2 == 0) << i;
  }
  const auto tip = [&] { return Part("FavoriteBtn")->toolTip(); };
  EXPECT_EQ(tip(), CResourceManager::GetText(QStringLiteral("IDS_GALLERT_LCD_FAVORITE")));
  QTest::keyClick(Viewer(), Qt::Key_F);
  go->count_down();
  ASSERT_TRUE(Until([&] { return today[0]->IsFavorite.Get(); }));
  Settle();
  EXPECT_TRUE(today[0]->IsFavorite);
  EXPECT_EQ(tip(), CResourceManager::GetText(QStringLiteral("IDS_GALLERT_LCD_UNFAVORITE")));
}

TEST_F(ViewerTest, LeavingPutsTheGridOnThePicture) {
  const auto first = AddDay(0, 9).front();
  FilePtr last;
  for (int day = 1; day < 30; ++day) last = AddDay(day, 9).back();
  OpenOn(first);
  Key(Qt::Key_End);
  EXPECT_EQ(Viewer()->Shown(), last);
  Press("Backbtn");
  EXPECT_EQ(Viewer(), nullptr);
  auto* cell = Cell(last);
  ASSERT_NE(cell, nullptr);
  const QRect place(cell->mapTo(&List(), QPoint(0, 0)), cell->size());
  EXPECT_TRUE(List().rect().contains(place));
  EXPECT_EQ(Selected(), (std::set{last}));
  EXPECT_TRUE(IsEnabled("btn_download"));
}

TEST_F(ViewerTest, AnotherAlbumClosesIt) {
  const auto today = OpenOnDayOf(2);
  page->Panel()->SelectAlbum(SystemAlbumId(AlbumKind::Favorite));
  Settle();
  EXPECT_EQ(Viewer(), nullptr);
}

TEST_F(ViewerTest, TheEnterKeyOpensThePictureWithTheRing) {
  const auto today = AddDay(0, 3);
  Open();
  ASSERT_TRUE(UntilPictures());
  List().setFocus();
  QTest::keyClick(&List(), Qt::Key_Right);
  QTest::keyClick(&List(), Qt::Key_Right);
  QTest::keyClick(&List(), Qt::Key_Return);
  ASSERT_NE(Viewer(), nullptr);
  EXPECT_EQ(Viewer()->Shown(), today[1]);
}

TEST_F(ViewerTest, NothingOpensInTheBin) {
  const auto today = AddDay(0, 2);
  ASSERT_EQ(gallery.RecycleFiles({today[0]}, false), 1u);
  Open();
  page->Panel()->SelectAlbum(kRecycleAlbumId);
  ASSERT_TRUE(Until([&] { return IsShown("del_VirList"); }));
  ASSERT_TRUE(UntilPictures());
  auto* cell = Cell(today[0]);
  ASSERT_NE(cell, nullptr);
  DoubleClick(*cell, cell->rect().center());
  EXPECT_EQ(Viewer(), nullptr);
}

// --- While the album changes

TEST_F(ViewerTest, DeletingTheShownPictureShowsTheNext) {
  const auto today = AddDay(0, 4);
  OpenOn(today[1]);
  ASSERT_EQ(gallery.RecycleFiles({today[1]}, true), 1u);
  ASSERT_TRUE(Until([&] { return Viewer() && Viewer()->Shown() == today[2]; }));
  EXPECT_TRUE(HasPart("rightBtn"));
  // The last one: the one before it.
  Key(Qt::Key_End);
  ASSERT_EQ(Viewer()->Shown(), today[3]);
  ASSERT_EQ(gallery.RecycleFiles({today[3]}, true), 1u);
  ASSERT_TRUE(Until([&] { return Viewer() && Viewer()->Shown() == today[2]; }));
  EXPECT_FALSE(HasPart("rightBtn"));
}

TEST_F(ViewerTest, DeletingTheLastPictureOfTheAlbumClosesIt) {
  const auto today = OpenOnDayOf(1);
  ASSERT_EQ(gallery.RecycleFiles({today[0]}, true), 1u);
  ASSERT_TRUE(Until([&] { return Viewer() == nullptr; }));
  ASSERT_TRUE(Until([&] { return IsShown("empty_page"); }));
  EXPECT_EQ(SliderValue(), 3);
}

TEST_F(ViewerTest, TheDeleteKeyAsksForTheShownPicture) {
  const auto today = OpenOnDayOf(3);
  Key(Qt::Key_Right);
  // The question is answered from inside its own event loop, whenever that comes.
  QTimer answer;
  QObject::connect(&answer, &QTimer::timeout, [] {
    QWidget* focus = QApplication::focusWidget();
    if (focus && focus->objectName() == QStringLiteral("btn_ok")) QTest::keyClick(focus, Qt::Key_Return);
  });
  answer.start(0);
  Key(Qt::Key_Delete);
  ASSERT_TRUE(Until([&] { return today[1]->IsInBin(); }));
  EXPECT_FALSE(today[0]->IsInBin());
  ASSERT_TRUE(Until([&] { return Viewer() && Viewer()->Shown() == today[2]; }));
}

TEST_F(ViewerTest, AHeldDeleteKeyAsksOnce) {
  const auto today = OpenOnDayOf(2);
  int asked = 0;
  QTimer answer;
  QObject::connect(&answer, &QTimer::timeout, [&] {
    for (QWidget* widget : frame->findChildren<QWidget*>()) {
      auto* question = dynamic_cast<DeletePicWnd*>(widget);
      if (!question || !question->isVisible()) continue;
      ++asked;
      question->Close(IDCANCEL);
    }
  });
  answer.start(0);
  for (int i = 0; i < 3; ++i) QTest::keyClick(Viewer(), Qt::Key_Delete);
  ASSERT_TRUE(Until([&] { return asked > 0; }));
  Settle();
  EXPECT_EQ(asked, 1);
  EXPECT_FALSE(today[0]->IsInBin());
}

TEST_F(ViewerTest, AReloadInTheMiddleOfAZoomKeepsIt) {
  const auto today = AddDay(0, 3);
  GiveOriginal(today[1], Quarters({2000, 1500}));
  OpenOn(today[1]);
  ASSERT_TRUE(UntilSharp());
  Wheel(Lcd(), 360, {300, 300}, Qt::ControlModifier);
  const QRect place = Lcd().PicturePlace();
  const int value = SliderValue();
  ASSERT_GT(value, 0);
  Add({CloudFile("new", "default-album-1", (kToday + kDay) * 1000)});
  ASSERT_TRUE(Until([&] { return helper.CurrentView().files.size() == 4; }));
  Settle();
  EXPECT_EQ(Viewer()->Shown(), today[1]);
  EXPECT_EQ(Lcd().PicturePlace(), place);
  EXPECT_EQ(SliderValue(), value);
  EXPECT_FALSE(IsEnabled("btn_multiSelect"));
}

TEST_F(ViewerTest, AnOriginalThatVanishedIsShownFromTheCache) {
  const auto today = AddDay(0, 2);
  GiveOriginal(today[0], Plain({1000, 800}, Qt::red));
  const QString cached = Page::NativeText(today[0]->LcdName());
  QDir().mkpath(QFileInfo(cached).path());
  ASSERT_TRUE(Plain({1000, 800}, Qt::blue).save(cached, "JPG", 95));
  Open();
  ASSERT_TRUE(UntilPictures());
  ASSERT_TRUE(QFile::remove(Page::NativeText(today[0]->LocalPath())));
  OpenViewer(today[0]);
  ASSERT_TRUE(UntilSharp());
  Settle();
  EXPECT_TRUE(Looks(ColorAt(Lcd(), Lcd().rect().center()), Qt::blue));
}

TEST_F(ViewerTest, ALostOriginalKeepsThePlaceholderAndNoRing) {
  const auto today = AddDay(0, 2);
  today[0]->SetLocalPath((folder / "gone.jpg").wstring());
  OpenOn(today[0]);
  ASSERT_TRUE(
      Until([&] { return LcdPictures::GetInstance().HasFailed(today[0]) || !Viewer()->IsLoading(); }));
  Settle();
  EXPECT_FALSE(Viewer()->IsLoading());
  const QImage shown = Lcd().grab().toImage();
  EXPECT_NE(shown.pixelColor(shown.rect().center()), shown.pixelColor(1, 1));
}

TEST_F(ViewerTest, AReportOfAnotherFileIsIgnored) {
  const auto today = OpenOnDayOf(2);
  LcdPictures::GetInstance().WaitIdle();
  Settle();
  const auto send = [&](UINT message, const FilePtr& file, LPARAM value) {
    (void)platform::SendMessageW(Viewer()->GetHWND(), message, reinterpret_cast<WPARAM>(file.get()), value);
  };
  send(WM_GALLERY_LCD_PROGRESS, today[1], 40);
  EXPECT_FALSE(Viewer()->IsLoading());
  send(WM_GALLERY_LCD_PROGRESS, today[0], 40);
  EXPECT_TRUE(Viewer()->IsLoading());
  (void)platform::SendMessageW(Viewer()->GetHWND(), WM_GALLERY_LCD_LOADED, 0,
                               reinterpret_cast<LPARAM>(today[1].get()));
  EXPECT_TRUE(Viewer()->IsLoading());
  (void)platform::SendMessageW(Viewer()->GetHWND(), WM_GALLERY_LCD_LOADED, 0,
                               reinterpret_cast<LPARAM>(today[0].get()));
  EXPECT_FALSE(Viewer()->IsLoading());
}

// --- Details

TEST_F(ViewerTest, DetailsTellWhatTheRecordKnowsInTextsThatCanBeSelected) {
  const auto today = AddDay(0, 2);
  PictureMetadata metadata;
  metadata.width = 4000;
  metadata.height = 3000;
  metadata.cameraMaker = "Maker";
  metadata.cameraModel = "M 1";
  metadata.lens = "Lens 35";
  metadata.aperture = 2.8F;
  metadata.maxApertureValue = 4;  // EXIF's table: an APEX value of 4 is f/4
  metadata.exposureTime = 0.008F;
  metadata.isoSpeed = 400;
  metadata.focalLength = 35;
  metadata.exposureMode = "aperture priority";
  metadata.position = "Lisbon";
  today[0]->SetPictureMetadata(CompactJson(metadata.ToJson()));
  today[0]->Size = 3 * 1024 * 1024 + 512 * 1024;
  OpenOn(today[0]);
  Press("AttributeBtn");
  const auto* pane = Viewer()->Attributes();
  ASSERT_NE(pane, nullptr);
  Keep("viewer-details");
  const auto value = [&](const char* key) { return pane->ValueOf(QString::fromLatin1(key)); };
  EXPECT_EQ(value("IDS_GALLERT_LCD_ATTR_Name"), QStringLiteral("d0-0.jpg"));
  EXPECT_EQ(value("IDS_GALLERT_LCD_ATTR_Format"), QStringLiteral("JPG"));
  EXPECT_EQ(value("IDS_GALLERT_LCD_ATTR_Size"), QStringLiteral("3.5 MB"));
  EXPECT_EQ(value("IDS_GALLERT_LCD_ATTR_Resolution"), QStringLiteral("4000 x 3000"));
  EXPECT_EQ(value("IDS_VIEWER_ATTR_CAMERA"), QStringLiteral("Maker M 1"));
  EXPECT_EQ(value("IDS_VIEWER_ATTR_LENS"), QStringLiteral("Lens 35"));
  EXPECT_EQ(value("IDS_VIEWER_ATTR_APERTURE"), QStringLiteral("f/2.8"));
  EXPECT_EQ(value("IDS_VIEWER_ATTR_MAX_APERTURE"), QStringLiteral("f/4"));
  EXPECT_EQ(value("IDS_VIEWER_ATTR_EXPOSURE_TIME"), QStringLiteral("1/125 s"));
  EXPECT_EQ(value("IDS_VIEWER_ATTR_ISO"), QStringLiteral("400"));
  EXPECT_EQ(value("IDS_VIEWER_ATTR_FOCAL_LENGTH"), QStringLiteral("35 mm"));
  EXPECT_EQ(value("IDS_VIEWER_ATTR_PROGRAM"), QStringLiteral("Aperture priority"));
  EXPECT_EQ(value("IDS_VIEWER_ATTR_PLACE"), QStringLiteral("Lisbon"));
  EXPECT_EQ(value("IDS_VIEWER_ATTR_CLOUD"), QStringLiteral("Uploaded"));
  for (const auto* text : pane->findChildren<SelectableText*>())
    EXPECT_TRUE(text->textInteractionFlags() & Qt::TextSelectableByMouse) << text->objectName().toStdString();
  // They follow, and go.
  today[1]->Size = 2048;
  Viewer()->setFocus();
  Key(Qt::Key_Right);
  EXPECT_EQ(value("IDS_GALLERT_LCD_ATTR_Name"), QStringLiteral("d0-1.jpg"));
  EXPECT_EQ(value("IDS_GALLERT_LCD_ATTR_Size"), QStringLiteral("2 kB"));
  Press("AttributeBtn");
  EXPECT_EQ(Viewer()->Attributes(), nullptr);
  EXPECT_FALSE(Viewer()->Find<CButtonUI>(QStringLiteral("AttributeBtn"))->IsSelected());
}

// --- Full screen

TEST_F(ViewerTest, FullScreenCoversTheWindowAndGivesPictureAndTurnBack) {
  const auto today = OpenOnDayOf(3);
  Press("FullScreenBtn");
  ASSERT_NE(Full(), nullptr);
  EXPECT_EQ(Full()->geometry(), frame->rect());
  EXPECT_EQ(Full()->Shown(), today[0]);
  Key(Qt::Key_Right);
  EXPECT_EQ(Full()->Shown(), today[1]);
  EXPECT_EQ(Viewer()->Shown(), today[0]);
  QTest::mouseClick(Full()->FindControl(QStringLiteral("RotateBtn"))->Widget(), Qt::LeftButton);
  QTest::mouseClick(Full()->FindControl(QStringLiteral("RotateBtn"))->Widget(), Qt::LeftButton);
  Settle();
  Keep("fullscreen");
  Full()->setFocus();
  Key(Qt::Key_Escape);
  EXPECT_EQ(Full(), nullptr);
  ASSERT_NE(Viewer(), nullptr);
  EXPECT_EQ(Viewer()->Shown(), today[1]);
  EXPECT_EQ(Lcd().Rotation(), 180);
}

TEST_F(ViewerTest, TheBarsOfTheFullScreenGoUntilThePointerMoves) {
  const auto today = OpenOnDayOf(3);
  Press("FullScreenBtn");
  ASSERT_NE(Full(), nullptr);
  const auto bar = [&] { return Full()->FindControl(QStringLiteral("ConHeight"))->Widget()->isVisible(); };
  QTest::mouseMove(Full()->Lcd(), {400, 400});
  EXPECT_TRUE(bar());
  ASSERT_NE(Full()->ClockId(), 0);
  QTimerEvent passed(Full()->ClockId());
  QApplication::sendEvent(Full(), &passed);
  EXPECT_FALSE(bar());
  EXPECT_FALSE(Full()->FindControl(QStringLiteral("rightBtn"))->Widget()->isVisible());
  EXPECT_EQ(Full()->Lcd()->cursor().shape(), Qt::BlankCursor);
  Key(Qt::Key_Right);  // Walking on does not bring them back.
  EXPECT_EQ(Full()->Shown(), today[1]);
  EXPECT_FALSE(bar());
  QTest::mouseMove(Full()->Lcd(), {420, 410});
  EXPECT_TRUE(bar());
}

TEST_F(ViewerTest, DeletingInTheFullScreenShowsTheNextThere) {
  const auto today = OpenOnDayOf(2);
  Press("FullScreenBtn");
  ASSERT_EQ(gallery.RecycleFiles({today[0]}, true), 1u);
  ASSERT_TRUE(Until([&] { return Full() && Full()->Shown() == today[1]; }));
  ASSERT_EQ(gallery.RecycleFiles({today[1]}, true), 1u);
  ASSERT_TRUE(Until([&] { return Viewer() == nullptr; }));
  EXPECT_FALSE(platform::IsWindow(GlobalData::fullWnd));
}

// --- Bursts

class BurstViewerTest : public ViewerTest {
 protected:
  // A burst of `count` shots with its cover first, between two other pictures.
  Files AddBurst(int count) {
    Files files;
    for (int i = 1; i <= count; ++i) {
      auto file = CloudFile("burst" + std::to_string(i), "default-album-1", (kToday + 1000) * 1000);
      char name[64];
      std::snprintf(name, sizeof name, "IMG_BURST%03d%s.jpg", i, i == 1 ? "_COVER" : "");
      file->SetFileName(std::wstring(name, name + std::strlen(name)));
      (void)file->ParseBurstName();
      WriteThumbnail(*file, {320, 240});
      files.push_back(file);
    }
    Add(files);
    return files;
  }
};

TEST_F(BurstViewerTest, TheStripShowsShotsThatTheGridNeverShowed) {
  const auto shots = AddBurst(3);
  OpenOn(shots[0]);
  Press("BurstCover");
  auto* strip = dynamic_cast<BurstStripUI*>(Part("burst_strip"));
  ASSERT_NE(strip, nullptr);
  const QColor empty = CControlUI::ColorOf(QStringLiteral("skeleton"));
  EXPECT_TRUE(
      Until([&] { return strip->grab().toImage().pixelColor(strip->MemberRect(2).center()) != empty; }));
}

TEST_F(BurstViewerTest, TheChipOpensTheShotsAndBackLeavesThem) {
  const auto other = AddDay(0, 2);
  const auto shots = AddBurst(4);
  Open();
  ASSERT_TRUE(UntilPictures());
  ASSERT_EQ(helper.CurrentView().files.size(), 3u);
  OpenViewer(shots[0]);
  EXPECT_FALSE(HasPart("burst_strip"));
  EXPECT_EQ(Viewer()->FindControl(QStringLiteral("BurstCover"))->GetText(), QStringLiteral("4 shots"));
  Press("BurstCover");
  EXPECT_TRUE(Viewer()->IsBurst());
  EXPECT_EQ(Viewer()->Shown(), shots[0]);
  EXPECT_TRUE(HasPart("burst_strip"));
  EXPECT_EQ(Part("BurstCoverV")->height(), 65);
  EXPECT_EQ(Viewer()->FindControl(QStringLiteral("BurstCover"))->GetText(), QStringLiteral("1 of 4"));
  EXPECT_FALSE(IsEnabled("btn_delete"));
  EXPECT_FALSE(IsEnabled("btn_move"));
  EXPECT_TRUE(IsEnabled("btn_download"));
  auto* strip = dynamic_cast<BurstStripUI*>(Part("burst_strip"));
  QTest::mouseClick(strip, Qt::LeftButton, {}, strip->MemberRect(2).center());
  Settle();
  EXPECT_EQ(Viewer()->Shown(), shots[2]);
  Keep("viewer-burst");
  Key(Qt::Key_Right);
  EXPECT_EQ(Viewer()->Shown(), shots[3]);
  EXPECT_FALSE(HasPart("rightBtn"));
  Key(Qt::Key_Escape);
  ASSERT_NE(Viewer(), nullptr);
  EXPECT_FALSE(Viewer()->IsBurst());
  EXPECT_EQ(Viewer()->Shown(), shots[0]);
  EXPECT_TRUE(IsEnabled("btn_delete"));
}

TEST_F(BurstViewerTest, ABurstWithOneShotLeftIsAnOrdinaryPicture) {
  AddDay(0, 2);
  const auto shots = AddBurst(2);
  OpenOn(shots[0]);
  Press("BurstCover");
  ASSERT_TRUE(Viewer()->IsBurst());
  ASSERT_TRUE(shots[0]->RemoveMember(shots[1]));
  ReloadAlbum();
  ASSERT_NE(Viewer(), nullptr);
  EXPECT_FALSE(Viewer()->IsBurst());
  EXPECT_EQ(Viewer()->Shown(), shots[0]);
  EXPECT_FALSE(HasPart("BurstCover"));
  EXPECT_FALSE(HasPart("burst_strip"));
}

TEST_F(BurstViewerTest, ABurstThatGoesWhileItIsLookedAtShowsTheNextPicture) {
  const auto other = AddDay(0, 2);
  const auto shots = AddBurst(3);
  OpenOn(shots[0]);
  Press("BurstCover");
  Press("FullScreenBtn");
  ASSERT_NE(Full(), nullptr);
  ASSERT_GT(gallery.RecycleFiles({shots[0]}, true), 0u);
  ASSERT_TRUE(Until([&] { return Viewer() && !Full() && !Viewer()->IsBurst(); }));
  EXPECT_EQ(Viewer()->Shown(), other[1]);  // It stood last: the one before it.
}

TEST_F(BurstViewerTest, AShotThatTheDesktopNamesIsShownAmongTheShots) {
  AddDay(0, 2);
  const auto shots = AddBurst(4);
  shots[2]->SetLocalPath(L"/pictures/third.jpg");
  Open();
  ASSERT_TRUE(UntilPictures());
  (void)platform::SendMessageW(page->GetHWND(), WM_HOME_GALLERY_DBLCLICK, 0,
                               reinterpret_cast<LPARAM>(new std::wstring(L"/pictures/third.jpg")));
  ASSERT_TRUE(Until([this] { return Viewer() != nullptr; }));
  Settle();
  EXPECT_TRUE(Viewer()->IsBurst());
  EXPECT_EQ(Viewer()->Shown(), shots[2]);
  EXPECT_EQ(Viewer()->FindControl(QStringLiteral("BurstCover"))->GetText(), QStringLiteral("3 of 4"));
  EXPECT_EQ(Selected(), (std::set{shots[0]}));
}

TEST_F(ViewerTest, AFilmShowsItsStillWithAPlayButtonAndDoesNotZoom) {
  const auto today = AddDay(0, 2);
  today[0]->SavedFileType = 4;
  today[0]->SetFileName(L"film.mp4");
  OpenOn(today[0]);
  EXPECT_TRUE(HasPart("playBtn"));
  EXPECT_FALSE(HasPart("bottomCon"));
  EXPECT_FALSE(IsEnabled("slider_pic"));
  Wheel(Lcd(), 120, Lcd().rect().center(), Qt::ControlModifier);
  EXPECT_EQ(Lcd().Zoom(), 0);
  EXPECT_FALSE(Part("RotateBtn")->isEnabled());  // The film itself would not turn.
  Key(Qt::Key_Right);
  EXPECT_FALSE(HasPart("playBtn"));
  EXPECT_TRUE(IsEnabled("slider_pic"));
  EXPECT_TRUE(Part("RotateBtn")->isEnabled());
}

TEST_F(ViewerTest, DigitsOfTheDetailsAreThoseOfTheLanguage) {
  const auto today = AddDay(0, 2);
  PictureMetadata metadata;
  metadata.width = 4032;
  metadata.height = 3024;
  metadata.isoSpeed = 1600;
  metadata.subjectDistance = 12;
  today[0]->SetPictureMetadata(CompactJson(metadata.ToJson()));
  VideoMetadata video;
  video.width = 1920;
  video.height = 1080;
  video.durationTime = 75;
  today[1]->SavedFileType = 4;
  today[1]->SetVideoMetadata(CompactJson(video.ToJson()));
  OpenOn(today[0]);
  Press("AttributeBtn");
  const auto value = [&](const char* key) {
    return Viewer()->Attributes()->ValueOf(QString::fromLatin1(key));
  };
  CResourceManager::GetInstance().SetLanguage(QStringLiteral("ar"));
  Settle();
  // The width at the left, whatever stands around it.
  EXPECT_EQ(value("IDS_GALLERT_LCD_ATTR_Resolution"), QStringLiteral("\u2066٤٠٣٢ x ٣٠٢٤\u2069"));
  EXPECT_EQ(value("IDS_VIEWER_ATTR_ISO"), QStringLiteral("١٦٠٠"));
  EXPECT_TRUE(value("IDS_VIEWER_ATTR_DISTANCE").contains(QStringLiteral("١٢")));
  Keep("viewer-details-ar");
  auto* resolution =
      Viewer()->Attributes()->findChild<QTextEdit*>(QStringLiteral("IDS_GALLERT_LCD_ATTR_Resolution"));
  ASSERT_NE(resolution, nullptr);
  const auto placeOf = [resolution](int character) {
    QTextCursor cursor(resolution->document());
    cursor.setPosition(character);
    return resolution->cursorRect(cursor).x();
  };
  const QString shown = resolution->toPlainText();
  EXPECT_LT(placeOf(static_cast<int>(shown.indexOf(QStringLiteral("٤")))),
            placeOf(static_cast<int>(shown.indexOf(QStringLiteral(" x ")) + 3)));
  Viewer()->CalMouseWheelIndex(-120);
  EXPECT_EQ(value("IDS_GALLERT_LCD_ATTR_Resolution"), QStringLiteral("\u2066١٩٢٠ x ١٠٨٠\u2069"));
  EXPECT_EQ(value("IDS_VIEWER_ATTR_DURATION"), QStringLiteral("٠٠:٠١:١٥"));
  CResourceManager::GetInstance().SetLanguage(QStringLiteral("en-GB"));
}

TEST_F(ViewerTest, LabelsOfTheDetailsStandWhereTheLineBegins) {
  const auto today = AddDay(0, 1);
  PictureMetadata metadata;
  metadata.isoSpeed = 100;
  today[0]->SetPictureMetadata(CompactJson(metadata.ToJson()));
  OpenOn(today[0]);
  Press("AttributeBtn");
  for (const char* language : {"en-GB", "ar"}) {
    CResourceManager::GetInstance().SetLanguage(QString::fromLatin1(language));
    Settle();
    for (auto* label : Viewer()->Attributes()->findChildren<QLabel*>()) {
      if (label->text() != QStringLiteral("ISO")) continue;  // Latin letters in every language
      const QImage painted = label->grab().toImage();
      const QColor ground = painted.pixelColor(painted.width() / 2, 0);
      const auto hasInk = [&](int from, int to) {
        for (int x = from; x < to; ++x)
          for (int y = 0; y < painted.height(); ++y)
            if (!Looks(painted.pixelColor(x, y), ground, 40)) return true;
        return false;
      };
      const bool mirrored = CResourceManager::IsRightToLeft();
      EXPECT_EQ(hasInk(0, painted.width() / 2), !mirrored) << language;
      EXPECT_EQ(hasInk(painted.width() / 2, painted.width()), mirrored) << language;
    }
  }
  CResourceManager::GetInstance().SetLanguage(QStringLiteral("en-GB"));
}

TEST_F(BurstViewerTest, WhatIsDoneIsWrittenToTheOperationLog) {
  const auto shots = AddBurst(3);
  Open();
  ASSERT_TRUE(UntilPictures());
  OperationLog log;
  const auto last = [&log] {
    const auto lines = log.Of(173);
    return lines.empty() ? std::string() : lines.back();
  };
  const auto key = [](const char* name) { return std::string("\"key\":\"halcyra_gallery_") + name + '"'; };
  OpenViewer(shots[0]);
  Press("RotateBtn");
  EXPECT_THAT(last(), testing::HasSubstr(key("rotate")));
  Press("FavoriteBtn");
  EXPECT_THAT(last(), testing::HasSubstr(key("setfavorite")));
  EXPECT_THAT(last(), testing::HasSubstr("\"size\":\"" + std::to_string(shots[0]->Size.Get()) + '"'));
  Press("AttributeBtn");
  EXPECT_THAT(last(), testing::HasSubstr(key("showprompt")));
  Press("BurstCover");
  EXPECT_THAT(last(), testing::HasSubstr(key("burst")));
  Press("Backbtn");
  EXPECT_THAT(last(), testing::HasSubstr(key("burstback")));
  EXPECT_EQ(Viewer()->Shown(), shots[0]);
  Press("Backbtn");
  EXPECT_THAT(last(), testing::HasSubstr(key("detailback")));
  EXPECT_EQ(Viewer(), nullptr);
}

TEST_F(ViewerTest, TheHostClosesTheWindowOnTop) {
  const auto today = OpenOnDayOf(2);
  (void)platform::SendMessageW(Viewer()->GetHWND(), WM_GALLERY_FULL_OPEN, 0, 0);
  ASSERT_NE(Full(), nullptr);
  Full()->CalMouseWheelIndex(-120);
  (void)platform::SendMessageW(page->GetHWND(), WM_GALLERY_VIEWER_CLOSE_TOP, 0, 0);
  EXPECT_EQ(Full(), nullptr);
  ASSERT_NE(Viewer(), nullptr);
  EXPECT_EQ(Viewer()->Shown(), today[1]);
  (void)platform::SendMessageW(page->GetHWND(), WM_GALLERY_VIEWER_CLOSE_TOP, 0, 0);
  EXPECT_EQ(Viewer(), nullptr);
  Settle();
  EXPECT_EQ(Selected(), (std::set{today[1]}));
}

TEST_F(ViewerTest, OtherResolutionIsTakenWhileItIsOpen) {
  const auto today = OpenOnDayOf(2);
  Press("FullScreenBtn");
  (void)platform::SendMessageW(page->GetHWND(), WM_GALLERY_DPI, 144, 0);
  Settle();
  EXPECT_EQ(Viewer()->Manager().GetDPI(), 144);
  EXPECT_EQ(Full()->Manager().GetDPI(), 144);
  EXPECT_EQ(Part("Backbtn")->width(), 54);
}

}  // namespace
