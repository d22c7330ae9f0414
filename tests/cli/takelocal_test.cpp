// A login that takes the local gallery along.

#include <csignal>
#include <set>

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

// The phone's pictures and those that were imported before anybody knew of its album:
// one album, each picture once.
TEST_F(TakeLocalTest, CameraFolderBecomesOneWithThePhonesCameraAlbum) {
  WritePictures("phone/Camera", 2);
  ASSERT_EQ(On("phone", Login()).status, kDone);
  ASSERT_EQ(On("phone", {"sync"}).status, kDone);
  ASSERT_EQ(On("phone", {"import", (folder / "phone/Camera").string()}).status, kDone);
  ASSERT_EQ(On("phone", {"sync"}).status, kDone);

  for (int i : {1, 2}) folder.Write("Camera/p" + std::to_string(i) + ".jpg", Picture(i));
  // Another picture under a name that the phone has used.
  folder.Write("Camera/p0.jpg", Picture(3));
  const std::string camera = (folder / "Camera").string();
  ASSERT_EQ(On("profile", {"import", camera}).status, kDone);
  for (const auto& line : On("profile", {"ls"}).Lines()) {
    const Json::Value file = Parsed(line);
    if (file["fileName"] != "p1.jpg") continue;
    ASSERT_EQ(On("profile", {"favorite", file["id"].asString()}).status, kDone);
  }
  ASSERT_EQ(On("profile", Login({"--take-local"})).status, kDone);
  ASSERT_EQ(On("profile", {"sync"}).status, kDone);

  AccountApi api(cloud);
  const Json::Value dump = api.Dump();
  std::multiset<std::string> names;
  for (const auto& file : dump["files"]) {
    EXPECT_EQ(file["album"].asString(), "default-album-1") << file;
    EXPECT_EQ(file["favorite"].asBool(), file["name"] == "p1.jpg") << file;
    names.insert(file["name"].asString());
  }
  EXPECT_EQ(names, (std::multiset<std::string>{"p0(1).jpg", "p0.jpg", "p1.jpg", "p2.jpg"}));
  EXPECT_EQ(dump["albums"].size(), 2u) << dump["albums"];  // Camera and screenshots.
  EXPECT_EQ(Count("profile"), 4u);
  // All of them are known to be there.
  EXPECT_EQ(On("profile", {"import", camera}).status, kFailed);
  EXPECT_EQ(Count("profile"), 4u);
  ASSERT_EQ(On("phone", {"sync"}).status, kDone);
  EXPECT_EQ(Count("phone"), 4u);
  ASSERT_EQ(On("profile", {"logout"}).status, kDone);
  EXPECT_EQ(Count("profile"), 3u);
}

// One that an earlier version uploaded beside the phone's.
TEST_F(TakeLocalTest, CameraAlbumOfOnesOwnInTheCloudGoesOnTakingItsFolder) {
  AccountApi api(cloud);
  const std::string own = api.AddAlbum("default-album-300-1-1", "Camera");
  ASSERT_NE(own, "");
  WritePictures("Camera", 2);
  ASSERT_EQ(On("profile", Login()).status, kDone);
  ASSERT_EQ(On("profile", {"sync"}).status, kDone);
  ASSERT_EQ(On("profile", {"import", (folder / "Camera").string()}).status, kDone);
  ASSERT_EQ(On("profile", {"sync"}).status, kDone);
  const Json::Value dump = api.Dump();
  EXPECT_EQ(dump["files"].size(), 2u);
  for (const auto& file : dump["files"]) EXPECT_EQ(file["album"].asString(), own);
}

}  // namespace
