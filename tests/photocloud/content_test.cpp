#include <fstream>

#include "photocloud/base/digest.h"
#include "photocloud/base/json.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

constexpr const char* kCreate = "/cloudPhoto/v1/media?mode=temp";

// One upload with content of two slices, opened but not sent.
class ContentTest : public CloudTest {
 protected:
  ContentTest() {
    media = cloud.Call(anna, "POST", kCreate, UploadBody("a.jpg", content, small, large)).json;
    asset = media["attachments"][0]["asset"];
    path = "/cloudPhoto/v1/media/" + media["id"].asString() + "/assets/" + asset["id"].asString() +
           "/revisions/" + asset["versionId"].asString();
    bytes = Sealed(content.substr(0, 64), 80);
  }

  Json::Value Announcement(const std::string& md5, const std::string& sha256) const {
    Json::Value body(Json::objectValue);
    body["resource"]["objects"][0]["objectId"] = asset["resource"]["objects"][0]["id"];
    body["resource"]["objects"][0]["md5"] = md5;
    body["resource"]["objects"][0]["sha256"] = sha256;
    return body;
  }

  // Announces the first content object and returns its place in the answer.
  Json::Value Announce() {
    const Reply reply = cloud.Call(anna, "POST", path, Announcement(Md5Hex(bytes), Sha256Hex(bytes)));
    EXPECT_EQ(reply.status, 200) << reply.raw.body;
    return reply.json["resource"]["objects"][0];
  }

  const std::string content = std::string(64, 'a') + std::string(40, 'b');
  const std::string small = "small thumbnail";
  const std::string large = "large thumbnail, twice as long";
  Json::Value media;
  Json::Value asset;
  std::string path;
  std::string bytes;
};

TEST_F(ContentTest, CreationCutsContentIntoObjects) {
  ASSERT_EQ(media["attachments"].size(), 2u);
  EXPECT_EQ(media["attachments"][0]["usage"], "content");
  EXPECT_EQ(media["attachments"][1]["usage"], "thumbnail");
  EXPECT_EQ(media["uploadType"], "client");
  const Json::Value& resource = asset["resource"];
  EXPECT_EQ(resource["sliceSize"], 64);
  EXPECT_EQ(resource["state"], 2);
  ASSERT_EQ(resource["objects"].size(), 2u);
  EXPECT_EQ(resource["objects"][1]["start"], 64);
  EXPECT_EQ(resource["objects"][1]["number"], 1);
  EXPECT_EQ(resource["objects"][1]["length"], 48);
  EXPECT_EQ(asset["cipher"]["iv"], "00");
}

TEST_F(ContentTest, AnnouncedObjectStandsAtItsNumber) {
  Json::Value body = Announcement(Md5Hex(bytes), Sha256Hex(bytes));
  body["resource"]["objects"][0]["objectId"] = asset["resource"]["objects"][1]["id"];
  const Reply reply = cloud.Call(anna, "POST", path, body);
  ASSERT_EQ(reply.json["resource"]["objects"].size(), 2u);
  EXPECT_EQ(reply.json["resource"]["objects"][0].size(), 0u);
  const Json::Value& object = reply.json["resource"]["objects"][1];
  EXPECT_EQ(object["state"], 2);
  EXPECT_EQ(object["uploadUrl"]["url"].asString().rfind("http://cloud/cloudPhoto/v1/objects/", 0), 0u);
  EXPECT_TRUE(object["uploadUrl"]["headers"].isObject());
  EXPECT_TRUE(object["downloadUrl"]["headers"].isObject());
}

TEST_F(ContentTest, WholeUploadBecomesVisibleAndReadsBack) {
  EXPECT_EQ(SendObjects(cloud, anna, media, content, small, large), 3);
  const std::string id = media["id"].asString();
  const Reply shown = cloud.Call(
      anna, "PATCH",
      "/cloudPhoto/v1/media/" + id + "?mode=normal&fields=id,attachments,source,sha256,hash,status,fileName",
      Json(R"({"source":"PC"})"));
  ASSERT_EQ(shown.status, 200) << shown.raw.body;
  EXPECT_EQ(shown.json["sha256"], Sha256Hex(content));
  EXPECT_EQ(shown.json["hash"].asString().size(), 128u);
  EXPECT_EQ(shown.json["status"], 1);
  const Json::Value got =
      cloud.Call(anna, "GET", "/cloudPhoto/v1/media/" + id + "?fields=attachments,size").json;
  EXPECT_EQ(got["size"], 104);
  const Json::Value& objects = got["attachments"][0]["asset"]["resource"]["objects"];
  const Reply read = cloud.Call({}, "GET", TargetOf(objects[1]["downloadUrl"]["url"].asString()));
  EXPECT_EQ(read.status, 200);
  EXPECT_EQ(read.raw.body, Sealed(content.substr(64), 48));
}

TEST_F(ContentTest, RecordStaysHiddenWhileAnObjectIsMissing) {
  const Json::Value object = Announce();
  ASSERT_EQ(cloud.Call({}, "PUT", TargetOf(object["uploadUrl"]["url"].asString()), bytes).status, 200);
  const std::string target = "/cloudPhoto/v1/media/" + media["id"].asString() + "?mode=normal";
  EXPECT_EQ(cloud.Call(anna, "PATCH", target, Json("{}")).Code(), "31084092");
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/media").json["media"].size(), 0u);
  SendObjects(cloud, anna, media, content, small, large);
  EXPECT_EQ(cloud.Call(anna, "PATCH", target, Json("{}")).status, 200);
}

TEST_F(ContentTest, OnlyTheAnnouncedBytesAreStored) {
  const std::string target = TargetOf(Announce()["uploadUrl"]["url"].asString());
  std::string other = bytes;
  other[5] ^= 1;
  for (const std::string& wrong : {other, bytes.substr(1), bytes + "x", std::string()}) {
    EXPECT_EQ(cloud.Call({}, "PUT", target, wrong).Code(), "31084022");
  }
  EXPECT_TRUE(cloud.objects.List(cloud.store.FindAccountByName("anna")->id).empty());
  EXPECT_EQ(cloud.Call({}, "PUT", target, bytes).status, 200);
}

TEST_F(ContentTest, WrongMd5IsFoundToo) {
  const Reply reply = cloud.Call(anna, "POST", path, Announcement(std::string(32, 'a'), Sha256Hex(bytes)));
  ASSERT_EQ(reply.status, 200);
  const std::string url = reply.json["resource"]["objects"][0]["uploadUrl"]["url"].asString();
  EXPECT_EQ(cloud.Call({}, "PUT", TargetOf(url), bytes).Code(), "31084022");
}

TEST_F(ContentTest, Md5MayHaveZerosBehindIt) {
  const auto announce = [&](const std::string& md5) {
    return cloud.Call(anna, "POST", path, Announcement(md5, Sha256Hex(bytes)));
  };
  EXPECT_EQ(announce(Md5Hex(bytes) + std::string(32, '1')).Code(), "31084000");
  EXPECT_EQ(announce("").Code(), "31084000");
  const Reply reply = announce(Md5Hex(bytes) + std::string(32, '0'));
  ASSERT_EQ(reply.status, 200);
  const std::string url = reply.json["resource"]["objects"][0]["uploadUrl"]["url"].asString();
  EXPECT_EQ(cloud.Call({}, "PUT", TargetOf(url), bytes).status, 200);
}

TEST_F(ContentTest, UnannouncedObjectCannotBeSent) {
  const std::string id = asset["resource"]["objects"][0]["id"].asString();
  const std::string target = "/cloudPhoto/v1/objects/" + id + cloud.services.signer.Query("PUT", id);
  EXPECT_EQ(cloud.Call({}, "PUT", target, bytes).Code(), "31084042");
}

TEST_F(ContentTest, ConfirmationNeedsStoredBytes) {
  const Json::Value object = Announce();
  Json::Value body = Json(R"({"resource":{"objects":[{"uploadStatus":{"status":200}}]}})");
  body["resource"]["objects"][0]["objectId"] = object["id"];
  EXPECT_EQ(cloud.Call(anna, "POST", path, body).Code(), "31084092");
  cloud.Call({}, "PUT", TargetOf(object["uploadUrl"]["url"].asString()), bytes);
  EXPECT_EQ(cloud.Call(anna, "POST", path, body).status, 200);
  // The asset's second object is not there yet.
  body["state"] = 0;
  EXPECT_EQ(cloud.Call(anna, "POST", path, body).Code(), "31084092");
}

TEST_F(ContentTest, AnnouncementMustFitTheAsset) {
  Json::Value body = Announcement(Md5Hex(bytes), Sha256Hex(bytes));
  body["resource"]["hash"] = "00";
  EXPECT_EQ(cloud.Call(anna, "POST", path, body).Code(), "31084093");
  body = Announcement(Md5Hex(bytes), Sha256Hex(bytes));
  body["resource"]["objects"][0]["objectId"] = "none";
  EXPECT_EQ(cloud.Call(anna, "POST", path, body).Code(), "31084042");
  // An object of the other asset does not belong here either.
  body["resource"]["objects"][0]["objectId"] =
      media["attachments"][1]["asset"]["resource"]["objects"][0]["id"];
  EXPECT_EQ(cloud.Call(anna, "POST", path, body).Code(), "31084042");
  EXPECT_EQ(cloud.Call(anna, "POST", path, Json(R"({"resource":{}})")).Code(), "31084000");
  EXPECT_EQ(cloud.Call(anna, "POST", path + "x", body).Code(), "31084042");
}

TEST_F(ContentTest, UrlsHoldForTheirMethodAndTimeOnly) {
  const Json::Value object = Announce();
  const std::string put = TargetOf(object["uploadUrl"]["url"].asString());
  EXPECT_EQ(cloud.Call({}, "GET", put).Code(), "31084033");
  EXPECT_EQ(cloud.Call({}, "PUT", TargetOf(object["downloadUrl"]["url"].asString()), bytes).Code(),
            "31084033");
  std::string forged = put;
  forged.back() = forged.back() == 'a' ? 'b' : 'a';
  EXPECT_EQ(cloud.Call({}, "PUT", forged, bytes).status, 403);
  std::string later = put;
  later.replace(later.find("expires=") + 8, 1, "9");
  EXPECT_EQ(cloud.Call({}, "PUT", later, bytes).status, 403);
  cloud.clock.Advance(3601 * 1000);
  EXPECT_EQ(cloud.Call({}, "PUT", put, bytes).Code(), "31084033");
}

TEST_F(ContentTest, DisabledAccountsUrlsEndWithIt) {
  const std::string put = TargetOf(Announce()["uploadUrl"]["url"].asString());
  cloud.services.accounts.SetDisabled("anna", true);
  EXPECT_EQ(cloud.Call({}, "PUT", put, bytes).Code(), "31084003");
}

TEST_F(ContentTest, RangesOfAnObject) {
  const Json::Value object = Announce();
  cloud.Call({}, "PUT", TargetOf(object["uploadUrl"]["url"].asString()), bytes);
  const std::string get = TargetOf(object["downloadUrl"]["url"].asString());
  struct Case {
    const char* range;
    int status;
    std::size_t start;
    std::size_t count;
  };
  const Case cases[] = {
      {"bytes=0-31", 206, 0, 32},    {"bytes=32-", 206, 32, 48},  {"bytes=-16", 206, 64, 16},
      {"bytes=70-500", 206, 70, 10}, {"bytes=79-79", 206, 79, 1}, {"bytes=0-1,4-5", 200, 0, 80},
      {"lines=1-2", 200, 0, 80},
  };
  for (const Case& entry : cases) {
    const Reply reply = cloud.Call({}, "GET", get, Json::Value(), {{"range", entry.range}});
    EXPECT_EQ(reply.status, entry.status) << entry.range;
    EXPECT_EQ(reply.raw.body, bytes.substr(entry.start, entry.count)) << entry.range;
  }
  EXPECT_EQ(cloud.Call({}, "GET", get, Json::Value(), {{"range", "bytes=80-"}}).Code(), "31084016");
  EXPECT_EQ(cloud.Call({}, "GET", get, Json::Value(), {{"range", "bytes=x-y"}}).Code(), "31084000");
  const Reply part = cloud.Call({}, "GET", get, Json::Value(), {{"range", "bytes=1-2"}});
  EXPECT_NE(std::find(part.raw.headers.begin(), part.raw.headers.end(),
                      std::pair<std::string, std::string>("Content-Range", "bytes 1-2/80")),
            part.raw.headers.end());
}

TEST_F(ContentTest, UploadThatIsRepeatedAsAWholeMakesNoSecondRecord) {
  SendObjects(cloud, anna, media, content, small, large);
  const std::string id = media["id"].asString();
  const std::string shown = "/cloudPhoto/v1/media/" + id + "?mode=normal";
  ASSERT_EQ(cloud.Call(anna, "PATCH", shown, Json("{}")).status, 200);
  const Json::Value made = cloud.Call(anna, "GET", "/cloudPhoto/v1/media/" + id).json;
  Json::Value body = UploadBody("a.jpg", content, small, large);
  body["createdTime"] = made["createdTime"];
  EXPECT_EQ(cloud.Call(anna, "POST", kCreate, body).json["id"], id);
  EXPECT_EQ(cloud.Call(anna, "PATCH", shown, Json("{}")).status, 200);
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/media").json["media"].size(), 1u);
  // Under another name it is another picture.
  body["fileName"] = "b.jpg";
  EXPECT_NE(cloud.Call(anna, "POST", kCreate, body).json["id"], id);
}

TEST_F(ContentTest, SameContentIsNotAskedForAgain) {
  SendObjects(cloud, anna, media, content, small, large);
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + media["id"].asString() + "?mode=normal", Json("{}"));
  const auto used = cloud.store.FindAccountByName("anna")->usedBytes;
  const Json::Value again =
      cloud.Call(anna, "POST", kCreate, UploadBody("b.jpg", content, small, large)).json;
  EXPECT_NE(again["id"], media["id"]);
  for (const Json::Value& attachment : again["attachments"])
    EXPECT_EQ(attachment["asset"]["resource"]["state"], 1);
  EXPECT_EQ(SendObjects(cloud, anna, again, content, small, large), 0);
  EXPECT_EQ(
      cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + again["id"].asString() + "?mode=normal", Json("{}"))
          .status,
      200);
  EXPECT_EQ(cloud.store.FindAccountByName("anna")->usedBytes, used);
}

TEST_F(ContentTest, InterruptedUploadSendsOnlyWhatIsMissing) {
  const Json::Value object = Announce();
  cloud.Call({}, "PUT", TargetOf(object["uploadUrl"]["url"].asString()), bytes);
  const Json::Value again =
      cloud.Call(anna, "POST", kCreate, UploadBody("a.jpg", content, small, large)).json;
  EXPECT_EQ(again["attachments"][0]["asset"]["resource"]["state"], 2);
  EXPECT_EQ(SendObjects(cloud, anna, again, content, small, large), 2);
}

TEST_F(ContentTest, AnotherAccountsContentIsAskedFor) {
  SendObjects(cloud, anna, media, content, small, large);
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + media["id"].asString() + "?mode=normal", Json("{}"));
  cloud.AddUser("berta");
  const Device berta = cloud.Writer("berta", "laptop");
  const Json::Value hers =
      cloud.Call(berta, "POST", kCreate, UploadBody("a.jpg", content, small, large)).json;
  EXPECT_EQ(SendObjects(cloud, berta, hers, content, small, large), 3);
}

TEST_F(ContentTest, SpaceIsCheckedBeforeAnythingIsTaken) {
  cloud.AddUser("carla", 600);
  const Device carla = cloud.Writer("carla", "laptop");
  EXPECT_EQ(cloud.Call(carla, "POST", kCreate, UploadBody("a.jpg", content, small, large)).status, 200);
  // 80 + 48 bytes of content, 16 + 32 of thumbnails, and the texts of the record.
  const auto records = cloud.store.FindAccountByName("carla")->recordBytes;
  EXPECT_GT(records, 100);
  const Json::Value quota = cloud.Call(carla, "GET", "/cloudPhoto/v1/quota").json;
  EXPECT_EQ(quota["usedSpace"].asInt64(), 176 + records);
  EXPECT_EQ(quota["freeSpace"].asInt64(), 600 - 176 - records);
  const Reply refused =
      cloud.Call(carla, "POST", kCreate, UploadBody("b.jpg", std::string(400, 'x') + content, small, large));
  EXPECT_EQ(refused.Code(), "31085070");
  EXPECT_EQ(cloud.Call(carla, "GET", "/cloudPhoto/v1/quota").json, quota);
}

TEST_F(ContentTest, DeletionGivesTheSpaceBack) {
  SendObjects(cloud, anna, media, content, small, large);
  const std::string id = media["id"].asString();
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + id + "?mode=normal", Json("{}"));
  EXPECT_EQ(cloud.store.FindAccountByName("anna")->usedBytes, 176);
  cloud.Call(anna, "DELETE", "/cloudPhoto/v1/media/" + id);
  const auto account = *cloud.store.FindAccountByName("anna");
  EXPECT_EQ(account.usedBytes, 0);
  cloud.services.Sweep();
  EXPECT_TRUE(cloud.objects.List(account.id).empty());
}

TEST_F(ContentTest, SharedObjectsOutliveOneOfTheirMedia) {
  SendObjects(cloud, anna, media, content, small, large);
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + media["id"].asString() + "?mode=normal", Json("{}"));
  const Json::Value twin = cloud.Call(anna, "POST", kCreate, UploadBody("b.jpg", content, small, large)).json;
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + twin["id"].asString() + "?mode=normal", Json("{}"));
  cloud.Call(anna, "DELETE", "/cloudPhoto/v1/media/" + media["id"].asString());
  cloud.services.Sweep();
  const Json::Value& object = twin["attachments"][0]["asset"]["resource"]["objects"][0];
  EXPECT_EQ(cloud.Call({}, "GET", TargetOf(object["downloadUrl"]["url"].asString())).raw.body, bytes);
}

TEST_F(ContentTest, ObjectThatComesBackBeforeTheSweepKeepsItsFile) {
  SendObjects(cloud, anna, media, content, small, large);
  cloud.Call(anna, "DELETE", "/cloudPhoto/v1/media/" + media["id"].asString());
  const Json::Value again =
      cloud.Call(anna, "POST", kCreate, UploadBody("a.jpg", content, small, large)).json;
  EXPECT_EQ(SendObjects(cloud, anna, again, content, small, large), 3);
  cloud.services.Sweep();
  EXPECT_EQ(cloud.objects.List(cloud.store.FindAccountByName("anna")->id).size(), 3u);
}

TEST_F(ContentTest, UnfinishedUploadsGoAfterADay) {
  const Json::Value object = Announce();
  cloud.Call({}, "PUT", TargetOf(object["uploadUrl"]["url"].asString()), bytes);
  cloud.clock.Advance(23 * 3600 * 1000);
  cloud.services.Sweep();
  const auto account = cloud.store.FindAccountByName("anna")->id;
  EXPECT_TRUE(cloud.store.FindMedia(account, media["id"].asString()));
  cloud.clock.Advance(2 * 3600 * 1000);
  cloud.services.Sweep();
  EXPECT_FALSE(cloud.store.FindMedia(account, media["id"].asString()));
  EXPECT_TRUE(cloud.objects.List(account).empty());
  EXPECT_EQ(cloud.store.FindAccount(account)->usedBytes, 0);
  EXPECT_EQ(cloud.store.ReservedBytes(account), 0);
}

TEST_F(ContentTest, UploadThatGoesOnIsKept) {
  cloud.clock.Advance(20 * 3600 * 1000);
  anna = cloud.Writer("anna", "desktop");
  Announce();
  cloud.clock.Advance(20 * 3600 * 1000);
  cloud.services.Sweep();
  EXPECT_TRUE(cloud.store.FindMedia(cloud.store.FindAccountByName("anna")->id, media["id"].asString()));
}

TEST_F(ContentTest, DiskThatRefusesLeavesNoRecordOfTheObject) {
  const std::string target = TargetOf(Announce()["uploadUrl"]["url"].asString());
  const auto account = cloud.store.FindAccountByName("anna")->id;
  // A file stands where the account's folder would be.
  const auto blocked = cloud.folder.path / "objects" / std::to_string(account);
  std::ofstream(blocked) << "in the way";
  EXPECT_EQ(cloud.Call({}, "PUT", target, bytes).Code(), "31085000");
  EXPECT_FALSE(cloud.store.FindObject(account, Sha256Hex(bytes)));
  EXPECT_EQ(cloud.store.FindAccount(account)->usedBytes, 0);
  std::filesystem::remove(blocked);
  EXPECT_EQ(cloud.Call({}, "PUT", target, bytes).status, 200);
}

TEST_F(ContentTest, MetadataMayComeWithTheContent) {
  Json::Value body = UploadBody("a.jpg", content, small, large);
  body["attachments"][0]["asset"]["attributes"]["pictureMetadata"]["width"] = 40;
  const Reply made = cloud.Call(anna, "POST", std::string(kCreate) + "&fields=id,pictureMetadata", body);
  EXPECT_EQ(made.json["pictureMetadata"]["width"], 40);
  body["attachments"][0]["asset"]["attributes"]["pictureMetadata"] = "text";
  EXPECT_EQ(cloud.Call(anna, "POST", kCreate, body).json["error"]["errors"][0]["subject"], "pictureMetadata");
}

TEST_F(ContentTest, AttachmentsOfAWrongShapeAreRefused) {
  for (const char* attachments :
       {"{}", "[1]", R"([{"usage":"content"}])", R"([{"usage":"content","asset":[]}])"}) {
    Json::Value body = UploadBody("a.jpg", content, small, large);
    body["attachments"] = Json(attachments);
    EXPECT_EQ(cloud.Call(anna, "POST", kCreate, body).Code(), "31084000") << attachments;
  }
  Json::Value twice = UploadBody("a.jpg", content, small, large);
  twice["attachments"][1] = twice["attachments"][0];
  EXPECT_EQ(cloud.Call(anna, "POST", kCreate, twice).Code(), "31084000");
}

TEST_F(ContentTest, PlainContentHasLinks) {
  Json::Value body = UploadBody("a.jpg", "short content", "s", "l");
  body["attachments"][0]["asset"].removeMember("cipher");
  const Json::Value plain = cloud.Call(anna, "POST", kCreate, body).json;
  EXPECT_TRUE(plain.isMember("contentDownloadLink"));
  EXPECT_FALSE(plain.isMember("thumbnailDownloadLink"));
  EXPECT_FALSE(media.isMember("contentDownloadLink"));
}

TEST_F(ContentTest, VisibleContentCannotBeReplaced) {
  SendObjects(cloud, anna, media, content, small, large);
  cloud.Call(anna, "PATCH", "/cloudPhoto/v1/media/" + media["id"].asString() + "?mode=normal", Json("{}"));
  const std::string other = Sealed("other", 80);
  EXPECT_EQ(cloud.Call(anna, "POST", path, Announcement(Md5Hex(other), Sha256Hex(other))).Code(), "31084093");
}

}  // namespace
}  // namespace photocloud::testing
