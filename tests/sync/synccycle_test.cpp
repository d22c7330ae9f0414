// Ticks: what they decide, tell, and leave alone.

#include "synctest.h"
#include "utils/globaldata.h"

namespace {

class SyncCycleTest : public SyncTest {};

TEST_F(SyncCycleTest, TickWithTheSwitchOffAsksNoCloud) {
  Add({LocalFile("l")});
  sync->SetSyncSwitch(false);
  EXPECT_TRUE(Cycle());
  EXPECT_TRUE(cloud.CallNames().empty());
  EXPECT_EQ(listener.Statuses(), (std::vector<Told>{{SyncStatus::PAUSE, 1}}));
}

TEST_F(SyncCycleTest, EmptyCloudIsANewAccount) {
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().mode, SyncModeNewAccount);
  EXPECT_EQ(VersionRow().HasDownAll, 1);
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().mode, SyncModeIncrement);
}

TEST_F(SyncCycleTest, IncrementTakesOverWhatAnotherDeviceDid) {
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  cloud.CreateAlbum("default-album-300-x", L"Trip");
  cloud.AddMedia("b", L"b.jpg", "default-album-300-x");
  cloud.Recycle("a");
  EXPECT_TRUE(Cycle());
  ExpectInStep();
  EXPECT_EQ(VersionRow().LatestVersion, cloud.Version());
  EXPECT_EQ(VersionRow().TempVersion, -1);
}

TEST_F(SyncCycleTest, VersionThatMovesEndsTheCycleAndStoresNone) {
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  const auto before = VersionRow().LatestVersion;
  cloud.AddMedia("b", L"b.jpg");
  std::atomic<int> versions{0};
  cloud.onCall = [&](const std::string& call) {
    if (call == "GetAllVersion" && ++versions == 2) cloud.AddMedia("c", L"c.jpg");
  };
  EXPECT_FALSE(Cycle());
  cloud.onCall = nullptr;
  EXPECT_TRUE(ToldStatus(SyncStatus::SYNCERROR));
  EXPECT_EQ(VersionRow().LatestVersion, before);
  EXPECT_EQ(sync->GetState().lastError.cause, "cloud ver has changed, quit sync process!");
  EXPECT_TRUE(Cycle());
  ExpectInStep();
}

TEST_F(SyncCycleTest, FailedPageKeepsItsPlace) {
  cloud.pageSize = 2;
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  for (int i = 0; i < 5; ++i) cloud.AddMedia("m" + std::to_string(i), L"m" + std::to_wstring(i) + L".jpg");
  std::atomic<int> pages{0};
  cloud.onCall = [&](const std::string& call) {
    if (call == "GetCloudIncrementFiles" && ++pages == 2) cloud.FailCall(1);
  };
  EXPECT_FALSE(Cycle());
  cloud.onCall = nullptr;
  EXPECT_EQ(VersionRow().TempVersion, cloud.Version());
  EXPECT_FALSE(VersionRow().Cursor.empty());
  cloud.ForgetCalls();
  RestartClient();
  EXPECT_TRUE(Cycle());
  // Of three pages the first is here.
  const auto calls = cloud.CallNames();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "GetCloudIncrementFiles"), 2);
  ExpectInStep();
  EXPECT_TRUE(VersionRow().Cursor.empty());
}

TEST_F(SyncCycleTest, CutFromTheFirstGenerationIsFollowedByABriefing) {
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  auto row = VersionRow();
  row.CloudPhotoVersion = "v1.0";
  ASSERT_TRUE(DBHelper::GetInstance().AddLocalVersion(row));
  cloud.ForgetCalls();
  EXPECT_TRUE(Cycle());
  EXPECT_TRUE(cloud.CallNames().empty());
  EXPECT_EQ(VersionRow().BriefingTime, 1);
  EXPECT_EQ(VersionRow().CloudPhotoVersion, "v2.0");
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().mode, SyncModeBriefing);
  ExpectInStep();
}

TEST_F(SyncCycleTest, FullCloudWithoutRoomEndsTheTick) {
  services.spaceInfo = [] { return SpaceInfo{0, 100, 0}; };
  MakeSync();
  EXPECT_FALSE(Cycle());
  EXPECT_EQ(sync->GetState().lastError.cause, "the cloud's space is used up");
  EXPECT_TRUE(cloud.CallNames().empty());
  EXPECT_EQ(listener.Statuses().back(), (Told{SyncStatus::IDLE, 0}));
}

TEST_F(SyncCycleTest, RefusedListingWaitsLongerEachTimeAndStopsAfterThree) {
  cloud.AddMedia("a", L"a.jpg");
  cloud.failures503 = 3;
  cloud.last503Ms = clock.ms;
  clock.ms += 1'200'000;
  EXPECT_FALSE(Cycle());
  EXPECT_EQ(gallery.FileCount(), 0u);
  clock.ms += 1;
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(gallery.FileCount(), 1u);
  RestartClient();
  ASSERT_TRUE(DBHelper::GetInstance().SetHasDownAll(0));
  cloud.failures503 = 4;
  clock.ms += 1'000'000'000;
  EXPECT_FALSE(Cycle());
}

TEST_F(SyncCycleTest, OneAndTwoRefusalsWaitFourAndTenMinutes) {
  for (const auto& [refusals, waitMs] : {std::pair{1, 240'000}, std::pair{2, 600'000}}) {
    StartAfresh();
    cloud.AddMedia("a", L"a.jpg");
    cloud.failures503 = refusals;
    cloud.last503Ms = clock.ms;
    clock.ms += waitMs;
    EXPECT_FALSE(Cycle()) << refusals;
    clock.ms += 1;
    EXPECT_TRUE(Cycle()) << refusals;
    EXPECT_EQ(gallery.FileCount(), 1u) << refusals;
  }
}

TEST_F(SyncCycleTest, NothingIsDeletedBecauseTheCloudIsSilent) {
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  const std::string before = TableTree();
  for (int call = 1; call < 8; ++call) {
    cloud.Touch();
    cloud.FailCall(call);
    (void)Cycle();
    EXPECT_EQ(TableTree(), before) << call;
  }
}

TEST_F(SyncCycleTest, StopLeavesTheNextTickEmpty) {
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  sync->StopSync();
  EXPECT_EQ(gallery.FileCount(), 0u);
  cloud.ForgetCalls();
  EXPECT_TRUE(Cycle());
  EXPECT_TRUE(cloud.CallNames().empty());
}

TEST_F(SyncCycleTest, PauseDuringACycleEndsItAsAPause) {
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  cloud.Touch();
  cloud.onCall = [&](const std::string& call) {
    if (call == "GetCloudIncrementFiles") sync->SetPaused(true);
  };
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().status, SyncStatus::PAUSE);
  cloud.onCall = nullptr;
  sync->SetPaused(false);
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(sync->GetState().status, SyncStatus::IDLE);
}

TEST_F(SyncCycleTest, FailedCycleIsInTheOperationLog) {
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  cloud.Touch();
  const OperationLog log;
  EXPECT_TRUE(log.Failures().empty());
  cloud.FailCall(1);
  EXPECT_FALSE(Cycle());
  EXPECT_EQ(log.Failures(), (std::vector<std::string>{"281 5 SyncStatus::SYNCERROR"}));
  cloud.onCall = [&](const std::string& call) {
    if (call != "GetCloudIncrementFiles") return;
    sync->SetPaused(true);
    cloud.FailCall(1);
  };
  EXPECT_FALSE(Cycle());
  EXPECT_EQ(log.Failures(),
            (std::vector<std::string>{"281 5 SyncStatus::SYNCERROR", "281 4 SyncStatus::PAUSE"}));
}

TEST_F(SyncCycleTest, DeletedAlbumGoesOnlyAfterAGoodPull) {
  cloud.CreateAlbum("default-album-300-x", L"Trip");
  cloud.AddMedia("a", L"a.jpg", "default-album-300-x");
  Settle();
  cloud.Delete("a");
  cloud.DeleteAlbum("default-album-300-x");
  cloud.FailCall(4);  // the last look at the version
  EXPECT_FALSE(Cycle());
  EXPECT_TRUE(gallery.GetAlbum("default-album-300-x"));
  EXPECT_TRUE(Cycle());
  EXPECT_FALSE(gallery.GetAlbum("default-album-300-x"));
  ExpectInStep();
}

}  // namespace
