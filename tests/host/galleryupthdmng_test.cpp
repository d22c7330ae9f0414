#include "host/transfer/galleryupthdmng.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "support/faketask.h"
#include "testprofile.h"

namespace {

using E = TransferErrorInterface;
using ZentaraDeskClient::GalleryUpThdMng;

class GalleryUpThdMngTest : public testing::Test {
 protected:
  GalleryUpThdMngTest() {
    uploads.SetEngine(&manager, [this](const GalleryUpThdMng::Request& request) -> TransferTask::Ptr {
      const auto found = tasks.find(request.fileId);
      return found == tasks.end() ? nullptr : found->second;
    });
  }
  std::shared_ptr<FakeTask> Task(const std::string& id) {
    return tasks[id] = std::make_shared<FakeTask>(TaskType::Upload, id);
  }
  std::future<void> Create(const std::vector<GalleryUpThdMng::Request>& requests, bool lockHeld = true) {
    const auto done = std::make_shared<std::promise<void>>();
    uploads.CreateTask(requests, lockHeld, [done] { done->set_value(); });
    return done->get_future();
  }
  std::map<std::string, int> Pending() {
    std::map<std::string, int> pending;
    for (const auto& request : uploads.PendingTasks()) pending[request.fileId] = request.type;
    return pending;
  }

  const TestProfile profile;
  std::map<std::string, std::shared_ptr<FakeTask>> tasks;
  FakeManager manager;
  GalleryUpThdMng uploads;
};

TEST_F(GalleryUpThdMngTest, CompletionFollowsTheLastTask) {
  const auto a = Task("a"), b = Task("b");
  a->Let(E::kNone);
  auto done = Create({{"a", 0}, {"b", 1}, {"nothing local", 0}});
  b->WaitForRun(1);
  EXPECT_EQ(done.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  EXPECT_EQ(Pending(), (std::map<std::string, int>{{"a", 0}, {"b", 1}, {"nothing local", 0}}));
  b->Let(E::kNone);
  done.wait();
  EXPECT_TRUE(Pending().empty());
}

TEST_F(GalleryUpThdMngTest, FailedTaskStaysPendingForTheNextStart) {
  Task("a")->Let(E::kNotAllowed);
  Task("b")->Let(E::kNone);
  Create({{"a", 0}, {"b", 0}}).wait();
  EXPECT_EQ(Pending(), (std::map<std::string, int>{{"a", 0}}));
}

TEST_F(GalleryUpThdMngTest, UploadThatIsListedAlreadyStaysPendingUntilItsOwnCallEnds) {
  const auto first = Task("a");
  auto done = Create({{"a", 0}});
  first->WaitForRun(1);
  Task("a");
  Create({{"a", 1}}).wait();
  EXPECT_EQ(Pending(), (std::map<std::string, int>{{"a", 0}}));
  first->Let(E::kNotAllowed);
  done.wait();
  EXPECT_EQ(Pending(), (std::map<std::string, int>{{"a", 0}}));
}

TEST_F(GalleryUpThdMngTest, WithoutTheLockRequestsStayPending) {
  Task("a");
  Create({{"a", 0}}, false).wait();
  EXPECT_FALSE(manager.HasTask(TaskType::Upload, "a"));
  EXPECT_EQ(Pending(), (std::map<std::string, int>{{"a", 0}}));
}

TEST_F(GalleryUpThdMngTest, StoppedTaskStaysPendingWithItsType) {
  const auto task = Task("a");
  auto done = Create({{"a", 1}});
  task->WaitForRun(1);
  manager.StopAllTask(TaskType::Upload);
  done.wait();
  EXPECT_EQ(Pending(), (std::map<std::string, int>{{"a", 1}}));
  const auto again = Task("a");
  again->Let(E::kNone);
  Create({{"a", 2}}).wait();
  EXPECT_TRUE(Pending().empty());
}

TEST_F(GalleryUpThdMngTest, CloseCallsWhatIsDue) {
  const auto task = Task("a");
  auto done = Create({{"a", 0}});
  task->WaitForRun(1);
  manager.OnLogout();
  uploads.Close();
  EXPECT_EQ(done.wait_for(std::chrono::seconds(0)), std::future_status::ready);
}

// A window on its own thread: what is posted waits until it is looked at.
class TipWindow {
 public:
  TipWindow() {
    handle = platform::RegisterWindow(
        [this](platform::UINT message, platform::WPARAM word, platform::LPARAM state) {
          const std::unique_ptr<TransferTask::Ptr> task(reinterpret_cast<TransferTask::Ptr*>(word));
          told[(*task)->GetTransferId()] = {message, state};
          return platform::LRESULT{0};
        },
        [this](std::function<void()> call) {
          platform::MutexLock hold(lock);
          calls.push_back(std::move(call));
        });
  }
  ~TipWindow() { platform::UnregisterWindow(handle); }
  HWND Handle() const { return handle; }
  std::map<std::string, std::pair<platform::UINT, platform::LPARAM>> Told() {
    std::vector<std::function<void()>> waiting;
    {
      platform::MutexLock hold(lock);
      waiting.swap(calls);
    }
    for (const auto& call : waiting) call();
    return told;
  }

 private:
  HWND handle = nullptr;
  platform::Mutex lock;
  std::vector<std::function<void()>> calls GUARDED_BY(lock);
  std::map<std::string, std::pair<platform::UINT, platform::LPARAM>> told;
};

TEST_F(GalleryUpThdMngTest, WindowLearnsWhichContentsAreInTheCloudAgain) {
  TipWindow window;
  uploads.SetTip(window.Handle(), 3350);
  for (const char* id : {"content", "thumbnails", "from before"}) Task(id)->Let(E::kNone);
  for (const char* id : {"still lost", "no thumbnails", "still pending"}) Task(id)->Let(E::kNotAllowed);
  Create({{"content", 0},
          {"thumbnails", 1},
          {"from before", 2},
          {"still lost", 0},
          {"no thumbnails", 1},
          {"still pending", 2}})
      .wait();
  const std::map<std::string, std::pair<platform::UINT, platform::LPARAM>> expected{
      {"content", {3350, 1}}, {"from before", {3350, 1}}, {"still lost", {3350, 2}}};
  EXPECT_EQ(window.Told(), expected);
}

TEST_F(GalleryUpThdMngTest, UploadThatIsStoppedTellsTheWindowNothing) {
  TipWindow window;
  uploads.SetTip(window.Handle(), 3350);
  const auto task = Task("a");
  auto done = Create({{"a", 0}});
  task->WaitForRun(1);
  manager.StopAllTask(TaskType::Upload);
  done.wait();
  EXPECT_TRUE(window.Told().empty());
}

TEST_F(GalleryUpThdMngTest, WindowThatIsGoneLeavesNoRecord) {
  {
    TipWindow window;
    uploads.SetTip(window.Handle(), 3350);
  }
  const auto task = Task("a");
  task->Let(E::kNone);
  Create({{"a", 0}}).wait();
  tasks.clear();
  EXPECT_EQ(task.use_count(), 1);
}

}  // namespace
