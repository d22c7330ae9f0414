#include "photocloud/base/json.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

constexpr const char* kBatch = "/cloudPhoto/v1/batch?form=json";

Json::Value Item(const std::string& method, const std::string& uri, const std::string& body = "") {
  Json::Value item(Json::objectValue);
  item["method"] = method;
  item["uri"] = uri;
  item["headers"] = Json::Value(Json::objectValue);
  if (!body.empty()) item["body"] = Json(body);
  return item;
}

Json::Value Batch(std::initializer_list<Json::Value> items) {
  Json::Value body(Json::objectValue);
  body["requests"] = Json::Value(Json::arrayValue);
  for (const Json::Value& item : items) body["requests"].append(item);
  return body;
}

TEST_F(CloudTest, BatchAnswersEachItemInItsPlace) {
  cloud.MakeAlbum(anna, "taken", "Taken");
  const Reply reply =
      cloud.Call(anna, "POST", kBatch,
                 Batch({Item("POST", "/cloudPhoto/v1/albums", R"({"id":"a","albumName":"A"})"),
                        Item("POST", "/cloudPhoto/v1/albums", R"({"id":"b","albumName":"Taken"})"),
                        Item("POST", "/cloudPhoto/v1/albums", R"({"id":"c","albumName":"C"})"),
                        Item("GET", "/cloudPhoto/v1/media/none?fields=id")}));
  ASSERT_EQ(reply.status, 200);
  const Json::Value& answers = reply.json["responses"];
  ASSERT_EQ(answers.size(), 4u);
  EXPECT_EQ(answers[0]["code"], 200);
  EXPECT_EQ(answers[0]["body"]["id"], "a");
  EXPECT_EQ(answers[1]["code"], 409);
  EXPECT_EQ(answers[1]["body"]["error"]["errors"][0]["code"], "31084932");
  EXPECT_EQ(answers[2]["code"], 200);
  EXPECT_EQ(answers[3]["body"]["error"]["errors"][0]["code"], "31084041");
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/albums").json["albums"].size(), 6u);
}

TEST_F(CloudTest, HeadersOfAnItemGoBeforeTheOuterOnes) {
  Device phone = cloud.Login("anna", "phone");
  Json::Value item = Item("POST", "/cloudPhoto/v1/albums", R"({"albumName":"A"})");
  EXPECT_EQ(cloud.Call(phone, "POST", kBatch, Batch({item})).json["responses"][0]["code"], 423);
  item["headers"]["x-zt-lock"].append(anna.lock);
  EXPECT_EQ(cloud.Call(phone, "POST", kBatch, Batch({item})).json["responses"][0]["code"], 200);
}

TEST_F(CloudTest, ItemCannotBringAnotherToken) {
  cloud.AddUser("berta");
  const Device berta = cloud.Login("berta", "laptop");
  Json::Value item = Item("GET", "/cloudPhoto/v1/users/registerInfo");
  item["headers"]["Authorization"] = "Bearer " + berta.token;
  const Reply reply = cloud.Call(anna, "POST", kBatch, Batch({item}));
  EXPECT_EQ(reply.json["responses"][0]["body"]["userId"], cloud.store.FindAccountByName("anna")->userId);
}

TEST_F(CloudTest, BodyOfAnItemMayBeText) {
  Json::Value item = Item("POST", "/cloudPhoto/v1/albums");
  item["body"] = R"({"id":"a","albumName":"A"})";
  EXPECT_EQ(cloud.Call(anna, "POST", kBatch, Batch({item})).json["responses"][0]["code"], 200);
}

TEST_F(CloudTest, BatchHoldsAsManyItemsAsAboutSays) {
  const Json::Value item = Item("GET", "/cloudPhoto/v1/quota");
  EXPECT_EQ(cloud.Call(anna, "POST", kBatch, Batch({item, item, item, item, item})).json["responses"].size(),
            5u);
  EXPECT_EQ(cloud.Call(anna, "POST", kBatch, Batch({item, item, item, item, item, item})).Code(), "31084030");
  EXPECT_EQ(cloud.Call(anna, "POST", kBatch, Batch({})).json["responses"].size(), 0u);
}

TEST_F(CloudTest, WhatCannotBeBatchedIsRefusedInItsPlace) {
  const Reply reply =
      cloud.Call(anna, "POST", kBatch,
                 Batch({Item("POST", kBatch, R"({"requests":[]})"), Item("GET", "/cloudPhoto/v1/push"),
                        Item("GET", "no path"), Json("{}"),
                        Item("POST", "/cloudPhoto/v1/auth/login", R"({"userName":"anna","password":"x"})")}));
  ASSERT_EQ(reply.json["responses"].size(), 5u);
  for (const Json::Value& answer : reply.json["responses"]) EXPECT_EQ(answer["code"], 400);
}

TEST_F(CloudTest, MalformedBatchesAreRefused) {
  EXPECT_EQ(cloud.Call(anna, "POST", "/cloudPhoto/v1/batch", Batch({})).Code(), "31084000");
  EXPECT_EQ(cloud.Call(anna, "POST", kBatch, Json(R"({"requests":{}})")).Code(), "31084000");
}

}  // namespace
}  // namespace photocloud::testing
