#include "photocloud/content/integritycheck.h"

#include "photocloud/base/json.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

// One visible media with content of two slices.
class IntegrityTest : public CloudTest {
 protected:
  IntegrityTest() {
    id = Upload(cloud, anna, "a.jpg", content);
    account = cloud.store.FindAccountByName("anna")->id;
    whole = Get();
    const Json::Value& asset = whole["attachments"][0]["asset"];
    revision = "/cloudPhoto/v1/media/" + id + "/assets/" + asset["id"].asString() + "/revisions/" +
               asset["versionId"].asString();
  }

  Json::Value Get() { return cloud.Call(anna, "GET", "/cloudPhoto/v1/media/" + id).json; }
  Json::Value Losts(const std::string& cursor = "") {
    return cloud.Call(anna, "GET", "/cloudPhoto/v1/losts?cursor=" + cursor).json;
  }
  void Act(const std::string& action, const std::string& usage = "content") {
    ASSERT_EQ(cloud
                  .Call({}, "POST", "/faults/actions",
                        Json(R"({"action":")" + action + R"(","userName":"anna","mediaId":")" + id +
                             R"(","usage":")" + usage + R"("})"))
                  .status,
              200);
  }
  Reply Download() {
    return cloud.Call(
        {}, "GET",
        TargetOf(
            whole["attachments"][0]["asset"]["resource"]["objects"][0]["downloadUrl"]["url"].asString()));
  }
  // Sends the content again into the record itself.
  void GiveBack() {
    Json::Value body = UploadBody("a.jpg", content, "s" + content.substr(0, 20), "l" + content.substr(0, 40));
    body["id"] = id;
    const Reply opened = cloud.Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp", body);
    ASSERT_EQ(opened.status, 200) << opened.raw.body;
    EXPECT_EQ(opened.json["id"], id);
    sent = SendObjects(cloud, anna, opened.json, content, "s" + content.substr(0, 20),
                       "l" + content.substr(0, 40));
    EXPECT_EQ(cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id + "?mode=normal", Json("{}")).status,
              200);
  }

  const std::string content = std::string(64, 'x') + std::string(30, 'y');
  std::string id;
  std::int64_t account = 0;
  Json::Value whole;
  std::string revision;
  int sent = 0;
};

TEST_F(IntegrityTest, CheckPassesWhatIsWhole) {
  const CheckResult result = CheckAll(cloud.store, cloud.services.vault);
  EXPECT_EQ(result.media, 1);
  EXPECT_EQ(result.objects, 3);
  EXPECT_EQ(result.damagedObjects, 0);
  EXPECT_TRUE(result.lostMedia.empty());
}

TEST_F(IntegrityTest, CheckFindsDamageAndPutsTheMediaOnTheLostList) {
  Act("damageObject");
  EXPECT_EQ(Losts()["media"].size(), 0u);
  const CheckResult result = CheckAll(cloud.store, cloud.services.vault);
  EXPECT_EQ(result.damagedObjects, 1);
  EXPECT_EQ(result.lostMedia, std::vector<std::string>{"anna/" + id});
  const Json::Value losts = Losts();
  ASSERT_EQ(losts["media"].size(), 1u);
  EXPECT_EQ(losts["media"][0]["id"], id);
  EXPECT_EQ(losts["media"][0]["status"], 2);
  EXPECT_EQ(losts["media"][0]["size"], 94);
  EXPECT_EQ(losts["media"][0]["attachments"][0]["status"], 2);
  EXPECT_EQ(losts["media"][0]["attachments"][1]["status"], 1);
}

TEST_F(IntegrityTest, CheckFindsAMissingThumbnail) {
  Act("loseObject", "thumbnail");
  EXPECT_EQ(CheckAll(cloud.store, cloud.services.vault).lostMedia.size(), 1u);
  const Json::Value losts = Losts();
  EXPECT_EQ(losts["media"][0]["attachments"][0]["status"], 1);
  EXPECT_EQ(losts["media"][0]["attachments"][1]["status"], 2);
}

TEST_F(IntegrityTest, DownloadOfAMissingObjectIsNoticed) {
  Act("loseObject");
  const std::string version = cloud.Version(anna);
  const Reply reply = Download();
  EXPECT_EQ(reply.status, 404);
  EXPECT_EQ(reply.Code(), "31084042");
  EXPECT_EQ(Losts()["media"].size(), 1u);
  EXPECT_EQ(Get()["status"], 2);
  const Reply changes = cloud.Call(anna, "GET", "/cloudPhoto/v1/changes?cursor=" + version);
  ASSERT_EQ(changes.json["changes"].size(), 1u);
  EXPECT_EQ(changes.json["changes"][0]["media"]["status"], 2);
  EXPECT_EQ(changes.json["changes"][0]["device"], "");
}

TEST_F(IntegrityTest, LostContentIsGivenBackIntoItsRecord) {
  Act("loseObject");
  Download();
  GiveBack();
  EXPECT_EQ(sent, 1);
  EXPECT_EQ(Get()["status"], 1);
  EXPECT_EQ(Losts()["media"].size(), 0u);
  EXPECT_EQ(Download().raw.body, Sealed(content.substr(0, 64), 80));
  EXPECT_TRUE(CheckAll(cloud.store, cloud.services.vault).lostMedia.empty());
}

TEST_F(IntegrityTest, OtherContentIsNotTakenIntoTheRecord) {
  Json::Value body = UploadBody("a.jpg", "something else", "s", "l");
  body["id"] = id;
  EXPECT_EQ(cloud.Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp", body).Code(), "31084093");
  body["id"] = "none";
  EXPECT_EQ(cloud.Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp", body).Code(), "31084041");
}

TEST_F(IntegrityTest, DeviceReportsALossAndItsEnd) {
  Device phone = cloud.Login("anna", "phone");
  const Reply lost = cloud.Call(phone, "PATCH", revision, Json(R"({"status":2})"));
  ASSERT_EQ(lost.status, 200) << lost.raw.body;
  EXPECT_EQ(lost.json["status"], 2);
  EXPECT_EQ(Losts()["media"].size(), 1u);
  EXPECT_EQ(cloud.Call(phone, "PATCH", revision, Json(R"({"status":1})")).status, 200);
  cloud.services.background.WaitUntilIdle();
  EXPECT_EQ(Losts()["media"].size(), 0u);
  EXPECT_EQ(cloud.Call(phone, "PATCH", revision, Json(R"({"status":3})")).Code(), "31084000");
  EXPECT_EQ(cloud.Call(phone, "PATCH", revision + "x", Json(R"({"status":1})")).Code(), "31084042");
}

TEST_F(IntegrityTest, ReportedLossFindsTheDamage) {
  Act("damageObject");
  cloud.Call(anna, "PATCH", revision, Json(R"({"status":2})"));
  cloud.services.background.WaitUntilIdle();
  EXPECT_EQ(cloud.Call(anna, "PATCH", revision, Json(R"({"status":1})")).Code(), "31084092");
  EXPECT_EQ(cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id, Json(R"({"status":"normal"})")).Code(),
            "31084092");
  GiveBack();
  EXPECT_EQ(sent, 1);
  EXPECT_EQ(Get()["status"], 1);
}

TEST_F(IntegrityTest, StatusNormalEndsAWrongLostState) {
  cloud.Call(anna, "PATCH", revision, Json(R"({"status":2})"));
  const Reply reply = cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id + "?fields=id,status",
                                 Json(R"({"status":"normal"})"));
  EXPECT_EQ(reply.json["status"], 1);
  EXPECT_EQ(Losts()["media"].size(), 0u);
}

TEST_F(IntegrityTest, LostListGoesOnFromItsStartCursor) {
  const std::string second = Upload(cloud, anna, "b.jpg", "other content");
  Act("loseObject");
  Download();
  const std::string cursor = Losts()["newStartCursor"].asString();
  EXPECT_EQ(cursor, cloud.Version(anna));
  EXPECT_EQ(Losts(cursor)["media"].size(), 0u);
  id = second;
  Act("loseObject");
  CheckAll(cloud.store, cloud.services.vault);
  const Json::Value next = Losts(cursor);
  ASSERT_EQ(next["media"].size(), 1u);
  EXPECT_EQ(next["media"][0]["id"], second);
}

TEST_F(IntegrityTest, LostListComesInPages) {
  std::set<std::string> expected = {id};
  for (int i = 0; i < 4; ++i) expected.insert(Upload(cloud, anna, "f", "content " + std::to_string(i)));
  for (const std::string& each : expected) {
    id = each;
    Act("loseObject");
  }
  CheckAll(cloud.store, cloud.services.vault);
  std::set<std::string> seen;
  std::string cursor;
  while (true) {
    const Json::Value page = cloud.Call(anna, "GET", "/cloudPhoto/v1/losts?pageSize=2&cursor=" + cursor).json;
    for (const Json::Value& media : page["media"]) EXPECT_TRUE(seen.insert(media["id"].asString()).second);
    cursor = page["nextCursor"].asString();
    EXPECT_EQ(cursor.empty(), !page["newStartCursor"].asString().empty());
    if (cursor.empty()) break;
  }
  EXPECT_EQ(seen, expected);
}

TEST_F(IntegrityTest, LostListRefusesForeignCursors) {
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/losts?cursor=x").Code(), "31084002");
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/losts?cursor=9999").Code(), "31084100");
}

TEST_F(IntegrityTest, BackupHoldsEverythingAndGrows) {
  const TempFolder target;
  ASSERT_EQ(BackUp(cloud.store, cloud.objects, target.path), "");
  Upload(cloud, anna, "b.jpg", "other content");
  ASSERT_EQ(BackUp(cloud.store, cloud.objects, target.path), "");
  SqliteStore copy(target.path / "photocloud.db");
  FolderObjectStore objects(target.path / "objects");
  ObjectVault vault(copy, objects, cloud.clock);
  const CheckResult result = CheckAll(copy, vault);
  EXPECT_EQ(result.media, 2);
  EXPECT_EQ(result.objects, 5);
  EXPECT_EQ(result.damagedObjects, 0);
}

TEST_F(IntegrityTest, BackupSaysWhenAnObjectIsGone) {
  Act("loseObject");
  const TempFolder target;
  EXPECT_NE(BackUp(cloud.store, cloud.objects, target.path), "");
}

}  // namespace
}  // namespace photocloud::testing
