// The cloud's lock when somebody else has it, takes it, or it cannot be kept.

#include "wiretest.h"

namespace {

TEST_F(WireTest, LockThatWasLostBeforeABatchLeavesTheChangesWaiting) {
  const Strings ids = StartWith(3);
  ASSERT_TRUE(first.Do("recycle", "id", ids[0]).asBool());
  cloud.Rule(R"({"method":"POST","path":"/batch","before":{"action":"dropLock","userName":"alice"}})");
  (void)first.Cycle();
  EXPECT_EQ(first.Tables()["files"][ids[0]]["waits"].asInt(), 2);
  EXPECT_FALSE(api.Dump()["files"][ids[0]]["bin"].asBool());
  SettleAlone(first);
  EXPECT_TRUE(api.Dump()["files"][ids[0]]["bin"].asBool());
  ExpectInStep(first);
}

class ShortLockWireTest : public WireTest {
 protected:
  ShortLockWireTest() : WireTest({"--lock-seconds", "1"}) {}
};

TEST_F(ShortLockWireTest, LockThatCannotBeKeptEndsTheCycleBehindItsBatch) {
  const Strings ids = StartWith(3);
  ASSERT_NE(first.Do("createAlbum", "name", "Trip").asString(), "");
  ASSERT_TRUE(first.Do("recycle", "id", ids[0]).asBool());
  // Half a second after the lock its keeper is refused, while the first batch is
  // still on its way.
  cloud.Rule(R"({"path":"/locks\\?token=.","status":409})");
  cloud.Rule(R"({"path":"/batch","delayMs":900})");
  const Json::Value outcome = first.Cycle();
  EXPECT_FALSE(outcome["done"].asBool());
  EXPECT_EQ(outcome["step"].asString(), "SyncHelper::KeepLock");
  EXPECT_EQ(CountCalls(first, "[POST albums]"), 1);
  EXPECT_EQ(CountCalls(first, "[PATCH media]"), 0);
  EXPECT_EQ(first.Tables()["files"][ids[0]]["waits"].asInt(), 2);
  SettleAlone(first);
  ExpectInStep(first);
}

TEST_F(WireTest, LockThatAnotherDeviceHoldsIsAskedForThreeTimes) {
  const Strings ids = StartWith(2);
  ASSERT_TRUE(first.Do("recycle", "id", ids[0]).asBool());
  api.TakeLock();
  (void)first.Cycle();
  EXPECT_EQ(CountCalls(first, "GET locks"), 3);
  EXPECT_EQ(CountCalls(first, "POST batch"), 0);
  api.GiveLockBack();
  SettleAlone(first);
  ExpectInStep(first);
}

}  // namespace
