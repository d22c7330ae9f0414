#include "common/platform/window.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <deque>
#include <future>

namespace {

using platform::IsWindow;
using platform::PostMessageW;
using platform::RegisterWindow;
using platform::SendMessageW;
using platform::UnregisterWindow;
using platform::WM_USER;

// The queue of a user-interface thread.
class Queue {
 public:
  platform::WindowDispatcher Dispatcher() {
    return [this](std::function<void()> work) {
      const std::lock_guard hold(lock);
      waiting.push_back(std::move(work));
      arrived.notify_all();
    };
  }

  void WaitForWork() {
    std::unique_lock hold(lock);
    arrived.wait(hold, [this] { return !waiting.empty(); });
  }

  // Runs what has been queued up to now.
  void RunWaiting() {
    std::deque<std::function<void()>> taken;
    {
      const std::lock_guard hold(lock);
      taken.swap(waiting);
    }
    for (auto& work : taken) work();
  }

 private:
  std::mutex lock;
  std::condition_variable arrived;
  std::deque<std::function<void()>> waiting;
};

TEST(WindowTest, UnknownHandlesFindNothing) {
  EXPECT_FALSE(IsWindow(nullptr));
  EXPECT_FALSE(PostMessageW(nullptr, WM_USER, 1, 2));
  EXPECT_EQ(SendMessageW(nullptr, WM_USER, 1, 2), 0);
  UnregisterWindow(nullptr);
}

TEST(WindowTest, PostedMessagesArriveInOrderOnTheWindowsThread) {
  Queue queue;
  std::vector<platform::WPARAM> seen;
  const HWND window = RegisterWindow(
      [&](platform::UINT message, platform::WPARAM word, platform::LPARAM value) {
        EXPECT_EQ(message, WM_USER + 7);
        EXPECT_EQ(value, -5);
        seen.push_back(word);
        return platform::LRESULT{0};
      },
      queue.Dispatcher());
  std::thread([&] {
    for (platform::WPARAM i = 0; i < 3; ++i) EXPECT_TRUE(PostMessageW(window, WM_USER + 7, i, -5));
  }).join();
  EXPECT_TRUE(seen.empty());
  queue.RunWaiting();
  EXPECT_EQ(seen, (std::vector<platform::WPARAM>{0, 1, 2}));
  UnregisterWindow(window);
}

TEST(WindowTest, NothingReachesAWindowAfterItHasClosed) {
  Queue queue;
  int calls = 0;
  const auto handler = [&](platform::UINT, platform::WPARAM, platform::LPARAM) {
    ++calls;
    return platform::LRESULT{0};
  };
  const HWND window = RegisterWindow(handler, queue.Dispatcher());
  ASSERT_TRUE(PostMessageW(window, WM_USER, 0, 0));
  UnregisterWindow(window);
  queue.RunWaiting();
  EXPECT_FALSE(IsWindow(window));
  EXPECT_FALSE(PostMessageW(window, WM_USER, 0, 0));
  EXPECT_EQ(calls, 0);
  const HWND next = RegisterWindow(handler, queue.Dispatcher());
  EXPECT_NE(next, window);
  UnregisterWindow(next);
}

TEST(WindowTest, SendOnTheOwnThreadIsADirectCall) {
  const HWND window =
      RegisterWindow([](platform::UINT, platform::WPARAM word,
                        platform::LPARAM) { return static_cast<platform::LRESULT>(word * 2); },
                     [](const std::function<void()>&) { ADD_FAILURE() << "no queue is needed"; });
  EXPECT_EQ(SendMessageW(window, WM_USER, 21, 0), 42);
  UnregisterWindow(window);
}

TEST(WindowTest, SendFromAnotherThreadWaitsForTheResult) {
  Queue queue;
  const auto own = std::this_thread::get_id();
  const HWND window = RegisterWindow(
      [&](platform::UINT, platform::WPARAM, platform::LPARAM value) {
        EXPECT_EQ(std::this_thread::get_id(), own);
        return value + 1;
      },
      queue.Dispatcher());
  auto answer = std::async(std::launch::async, [&] { return SendMessageW(window, WM_USER, 0, 41); });
  queue.WaitForWork();
  queue.RunWaiting();
  EXPECT_EQ(answer.get(), 42);
  UnregisterWindow(window);
}

TEST(WindowTest, SenderIsReleasedWhenTheWindowCloses) {
  Queue queue;
  const HWND window =
      RegisterWindow([](platform::UINT, platform::WPARAM, platform::LPARAM) { return platform::LRESULT{1}; },
                     queue.Dispatcher());
  auto answer = std::async(std::launch::async, [&] { return SendMessageW(window, WM_USER, 0, 0); });
  queue.WaitForWork();
  UnregisterWindow(window);
  EXPECT_EQ(answer.get(), 0);
}

TEST(WindowTest, HandlerMayCloseItsOwnWindow) {
  Queue queue;
  HWND window = nullptr;
  window = RegisterWindow(
      [&](platform::UINT, platform::WPARAM, platform::LPARAM) {
        UnregisterWindow(window);
        return platform::LRESULT{0};
      },
      queue.Dispatcher());
  ASSERT_TRUE(PostMessageW(window, platform::WM_CLOSE, 0, 0));
  queue.RunWaiting();
  EXPECT_FALSE(IsWindow(window));
}

TEST(WindowTest, ClosingFromAnotherThreadWaitsForTheRunningHandler) {
  Queue queue;
  std::promise<void> entered;
  std::promise<void> leave;
  std::atomic<bool> finished = false;
  HWND window = nullptr;
  std::promise<void> registered;
  std::thread ui([&] {
    window = RegisterWindow(
        [&](platform::UINT, platform::WPARAM, platform::LPARAM) {
          entered.set_value();
          leave.get_future().wait();
          finished = true;
          return platform::LRESULT{0};
        },
        queue.Dispatcher());
    registered.set_value();
    queue.WaitForWork();
    queue.RunWaiting();
  });
  registered.get_future().wait();
  ASSERT_TRUE(PostMessageW(window, WM_USER, 0, 0));
  entered.get_future().wait();
  auto closed = std::async(std::launch::async, [&] {
    UnregisterWindow(window);
    EXPECT_TRUE(finished);
  });
  leave.set_value();
  closed.get();
  ui.join();
}

TEST(WindowTest, ManyThreadsMayPostWhileWindowsComeAndGo) {
  std::atomic<bool> stop = false;
  std::atomic<HWND> present = nullptr;
  std::vector<std::thread> posters;
  std::atomic<int> posted = 0;
  for (int i = 0; i < 4; ++i) {
    posters.emplace_back([&] {
      while (!stop) posted += PostMessageW(present, WM_USER, 0, 0) ? 1 : 0;
    });
  }
  int delivered = 0;
  while (posted < 1000) {
    auto queue = std::make_unique<Queue>();
    const HWND window = RegisterWindow(
        [&](platform::UINT, platform::WPARAM, platform::LPARAM) {
          ++delivered;
          return platform::LRESULT{0};
        },
        queue->Dispatcher());
    present = window;
    queue->WaitForWork();
    queue->RunWaiting();
    UnregisterWindow(window);  // From here on no poster may touch the queue.
  }
  stop = true;
  for (auto& poster : posters) poster.join();
  EXPECT_GT(delivered, 0);
}

}  // namespace
