// Films of the cloud in the player: the real server, a real film in small slices.

#include <gtest/gtest.h>

#include <fstream>

#include "contenttest.h"
#include "host/base/globalparamwrapper.h"
#include "playertest.h"

namespace {

class PlayerCloudTest : public PlayerOver<ContentTest> {
 protected:
  // A film that is in the cloud and not on this computer any more.
  FilePtr Uploaded(const std::filesystem::path& film) {
    std::ifstream in(film, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(in), {}};
    EXPECT_GT(bytes.size(), 10u * kSliceSize);
    slices = (bytes.size() + kSliceSize - 1) / kSliceSize;
    const auto file = Source("film", bytes);
    EXPECT_TRUE(Upload(file));
    std::filesystem::remove(platform::NativePath(file->LocalPath()));
    file->SavedFileType = 4;
    file->SetFileName(L"film.mp4");
    server.ForgetRequests();
    return file;
  }
  std::size_t Objects() { return CountRequests("GET /cloudPhoto/v1/objects/"); }
  std::size_t slices = 0;
};

TEST_F(PlayerCloudTest, FilmStartsBeforeItIsHereAndIsNeverOnTheDisk) {
  const auto file = Uploaded(Films::Busy("-movflags faststart"));
  // The end never comes: who waited for it would never start.
  server.Fault(R"({"method":"GET","path":"/objects/","nth":)" + std::to_string(slices / 2) +
               R"(,"times":0,"delayMs":3600000})");
  std::string url;
  bool isLocal = true;
  ASSERT_TRUE(VideoPlayer::CanPlayVideo(file, url, isLocal));
  EXPECT_FALSE(isLocal);
  EXPECT_EQ(Objects(), 0u);
  ASSERT_TRUE(PlayUntilSeen(file));
  EXPECT_EQ(Shown(), State::Playing);
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder / "")) {
    EXPECT_TRUE(!entry.is_regular_file() || entry.file_size() < 5u * kSliceSize) << entry.path();
  }
  // Stopping does not wait for the service.
  VideoPlayer::StopVideo();
  EXPECT_FALSE(VideoPlayer::HasPlayer());
}

TEST_F(PlayerCloudTest, FilmWhoseIndexStandsAtItsEndPlaysAndSeeks) {
  const auto file = Uploaded(Films::Busy());
  ASSERT_TRUE(PlayUntilSeen(file));
  Player().SetPosition(0.8F);
  ASSERT_TRUE(Until([this] { return Player().Time() > 22'000 && Shown() == State::Playing; }));
  Player().SetPosition(0.9F);
  ASSERT_TRUE(Until([this] { return viewer->Got(WM_GALLERY_VIDEO_ENDED); }));
  EXPECT_EQ(ErrorWords(), QString());
}

// A film without sound, such as a time lapse: nobody waits for 15 seconds of it.
TEST_F(PlayerCloudTest, SilentFilmIsFetchedNoFurtherAheadThanOthers) {
  // The film is small: KiB and bytes that libVLC reads ahead of any film.
  for (const char* option : {"--prefetch-buffer-size=64", "--prefetch-read-size=65536"})
    VlcPlayer::moreOptions.emplace_back(option);
  constexpr int kSeconds = 60;
  const auto file =
      Uploaded(Films::Make("silent.mp4", "testsrc2=s=320x180:r=25", kSeconds, "-an -movflags faststart"));
  Play(file);
  ASSERT_TRUE(Until([this] { return HasPicture() && Player().Time() > 500; }));
  const double fetched = static_cast<double>(Objects() * kSeconds) / static_cast<double>(slices);
  EXPECT_LT(fetched - static_cast<double>(Player().Time()) / 1000, 8);
}

TEST_F(PlayerCloudTest, FilmThatWasHeldUprightStandsUprightAndOneOfNarrowPixelsHasItsShape) {
  const auto upright = Films::Make("held.mp4", "testsrc2=s=320x180:r=25", 30);
  Films::TurnRight(upright);
  const auto narrow = Films::Make("thin.mp4", "testsrc2=s=320x180:r=25", 30, "-aspect 4:3");
  const std::pair<std::filesystem::path, QSize> films[] = {{upright, {180, 320}}, {narrow, {240, 180}}};
  for (const auto& [film, size] : films) {
    ASSERT_TRUE(PlayUntilSeen(Uploaded(film)));
    EXPECT_EQ(Window()->Picture()->Picture().size(), size);
    VideoPlayer::StopVideo();
  }
}

TEST_F(PlayerCloudTest, DamagedFilmEndsWithWords) {
  const auto file = Uploaded(Films::Busy("-movflags faststart"));
  AnswerChanger place(server.Url(), [](const std::string&, const std::string& answer) {
    return answer.substr(0, answer.size() - 16);
  });
  const auto changer = ChangeAnswers([&](const std::string& request, const std::string& answer) {
    if (request.find("GET /cloudPhoto/v1/media/") == std::string::npos) return answer;
    Json::Value body = AnswerChanger::Body(answer);
    for (Json::Value& attachment : body["attachments"]) {
      if (attachment["usage"] != "content") continue;
      Json::Value& url = attachment["asset"]["resource"]["objects"][3]["downloadUrl"]["url"];
      url = place.Url() + url.asString().substr(server.Url().size());
    }
    return AnswerChanger::WithBody(body);
  });
  Play(file);
  ASSERT_TRUE(Until([this] { return viewer->Got(WM_GALLERY_VIDEO_ENDED); }));
  EXPECT_FALSE(ErrorWords().isEmpty());
}

TEST_F(PlayerCloudTest, ServiceThatIsGoneIsSaid) {
  const auto file = Uploaded(Films::Busy());
  server.Kill();
  Play(file);
  EXPECT_TRUE(VideoPlayer::HasPlayer());  // Nobody has waited for the network.
  ASSERT_TRUE(Until([this] { return viewer->Got(WM_GALLERY_VIDEO_ENDED); }));
  EXPECT_EQ(ErrorWords(), CResourceManager::GetText(QStringLiteral("IDS_GALLERT_SERVER_ERROR")));
  EXPECT_FALSE(VideoPlayer::HasPlayer());
}

TEST_F(PlayerCloudTest, FilmThatStallsShowsTheRingAndThenWhy) {
  const auto file = Uploaded(Films::Busy("-movflags faststart"));
  server.Fault(R"({"method":"GET","path":"/objects/","nth":)" + std::to_string(slices / 2) +
               R"(,"times":0,"delayMs":3600000})");
  // The service's patience.
  std::ofstream(folder / "config/ZentaraCloud/settings.json") << R"({"timeoutLowSpeedSeconds":2})";
  ASSERT_TRUE(GlobalParamWrapper::GetInstance()->Load());
  ASSERT_TRUE(PlayUntilSeen(file));
  EXPECT_FALSE(Window()->IsStalled());
  ASSERT_TRUE(Until([this] { return Window() && Window()->IsStalled(); }));
  EXPECT_TRUE(HasPicture());  // The ring lies over where it stands.
  Keep("player-stalled");
  ASSERT_TRUE(Until([this] { return viewer->Got(WM_GALLERY_VIDEO_ENDED); }));
  EXPECT_EQ(ErrorWords(), CResourceManager::GetText(QStringLiteral("IDS_GALLERT_SERVER_ERROR")));
  server.Kill();  // Nobody waits for its answers any longer.
}

TEST_F(PlayerCloudTest, RingOfAStallGoesWhenTheFilmGoesOn) {
  const auto file = Uploaded(Films::Busy("-movflags faststart"));
  server.Fault(R"({"method":"GET","path":"/objects/","nth":)" + std::to_string(slices / 2) +
               R"(,"times":1,"delayMs":6000})");
  Play(file);
  ASSERT_TRUE(Until([this] { return Window() && Window()->IsStalled(); }));
  const std::int64_t stood = Player().Time();
  EXPECT_TRUE(Until([this] { return !Window()->IsStalled(); }));
  EXPECT_TRUE(Until([&] { return Player().Time() > stood + 1000; }));
}

TEST_F(PlayerCloudTest, FilmsThatHangGiveWayToTheNextOne) {
  const auto file = Uploaded(Films::Busy());
  // The first one waits for a slice, the others for their record.
  server.Fault(R"({"method":"GET","path":"/objects/","times":0,"delayMs":3600000})");
  server.Fault(R"({"method":"GET","path":"/media/","nth":2,"times":0,"delayMs":3600000})");
  for (int i = 0; i < 5; ++i) {
    Play(file);
    ASSERT_TRUE(Until(
        [this, i] { return CountRequests("GET /cloudPhoto/v1/media/") > static_cast<std::size_t>(i); }));
  }
  const auto local = std::make_shared<GalleryFile>();
  local->SavedFileType = 4;
  local->SetLocalPath(platform::WidePath(Films::Red(2)));
  Play(local);
  EXPECT_TRUE(Until([this] { return IsRed(); }));
  server.Kill();  // Nobody waits for its answers any longer.
}

}  // namespace
