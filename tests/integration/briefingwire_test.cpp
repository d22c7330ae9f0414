// Comparisons with the whole listing: what they fetch, and what they must not delete.

#include "wiretest.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class BriefingWireTest : public WireTest {
 protected:
  // Makes the database differ from the cloud in each way that a comparison mends.
  void Drift(const Strings& ids) {
    first.Kill();
    first.Execute("DELETE FROM GalleryFile WHERE UniqueId = '" + ids[0] + "'");
    first.Execute("UPDATE GalleryFile SET FileName = 'stale.jpg', Sdsmtime = 1 WHERE UniqueId = '" + ids[1] +
                  "'");
    first.Execute("UPDATE GalleryFile SET UniqueId = 'nowhere' WHERE UniqueId = '" + ids[2] + "'");
  }
  void ExpectCompared() {
    EXPECT_EQ(Members(Queries(first, "GET media")[0])["fields"],
              "nextCursor,media(albumId,id,editedTime,createdTime,size,status)");
    ExpectInStep(first);
  }
};

TEST_F(BriefingWireTest, ExpiredPeriodComparesAndFetchesOnlyWhatDiffers) {
  const Strings ids = StartWith(120);
  ASSERT_TRUE(api.Change(ids[1], R"({"editedTime":"2026-01-01T00:00:00"})"));
  SettleAlone(first);
  Drift(ids);
  first.Execute("UPDATE AlbumLocalVersion SET BriefingTime = 1");
  first.Start();
  cloud.ForgetRequests();
  const Json::Value outcome = first.Cycle();
  EXPECT_TRUE(outcome["done"].asBool()) << outcome;
  EXPECT_EQ(outcome["mode"].asInt(), kBriefing);
  EXPECT_EQ(CountCalls(first, "GET media"), 2);
  EXPECT_EQ(CountCalls(first, "[GET media]"), 3);  // the lost row, the old one, and the one of another id
  EXPECT_EQ(Row("LatestVersion"), VersionText());
  EXPECT_GT(std::stoll(Row("BriefingTime")), 1);
  ExpectCompared();
}

TEST_F(BriefingWireTest, FailedListingDeletesNothing) {
  const Strings ids = StartWith(120);
  Drift(ids);
  first.Execute("UPDATE AlbumLocalVersion SET BriefingTime = 1");
  first.Start();
  cloud.Rule(R"({"path":"/media\\?","nth":2,"cutAfterBytes":50})");
  EXPECT_FALSE(first.Cycle()["done"].asBool());
  EXPECT_TRUE(first.Tables()["files"].isMember("nowhere"));
  EXPECT_EQ(Row("BriefingTime"), "1");
}

TEST_F(BriefingWireTest, EmptyListingDeletesNothing) {
  const Strings ids = StartWith(5);
  first.Execute("UPDATE AlbumLocalVersion SET BriefingTime = 1");
  // What a service says that lost its records.
  for (const auto& id : ids) ASSERT_TRUE(api.Delete(id));
  cloud.Rule(R"({"path":"/changes\\?","status":500,"times":0})");
  (void)first.Cycle();
  EXPECT_EQ(first.FileRows(), 5u);
  // The tombstones say so for sure.
  cloud.ClearRules();
  SettleAlone(first);
  ExpectInStep(first);
}

TEST_F(BriefingWireTest, FarBehindDownloadIsComparedInsteadOfListedAgain) {
  AddPictures(250);
  cloud.Rule(R"({"path":"/media\\?","nth":2,"status":500})");
  EXPECT_FALSE(first.Cycle()["done"].asBool());
  EXPECT_EQ(first.FileRows(), 100u);
  AddPictures(1);
  cloud.ForgetRequests();
  const Json::Value outcome = first.Cycle();
  EXPECT_TRUE(outcome["done"].asBool()) << outcome;
  EXPECT_EQ(outcome["mode"].asInt(), kBriefing);
  EXPECT_EQ(CountCalls(first, "[GET media]"), 151);
  EXPECT_EQ(Row("HasDownAll"), "1");
  ExpectCompared();
}

TEST_F(BriefingWireTest, DownloadThatWasOvertakenIsComparedAtItsEnd) {
  const Strings ids = AddPictures(150);
  cloud.Rule(R"({"path":"/media\\?","after":{"action":"bumpVersion","userName":"alice"}})");
  cloud.ForgetRequests();
  const Json::Value outcome = first.Cycle();
  EXPECT_TRUE(outcome["done"].asBool()) << outcome;
  EXPECT_EQ(outcome["mode"].asInt(), kFull);
  const auto listed = Queries(first, "GET media");
  ASSERT_EQ(listed.size(), 4u);
  EXPECT_THAT(Members(listed[1])["fields"], HasSubstr("fileName"));
  EXPECT_THAT(Members(listed[2])["fields"], Not(HasSubstr("fileName")));
  EXPECT_EQ(Row("HasDownAll"), "1");
  EXPECT_EQ(Row("LatestVersion"), VersionText());
  ExpectInStep(first);
}

TEST_F(BriefingWireTest, BriefingByPushComparesToo) {
  const Strings ids = StartWith(5);
  Drift({ids[0], ids[0], ids[2]});
  first.Start();
  (void)first.Cycle();
  cloud.ForgetRequests();
  EXPECT_EQ(first.Do("briefing", "type", 2).asInt(), 0);
  EXPECT_EQ(CountCalls(first, "[GET media]"), 2);
  ExpectCompared();
}

TEST_F(BriefingWireTest, BriefingByPushIsRefusedDuringADownload) {
  AddPictures(2);
  const Json::Value outcome = first.Do("cycleWithBriefing");
  EXPECT_TRUE(outcome["done"].asBool()) << outcome;
  EXPECT_EQ(outcome["briefing"].asInt(), 4);
  EXPECT_EQ(CountCalls(first, "GET media"), 1);
  ExpectInStep(first);
}

TEST_F(WireTest, CutToTheSecondGenerationComparesBeforeItPulls) {
  StartWith(4);
  first.Execute("UPDATE AlbumLocalVersion SET CloudPhotoVersion = 'v1.0', LatestVersion = 1");
  const Json::Value nothing = first.Cycle();
  EXPECT_TRUE(nothing["done"].asBool());
  EXPECT_THAT(Calls(first), ElementsAre("GET quota", "GET about"));
  EXPECT_EQ(Row("BriefingTime"), "1");
  EXPECT_EQ(Row("CloudPhotoVersion"), "v2.0");
  const Json::Value outcome = first.Cycle();
  EXPECT_EQ(outcome["mode"].asInt(), kBriefing);
  EXPECT_TRUE(outcome["done"].asBool()) << outcome;
  EXPECT_EQ(Row("LatestVersion"), VersionText());
  ExpectInStep(first);
}

}  // namespace
