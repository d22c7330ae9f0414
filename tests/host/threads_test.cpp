#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <future>
#include <latch>

#include "host/base/drivethreadpool.h"
#include "host/base/logger.h"
#include "host/base/modulebase.h"
#include "host/base/tavishwritelog.h"
#include "host/base/threadadminmodule.h"
#include "tests/support/temporaryfolder.h"

namespace {

using CommonAbility::DriveThreadPool;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ZentaraDeskClient::ModuleEvent;

// Runs until it is stopped.
class WaitingThread : public CommonAbility::tavishThread {
 public:
  ~WaitingThread() override { Stop(); }
  std::atomic<int> runs = 0;

 protected:
  void Run() override {
    ++runs;
    while (!StopRequested()) stop.wait(false);
    stop = false;
  }
  void OnStopRequested() override {
    stop = true;
    stop.notify_all();
  }

 private:
  std::atomic<bool> stop = false;
};

TEST(TavishThreadTest, StartsOnceAndAgainAfterAStop) {
  WaitingThread thread;
  EXPECT_TRUE(thread.Start("waiting"));
  EXPECT_FALSE(thread.Start("waiting"));
  EXPECT_TRUE(thread.IsRunning());
  thread.Stop();
  EXPECT_FALSE(thread.IsRunning());
  EXPECT_TRUE(thread.Start("waiting"));
  thread.Stop();
  thread.Stop();
  EXPECT_EQ(thread.runs, 2);
}

class RecordingModule : public ZentaraDeskClient::ModuleBase {
 public:
  ~RecordingModule() override { Stop(); }

  // What was called; complete after Stop.
  std::vector<std::string> calls;
  std::promise<void> timerRang;

 protected:
  void OnInit() override { calls.push_back("init"); }
  void OnDestroy() override { calls.push_back("destroy"); }
  void OnSyncDriveKeyOk() override { calls.push_back("drive key"); }
  void OnCloudPhotoKeyOk() override { calls.push_back("photo key"); }
  void OnPushMessage() override { calls.push_back("push"); }
  void OnGuserKeyMessage() override { calls.push_back("user key"); }
  void OnResetdatabase() override { calls.push_back("reset"); }
  void OnPcConfigChangeMess(int change) override { calls.push_back("config " + std::to_string(change)); }
  void OnUserLogFailed() override { calls.push_back("log failed"); }
  void OnNetworkResume() override { calls.push_back("resume"); }
  void OnNetworkDisconnect() override { calls.push_back("disconnect"); }
  void OnTimer(int id) override {
    calls.push_back("timer " + std::to_string(id));
    KillTimer(id);
    timerRang.set_value();
  }
};

void WaitForQueue(ZentaraDeskClient::ModuleBase& module) {
  std::promise<void> reached;
  module.PostTask([&] { reached.set_value(); });
  reached.get_future().wait();
}

TEST(ModuleBaseTest, EventsArriveInOrderOnTheModulesThread) {
  RecordingModule module;
  module.Tell(ModuleEvent::SyncDriveKeyOk);  // Before the start it waits.
  module.Start("module");
  for (const auto event : {ModuleEvent::CloudPhotoKeyOk, ModuleEvent::PushMessage,
                           ModuleEvent::GuserKeyMessage, ModuleEvent::ResetDatabase}) {
    module.Tell(event);
  }
  module.TellConfigChange(3);
  for (const auto event :
       {ModuleEvent::UserLogFailed, ModuleEvent::NetworkResume, ModuleEvent::NetworkDisconnect}) {
    module.Tell(event);
  }
  WaitForQueue(module);
  module.Stop();
  EXPECT_THAT(module.calls, ElementsAre("init", "drive key", "photo key", "push", "user key", "reset",
                                        "config 3", "log failed", "resume", "disconnect", "destroy"));
}

TEST(ModuleBaseTest, TimerCallsWithItsId) {
  RecordingModule module;
  module.SetTimer(5, std::chrono::hours(1));
  module.SetTimer(7, std::chrono::milliseconds(1));
  module.Start("module");
  module.timerRang.get_future().wait();
  module.Stop();
  EXPECT_THAT(module.calls, ElementsAre("init", "timer 7", "destroy"));
}

TEST(ModuleBaseTest, StopFromItsOwnThreadDropsTheRest) {
  RecordingModule module;
  module.PostTask([&] { module.Stop(); });
  module.Tell(ModuleEvent::PushMessage);
  module.Start("module");
  module.Stop();
  EXPECT_THAT(module.calls, ElementsAre("init", "destroy"));
}

TEST(DriveThreadPoolTest, WaitingJobsDoNotKeepOthersFromStarting) {
  DriveThreadPool pool;
  constexpr int kJobs = 8;
  std::latch together(kJobs);
  std::latch finished(kJobs);
  for (int i = 0; i < kJobs; ++i) {
    EXPECT_TRUE(pool.Add([&] {
      together.arrive_and_wait();
      finished.count_down();
    }));
  }
  finished.wait();
}

TEST(DriveThreadPoolTest, LaterWorkComesLater) {
  DriveThreadPool pool;
  std::mutex lock;
  std::vector<int> order;
  std::latch finished(2);
  const auto note = [&](int which) {
    const std::lock_guard hold(lock);
    order.push_back(which);
    finished.count_down();
  };
  const auto start = std::chrono::steady_clock::now();
  pool.Add([&] { note(2); }, std::chrono::milliseconds(30));
  pool.Add([&] { note(1); });
  finished.wait();
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
  EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST(DriveThreadPoolTest, StopDropsWhatHasNotBegunAndTakesNoMore) {
  DriveThreadPool pool;
  std::atomic<int> runs = 0;
  pool.Add([&] { ++runs; }, std::chrono::hours(1));
  pool.Stop();
  EXPECT_FALSE(pool.Add([&] { ++runs; }));
  EXPECT_EQ(runs, 0);
}

TEST(ThreadAdminModuleTest, CallbackRunsOnAnotherThread) {
  std::promise<std::thread::id> ran;
  EXPECT_TRUE(CommonAbility::ThreadAdminModule::GetInstance().AddCallbackFunction(
      0, [&] { ran.set_value(std::this_thread::get_id()); }));
  EXPECT_NE(ran.get_future().get(), std::this_thread::get_id());
}

TEST(TavishWriteLogTest, LineNamesFileAndFunction) {
  const TemporaryFolder folder;
  auto& log = *Logger::CloudLogger::GetInstance();
  ASSERT_TRUE(log.Open(folder / "client.log"));
  CommonAbility::TavishWriteLog("window text");
  log.Close();
  std::ifstream file(folder / "client.log");
  std::string line;
  std::getline(file, line);
  EXPECT_THAT(line, HasSubstr("threads_test.cpp"));
  EXPECT_THAT(line, HasSubstr("TestBody"));
  EXPECT_THAT(line, HasSubstr("window text"));
}

}  // namespace
