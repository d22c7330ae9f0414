#include "photocloud/base/json.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

Json::Value Get(TestCloud& cloud, const Device& device, const std::string& id) {
  return cloud.Call(device, "GET", "/cloudPhoto/v1/media/" + id).json;
}

TEST_F(CloudTest, UploadIsSeenOnlyAfterItIsMadeNormal) {
  const Reply made = cloud.Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp",
                                Json(R"({"fileName":"a.jpg","albumId":"default-album-1"})"));
  ASSERT_EQ(made.status, 200);
  EXPECT_EQ(made.json["uploadType"], "client");
  const std::string id = made.json["id"].asString();
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/media/" + id).Code(), "31084041");
  EXPECT_EQ(cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, Json("{}")).Code(), "31084041");
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/media").json["media"].size(), 0u);
  EXPECT_EQ(cloud.Version(anna), "0");
  ASSERT_EQ(
      cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id + "?mode=normal", Json(R"({"size":7})")).status,
      200);
  EXPECT_EQ(Get(cloud, anna, id)["size"], 7);
  EXPECT_EQ(cloud.Version(anna), "1");
}

TEST_F(CloudTest, FieldsComeBackAsTheyWereGiven) {
  const Json::Value body = Json(R"({"fileName":"Überblick 图.jpg","albumId":"default-album-1","fileType":9,
      "mimeType":"image/jpeg","hashId":"abc","createdTime":"2024-05-01T10:20:30.123Z","favorite":true,
      "properties":{"migrate":"1"},"pictureMetadata":{"width":3,"height":2,"position":{"x":1.5}},
      "description":"d","source":"PC"})");
  const Reply made = cloud.Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp", body);
  ASSERT_EQ(made.status, 200) << made.raw.body;
  const std::string id = made.json["id"].asString();
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id + "?mode=normal", Json("{}"));
  const Json::Value media = Get(cloud, anna, id);
  for (const std::string& name : body.getMemberNames()) EXPECT_EQ(media[name], body[name]) << name;
  EXPECT_EQ(media["status"], 1);
  EXPECT_EQ(media["deviceId"], "desktop");
  EXPECT_EQ(media["creator"]["displayName"], "anna");
  EXPECT_EQ(media["version"], "1");
}

TEST_F(CloudTest, FieldsOfAWrongTypeAreNamed) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"fileName":1})", "fileName"},      {R"({"size":-1})", "size"},
      {R"({"favorite":"true"})", "favorite"}, {R"({"createdTime":"x"})", "createdTime"},
      {R"({"properties":[]})", "properties"}, {R"({"recycled":1})", "recycled"},
      {R"({"albumId":7})", "albumId"},        {R"({"status":"lost"})", "status"},
      {R"({"fileName":null})", "fileName"},   {R"({"fileName":"a\u0000b"})", "fileName"},
  };
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  for (const auto& [body, field] : cases) {
    const Reply reply = cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, Json(body));
    EXPECT_EQ(reply.Code(), "31084000") << body;
    EXPECT_EQ(reply.json["error"]["errors"][0]["subject"], field) << body;
  }
}

TEST_F(CloudTest, MediaNeedsAnAlbumThatExists) {
  EXPECT_EQ(cloud
                .Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp",
                      Json(R"({"fileName":"a.jpg","albumId":"none"})"))
                .Code(),
            "31084909");
  EXPECT_EQ(
      cloud.Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp", Json(R"({"fileName":"a.jpg"})")).Code(),
      "31084000");
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  EXPECT_EQ(cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, Json(R"({"albumId":"none"})")).Code(),
            "31084909");
  EXPECT_EQ(Get(cloud, anna, id)["albumId"], "default-album-1");
}

TEST_F(CloudTest, BinKeepsTheAlbumAMediaCameFrom) {
  cloud.MakeAlbum(anna, "trip", "Trip");
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, Json(R"({"albumId":"trip"})"));
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id,
             Json(R"({"albumId":"default-album-3","recycled":true})"));
  Json::Value media = Get(cloud, anna, id);
  EXPECT_EQ(media["albumId"], "trip");
  EXPECT_EQ(media["recycled"], true);
  EXPECT_TRUE(media["recycledTime"].isString());
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, Json(R"({"albumId":"trip","recycled":false})"));
  media = Get(cloud, anna, id);
  EXPECT_EQ(media["recycled"], false);
  EXPECT_FALSE(media.isMember("recycledTime"));
}

TEST_F(CloudTest, GivenRecycledTimeIsKept) {
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id,
             Json(R"({"recycled":true,"recycledTime":"2020-01-02T03:04:05"})"));
  EXPECT_EQ(Get(cloud, anna, id)["recycledTime"], "2020-01-02T03:04:05");
}

TEST_F(CloudTest, MovedOnTheWayIntoTheBinComesFromItsNewAlbum) {
  cloud.MakeAlbum(anna, "trip", "Trip");
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id,
             Json(R"({"albumId":"default-album-3","recycled":true,"source":"trip"})"));
  EXPECT_EQ(Get(cloud, anna, id)["albumId"], "trip");
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id,
             Json(R"({"albumId":"default-album-3","recycled":true,"source":"a scanner"})"));
  EXPECT_EQ(Get(cloud, anna, id)["albumId"], "trip");
  EXPECT_EQ(Get(cloud, anna, id)["recycled"], true);
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id,
             Json(R"({"albumId":"default-album-3","recycled":true,"source":"default-album-300-1"})"));
  EXPECT_EQ(Get(cloud, anna, id)["albumId"], "default-album-300-1");
}

TEST_F(CloudTest, UnchangedPatchMakesNoVersion) {
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  const Json::Value patch = Json(R"({"favorite":true})");
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, patch);
  const std::string version = cloud.Version(anna);
  EXPECT_EQ(cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, patch).status, 200);
  EXPECT_EQ(cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id + "?mode=normal", Json("{}")).status, 200);
  EXPECT_EQ(cloud.Version(anna), version);
}

TEST_F(CloudTest, DeletionLeavesATombstoneAndCanBeRepeated) {
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  EXPECT_EQ(cloud.Call(anna, "DELETE", "/cloudPhoto/v1/media/" + id).status, 200);
  const std::string version = cloud.Version(anna);
  EXPECT_EQ(cloud.Call(anna, "DELETE", "/cloudPhoto/v1/media/" + id).status, 200);
  EXPECT_EQ(cloud.Version(anna), version);
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/media/" + id).Code(), "31084041");
  EXPECT_EQ(cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, Json("{}")).Code(), "31084041");
}

TEST_F(CloudTest, UnknownMediaIsNamedAsSuch) {
  for (const char* method : {"GET", "PATCH", "DELETE"}) {
    const Reply reply = cloud.Call(anna, method, "/cloudPhoto/v1/media/none", Json("{}"));
    EXPECT_EQ(reply.Code(), "31084041") << method;
    EXPECT_EQ(reply.json["error"]["errors"][0]["subject"], "mediaId") << method;
  }
}

TEST_F(CloudTest, ListIsNewestFirstAndCutAtAHundred) {
  for (int i = 0; i < 102; ++i) {
    const std::string second = std::to_string(100 + i % 60).substr(1);
    cloud.MakeMedia(anna, "f" + std::to_string(i), "2024-05-01T10:20:" + second);
  }
  const Reply first = cloud.Call(anna, "GET", "/cloudPhoto/v1/media?queryParam=albumType=0&pageSize=1000");
  ASSERT_EQ(first.json["media"].size(), 100u);
  const Reply second =
      cloud.Call(anna, "GET", "/cloudPhoto/v1/media?cursor=" + first.json["nextCursor"].asString());
  ASSERT_EQ(second.json["media"].size(), 2u);
  EXPECT_EQ(second.json["nextCursor"], "");
  std::set<std::string> ids;
  std::string last = "~";
  for (const Reply& page : {first, second}) {
    for (const Json::Value& media : page.json["media"]) {
      EXPECT_TRUE(ids.insert(media["id"].asString()).second);
      EXPECT_LE(media["createdTime"].asString(), last);
      last = media["createdTime"].asString();
    }
  }
}

TEST_F(CloudTest, ExactPageHasNoNextCursor) {
  for (int i = 0; i < 4; ++i) cloud.MakeMedia(anna, "f" + std::to_string(i));
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/media?pageSize=4").json["nextCursor"], "");
  EXPECT_NE(cloud.Call(anna, "GET", "/cloudPhoto/v1/media?pageSize=3").json["nextCursor"], "");
}

TEST_F(CloudTest, TimesBeforeTheEpochPageToo) {
  for (int i = 0; i < 3; ++i)
    cloud.MakeMedia(anna, "f" + std::to_string(i), "1950-05-01T10:20:3" + std::to_string(i));
  std::string cursor;
  int count = 0;
  do {
    const Reply page = cloud.Call(anna, "GET", "/cloudPhoto/v1/media?pageSize=1&cursor=" + cursor);
    ASSERT_EQ(page.status, 200) << page.raw.body;
    count += static_cast<int>(page.json["media"].size());
    cursor = page.json["nextCursor"].asString();
  } while (!cursor.empty());
  EXPECT_EQ(count, 3);
}

TEST_F(CloudTest, ListCanBeLimitedToAnAlbumOutsideTheBin) {
  cloud.MakeAlbum(anna, "trip", "Trip");
  const std::string inside = cloud.MakeMedia(anna, "a.jpg");
  const std::string recycled = cloud.MakeMedia(anna, "b.jpg");
  cloud.MakeMedia(anna, "c.jpg");
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + inside, Json(R"({"albumId":"trip"})"));
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + recycled, Json(R"({"albumId":"trip"})"));
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + recycled, Json(R"({"recycled":true})"));
  const Reply list =
      cloud.Call(anna, "GET", "/cloudPhoto/v1/media?queryParam=albumId%3D%27trip%27%26recycled%3Dfalse");
  ASSERT_EQ(list.json["media"].size(), 1u);
  EXPECT_EQ(list.json["media"][0]["id"], inside);
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/media?queryParam=recycled%3Dmaybe").Code(), "31084000");
}

TEST_F(CloudTest, ListGivesTheSelectedFieldsOnly) {
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  const Reply list = cloud.Call(
      anna, "GET", "/cloudPhoto/v1/media?fields=nextCursor,media(albumId,id,createdTime,size,status)");
  Json::Value expected = Json(R"({"nextCursor":"","media":[{"albumId":"default-album-1",
      "createdTime":"2024-05-01T10:20:30","size":0,"status":1}]})");
  expected["media"][0]["id"] = id;
  EXPECT_EQ(list.json, expected);
}

// Those lists come from an index of their own, which each change has to reach.
TEST_F(CloudTest, ListForAComparisonFollowsEachChange) {
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  cloud.MakeMedia(anna, "b.jpg", "2024-05-02T10:20:30");
  cloud.MakeAlbum(anna, "trip", "Trip");
  const char* const changes[] = {R"({"size":77})",
                                 R"({"editedTime":"2024-06-01T00:00:00Z"})",
                                 R"({"createdTime":"2024-06-02T00:00:00Z"})",
                                 R"({"albumId":"trip"})",
                                 R"({"recycled":true})",
                                 R"({"fileName":"size.jpg","properties":{"size":1}})",
                                 R"({"editedTime":null})"};
  for (const char* const change : changes) {
    ASSERT_EQ(cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, Json(change)).status, 200) << change;
    const Json::Value brief =
        cloud
            .Call(
                anna, "GET",
                "/cloudPhoto/v1/media?fields=nextCursor,media(albumId,id,editedTime,createdTime,size,status)")
            .json;
    Json::Value whole = cloud.Call(anna, "GET", "/cloudPhoto/v1/media").json;
    for (Json::Value& media : whole["media"]) {
      for (const std::string& name : media.getMemberNames()) {
        if (!brief["media"][0].isMember(name) && name != "editedTime") media.removeMember(name);
      }
    }
    EXPECT_EQ(brief, whole) << change;
  }
}

TEST_F(CloudTest, BadListQueriesAreRefused) {
  const std::pair<const char*, const char*> cases[] = {
      {"pageSize=0", "31084000"},        {"pageSize=x", "31084000"},     {"cursor=nonsense", "31084002"},
      {"cursor=v1.x.y", "31084002"},     {"cursor=v99.5.a", "31084100"}, {"fields=media(id", "31084000"},
      {"queryParam=albumId", "31084000"}};
  for (const auto& [query, code] : cases) {
    EXPECT_EQ(cloud.Call(anna, "GET", std::string("/cloudPhoto/v1/media?") + query).Code(), code) << query;
  }
}

TEST_F(CloudTest, FieldThatIsSetAndTakenAwayLeavesTheRecordAsItWas) {
  const std::string id = cloud.MakeMedia(anna, "a.jpg");
  const std::string before = cloud.store.FindMedia(1, id)->fields;
  const std::string path = "/cloudPhoto/v1/media/" + id;
  const Json::Value changed =
      cloud.Call(anna, "PATCH", path, Json(R"({"description":"caf\u00e9, \"x\"","favorite":true})")).json;
  EXPECT_EQ(changed["description"], "caf\u00e9, \"x\"");
  EXPECT_EQ(changed["favorite"], true);
  const std::string version = cloud.Version(anna);
  cloud.Call(anna, "PATCH", path, Json(R"({"favorite":true})"));
  EXPECT_EQ(cloud.Version(anna), version);
  cloud.Call(anna, "PATCH", path, Json(R"({"description":null,"favorite":false})"));
  EXPECT_EQ(cloud.store.FindMedia(1, id)->fields, before);
}

}  // namespace
}  // namespace photocloud::testing
