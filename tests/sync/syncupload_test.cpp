#include "synctest.h"
#include "transfer/gallerytransmanager.h"

namespace {

class SyncUploadTest : public SyncTest {
 protected:
  void Fill(int count) {
    for (int i = 0; i < count; ++i)
      cloud.AddMedia("m" + std::to_string(i), L"m" + std::to_wstring(i) + L".jpg");
    Settle();
    cloud.ForgetCalls();
  }
  int Count(const std::string& name) {
    const auto calls = cloud.CallNames();
    return static_cast<int>(std::count(calls.begin(), calls.end(), name));
  }
};

TEST_F(SyncUploadTest, OneBatchAndOneMore) {
  cloud.batchLimit = 3;
  Fill(4);
  for (int i = 0; i < 3; ++i) gallery.FavoriteFiles(gallery.GetFile("m" + std::to_string(i)), true);
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(Count("UploadModifyFile"), 1);
  for (int i = 0; i < 4; ++i) {
    const auto file = gallery.GetFile("m" + std::to_string(i));
    gallery.FavoriteFiles(file, !file->IsFavorite);
  }
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(Count("UploadModifyFile"), 3);
  ExpectInStep();
}

TEST_F(SyncUploadTest, MixedBatchSendsTheRecycledFirst) {
  Fill(2);
  gallery.FavoriteFiles(gallery.GetFile("m0"), true);
  gallery.RecycleFiles({gallery.GetFile("m1")}, false);
  EXPECT_TRUE(Cycle());
  EXPECT_FALSE(cloud.MediaInfo("m1").recycleAlbumId.empty());
  EXPECT_FALSE(cloud.MediaInfo("m0").favorite);
  EXPECT_TRUE(Cycle());
  EXPECT_TRUE(cloud.MediaInfo("m0").favorite);
  ExpectInStep();
}

TEST_F(SyncUploadTest, ChangeMadeWhileSendingStaysWaiting) {
  Fill(1);
  const auto file = gallery.GetFile("m0");
  gallery.FavoriteFiles(file, true);
  cloud.onCall = [&](const std::string& call) {
    if (call == "UploadModifyFile") gallery.FavoriteFiles(file, false);
  };
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(file->GalleryState, 2);
  cloud.onCall = nullptr;
  Settle();
  EXPECT_FALSE(cloud.MediaInfo("m0").favorite);
  ExpectInStep();
}

TEST_F(SyncUploadTest, RenameWhileAnAlbumIsSentStaysWaiting) {
  cloud.CreateAlbum("default-album-300-x", L"Trip");
  Settle();
  const auto album = gallery.GetAlbum("default-album-300-x");
  gallery.RenameAlbum(album, L"First");
  cloud.onCall = [&](const std::string& call) {
    if (call == "UploadModifyAlbum") gallery.RenameAlbum(album, L"Second");
  };
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(album->Operation.Get(), "1");
  cloud.onCall = nullptr;
  Settle();
  ExpectInStep();
}

TEST_F(SyncUploadTest, TakenAlbumNameGetsANumber) {
  Fill(1);
  gallery.CreateAlbum(L"Trip", false, -1);
  bool once = false;
  cloud.onCall = [&](const std::string& call) {
    if (call == "UploadCreateAlbum" && !std::exchange(once, true))
      cloud.CreateAlbum("default-album-300-x", L"Trip");
  };
  (void)Cycle();
  cloud.onCall = nullptr;
  Settle();
  EXPECT_NE(cloud.Tree().find("Trip(1)"), std::string::npos) << cloud.Tree();
  ExpectInStep();
}

TEST_F(SyncUploadTest, FileThatTheCloudLostGoesHereToo) {
  Fill(2);
  gallery.FavoriteFiles(gallery.GetFile("m0"), true);
  cloud.onCall = [&](const std::string& call) {
    if (call == "UploadModifyFile") cloud.Delete("m0");
  };
  (void)Cycle();
  cloud.onCall = nullptr;
  EXPECT_FALSE(gallery.GetFile("m0"));
  EXPECT_FALSE(Row("m0"));
}

TEST_F(SyncUploadTest, WaitingFileWithAMarkIsNeitherSentNorDeleted) {
  Fill(1);
  const auto file = LocalFile("waiting");
  Add({file});
  gallery.FavoriteFiles(file, true);
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(Count("UploadModifyFile"), 0);
  EXPECT_TRUE(gallery.GetFile("waiting"));
  EXPECT_TRUE(Row("waiting"));
}

TEST_F(SyncUploadTest, DeletedFilesAndAlbumsGoUp) {
  cloud.CreateAlbum("default-album-300-x", L"Trip");
  cloud.AddMedia("in", L"in.jpg", "default-album-300-x");
  Fill(2);
  gallery.DeleteFiles({gallery.GetFile("m0")}, false);
  gallery.DeleteAlbum(gallery.GetAlbum("default-album-300-x"));
  Settle();
  EXPECT_FALSE(cloud.Has("m0"));
  EXPECT_FALSE(cloud.MediaInfo("in").recycleAlbumId.empty());
  ExpectInStep();
}

TEST_F(SyncUploadTest, AlbumWithFilesOfAnotherDeviceSendsThemToTheBin) {
  cloud.CreateAlbum("default-album-300-x", L"Trip");
  Fill(1);
  gallery.DeleteAlbum(gallery.GetAlbum("default-album-300-x"));
  cloud.onCall = [&](const std::string& call) {
    if (call != "UploadDeleteAlbum") return;
    cloud.Edit("m0", [](CloudFileInfo& info) { info.albumId = "default-album-300-x"; });
  };
  (void)Cycle();
  cloud.onCall = nullptr;
  EXPECT_TRUE(gallery.GetFile("m0")->IsInBin());
  Settle();
  EXPECT_FALSE(cloud.MediaInfo("m0").recycleAlbumId.empty());
  ExpectInStep();
}

TEST_F(SyncUploadTest, ContentBeyondTheFreeSpaceStaysAndIsTold) {
  Fill(1);
  services.spaceInfo = [] { return SpaceInfo{0, 5000, 1500}; };
  std::vector<std::string> handed;
  GalleryTransManager::Engine engine;
  engine.upload = [&](const GalleryTransManager::Files& files) {
    for (const auto& file : files) handed.push_back(file->UniqueId());
  };
  GalleryTransManager::GetInstance().SetEngine(engine);
  RestartClient();
  ASSERT_TRUE(Cycle());
  Add({LocalFile("l1"), LocalFile("l2")});
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(handed.size(), 1u);
  const auto told = listener.Statuses();
  EXPECT_NE(std::find(told.begin(), told.end(), Told{SyncStatus::NOSPACE, 2}), told.end());
}

TEST_F(SyncUploadTest, HundredAndOneFilesMakeOnePass) {
  Fill(1);
  std::vector<std::size_t> passes;
  GalleryTransManager::Engine engine;
  engine.upload = [&](const GalleryTransManager::Files& files) { passes.push_back(files.size()); };
  GalleryTransManager::GetInstance().SetEngine(engine);
  Files files;
  for (int i = 0; i < 102; ++i) files.push_back(LocalFile("l" + std::to_string(i)));
  Add(files);
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(passes, (std::vector<std::size_t>{101, 1}));
}

}  // namespace
