#include <set>
#include <vector>

#include "photocloud/base/json.h"
#include "photocloud/content/integritycheck.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

Reply PostText(TestCloud& cloud, const Device& device, const std::string& body) {
  Request request;
  request.method = "POST";
  request.SetTarget("/cloudPhoto/v1/albums");
  request.headers = {{"authorization", "Bearer " + device.token}, {"x-zt-lock", device.lock}};
  request.body = body;
  return cloud.CallRaw(request);
}

std::string Nested(int depth) {
  return R"({"albumName":"x","properties":{"p":)" + std::string(static_cast<std::size_t>(depth), '[') +
         std::string(static_cast<std::size_t>(depth), ']') + "}}";
}

TEST_F(CloudTest, BodiesThatAreNoJsonObjectAreRefused) {
  for (const char* body : {"", "[]", "{", "null", "{\"albumName\":\"x\"} more", "{'albumName':'x'}",
                           "{\"a\":1,\"a\":2}", "// comment\n{}"}) {
    EXPECT_EQ(PostText(cloud, anna, body).Code(), "31084000") << body;
  }
}

TEST_F(CloudTest, DeepDocumentsAreRefused) {
  EXPECT_EQ(PostText(cloud, anna, Nested(kMaxJsonDepth - 2)).status, 200);
  EXPECT_EQ(PostText(cloud, anna, Nested(kMaxJsonDepth - 1)).Code(), "31084030");
  EXPECT_EQ(PostText(cloud, anna, Nested(1000000)).Code(), "31084030");
}

TEST_F(CloudTest, DocumentsOfManyItemsAreRefused) {
  std::string body = R"({"albumName":"x","properties":{"p":[0)";
  for (int i = 0; i < kMaxJsonItems; ++i) body += ",0";
  EXPECT_EQ(PostText(cloud, anna, body + "]}}").Code(), "31084030");
}

TEST_F(CloudTest, BracketsInTextDoNotCount) {
  EXPECT_EQ(
      PostText(cloud, anna, R"({"albumName":"x","localPath":")" + std::string(100, '[') + R"(\"{"})").status,
      200);
}

TEST_F(CloudTest, LongTextsAreRefused) {
  EXPECT_EQ(PostText(cloud, anna, R"({"albumName":")" + std::string(2000, 'x') + R"("})").Code(), "31084000");
}

// Everything that is stored as text: the longest that is taken, and one byte more.
TEST_F(CloudTest, StoredTextsHaveTheirLimitOnEachSide) {
  const auto album = [&](const std::string& key, std::size_t length) {
    Json::Value body(Json::objectValue);
    body["id"] = "a";
    body["albumName"] = "with a long " + key;
    body[key] = std::string(length, 'x');
    return cloud.Call(anna, "POST", "/cloudPhoto/v1/albums", body).status;
  };
  const auto media = [&](const std::string& key, std::size_t length) {
    Json::Value body = UploadBody("a.jpg", "content", "s", "l");
    body["albumId"] = "default-album-1";
    body[key] = std::string(length, 'x');
    return cloud.Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp", body);
  };
  struct Case {
    const char* key;
    std::size_t longest;
  };
  for (const Case& entry :
       {Case{"id", 256}, Case{"albumName", 1024}, Case{"localPath", 4096}, Case{"type", 16}}) {
    EXPECT_EQ(album(entry.key, entry.longest), 200) << entry.key;
    EXPECT_EQ(album(entry.key, entry.longest + 1), 400) << entry.key;
  }
  for (const Case& entry : {Case{"fileName", 4096}, Case{"mimeType", 4096}, Case{"hashId", 4096},
                            Case{"source", 4096}, Case{"description", 4096}}) {
    EXPECT_EQ(media(entry.key, entry.longest).status, 200) << entry.key;
    EXPECT_EQ(media(entry.key, entry.longest + 1).Code(), "31084000") << entry.key;
  }
  // The album from above.
  EXPECT_EQ(media("albumId", 256).status, 200);
  EXPECT_EQ(media("albumId", 257).Code(), "31084000");
}

TEST_F(CloudTest, CipherAndAttributesHaveTheirLimit) {
  for (const char* key : {"cipher", "attributes"}) {
    Json::Value body = UploadBody("a.jpg", "content", "s", "l");
    body["attachments"][0]["asset"][key]["text"] = std::string(60000, 'x');
    EXPECT_EQ(cloud.Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp", body).status, 200) << key;
    body["attachments"][0]["asset"][key]["text"] = std::string(70000, 'x');
    EXPECT_EQ(cloud.Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp", body).Code(), "31084013") << key;
  }
}

TEST_F(CloudTest, LengthsThatOverflowAreRefused) {
  Json::Value body = UploadBody("a.jpg", "content", "s", "l");
  Json::Value& thumbnail = body["attachments"][1]["asset"];
  thumbnail["attributes"]["length"]["small"] = Json::Int64(INT64_MAX);
  thumbnail["attributes"]["length"]["large"] = Json::Int64(INT64_MAX);
  thumbnail["resource"]["length"] = 2;
  EXPECT_EQ(cloud.Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp", body).Code(), "31084000");
}

TEST_F(CloudTest, PagesEndByTheirBytesAndNothingIsLeftOut) {
  std::set<std::string> made;
  for (int i = 0; i < 40; ++i) {
    const std::string id = cloud.MakeMedia(anna, "a.jpg", "2024-05-01T10:20:" + std::to_string(10 + i));
    Json::Value body(Json::objectValue);
    body["properties"]["text"] = std::string(250000, 'x');
    EXPECT_EQ(cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, body).status, 200);
    made.insert(id);
  }
  for (const char* list : {"media?cursor=", "changes?cursor="}) {
    std::set<std::string> seen;
    std::string cursor;
    int pages = 0;
    do {
      const Reply page = cloud.Call(anna, "GET", std::string("/cloudPhoto/v1/") + list + cursor);
      EXPECT_LT(page.raw.body.size(), std::size_t{5} << 20);
      for (const Json::Value& media : page.json["media"]) seen.insert(media["id"].asString());
      for (const Json::Value& change : page.json["changes"]) seen.insert(change["mediaId"].asString());
      cursor = page.json["nextCursor"].asString();
      ++pages;
    } while (!cursor.empty());
    EXPECT_EQ(seen, made) << list;
    EXPECT_GT(pages, 1) << list;
  }
}

TEST_F(CloudTest, RecordsCountAsUsedSpace) {
  constexpr std::int64_t kQuota = 2000000;
  cloud.AddUser("berta", kQuota);
  Device berta = cloud.Writer("berta", "laptop");
  const auto used = [&] {
    return cloud.Call(berta, "GET", "/cloudPhoto/v1/quota").json["usedSpace"].asInt64();
  };
  const auto grow = [&](const std::string& id, std::size_t length) {
    Json::Value body(Json::objectValue);
    body["properties"]["text"] = std::string(length, 'x');
    return cloud.Call(berta, "PATCH", "/cloudPhoto/v1/media/" + id, body);
  };
  EXPECT_EQ(used(), 0);
  const std::string id = cloud.MakeMedia(berta, "a.jpg");
  const auto small = used();
  EXPECT_EQ(grow(id, 10000).status, 200);
  EXPECT_EQ(used() - small,
            10000 + static_cast<std::int64_t>(std::string(R"(,"properties":{"text":""})").size()));
  std::vector<std::string> ids;
  for (int i = 0; i < 7; ++i) {
    ids.push_back(cloud.MakeMedia(berta, "b.jpg"));
    EXPECT_EQ(grow(ids.back(), 250000).status, 200) << i;
  }
  const auto full = used();
  EXPECT_EQ(grow(id, 259000).Code(), "31085070");
  EXPECT_EQ(used(), full);
  Json::Value album(Json::objectValue);
  album["properties"]["text"] = std::string(60000, 'x');
  Reply made;
  for (int i = 0; i < 6; ++i) {
    album["albumName"] = "album " + std::to_string(i);
    made = cloud.Call(berta, "POST", "/cloudPhoto/v1/albums", album);
  }
  EXPECT_EQ(made.Code(), "31085070");
  EXPECT_LE(used(), kQuota);
  // What costs a few bytes is always possible, and room can be made.
  EXPECT_EQ(cloud.Call(berta, "PATCH", "/cloudPhoto/v1/media/" + id, Json(R"({"recycled":true})")).status,
            200);
  for (const std::string& each : ids) cloud.Call(berta, "DELETE", "/cloudPhoto/v1/media/" + each);
  EXPECT_LT(used(), 500000);
  EXPECT_EQ(CheckAll(cloud.store, cloud.services.vault).wrongSums, 0);
}

TEST_F(CloudTest, AccountWithoutSpaceKeepsAlbumsAndSmallRecords) {
  cloud.AddUser("carla", 0);
  Device carla = cloud.Writer("carla", "laptop");
  cloud.MakeAlbum(carla, "trip", "Trip");
  cloud.MakeMedia(carla, "a.jpg");
  EXPECT_EQ(
      cloud.Call(carla, "POST", "/cloudPhoto/v1/media?mode=temp", UploadBody("a.jpg", "x", "", "")).Code(),
      "31085070");
}

TEST_F(CloudTest, MetricsAreForTheirOwnAddress) {
  Request request;
  request.method = "GET";
  request.SetTarget("/metrics");
  EXPECT_EQ(cloud.CallRaw(request).status, 404);
  request.onMetricsAddress = true;
  cloud.Call(anna, "GET", "/cloudPhoto/v1/media/some-id");
  const Reply reply = cloud.CallRaw(request);
  EXPECT_EQ(reply.status, 200);
  EXPECT_NE(
      reply.raw.body.find("photocloud_requests_total{method=\"GET\",route=\"/cloudPhoto/v1/media/{mediaId}\","
                          "status=\"404\"} 1\n"),
      std::string::npos)
      << reply.raw.body;
  EXPECT_EQ(reply.raw.body.find("some-id"), std::string::npos);
}

TEST_F(CloudTest, LogHoldsNeitherTokensNorQueries) {
  ::testing::internal::CaptureStderr();
  cloud.Call(anna, "GET", "/cloudPhoto/v1/locks?token=" + anna.lock);
  Json::Value body(Json::objectValue);
  body["userName"] = "anna";
  body["password"] = "secret of anna";
  cloud.Call({}, "POST", "/cloudPhoto/v1/auth/login", body);
  const std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("\"route\":\"/cloudPhoto/v1/locks\""), std::string::npos) << log;
  for (const std::string& secret : {anna.token, anna.lock, std::string("secret of anna")}) {
    EXPECT_EQ(log.find(secret), std::string::npos);
  }
  for (std::istringstream lines(log); lines.good();) {
    std::string line;
    std::getline(lines, line);
    EXPECT_TRUE(line.empty() || ParseJson(line)) << line;
  }
}

}  // namespace
}  // namespace photocloud::testing
