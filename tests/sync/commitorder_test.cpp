// Whatever write or call fails: the next cycles end in step.

#include "synctest.h"

namespace {

class CommitOrderTest : public SyncTest {
 protected:
  // Both sides in step, with enough in them to change.
  void Prepare() {
    cloud.pageSize = 2;
    cloud.CreateAlbum("default-album-300-a", L"Alpha");
    cloud.CreateAlbum("default-album-300-b", L"Beta");
    for (int i = 0; i < 5; ++i) {
      const std::string id = "m" + std::to_string(i);
      cloud.AddMedia(id, std::wstring(id.begin(), id.end()) + L".jpg",
                     i < 2 ? "default-album-300-a" : "default-album-1");
    }
    Settle();
    ExpectInStep("prepared");
  }

  void ChangeBothSides() {
    cloud.AddMedia("fresh", L"fresh.jpg", "default-album-300-b");
    cloud.Recycle("m0");
    cloud.Delete("m1");
    cloud.DeleteAlbum("default-album-300-a");
    cloud.CreateAlbum("default-album-300-c", L"Gamma");
    cloud.RenameAlbum("default-album-300-b", L"Better");
    const auto album = gallery.CreateAlbum(L"Mine", false, -1);
    ASSERT_TRUE(album);
    gallery.MoveFiles({gallery.GetFile("m2")}, album, false);
    gallery.FavoriteFiles(gallery.GetFile("m3"), true);
    gallery.RecycleFiles({gallery.GetFile("m4")}, false);
    gallery.DeleteFiles({gallery.GetFile("m4")}, false);
  }

  // Runs one round with fault number `n`; false when the round needed fewer.
  template <typename Arm, typename Count>
  bool Round(int n, const std::string& name, Arm arm, Count count, bool restart) {
    StartAfresh();
    Prepare();
    ChangeBothSides();
    arm(n);
    (void)Cycle();
    const int used = count();
    arm(0);
    if (restart) RestartClient();
    Settle();
    ExpectInStep(name + " " + std::to_string(n));
    return used >= n;
  }
};

TEST_F(CommitOrderTest, EachFailedCallIsMadeUpFor) {
  int n = 1;
  while (Round(
      n, "call", [this](int k) { cloud.FailCall(k); }, [this] { return cloud.Calls(); }, false)) {
    if (HasFailure()) return;
    ++n;
  }
  EXPECT_GT(n, 10);
}

TEST_F(CommitOrderTest, EachLostAnswerIsMadeUpFor) {
  int n = 1;
  while (Round(
      n, "answer", [this](int k) { cloud.FailCall(k, true); }, [this] { return cloud.Calls(); }, false)) {
    if (HasFailure()) return;
    ++n;
  }
  EXPECT_GT(n, 10);
}

TEST_F(CommitOrderTest, EachFailedWriteIsMadeUpFor) {
  int n = 1;
  while (Round(n, "write", DatabaseFaults::FailWrite, DatabaseFaults::Writes, false)) {
    if (HasFailure()) return;
    ++n;
  }
  EXPECT_GT(n, 10);
}

TEST_F(CommitOrderTest, ARestartAfterAFailedCallLosesNothing) {
  int n = 1;
  while (Round(
      n, "call and restart", [this](int k) { cloud.FailCall(k); }, [this] { return cloud.Calls(); }, true)) {
    if (HasFailure()) return;
    ++n;
  }
}

class FirstDownloadOrderTest : public SyncTest {};

TEST_F(FirstDownloadOrderTest, EachFailedWriteOfAFirstDownloadIsMadeUpFor) {
  for (int n = 1; n < 100; ++n) {
    StartAfresh();
    cloud.pageSize = 2;
    cloud.CreateAlbum("default-album-300-a", L"Alpha");
    for (int i = 0; i < 5; ++i) cloud.AddMedia("m" + std::to_string(i), L"m" + std::to_wstring(i) + L".jpg");
    DatabaseFaults::FailWrite(n);
    (void)Cycle();
    const int used = DatabaseFaults::Writes();
    DatabaseFaults::FailWrite(0);
    if (n % 2) RestartClient();
    Settle();
    ExpectInStep("write " + std::to_string(n));
    if (used < n || HasFailure()) return;
  }
}

}  // namespace
