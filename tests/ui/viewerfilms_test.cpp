// Films in the viewer itself: the player in its real windows.

#include "films.h"
#include "ui/player/duimainwnd.h"
#include "ui/player/playcontrolui.h"
#include "ui/player/player.h"
#include "ui/player/vlcplayer.h"
#include "viewertest.h"

namespace {

using State = CPlayControlUI::State;

class ViewerFilms : public ViewerTest {
 protected:
  void TearDown() override {
    ViewerTest::TearDown();
    VlcPlayer::GetInstance().Shutdown();
  }
  // The viewer over two files, of which the first is that film.
  void OpenFilm(const std::filesystem::path& path) {
    VlcPlayer::moreOptions = {"--aout=adummy"};
    files = AddDay(0, 2);
    files[0]->SavedFileType = 4;
    files[0]->SetFileName(L"film.mp4");
    files[0]->SetLocalPath(platform::WidePath(path));
    OpenOn(files[0]);
  }
  PictureWindow* Top() { return Full() ? static_cast<PictureWindow*>(Full()) : Viewer(); }
  QWidget* TopPart(const char* name) { return Top()->FindControl(QString::fromLatin1(name))->Widget(); }
  bool Shows(const char* name) { return TopPart(name)->isVisible(); }
  CPlayControlUI* Bar() { return Top()->Find<CPlayControlUI>(QStringLiteral("PlayControl")); }
  // Whether the film runs in the window on top, under its bar.
  bool Runs() {
    return VlcPlayer::GetInstance().IsPlaying() && Shows("bottomCon") && Bar()->Shown() == State::Playing &&
           !TopPart("ConWidth")->findChildren<QWidget*>(QStringLiteral("Player")).isEmpty();
  }
  bool ShowsTheStill() { return !VideoPlayer::HasPlayer() && !Shows("bottomCon") && Shows("playBtn"); }
  void Play() { QTest::mouseClick(TopPart("playBtn"), Qt::LeftButton); }

  Files files;
};

TEST_F(ViewerFilms, AnotherPictureEndsTheFilm) {
  OpenFilm(Films::Red(30));
  Play();
  ASSERT_TRUE(Until([this] { return Runs(); }));
  EXPECT_FALSE(Shows("playBtn"));
  Key(Qt::Key_Right);
  EXPECT_EQ(Viewer()->Shown(), files[1]);
  EXPECT_FALSE(VideoPlayer::HasPlayer());
  EXPECT_FALSE(Shows("bottomCon"));
  Key(Qt::Key_Left);
  EXPECT_TRUE(ShowsTheStill());
}

TEST_F(ViewerFilms, TheStillIsBackBehindTheEndAndPlayStartsAnew) {
  OpenFilm(Films::Red(2));
  Play();
  ASSERT_TRUE(Until([this] { return Runs(); }));
  VlcPlayer::GetInstance().SetRate(2);
  ASSERT_TRUE(Until([this] { return ShowsTheStill(); }));
  Play();
  ASSERT_TRUE(Until([this] { return Runs(); }));
  EXPECT_EQ(Bar()->FindSubControl(QStringLiteral("beishu"))->GetText(), QStringLiteral("1.0X"));
}

TEST_F(ViewerFilms, TheFilmGoesIntoTheFullScreenAndBackWithoutAnEnd) {
  OpenFilm(Films::Red(30));
  Play();
  ASSERT_TRUE(Until([this] { return Runs() && VlcPlayer::GetInstance().Time() > 0; }));
  const auto number = VlcPlayer::GetInstance().Number();
  QTest::mouseClick(Bar()->FindSubControl(QStringLiteral("btnScreenFull"))->Widget(), Qt::LeftButton);
  ASSERT_TRUE(Until([this] { return Full() && Runs(); }));
  QTest::mouseClick(Bar()->FindSubControl(QStringLiteral("btnScreenFull"))->Widget(), Qt::LeftButton);
  ASSERT_TRUE(Until([this] { return !Full() && Runs(); }));
  EXPECT_EQ(VlcPlayer::GetInstance().Number(), number);
}

TEST_F(ViewerFilms, ADataResetClosesTheViewerItsFullScreenAndTheFilm) {
  OpenFilm(Films::Red(30));
  Press("FullScreenBtn");
  Play();
  ASSERT_TRUE(Until([this] { return Runs(); }));
  const QPointer<QWidget> viewer(Viewer()), full(Full());
  (void)platform::SendMessageW(page->GetHWND(), WM_GALLERY_DATA_RESET, 0, 0);
  EXPECT_FALSE(VideoPlayer::HasPlayer());
  ASSERT_TRUE(Until([&] { return !viewer && !full; }));
  EXPECT_EQ(GlobalData::viewerWnd.load(), nullptr);
  EXPECT_EQ(GlobalData::fullWnd.load(), nullptr);
}

TEST_F(ViewerFilms, AMessageStartsTheFilmInTheWindowOnTop) {
  OpenFilm(Films::Red(30));
  (void)platform::SendMessageW(Viewer()->GetHWND(), WM_GALLERY_PLAY_SHOWN, 0, 0);
  ASSERT_TRUE(Until([this] { return Runs(); }));
  (void)platform::SendMessageW(Viewer()->GetHWND(), WM_GALLERY_VIDEO_STOP, 0, 0);
  EXPECT_TRUE(ShowsTheStill());
  Press("FullScreenBtn");
  ASSERT_TRUE(Full());
  (void)platform::SendMessageW(Viewer()->GetHWND(), WM_GALLERY_PLAY_SHOWN, 0, 0);
  ASSERT_TRUE(Until([this] { return Full() && Runs(); }));
}

TEST_F(ViewerFilms, AFilmThatCannotBePlayedIsSaidAndTheStillStays) {
  OpenFilm("/nowhere/film.mp4");
  GlobalData::cloudGeneration = GlobalData::kGenerationUnknown;
  Play();
  EXPECT_TRUE(ShowsTheStill());
  QWidget* bubble = nullptr;
  for (auto* widget : Viewer()->findChildren<QWidget*>())
    if (auto* made = dynamic_cast<VLCErrorWnd*>(widget)) bubble = made;
  ASSERT_TRUE(bubble && bubble->isVisible());
  const QRect place(bubble->mapTo(Viewer(), QPoint(0, 0)), bubble->size());
  EXPECT_EQ(place.left(), 125);
  EXPECT_EQ(place.bottom() + 1, Viewer()->height() - 60);
}

TEST_F(ViewerFilms, AFilmEndsWithItsWindowHiddenAndCanBeStartedAgain) {
  OpenFilm(Films::Red(30));
  for (const bool full : {false, true}) {
    SCOPED_TRACE(full);
    if (full) Press("FullScreenBtn");
    Play();
    ASSERT_TRUE(Until([this] { return Runs(); }));
    frame->hide();
    EXPECT_FALSE(VideoPlayer::HasPlayer());
    frame->show();
    Settle();
    EXPECT_TRUE(ShowsTheStill());
  }
}

}  // namespace
