// The window goes on while something else holds the database: a turn of the event loop is
// seen before the database is let go.

#include <sqlite3.h>

#include <future>
#include <thread>

#include "common/platform/paths.h"
#include "common/toolkit/edit.h"
#include "pagetest.h"
#include "support/slowlayers.h"
#include "ui/userproperties.h"
#include "utils/messages.h"

namespace {

// Another connection that is in the middle of a write.
class HeldDatabase {
 public:
  HeldDatabase() {
    auto& database = DBHelper::GetInstance();
    const auto path =
        platform::NativePath(database.UserFolder() + L"\\" + DBHelper::GetGalleryDBName("alice"));
    EXPECT_EQ(sqlite3_open(path.c_str(), &handle), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(handle, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  }
  ~HeldDatabase() { sqlite3_close(handle); }
  void Release() { EXPECT_EQ(sqlite3_exec(handle, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK); }

 private:
  sqlite3* handle = nullptr;
};

class BlockedPageTest : public PageTest {
 protected:
  void SetUp() override {
    PageTest::SetUp();
    UserProperties::Set(UserProperties::kTipSeen, 1);
  }
  // What begins under a held database ends when it is let go, which waits for a turn of
  // the event loop behind `action`; only a window that waits itself makes it give up.
  void ExpectTurnWhileHeld(const std::function<void()>& action, const std::function<bool()>& done) {
    HeldDatabase held;
    std::promise<void> turned;
    auto turn = turned.get_future();
    bool turnedInTime = false, hasTurned = false;
    std::thread release([&] {
      turnedInTime = turn.wait_for(std::chrono::seconds(4)) == std::future_status::ready;
      held.Release();
    });
    action();
    QTimer::singleShot(0, [&] {
      hasTurned = true;
      turned.set_value();
    });
    EXPECT_TRUE(Until([&] { return hasTurned && done(); }));
    release.join();
    EXPECT_TRUE(turnedInTime);
  }
};

TEST_F(BlockedPageTest, AlbumIsMadeBesideTheWindow) {
  AddDay(0, 2);
  Open();
  auto& panel = *page->Panel();
  QTest::mouseClick(panel.FindControl(QStringLiteral("btn_add_photo"))->Widget(), Qt::LeftButton);
  auto* edit = panel.Find<CEditUI>(QStringLiteral("edit_add"));
  ASSERT_NE(edit, nullptr);
  QTest::keyClicks(edit, QStringLiteral("Harbour"));
  ExpectTurnWhileHeld([edit] { QTest::keyClick(edit, Qt::Key_Return); },
                      [this] { return page->CurrentAlbum() == gallery.AlbumNameIsExist(L"Harbour"); });
}

TEST_F(BlockedPageTest, AlbumIsRenamedBesideTheWindow) {
  AddDay(0, 2);
  ASSERT_NE(gallery.CreateAlbum(L"Harbour", false, -1), nullptr);
  Open();
  auto& panel = *page->Panel();
  panel.Reload();
  auto* button = panel.Find<CButtonUI>(QStringLiteral("btn_custom_album"));
  ASSERT_NE(button, nullptr);
  button->setFocus();
  QTest::keyClick(button, Qt::Key_F2);
  auto* edit = button->findChild<CEditUI*>();
  ASSERT_NE(edit, nullptr);
  edit->SetText(QStringLiteral("Pier"));
  ExpectTurnWhileHeld([edit] { QTest::keyClick(edit, Qt::Key_Return); },
                      [this] { return gallery.AlbumNameIsExist(L"Pier") != nullptr; });
}

TEST_F(BlockedPageTest, FilesAreRecycledBesideTheWindow) {
  const auto today = AddDay(0, 90);
  Open();
  ASSERT_TRUE(UntilPictures());
  ExpectTurnWhileHeld(
      [&] {
        page->Recycle(today);
        List().Body()->LineDown();
        EXPECT_EQ(List().GetScrollPos().height(), 64);
      },
      [&] { return today.back()->IsInBin(); });
}

TEST_F(BlockedPageTest, DroppedFoldersGetTheirAlbumsBesideTheWindow) {
  AddDay(0, 1);
  Open();
  const auto trip = folder.Path() / "Trip";
  ASSERT_TRUE(QDir().mkpath(QString::fromStdString(trip.string())));
  QImage picture(64, 64, QImage::Format_RGB32);
  picture.fill(Qt::green);
  ASSERT_TRUE(picture.save(QString::fromStdString((trip / "a.jpg").string())));
  // The folder has been walked through when its album is asked for: that comes first.
  ExpectTurnWhileHeld([&] { page->UploadDropped({trip.wstring()}, nullptr); },
                      [this] { return gallery.AlbumNameIsExist(L"Trip") != nullptr; });
}

TEST_F(BlockedPageTest, FullCloudIsToldBehindTheCycleThatMetIt) {
  AddDay(0, 1);
  Open();
  page->OnSyncStatus(SyncStatus::NOSPACE, 2);
  page->OnSyncStatus(SyncStatus::IDLE, 2);
  Settle();
  const QString full = Text("update_status");
  EXPECT_TRUE(full.contains(u'2')) << full.toStdString();
  page->OnSyncStatus(SyncStatus::CHECK, -1);
  page->OnSyncStatus(SyncStatus::IDLE, 2);
  Settle();
  EXPECT_EQ(Text("update_status"), QStringLiteral("Updated just now"));
}

// Counts what this thread asks of files, database and connections while it stands.
class WatchedLayers {
 public:
  explicit WatchedLayers(const std::filesystem::path& root) {
    SlowLayers::root = root.string();
    SlowLayers::callsOfFirst = 0;
    SlowLayers::on = true;
  }
  ~WatchedLayers() { SlowLayers::on = false; }
  long Calls() const { return SlowLayers::callsOfFirst; }
};

TEST_F(BlockedPageTest, ThumbnailsThatComeInCostTheWindowNoSystemCall) {
  const auto today = AddDay(0, 60);
  Open();
  ASSERT_TRUE(UntilPictures());
  const WatchedLayers layers(folder.Path());
  for (const auto& file : today) Page::Post(WM_GALLERY_THUMB_READY, 0, reinterpret_cast<LPARAM>(file.get()));
  ASSERT_TRUE(UntilPictures());
  for (int i = 0; i < 20; ++i) {
    List().Body()->LineDown();
    Settle();
  }
  EXPECT_EQ(layers.Calls(), 0);
}

}  // namespace
