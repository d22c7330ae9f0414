#include "photocloud/base/json.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

std::shared_ptr<PushStream> Listen(TestCloud& cloud, const Device& device) {
  const Reply reply = cloud.Call(device, "GET", "/cloudPhoto/v1/push");
  EXPECT_EQ(reply.raw.contentType, "text/event-stream");
  EXPECT_TRUE(reply.raw.stream);
  EXPECT_EQ(reply.raw.stream ? reply.raw.stream->Take() : "", ": listening\n\n");
  return reply.raw.stream;
}

// The message of an event text; the body's JSON in place of its text.
Json::Value Message(const std::string& event) {
  EXPECT_EQ(event.rfind("data: ", 0), 0u) << event;
  Json::Value message = Json(event.substr(6, event.size() - 8));
  message["body"] = Json(message["body"].asString());
  return message;
}

TEST_F(CloudTest, ChangeIsToldToTheOtherDevices) {
  const auto own = Listen(cloud, anna);
  const auto phone = Listen(cloud, cloud.Login("anna", "phone"));
  cloud.MakeAlbum(anna, "trip", "Trip");
  EXPECT_EQ(Message(phone->Take()),
            Json(R"({"cmd":"301","body":{"deviceCategory":"pc","serviceType":"cloudphoto",
                                            "operType":"sync","version":"1"}})"));
  EXPECT_EQ(own->Take(), "");
}

TEST_F(CloudTest, OtherAccountsHearNothing) {
  cloud.AddUser("berta");
  const auto berta = Listen(cloud, cloud.Login("berta", "laptop"));
  cloud.MakeAlbum(anna, "trip", "Trip");
  EXPECT_EQ(berta->Take(), "");
}

TEST_F(CloudTest, BatchIsToldOnceAndFailureNever) {
  const auto phone = Listen(cloud, cloud.Login("anna", "phone"));
  cloud.Call(anna, "POST", "/cloudPhoto/v1/batch?form=json",
             Json(R"({"requests":[{"method":"POST","uri":"/cloudPhoto/v1/albums","body":{"albumName":"A"}},
                                  {"method":"POST","uri":"/cloudPhoto/v1/albums","body":{"albumName":"B"}}]})"));
  EXPECT_EQ(Message(phone->Take())["body"]["version"], "2");
  cloud.Call(anna, "POST", "/cloudPhoto/v1/albums", Json(R"({"albumName":"A","id":"other"})"));
  cloud.Call(anna, "GET", "/cloudPhoto/v1/media");
  EXPECT_EQ(phone->Take(), "");
}

TEST_F(CloudTest, OrderedMessageReachesAllDevices) {
  const auto own = Listen(cloud, anna);
  cloud.Call(
      {}, "POST", "/faults/actions",
      Json(R"({"action":"push","userName":"anna","body":{"deviceCategory":"pc","serviceType":"cloudphoto",
                      "operType":"clearfile"}})"));
  EXPECT_EQ(Message(own->Take())["body"]["operType"], "clearfile");
}

TEST(PushStream, ListenerIsCalledForMessagesAndTheEnd) {
  PushHub hub;
  const auto stream = hub.Subscribe(1, "phone", 1);
  int calls = 0;
  stream->SetListener([&] { ++calls; });
  EXPECT_EQ(calls, 1);
  hub.Publish(1, "", "301", "{}");
  EXPECT_EQ(calls, 2);
  hub.Close();
  EXPECT_EQ(calls, 3);
  EXPECT_TRUE(stream->HasEnded());
  EXPECT_TRUE(hub.Subscribe(1, "late", 2)->HasEnded());
}

TEST(PushStream, SlowListenerKeepsTheNewestMessages) {
  PushStream stream;
  for (int i = 0; i < 1000; ++i) stream.Add(std::to_string(i) + "\n");
  const std::string text = stream.Take();
  EXPECT_EQ(text.find("\n10\n"), std::string::npos);
  EXPECT_NE(text.find("999\n"), std::string::npos);
}

TEST(PushHub, GoneListenersAreForgotten) {
  PushHub hub;
  auto stream = hub.Subscribe(1, "phone", 1);
  EXPECT_EQ(hub.Count(), 1u);
  stream.reset();
  EXPECT_EQ(hub.Count(), 0u);
  hub.Publish(1, "", "301", "{}");
}

}  // namespace
}  // namespace photocloud::testing
