// Pictures that wait for their upload while their files are away.

#include "accountapi.h"
#include "clitest.h"

namespace fs = std::filesystem;

namespace {

constexpr int kDone = 0, kFailed = 1;

class SourceTest : public CliTest {
 protected:
  void SetUp() override {
    folder.Write("password", "wonderland\n");
    ASSERT_EQ(Run({"login", "--server", cloud.Url(), "--user", "alice", "--password-file",
                   (folder / "password").string()})
                  .status,
              kDone);
    WritePictures("stick/Trip", 2);
    ASSERT_EQ(Run({"import", (folder / "stick").string()}).status, kDone);
  }
  // What a sync tells of sources, by name.
  std::map<std::string, std::string> Told(int expectedStatus) {
    const Finished sync = Run({"sync"});
    EXPECT_EQ(sync.status, expectedStatus) << sync.output;
    std::map<std::string, std::string> told;
    for (const auto& line : sync.Lines()) {
      const Json::Value document = Parsed(line);
      if (document.isMember("source")) told[document["fileName"].asString()] = document["source"].asString();
    }
    return told;
  }

  CloudProcess cloud;
  AccountApi api{cloud};
};

TEST_F(SourceTest, PicturesOfAFolderThatIsAwayAreToldAndGoUpWhenItIsBack) {
  fs::rename(folder / "stick", folder / "pocket");
  const std::map<std::string, std::string> both{{"p0.jpg", "away"}, {"p1.jpg", "away"}};
  EXPECT_EQ(Told(kFailed), both);
  EXPECT_EQ(Told(kFailed), both);
  EXPECT_EQ(Documents({"ls"}).size(), 2u);
  fs::rename(folder / "pocket", folder / "stick");
  EXPECT_TRUE(Told(kDone).empty());
  EXPECT_EQ(api.Dump()["files"].size(), 2u);
}

TEST_F(SourceTest, FileThatIsGoneFromItsFolderIsToldOnceAndLeaves) {
  fs::remove(folder / "stick/Trip/p0.jpg");
  EXPECT_EQ(Told(kFailed), (std::map<std::string, std::string>{{"p0.jpg", "gone"}}));
  EXPECT_EQ(Documents({"ls"}).size(), 1u);
  EXPECT_TRUE(Told(kDone).empty());
  EXPECT_EQ(api.Dump()["files"].size(), 1u);
}

// A second "Camera" would be told from the phone's by nobody.
TEST_F(SourceTest, FolderCalledLikeASystemAlbumGoesIntoThatAlbum) {
  ASSERT_EQ(Run({"sync"}).status, kDone);
  WritePictures("card/Camera", 3);
  fs::remove(folder / "card/Camera/p0.jpg");
  fs::remove(folder / "card/Camera/p1.jpg");
  ASSERT_EQ(Run({"import", (folder / "card").string()}).status, kDone);
  std::vector<std::string> cameras;
  for (const auto& album : Documents({"albums"}))
    if (album["name"].asString().starts_with("Camera")) cameras.push_back(album["id"].asString());
  EXPECT_EQ(cameras, std::vector<std::string>{"default-album-1"});
  ASSERT_EQ(Run({"sync"}).status, kDone);
  EXPECT_EQ(api.Dump()["files"].size(), 3u);
}

}  // namespace
