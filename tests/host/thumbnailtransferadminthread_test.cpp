#include "host/transfer/thumbnailtransferadminthread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ZentaraDeskClient::BackgroundTask;
using ZentaraDeskClient::ThumbnailTransferAdminThread;

class OldestFirst : public ThumbnailTransferAdminThread {
 public:
  ~OldestFirst() override { Stop(); }
};

class NewestFirst : public ThumbnailTransferAdminThread {
 public:
  ~NewestFirst() override { Stop(); }

 protected:
  void RunTask() override {
    while (const auto task = TakeNewest()) task->BusinessRun();
  }
};

// What became of the tasks. Written by the worker, read when it is idle or gone.
struct Record {
  std::vector<int> ran;
  std::vector<int> dropped;
};

class RecordedTask : public BackgroundTask {
 public:
  RecordedTask(Record& into, int number) : record(into), which(number) {}
  void BusinessRun() override { record.ran.push_back(which); }
  void Dropped() override { record.dropped.push_back(which); }

 private:
  Record& record;
  int which;
};

// Runs `work` and lets the test go on meanwhile.
class BlockingTask : public BackgroundTask {
 public:
  void BusinessRun() override {
    entered.set_value();
    leave.get_future().wait();
  }
  std::promise<void> entered;
  std::promise<void> leave;
};

template <typename Module>
Record RunThree(Module& module) {
  Record record;
  for (int i = 1; i <= 3; ++i) EXPECT_TRUE(module.AddTask(std::make_shared<RecordedTask>(record, i)));
  module.Start("thumbnails");
  module.WaitUntilIdle();
  return record;
}

TEST(ThumbnailTransferAdminThreadTest, DerivedClassChoosesTheOrder) {
  OldestFirst oldest;
  EXPECT_THAT(RunThree(oldest).ran, ElementsAre(1, 2, 3));
  NewestFirst newest;
  EXPECT_THAT(RunThree(newest).ran, ElementsAre(3, 2, 1));
}

TEST(ThumbnailTransferAdminThreadTest, TaskAddedDuringAnotherComesFirstWhenNewestIs) {
  NewestFirst module;
  Record record;
  const auto blocking = std::make_shared<BlockingTask>();
  module.Start("thumbnails");
  module.AddTask(blocking);
  blocking->entered.get_future().wait();
  for (int i = 1; i <= 3; ++i) module.AddTask(std::make_shared<RecordedTask>(record, i));
  blocking->leave.set_value();
  module.WaitUntilIdle();
  EXPECT_THAT(record.ran, ElementsAre(3, 2, 1));
}

TEST(ThumbnailTransferAdminThreadTest, StopDropsWhatWaits) {
  OldestFirst module;
  Record record;
  const auto blocking = std::make_shared<BlockingTask>();
  module.Start("thumbnails");
  module.AddTask(blocking);
  blocking->entered.get_future().wait();
  for (int i = 1; i <= 3; ++i) module.AddTask(std::make_shared<RecordedTask>(record, i));
  module.PostTask([] {});
  auto stopping = std::async(std::launch::async, [&] { module.Stop(); });
  while (!module.StopRequested()) std::this_thread::yield();
  blocking->leave.set_value();
  stopping.get();
  module.WaitUntilIdle();
  EXPECT_THAT(record.ran, IsEmpty());
  EXPECT_THAT(record.dropped, ElementsAre(1, 2, 3));
  EXPECT_FALSE(module.AddTask(std::make_shared<RecordedTask>(record, 4)));
}

TEST(ThumbnailTransferAdminThreadTest, FinishRunsWhatWaits) {
  OldestFirst module;
  Record record;
  for (int i = 1; i <= 3; ++i) module.AddTask(std::make_shared<RecordedTask>(record, i));
  module.Start("thumbnails");
  module.Finish();
  EXPECT_THAT(record.ran, ElementsAre(1, 2, 3));
  EXPECT_THAT(record.dropped, IsEmpty());
  EXPECT_FALSE(module.AddTask(std::make_shared<RecordedTask>(record, 4)));
}

TEST(ThumbnailTransferAdminThreadTest, TasksFromManyThreadsEachRunOnce) {
  NewestFirst module;
  Record record;
  module.Start("thumbnails");
  std::vector<std::thread> adders;
  for (int adder = 0; adder < 4; ++adder) {
    adders.emplace_back([&, adder] {
      for (int i = 0; i < 100; ++i) module.AddTask(std::make_shared<RecordedTask>(record, adder * 100 + i));
    });
  }
  for (auto& adder : adders) adder.join();
  module.WaitUntilIdle();
  std::sort(record.ran.begin(), record.ran.end());
  std::vector<int> all(400);
  for (int i = 0; i < 400; ++i) all[static_cast<std::size_t>(i)] = i;
  EXPECT_EQ(record.ran, all);
}

TEST(ThumbnailTransferAdminThreadTest, RestartedModuleWorksAgain) {
  OldestFirst module;
  EXPECT_THAT(RunThree(module).ran, ElementsAre(1, 2, 3));
  module.Stop();
  Record record;
  module.Start("thumbnails");
  // The thread takes tasks again from its first moment on.
  while (!module.AddTask(std::make_shared<RecordedTask>(record, 4))) std::this_thread::yield();
  module.WaitUntilIdle();
  EXPECT_THAT(record.ran, ElementsAre(4));
}

}  // namespace
