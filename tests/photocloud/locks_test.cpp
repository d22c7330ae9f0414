#include "photocloud/base/json.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

Reply Lock(TestCloud& cloud, const Device& device, const std::string& method, const std::string& token) {
  return cloud.Call(device, method, "/cloudPhoto/v1/locks?token=" + token);
}

TEST_F(CloudTest, LockTellsItsValidity) {
  Device phone = cloud.Login("anna", "phone");
  Lock(cloud, anna, "DELETE", anna.lock);
  const Reply reply = Lock(cloud, phone, "GET", "");
  EXPECT_EQ(reply.json["expiresIn"], 60);
  EXPECT_FALSE(reply.json["token"].asString().empty());
}

TEST_F(CloudTest, SecondDeviceWaitsUntilTheLockIsBack) {
  const Device phone = cloud.Login("anna", "phone");
  EXPECT_EQ(Lock(cloud, phone, "GET", "").Code(), "31084231");
  EXPECT_EQ(Lock(cloud, anna, "DELETE", anna.lock).status, 200);
  EXPECT_EQ(Lock(cloud, phone, "GET", "").status, 200);
}

TEST_F(CloudTest, LockExpiresUnlessRenewed) {
  const Device phone = cloud.Login("anna", "phone");
  cloud.clock.Advance(40000);
  EXPECT_EQ(Lock(cloud, anna, "GET", anna.lock).json["token"], anna.lock);
  cloud.clock.Advance(40000);
  EXPECT_EQ(Lock(cloud, phone, "GET", "").Code(), "31084231");
  cloud.clock.Advance(21000);
  EXPECT_EQ(Lock(cloud, anna, "GET", anna.lock).Code(), "31084230");
  EXPECT_EQ(cloud.Call(anna, "POST", "/cloudPhoto/v1/albums", Json(R"({"albumName":"x"})")).Code(),
            "31084230");
  EXPECT_EQ(Lock(cloud, phone, "GET", "").status, 200);
}

TEST_F(CloudTest, HolderThatStartsAgainGetsANewToken) {
  const std::string old = anna.lock;
  cloud.TakeLock(anna);
  EXPECT_NE(anna.lock, old);
  EXPECT_EQ(Lock(cloud, anna, "GET", old).Code(), "31084230");
  EXPECT_EQ(Lock(cloud, anna, "GET", anna.lock).status, 200);
}

TEST_F(CloudTest, OnlyItsTokenGivesTheLockBack) {
  const Device phone = cloud.Login("anna", "phone");
  EXPECT_EQ(Lock(cloud, phone, "DELETE", "").Code(), "31084230");
  EXPECT_EQ(Lock(cloud, phone, "DELETE", "wrong").Code(), "31084230");
  EXPECT_EQ(Lock(cloud, anna, "DELETE", anna.lock).status, 200);
  EXPECT_EQ(Lock(cloud, anna, "DELETE", anna.lock).status, 200);
}

TEST_F(CloudTest, EveryChangeNeedsTheLock) {
  const std::string id = Upload(cloud, anna, "a.jpg", "content");
  const Json::Value asset =
      cloud.Call(anna, "GET", "/cloudPhoto/v1/media/" + id).json["attachments"][0]["asset"];
  const std::string revision = "/cloudPhoto/v1/media/" + id + "/assets/" + asset["id"].asString() +
                               "/revisions/" + asset["versionId"].asString();
  const std::string version = cloud.Version(anna);
  const std::pair<std::string, std::string> changes[] = {
      {"POST", "/cloudPhoto/v1/albums"},
      {"PATCH", "/cloudPhoto/v1/albums/default-album-1"},
      {"DELETE", "/cloudPhoto/v1/albums/default-album-1"},
      {"POST", "/cloudPhoto/v1/media?mode=temp"},
      {"PATCH", "/cloudPhoto/v1/media/" + id},
      {"PATCH", "/cloudPhoto/v1/media/" + id + "?mode=normal"},
      {"DELETE", "/cloudPhoto/v1/media/" + id},
      {"POST", revision},
  };
  for (const std::string& token : {std::string(), std::string("wrong")}) {
    Device without = anna;
    without.lock = token;
    for (const auto& [method, path] : changes) {
      const Reply reply = cloud.Call(without, method, path, Json(R"({"albumName":"x","fileName":"b.jpg"})"));
      EXPECT_EQ(reply.Code(), "31084230") << method << ' ' << path;
      EXPECT_EQ(reply.status, 423);
    }
  }
  EXPECT_EQ(cloud.Version(anna), version);
}

TEST_F(CloudTest, LockSurvivesARestart) {
  TestCloud* const first = &cloud;
  SqliteStore reopened(first->folder.path / "photocloud.db");
  const auto account = reopened.FindAccountByName("anna");
  EXPECT_EQ(reopened.LoadLock(account->id).token, anna.lock);
}

}  // namespace
}  // namespace photocloud::testing
