// A backup is put back on the service: what was uploaded after it was made is not
// there any more, and goes up again from the computer that has it.

#include <set>

#include "accountapi.h"
#include "clitest.h"

namespace {

constexpr int kDone = 0;

class BackupTest : public CliTest {
 protected:
  void SetUp() override {
    folder.Write("password", "wonderland\n");
    for (const char* computer : {"giver", "seeker"}) {
      ASSERT_EQ(On(computer, {"login", "--server", cloud.Url(), "--user", "alice", "--password-file",
                              (folder / "password").string()})
                    .status,
                kDone);
    }
    cloud.BackUp(folder / "empty");
    Import("before", 0);
    ASSERT_EQ(On("giver", {"sync"}).status, kDone);
    cloud.BackUp(folder / "backup");
    Import("after", 10);
    ASSERT_EQ(On("giver", {"sync"}).status, kDone);
    ASSERT_EQ(On("seeker", {"sync"}).status, kDone);
  }
  void Import(const std::string& name, int first) {
    for (int i = first; i < first + 3; ++i)
      folder.Write(name + "/p" + std::to_string(i) + ".jpg", Picture(i));
    ASSERT_EQ(On("giver", {"import", (folder / name).string()}).status, kDone);
  }
  // The computers find it at its new port.
  void PutBack(const std::string& backup) {
    const std::string former = cloud.Url();
    cloud.PutBack(folder / backup);
    for (const char* computer : {"giver", "seeker"}) {
      const auto path = folder / computer / "config/ZentaraCloud/account.json";
      std::ifstream input(path);
      std::string text{std::istreambuf_iterator<char>(input), {}};
      const auto at = text.find(former);
      ASSERT_NE(at, std::string::npos);
      std::ofstream(path) << text.replace(at, former.size(), cloud.Url());
    }
    account.emplace(cloud);
  }
  Finished On(const std::string& computer, const std::vector<std::string>& words) {
    return RunProgram(Command(words, computer));
  }
  // "album/name" of all that other devices see.
  std::set<std::string> Pictures() {
    std::set<std::string> pictures;
    const Json::Value dump = account->Dump();
    for (const auto& file : dump["files"])
      pictures.insert(dump["albums"][file["album"].asString()]["name"].asString() + "/" +
                      file["name"].asString());
    return pictures;
  }

  CloudProcess cloud;
  std::optional<AccountApi> account;
  const std::set<std::string> all{"before/p0.jpg", "before/p1.jpg", "before/p2.jpg",
                                  "after/p10.jpg", "after/p11.jpg", "after/p12.jpg"};
};

TEST_F(BackupTest, WhatWasUploadedSinceGoesUpAgainAndIsCounted) {
  PutBack("backup");
  const Finished sync = On("giver", {"sync"});
  EXPECT_EQ(sync.status, kDone) << sync.output;
  EXPECT_NE(sync.output.find("\"requeued\":3"), std::string::npos) << sync.output;
  EXPECT_EQ(Pictures(), all);
  const Finished again = On("giver", {"sync"});
  EXPECT_EQ(again.status, kDone);
  EXPECT_EQ(again.output.find("\"requeued\":3"), std::string::npos) << again.output;
  EXPECT_EQ(On("giver", {"ls"}).Lines().size(), all.size());
}

// Another device went on at once: by its number alone the cloud is ahead of everybody.
TEST_F(BackupTest, NothingIsLostThoughTheCloudHasGrownPastTheVersionsOfAllDevices) {
  ASSERT_EQ(On("seeker", {"album", "create", "Own"}).status, kDone);
  for (int i = 20; i < 23; ++i) folder.Write("own/p" + std::to_string(i) + ".jpg", Picture(i));
  ASSERT_EQ(On("seeker", {"import", (folder / "own").string(), "--album", "Own"}).status, kDone);
  for (const char* computer : {"seeker", "giver"}) ASSERT_EQ(On(computer, {"sync"}).status, kDone);
  std::set<std::string> expected = all;
  expected.insert({"Own/p20.jpg", "Own/p21.jpg", "Own/p22.jpg"});
  AccountApi before(cloud);
  const std::int64_t reached = before.Version();
  PutBack("backup");
  for (int i = 0; account->Version() <= reached || i < 30; ++i) {
    const std::string name = "later" + std::to_string(i) + ".jpg";
    ASSERT_NE(account->AddMedia(name), "");
    expected.insert("default-album-1/" + name);
  }
  // Three devices: who comes first must not take what only the next one has.
  for (const char* computer : {"seeker", "giver", "seeker", "giver"}) {
    const Finished sync = On(computer, {"sync"});
    EXPECT_EQ(sync.status, kDone) << sync.output;
  }
  EXPECT_EQ(Pictures(), expected);
  for (const char* computer : {"seeker", "giver"})
    EXPECT_EQ(On(computer, {"ls"}).Lines().size(), expected.size()) << computer;
  // Once is enough.
  const Finished again = On("giver", {"sync"});
  EXPECT_EQ(again.output.find("\"requeued\":3"), std::string::npos) << again.output;
}

// An account that held nothing yet when the backup was made.
TEST_F(BackupTest, NothingIsLostThoughTheBackupHoldsNoPicture) {
  PutBack("empty");
  EXPECT_TRUE(Pictures().empty());
  const Finished sync = On("giver", {"sync"});
  EXPECT_EQ(sync.status, kDone) << sync.output;
  EXPECT_EQ(Pictures(), all);
}

}  // namespace
