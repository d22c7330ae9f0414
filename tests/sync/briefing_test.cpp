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
};

TEST_F(BriefingTest, ExpiredPeriodRepairsDrift) {
  // What no change tells of any more.
  gallery.RemoveFiles({gallery.GetFile("b")});
  ASSERT_TRUE(DBHelper::GetInstance().Execute("DELETE FROM GalleryFile WHERE UniqueId = 'b';"));
  Add({CloudFile("ghost")});
  cloud.Edit("a", [](CloudFileInfo& info) { info.favorite = true; });
  Expire();
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().mode, SyncMode::Briefing);
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
  EXPECT_TRUE(sync->BriefingFullUpdate(false));
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

TEST_F(BriefingTest, FileOnDiskThatTheCloudLacksGoesUpAgain) {
  const auto path = folder.Path() / "kept.jpg";
  std::FILE* made = std::fopen(path.c_str(), "w");
  ASSERT_TRUE(made);
  std::fclose(made);
  const auto file = CloudFile("kept");
  file->SetLocalPath(path.wstring());
  Add({file});
  Expire();
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(file->GalleryState, 1);
  EXPECT_EQ(sync->GetState().pendingUploads, 1u);
  EXPECT_FALSE(Row("kept"));
  EXPECT_TRUE(Row(file->UniqueId()));
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

TEST_F(BriefingTest, ZeroSizedFilesAreGivenBack) {
  std::vector<std::string> refunded;
  services.createRefundTasks = [&](const std::vector<RefundTask>& tasks, bool, std::function<void()> done) {
    for (const auto& task : tasks) refunded.push_back(task.fileId);
    done();
  };
  RestartClient();
  cloud.Edit("a", [](CloudFileInfo& info) { info.size = 0; });
  Expire();
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(refunded, std::vector<std::string>{"a"});
}

}  // namespace
