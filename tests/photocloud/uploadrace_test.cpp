// Uploads whose records change while their bytes are on their way, and what
// killed processes leave.

#include <fstream>
#include <mutex>

#include "photocloud/base/digest.h"
#include "photocloud/base/json.h"
#include "photocloud/content/integritycheck.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

namespace fs = std::filesystem;

class UploadRaceTest : public CloudTest {
 protected:
  // Announces an object of plain bytes; its record's path is then `media`.
  std::string Announce() {
    Json::Value body = UploadBody("a.jpg", bytes, "s", "l");
    body["attachments"][0]["asset"].removeMember("cipher");
    body["attachments"].resize(1);
    const Reply made = cloud.Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp", body);
    EXPECT_EQ(made.status, 200) << made.raw.body;
    media = "/cloudPhoto/v1/media/" + TextOf(made.json, "id");
    const Json::Value& asset = made.json["attachments"][0]["asset"];
    Json::Value slice(Json::objectValue);
    slice["resource"]["objects"][0]["objectId"] = asset["resource"]["objects"][0]["id"];
    slice["resource"]["objects"][0]["md5"] = Md5Hex(bytes);
    slice["resource"]["objects"][0]["sha256"] = Sha256Hex(bytes);
    const Reply announced = cloud.Call(
        anna, "POST", media + "/assets/" + TextOf(asset, "id") + "/revisions/" + TextOf(asset, "versionId"),
        slice);
    EXPECT_EQ(announced.status, 200) << announced.raw.body;
    return TargetOf(announced.json["resource"]["objects"][0]["uploadUrl"]["url"].asString());
  }
  // A PUT of which the head and all bytes have come, and nothing is stored yet.
  Request Begin(const std::string& target) {
    Request request;
    request.method = "PUT";
    EXPECT_TRUE(request.SetTarget(target));
    const Intake intake = cloud.router.Admit(request, {true, static_cast<std::int64_t>(bytes.size())});
    EXPECT_FALSE(intake.refusal);
    request.sink = intake.sink;
    EXPECT_TRUE(request.sink && request.sink->Write(bytes));
    return request;
  }
  // The last step alone, which a deletion may have overtaken.
  std::optional<ErrorCode> Store(const Request& put) {
    return cloud.services.vault.Store(dynamic_cast<IncomingObject&>(*put.sink));
  }
  std::int64_t Used() { return cloud.store.FindAccountByName("anna")->usedBytes; }
  std::size_t Files() const {
    std::size_t count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(cloud.folder.path / "objects")) {
      count += entry.is_regular_file() ? 1 : 0;
    }
    return count;
  }

  const std::string bytes = "plain content of an object";
  std::string media;
};

TEST_F(UploadRaceTest, ObjectOfAnUploadThatWasDeletedMeanwhileTakesNoSpace) {
  {
    const Request put = Begin(Announce());
    ASSERT_EQ(cloud.Call(anna, "DELETE", media).status, 200);
    EXPECT_EQ(Store(put), ErrorCode::ObjectUnknown);
  }
  EXPECT_EQ(Used(), 0);
  cloud.services.Sweep();
  EXPECT_EQ(Files(), 0u);
}

TEST_F(UploadRaceTest, ObjectThatAnotherUploadHoldsStaysWhenOneIsDeletedMeanwhile) {
  const std::string first = Announce();
  const std::string firstMedia = media;
  const std::string second = Announce();
  {
    const Request put = Begin(first);
    ASSERT_EQ(cloud.router.Handle(Begin(second)).status, 200);
    ASSERT_EQ(cloud.Call(anna, "DELETE", firstMedia).status, 200);
    EXPECT_EQ(Store(put), ErrorCode::ObjectUnknown);
  }
  cloud.services.Sweep();
  EXPECT_EQ(Files(), 1u);
  EXPECT_EQ(Used(), static_cast<std::int64_t>(bytes.size()));
}

TEST_F(UploadRaceTest, UploadThatIsGivenUpLeavesNoFile) {
  const std::string target = Announce();
  { const Request put = Begin(target); }
  EXPECT_EQ(Files(), 0u);
}

TEST_F(UploadRaceTest, FilesOfKilledProcessesAreSwept) {
  ASSERT_EQ(cloud.router.Handle(Begin(Announce())).status, 200);
  const std::string lone(64, 'a');
  // Renamed and never recorded; written and never renamed, now and as earlier
  // versions did it; of an account that is gone.
  ASSERT_TRUE(cloud.objects.Put(1, lone, "x"));
  ASSERT_TRUE(cloud.objects.Put(77, lone, "x"));
  std::ofstream(cloud.folder.path / "objects" / "incoming" / "half") << "x";
  std::ofstream(cloud.folder.path / "objects" / "1" / "aa" / (lone + ".0123.part")) << "x";
  EXPECT_EQ(Files(), 5u);
  cloud.objects.RemoveUnfinished();
  EXPECT_EQ(Files(), 3u);
  cloud.services.SweepLeftOvers();
  cloud.services.background.WaitUntilIdle();
  EXPECT_EQ(Files(), 1u);
  EXPECT_EQ(CheckAll(cloud.store, cloud.services.vault).damagedObjects, 0);
}

TEST_F(UploadRaceTest, WrongSumsAreFoundAndRepaired) {
  ASSERT_EQ(cloud.router.Handle(Begin(Announce())).status, 200);
  cloud.store.AddUsedBytes(1, 1000);
  EXPECT_EQ(CheckAll(cloud.store, cloud.services.vault).wrongSums, 1);
  EXPECT_EQ(Used(), 1000 + static_cast<std::int64_t>(bytes.size()));
  EXPECT_EQ(CheckAll(cloud.store, cloud.services.vault, Counting::Repair).wrongSums, 1);
  EXPECT_EQ(Used(), static_cast<std::int64_t>(bytes.size()));
  EXPECT_EQ(CheckAll(cloud.store, cloud.services.vault).wrongSums, 0);
}

TEST_F(UploadRaceTest, EmptyUploadsGoEarlierThanOthers) {
  Announce();
  ASSERT_EQ(cloud.router.Handle(Begin(Announce())).status, 200);
  Announce();
  // Objects of all three have been announced, so none of them is empty.
  cloud.clock.Advance(std::int64_t{7} * 3600 * 1000);
  cloud.services.Sweep();
  EXPECT_EQ(cloud.store.ListUploadsBefore(INT64_MAX, 10).size(), 3u);
  anna = cloud.Writer("anna", "desktop");
  EXPECT_EQ(
      cloud.Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp", UploadBody("b.jpg", "other", "", "")).status,
      200);
  cloud.clock.Advance(std::int64_t{7} * 3600 * 1000);
  cloud.services.Sweep();
  EXPECT_EQ(cloud.store.ListUploadsBefore(INT64_MAX, 10).size(), 3u);
}

TEST_F(UploadRaceTest, OpenUploadsAreLimitedInNumber) {
  Reply reply;
  int made = 0;
  for (; made < 1100; ++made) {
    reply = cloud.Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp",
                       UploadBody("a.jpg", std::to_string(made), "", ""));
    if (reply.status != 200) break;
  }
  EXPECT_EQ(made, 1000);
  EXPECT_EQ(reply.Code(), "31084029");
  cloud.clock.Advance(std::int64_t{7} * 3600 * 1000);
  cloud.services.Sweep();
  anna = cloud.Writer("anna", "desktop");
  EXPECT_EQ(
      cloud.Call(anna, "POST", "/cloudPhoto/v1/media?mode=temp", UploadBody("a.jpg", "x", "", "")).status,
      200);
}

TEST_F(UploadRaceTest, ReportsInABatchReadNoObjects) {
  const std::string id = Upload(cloud, anna, "b.jpg", std::string(200, 'b'));
  const Json::Value record = cloud.Call(anna, "GET", "/cloudPhoto/v1/media/" + id).json;
  const Json::Value& asset = record["attachments"][0]["asset"];
  Json::Value item(Json::objectValue);
  item["method"] = "PATCH";
  item["uri"] = "/cloudPhoto/v1/media/" + id + "/assets/" + TextOf(asset, "id") + "/revisions/" +
                TextOf(asset, "versionId");
  item["body"]["status"] = 2;
  cloud.Call({}, "POST", "/faults/actions",
             Json(R"({"action":"damageObject","userName":"anna","mediaId":")" + id + "\"}"));
  // While the verifier is held up, the report is answered all the same.
  std::mutex gate;
  std::unique_lock hold(gate);
  cloud.services.background.Add(0, "gate", [&gate] { const std::lock_guard pass(gate); });
  Json::Value batch(Json::objectValue);
  batch["requests"].append(item);
  const Reply reply = cloud.Call(anna, "POST", "/cloudPhoto/v1/batch?form=json", batch);
  EXPECT_EQ(reply.json["responses"][0]["code"], 200) << reply.raw.body;
  const auto held = [&] {
    return cloud.Call(anna, "GET", "/cloudPhoto/v1/media/" + id)
        .json["attachments"][0]["asset"]["resource"]["objects"][0]["state"]
        .asInt();
  };
  EXPECT_EQ(held(), 1);
  hold.unlock();
  cloud.services.background.WaitUntilIdle();
  EXPECT_EQ(held(), 2);
}

}  // namespace
}  // namespace photocloud::testing
