// Cycles under the hands of a user; of use under the thread sanitizer.

#include <semaphore>

#include "synctest.h"
#include "utils/globaldata.h"

namespace {

class SyncThreadsTest : public SyncTest {};

TEST_F(SyncThreadsTest, UserEditsWhileCyclesRun) {
  cloud.CreateAlbum("default-album-300-x", L"Trip");
  for (int i = 0; i < 20; ++i) cloud.AddMedia("m" + std::to_string(i), L"m" + std::to_wstring(i) + L".jpg");
  Settle();
  // Each request of a cycle lets both go on, so that they change what is under way.
  std::atomic<bool> done{false};
  std::counting_semaphore<> userTurns{0}, otherTurns{0};
  cloud.onCall = [&](const std::string&) {
    userTurns.release(3);
    otherTurns.release();
  };
  std::thread user([&] {
    for (int round = 0; !done; ++round) {
      userTurns.acquire();
      const auto file = gallery.GetFile("m" + std::to_string(round % 10));
      if (file) (void)gallery.FavoriteFiles(file, !file->IsFavorite);
      if (round % 50 == 0) {
        if (const auto album = gallery.GetAlbum("default-album-300-x")) {
          (void)gallery.RenameAlbum(album, L"Trip" + std::to_wstring(round));
        }
      }
      (void)sync->GetState();
    }
  });
  std::thread other([&] {
    for (int round = 0; !done; ++round) {
      otherTurns.acquire();
      cloud.Edit("m" + std::to_string(round % 20), [](CloudFileInfo& info) { info.size += 1; });
      if (round % 7 == 0) cloud.Recycle("m" + std::to_string(10 + round % 10));
      if (round % 11 == 0) cloud.Recover("m" + std::to_string(10 + round % 10));
      if (round == 30)
        sync->ProcessPushMsg("301",
                             R"({"deviceCategory":"pc","serviceType":"cloudphoto","operType":"clearfile"})");
    }
  });
  for (int i = 0; i < 30; ++i) (void)Cycle();
  done = true;
  userTurns.release();
  otherTurns.release();
  user.join();
  other.join();
  cloud.onCall = nullptr;
  Settle(12);
  ExpectInStep();
}

TEST_F(SyncThreadsTest, StartAndStopWithTheTimer) {
  cloud.AddMedia("a", L"a.jpg");
  std::atomic<bool> registered{false};
  services.registerPush = [&](SyncServices::Push) { registered = true; };
  services.removePush = [&] { registered = false; };
  RestartClient();
  sync->StartSync();
  sync->StartSync();
  while (gallery.FileCount() == 0) std::this_thread::yield();
  EXPECT_TRUE(registered);
  sync->SetPaused(true);
  sync->SetPaused(false);
  sync->StopSync();
  EXPECT_FALSE(registered);
  sync->StopTimer();
  EXPECT_FALSE(sync->GetState().started);
}

// Stands in the middle of the load until it is let go.
class SlowLoad : public ISyncCallback {
 public:
  void Notify(std::int32_t) override {
    if (first.exchange(false)) {
      reached.release();
      go.acquire();
    }
  }
  void OnSyncStatus(SyncStatus status, std::int64_t) override {
    if (status == SyncStatus::IDLE) idle.release();
  }
  void ShowWindow() override {}

  std::atomic<bool> first{true};
  std::binary_semaphore reached{0}, go{0};
  std::counting_semaphore<> idle{0};
};

TEST_F(SyncThreadsTest, StopDuringTheLoadIsForgottenByTheNextStart) {
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  SlowLoad slow;
  RestartClient();
  sync->SetCallback(&slow);
  sync->StartSync();
  slow.reached.acquire();
  sync->StopSync();
  slow.go.release();
  sync->StopTimer();
  while (slow.idle.try_acquire()) continue;  // The cycle that was stopped may have told it too.
  sync->StartSync();
  slow.idle.acquire();
  sync->StopTimer();
  EXPECT_EQ(gallery.FileCount(), 1u);
  ExpectInStep();
  sync->SetCallback(nullptr);
}

TEST_F(SyncThreadsTest, StopDuringTheStartLetsTheNextOneRun) {
  std::binary_semaphore asked{0}, answered{0};
  std::atomic<bool> first{true}, registered{false};
  cloud.AddMedia("a", L"a.jpg");
  services.listing = [&] {
    if (first.exchange(false)) {
      asked.release();
      answered.acquire();
    }
    return cloud.Listing();
  };
  services.registerPush = [&](SyncServices::Push) { registered = true; };
  RestartClient();
  GlobalData::cloudGeneration = GlobalData::kGenerationUnknown;
  std::thread login([this] { sync->StartSync(); });
  asked.acquire();
  sync->StopSync();
  answered.release();
  login.join();
  EXPECT_FALSE(sync->GetState().started);
  EXPECT_FALSE(registered);
  sync->StartSync();
  EXPECT_TRUE(sync->GetState().started);
  listener.WaitForStatus({SyncStatus::IDLE, -1});
  EXPECT_EQ(gallery.FileCount(), 1u);
}

TEST_F(SyncThreadsTest, SwitchTurnedOnBeforeTheStartEndsAPause) {
  cloud.AddMedia("a", L"a.jpg");
  Settle();
  sync->SetPaused(true);
  sync->StopSync();
  sync->SetSyncSwitch(true);
  sync->StartSync();
  EXPECT_NE(sync->GetState().status, SyncStatus::PAUSE);
}

}  // namespace
