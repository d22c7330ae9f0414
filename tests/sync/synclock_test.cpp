#include <semaphore>

#include "host/transfer/galleryupthdmng.h"
#include "support/faketask.h"
#include "synctest.h"
#include "transfer/gallerytransmanager.h"
#include "utils/globaldata.h"

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
    while (sync->GetState().lastError.step != "SyncHelper::KeepLock") std::this_thread::yield();
  };
  EXPECT_FALSE(Cycle());
  EXPECT_EQ(Count("KeepLock"), 1);
  EXPECT_FALSE(cloud.IsLocked());
  cloud.onCall = nullptr;
  cloud.keepLockFails = false;
  Settle();
  ExpectInStep();
}

TEST_F(SyncLockTest, KeptLockIsKeptAgainAfterHalfOfTheAnsweredTime) {
  std::counting_semaphore<> kept{0};
  std::vector<std::chrono::steady_clock::time_point> times;
  cloud.keepInterval = 1;
  cloud.onCall = [&](const std::string& call) {
    if (call != "KeepLock") return;
    times.push_back(std::chrono::steady_clock::now());
    cloud.keepInterval = 2;
    kept.release();
  };
  EXPECT_TRUE(sync->Lock());
  kept.acquire();
  kept.acquire();
  EXPECT_TRUE(cloud.IsLocked());
  sync->ReleaseLock();
  EXPECT_FALSE(cloud.IsLocked());
  EXPECT_GE(times[1] - times[0], std::chrono::seconds(1));
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

TEST_F(SyncLockTest, RefundThatEndsDuringACycleLeavesItTheLock) {
  std::function<void()> done;
  services.createRefundTasks = [&](const std::vector<RefundTask>&, bool, std::function<void()> then) {
    done = std::move(then);
  };
  RestartClient();
  ASSERT_TRUE(Cycle());
  ASSERT_TRUE(sync->RefundGetLock({"a"}, 0, false));
  gallery.FavoriteFiles(gallery.GetFile("a"), true);
  bool uploaded = false;
  cloud.onCall = [&](const std::string& call) {
    if (call != "UploadModifyFile") return;
    uploaded = true;
    done();
    EXPECT_TRUE(cloud.IsLocked());
  };
  EXPECT_TRUE(Cycle());
  EXPECT_TRUE(uploaded);
  EXPECT_FALSE(cloud.IsLocked());
}

TEST_F(SyncLockTest, RefundWithoutTheLockHasFailedAndReleasesNothing) {
  services.createRefundTasks = [&](const std::vector<RefundTask>&, bool held, std::function<void()> then) {
    EXPECT_FALSE(held);
    then();
  };
  RestartClient();
  ASSERT_TRUE(Cycle());
  cloud.FailCall(1);
  EXPECT_FALSE(sync->RefundGetLock({"a"}, 0, false));
  EXPECT_EQ(Count("ReleaseLock"), 0);
}

// The service answers another generation while a lock is held and a pull runs.
TEST_F(SyncLockTest, CutDuringARefundDoesNotEndTheProcess) {
  std::function<void()> done;
  services.createRefundTasks = [&](const std::vector<RefundTask>&, bool held, std::function<void()> then) {
    if (held) done = std::move(then);
  };
  RestartClient();
  ASSERT_TRUE(Cycle());
  ASSERT_TRUE(sync->RefundGetLock({"a"}, 0, false));
  cloud.Touch();
  cloud.onCall = [this](const std::string& call) {
    if (call != "GetAlbums") return;
    cloud.generation = GlobalData::kGenerationUnknown;
    EXPECT_FALSE(sync->RefundGetLock({"a"}, 0, false));
  };
  EXPECT_TRUE(Cycle());
  cloud.onCall = nullptr;
  EXPECT_FALSE(Cycle());
  EXPECT_TRUE(cloud.IsLocked());
  done();
  EXPECT_FALSE(cloud.IsLocked());
  cloud.generation = GlobalData::kGenerationV2;
}

// Which begin only behind the first cycle: it loads the gallery.
TEST_F(SyncLockTest, RefundsOfTheLastRunFollowTheFirstGoodCycle) {
  std::binary_semaphore begun{0}, started{0};
  std::vector<RefundTask> resumed;
  services.pendingUploads = [] { return std::vector<std::string>{"a"}; };
  services.createRefundTasks = [&](const std::vector<RefundTask>& tasks, bool held,
                                   std::function<void()> then) {
    if (!held) return then();
    resumed = tasks;
    then();
  };
  RestartClient();
  int calls = 0, locks = 0;
  cloud.onCall = [&](const std::string& call) {
    if (calls++ == 0) {
      begun.release();
      started.acquire();
    }
    if (call == "GetLock" && locks++ == 0) cloud.FailCall(1);
  };
  sync->StartSync();
  begun.acquire();
  EXPECT_EQ(locks, 0);
  started.release();
  sync->StopTimer();
  EXPECT_EQ(locks, 1);
  EXPECT_TRUE(resumed.empty());
  EXPECT_TRUE(Cycle());
  ASSERT_EQ(resumed.size(), 1u);
  EXPECT_EQ(resumed[0].fileId, "a");
  EXPECT_EQ(resumed[0].type, 2);
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(locks, 2);
}

// The real engine, with uploads that wait to be told how they end.
class RefundBatchesTest : public SyncLockTest {
 protected:
  void SetUp() override {
    SyncLockTest::SetUp();
    cloud.AddMedia("b", L"b.jpg");
    Settle();
    auto& transfers = GalleryTransManager::GetInstance();
    transfers.GalleryInit();
    transfers.SetMakeUpload([this](const FilePtr& file, const Album::Ptr&) {
      const std::string id = file->UniqueId();
      return made[id]++ == 0 ? tasks[id] : std::make_shared<FakeTask>(TaskType::Upload, id);
    });
    services.createRefundTasks = [this](const std::vector<RefundTask>& refunds, bool held,
                                        std::function<void()> done) {
      real(refunds, held, [this, done = std::move(done)] {
        done();
        ended.release();
      });
    };
    RestartClient();
    ASSERT_TRUE(Cycle());
    for (const char* id : {"a", "b"}) {
      gallery.GetFile(id)->SetLocalPath(folder.Write(std::string(id) + ".jpg", "picture"));
      tasks[id] = std::make_shared<FakeTask>(TaskType::Upload, id);
    }
  }
  void TearDown() override {
    GalleryTransManager::GetInstance().GalleryStop();
    SyncLockTest::TearDown();
  }
  static std::size_t Pending() {
    return ZentaraDeskClient::GalleryUpThdMng::GetInstance().PendingTasks().size();
  }

  const decltype(SyncServices::createRefundTasks) real = HostSyncServices().createRefundTasks;
  std::map<std::string, std::shared_ptr<FakeTask>> tasks;
  std::map<std::string, int> made;  // on the engine's thread
  std::counting_semaphore<> ended{0};
};

TEST_F(RefundBatchesTest, ContentAndThumbnailOfOneRecordShareTheLockAndTheUpload) {
  ASSERT_TRUE(sync->RefundGetLock({"a"}, 0, false));
  ASSERT_TRUE(sync->RefundGetLock({"a"}, 1, false));
  tasks["a"]->WaitForRun(1);
  ended.acquire();  // the second one: the upload is the first one's
  EXPECT_TRUE(cloud.IsLocked());
  EXPECT_EQ(Pending(), 1u);
  tasks["a"]->Let(TransferErrorInterface::kNone);
  ended.acquire();
  EXPECT_FALSE(cloud.IsLocked());
  EXPECT_EQ(Pending(), 0u);
}

TEST_F(RefundBatchesTest, LastOfTheRefundsGivesTheLockBack) {
  for (const std::int32_t typeOfSecond : {1, 0}) {
    SCOPED_TRACE(typeOfSecond);
    made.clear();
    for (const char* id : {"a", "b"}) tasks[id] = std::make_shared<FakeTask>(TaskType::Upload, id);
    ASSERT_TRUE(sync->RefundGetLock({"a"}, 0, false));
    ASSERT_TRUE(sync->RefundGetLock({"b"}, typeOfSecond, false));
    tasks["a"]->WaitForRun(1);
    tasks["b"]->Let(TransferErrorInterface::kNone);
    ended.acquire();
    EXPECT_TRUE(cloud.IsLocked());
    tasks["a"]->Let(TransferErrorInterface::kNone);
    ended.acquire();
    EXPECT_FALSE(cloud.IsLocked());
  }
}

TEST_F(SyncLockTest, CycleDoesNotBeginDuringWorkBetweenCycles) {
  EXPECT_TRUE(sync->BetweenCycles([this] { return !Cycle(); }));
  EXPECT_TRUE(Cycle());
  sync->StopSync();
  EXPECT_FALSE(sync->BetweenCycles([] { return true; }));
}

TEST_F(SyncLockTest, TickRefusedDuringWorkFollowsIt) {
  constexpr std::chrono::seconds kBeforeTheNextTick{30};
  std::counting_semaphore<> begun{0};
  Add({LocalFile("waiting")});
  sync->StartSync();
  listener.WaitForStatus({SyncStatus::IDLE, 1});
  EXPECT_TRUE(sync->BetweenCycles([&] {
    cloud.onCall = [&](const std::string&) { begun.release(); };
    return !Cycle();
  }));
  EXPECT_TRUE(begun.try_acquire_for(kBeforeTheNextTick));
  sync->StopTimer();
}

}  // namespace
