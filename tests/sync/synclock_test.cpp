#include "synctest.h"
#include "transfer/gallerytransmanager.h"

namespace {

class SyncLockTest : public SyncTest {
 protected:
  void SetUp() override {
    SyncTest::SetUp();
    cloud.AddMedia("a", L"a.jpg");
    Settle();
    cloud.ForgetCalls();
  }
  void TearDown() override {
    sync->ReleaseLock();
    SyncTest::TearDown();
  }
  int Count(const std::string& name) {
    const auto calls = cloud.CallNames();
    return static_cast<int>(std::count(calls.begin(), calls.end(), name));
  }
};

TEST_F(SyncLockTest, HeldLockIsTakenWithoutARequest) {
  EXPECT_TRUE(sync->Lock());
  cloud.ForgetCalls();
  EXPECT_TRUE(sync->Lock());
  EXPECT_TRUE(cloud.CallNames().empty());
  EXPECT_TRUE(sync->GetState().lockHeld);
  sync->ReleaseLock();
  EXPECT_FALSE(cloud.IsLocked());
  EXPECT_FALSE(sync->GetState().lockHeld);
}

TEST_F(SyncLockTest, LockThatNeedsNoKeepingStillPulls) {
  cloud.AddMedia("b", L"b.jpg");
  EXPECT_TRUE(sync->Lock());
  EXPECT_TRUE(gallery.GetFile("b"));
  EXPECT_EQ(Count("KeepLock"), 0);
}

TEST_F(SyncLockTest, FailedPullGivesTheLockBack) {
  cloud.AddMedia("b", L"b.jpg");
  cloud.FailCall(3);
  EXPECT_FALSE(sync->Lock());
  EXPECT_FALSE(cloud.IsLocked());
}

TEST_F(SyncLockTest, LostLockStopsTheUploadAndTheNextCycleDoesIt) {
  cloud.keepInterval = 1;
  cloud.keepLockFails = true;
  gallery.FavoriteFiles(gallery.GetFile("a"), true);
  cloud.onCall = [this](const std::string& call) {
    if (call != "UploadModifyFile") return;
    for (int i = 0; i < 500 && Count("KeepLock") == 0; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  };
  EXPECT_FALSE(Cycle());
  EXPECT_EQ(Count("KeepLock"), 1);
  EXPECT_FALSE(cloud.IsLocked());
  cloud.onCall = nullptr;
  cloud.keepLockFails = false;
  Settle();
  ExpectInStep();
}

TEST_F(SyncLockTest, RefusedLockLeavesTheChangeWaiting) {
  gallery.FavoriteFiles(gallery.GetFile("a"), true);
  cloud.onCall = [this](const std::string& call) {
    if (call == "GetLock") cloud.FailCall(1);
  };
  EXPECT_FALSE(Cycle());
  cloud.onCall = nullptr;
  EXPECT_EQ(sync->GetState().status, SyncStatus::IDLE);
  EXPECT_EQ(gallery.GetFile("a")->GalleryState, 2);
  EXPECT_FALSE(cloud.MediaInfo("a").favorite);
}

TEST_F(SyncLockTest, RefundHoldsTheLockUntilItsTasksEnd) {
  std::function<void()> done;
  services.createRefundTasks = [&](const std::vector<RefundTask>& tasks, bool held,
                                   std::function<void()> then) {
    EXPECT_EQ(tasks.size(), 1u);
    EXPECT_TRUE(held);
    done = std::move(then);
  };
  RestartClient();
  ASSERT_TRUE(Cycle());
  EXPECT_TRUE(sync->RefundGetLock({}, 0, false));
  EXPECT_TRUE(sync->RefundGetLock({"unknown"}, 0, false));
  EXPECT_FALSE(done);
  EXPECT_TRUE(sync->RefundGetLock({"a", "unknown"}, 0, false));
  gallery.FavoriteFiles(gallery.GetFile("a"), true);
  EXPECT_TRUE(Cycle());
  EXPECT_TRUE(cloud.IsLocked());
  done();
  EXPECT_FALSE(cloud.IsLocked());
}

TEST_F(SyncLockTest, WorkUnderTheLockLeavesItToTasksThatHoldIt) {
  std::function<void()> done;
  services.createRefundTasks = [&](const std::vector<RefundTask>&, bool, std::function<void()> then) {
    done = std::move(then);
  };
  RestartClient();
  ASSERT_TRUE(Cycle());
  EXPECT_TRUE(sync->WithLock([this] { return cloud.IsLocked(); }));
  EXPECT_FALSE(cloud.IsLocked());
  ASSERT_TRUE(sync->RefundGetLock({"a"}, 0, false));
  EXPECT_TRUE(sync->WithLock([this] { return cloud.IsLocked(); }));
  EXPECT_TRUE(cloud.IsLocked());
  done();
  EXPECT_FALSE(cloud.IsLocked());
}

TEST_F(SyncLockTest, CycleDoesNotBeginDuringWorkBetweenCycles) {
  EXPECT_TRUE(sync->BetweenCycles([this] { return !Cycle(); }));
  EXPECT_TRUE(Cycle());
  sync->StopSync();
  EXPECT_FALSE(sync->BetweenCycles([] { return true; }));
}

}  // namespace
