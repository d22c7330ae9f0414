#include <sqlite3.h>

#include "common/platform/paths.h"
#include "synctest.h"

namespace {

class FullSyncTest : public SyncTest {
 protected:
  // Does something at the request of the page of that number.
  void OnPage(int number, std::function<void()> act) {
    cloud.onCall = [act = std::move(act), number,
                    pages = std::make_shared<std::atomic<int>>(0)](const std::string& call) {
      if (call == "GetFiles" && ++*pages == number) act();
    };
  }
  void Fill(int count) {
    cloud.CreateAlbum("default-album-300-x", L"Trip");
    for (int i = 0; i < count; ++i) {
      cloud.AddMedia("m" + std::to_string(1000 + i), L"m" + std::to_wstring(i) + L".jpg",
                     i % 2 ? "default-album-300-x" : "default-album-1");
    }
  }
};

TEST_F(FullSyncTest, FirstDownloadBringsEverything) {
  Fill(250);
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().mode, SyncModeFull);
  EXPECT_EQ(VersionRow().HasDownAll, 1);
  EXPECT_TRUE(VersionRow().FileCursor.empty());
  EXPECT_EQ(DBHelper::GetInstance().GetMaxOffset(), 0);
  ExpectInStep();
  EXPECT_TRUE(ToldStatus(SyncStatus::ALBUMSREADY));
}

TEST_F(FullSyncTest, DownloadGoesOnAfterAnyPage) {
  cloud.pageSize = 10;
  Fill(55);
  for (int page = 1; page <= 6; ++page) {
    OnPage(2, [&] { cloud.FailCall(1); });
    (void)Cycle();
    cloud.onCall = nullptr;
    EXPECT_EQ(DBHelper::GetInstance().CountFiles(), std::min(page * 10, 55)) << page;
    RestartClient();
  }
  Settle();
  EXPECT_EQ(VersionRow().HasDownAll, 1);
  ExpectInStep();
}

// The first page cannot be stored while another connection writes, and that goes on
// until the second page is asked for.
TEST_F(FullSyncTest, NextPageIsAskedForWhileTheOneInFrontIsStored) {
  cloud.pageSize = 10;
  Fill(20);
  const auto& database = DBHelper::GetInstance();
  const auto file = platform::NativePath(database.UserFolder() + L"\\" + DBHelper::GetGalleryDBName("alice"));
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &other), SQLITE_OK);
  std::atomic<int> pages{0};
  cloud.onCall = [&](const std::string& call) {
    if (call != "GetFiles") return;
    const char* const order = ++pages == 1 ? "BEGIN IMMEDIATE" : "ROLLBACK";
    EXPECT_EQ(sqlite3_exec(other, order, nullptr, nullptr, nullptr), SQLITE_OK);
  };
  EXPECT_TRUE(Cycle());
  cloud.onCall = nullptr;
  sqlite3_close(other);
  EXPECT_EQ(pages, 2);
  ExpectInStep();
}

// Storing the page in front stores its cursor, which must not come back behind it.
TEST_F(FullSyncTest, CursorThatHasExpiredIsForgottenBehindThePageInFront) {
  cloud.pageSize = 10;
  Fill(20);
  OnPage(2, [&] { cloud.refusesCursors = true; });
  std::string whenForgotten;
  cloud.onForgetCursor = [&] { whenForgotten = VersionRow().FileCursor; };
  EXPECT_FALSE(Cycle());
  EXPECT_EQ(DBHelper::GetInstance().CountFiles(), 10);
  EXPECT_EQ(whenForgotten, "m1009");
}

TEST_F(FullSyncTest, ChangesWhileListingAreComparedAfterwards) {
  cloud.pageSize = 10;
  Fill(30);
  OnPage(3, [&] {
    cloud.Delete("m1001");
    cloud.AddMedia("a-early", L"early.jpg");
  });
  EXPECT_TRUE(Cycle());
  cloud.onCall = nullptr;
  EXPECT_EQ(VersionRow().HasDownAll, 1);
  ExpectInStep();
}

TEST_F(FullSyncTest, FarBehindInterruptedDownloadIsCompared) {
  cloud.pageSize = 30;
  Fill(90);
  OnPage(3, [&] { cloud.FailCall(1); });
  EXPECT_FALSE(Cycle());
  cloud.onCall = nullptr;
  cloud.Delete("m1000");
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().mode, SyncModeBriefing);
  ExpectInStep();
}

TEST_F(FullSyncTest, EarlyInterruptedDownloadStartsAgain) {
  cloud.pageSize = 10;
  Fill(90);
  OnPage(3, [&] { cloud.FailCall(1); });
  EXPECT_FALSE(Cycle());
  cloud.onCall = nullptr;
  cloud.Delete("m1000");
  cloud.Delete("m1003");
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().mode, SyncModeFull);
  Settle();
  ExpectInStep();
}

TEST_F(FullSyncTest, NegativeOffsetsCountAgainstWhatIsDown) {
  Fill(3);
  auto row = AlbumLocalVersion();
  row.AlbumVersion = "1";
  row.CloudPhotoVersion = "v2.0";
  ASSERT_TRUE(DBHelper::GetInstance().AddLocalVersion(row));
  const auto far = CloudFile("m1000"), recycled = CloudFile("m1001");
  far->Offset = 60;
  recycled->Offset = -20;
  ASSERT_TRUE(DBHelper::GetInstance().AddFiles({far, recycled}));
  EXPECT_EQ(sync->GetSyncMode(), SyncModeFull);
  far->Offset = 70;
  row.LatestVersion = 0;
  ASSERT_TRUE(DBHelper::GetInstance().AddLocalVersion(row));
  ASSERT_TRUE(DBHelper::GetInstance().AddFiles({far}));
  EXPECT_EQ(sync->GetSyncMode(), SyncModeBriefing);
}

TEST_F(FullSyncTest, ExpiredCursorListsAgainAndKeepsWaitingChanges) {
  Fill(20);
  Settle();
  gallery.FavoriteFiles(gallery.GetFile("m1001"), true);
  const auto mine = gallery.CreateAlbum(L"Mine", false, -1);
  cloud.Delete("m1002");
  // What the cloud layer does when the service says so.
  auto& database = DBHelper::GetInstance();
  ASSERT_TRUE(database.Execute("Delete From GalleryFile Where GalleryState = 0;"));
  ASSERT_TRUE(database.ClearOffsets());
  ASSERT_TRUE(database.Execute("DELETE FROM AlbumLocalVersion; "));
  ASSERT_TRUE(database.ClearAlbums());
  Settle();
  EXPECT_TRUE(cloud.MediaInfo("m1001").favorite);
  EXPECT_NE(cloud.Tree().find("Mine"), std::string::npos);
  ExpectInStep();
}

TEST_F(FullSyncTest, FileChangedAfterItsRowWasForgottenIsStoredAgain) {
  Fill(3);
  Settle();
  auto& store = DBHelper::GetInstance();
  ASSERT_TRUE(store.Execute("Delete From GalleryFile Where GalleryState = 0;"));
  ASSERT_TRUE(store.Execute("DELETE FROM AlbumLocalVersion; "));
  ASSERT_TRUE(store.ClearAlbums());
  gallery.FavoriteFiles(gallery.GetFile("m1001"), true);
  gallery.RecycleFiles({gallery.GetFile("m1000")}, false);
  Settle();
  EXPECT_FALSE(cloud.MediaInfo("m1000").recycleAlbumId.empty());
  ExpectInStep();
}

TEST_F(FullSyncTest, FailedAlbumListIsTold) {
  Fill(1);
  cloud.FailCall(2);
  EXPECT_FALSE(Cycle());
  EXPECT_EQ(listener.Notified().back(), 1);
  EXPECT_TRUE(ToldStatus(SyncStatus::SYNCERROR));
  EXPECT_EQ(VersionRow().HasDownAll, 0);
}

TEST_F(FullSyncTest, HiddenLostFileKeepsItsPathInAFullListing) {
  Fill(3);
  cloud.Edit("m1001", [](CloudFileInfo& info) { info.cloudContentStatus = 2; });
  Settle();
  const auto file = gallery.GetFile("m1001");
  const std::string guid = file->Guid();
  file->SetLocalPath(L"/pictures/m1001.jpg");
  file->IsLocalUpload = true;
  ASSERT_TRUE(DBHelper::GetInstance().AddFiles({file}));
  HideLostFiles();
  RestartClient();
  ASSERT_TRUE(DBHelper::GetInstance().SetHasDownAll(0));
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().mode, SyncModeResume);
  EXPECT_FALSE(gallery.GetFile("m1001"));
  const auto row = Row("m1001");
  EXPECT_EQ(row->LocalPath(), L"/pictures/m1001.jpg");
  EXPECT_EQ(row->Guid(), guid);
  EXPECT_TRUE(row->IsLocalUpload);
}

TEST_F(FullSyncTest, WaitingChangeOfAHiddenFileSurvivesAFullListing) {
  Fill(3);
  cloud.Edit("m1001", [](CloudFileInfo& info) { info.cloudContentStatus = 2; });
  Settle();
  gallery.FavoriteFiles(gallery.GetFile("m1001"), true);
  HideLostFiles();
  RestartClient();
  ASSERT_TRUE(DBHelper::GetInstance().SetHasDownAll(0));
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(Row("m1001")->GalleryState, 2);
  Settle();
  EXPECT_TRUE(cloud.MediaInfo("m1001").favorite);
}

TEST_F(FullSyncTest, FileThatAListingTellsTwiceKeepsItsRow) {
  cloud.pageSize = 2;
  cloud.overlappingPages = true;
  Fill(3);
  EXPECT_TRUE(Cycle());
  ExpectInStep();
  for (const std::string id : {"m1000", "m1001", "m1002"})
    EXPECT_EQ(Row(id)->Guid(), gallery.GetFile(id)->Guid()) << id;
}

TEST_F(FullSyncTest, UnknownVersionBehindAListingIsAnErrorAndListsAgain) {
  Fill(3);
  cloud.onCall = [this](const std::string& call) {
    if (call == "GetAllVersion" && DBHelper::GetInstance().CountFiles() > 0) cloud.FailCall(1);
  };
  EXPECT_FALSE(Cycle());
  EXPECT_EQ(sync->GetState().lastError.cause, "All DownLoad V2 Faild");
  EXPECT_EQ(VersionRow().HasDownAll, 0);
  cloud.onCall = nullptr;
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(VersionRow().HasDownAll, 1);
  ExpectInStep();
}

TEST_F(FullSyncTest, AlbumsThatCannotBeReadAreTold) {
  ASSERT_TRUE(DBHelper::GetInstance().Execute("DROP TABLE Album;"));
  EXPECT_FALSE(sync->LoadDataToMemory());
  EXPECT_EQ(listener.Notified(), std::vector<std::int32_t>{1});
}

TEST_F(FullSyncTest, FilesAddedBeforeTheFirstDownloadAreThereAfterIt) {
  Add({LocalFile("waiting")});
  RestartClient();
  Fill(3);
  EXPECT_TRUE(Cycle());
  EXPECT_TRUE(gallery.GetFile("waiting"));
}

}  // namespace
