#include "common/toolkit/resourcequeue.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <atomic>
#include <future>

#include "toolkit/support.h"

namespace {

// A decoder that remembers its calls and, while it is held, waits at the gate.
class Decoder {
 public:
  QImage operator()(const QString& path, QSize size) {
    std::unique_lock hold(lock);
    calls.append(path);
    threads.insert(std::this_thread::get_id());
    changed.notify_all();
    changed.wait(hold, [this] { return open; });
    if (path.startsWith("broken")) return {};
    QImage image(size.isEmpty() ? QSize(100, 50) : size, QImage::Format_RGB32);
    image.fill(Qt::red);
    return image;
  }
  void Hold() { Set(false); }
  void Open() { Set(true); }
  QStringList Calls() {
    std::unique_lock hold(lock);
    return calls;
  }
  void WaitForCalls(int count) {
    std::unique_lock hold(lock);
    changed.wait(hold, [&] { return calls.size() >= count; });
  }
  std::set<std::thread::id> Threads() {
    std::unique_lock hold(lock);
    return threads;
  }

 private:
  void Set(bool value) {
    std::unique_lock hold(lock);
    open = value;
    changed.notify_all();
  }
  std::mutex lock;
  std::condition_variable changed;
  QStringList calls;
  std::set<std::thread::id> threads;
  bool open = true;
};

class Pictures : public testing::Test {
 protected:
  explicit Pictures(int workers = 1) : queue(workers) {
    queue.SetDecoder([this](const QString& path, QSize size) { return decoder(path, size); });
    QObject::connect(&queue, &ResourceQueue::ready, &queue,
                     [this](const QString& path) { ready.append(path); });
    QObject::connect(&queue, &ResourceQueue::failed, &queue,
                     [this](const QString& path) { failed.append(path); });
  }
  ~Pictures() override { decoder.Open(); }

  QImage Wait(const QString& path, QSize size = {10, 10}) {
    EXPECT_TRUE(WaitUntil([&] { return queue.Get(path, size).size() == size; }));
    return queue.Get(path, size);
  }

  Decoder decoder;
  QStringList ready, failed;
  ResourceQueue queue;
};

class TwoWorkers : public Pictures {
 protected:
  TwoWorkers() : Pictures(2) {}
};

TEST_F(Pictures, AMissIsDecodedAndTold) {
  EXPECT_TRUE(queue.Get("a", {10, 10}).isNull());
  ASSERT_TRUE(WaitUntil([&] { return ready == QStringList{"a"}; }));
  EXPECT_EQ(queue.Get("a", {10, 10}).size(), QSize(10, 10));
  EXPECT_EQ(decoder.Calls().size(), 1);
}

TEST_F(Pictures, TheUserInterfaceThreadNeverDecodes) {
  Wait("a");
  EXPECT_FALSE(decoder.Threads().contains(std::this_thread::get_id()));
}

TEST_F(Pictures, TheNewestRequestIsServedFirst) {
  decoder.Hold();
  queue.Get("first", {10, 10});
  decoder.WaitForCalls(1);
  for (const char* path : {"a", "b", "c"}) queue.Get(path, {10, 10});
  queue.Get("a", {10, 10});  // asked for again: the newest
  decoder.Open();
  ASSERT_TRUE(WaitUntil([&] { return ready.size() == 4; }));
  EXPECT_EQ(decoder.Calls(), (QStringList{"first", "a", "c", "b"}));
}

TEST_F(Pictures, PreferDropsTheOthersThatWait) {
  decoder.Hold();
  queue.Get("first", {10, 10});
  decoder.WaitForCalls(1);
  for (const char* path : {"a", "b", "c"}) queue.Get(path, {10, 10});
  queue.Prefer({"b"});
  EXPECT_EQ(queue.Waiting(), 1);
  decoder.Open();
  ASSERT_TRUE(WaitUntil([&] { return ready.size() == 2; }));
  EXPECT_EQ(decoder.Calls(), (QStringList{"first", "b"}));
}

TEST_F(Pictures, AheadComesAfterWhatIsWanted) {
  decoder.Hold();
  queue.Get("first", {10, 10});
  decoder.WaitForCalls(1);
  queue.Ahead({"x", "y"}, {10, 10});
  queue.Get("a", {10, 10});
  decoder.Open();
  ASSERT_TRUE(WaitUntil([&] { return ready.size() == 4; }));
  EXPECT_EQ(decoder.Calls(), (QStringList{"first", "a", "x", "y"}));
}

TEST_F(Pictures, ABrokenFileIsNotTriedAgainUntilItIsForgotten) {
  queue.Get("broken", {10, 10});
  ASSERT_TRUE(WaitUntil([&] { return failed == QStringList{"broken"}; }));
  EXPECT_TRUE(queue.HasFailed("broken"));
  queue.Get("broken", {10, 10});
  Wait("good");
  EXPECT_EQ(decoder.Calls(), (QStringList{"broken", "good"}));
  queue.Forget("broken");
  queue.Get("broken", {10, 10});
  ASSERT_TRUE(WaitUntil([&] { return failed.size() == 2; }));
}

TEST_F(Pictures, APictureForgottenWhileItIsDecodedIsNotKept) {
  decoder.Hold();
  queue.Get("a", {10, 10});
  decoder.WaitForCalls(1);
  queue.Forget("a");
  decoder.Open();
  Wait("b");
  EXPECT_TRUE(queue.Get("a", {10, 10}).isNull());
  ASSERT_TRUE(WaitUntil([&] { return ready.contains("a"); }));
  EXPECT_EQ(decoder.Calls().count("a"), 2);
}

TEST_F(Pictures, TheLongestUnusedGoFirst) {
  queue.SetMaxBytes(3 * 10 * 10 * 4);
  Wait("a");
  Wait("b");
  Wait("c");
  queue.Get("a", {10, 10});
  Wait("d");  // puts out b
  EXPECT_EQ(queue.Bytes(), 3 * 10 * 10 * 4);
  const auto before = decoder.Calls().size();
  EXPECT_FALSE(queue.Get("a", {10, 10}).isNull());
  EXPECT_FALSE(queue.Get("c", {10, 10}).isNull());
  EXPECT_EQ(decoder.Calls().size(), before);
  EXPECT_TRUE(queue.Get("b", {10, 10}).isNull());
}

TEST_F(Pictures, AnotherSizeIsShownUntilTheRightOneIsThere) {
  Wait("a", {10, 10});
  EXPECT_EQ(queue.Get("a", {20, 20}).size(), QSize(10, 10));
  EXPECT_EQ(Wait("a", {20, 20}).size(), QSize(20, 20));
}

TEST_F(TwoWorkers, TheSameKeyIsDecodedOnce) {
  decoder.Hold();
  for (int i = 0; i < 5; ++i) queue.Get("a", {10, 10});
  decoder.WaitForCalls(1);
  queue.Get("a", {10, 10});
  decoder.Open();
  ASSERT_TRUE(WaitUntil([&] { return ready.size() == 1; }));
  Wait("b");
  EXPECT_EQ(decoder.Calls().count("a"), 1);
}

// Green at the left, blue at the right, twice as wide as high.
QString SavedPicture(const QTemporaryDir& folder) {
  QImage image(40, 20, QImage::Format_RGB32);
  image.fill(Qt::green);
  for (int y = 0; y < 20; ++y) {
    for (int x = 20; x < 40; ++x) image.setPixelColor(x, y, Qt::blue);
  }
  const QString path = folder.filePath("picture.png");
  EXPECT_TRUE(image.save(path));
  return path;
}

TEST(PictureFile, IsFittedAndTurnedClockwise) {
  const QTemporaryDir folder;
  const QString path = SavedPicture(folder);
  ResourceQueue queue(1);
  queue.Get(path, {10, 10}, 90);
  QImage image;
  ASSERT_TRUE(WaitUntil([&] { return !(image = queue.Get(path, {10, 10}, 90)).isNull(); }));
  EXPECT_EQ(image.size(), QSize(5, 10));
  // What was left is at the top.
  EXPECT_EQ(image.pixelColor(2, 1), QColor(Qt::green));
  EXPECT_EQ(image.pixelColor(2, 8), QColor(Qt::blue));
}

TEST(PictureFile, IsNeverEnlarged) {
  const QTemporaryDir folder;
  EXPECT_EQ(ResourceQueue::Decode(SavedPicture(folder), {400, 400}).size(), QSize(40, 20));
}

TEST(PictureFile, AMissingOneFails) {
  EXPECT_TRUE(ResourceQueue::Decode("/nowhere/at/all.jpg", {10, 10}).isNull());
}

}  // namespace
