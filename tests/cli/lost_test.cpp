// Originals that the cloud has lost: one computer finds out, another one gives
// them back, and the first gets the right bytes afterwards.

#include <csignal>

#include "accountapi.h"
#include "clitest.h"
#include "photocloud/base/json.h"

namespace {

constexpr int kDone = 0, kFailed = 1, kDamaged = 2;
constexpr int kLost = 2;  // "cloudContentStatus"

class LostOriginalTest : public CliTest {
 protected:
  // A picture that "giver" has uploaded and "seeker" has seen.
  void SetUp() override {
    folder.Write("password", "wonderland\n");
    WritePictures("pictures", 1);
    for (const char* computer : {"giver", "seeker"}) {
      ASSERT_EQ(On(computer, {"login", "--server", cloud.Url(), "--user", "alice", "--password-file",
                              (folder / "password").string()})
                    .status,
                kDone);
    }
    ASSERT_EQ(On("giver", {"import", (folder / "pictures").string()}).status, kDone);
    ASSERT_EQ(On("giver", {"sync"}).status, kDone);
    ASSERT_EQ(On("seeker", {"sync"}).status, kDone);
    id = account.Call("GET", "/media?fields=media(id)").json["media"][0]["id"].asString();
    ASSERT_FALSE(id.empty());
  }
  Finished On(const std::string& computer, const std::vector<std::string>& words) {
    return RunProgram(Command(words, computer));
  }
  std::vector<std::string> Download() {
    return Command({"download", id, "--to", (folder / "target").string()}, "seeker");
  }
  int ContentStatus(const std::string& computer) {
    const auto told = On(computer, {"show", id});
    const auto info = photocloud::ParseJson(told.output);
    return info && info->isObject() ? (*info)["cloudContentStatus"].asInt() : -1;
  }
  // The walk comes once in so many days; without them at once.
  void WalkOverTheLosts() {
    folder.Write("giver/config/ZentaraCloud/settings.json", R"({"cloudPhotoAssetRefundPeriodDays":0})");
    cloud.ForgetRequests();
    Process watch(Command({"sync", "--watch"}, "giver"));
    cloud.AwaitRequest("media/" + id);
    watch.Signal(SIGINT);
    EXPECT_EQ(watch.Wait(), kDone);
  }
  std::string Read(const std::string& path) const {
    std::ifstream file(folder / path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::size_t MediaCount() { return account.Call("GET", "/media?fields=media(id)").json["media"].size(); }

  CloudProcess cloud;
  AccountApi account{cloud};
  std::string id;
};

TEST_F(LostOriginalTest, OtherComputerGivesItBackAndTheDownloadEnds) {
  cloud.Action("loseObject", R"(,"mediaId":")" + id + "\"");
  Process download(Download());
  while (download.Running() && ContentStatus("seeker") != kLost) {
  }
  download.Signal(SIGINT);
  EXPECT_EQ(download.Wait(), kFailed);
  EXPECT_EQ(ContentStatus("seeker"), kLost);
  EXPECT_EQ(Read("target/p0.jpg"), "");
  WalkOverTheLosts();
  EXPECT_EQ(On("seeker", {"retry"}).status, kDone);
  EXPECT_EQ(Read("target/p0.jpg"), Read("pictures/p0.jpg"));
  EXPECT_EQ(MediaCount(), 1u);
  EXPECT_EQ(account.Call("GET", "/losts").json["media"].size(), 0u);
}

TEST_F(LostOriginalTest, DamageThatACheckFindsIsMendedTheSameWay) {
  cloud.Action("damageObject", R"(,"mediaId":")" + id + "\"");
  const Finished check = RunProgram({PHOTOCLOUD_PROGRAM, "check", "--data", cloud.Data().string()});
  EXPECT_EQ(check.status, kDamaged) << check.output;
  EXPECT_NE(check.output.find("lost alice/" + id), std::string::npos) << check.output;
  EXPECT_EQ(account.Call("GET", "/losts").json["media"].size(), 1u);
  WalkOverTheLosts();
  EXPECT_EQ(account.Call("GET", "/losts").json["media"].size(), 0u);
  EXPECT_EQ(RunProgram({PHOTOCLOUD_PROGRAM, "check", "--data", cloud.Data().string()}).status, kDone);
  EXPECT_EQ(RunProgram(Download()).status, kDone);
  EXPECT_EQ(Read("target/p0.jpg"), Read("pictures/p0.jpg"));
}

TEST_F(LostOriginalTest, SyncTellsOfItAndGivesItBackWhenAsked) {
  cloud.Action("damageObject", R"(,"mediaId":")" + id + "\"");
  const std::vector<std::string> check = {PHOTOCLOUD_PROGRAM, "check", "--data", cloud.Data().string()};
  EXPECT_EQ(RunProgram(check).status, kDamaged);
  Finished sync = On("seeker", {"sync"});
  EXPECT_EQ(sync.status, kDone);
  EXPECT_NE(sync.output.find(R"("lostContents":1,"lostContentsHere":0)"), std::string::npos) << sync.output;
  sync = On("giver", {"sync"});
  EXPECT_EQ(sync.status, kDone);
  EXPECT_NE(sync.output.find(R"("lostContents":1,"lostContentsHere":1)"), std::string::npos) << sync.output;
  EXPECT_EQ(account.Call("GET", "/losts").json["media"].size(), 1u);
  sync = On("giver", {"sync", "--give-back"});
  EXPECT_EQ(sync.status, kDone) << sync.output;
  EXPECT_EQ(sync.output.find("lostContents"), std::string::npos) << sync.output;
  EXPECT_EQ(account.Call("GET", "/losts").json["media"].size(), 0u);
  EXPECT_EQ(RunProgram(check).status, kDone);
  EXPECT_EQ(MediaCount(), 1u);
  EXPECT_FALSE(account.IsLocked());
  for (const char* computer : {"giver", "seeker"}) {
    sync = On(computer, {"sync"});
    EXPECT_EQ(sync.output.find("lostContents"), std::string::npos) << sync.output;
  }
  EXPECT_EQ(RunProgram(Download()).status, kDone);
  EXPECT_EQ(Read("target/p0.jpg"), Read("pictures/p0.jpg"));
}

}  // namespace
