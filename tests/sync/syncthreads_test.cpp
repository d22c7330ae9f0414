// Cycles under the hands of a user; of use under the thread sanitizer.

#include "synctest.h"

namespace {

class SyncThreadsTest : public SyncTest {};

TEST_F(SyncThreadsTest, UserEditsWhileCyclesRun) {
  cloud.CreateAlbum("default-album-300-x", L"Trip");
  for (int i = 0; i < 20; ++i) cloud.AddMedia("m" + std::to_string(i), L"m" + std::to_wstring(i) + L".jpg");
  Settle();
  std::atomic<bool> done{false};
  std::thread user([&] {
    for (int round = 0; !done; ++round) {
      const auto file = gallery.GetFile("m" + std::to_string(round % 10));
      if (file) (void)gallery.FavoriteFiles(file, !file->IsFavorite);
      if (round % 50 == 0) {
        if (const auto album = gallery.GetAlbum("default-album-300-x")) {
          (void)gallery.RenameAlbum(album, L"Trip" + std::to_wstring(round));
        }
      }
      (void)sync->GetState();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
  std::thread other([&] {
    for (int round = 0; !done; ++round) {
      cloud.Edit("m" + std::to_string(round % 20), [](CloudFileInfo& info) { info.size += 1; });
      if (round % 7 == 0) cloud.Recycle("m" + std::to_string(10 + round % 10));
      if (round % 11 == 0) cloud.Recover("m" + std::to_string(10 + round % 10));
      if (round == 30)
        sync->ProcessPushMsg("301",
                             R"({"deviceCategory":"pc","serviceType":"cloudphoto","operType":"clearfile"})");
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  });
  for (int i = 0; i < 30; ++i) (void)Cycle();
  done = true;
  user.join();
  other.join();
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

}  // namespace
