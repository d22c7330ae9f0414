// What the viewer decodes: colours, orientations, moving pictures, large ones.

#include <QColorSpace>
#include <QImageReader>

#include "common/platform/files.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/theme.h"
#include "tests/support/picturefiles.h"
#include "ui/viewer/mappedpixels.h"
#include "viewertest.h"

namespace {

// Three frames of 4 x 4 pixels, red for 120 ms, blue for none and green for 300 ms, for
// ever.
constexpr char kMoving[] =
    "\x47\x49\x46\x38\x39\x61\x04\x00\x04\x00\x91\x00\x00\xff\x00\x00\x00\x00\xff\x00\xff\x00\xff\xff\xff\x21"
    "\xff\x0b"
    "\x4e\x45\x54\x53\x43\x41\x50\x45\x32\x2e\x30\x03\x01\x00\x00\x00\x21\xf9\x04\x04\x0c\x00\x00\x00\x2c\x00"
    "\x00\x00"
    "\x00\x04\x00\x04\x00\x00\x02\x0d\x04\x41\x10\x04\x41\x10\x04\x41\x10\x04\x41\x10\x05\x00\x21\xf9\x04\x04"
    "\x00\x00"
    "\x00\x00\x2c\x00\x00\x00\x00\x04\x00\x04\x00\x00\x02\x0d\x0c\xc3\x30\x0c\xc3\x30\x0c\xc3\x30\x0c\xc3\x30"
    "\x05\x00"
    "\x21\xf9\x04\x04\x1e\x00\x00\x00\x2c\x00\x00\x00\x00\x04\x00\x04\x00\x00\x02\x0d\x14\x45\x51\x14\x45\x51"
    "\x14\x45"
    "\x51\x14\x45\x51\x05\x00\x3b";

class ViewerPictures : public ViewerTest {
 protected:
  std::wstring Write(const char* name, const std::string& bytes) {
    const auto path = folder / name;
    EXPECT_FALSE(platform::ReplaceAtomically(path, bytes));
    return path.wstring();
  }
  std::wstring Cache() { return (folder / "decoded").wstring() + L"/"; }
  // Files left in the folder of decoded pixels.
  std::size_t LeftOvers() {
    return static_cast<std::size_t>(
        QDir(QString::fromStdWString(Cache())).entryList(QDir::Files | QDir::Hidden).size());
  }
  void SetUp() override {
    ViewerTest::SetUp();
    CResourceManager::GetInstance().SetLanguage(QStringLiteral("en-GB"));
  }
  void TearDown() override {
    ViewerTest::TearDown();
    CResourceManager::GetInstance().SetLanguage(QStringLiteral("en-GB"));
    Theme::Instance().SetMode(ThemeMode::System);
  }
};

TEST_F(ViewerPictures, ColoursAreThoseOfTheEmbeddedProfile) {
  // The profile of a device whose red light is green and the other way round.
  const QColorSpace swapped(QPointF(0.3127, 0.3290), QPointF(0.30, 0.60), QPointF(0.64, 0.33),
                            QPointF(0.15, 0.06), QColorSpace::TransferFunction::SRgb);
  ASSERT_TRUE(swapped.isValid());
  QImage red = Plain({1400, 1000}, Qt::red);
  red.setColorSpace(swapped);
  const auto today = AddDay(0, 1);
  GiveOriginal(today[0], red);
  OpenOn(today[0]);
  ASSERT_TRUE(UntilSharp());
  Settle();
  EXPECT_TRUE(Looks(ColorAt(Lcd(), Lcd().rect().center()), QColor(0, 255, 0)))
      << ColorAt(Lcd(), Lcd().rect().center()).name().toStdString();
  // And the tiles of the original, which come another way.
  Lcd().ActualSize();
  ASSERT_TRUE(Until([&] {
    (void)Lcd().grab();
    const auto [there, all] = Lcd().TilesInSight();
    return all > 0 && there == all;
  }));
  EXPECT_TRUE(Looks(ColorAt(Lcd(), Lcd().rect().center()), QColor(0, 255, 0)));
}

TEST_F(ViewerPictures, EveryOrientationStandsUprightOnce) {
  // Where the corner that lies at the top left is seen, by EXIF's own table.
  struct Corner {
    bool right, bottom;
  };
  constexpr Corner kCorners[] = {{false, false}, {true, false}, {true, true}, {false, true},
                                 {false, false}, {true, false}, {true, true}, {false, true}};
  for (unsigned orientation = 1; orientation <= 8; ++orientation) {
    const auto [right, bottom] = kCorners[orientation - 1];
    const auto path = Write("turned.jpg", JpegWith(Exif({ShortTag(274, orientation)}), 640, 480));
    const QSize size = orientation >= 5 ? QSize(480, 640) : QSize(640, 480);
    const auto isRedAt = [&](const QImage& image) {
      const QPoint at(image.width() * (right ? 3 : 1) / 4, image.height() * (bottom ? 3 : 1) / 4);
      const QPoint opposite(image.width() * (right ? 1 : 3) / 4, image.height() * (bottom ? 1 : 3) / 4);
      return Looks(image.pixelColor(at), Qt::red, 40) && Looks(image.pixelColor(opposite), Qt::black, 40);
    };
    const auto whole = MappedPixels::Decode(path, Cache());
    ASSERT_NE(whole, nullptr) << orientation;
    EXPECT_EQ(whole->Size(), size) << orientation;
    const QImage read = whole->Read(QRect(QPoint(0, 0), size), 0);
    EXPECT_EQ(read.size(), size) << orientation;
    EXPECT_TRUE(isRedAt(read)) << orientation;
    const QImage small = whole->Read(QRect(QPoint(0, 0), size), 2);
    EXPECT_EQ(small.size(), size / 4) << orientation;
    EXPECT_TRUE(isRedAt(small)) << orientation;
    // A part of it: the quarter with the corner is red all over.
    const QRect quarter(right ? size.width() / 2 : 0, bottom ? size.height() / 2 : 0, size.width() / 2,
                        size.height() / 2);
    const QImage part = whole->Read(quarter.adjusted(16, 16, -16, -16), 0);
    EXPECT_TRUE(Looks(part.pixelColor(part.rect().center()), Qt::red, 40)) << orientation;
    const QImage fitted = DecodeFitted(path, Cache(), 320);
    EXPECT_EQ(fitted.size(), size / 2) << orientation;
    EXPECT_TRUE(isRedAt(fitted)) << orientation;
  }
  EXPECT_EQ(LeftOvers(), 0u);
}

TEST_F(ViewerPictures, WhatIsNoPictureGivesNothingAndLeavesNothing) {
  const auto path = Write("noise.jpg", std::string("\xff\xd8\xff\xe0 nothing of a picture"));
  EXPECT_EQ(MappedPixels::Decode(path, Cache()), nullptr);
  EXPECT_TRUE(DecodeFitted(path, Cache(), 320).isNull());
  EXPECT_EQ(LeftOvers(), 0u);
}

TEST_F(ViewerPictures, ARawFileShowsItsPreviewUpright) {
  const auto path = Write("raw.nef", RawWithPreview(1));
  const QImage image = DecodeFitted(path, Cache(), 320);
  EXPECT_EQ(image.size(), QSize(64, 48));
}

TEST_F(ViewerPictures, AMovingPictureRunsAtItsOwnSpeedAndStopsWhenHidden) {
  const auto today = AddDay(0, 2);
  today[0]->SetFileName(L"moving.gif");
  today[0]->SetLocalPath(Write("moving.gif", std::string(kMoving, sizeof kMoving - 1)));
  OpenOn(today[0]);
  ASSERT_TRUE(Until([&] { return HasPart("DouThumLCDgif"); }));
  EXPECT_FALSE(HasPart("DouThumLCDH"));
  EXPECT_FALSE(IsEnabled("slider_pic"));
  const auto frames = Lcd().Picture().frames;
  ASSERT_EQ(frames->FrameCount(), 3);
  EXPECT_EQ(frames->DelayMs(0), 120);
  EXPECT_EQ(frames->DelayMs(1), 100);  // None is as good as the usual one.
  EXPECT_EQ(frames->DelayMs(2), 300);
  EXPECT_TRUE(Looks(MappedPixels::Frame(frames, 1).pixelColor(1, 1), Qt::blue));
  auto& gif = *Viewer()->Gif();
  EXPECT_TRUE(gif.IsRunning());
  ASSERT_TRUE(Until([&] { return gif.Frame() == 2; }));
  EXPECT_TRUE(Looks(ColorAt(gif, gif.rect().center()), QColor(0, 255, 0)));
  ASSERT_TRUE(Until([&] { return gif.Frame() == 0; }));  // For ever.
  page->hide();
  EXPECT_FALSE(gif.IsRunning());
  page->show();
  EXPECT_TRUE(gif.IsRunning());
  Wheel(gif, -120, gif.rect().center());
  EXPECT_EQ(Viewer()->Shown(), today[1]);
  EXPECT_FALSE(HasPart("DouThumLCDgif"));
  EXPECT_TRUE(IsEnabled("slider_pic"));
}

TEST_F(ViewerPictures, ALargePictureIsDrawnFromTilesInSight) {
  const auto today = AddDay(0, 1);
  GiveOriginal(today[0], Quarters({9000, 3000}), "JPG");
  OpenOn(today[0]);
  ASSERT_TRUE(UntilSharp());
  Settle();
  EXPECT_EQ(Lcd().TilesInSight().second, 0);  // Fitted, it needs none.
  Lcd().ActualSize();
  const auto complete = [&] {
    (void)Lcd().grab();
    const auto [there, all] = Lcd().TilesInSight();
    return all > 0 && there == all;
  };
  ASSERT_TRUE(Until(complete));
  // No more than cover the window.
  EXPECT_LE(Lcd().TilesInSight().second, (1160 / 512 + 2) * (810 / 512 + 2));
  EXPECT_LT(LcdPictures::GetInstance().Bytes(), 40 << 20);
  const QPoint middle = Lcd().rect().center();
  EXPECT_TRUE(Looks(ColorAt(Lcd(), middle + QPoint(-30, -30)), Qt::red));
  EXPECT_TRUE(Looks(ColorAt(Lcd(), middle + QPoint(30, -30)), Qt::green, 20));
  EXPECT_TRUE(Looks(ColorAt(Lcd(), middle + QPoint(-30, 30)), Qt::blue));
  EXPECT_TRUE(Looks(ColorAt(Lcd(), middle + QPoint(30, 30)), Qt::yellow));
  // Turned, and at another level.
  Key(Qt::Key_R);
  Lcd().SetZoom(45);
  ASSERT_TRUE(Until(complete));
  EXPECT_TRUE(Looks(ColorAt(Lcd(), middle + QPoint(30, -30)), Qt::red));
  EXPECT_TRUE(Looks(ColorAt(Lcd(), middle + QPoint(-30, -30)), Qt::blue));
}

TEST_F(ViewerPictures, APanoramaIsWalkedThroughWithinABound) {
  const auto today = AddDay(0, 1);
  GiveOriginal(today[0], Quarters({30000, 2000}), "JPG");
  OpenOn(today[0]);
  ASSERT_TRUE(UntilSharp());
  Settle();
  qint64 most = 0;
  const auto complete = [&] {
    (void)Lcd().grab();
    most = std::max(most, LcdPictures::GetInstance().Bytes());
    const auto [there, all] = Lcd().TilesInSight();
    return all > 0 && there == all;
  };
  Lcd().ActualSize();
  ASSERT_TRUE(Until(complete));
  EXPECT_EQ(Lcd().PicturePlace().width(), 30000);
  // From its middle to its beginning, and then to its end, two thirds of a window at a time.
  const int step = Lcd().width() * 2 / 3;
  for (const int towards : {step, -step}) {
    for (int before = INT_MAX; before != Lcd().PicturePlace().x();) {
      before = Lcd().PicturePlace().x();
      Lcd().Pan(QPointF(towards, 0));
      ASSERT_TRUE(Until(complete)) << before;
    }
    EXPECT_TRUE(Looks(ColorAt(Lcd(), {20, 20}), towards > 0 ? Qt::red : Qt::green, 20));
  }
  // All of it is 180 MB; what was passed by is let go.
  EXPECT_LT(most, 112 << 20);
  EXPECT_GT(most, 64 << 20);
  for (const double zoom : {80.0, 40.0, 60.0}) {
    Lcd().SetZoom(zoom);
    ASSERT_TRUE(Until(complete)) << zoom;
  }
  EXPECT_LT(most, 112 << 20);
}

TEST_F(ViewerPictures, NeighboursAreDecodedAhead) {
  const auto today = AddDay(0, 6);
  for (const auto& file : today) GiveOriginal(file, Quarters({1600, 1200}));
  OpenOn(today[1]);
  auto& pictures = LcdPictures::GetInstance();
  pictures.WaitIdle();
  for (const int near : {0, 1, 2, 3, 4})
    EXPECT_TRUE(pictures.Has(today[static_cast<std::size_t>(near)], Lcd().Box())) << near;
  EXPECT_FALSE(pictures.Has(today[5], Lcd().Box()));
  // The next one is there in the same frame.
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_Right);
  EXPECT_TRUE(Looks(ColorAt(Lcd(), Lcd().PicturePlace().topLeft() + QPoint(30, 30)), Qt::red));
}

TEST_F(ViewerPictures, AnotherContentOfTheFileIsReadAnew) {
  const auto today = AddDay(0, 2);
  GiveOriginal(today[0], Plain({800, 600}, Qt::red));
  today[0]->SetHash("first");
  OpenOn(today[0]);
  ASSERT_TRUE(UntilSharp());
  GiveOriginal(today[0], Plain({800, 600}, Qt::blue));
  today[0]->SetHash("second");
  ReloadAlbum();
  ASSERT_TRUE(UntilSharp());
  Settle();
  EXPECT_TRUE(Looks(ColorAt(Lcd(), Lcd().rect().center()), Qt::blue));
}

// --- Languages and themes

TEST_F(ViewerPictures, FromRightToLeftTheNextPictureIsAtTheLeft) {
  const auto today = AddDay(0, 3);
  CResourceManager::GetInstance().SetLanguage(QStringLiteral("ar"));
  Theme::Instance().SetMode(ThemeMode::Dark);
  OpenOn(today[1]);
  EXPECT_EQ(Viewer()->geometry().left(), 0);
  EXPECT_LT(Part("rightBtn")->x(), Part("leftBtn")->x());
  Press("AttributeBtn");
  EXPECT_EQ(Viewer()->Attributes()->x(), 0);
  Keep("viewer-arabic-dark");
  Key(Qt::Key_Left);
  EXPECT_EQ(Viewer()->Shown(), today[2]);
  Key(Qt::Key_Right);
  EXPECT_EQ(Viewer()->Shown(), today[1]);
  const QPoint from = Lcd().rect().center();
  QTest::mousePress(&Lcd(), Qt::LeftButton, {}, from);
  QTest::mouseRelease(&Lcd(), Qt::LeftButton, {}, from + QPoint(60, 0));
  EXPECT_EQ(Viewer()->Shown(), today[2]);
}

TEST_F(ViewerPictures, AnotherLanguageIsTakenWhileItIsOpen) {
  const auto today = OpenOnDayOf(3);
  Press("AttributeBtn");
  CResourceManager::GetInstance().SetLanguage(QStringLiteral("de-DE"));
  Settle();
  Keep("viewer-german");
  EXPECT_EQ(Part("FavoriteBtn")->toolTip(), QStringLiteral("Zu Favoriten hinzufügen"));
  EXPECT_EQ(Viewer()->FindControl(QStringLiteral("TitleLcd"))->GetText(),
            QStringLiteral("14. November 2023 um 23:59"));
  EXPECT_EQ(Viewer()->Attributes()->ValueOf(QStringLiteral("IDS_VIEWER_ATTR_CLOUD")),
            QStringLiteral("Hochgeladen"));
}

TEST_F(ViewerPictures, EveryButtonHasAName) {
  const auto today = AddDay(0, 3);
  OpenOn(today[1]);
  Press("FullScreenBtn");
  for (auto* window : {static_cast<QWidget*>(Viewer()), static_cast<QWidget*>(Full())}) {
    for (const auto* button : window->findChildren<QAbstractButton*>()) {
      if (!button->isVisibleTo(window)) continue;
      EXPECT_FALSE(button->accessibleName().isEmpty() && button->text().isEmpty())
          << button->objectName().toStdString();
    }
  }
  EXPECT_TRUE(Lcd().accessibleName().contains(QStringLiteral("d0-1.jpg")));
}

}  // namespace
