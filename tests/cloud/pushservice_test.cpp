#include <gmock/gmock.h>

#include <condition_variable>

#include "cloudserver.h"
#include "host/push/cserverpushservice.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

TEST(PushEventReaderTest, TakesEventsFromPiecesOfAnySize) {
  const std::string stream =
      ": comment\r\n\r\ndata: {\"cmd\":\"301\",\r\ndata: \"body\":\"{\\\"a\\\":1}\"}\r\n\r\nevent: other\n\n"
      "data: no json\n\ndata: {\"body\":\"without a command\"}\n\ndata:{\"cmd\":\"7\"}\n\ndata: "
      "{\"cmd\":\"9\"";
  for (std::size_t step : {std::size_t{1}, std::size_t{3}, std::size_t{7}, stream.size()}) {
    std::vector<std::string> seen;
    PushEventReader reader(
        [&](const PushMessage& message) { seen.push_back(message.command + message.body); });
    for (std::size_t at = 0; at < stream.size(); at += step) {
      EXPECT_TRUE(reader.Take(std::string_view(stream).substr(at, step)));
    }
    EXPECT_THAT(seen, ElementsAre("301{\"a\":1}", "7")) << step;
  }
}

TEST(PushEventReaderTest, GivesUpOnAnEndlessLine) {
  PushEventReader reader([](const PushMessage&) {});
  EXPECT_FALSE(reader.Take(std::string(300 << 10, 'x')));
}

// Keeps what comes and lets a test wait for it.
class Listener {
 public:
  void Take(const PushMessage& message) {
    const std::lock_guard hold(lock);
    messages.push_back(message);
    came.notify_all();
  }
  bool WaitFor(std::size_t count) {
    std::unique_lock hold(lock);
    return came.wait_for(hold, 60s, [&] { return messages.size() >= count; });
  }
  std::vector<PushMessage> Messages() {
    const std::lock_guard hold(lock);
    return messages;
  }

 private:
  std::mutex lock;
  std::condition_variable came;
  std::vector<PushMessage> messages;
};

class PushServiceTest : public CloudTest {
 protected:
  void SetUp() override {
    CloudTest::SetUp();
    push.SetPauses(1ms, 4ms);
    ASSERT_TRUE(push.AddDelegate(delegate));
  }
  void TearDown() override {
    push.Stop();
    push.RemoveDelegate(delegate);
    CloudTest::TearDown();
  }
  // Sends until the listener has one more: a message to a stream that is not open
  // yet is lost.
  bool SendUntilHeard(const std::string& body) {
    const std::size_t before = listener.Messages().size();
    for (int i = 0; i < 100'000 && listener.Messages().size() == before; ++i) {
      server.Action(R"({"action":"push","userName":"alice","body":")" + body + "\"}");
    }
    return listener.Messages().size() > before;
  }

  CServerPushService& push = *CServerPushService::GetInstance();
  Listener listener;
  const CServerPushService::Delegate delegate{&listener, &Listener::Take};
};

TEST_F(PushServiceTest, CommandsReachTheDelegate) {
  ASSERT_TRUE(push.Start());
  EXPECT_FALSE(push.Start());
  ASSERT_TRUE(SendUntilHeard("hello"));
  EXPECT_EQ(listener.Messages().at(0).command, "301");
  EXPECT_EQ(listener.Messages().at(0).body, "hello");
}

TEST_F(PushServiceTest, ChangesOfAnotherDeviceAreTold) {
  ASSERT_TRUE(push.Start());
  ASSERT_TRUE(SendUntilHeard("open"));
  const std::size_t before = listener.Messages().size();
  OtherDevice other(server, "other");
  other.AddAlbum("album-1", "Trip");
  ASSERT_TRUE(listener.WaitFor(before + 1));
  EXPECT_NE(listener.Messages().back().body.find("\"operType\":\"sync\""), std::string::npos);
}

TEST_F(PushServiceTest, RefusedAndCutStreamsAreOpenedAgain) {
  server.Fault(R"({"path":"/push","status":503,"times":3})");
  server.Fault(R"({"path":"/push","nth":4,"dropRequest":true})");
  ASSERT_TRUE(push.Start());
  ASSERT_TRUE(SendUntilHeard("at last"));
  const auto requests = server.Requests();
  EXPECT_GE(std::count(requests.begin(), requests.end(), "GET /cloudPhoto/v1/push"), 5);
}

TEST_F(PushServiceTest, EqualDelegateIsNotAddedTwice) {
  EXPECT_FALSE(push.AddDelegate({&listener, &Listener::Take}));
  Listener other;
  EXPECT_TRUE(push.AddDelegate({&other, &Listener::Take}));
  push.RemoveDelegate({&other, &Listener::Take});
}

// Takes itself away from within a call.
class Once {
 public:
  explicit Once(CServerPushService& service) : push(service) {}
  void Take(const PushMessage&) {
    ++calls;
    push.RemoveDelegate({this, &Once::Take});
  }
  CServerPushService& push;
  std::atomic<int> calls{0};
};

TEST_F(PushServiceTest, DelegateCanTakeItselfAway) {
  push.RemoveDelegate(delegate);
  Once once(push);
  ASSERT_TRUE(push.AddDelegate({&once, &Once::Take}));
  ASSERT_TRUE(push.AddDelegate(delegate));
  ASSERT_TRUE(push.Start());
  ASSERT_TRUE(SendUntilHeard("one"));
  ASSERT_TRUE(SendUntilHeard("two"));
  EXPECT_EQ(once.calls, 1);
}

TEST_F(PushServiceTest, StopsWhileTheServiceIsAway) {
  push.SetPauses(1h, 1h);
  server.Kill();
  ASSERT_TRUE(push.Start());
  push.Stop();
  ASSERT_TRUE(push.Start());  // and can be started again
}

}  // namespace
