#include "photocloud/base/json.h"
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
