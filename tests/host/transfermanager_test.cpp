#include "host/transfer/transfermanager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <latch>

#include "host/transfer/backendtransmodule.h"
#include "host/transfer/downloadtask.h"
#include "support/faketask.h"
#include "testprofile.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using E = TransferErrorInterface;
using FakePtr = std::shared_ptr<FakeTask>;

class TransferManagerTest : public testing::Test {
 protected:
  TransferManagerTest() {
    manager.SetClock([this] { return std::chrono::steady_clock::time_point(clockMs.load() * 1ms); });
  }
  ~TransferManagerTest() override { GlobalParamWrapper::GetInstance()->SetNetIsConnect(true); }

  FakePtr Task(const std::string& id, TaskType kind = TaskType::Upload) {
    auto task = std::make_shared<FakeTask>(kind, id);
    task->WhenDone([](const TransferTask::Ptr& done) { static_cast<FakeTask&>(*done).Note("done"); });
    return task;
  }
  FakePtr Added(const std::string& id) {
    auto task = Task(id);
    EXPECT_TRUE(manager.AddUpload(task));
    return task;
  }
  FakePtr Running(const std::string& id) {
    auto task = Added(id);
    task->WaitForRun(1);
    return task;
  }
  void Advance(std::chrono::milliseconds time) {
    clockMs += time.count();
    manager.OnClockMoved();
  }
  // Waits until the queue says so; it is asked at each of its changes.
  void WaitUntil(const std::function<bool(const TransferManager::Figures&)>& holds) {
    while (!holds(manager.GetFigures(TaskType::Upload)) && !manager.WaitUntilIdle(TaskType::Upload, [&] {
      return holds(manager.GetFigures(TaskType::Upload));
    })) {
    }
  }
  void WaitUntilIdle() { (void)manager.WaitUntilIdle(TaskType::Upload, nullptr); }
  std::vector<std::string> Ids(TaskType kind = TaskType::Upload) {
    std::vector<std::string> ids;
    for (const auto& task : manager.Tasks(kind)) ids.push_back(task->GetTransferId());
    return ids;
  }

  const TestProfile profile;
  std::atomic<std::int64_t> clockMs{1'000'000};
  FakeManager manager;
};

TEST_F(TransferManagerTest, TasksStartInTheOrderOfTheirArrival) {
  manager.SetWorkers(TaskType::Upload, 1);
  std::vector<std::string> order;  // written by the one worker
  std::vector<FakePtr> tasks;
  for (const char* id : {"c", "a", "b"}) {
    tasks.push_back(Task(id));
    tasks.back()->WhenDone(
        [&order](const TransferTask::Ptr& task) { order.push_back(task->GetTransferId()); });
    tasks.back()->Let(E::kNone);
  }
  for (const auto& task : tasks) EXPECT_TRUE(manager.AddUpload(task));
  WaitUntilIdle();
  EXPECT_THAT(order, ElementsAre("c", "a", "b"));
}

TEST_F(TransferManagerTest, NoMoreTasksRunThanThereAreWorkers) {
  manager.SetWorkers(TaskType::Upload, 2);
  const auto a = Running("a"), b = Running("b"), c = Added("c");
  EXPECT_EQ(c->Status(), TaskStatus::Waiting);
  a->Let(E::kNone);
  c->WaitForRun(1);
  const auto figures = manager.GetFigures(TaskType::Upload);
  EXPECT_EQ(figures.running, 2u);
  EXPECT_EQ(figures.completed, 1u);
}

TEST_F(TransferManagerTest, SettingsSayHowManyRunAtOnce) {
  profile.Write("settings.json", R"({"uploadWorkers":1})");
  ASSERT_TRUE(GlobalParamWrapper::GetInstance()->Load());
  const auto a = Running("a"), b = Added("b");
  EXPECT_EQ(b->Status(), TaskStatus::Waiting);
  manager.SetWorkers(TaskType::Upload, 2);
  b->WaitForRun(1);
}

TEST_F(TransferManagerTest, UploadsAndDownloadsRunSideBySide) {
  manager.SetWorkers(TaskType::Upload, 1);
  const auto up = Running("a");
  const auto down = Task("a", TaskType::Download);
  manager.AddDownloads({down}, TaskStatus::Waiting);
  down->WaitForRun(1);
  EXPECT_TRUE(manager.HasTask(TaskType::Download, "a"));
}

TEST_F(TransferManagerTest, CompletedTaskLeavesAndIsStoredAsFinished) {
  const auto task = Task("a");
  task->keepsFinished = true;
  task->Let(E::kNone);
  EXPECT_TRUE(manager.AddUpload(task));
  WaitUntilIdle();
  EXPECT_THAT(Ids(), IsEmpty());
  EXPECT_THAT(task->Events(), ElementsAre("run", "end", "done"));
  const auto finished = manager.Tasks(TaskType::Complete);
  ASSERT_EQ(finished.size(), 1u);
  EXPECT_EQ(finished[0]->GetTransferId(), "a");
  EXPECT_EQ(static_cast<FakeComplete&>(*finished[0]).stored, 1);
}

TEST_F(TransferManagerTest, FailedTaskStaysUntilItIsRetried) {
  const auto task = Added("a");
  task->Let(E::kSourceGone);
  WaitUntilIdle();
  EXPECT_EQ(task->Status(), TaskStatus::Failed);
  EXPECT_EQ(task->StatusReason(), E::kSourceGone);
  EXPECT_THAT(Ids(), ElementsAre("a"));
  task->Let(E::kNone);
  EXPECT_EQ(manager.RetryFailed(TaskType::Upload), 1u);
  WaitUntilIdle();
  EXPECT_EQ(task->Status(), TaskStatus::Completed);
  EXPECT_THAT(task->Events(), ElementsAre("run", "end", "done", "run", "end"));
}

TEST_F(TransferManagerTest, ServiceFailureIsTriedAgainThreeTimes) {
  const auto task = Added("a");
  int run = 1;
  for (const auto pause : {2'000ms, 10'000ms, 60'000ms}) {
    task->Let(E::kService);
    task->WaitForRun(run);
    WaitUntil([](const auto& figures) { return figures.running == 0 && figures.failed == 0; });
    Advance(pause - 1ms);
    EXPECT_EQ(task->Status(), TaskStatus::Waiting);
    EXPECT_EQ(task->Runs(), run);
    EXPECT_THAT(task->Events(), testing::Not(testing::Contains("done")));
    Advance(1ms);
    task->WaitForRun(++run);
  }
  task->Let(E::kService);
  WaitUntilIdle();
  EXPECT_EQ(task->Status(), TaskStatus::Failed);
  EXPECT_EQ(task->Runs(), 4);
}

TEST_F(TransferManagerTest, OnlyAnOutageIsTriedAgain) {
  const auto task = std::make_shared<FakeTask>(TaskType::Upload, "a");
  task->outages = {E::kNoUrl};
  ASSERT_TRUE(manager.AddUpload(task));
  task->Let(E::kNoUrl);
  task->WaitForRun(1);
  WaitUntil([](const auto& figures) { return figures.running == 0 && figures.failed == 0; });
  task->Let(E::kService);
  Advance(2s);
  WaitUntilIdle();
  EXPECT_EQ(task->Status(), TaskStatus::Failed);
  EXPECT_EQ(task->Runs(), 2);
}

// A download whose run the system lets down.
class DownloadWithoutMemory : public DownloadTask {
 protected:
  bool RunTask() override { throw std::bad_alloc(); }
  bool TakeOtherPlace() override { return false; }
};

TEST_F(TransferManagerTest, RunThatThrowsFailsItsTaskAlone) {
  const auto task = std::make_shared<DownloadWithoutMemory>();
  manager.AddDownloads({task}, TaskStatus::Waiting);
  ASSERT_TRUE(manager.WaitUntilIdle(TaskType::Download, nullptr));
  EXPECT_EQ(task->Status(), TaskStatus::Failed);
  EXPECT_EQ(task->LastErr().code, E::kGeneral);
  EXPECT_NE(task->LastErr().cause, "");
}

TEST_F(TransferManagerTest, TaskIsFoundByTheIdThatItsRunHasLearnt) {
  manager.OnNetworkDisconnect();
  const auto task = std::make_shared<DownloadWithoutMemory>();
  task->UniqueId = "before";
  manager.AddDownloads({task}, TaskStatus::Waiting);
  task->UniqueId = "now";
  manager.Pause(TaskType::Download, {"now"});
  EXPECT_EQ(task->Status(), TaskStatus::PausedByUser);
  manager.DelTasks({"now"});
  EXPECT_TRUE(manager.Tasks(TaskType::Download).empty());
}

TEST_F(TransferManagerTest, ResumedTaskDoesNotWaitForItsNextTry) {
  const auto task = Added("a");
  task->Let(E::kService);
  task->WaitForRun(1);
  WaitUntil([](const auto& figures) { return figures.running == 0 && figures.failed == 0; });
  manager.Resume(TaskType::Upload, {"a"});
  task->WaitForRun(2);
}

TEST_F(TransferManagerTest, TaskThatIsPausedBeforeItsNextTryStays) {
  const auto task = Added("a");
  task->Let(E::kService);
  task->WaitForRun(1);
  WaitUntil([](const auto& figures) { return figures.running == 0 && figures.failed == 0; });
  manager.Pause(TaskType::Upload, {"a"});
  Advance(1h);
  WaitUntilIdle();
  EXPECT_EQ(task->Status(), TaskStatus::PausedByUser);
  EXPECT_EQ(task->Runs(), 1);
}

TEST_F(TransferManagerTest, StoppedWaitingTaskDoesNotRun) {
  manager.SetWorkers(TaskType::Upload, 1);
  const auto first = Running("a"), second = Added("b");
  second->StopTask(TaskStatus::PausedByUser, 0);
  first->Let(E::kNone);
  WaitUntilIdle();
  EXPECT_EQ(second->Runs(), 0);
  EXPECT_THAT(Ids(), ElementsAre("b"));
  second->Let(E::kNone);
  manager.ResumeAll(TaskType::Upload);
  WaitUntilIdle();
  EXPECT_EQ(second->Status(), TaskStatus::Completed);
}

TEST_F(TransferManagerTest, PausedTasksWaitForTheUser) {
  manager.SetWorkers(TaskType::Upload, 1);
  const auto running = Running("a"), waiting = Added("b");
  manager.PauseAll(TaskType::Upload);
  WaitUntilIdle();
  EXPECT_EQ(running->Status(), TaskStatus::PausedByUser);
  EXPECT_EQ(waiting->Status(), TaskStatus::PausedByUser);
  EXPECT_EQ(manager.GetFigures(TaskType::Upload).paused, 2u);
  EXPECT_THAT(running->Events(), ElementsAre("run", "end"));
  EXPECT_FALSE(manager.AddUpload(Task("a")));
  EXPECT_EQ(running->Status(), TaskStatus::PausedByUser);
}

TEST_F(TransferManagerTest, TaskThatIsResumedWhileItsRunEndsRunsAgainAfterwards) {
  const auto task = Task("a");
  task->onStop = FakeTask::OnStopTask::GoOn;
  EXPECT_TRUE(manager.AddUpload(task));
  task->WaitForRun(1);
  manager.Pause(TaskType::Upload, {"a"});
  manager.Resume(TaskType::Upload, {"a"});
  EXPECT_EQ(task->Status(), TaskStatus::Waiting);
  EXPECT_EQ(task->Runs(), 1);
  task->Let(E::kGeneral);
  task->WaitForRun(2);
  task->Let(E::kNone);
  WaitUntilIdle();
  EXPECT_THAT(task->Events(), ElementsAre("run", "end", "run", "end", "done"));
}

TEST_F(TransferManagerTest, PauseThatComesTooLateLeavesTheSuccess) {
  const auto task = Task("a");
  task->onStop = FakeTask::OnStopTask::GoOn;
  EXPECT_TRUE(manager.AddUpload(task));
  task->WaitForRun(1);
  manager.PauseAll(TaskType::Upload);
  task->Let(E::kNone);
  WaitUntilIdle();
  EXPECT_EQ(task->Status(), TaskStatus::Completed);
  EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(TransferManagerTest, DeletedRunningTaskEndsItsRunBeforeItsRowGoes) {
  const auto task = Running("a"), other = Running("b");
  manager.DelTasks({"a", "unknown"});
  EXPECT_THAT(task->Events(), ElementsAre("run", "end", "delete", "done"));
  EXPECT_THAT(Ids(), ElementsAre("b"));
  EXPECT_EQ(other->Status(), TaskStatus::Running);
}

TEST_F(TransferManagerTest, StopAllTaskWaitsForTheRunsAndKeepsRowsAndFailures) {
  const auto failed = Added("failed");
  failed->Let(E::kNotAllowed);
  WaitUntilIdle();
  manager.SetWorkers(TaskType::Upload, 1);
  const auto running = Running("a"), waiting = Added("b");
  manager.StopAllTask(TaskType::Upload);
  EXPECT_THAT(running->Events(), ElementsAre("run", "end", "done"));
  EXPECT_THAT(waiting->Events(), ElementsAre("done"));
  EXPECT_THAT(Ids(), ElementsAre("failed"));
}

TEST_F(TransferManagerTest, UploadThatIsListedIsNotQueuedTwice) {
  const auto task = Running("a");
  EXPECT_FALSE(manager.AddUpload(Task("a")));
  EXPECT_THAT(Ids(), ElementsAre("a"));
  EXPECT_EQ(manager.Tasks(TaskType::Upload)[0], task);
}

TEST_F(TransferManagerTest, FailedUploadGivesWayToANewOne) {
  const auto old = Added("a");
  old->Let(E::kSourceChanged);
  WaitUntilIdle();
  const auto next = Running("a");
  EXPECT_THAT(manager.Tasks(TaskType::Upload), ElementsAre(next));
}

TEST_F(TransferManagerTest, FailedDownloadStartsAnewInPlaceOfASecondOne) {
  const auto old = Task("a", TaskType::Download);
  old->Let(E::kNoUrl);
  manager.AddDownloads({old}, TaskStatus::Waiting);
  (void)manager.WaitUntilIdle(TaskType::Download, nullptr);
  manager.AddDownloads({Task("a", TaskType::Download)}, TaskStatus::Waiting);
  old->WaitForRun(2);
  EXPECT_THAT(manager.Tasks(TaskType::Download), ElementsAre(old));
}

TEST_F(TransferManagerTest, TaskThatIsTakenOutIsFollowedByANewOne) {
  const auto old = Task("a");
  old->onStop = FakeTask::OnStopTask::GoOn;
  EXPECT_TRUE(manager.AddUpload(old));
  old->WaitForRun(1);
  std::thread stopper([&] { manager.StopAllTask(TaskType::Upload); });
  WaitUntil([&](const auto&) { return old->Status() == TaskStatus::PausedBySystem; });
  const auto next = Task("a");
  EXPECT_TRUE(manager.AddUpload(next));
  EXPECT_EQ(next->Runs(), 0);
  old->Let(E::kGeneral);
  stopper.join();
  next->WaitForRun(1);
  EXPECT_THAT(manager.Tasks(TaskType::Upload), ElementsAre(next));
}

TEST_F(TransferManagerTest, CallbackMayQueueTheNextTask) {
  const auto second = Task("b");
  const auto first = Task("a");
  first->WhenDone([&](const TransferTask::Ptr&) { EXPECT_TRUE(manager.AddUpload(second)); });
  first->Let(E::kNone);
  second->Let(E::kNone);
  EXPECT_TRUE(manager.AddUpload(first));
  WaitUntilIdle();
  EXPECT_EQ(second->Status(), TaskStatus::Completed);
}

TEST_F(TransferManagerTest, LostConnectionHoldsTasksUntilItIsBack) {
  manager.SetWorkers(TaskType::Upload, 1);
  const auto running = Running("a"), waiting = Added("b"), paused = Added("c");
  manager.Pause(TaskType::Upload, {"c"});
  manager.OnNetworkDisconnect();
  WaitUntilIdle();
  const auto late = Added("d");
  for (const auto& task : {running, waiting, late}) EXPECT_EQ(task->Status(), TaskStatus::PausedBySystem);
  for (const auto& task : {running, waiting, late}) task->Let(E::kNone);
  manager.OnNetworkResume();
  WaitUntilIdle();
  for (const auto& task : {running, waiting, late}) EXPECT_EQ(task->Status(), TaskStatus::Completed);
  EXPECT_EQ(paused->Status(), TaskStatus::PausedByUser);
  EXPECT_EQ(paused->Runs(), 0);
}

TEST_F(TransferManagerTest, RunThatFailsWithoutAConnectionIsHeld) {
  const auto task = Running("a");
  GlobalParamWrapper::GetInstance()->SetNetIsConnect(false);
  task->Let(E::kService);
  WaitUntilIdle();
  EXPECT_EQ(task->Status(), TaskStatus::PausedBySystem);
  EXPECT_THAT(task->Events(), ElementsAre("run", "end"));
  task->Let(E::kNone);
  ZentaraDeskClient::BackendTransModule::GetInstance().NetworkChanged(true);
  task->WaitForRun(2);
  WaitUntilIdle();
  EXPECT_EQ(task->Status(), TaskStatus::Completed);
}

TEST_F(TransferManagerTest, LogoutEndsEverythingAndKeepsRows) {
  manager.SetWorkers(TaskType::Upload, 1);
  const auto finished = Task("f");
  finished->keepsFinished = true;
  finished->Let(E::kNone);
  EXPECT_TRUE(manager.AddUpload(finished));
  WaitUntilIdle();
  const auto failed = Added("failed");
  failed->Let(E::kNotAllowed);
  WaitUntilIdle();
  const auto running = Running("a"), waiting = Added("b");
  const auto down = Task("d", TaskType::Download);
  manager.AddDownloads({down}, TaskStatus::PausedByUser);
  manager.OnLogout();
  EXPECT_THAT(running->Events(), ElementsAre("run", "end", "done"));
  EXPECT_THAT(waiting->Events(), ElementsAre("done"));
  EXPECT_THAT(down->Events(), ElementsAre("done"));
  EXPECT_THAT(failed->Events(), ElementsAre("run", "end", "done"));
  for (const auto kind : {TaskType::Upload, TaskType::Download, TaskType::Complete})
    EXPECT_THAT(Ids(kind), IsEmpty());
  EXPECT_EQ(manager.GetFigures(TaskType::Upload).completed, 0u);
  EXPECT_TRUE(Running("a"));
}

TEST_F(TransferManagerTest, FiguresTellBytesAndSpeed) {
  const auto a = Running("a"), b = Running("b");
  (void)manager.GetFigures(TaskType::Upload);
  a->SetTransferred(300);
  b->SetTransferred(100);
  Advance(2s);
  const auto figures = manager.GetFigures(TaskType::Upload);
  EXPECT_EQ(figures.bytes, 2000);
  EXPECT_EQ(figures.transferred, 400);
  EXPECT_EQ(figures.speed, 150 + 50);
  EXPECT_EQ(a->Speed(), 150);
  a->Let(E::kNotAllowed);
  WaitUntil([](const auto& now) { return now.failed == 1; });
  EXPECT_EQ(manager.GetFigures(TaskType::Upload).speed, 50);
}

TEST_F(TransferManagerTest, SpeedFollowsTheLastSeconds) {
  const auto task = Running("a");
  // 10 bytes a second, then 100: after five seconds only the latter counts.
  for (int second = 1; second <= 20; ++second) {
    task->SetTransferred(second <= 10 ? 10 * second : 100 + 100 * (second - 10));
    Advance(1s);
    (void)manager.GetFigures(TaskType::Upload);
  }
  EXPECT_EQ(task->Speed(), 100);
  task->SetTransferred(0);  // The run has begun from the start.
  Advance(1s);
  (void)manager.GetFigures(TaskType::Upload);
  EXPECT_EQ(task->Speed(), 0);
}

TEST_F(TransferManagerTest, WaitingForIdleCanBeGivenUp) {
  const auto task = Running("a");
  EXPECT_FALSE(manager.WaitUntilIdle(TaskType::Upload, [] { return true; }));
}

TEST_F(TransferManagerTest, ManagersAreKnownWhileTheyLive) {
  const auto known = [](const TransferManager* wanted) {
    int count = 0;
    TransferManager::ForEach([&](const TransferManager& one) { count += &one == wanted; });
    return count;
  };
  EXPECT_EQ(known(&manager), 1);
  const TransferManager* gone = nullptr;
  {
    FakeManager other;
    gone = &other;
    EXPECT_EQ(known(gone), 1);
  }
  EXPECT_EQ(known(gone), 0);
}

TEST_F(TransferManagerTest, DestructorWaitsForTheRuns) {
  const auto task = Task("a");
  {
    FakeManager other;
    EXPECT_TRUE(other.AddUpload(task));
    task->WaitForRun(1);
  }
  EXPECT_THAT(task->Events(), ElementsAre("run", "end", "done"));
}

}  // namespace
