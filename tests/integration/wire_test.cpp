// What each kind of cycle asks of the cloud, and what the database holds when.

#include "wiretest.h"

namespace {

using testing::ElementsAre;

TEST_F(WireTest, FirstDownloadListsAlbumsAndThenEveryPage) {
  AddPictures(250);
  cloud.ForgetRequests();
  const Json::Value outcome = first.Cycle();
  EXPECT_TRUE(outcome["done"].asBool()) << outcome;
  EXPECT_EQ(outcome["mode"].asInt(), kFull);
  EXPECT_THAT(Calls(first), ElementsAre("GET quota", "GET about", "GET changes/getStartCursor", "GET albums",
                                        "GET media", "GET media", "GET media", "GET changes/getStartCursor"));
  const auto pages = Queries(first, "GET media");
  EXPECT_EQ(Members(pages[0])["cursor"], "");
  EXPECT_EQ(Members(pages[0])["pageSize"], "100");
  EXPECT_EQ(Members(pages[0])["orderBy"], "createdTime desc");
  EXPECT_EQ(Members(pages[0])["queryParam"], "albumType=0");
  EXPECT_NE(Members(pages[1])["cursor"], Members(pages[2])["cursor"]);
  EXPECT_EQ(Row("LatestVersion"), VersionText());
  EXPECT_EQ(Row("HasDownAll"), "1");
  EXPECT_EQ(Row("FileCursor"), "");
  EXPECT_EQ(Row("TempVersion"), "-1");
  ExpectInStep(first);
}

TEST_F(WireTest, NewAccountHasNothingToDownload) {
  const Json::Value outcome = first.Cycle();
  EXPECT_EQ(outcome["mode"].asInt(), kNewAccount);
  EXPECT_THAT(Calls(first), ElementsAre("GET quota", "GET about", "GET changes/getStartCursor"));
  EXPECT_EQ(Row("HasDownAll"), "1");
  AddPictures(1);
  SettleAlone(first);
  EXPECT_EQ(CountCalls(first, "GET media"), 0);
  ExpectInStep(first);
}

TEST_F(WireTest, IncrementAsksForPagesOfChangesOnly) {
  StartWith(3);
  const std::string before = VersionText();
  AddPictures(150);
  cloud.ForgetRequests();
  const Json::Value outcome = first.Cycle();
  EXPECT_TRUE(outcome["done"].asBool()) << outcome;
  EXPECT_EQ(outcome["mode"].asInt(), kIncrement);
  EXPECT_THAT(Calls(first), ElementsAre("GET quota", "GET about", "GET changes/getStartCursor", "GET albums",
                                        "GET changes", "GET changes", "GET changes/getStartCursor"));
  const auto pages = Queries(first, "GET changes");
  EXPECT_EQ(Members(pages[0])["cursor"], before);
  EXPECT_EQ(Members(pages[0])["isIncludeDeleted"], "true");
  EXPECT_EQ(Members(pages[0])["kinds"], "Media");
  EXPECT_EQ(Members(pages[0])["pageSize"], "100");
  EXPECT_EQ(Members(pages[1])["cursor"], std::to_string(std::stoll(before) + 100));
  EXPECT_EQ(Row("LatestVersion"), VersionText());
  ExpectInStep(first);
}

TEST_F(WireTest, ACycleWithoutNewsAsksForTheVersionOnly) {
  StartWith(3);
  EXPECT_TRUE(first.Cycle()["done"].asBool());
  EXPECT_THAT(Calls(first), ElementsAre("GET quota", "GET about", "GET changes/getStartCursor",
                                        "GET changes/getStartCursor"));
}

TEST_F(WireTest, ChangesOfTheUserGoUpUnderTheLockAndAreTakenOverAfterwards) {
  const Strings ids = StartWith(3);
  Json::Value favorite(Json::objectValue);
  favorite["id"] = ids[0];
  favorite["on"] = true;
  ASSERT_TRUE(first.Do("favorite", favorite).asBool());
  ASSERT_NE(first.Do("createAlbum", "name", "Trip").asString(), "");
  const Json::Value outcome = first.Cycle();
  EXPECT_TRUE(outcome["done"].asBool()) << outcome;
  EXPECT_THAT(
      Calls(first),
      ElementsAre("GET quota", "GET about", "GET changes/getStartCursor",
                  "GET changes/getStartCursor",  // pull
                  "GET locks", "GET changes/getStartCursor", "GET changes/getStartCursor", "POST batch",
                  "[POST albums]", "POST batch", "[PATCH media]", "GET changes/getStartCursor", "GET albums",
                  "GET changes", "GET changes/getStartCursor", "DELETE locks"));
  EXPECT_FALSE(api.IsLocked());
  EXPECT_EQ(Row("LatestVersion"), VersionText());
  ExpectInStep(first);
}

TEST_F(WireTest, DownloadThatWasKilledGoesOnBehindTheLastStoredPage) {
  AddPictures(350);
  cloud.ForgetRequests();
  SettleAlone(first);
  // The cursors that follow each other, from a download in one go.
  Strings cursors;
  for (const auto& query : Queries(first, "GET media")) cursors.push_back(Members(query)["cursor"]);
  ASSERT_EQ(cursors.size(), 4u);
  for (int write = 1;; ++write) {
    Device device("killed at write " + std::to_string(write), cloud);
    (void)device.Do("endAtWrite", "number", write);
    if (!device.Cycle().isNull()) {
      EXPECT_GT(write, 8);
      break;
    }
    const std::string stored =
        device.VersionRow().isNull() ? std::string() : device.VersionRow()["FileCursor"].asString();
    const auto page = std::find(cursors.begin(), cursors.end(), stored) - cursors.begin();
    ASSERT_LT(page, 4) << "a cursor that no page had: " << stored;
    // A cursor is never there before the rows of its page.
    EXPECT_GE(device.FileRows(), static_cast<std::size_t>(page) * 100);
    const bool ended = !device.VersionRow().isNull() && device.VersionRow()["HasDownAll"] == "1";
    cloud.ForgetRequests();
    device.Restart();
    SettleAlone(device);
    ExpectInStep(device, device.Name());
    const auto asked = Queries(device, "GET media");
    EXPECT_EQ(asked.size(), ended ? 0u : static_cast<std::size_t>(4 - page)) << device.Name();
    if (!asked.empty()) {
      EXPECT_EQ(Members(asked[0])["cursor"], stored) << device.Name();
    }
    if (HasFailure()) return;
  }
}

TEST_F(WireTest, PullThatFailedBetweenPagesKeepsItsVersion) {
  StartWith(1);
  const std::string before = Row("LatestVersion");
  AddPictures(150);
  cloud.Rule(R"({"path":"/changes\\?","nth":2,"status":500})");
  const Json::Value outcome = first.Cycle();
  EXPECT_FALSE(outcome["done"].asBool());
  EXPECT_EQ(Row("LatestVersion"), before);
  EXPECT_EQ(Row("TempVersion"), VersionText());
  EXPECT_EQ(Row("Cursor"), std::to_string(std::stoll(before) + 100));
  EXPECT_EQ(first.FileRows(), 101u);
  cloud.ForgetRequests();
  first.Restart();
  EXPECT_TRUE(first.Cycle()["done"].asBool());
  const auto asked = Queries(first, "GET changes");
  ASSERT_EQ(asked.size(), 1u);
  EXPECT_EQ(Members(asked[0])["cursor"], std::to_string(std::stoll(before) + 100));
  ExpectInStep(first);
}

TEST_F(WireTest, PullGoesOnAtItsPageThoughTheCloudHasMoved) {
  StartWith(1);
  const std::string before = Row("LatestVersion");
  const Strings ids = AddPictures(150);
  cloud.Rule(R"({"path":"/changes\\?","nth":2,"status":500})");
  EXPECT_FALSE(first.Cycle()["done"].asBool());
  // In a page that came, and behind all.
  ASSERT_TRUE(api.Change(ids[0], R"({"favorite":true})"));
  ASSERT_TRUE(api.Delete(ids[1]));
  AddPictures(1);
  cloud.ForgetRequests();
  EXPECT_TRUE(first.Cycle()["done"].asBool());
  const auto asked = Queries(first, "GET changes");
  ASSERT_EQ(asked.size(), 1u);
  EXPECT_EQ(Members(asked[0])["cursor"], std::to_string(std::stoll(before) + 100));
  EXPECT_EQ(Row("LatestVersion"), VersionText());
  ExpectInStep(first);
}

TEST_F(WireTest, VersionThatMovesDuringAPullIsNotStored) {
  StartWith(2);
  const std::string before = Row("LatestVersion");
  AddPictures(1);
  // Behind the page of changes, in front of the second look at the version.
  cloud.Rule(R"({"path":"/changes\\?","after":{"action":"bumpVersion","userName":"alice"}})");
  const Json::Value outcome = first.Cycle();
  EXPECT_FALSE(outcome["done"].asBool());
  EXPECT_EQ(outcome["cause"].asString(), "cloud ver has changed, quit sync process!");
  EXPECT_EQ(Row("LatestVersion"), before);
  EXPECT_EQ(first.FileRows(), 3u);
  EXPECT_TRUE(first.Cycle()["done"].asBool());
  EXPECT_EQ(Row("LatestVersion"), VersionText());
  ExpectInStep(first);
}

TEST_F(WireTest, ServiceThatRefusesIsLeftAloneForAWhile) {
  AddPictures(2);
  cloud.Rule(R"({"path":"/media\\?","status":503,"times":0})");
  cloud.ForgetRequests();
  // The waits are 240, 600 and 1200 seconds; after a fourth refusal there is none.
  const std::int64_t waits[] = {240, 600, 1200};
  for (int refusals = 1; refusals <= 4; ++refusals) {
    EXPECT_FALSE(first.Cycle()["done"].asBool());
    EXPECT_EQ(CountCalls(first, "GET media"), refusals);
    EXPECT_FALSE(first.Cycle()["done"].asBool());
    EXPECT_EQ(CountCalls(first, "GET media"), refusals) << "asked again at once";
    if (refusals == 4) break;
    (void)first.Do("moveClock", "ms", Json::Int64{waits[refusals - 1] * 1000 - 30'000});
    EXPECT_FALSE(first.Cycle()["done"].asBool());
    EXPECT_EQ(CountCalls(first, "GET media"), refusals) << "asked again too early";
    (void)first.Do("moveClock", "ms", 30'001);
  }
  (void)first.Do("moveClock", "ms", 24 * 3600 * 1000);
  EXPECT_FALSE(first.Cycle()["done"].asBool());
  EXPECT_EQ(CountCalls(first, "GET media"), 4);
  cloud.ClearRules();
  first.Restart();
  SettleAlone(first);
  ExpectInStep(first);
}

TEST_F(WireTest, ExpiredCursorForgetsAllButWhatWaits) {
  const Strings ids = StartWith(5);
  Json::Value favorite(Json::objectValue);
  favorite["id"] = ids[0];
  favorite["on"] = true;
  ASSERT_TRUE(first.Do("favorite", favorite).asBool());
  AddPictures(1);
  cloud.Rule(R"({"path":"/changes\\?","errorCode":"31084100"})");
  EXPECT_FALSE(first.Cycle()["done"].asBool());
  EXPECT_TRUE(first.VersionRow().isNull());
  EXPECT_EQ(first.FileRows(), 1u);
  EXPECT_EQ(first.Cycle()["mode"].asInt(), kFull);
  SettleAlone(first);
  EXPECT_EQ(api.Dump()["files"][ids[0]]["favorite"], true);
  ExpectInStep(first);
}

// The cloud forgot its history: what was deleted meanwhile stands in no list of
// changes, only in none of files.
TEST_F(WireTest, HistoryThatIsGoneIsMadeUpForByAComparison) {
  const Strings ids = StartWith(5);
  ASSERT_TRUE(api.Delete(ids[0]));
  ASSERT_TRUE(api.Change(ids[1], R"({"fileName":"renamed.jpg","editedTime":"2090-01-01T00:00:00"})"));
  AddPictures(2);
  cloud.Action("expireCursors");
  cloud.ForgetRequests();
  const Json::Value outcome = first.Cycle();
  EXPECT_TRUE(outcome["done"].asBool()) << outcome;
  EXPECT_EQ(outcome["mode"].asInt(), kIncrement);
  EXPECT_EQ(CountCalls(first, "GET changes"), 0);
  EXPECT_EQ(Members(Queries(first, "GET media")[0])["fields"],
            "nextCursor,media(albumId,id,editedTime,createdTime,size,status)");
  EXPECT_EQ(CountCalls(first, "[GET media]"), 3);
  EXPECT_EQ(Row("LatestVersion"), VersionText());
  ExpectInStep(first);
}

TEST_F(WireTest, HiddenDataAsksNothingAndDeletesNothing) {
  StartWith(3);
  AddPictures(1);
  first.Setting("hideData", true);
  first.Restart();
  cloud.ForgetRequests();
  EXPECT_FALSE(first.Cycle()["done"].asBool());
  EXPECT_THAT(Calls(first), ElementsAre("GET quota"));
  EXPECT_EQ(first.FileRows(), 3u);
  first.Setting("hideData", false);
  first.Restart();
  SettleAlone(first);
  ExpectInStep(first);
}

TEST_F(WireTest, HiddenPeriodShowsNoAlbumsAndKeepsTheRows) {
  StartWith(3);
  first.Setting("dataHidePeriod", true);
  first.Restart();
  EXPECT_EQ(first.Dump()["albums"].size(), 0u);
  (void)first.Cycle();
  EXPECT_EQ(first.FileRows(), 3u);
  first.Setting("dataHidePeriod", false);
  first.Restart();
  SettleAlone(first);
  ExpectInStep(first);
}

// Memory knows no album then, and every one of the cloud's looks new.
TEST_F(WireTest, WhatWaitsInAlbumsOutlivesAHiddenPeriod) {
  api.TakeLock();
  (void)api.AddAlbum("default-album-300-renamed", "Trip");
  (void)api.AddAlbum("default-album-300-deleted", "Empty");
  api.GiveLockBack();
  StartWith(2);
  Json::Value rename(Json::objectValue);
  rename["album"] = "default-album-300-renamed";
  rename["name"] = "Journey";
  ASSERT_TRUE(first.Do("renameAlbum", rename).asBool());
  ASSERT_TRUE(first.Do("deleteAlbum", "album", "default-album-300-deleted").asBool());
  first.Setting("dataHidePeriod", true);
  first.Restart();
  AddPictures(1);
  for (int cycle = 0; cycle < 2; ++cycle) EXPECT_TRUE(first.Cycle()["done"].asBool());
  first.Setting("dataHidePeriod", false);
  first.Restart();
  SettleAlone(first);
  const Json::Value albums = api.Dump()["albums"];
  EXPECT_EQ(albums["default-album-300-renamed"]["name"], "Journey");
  EXPECT_FALSE(albums.isMember("default-album-300-deleted"));
  ExpectInStep(first);
}

TEST_F(WireTest, CloudThatHidesItsDataIsNotAnEmptyOne) {
  StartWith(3);
  cloud.Action("hideData");
  EXPECT_FALSE(first.Cycle()["done"].asBool());
  EXPECT_EQ(first.FileRows(), 3u);
  EXPECT_EQ(first.Dump()["files"].size(), 3u);
  cloud.Action("showData");
  SettleAlone(first);
  ExpectInStep(first);
}

TEST_F(WireTest, ClearMarkerIsStoredWithTheVersion) {
  StartWith(1);
  cloud.Action("setSuspendCursor", R"(,"value":"2-12")");
  AddPictures(1);
  cloud.Rule(R"({"path":"/changes\\?","status":500})");
  EXPECT_FALSE(first.Cycle()["done"].asBool());
  EXPECT_EQ(Row("ClearVersion"), "");
  EXPECT_TRUE(first.Cycle()["done"].asBool());
  EXPECT_EQ(Row("ClearVersion"), "2-12");
  EXPECT_EQ(Row("LatestVersion"), VersionText());
}

}  // namespace
