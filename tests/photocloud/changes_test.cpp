#include "photocloud/base/json.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

Reply Changes(TestCloud& cloud, const Device& device, const std::string& cursor,
              const std::string& more = "") {
  return cloud.Call(device, "GET",
                    "/cloudPhoto/v1/changes?cursor=" + cursor +
                        "&kinds=Media&queryParam=albumType=0&isIncludeDeleted=true" + more);
}

TEST_F(CloudTest, NewAccountStartsAtZero) {
  const Reply reply =
      cloud.Call(anna, "GET", "/cloudPhoto/v1/changes/getStartCursor?fields=startCursor,fullUploadCursor");
  EXPECT_EQ(reply.json, Json(R"({"startCursor":"0","fullUploadCursor":"0"})"));
}

TEST_F(CloudTest, EveryChangeRaisesTheVersion) {
  std::string before = "0";
  const auto expectRise = [&] {
    const std::string now = cloud.Version(anna);
    EXPECT_EQ(std::stoll(now), std::stoll(before) + 1);
    before = now;
  };
  cloud.MakeAlbum(anna, "trip", "Trip");
  expectRise();
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  expectRise();
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, Json(R"({"favorite":true})"));
  expectRise();
  cloud.Call(anna, "DELETE", "/cloudPhoto/v1/media/" + id);
  expectRise();
  cloud.Call(anna, "DELETE", "/cloudPhoto/v1/albums/trip");
  expectRise();
}

TEST_F(CloudTest, ChangeNamesTheDeviceThatMadeIt) {
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  Device phone = cloud.Login("anna", "phone");
  phone.lock = anna.lock;
  cloud.Call(phone, "PATCH", "/cloudPhoto/v1/media/" + id, Json(R"({"favorite":true})"));
  const Reply reply = Changes(cloud, anna, "0",
                              "&fields=newStartCursor,nextCursor,changes(changeType,device,deleted,"
                              "mediaId,media(id,mediaOwnerId,%20fileName,favorite))");
  ASSERT_EQ(reply.json["changes"].size(), 1u);
  const Json::Value& change = reply.json["changes"][0];
  EXPECT_EQ(change["device"], "phone");
  EXPECT_EQ(change["changeType"], "update");
  EXPECT_EQ(change["deleted"], false);
  EXPECT_EQ(change["mediaId"], id);
  EXPECT_EQ(change["media"]["favorite"], true);
  EXPECT_EQ(change["media"].size(), 4u);
  EXPECT_EQ(reply.json["newStartCursor"], cloud.Version(anna));
}

TEST_F(CloudTest, DeletionIsListedWithoutItsMedia) {
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  const std::string start = cloud.Version(anna);
  cloud.Call(anna, "DELETE", "/cloudPhoto/v1/media/" + id);
  const Reply reply = Changes(cloud, anna, start);
  ASSERT_EQ(reply.json["changes"].size(), 1u);
  EXPECT_EQ(reply.json["changes"][0],
            Json(R"({"changeType":"delete","deleted":true,"device":"desktop","mediaId":")" + id + R"("})"));
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/changes?cursor=" + start).json["changes"].size(), 0u);
}

TEST_F(CloudTest, PagesGiveEveryChangeOnceAndEndInTheStartCursor) {
  std::set<std::string> expected;
  for (int i = 0; i < 7; ++i) expected.insert(cloud.MakeMedia(anna, "f" + std::to_string(i)));
  std::set<std::string> seen;
  std::string cursor = "0";
  while (true) {
    const Reply page = Changes(cloud, anna, cursor, "&pageSize=3");
    for (const Json::Value& change : page.json["changes"]) {
      EXPECT_TRUE(seen.insert(change["mediaId"].asString()).second);
    }
    cursor = page.json["nextCursor"].asString();
    if (cursor.empty()) {
      EXPECT_EQ(page.json["newStartCursor"], cloud.Version(anna));
      break;
    }
    EXPECT_EQ(page.json["newStartCursor"], "");
  }
  EXPECT_EQ(seen, expected);
}

TEST_F(CloudTest, AlbumChangeMovesTheCursorWithoutAnEntry) {
  cloud.MakeAlbum(anna, "trip", "Trip");
  const Reply reply = Changes(cloud, anna, "0");
  EXPECT_EQ(reply.json["changes"].size(), 0u);
  EXPECT_EQ(reply.json["newStartCursor"], "1");
}

TEST_F(CloudTest, CursorsAheadOrMalformedAreRefused) {
  EXPECT_EQ(Changes(cloud, anna, "5").Code(), "31084100");
  EXPECT_EQ(Changes(cloud, anna, "abc").Code(), "31084002");
  EXPECT_EQ(Changes(cloud, anna, "-1").Code(), "31084002");
  EXPECT_EQ(Changes(cloud, anna, "99999999999999999999").Code(), "31084002");
}

TEST_F(CloudTest, ExpiredCursorsSayWhereToStart) {
  cloud.MakeMedia(anna, "a.jpg");
  cloud.MakeMedia(anna, "b.jpg");
  const std::string list =
      cloud.Call(anna, "GET", "/cloudPhoto/v1/media?pageSize=1").json["nextCursor"].asString();
  const std::string start = cloud.Version(anna);
  cloud.Call({}, "POST", "/faults/actions", Json(R"({"action":"expireCursors","userName":"anna"})"));
  EXPECT_EQ(Changes(cloud, anna, start).Code(), "31084100");
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/media?cursor=" + list).Code(), "31084100");
  const Reply now = cloud.Call(anna, "GET", "/cloudPhoto/v1/changes/getStartCursor");
  EXPECT_EQ(now.json["fullUploadCursor"], now.json["startCursor"]);
  EXPECT_EQ(Changes(cloud, anna, now.json["startCursor"].asString()).status, 200);
}

TEST_F(CloudTest, OldTombstonesGoAndTakeTheirCursorsAlong) {
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  const std::string start = cloud.Version(anna);
  cloud.Call(anna, "DELETE", "/cloudPhoto/v1/media/" + id);
  const std::string after = cloud.Version(anna);
  cloud.services.Sweep();
  EXPECT_EQ(Changes(cloud, anna, start).json["changes"].size(), 1u);
  cloud.clock.Advance(cloud.services.settings.tombstoneKeepMs + 1000);
  cloud.services.Sweep();
  const Device again = cloud.Login("anna", "desktop");
  EXPECT_EQ(Changes(cloud, again, start).Code(), "31084100");
  EXPECT_EQ(Changes(cloud, again, after).status, 200);
  EXPECT_EQ(cloud.Call(again, "GET", "/cloudPhoto/v1/changes/getStartCursor").json["fullUploadCursor"],
            after);
}

}  // namespace
}  // namespace photocloud::testing
