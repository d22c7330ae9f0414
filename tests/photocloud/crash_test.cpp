// What was answered with success is there after a crash.

#include <signal.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <set>
#include <thread>

#include "photocloud/base/digest.h"
#include "photocloud/base/json.h"
#include "serverprocess.h"
#include "testcloud.h"
#include "testhttp.h"

namespace photocloud::testing {
namespace {

class CrashTest : public ::testing::Test {
 protected:
  CrashTest() {
    const ProgramResult added = RunProgram({PHOTOCLOUD_PROGRAM, "user", "add", "--data", folder.path,
                                            "--fast-password", "--login-secret-file", "-", "anna"},
                                           "secret\n");
    EXPECT_EQ(added.status, 0) << added.output;
    Start();
    const HttpReply login =
        http->Call("POST", "/cloudPhoto/v1/auth/login", R"({"userName":"anna","password":"secret"})");
    headers["Authorization"] = "Bearer " + login.json["accessToken"].asString();
    headers["x-zt-lock"] = Call("GET", "/cloudPhoto/v1/locks").json["token"].asString();
  }

  void Start() {
    server = std::make_unique<ServerProcess>(PHOTOCLOUD_PROGRAM, folder.path.string(),
                                             std::vector<std::string>{"--slice-size", "64"});
    http = std::make_unique<HttpConnection>(server->Port());
  }

  // Kills the server while a request is on its way, and starts it again.
  void Crash() {
    http->Send(
        "POST /cloudPhoto/v1/albums HTTP/1.1\r\nHost: x\r\nAuthorization: " + headers["Authorization"] +
        "\r\nx-zt-lock: " + headers["x-zt-lock"] + "\r\nContent-Length: 19\r\n\r\n{\"albumName\":\"last\"}");
    server->Signal(SIGKILL);
    EXPECT_EQ(server->Wait(), -SIGKILL);
    Start();
  }

  HttpReply Call(const std::string& method, const std::string& target, const std::string& body = "") {
    return http->Call(method, target, body, headers);
  }

  TempFolder folder;
  std::unique_ptr<ServerProcess> server;
  std::unique_ptr<HttpConnection> http;
  std::map<std::string, std::string> headers;
};

TEST_F(CrashTest, AnsweredChangesAreKeptInEveryRound) {
  std::set<std::string> made;
  std::int64_t version = 0;
  for (int round = 0; round < 5; ++round) {
    for (int i = 0; i < 10; ++i) {
      const std::string id = std::to_string(round) + "-" + std::to_string(i);
      const HttpReply reply =
          Call("POST", "/cloudPhoto/v1/albums", R"({"id":")" + id + R"(","albumName":")" + id + "\"}");
      ASSERT_EQ(reply.status, 200) << reply.body;
      version = std::stoll(reply.json["version"].asString());
      made.insert(id);
    }
    Crash();
    std::set<std::string> found;
    const HttpReply list = Call("GET", "/cloudPhoto/v1/albums");
    for (const Json::Value& album : list.json["albums"]) found.insert(album["id"].asString());
    for (const std::string& id : made) EXPECT_EQ(found.count(id), 1u) << id;
    EXPECT_GE(std::stoll(Call("GET", "/cloudPhoto/v1/changes/getStartCursor").json["startCursor"].asString()),
              version);
  }
}

TEST_F(CrashTest, AnsweredObjectsAreKept) {
  const HttpReply made = Call("POST", "/cloudPhoto/v1/media?mode=temp",
                              WriteJson(UploadBody("a.jpg", std::string(150, 'c'), "s", "l")));
  ASSERT_EQ(made.status, 200) << made.body;
  const Json::Value& asset = made.json["attachments"][0]["asset"];
  const std::string path = "/cloudPhoto/v1/media/" + made.json["id"].asString() + "/assets/" +
                           asset["id"].asString() + "/revisions/" + asset["versionId"].asString();
  for (Json::ArrayIndex i = 0; i < asset["resource"]["objects"].size(); ++i) {
    const Json::Value& object = asset["resource"]["objects"][i];
    const std::string bytes =
        Sealed("object " + std::to_string(i), static_cast<std::size_t>(object["length"].asInt()));
    Json::Value body(Json::objectValue);
    body["resource"]["objects"][0]["objectId"] = object["id"];
    body["resource"]["objects"][0]["md5"] = Md5Hex(bytes);
    body["resource"]["objects"][0]["sha256"] = Sha256Hex(bytes);
    const HttpReply announced = Call("POST", path, WriteJson(body));
    ASSERT_EQ(announced.status, 200) << announced.body;
    const Json::Value& target = announced.json["resource"]["objects"][i];
    EXPECT_EQ(target["state"], 2);
    ASSERT_EQ(http->Call("PUT", TargetOf(target["uploadUrl"]["url"].asString()), bytes).status, 200);
    Crash();
    EXPECT_EQ(http->Call("GET", TargetOf(target["downloadUrl"]["url"].asString())).body, bytes);
    EXPECT_EQ(Call("POST", path, WriteJson(body)).json["resource"]["objects"][i]["state"], 1);
  }
}

struct SentObject {
  std::string bytes;
  std::string upload;
  std::string download;
  bool isAnswered = false;
};

// Many objects that end together share their flush; the server is killed among them.
TEST_F(CrashTest, ObjectsAnsweredTogetherAreKept) {
  constexpr std::size_t kSenders = 8, kEach = 12;
  std::vector<SentObject> sent(kSenders * kEach);
  for (std::size_t i = 0; i < sent.size(); ++i) {
    const std::string name = "object " + std::to_string(i);
    const HttpReply made =
        Call("POST", "/cloudPhoto/v1/media?mode=temp", WriteJson(UploadBody(name + ".jpg", name, "s", "l")));
    ASSERT_EQ(made.status, 200) << made.body;
    const Json::Value& asset = made.json["attachments"][0]["asset"];
    const Json::Value& object = asset["resource"]["objects"][0];
    sent[i].bytes = Sealed(name, static_cast<std::size_t>(object["length"].asInt()));
    Json::Value body(Json::objectValue);
    body["resource"]["objects"][0]["objectId"] = object["id"];
    body["resource"]["objects"][0]["md5"] = Md5Hex(sent[i].bytes);
    body["resource"]["objects"][0]["sha256"] = Sha256Hex(sent[i].bytes);
    const HttpReply announced =
        Call("POST",
             "/cloudPhoto/v1/media/" + made.json["id"].asString() + "/assets/" + asset["id"].asString() +
                 "/revisions/" + asset["versionId"].asString(),
             WriteJson(body));
    ASSERT_EQ(announced.status, 200) << announced.body;
    const Json::Value& target = announced.json["resource"]["objects"][0];
    sent[i].upload = TargetOf(target["uploadUrl"]["url"].asString());
    sent[i].download = TargetOf(target["downloadUrl"]["url"].asString());
  }

  std::latch halfSent(kSenders * kEach / 2);
  std::atomic<std::size_t> ended{0};
  std::vector<std::thread> senders;
  for (std::size_t sender = 0; sender < kSenders; ++sender) {
    senders.emplace_back([&, sender] {
      HttpConnection connection(server->Port());
      for (std::size_t i = sender * kEach; i < (sender + 1) * kEach; ++i) {
        sent[i].isAnswered = connection.Call("PUT", sent[i].upload, sent[i].bytes).status == 200;
        if (++ended <= sent.size() / 2) halfSent.count_down();
      }
    });
  }
  halfSent.wait();
  server->Signal(SIGKILL);
  for (std::thread& sender : senders) sender.join();
  EXPECT_EQ(server->Wait(), -SIGKILL);
  Start();
  EXPECT_GE(
      std::count_if(sent.begin(), sent.end(), [](const SentObject& object) { return object.isAnswered; }),
      std::ptrdiff_t{kSenders * kEach / 2});
  for (const SentObject& object : sent) {
    if (!object.isAnswered) continue;
    EXPECT_EQ(http->Call("GET", object.download).body, object.bytes);
  }
}

}  // namespace
}  // namespace photocloud::testing
