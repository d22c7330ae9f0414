// Folders that are imported by themselves, and what is done when there are more of them
// than watches.

#include "watchedfolders.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTest>

#include "tests/support/temporaryfolder.h"

namespace {

class WatchedFoldersTest : public testing::Test {
 protected:
  static bool Until(const std::function<bool()>& done) {
    return QTest::qWaitFor([&done] { return done(); }, 30'000);
  }
  // A camera's card with `count` folders in it.
  QString Card(int count) {
    const QString card = QString::fromStdString((folder.Path() / "Card").string());
    for (int i = 0; i < count; ++i) EXPECT_TRUE(QDir().mkpath(card + QStringLiteral("/%1").arg(i)));
    return card;
  }

  TemporaryFolder folder;
  int told = 0;
  WatchedFolders watched{[this](const QStringList&) { ++told; }};
};

TEST_F(WatchedFoldersTest, WithMoreFoldersThanWatchesAllAreLookedAtEverySoOften) {
  int changes = 0;
  watched.mostWatches = 3;
  watched.pollMs = 1;
  watched.onPolling = [&] { ++changes; };
  watched.Watch({Card(8)});
  ASSERT_TRUE(Until([&] { return watched.IsPolling(); }));
  EXPECT_EQ(changes, 1);
  const int before = told;
  EXPECT_TRUE(Until([&] { return told >= before + 2; }));  // nothing has changed on the disk
  watched.Watch({});
  EXPECT_FALSE(watched.IsPolling());
  EXPECT_EQ(changes, 2);
}

TEST_F(WatchedFoldersTest, FoldersThatCanAllBeWatchedAreNotPolled) {
  bool polled = false;
  watched.quietMs = 1;
  watched.onPolling = [&] { polled = true; };
  watched.Watch({Card(8)});
  ASSERT_TRUE(Until([&] { return told == 1; }));
  QFile picture(Card(8) + QStringLiteral("/7/a.jpg"));
  ASSERT_TRUE(Until([&] {  // the watch may not stand yet
    EXPECT_TRUE(picture.open(QIODevice::WriteOnly));
    picture.close();
    (void)QTest::qWaitFor([&] { return told == 2; }, 500);
    (void)picture.remove();
    return told == 2;
  }));
  EXPECT_FALSE(polled);
}

}  // namespace
