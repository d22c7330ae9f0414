// A login that takes the local gallery along.

#include <csignal>

#include "accountapi.h"
#include "clitest.h"

namespace fs = std::filesystem;

namespace {

constexpr int kDone = 0, kFailed = 1;
constexpr int kPictures = 40;

class TakeLocalTest : public CliTest {
 protected:
  void SetUp() override {
    folder.Write("password", "wonderland\n");
    WritePictures("Trip", kPictures);
    WritePictures("Home", 2);
  }
  // A local gallery with two albums and a favourite.
  void FillLocal(const std::string& profile) {
    ASSERT_EQ(On(profile, {"import", (folder / "Trip").string(), (folder / "Home").string()}).status, kDone);
    const Json::Value first = Parsed(On(profile, {"ls", "--album", "Home"}).Lines().at(0));
    ASSERT_EQ(On(profile, {"favorite", first["id"].asString()}).status, kDone);
    ASSERT_EQ(On(profile, {"album", "create", "Empty"}).status, kDone);
  }
  Finished On(const std::string& profile, const std::vector<std::string>& words) {
    return RunProgram(Command(words, profile));
  }
  std::vector<std::string> Login(const std::vector<std::string>& more = {}) {
    std::vector<std::string> words = {"login",
                                      "--server",
                                      cloud.Url(),
                                      "--user",
                                      "alice",
                                      "--password-file",
                                      (folder / "password").string()};
    words.insert(words.end(), more.begin(), more.end());
    return words;
  }
  std::size_t Count(const std::string& profile, const std::string& album = {}) {
    if (album.empty()) return On(profile, {"ls"}).Lines().size();
    return On(profile, {"ls", "--album", album}).Lines().size();
  }
  bool IsLoggedIn(const std::string& profile) {
    return !Parsed(On(profile, {"status"}).Lines().at(0))["server"].asString().empty();
  }
  void ExpectAll(const std::string& profile) {
    EXPECT_EQ(Count(profile), kPictures + 2u);
    EXPECT_EQ(Count(profile, "Trip"), static_cast<std::size_t>(kPictures));
    EXPECT_EQ(Count(profile, "Favourites"), 1u);
    EXPECT_EQ(On(profile, {"ls", "--album", "Empty"}).status, kDone);
  }
  bool WasAsked(const std::string& path) const {
    const auto requests = cloud.Requests();
    return std::any_of(requests.begin(), requests.end(),
                       [&](const auto& seen) { return seen.path.find(path) != std::string::npos; });
  }
  std::size_t Thumbnails(const std::string& profile) {
    std::size_t count = 0;
    std::error_code error;
    for (const auto& entry : fs::recursive_directory_iterator(folder / profile / "cache", error))
      count += entry.path().extension() == ".jpg";
    return count;
  }

  CloudProcess cloud;
};

TEST_F(TakeLocalTest, PicturesAlbumsAndFavouritesComeAlongAndGoUp) {
  FillLocal("profile");
  ASSERT_EQ(On("profile", Login({"--take-local"})).status, kDone);
  ExpectAll("profile");
  EXPECT_EQ(On("profile", {"sync"}).status, kDone);
  AccountApi api(cloud);
  EXPECT_EQ(api.Dump()["files"].size(), kPictures + 2u);
  ASSERT_EQ(On("profile", {"logout"}).status, kDone);
  ExpectAll("profile");  // The local gallery is as it was.
  ASSERT_EQ(On("profile", Login({"--take-local"})).status, kDone);
  ExpectAll("profile");  // Not twice.
}

TEST_F(TakeLocalTest, StaysBehindWhenTheUserSaysSoOrNobodyIsAsked) {
  FillLocal("profile");
  ASSERT_EQ(On("profile", Login({"--leave-local"})).status, kDone);
  EXPECT_EQ(Count("profile"), 0u);
  ASSERT_EQ(On("profile", {"logout"}).status, kDone);
  ASSERT_EQ(On("profile", Login()).status, kDone);
  EXPECT_EQ(Count("profile"), 0u);
  ASSERT_EQ(On("profile", {"logout"}).status, kDone);
  ExpectAll("profile");
}

TEST_F(TakeLocalTest, LoginThatFailsTakesNothing) {
  FillLocal("profile");
  folder.Write("password", "looking-glass\n");
  EXPECT_EQ(On("profile", Login({"--take-local"})).status, kFailed);
  ExpectAll("profile");
  folder.Write("password", "wonderland\n");
  ASSERT_EQ(On("profile", Login({"--leave-local"})).status, kDone);
  EXPECT_EQ(Count("profile"), 0u);
}

TEST_F(TakeLocalTest, LoginThatIsKilledLosesNothing) {
  const std::vector<std::string> requests = {"auth/login", "keys", "time"};
  for (int round = 0; round < 7; ++round) {
    SCOPED_TRACE(round);
    const std::string profile = "p" + std::to_string(round);
    FillLocal(profile);
    cloud.ForgetRequests();
    const bool atRequest = round < 3;
    if (atRequest) {
      cloud.Rule(R"({"path":")" + requests[static_cast<std::size_t>(round)] +
                 R"(","times":0,"delayMs":600000})");
    }
    const std::size_t before = Thumbnails(profile);
    Process login(Command(Login({"--take-local"}), profile));
    if (atRequest) {
      while (login.Running() && !WasAsked(requests[static_cast<std::size_t>(round)])) {
      }
    } else {
      const std::size_t more = round == 3 ? 0 : static_cast<std::size_t>(round - 3) * 10;
      while (login.Running() && Thumbnails(profile) <= before + more) {
      }
    }
    EXPECT_TRUE(login.Running());
    login.Signal(SIGKILL);
    (void)login.Wait();
    cloud.ClearRules();
    ExpectAll(profile);
    if (!IsLoggedIn(profile)) {
      ASSERT_EQ(On(profile, Login({"--take-local"})).status, kDone);
      ExpectAll(profile);
    }
    ASSERT_EQ(On(profile, {"logout"}).status, kDone);
    ExpectAll(profile);
  }
}

}  // namespace
