// Password, devices and keys of an account, with the real photo cloud.

#include <csignal>
#include <fstream>

#include "accountapi.h"
#include "clitest.h"

namespace fs = std::filesystem;

namespace {

constexpr int kDone = 0, kFailed = 1;

class AccountTest : public CliTest {
 protected:
  void SetUp() override {
    folder.Write("old", "wonderland\n");
    folder.Write("new", "looking-glass\n");
    folder.Write("short", "seven77\n");
    ASSERT_EQ(Login("profile", "old"), kDone);
    WritePictures("pictures", 1);
    ASSERT_EQ(Run({"import", (folder / "pictures").string()}).status, kDone);
    ASSERT_EQ(Run({"sync"}).status, kDone);
  }
  Finished On(const std::string& profile, const std::vector<std::string>& words) {
    return RunProgram(Command(words, profile));
  }
  int Login(const std::string& profile, const std::string& password) {
    return On(profile, {"login", "--server", cloud.Url(), "--user", "alice", "--password-file",
                        (folder / password).string()})
        .status;
  }
  std::vector<std::string> Password(const std::string& present, const std::string& next) {
    return {"password", "--password-file", (folder / present).string(), "--new-password-file",
            (folder / next).string()};
  }
  std::string Read(const fs::path& path) const {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  // Another computer that logs in so sees the picture as it was.
  void ExpectPictureOn(const std::string& profile) {
    EXPECT_EQ(On(profile, {"sync"}).status, kDone);
    const fs::path target = folder / (profile + "-target");
    EXPECT_EQ(On(profile, {"download", "--all", "--to", target.string()}).status, kDone);
    EXPECT_TRUE(Read(target / "p0.jpg") == Read(folder / "pictures/p0.jpg"));
  }
  std::vector<Json::Value> Devices(const std::string& profile) {
    std::vector<Json::Value> devices;
    for (const auto& line : On(profile, {"devices"}).Lines()) devices.push_back(Parsed(line));
    return devices;
  }
  bool WasAsked(const std::string& path) const {
    const auto requests = cloud.Requests();
    return std::any_of(requests.begin(), requests.end(),
                       [&](const auto& seen) { return seen.path.find(path) != std::string::npos; });
  }

  CloudProcess cloud;
};

TEST_F(AccountTest, NewPasswordCountsEverywhereAndThePicturesStayReadable) {
  EXPECT_EQ(Run(Password("old", "new")).status, kDone);
  EXPECT_EQ(Run({"sync"}).status, kDone);  // This session goes on.
  EXPECT_EQ(Login("other", "old"), kFailed);
  EXPECT_EQ(Login("other", "new"), kDone);
  ExpectPictureOn("other");
}

TEST_F(AccountTest, WrongOrShortPasswordChangesNothing) {
  EXPECT_EQ(Run(Password("new", "new")).status, kFailed);
  EXPECT_EQ(Run(Password("old", "short")).status, kFailed);
  EXPECT_EQ(On("nobody", Password("old", "new")).status, kFailed);
  EXPECT_EQ(Login("other", "old"), kDone);
}

TEST_F(AccountTest, AnswerThatIsLostIsAskedForAgain) {
  cloud.Rule(R"({"method":"POST","path":"auth/password","cutAfterBytes":0,"times":1})");
  EXPECT_EQ(Run(Password("old", "new")).status, kDone);
  EXPECT_EQ(Login("other", "new"), kDone);
  ExpectPictureOn("other");
}

TEST_F(AccountTest, KilledChangeLeavesOnePasswordThatOpensThePictures) {
  for (const char* rule : {R"({"path":"auth/password","times":0,"delayMs":600000})",
                           R"({"path":"auth/password","times":0,"delayMs":600000,"dropRequest":true})"}) {
    SCOPED_TRACE(rule);
    cloud.ForgetRequests();
    cloud.Rule(rule);
    Process change(Command(Password("old", "new")));
    while (change.Running() && !WasAsked("auth/password")) {
    }
    change.Signal(SIGKILL);
    (void)change.Wait();
    cloud.ClearRules();
    const bool isNew = Login("other", "new") == kDone;
    if (!isNew) {
      EXPECT_EQ(Login("other", "old"), kDone);
    }
    ExpectPictureOn("other");
    if (isNew) {
      EXPECT_EQ(Run(Password("new", "old")).status, kDone);
    }
  }
}

TEST_F(AccountTest, DevicesAreListedAndOneThatIsEndedGetsNothingMore) {
  ASSERT_EQ(Login("other", "old"), kDone);
  const auto devices = Devices("profile");
  ASSERT_EQ(devices.size(), 2u);
  std::string other;
  int current = 0;
  for (const auto& device : devices) {
    EXPECT_GT(device["lastUsedTime"].asInt64(), 0);
    current += device["current"].asBool();
    if (!device["current"].asBool()) other = device["id"].asString();
  }
  EXPECT_EQ(current, 1);
  EXPECT_EQ(Run({"devices", "end", "no-such-session"}).status, kFailed);
  EXPECT_EQ(Run({"devices", "end", other}).status, kDone);
  EXPECT_EQ(Devices("profile").size(), 1u);
  EXPECT_EQ(On("other", {"sync"}).status, kFailed);
  EXPECT_EQ(Run({"sync"}).status, kDone);
  EXPECT_EQ(On("nobody", {"devices"}).status, kFailed);
}

// The seal of the keys at the service does not open any more.
TEST_F(AccountTest, ImportedKeysStandForASealThatDoesNotOpen) {
  const std::string keys = (folder / "keys").string();
  ASSERT_EQ(Run({"keys", "export", "--yes", keys}).status, kDone);
  AccountApi api(cloud);
  ASSERT_EQ(api.Call("PUT", "/keys", R"({"keys":{"format":1,"sealed":"AAAA"},"ifRevision":1})").status, 200);
  EXPECT_EQ(Login("other", "old"), kFailed);
  EXPECT_EQ(On("other", {"keys", "import", keys}).status, kDone);
  EXPECT_EQ(Login("other", "old"), kDone);
  ExpectPictureOn("other");
  EXPECT_EQ(Login("third", "old"), kDone);  // They are sealed anew.
  ExpectPictureOn("third");
}

TEST_F(AccountTest, ImportedKeysAreThoseOfAnAccountThatHasNone) {
  const std::string keys = (folder / "keys").string(), again = (folder / "again").string();
  ASSERT_EQ(Run({"keys", "export", "--yes", keys}).status, kDone);
  const CloudProcess moved;  // The service set up anew.
  ASSERT_EQ(On("other", {"keys", "import", keys}).status, kDone);
  ASSERT_EQ(On("other", {"login", "--server", moved.Url(), "--user", "alice", "--password-file",
                         (folder / "old").string()})
                .status,
            kDone);
  ASSERT_EQ(On("other", {"keys", "export", "--yes", again}).status, kDone);
  EXPECT_EQ(Parsed(Read(keys))["keys"], Parsed(Read(again))["keys"]);
}

}  // namespace
