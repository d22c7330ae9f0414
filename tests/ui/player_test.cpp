// Films of this computer in the player.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAction>
#include <QLabel>

#include "common/toolkit/overlays.h"
#include "common/toolkit/theme.h"
#include "playertest.h"
#include "support/gallerytest.h"
#include "ui/player/vlclibrary.h"

namespace {

class PlayerTest : public PlayerOver<GalleryTest> {
 protected:
  static GalleryFile::Ptr Film(const std::filesystem::path& path) {
    auto file = std::make_shared<GalleryFile>();
    file->SavedFileType = 4;
    file->SetUniqueId("film-" + path.filename().string());
    file->SetLocalPath(platform::WidePath(path));
    return file;
  }
};

TEST_F(PlayerTest, FilmOfThisComputerPlaysWithoutANetwork) {
  GlobalData::cloudGeneration = GlobalData::kGenerationUnknown;
  std::string url;
  bool isLocal = false;
  ASSERT_TRUE(VideoPlayer::CanPlayVideo(Film(Films::Red(2)), url, isLocal));
  EXPECT_TRUE(isLocal);
  EXPECT_EQ(url, Films::Red(2).string());
  Play(Film(Films::Red(2)));
  EXPECT_TRUE(VideoPlayer::HasPlayer());
  EXPECT_TRUE(Within<VlcLoad>(viewer) != nullptr);
  EXPECT_EQ(Shown(), State::Loading);
  ASSERT_TRUE(Until([this] { return IsRed() && Player().Time() > 0; }));
  EXPECT_EQ(Shown(), State::Playing);
  EXPECT_EQ(Within<VlcLoad>(viewer), nullptr);
  EXPECT_TRUE(viewer->Got(WM_GALLERY_VIDEO_RESIZE));
  EXPECT_TRUE(viewer->Got(WM_GALLERY_BAR_SHOW));
  EXPECT_TRUE(Until([this] { return Label("labelPlayTime").endsWith(QStringLiteral("/00:00:02")); }));
}

TEST_F(PlayerTest, PictureAndFilmThatIsNowhereAreNoFilms) {
  std::string url;
  bool isLocal = false;
  EXPECT_FALSE(VideoPlayer::CanPlayVideo(nullptr, url, isLocal));
  const auto picture = Film(Films::Red(2));
  picture->SavedFileType = 1;
  EXPECT_FALSE(VideoPlayer::CanPlayVideo(picture, url, isLocal));
  GlobalData::cloudGeneration = GlobalData::kGenerationUnknown;
  EXPECT_FALSE(VideoPlayer::CanPlayVideo(Film("/nowhere/film.mp4"), url, isLocal));
  GlobalData::cloudGeneration = GlobalData::kGenerationV1Eur;
  EXPECT_FALSE(VideoPlayer::CanPlayVideo(Film("/nowhere/film.mp4"), url, isLocal));
}

TEST_F(PlayerTest, FilmThatNobodyCanGiveIsSaidAndTheStillStays) {
  GlobalData::cloudGeneration = GlobalData::kGenerationUnknown;
  Play(Film("/nowhere/film.mp4"));
  EXPECT_FALSE(VideoPlayer::HasPlayer());
  EXPECT_EQ(ErrorWords(), CResourceManager::GetText(QStringLiteral("IDS_GALLERT_SERVER_ERROR")));
  EXPECT_TRUE(!Window() || Window()->isHidden());
  GlobalData::cloudGeneration = GlobalData::kGenerationV1Eur;
  Play(Film("/nowhere/film.mp4"));
  EXPECT_EQ(ErrorWords(), CResourceManager::GetText(QStringLiteral("IDS_GALLERT_SERVER_ERROR_V1")));
}

TEST_F(PlayerTest, EndTellsTheViewerAndTheBarShowsTheWholeLength) {
  viewer->stopsAtTheEnd = false;
  Play(Film(Films::Red(2)));
  ASSERT_TRUE(Until([this] { return viewer->Got(WM_GALLERY_VIDEO_ENDED); }));
  EXPECT_EQ(Shown(), State::Ended);
  EXPECT_EQ(Control<CSliderUI>("sliderPlay")->GetValue(), CPlayControlUI::kSteps);
  EXPECT_EQ(Label("labelPlayTime"), QStringLiteral("00:00:02/00:00:02"));
  QTest::mouseClick(Control<CButtonUI>("btnPlay"), Qt::LeftButton);
  ASSERT_TRUE(Until([this] { return Shown() == State::Playing && Player().IsPlaying(); }));
  EXPECT_TRUE(Until([this] { return IsRed(); }));
}

TEST_F(PlayerTest, ViewerThatStopsAtTheEndSeesItsStillAgain) {
  Play(Film(Films::Red(2)));
  ASSERT_TRUE(Until([this] { return viewer->Got(WM_GALLERY_VIDEO_ENDED); }));
  EXPECT_FALSE(VideoPlayer::HasPlayer());
  EXPECT_TRUE(Window()->isHidden());
  EXPECT_EQ(Shown(), State::None);
}

TEST_F(PlayerTest, FileThatIsNoFilmIsSaidInTheBubbleWhichStaysToBeRead) {
  folder.Write("noise.mp4", std::string(5000, '?'));
  Play(Film(folder / "noise.mp4"));
  ASSERT_TRUE(Until([this] { return viewer->Got(WM_GALLERY_VIDEO_ENDED); }));
  EXPECT_FALSE(VideoPlayer::HasPlayer());
  EXPECT_EQ(ErrorWords(), CResourceManager::GetText(QStringLiteral("IDS_GALLERT_VIDEO_CANNOT_PLAYED")));
  Keep("player-error");
  Play(Film(Films::Red(2)));
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  EXPECT_EQ(ErrorWords(), QString());
}

TEST_F(PlayerTest, PauseHoldsTheFilmAndPlayGoesOn) {
  ASSERT_TRUE(PlayUntilSeen(Film(Films::Busy())));
  QTest::mouseClick(Control<CButtonUI>("btnPlay"), Qt::LeftButton);
  EXPECT_EQ(Shown(), State::Paused);
  EXPECT_EQ(Control<CButtonUI>("btnPlay")->IconName(), QStringLiteral("play"));
  ASSERT_TRUE(Until([] { return !Player().IsPlaying(); }));
  QTest::mouseClick(Control<CButtonUI>("btnPlay"), Qt::LeftButton);
  EXPECT_EQ(Control<CButtonUI>("btnPlay")->IconName(), QStringLiteral("pause"));
  EXPECT_TRUE(Until([] { return Player().IsPlaying(); }));
}

TEST_F(PlayerTest, SliderGoesToItsPlaceInTheFilm) {
  ASSERT_TRUE(PlayUntilSeen(Film(Films::Busy())));
  auto* slider = Control<CSliderUI>("sliderPlay");
  QTest::mouseClick(slider, Qt::LeftButton, {}, QPoint(slider->width() * 4 / 5, slider->height() / 2));
  EXPECT_TRUE(Label("labelPlayTime").startsWith(QStringLiteral("00:00:2")))
      << Label("labelPlayTime").toStdString();
  ASSERT_TRUE(Until([] { return Player().Time() > 22'000; }));
  EXPECT_LT(Player().Time(), 28'000);
  QTest::mouseClick(slider, Qt::LeftButton, {}, QPoint(slider->width() / 10, slider->height() / 2));
  EXPECT_TRUE(Until([] { return Player().Time() < 8'000; }));
}

TEST_F(PlayerTest, SpeedIsChosenInTheMenuAndIsOneAgainForTheNextFilm) {
  ASSERT_TRUE(PlayUntilSeen(Film(Films::Busy())));
  QTest::mouseClick(Control<CButtonUI>("beishu"), Qt::LeftButton);
  auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
  ASSERT_TRUE(menu);
  QStringList words, checked;
  for (const QAction* action : menu->actions()) {
    words << action->text();
    if (action->isChecked()) checked << action->text();
  }
  EXPECT_EQ(words, QStringList({"0.5X", "1.0X", "1.5X", "2.0X", "2.5X"}));
  EXPECT_EQ(checked, QStringList({"1.0X"}));
  const int barTop = viewer->Bar()->mapToGlobal(QPoint(0, 0)).y();
  EXPECT_EQ(menu->geometry().bottom() + 1, barTop - 5);
  menu->actions()[4]->trigger();
  menu->close();
  EXPECT_EQ(Label("beishu"), QStringLiteral("2.5X"));
  const auto* film = VlcLibrary::Get();
  ASSERT_TRUE(film);
  EXPECT_FLOAT_EQ(Player().Rate(), 2.5F);
  Play(Film(Films::Red(2)));
  EXPECT_EQ(Label("beishu"), QStringLiteral("1.0X"));
  EXPECT_FLOAT_EQ(Player().Rate(), 1);
}

TEST_F(PlayerTest, VolumeZeroIsMuteAndTheStoredVolumeSurvives) {
  Play(Film(Films::Busy()));
  Player().SetVolume(55);
  QTest::mouseClick(Control<CButtonUI>("btnVolume"), Qt::LeftButton);
  auto* volume = Within<GalleryVolWnd>(frame.get());
  ASSERT_TRUE(volume);
  auto* slider = volume->Find<CSliderUI>(QStringLiteral("recording_slider"));
  auto* mute = volume->Find<CButtonUI>(QStringLiteral("btnVol"));
  ASSERT_TRUE(slider && mute);
  EXPECT_EQ(slider->GetValue(), 55);
  slider->SetValue(0);
  EXPECT_FALSE(Player().IsSoundOn());
  EXPECT_EQ(Player().Volume(), 55);
  EXPECT_EQ(mute->IconName(), QStringLiteral("mute"));
  EXPECT_EQ(Control<CButtonUI>("btnVolume")->IconName(), QStringLiteral("mute"));
  QTest::mouseClick(mute, Qt::LeftButton);
  EXPECT_TRUE(Player().IsSoundOn());
  EXPECT_EQ(slider->GetValue(), 55);
  EXPECT_EQ(mute->IconName(), QStringLiteral("volume"));
  QTest::mouseClick(mute, Qt::LeftButton);
  EXPECT_FALSE(Player().IsSoundOn());
  EXPECT_EQ(Player().Volume(), 55);
  slider->SetValue(30);
  EXPECT_TRUE(Player().IsSoundOn());
  EXPECT_EQ(Player().Volume(), 30);
  Keep("player-volume");
}

TEST_F(PlayerTest, VolumeOpensAboveItsButtonAtTheStoredVolumeAlsoWhenItIsMute) {
  Play(Film(Films::Busy()));
  Player().SetVolume(40);
  Player().SetSoundOn(false);
  auto* const button = Control<CButtonUI>("btnVolume");
  auto* volume = OpenVolume();
  ASSERT_TRUE(volume);
  EXPECT_EQ(volume->Find<CSliderUI>(QStringLiteral("recording_slider"))->GetValue(), 40);
  EXPECT_FALSE(Player().IsSoundOn());
  EXPECT_EQ(button->IconName(), QStringLiteral("mute"));
  const QPoint top = button->mapToGlobal(QPoint(button->width() / 2, 0));
  const QRect place(volume->mapToGlobal(QPoint(0, 0)), volume->size());
  EXPECT_EQ(place.bottom() + 1, top.y());
  EXPECT_NEAR(place.center().x(), top.x(), 1);
}

TEST_F(PlayerTest, VolumeButtonIsTintedWhileItsWindowIsOpen) {
  Play(Film(Films::Busy()));
  auto* const button = Control<CButtonUI>("btnVolume");
  // Without the shadow that the window above it casts.
  const auto ground = [button] { return button->grab().toImage().pixelColor(button->width() / 2, 3); };
  QTest::mouseMove(viewer->Stage());  // Under the pointer it has another ground.
  QApplication::processEvents();
  const QColor before = ground();
  const QPointer<GalleryVolWnd> volume = OpenVolume();
  ASSERT_TRUE(volume);
  // What a press lays over it fades.
  EXPECT_TRUE(Until([&] { return ground() == Theme::Instance().Color(QStringLiteral("tint")); }));
  volume->Close();
  EXPECT_TRUE(Until([&] { return volume.isNull() && ground() == before; }));
}

TEST_F(PlayerTest, SecondPressOfTheVolumeButtonClosesItsWindow) {
  Play(Film(Films::Busy()));
  auto* const button = Control<CButtonUI>("btnVolume");
  QTest::mouseClick(button, Qt::LeftButton);
  const QPointer<GalleryVolWnd> volume = Within<GalleryVolWnd>(frame.get());
  ASSERT_TRUE(volume);
  QTest::mouseClick(button, Qt::LeftButton);
  EXPECT_TRUE(Until([&] { return volume.isNull(); }));
  EXPECT_FALSE(Within<GalleryVolWnd>(frame.get()));
}

TEST_F(PlayerTest, EscapeClosesTheVolumeAndGivesTheFocusBack) {
  ASSERT_TRUE(PlayUntilSeen(Film(Films::Busy())));
  viewer->setFocus();
  const QPointer<GalleryVolWnd> volume = OpenVolume();
  ASSERT_TRUE(volume);
  ASSERT_TRUE(volume->isAncestorOf(QApplication::focusWidget()));
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
  ASSERT_TRUE(Until([&] { return volume.isNull(); }));
  EXPECT_EQ(QApplication::focusWidget(), viewer);
}

TEST_F(PlayerTest, VolumeWindowClosesWhenTheFocusGoes) {
  Play(Film(Films::Busy()));
  frame->activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(frame.get()));
  const QPointer<GalleryVolWnd> volume = OpenVolume();
  ASSERT_TRUE(volume);
  Control<CButtonUI>("btnPlay")->setFocus();
  EXPECT_TRUE(Until([&] { return volume.isNull(); }));
}

TEST_F(PlayerTest, FileThatIsRemovedWhileItPlaysPlaysOn) {
  std::filesystem::copy_file(Films::Red(2), folder / "gone.mp4");
  Play(Film(folder / "gone.mp4"));
  ASSERT_TRUE(Until([this] { return IsRed(); }));
  std::filesystem::remove(folder / "gone.mp4");
  ASSERT_TRUE(Until([this] { return viewer->Got(WM_GALLERY_VIDEO_ENDED); }));
  EXPECT_EQ(ErrorWords(), QString());
}

TEST_F(PlayerTest, HundredQuickChangesEndInTheLastFilm) {
  const auto red = Film(Films::Red(30)), blue = Film(Films::Blue(30));
  for (int i = 0; i < 100; ++i) {
    VideoPlayer::StopVideo();
    Play(i % 2 == 0 ? red : blue);
    if (i % 7 == 0) QApplication::processEvents();
    if (i % 10 == 5) (void)Until([this] { return HasPicture(); });
  }
  ASSERT_TRUE(Until([this] { return IsBlue() && Player().Time() > 0; }));
  EXPECT_EQ(Shown(), State::Playing);
}

TEST_F(PlayerTest, MessageOfAFormerFilmIsNotThisOnes) {
  ASSERT_TRUE(PlayUntilSeen(Film(Films::Busy())));
  (void)platform::SendMessageW(Window()->GetHWND(), WM_USER_END_REACHED, Player().Number() - 1, 0);
  EXPECT_EQ(Shown(), State::Playing);
  EXPECT_FALSE(viewer->Got(WM_GALLERY_VIDEO_ENDED));
}

TEST_F(PlayerTest, NothingIsWrittenToStandardError) {
  VlcPlayer::moreOptions.clear();  // As a user has it, with or without a sound device.
  testing::internal::CaptureStderr();
  Play(Film(Films::Red(2)));
  const bool ended = Until([this] { return viewer->Got(WM_GALLERY_VIDEO_ENDED); });
  Player().Shutdown();
  EXPECT_TRUE(ended);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(PlayerTest, FilmLiesOverTheStillAndUnderTheArrows) {
  ASSERT_TRUE(PlayUntilSeen(Film(Films::Busy())));
  const auto* arrow = viewer->FindControl(QStringLiteral("arrow"))->Widget();
  const QPoint middle = arrow->geometry().center();
  EXPECT_EQ(viewer->Stage()->childAt(middle), arrow);
  auto* seen = viewer->Stage()->childAt(viewer->Stage()->rect().center());
  EXPECT_TRUE(Window()->isAncestorOf(seen) || seen == Window());
}

TEST_F(PlayerTest, PictureFollowsTheSizeAndIsContained) {
  ASSERT_TRUE(PlayUntilSeen(Film(Films::Busy())));
  VideoPlayer::VLCWndOnSize({10, 20, 400, 400});
  EXPECT_EQ(Window()->geometry(), QRect(10, 20, 400, 400));
  QApplication::processEvents();
  const QRect place = Window()->Picture()->PictureRect();
  EXPECT_EQ(place.size(), QSize(400, 225));
  EXPECT_EQ(place.top(), 87);
}

TEST_F(PlayerTest, BarOfAnotherWindowTakesTheFilmOverAndGivesItBack) {
  ASSERT_TRUE(PlayUntilSeen(Film(Films::Busy())));
  auto* full = new StandInViewer;
  ASSERT_TRUE(full->Create(frame.get(), QStringLiteral("FullScreenRespondUI"), WindowStyle::Child,
                           {0, 0, 1155, 851}));
  GlobalData::fullWnd = full->GetHWND();
  full->show();
  VideoPlayer::SetPlayState(full->Bar());
  VideoPlayer::VLCWndOnSize(full->Stage()->rect());
  EXPECT_EQ(Window()->parentWidget(), full->Stage());
  EXPECT_EQ(
      dynamic_cast<CButtonUI*>(full->Bar()->FindSubControl(QStringLiteral("btnScreenFull")))->IconName(),
      QStringLiteral("fullscreen-exit"));
  Keep("player-full");
  EXPECT_TRUE(Window()->isVisible());
  EXPECT_EQ(full->Bar()->Shown(), State::Playing);
  EXPECT_EQ(Shown(), State::None);
  QTest::mouseClick(full->Bar()->FindSubControl(QStringLiteral("btnPlay"))->Widget(), Qt::LeftButton);
  EXPECT_EQ(full->Bar()->Shown(), State::Paused);
  VideoPlayer::SetPlayState(viewer->Bar());
  EXPECT_EQ(Window()->parentWidget(), viewer->Stage());
  EXPECT_EQ(Shown(), State::Paused);
  GlobalData::fullWnd = nullptr;
  delete full;
  EXPECT_TRUE(VideoPlayer::HasPlayer());
}

// A window that closes closes those inside it.
TEST_F(PlayerTest, FilmOutlivesTheFullScreenThatClosesBeforeItGivesItBack) {
  ASSERT_TRUE(PlayUntilSeen(Film(Films::Busy())));
  auto* full = new StandInViewer;
  ASSERT_TRUE(full->Create(frame.get(), QStringLiteral("FullScreenRespondUI"), WindowStyle::Child,
                           {0, 0, 1155, 851}));
  GlobalData::fullWnd = full->GetHWND();
  full->show();
  VideoPlayer::SetPlayState(full->Bar());
  full->Close();
  GlobalData::fullWnd = nullptr;
  VideoPlayer::SetPlayState(viewer->Bar());
  VideoPlayer::VLCWndOnSize(viewer->Stage()->rect());
  EXPECT_EQ(Shown(), State::Playing);
  const auto* window = Within<CDuiMainWnd>(viewer);
  ASSERT_TRUE(window);
  EXPECT_TRUE(window->isVisible());
  EXPECT_FALSE(window->Picture()->Picture().isNull());
  delete full;
  Player().SetPosition(0.95F);
  EXPECT_TRUE(Until([this] { return viewer->Got(WM_GALLERY_VIDEO_ENDED); }));
}

TEST_F(PlayerTest, ScreenButtonAsksTheWindowOfItsBar) {
  QTest::mouseClick(Control<CButtonUI>("btnScreenFull"), Qt::LeftButton);
  ASSERT_TRUE(Until([this] { return viewer->Got(WM_GALLERY_FULL_OPEN); }));
}

TEST_F(PlayerTest, ViewerThatClosesTakesTheFilmsWindowsAlong) {
  ASSERT_TRUE(PlayUntilSeen(Film(Films::Busy())));
  delete viewer;
  EXPECT_EQ(Window(), nullptr);
  VideoPlayer::StopVideo();
  viewer = new StandInViewer;
  ASSERT_TRUE(
      viewer->Create(frame.get(), QStringLiteral("CDouClickThum"), WindowStyle::Child, {0, 0, 800, 600}));
  GlobalData::viewerWnd = viewer->GetHWND();
  viewer->show();
  QApplication::processEvents();
  Play(Film(Films::Red(2)));
  EXPECT_TRUE(Until([this] { return IsRed(); }));
}

TEST_F(PlayerTest, KeysGoToTheViewer) {
  ASSERT_TRUE(PlayUntilSeen(Film(Films::Busy())));
  QTest::keyClick(Window(), Qt::Key_Right);
  ASSERT_TRUE(Until([this] { return viewer->Got(platform::WM_KEYDOWN); }));
  const auto at = std::find(viewer->messages.begin(), viewer->messages.end(), platform::WM_KEYDOWN);
  EXPECT_EQ(viewer->words[static_cast<std::size_t>(at - viewer->messages.begin())], WPARAM{Qt::Key_Right});
}

TEST_F(PlayerTest, FilmThatWasHeldUprightStandsUpright) {
  const auto path = Films::Make("upright.mp4", "testsrc2=s=320x180:r=25", 2);
  Films::TurnRight(path);
  ASSERT_TRUE(PlayUntilSeen(Film(path)));
  EXPECT_EQ(Window()->Picture()->Picture().size(), QSize(180, 320));
}

TEST_F(PlayerTest, FilmOfNarrowPixelsHasItsShape) {
  const auto path = Films::Make("narrow.mp4", "testsrc2=s=720x576:r=25", 2, "-aspect 16:9");
  ASSERT_TRUE(PlayUntilSeen(Film(path)));
  EXPECT_EQ(
      Window()->Picture()->Picture().size(),
      QSize(1024, 576).scaled(QSize(1024, 576).boundedTo(frame->screen()->size()), Qt::KeepAspectRatio));
}

TEST_F(PlayerTest, FromRightToLeftTheBarIsMirroredAndTheLineOfTimeIsNot) {
  for (const char* language : {"en-GB", "de-DE", "ar"}) {
    for (const ThemeMode mode : {ThemeMode::Light, ThemeMode::Dark}) {
      CResourceManager::GetInstance().SetLanguage(QString::fromLatin1(language));
      Theme::Instance().SetMode(mode);
      ASSERT_TRUE(PlayUntilSeen(Film(Films::Busy())));
      Player().SetPosition(0.4F);
      ASSERT_TRUE(Until([this] { return Control<CSliderUI>("sliderPlay")->GetValue() > 3900; }));
      auto* volume = OpenVolume();
      ASSERT_TRUE(volume);
      ASSERT_TRUE(Until([volume] { return !volume->graphicsEffect(); }));
      Keep((std::string("player-") + language + (mode == ThemeMode::Dark ? "-dark" : "-light")).c_str());
      volume->Close();
      const bool mirrored = std::string(language) == "ar";
      const auto* play = Control<CButtonUI>("btnPlay");
      const auto* slider = Control<CSliderUI>("sliderPlay");
      EXPECT_EQ(play->x() > slider->x(), mirrored) << language;
      EXPECT_LT(slider->KnobRect().center().x(), slider->width() / 2) << language;
    }
  }
  CResourceManager::GetInstance().SetLanguage(QStringLiteral("en-GB"));
  Theme::Instance().SetMode(ThemeMode::System);
}

TEST_F(PlayerTest, LibraryThatIsNotThereIsSaid) {
  EXPECT_EQ(VlcLibrary::Load("libnothing.so.0"), nullptr);
  EXPECT_EQ(VlcLibrary::Load("libc.so.6"), nullptr);  // It lacks the functions.
}

// A program of its own: the library is looked for once.
TEST(PlayerDeathTest, WithoutTheLibraryTheOwnerSaysSo) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(
      {
        VlcLibrary::soName = "libnothing.so.0";
        PlayerScene scene;
        scene.Open();
        auto file = std::make_shared<GalleryFile>();
        file->SavedFileType = 4;
        scene.Play(file);
        const auto* toast = Within<Toast>(scene.frame.get());
        QString words;
        if (toast)
          for (const auto* label : toast->findChildren<QLabel*>()) words += label->text();
        const bool said =
            words.contains(CResourceManager::GetText(QStringLiteral("IDS_DRIVE_Data_Sync_Loading")));
        std::_Exit(said && !VideoPlayer::HasPlayer() ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
