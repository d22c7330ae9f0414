// Eight tasks under pauses, stops, retries, lost connections and deletions at
// random; of use under the thread sanitizer.

#include <gtest/gtest.h>

#include <iostream>
#include <random>

#include "support/faketask.h"
#include "testprofile.h"

namespace {

using E = TransferErrorInterface;

constexpr int kTasks = 8;
constexpr int kSteps = 3000;

class TransferRandomTest : public testing::Test {
 protected:
  TransferRandomTest() {
    manager.SetWorkers(TaskType::Upload, 3);
    manager.SetClock([this] { return std::chrono::steady_clock::time_point(std::chrono::seconds(seconds)); });
  }

  std::shared_ptr<FakeTask> NewTask(int number) {
    auto task = std::make_shared<FakeTask>(TaskType::Upload, std::to_string(number));
    task->WhenDone([this](const TransferTask::Ptr&) { ++done; });
    if (Dice(2)) task->onStop = FakeTask::OnStopTask::GoOn;
    return task;
  }
  int Dice(int sides) { return static_cast<int>(random() % static_cast<unsigned>(sides)); }
  // What a run of any task ends with next.
  void LetOne(const std::shared_ptr<FakeTask>& task) {
    constexpr E::ErrCode kOutcomes[] = {E::kNone, E::kService, E::kGeneral};
    task->Let(kOutcomes[Dice(3)]);
  }
  void Step(int number, std::shared_ptr<FakeTask>& task) {
    const std::string id = std::to_string(number);
    switch (Dice(12)) {
      case 0:
        manager.Pause(TaskType::Upload, {id});
        return;
      case 1:
        manager.Resume(TaskType::Upload, {id});
        return;
      case 2:
        (void)manager.RetryFailed(TaskType::Upload);
        return;
      case 3:
        task->EndWhenStopped();
        manager.DelTasks({id});
        return;
      case 4:
        manager.OnNetworkDisconnect();
        return;
      case 5:
        manager.OnNetworkResume();
        return;
      case 6:
        seconds += 5;
        manager.OnClockMoved();
        return;
      case 7:
        task->StopTask(TaskStatus::PausedByUser, 0);
        return;
      case 8: {
        auto next = NewTask(number);
        if (!manager.AddUpload(next)) return;
        ++added;
        task = next;
        return;
      }
      case 9:
        (void)manager.GetFigures(TaskType::Upload);
        return;
      default:
        LetOne(task);
    }
  }

  const TestProfile profile;
  std::mt19937 random;
  std::atomic<std::int64_t> seconds{1000};
  std::atomic<int> done{0};
  int added = 0;
  FakeManager manager;
};

TEST_F(TransferRandomTest, EveryTaskThatLeavesCallsBackOnce) {
  const char* given = std::getenv("TRANSFER_SEED");
  const unsigned seed =
      given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device{}();
  std::cout << "TRANSFER_SEED=" << seed << std::endl;
  random.seed(seed);
  std::vector<std::shared_ptr<FakeTask>> tasks, all;
  for (int i = 0; i < kTasks; ++i) {
    tasks.push_back(NewTask(i));
    ASSERT_TRUE(manager.AddUpload(tasks.back()));
    ++added;
  }
  all = tasks;
  for (int step = 0; step < kSteps; ++step) {
    const int number = Dice(kTasks);
    auto& task = tasks[static_cast<std::size_t>(number)];
    const auto before = task;
    Step(number, task);
    if (task != before) all.push_back(task);
  }
  for (const auto& task : all) task->EndWhenStopped();
  manager.OnLogout();
  EXPECT_TRUE(manager.Tasks(TaskType::Upload).empty());
  EXPECT_EQ(done, added) << "seed " << seed;
}

}  // namespace
