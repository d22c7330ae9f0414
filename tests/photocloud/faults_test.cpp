#include "photocloud/base/json.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

class FaultTest : public CloudTest {
 protected:
  void Rule(const std::string& rule) {
    const Reply reply = cloud.Call({}, "POST", "/faults", Json(rule));
    ASSERT_EQ(reply.status, 200) << reply.raw.body;
  }
  int Media() { return cloud.Call(anna, "GET", "/cloudPhoto/v1/media?pageSize=5").status; }
};

TEST_F(FaultTest, NthMatchIsHitAndNoOther) {
  Rule(R"({"method":"GET","path":"/media\\?","nth":2,"status":503})");
  EXPECT_EQ(Media(), 200);
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/albums").status, 200);
  EXPECT_EQ(Media(), 503);
  EXPECT_EQ(Media(), 200);
}

TEST_F(FaultTest, RuleCanHoldForSeveralMatchesOrForGood) {
  Rule(R"({"path":"media","times":2,"status":429})");
  EXPECT_EQ(Media(), 429);
  EXPECT_EQ(Media(), 429);
  EXPECT_EQ(Media(), 200);
  Rule(R"({"path":"media","times":0,"status":500})");
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Media(), 500);
  cloud.Call({}, "DELETE", "/faults");
  EXPECT_EQ(Media(), 200);
}

TEST_F(FaultTest, ErrorCodeStandsInTheRecord) {
  Rule(R"({"path":"getStartCursor","errorCode":"31084977"})");
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/changes/getStartCursor").Code(), "31084977");
}

TEST_F(FaultTest, ReplacedRequestIsNotHandled) {
  Rule(R"({"method":"POST","path":"albums","status":500})");
  EXPECT_EQ(cloud.Call(anna, "POST", "/cloudPhoto/v1/albums", Json(R"({"id":"a","albumName":"A"})")).status,
            500);
  EXPECT_EQ(cloud.Version(anna), "0");
}

TEST_F(FaultTest, LostAnswerLeavesTheRequestDone) {
  Rule(R"({"method":"POST","path":"albums","close":true})");
  const Reply reply =
      cloud.Call(anna, "POST", "/cloudPhoto/v1/albums", Json(R"({"id":"a","albumName":"A"})"));
  EXPECT_TRUE(reply.raw.delivery.close);
  EXPECT_EQ(cloud.Version(anna), "1");
  Rule(R"({"method":"POST","path":"albums","dropRequest":true})");
  EXPECT_TRUE(
      cloud.Call(anna, "POST", "/cloudPhoto/v1/albums", Json(R"({"albumName":"B"})")).raw.delivery.close);
  EXPECT_EQ(cloud.Version(anna), "1");
}

TEST_F(FaultTest, DelayAndCutGoWithTheAnswer) {
  Rule(R"({"path":"media","delayMs":5,"cutAfterBytes":3})");
  const Reply reply = cloud.Call(anna, "GET", "/cloudPhoto/v1/media");
  EXPECT_EQ(reply.raw.delivery.delayMs, 5);
  EXPECT_EQ(reply.raw.delivery.cutAfterBytes, 3);
  EXPECT_FALSE(cloud.Call(anna, "GET", "/cloudPhoto/v1/media").raw.delivery.cutAfterBytes);
}

TEST_F(FaultTest, LockCanBeTakenAwayBeforeARequest) {
  Rule(R"({"method":"POST","path":"albums","before":{"action":"dropLock","userName":"anna"}})");
  EXPECT_EQ(cloud.Call(anna, "POST", "/cloudPhoto/v1/albums", Json(R"({"albumName":"A"})")).Code(),
            "31084230");
}

TEST_F(FaultTest, VersionCanMoveBetweenTwoRequests) {
  Rule(R"({"path":"getStartCursor","after":{"action":"bumpVersion","userName":"anna"}})");
  EXPECT_EQ(cloud.Version(anna), "0");
  EXPECT_EQ(cloud.Version(anna), "1");
}

TEST_F(FaultTest, ItemOfABatchCanFail) {
  Rule(R"({"method":"POST","path":"/albums$","nth":2,"status":500})");
  const Reply reply = cloud.Call(anna, "POST", "/cloudPhoto/v1/batch?form=json", Json(R"({"requests":[
      {"method":"POST","uri":"/cloudPhoto/v1/albums","body":{"id":"a","albumName":"A"}},
      {"method":"POST","uri":"/cloudPhoto/v1/albums","body":{"id":"b","albumName":"B"}}]})"));
  EXPECT_EQ(reply.json["responses"][0]["code"], 200);
  EXPECT_EQ(reply.json["responses"][1]["code"], 500);
  EXPECT_EQ(cloud.Version(anna), "1");
}

TEST_F(FaultTest, SeenRequestsAreListedInOrder) {
  cloud.Call({}, "DELETE", "/faults/requests");
  Media();
  cloud.Call(anna, "POST", "/cloudPhoto/v1/batch?form=json",
             Json(R"({"requests":[{"method":"GET","uri":"/cloudPhoto/v1/media/none"}]})"));
  const Json::Value seen = cloud.Call({}, "GET", "/faults/requests").json["requests"];
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(seen[0]["path"], "/cloudPhoto/v1/media");
  EXPECT_EQ(seen[0]["query"], "pageSize=5");
  EXPECT_EQ(seen[0]["status"], 200);
  EXPECT_EQ(seen[0]["device"], "desktop");
  EXPECT_EQ(seen[1]["path"], "/cloudPhoto/v1/batch");
  EXPECT_EQ(seen[2]["inBatch"], true);
  EXPECT_EQ(seen[2]["status"], 404);
  EXPECT_EQ(seen[2]["order"], 3);
}

TEST_F(FaultTest, RulesAreListedWithTheirMatches) {
  Rule(R"({"path":"media","nth":9})");
  Media();
  const Json::Value rules = cloud.Call({}, "GET", "/faults").json["rules"];
  ASSERT_EQ(rules.size(), 1u);
  EXPECT_EQ(rules[0]["matched"], 1);
  EXPECT_EQ(rules[0]["nth"], 9);
}

TEST_F(FaultTest, BrokenRulesAndActionsAreRefused) {
  for (const char* rule : {R"({"path":"("})", R"({"nth":0})", R"({"nth":"1"})", R"({"status":99})",
                           R"({"typo":1})", R"({"before":"x"})", R"({"close":1})"}) {
    EXPECT_EQ(cloud.Call({}, "POST", "/faults", Json(rule)).Code(), "31084000") << rule;
  }
  for (const char* action :
       {R"({"action":"none"})", R"({"action":"dropLock","userName":"nobody"})",
        R"({"action":"advanceClock"})", R"({"action":"loseObject","userName":"anna"})"}) {
    EXPECT_EQ(cloud.Call({}, "POST", "/faults/actions", Json(action)).Code(), "31084000") << action;
  }
}

}  // namespace
}  // namespace photocloud::testing
