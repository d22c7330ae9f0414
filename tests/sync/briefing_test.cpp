#include "synctest.h"

namespace {

class BriefingTest : public SyncTest {
 protected:
  void SetUp() override {
    SyncTest::SetUp();
    cloud.AddMedia("a", L"a.jpg");
    cloud.AddMedia("b", L"b.jpg");
    Settle();
    cloud.ForgetCalls();
  }
  // The next tick finds the period over.
  void Expire() { clock.ms += 31 * kDayMs + 40'000; }
  // A file of the cloud whose original lies on this disk.
  FilePtr AddOnDisk(const std::string& id) {
    const auto file = CloudFile(id);
    file->SetLocalPath(folder.Write(id + ".jpg", "picture"));
    Add({file});
    return file;
  }
  // Content tasks end at once; their ids are kept.
  void TakeRefunds() {
    services.createRefundTasks = [this](const std::vector<RefundTask>& tasks, bool,
                                        const std::function<void()>& done) {
      for (const auto& task : tasks) refunded.push_back(task.fileId);
      done();
    };
    RestartClient();
  }
  // What the cloud layer does when a pull starts behind the history.
  void ForgetRowsWhenHistoryIsGone() {
    cloud.onCall = [this](const std::string& call) {
      if (call != "GetCloudIncrementFiles" || VersionRow().LatestVersion >= cloud.minVersion) return;
      auto& database = DBHelper::GetInstance();
      EXPECT_TRUE(database.Execute("Delete From GalleryFile Where GalleryState = 0;"));
      EXPECT_TRUE(database.Execute("DELETE FROM AlbumLocalVersion; "));
      EXPECT_TRUE(database.ClearAlbums());
      cloud.FailCall(1);
    };
  }
  std::vector<std::string> refunded;
};

TEST_F(BriefingTest, ExpiredPeriodRepairsDrift) {
  // What no change tells of any more.
  gallery.RemoveFiles({gallery.GetFile("b")});
  ASSERT_TRUE(DBHelper::GetInstance().Execute("DELETE FROM GalleryFile WHERE UniqueId = 'b';"));
  Add({CloudFile("ghost")});
  cloud.Edit("a", [](CloudFileInfo& info) { info.favorite = true; });
  Expire();
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().mode, SyncModeBriefing);
  ExpectInStep();
  EXPECT_EQ(VersionRow().BriefingTime, clock.ms);
  EXPECT_EQ(VersionRow().LatestVersion, cloud.Version());
}

TEST_F(BriefingTest, BrokenListingDeletesNothing) {
  Add({CloudFile("ghost")});
  cloud.pageSize = 1;
  for (int page = 1; page <= 2; ++page) {
    Expire();
    std::atomic<int> pages{0};
    cloud.onCall = [&](const std::string& call) {
      if (call == "GetFiles" && ++pages == page) cloud.FailCall(1);
    };
    EXPECT_FALSE(Cycle());
    EXPECT_TRUE(Row("ghost")) << page;
    EXPECT_TRUE(gallery.GetFile("ghost")) << page;
  }
}

TEST_F(BriefingTest, EmptyListingDeletesNothing) {
  cloud.emptyListing = true;
  Expire();
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(gallery.FileCount(), 2u);
}

TEST_F(BriefingTest, EmptyGalleryAsksForNoListing) {
  gallery.Init();
  cloud.ForgetCalls();
  EXPECT_TRUE(sync->BriefingFullUpdate());
  EXPECT_TRUE(cloud.CallNames().empty());
}

TEST_F(BriefingTest, FileThatWaitsForUploadSurvives) {
  const auto waiting = LocalFile("waiting");
  Add({waiting});
  gallery.FavoriteFiles(waiting, true);
  Expire();
  EXPECT_TRUE(Cycle());
  EXPECT_TRUE(gallery.GetFile("waiting"));
  EXPECT_TRUE(Row("waiting"));
}

TEST_F(BriefingTest, ExpiredComparisonDoesNotBringDeletedFilesBack) {
  AddOnDisk("kept");
  Expire();
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().pendingUploads, 0u);
  EXPECT_FALSE(gallery.GetFile("kept"));
  EXPECT_FALSE(Row("kept"));
}

TEST_F(BriefingTest, HistoryThatIsGoneUploadsFilesOnDiskAgain) {
  const auto file = AddOnDisk("kept"), withoutGuid = AddOnDisk("bare");
  withoutGuid->SetGuid("");
  cloud.Touch();
  cloud.minVersion = cloud.Version();
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(file->GalleryState, 1);
  EXPECT_EQ(sync->GetState().pendingUploads, 2u);
  EXPECT_FALSE(Row("kept"));
  EXPECT_TRUE(Row("guid-of-kept"));
  EXPECT_FALSE(Row("bare"));
  ASSERT_FALSE(withoutGuid->UniqueId().empty());
  EXPECT_TRUE(Row(withoutGuid->UniqueId()));
}

TEST_F(BriefingTest, ChangeThatWaitsIsNotOverwritten) {
  gallery.FavoriteFiles(gallery.GetFile("a"), true);
  cloud.Edit("a", [](CloudFileInfo& info) { info.size = 5; });
  Expire();
  Settle();
  EXPECT_TRUE(cloud.MediaInfo("a").favorite);
}

TEST_F(BriefingTest, HistoryThatIsGoneIsReplacedByAComparison) {
  cloud.Delete("a");
  cloud.AddMedia("c", L"c.jpg");
  cloud.minVersion = cloud.Version();
  EXPECT_TRUE(Cycle());
  ExpectInStep();
}

TEST_F(BriefingTest, HistoryThatIsGoneFillsAnEmptyGallery) {
  cloud.Delete("a");
  cloud.Delete("b");
  Settle();
  ASSERT_EQ(gallery.FileCount(), 0u);
  cloud.AddMedia("c", L"c.jpg");
  cloud.minVersion = cloud.Version();
  Settle();
  ExpectInStep();
}

// Such a listing may be all that the account holds: no pull could ever close the gap.
TEST_F(BriefingTest, EmptyListingInAHistoryGapIsComparedAgainByTheNextTick) {
  cloud.Delete("a");
  cloud.AddMedia("c", L"c.jpg");
  cloud.minVersion = cloud.Version();
  cloud.emptyListing = true;
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(gallery.FileCount(), 2u);
  cloud.emptyListing = false;
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().mode, SyncModeBriefing);
  ExpectInStep();
}

TEST_F(BriefingTest, EmptyAccountBehindAHistoryGapTakesChanges) {
  cloud.Delete("a");
  cloud.Delete("b");
  cloud.minVersion = cloud.Version();
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(Cycle()) << i;
  EXPECT_EQ(sync->GetState().mode, SyncModeIncrement);
  ASSERT_TRUE(gallery.CreateAlbum(L"Trip", false, -1));
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(cloud.AlbumIds().size(), 2u);
}

TEST_F(BriefingTest, ZeroSizedFileDuringAHistoryGapKeepsTheRows) {
  TakeRefunds();
  cloud.Edit("a", [](CloudFileInfo& info) { info.size = 0; });
  cloud.minVersion = cloud.Version();
  ForgetRowsWhenHistoryIsGone();
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(refunded, std::vector<std::string>{"a"});
  ExpectInStep();
}

TEST_F(BriefingTest, ZeroSizedFileAfterACutKeepsTheRows) {
  TakeRefunds();
  cloud.Edit("a", [](CloudFileInfo& info) { info.size = 0; });
  cloud.minVersion = cloud.Version();
  auto row = VersionRow();
  row.CloudPhotoVersion = "v1.0";
  row.LatestVersion = 1;
  ASSERT_TRUE(DBHelper::GetInstance().AddLocalVersion(row));
  ForgetRowsWhenHistoryIsGone();
  EXPECT_TRUE(Cycle());
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().mode, SyncModeBriefing);
  EXPECT_EQ(refunded, std::vector<std::string>{"a"});
  ExpectInStep();
}

TEST_F(BriefingTest, SecondComparisonIsToldThatOneRuns) {
  int second = 0;
  cloud.onCall = [&](const std::string& call) {
    if (call == "GetFiles") second = sync->Briefing(1);
  };
  EXPECT_EQ(sync->Briefing(1), 0);
  EXPECT_EQ(second, 2);
  cloud.onCall = nullptr;
  EXPECT_EQ(sync->Briefing(2), 0);
}

TEST_F(BriefingTest, PushDuringAFullListingIsRefused) {
  ASSERT_TRUE(DBHelper::GetInstance().SetHasDownAll(0));
  std::vector<int> results;
  cloud.onCall = [&](const std::string& call) {
    if (call == "GetFiles" && results.empty()) results = {sync->Briefing(2), sync->Briefing(2)};
  };
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(results, (std::vector<int>{4, 4}));
}

TEST_F(BriefingTest, CancelledComparisonDeletesNothing) {
  Add({CloudFile("ghost")});
  cloud.pageSize = 1;
  Expire();
  cloud.onCall = [&](const std::string& call) {
    if (call == "GetFiles") sync->StopSync();
  };
  EXPECT_FALSE(Cycle());
  EXPECT_TRUE(Row("ghost"));
}

TEST_F(BriefingTest, ZeroSizedFilesAreGivenBack) {
  TakeRefunds();
  cloud.Edit("a", [](CloudFileInfo& info) { info.size = 0; });
  Expire();
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(refunded, std::vector<std::string>{"a"});
}

}  // namespace
