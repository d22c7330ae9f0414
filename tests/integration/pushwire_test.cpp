// A device that watches, and what the service pushes to it.

#include "wiretest.h"

namespace {

class PushWireTest : public WireTest {
 protected:
  static constexpr int kIdle = 0;

  // Starts the timer and the stream, and waits for the first cycle and for the
  // service to know the listener.
  void StartWatching() {
    (void)first.Do("watch");
    idle = AwaitIdle(1);
    cloud.AwaitRequest("push", first.Id());
  }
  int AwaitIdle(int count) {
    Json::Value wanted(Json::objectValue);
    wanted["status"] = kIdle;
    wanted["count"] = count;
    return first.Do("await", wanted).asInt();
  }
  // Waits for the ends of cycles until one of them got there. A message that came
  // a moment earlier may have caused a cycle of its own.
  void AwaitCycle(const std::function<bool()>& isDone) {
    for (int ends = 0; ends < 5 && !isDone(); ++ends) idle = AwaitIdle(idle + 1);
    EXPECT_TRUE(isDone());
  }
  int idle = 0;
};

TEST_F(PushWireTest, ChangeOfAnotherDeviceBringsTheNextCycleAtOnce) {
  StartWith(2);
  StartWatching();
  api.AddMedia("new.jpg");
  AwaitCycle([this] { return Row("LatestVersion") == VersionText(); });
  ExpectInStep(first);
}

TEST_F(PushWireTest, CommandToForgetHasEverythingListedAgain) {
  StartWith(2);
  StartWatching();
  cloud.Action("push",
               R"(,"body":{"deviceCategory":"pc","serviceType":"cloudphoto","operType":"clearmetadata"})");
  AwaitCycle([this] { return CountCalls(first, "GET media") == 1 && Row("HasDownAll") == "1"; });
  ExpectInStep(first);
}

TEST_F(PushWireTest, CommandForAnotherKindOfDeviceForgetsNothing) {
  StartWith(2);
  StartWatching();
  cloud.Action("push",
               R"(,"body":{"deviceCategory":"phone","serviceType":"cloudphoto","operType":"clearmetadata"})");
  api.AddMedia("behind-it.jpg");
  AwaitCycle([this] { return Row("LatestVersion") == VersionText(); });
  EXPECT_EQ(CountCalls(first, "GET media"), 0);
  ExpectInStep(first);
}

}  // namespace
