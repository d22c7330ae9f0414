// The cloud no longer takes the cursor of a device: all is listed anew, and what
// waits here goes up all the same.

#include "photocloud/base/json.h"
#include "wiretest.h"

namespace {

class ExpiryTest : public WireTest {
 protected:
  Json::Value With(const char* key, const Json::Value& value, const char* other, const Json::Value& more) {
    Json::Value arguments(Json::objectValue);
    arguments[key] = value;
    arguments[other] = more;
    return arguments;
  }
  std::string Text(int number) { return std::to_string(number); }

  // A device without contents to send, in step with an album and six pictures, of
  // which one lies on its disk.
  void Prepare(int round) {
    trip = "default-album-300-trip" + Text(round);
    api.TakeLock();
    (void)api.AddAlbum(trip, "Trip" + Text(round));
    api.GiveLockBack();
    ids = AddPictures(7);
    ASSERT_TRUE(api.Change(ids[3], R"({"recycled":true})"));
    ASSERT_TRUE(api.Change(ids[6], R"({"albumId":")" + trip + R"("})"));
    first.Setting("transfersPaused", true);
    first.Kill();
    first.Start();
    SettleAlone(first);
    first.Execute("UPDATE GalleryFile SET LocalPath='" + PathOf(round) +
                  "', IsLocalUpload=1 WHERE UniqueId='" + ids[4] + "'");
    first.Restart();
    SettleAlone(first);
  }
  static std::string PathOf(int round) { return "/pictures/" + std::to_string(round) + ".jpg"; }

  // One of each kind of change that a user makes.
  void ChangeHere(int round) {
    mine = first.Do("createAlbum", "name", "Mine" + Text(round)).asString();
    imported = "imported-" + Text(round);
    Json::Value import = With("id", imported, "name", imported + ".jpg");
    import["album"] = mine;
    ASSERT_TRUE(first.Do("import", import).asBool());
    import = With("id", imported + "b", "name", imported + "b.jpg");
    import["album"] = trip;
    ASSERT_TRUE(first.Do("import", import).asBool());
    ASSERT_TRUE(first.Do("renameAlbum", With("album", trip, "name", "Journey" + Text(round))).asBool());
    ASSERT_TRUE(first.Do("favorite", With("id", ids[0], "on", true)).asBool());
    ASSERT_TRUE(first.Do("move", With("id", ids[1], "album", trip)).asBool());
    ASSERT_TRUE(first.Do("recycle", "id", ids[2]).asBool());
    ASSERT_TRUE(first.Do("delete", "id", ids[3]).asBool());
  }

  // What still has to be told to the cloud, as the tables have it.
  Json::Value Waiting() {
    Json::Value waiting = first.Tables();
    for (const char* kind : {"albums", "files"}) {
      for (const auto& id : waiting[kind].getMemberNames()) {
        Json::Value& entry = waiting[kind][id];
        // A move is stored without the path that it notes until the row is written whole.
        entry.removeMember("properties");
        if (!entry.isMember("waits") && !entry.isMember("deleted")) waiting[kind].removeMember(id);
      }
    }
    return waiting;
  }

  void ExpectAllTold(int round) {
    const Json::Value there = api.Dump();
    EXPECT_EQ(there["albums"][mine]["name"], "Mine" + Text(round));
    EXPECT_EQ(there["albums"][trip]["name"], "Journey" + Text(round));
    EXPECT_EQ(there["files"][ids[0]]["favorite"], true);
    EXPECT_EQ(there["files"][ids[1]]["album"], trip);
    EXPECT_EQ(there["files"][ids[2]]["bin"], true);
    EXPECT_FALSE(there["files"].isMember(ids[3]));
    for (const Json::Value& here : {first.Dump(), first.Tables()}) {
      EXPECT_EQ(here["files"][imported]["waits"], 1);
      EXPECT_EQ(here["files"][imported]["album"], mine);
      EXPECT_EQ(here["files"][imported + "b"]["album"], trip);
      for (const auto& id : there["files"].getMemberNames())
        EXPECT_EQ(photocloud::WriteJson(here["files"][id]), photocloud::WriteJson(there["files"][id]));
      EXPECT_EQ(here["files"].size(), there["files"].size() + 2);
      EXPECT_EQ(photocloud::WriteJson(here["albums"]), photocloud::WriteJson(there["albums"]));
    }
    EXPECT_EQ(first.PathOf(ids[4]), PathOf(round));
  }

  // Or each round would have more statements than the one before.
  void ClearUp() {
    first.Execute("DELETE FROM GalleryFile WHERE GalleryState=1");
    first.Restart();
    for (const std::string& id : ids) (void)api.Delete(id);  // One is gone already.
    EXPECT_TRUE(api.DeleteAlbum(mine));
    EXPECT_TRUE(api.DeleteAlbum(trip));
  }

  Strings ids;
  std::string trip, mine, imported;
};

TEST_F(ExpiryTest, WhatWaitsOutlivesAnExpiredCursorWhateverStatementIsTheLast) {
  for (int round = 1;; ++round) {
    SCOPED_TRACE("the process ends behind statement " + Text(round));
    Prepare(round);
    ChangeHere(round);
    ASSERT_TRUE(api.Change(ids[5], R"({"favorite":true})"));
    const Json::Value waiting = Waiting();
    cloud.ForgetRequests();
    cloud.Rule(R"({"path":"/changes\\?","errorCode":"31084100"})");
    (void)first.Do("endBehindStatement", "number", round);
    const bool ended = first.Cycle().isNull() || first.Cycle().isNull();
    if (ended) {
      if (CountCalls(first, "POST batch") == 0) {
        EXPECT_EQ(Difference(waiting, Waiting()), "");
      }
      first.Restart();
    } else {
      (void)first.Do("endBehindStatement", "number", 0);
    }
    cloud.ClearRules();
    SettleAlone(first);
    ExpectAllTold(round);
    first.Restart();
    ExpectAllTold(round);
    ClearUp();
    if (HasFailure()) return;
    if (ended) continue;
    EXPECT_GT(round, 15);
    return;
  }
}

TEST_F(ExpiryTest, WhatOtherDevicesDidMeanwhileIsTakenOver) {
  Prepare(1);
  ASSERT_TRUE(api.Delete(ids[4]));
  ASSERT_TRUE(api.Change(ids[5], R"({"favorite":true,"editedTime":"2001-01-01T00:00:00"})"));
  first.Execute("UPDATE GalleryFile SET LocalPath='/pictures/other.jpg', IsLocalUpload=1 WHERE UniqueId='" +
                ids[5] + "'");
  first.Restart();
  ASSERT_TRUE(api.Change(ids[6], R"({"albumId":"default-album-1"})"));
  ASSERT_TRUE(api.DeleteAlbum(trip));
  for (const bool restart : {false, true}) {
    cloud.Rule(R"({"path":"/changes\\?","errorCode":"31084100"})");
    EXPECT_FALSE(first.Cycle()["done"].asBool());
    if (restart) first.Restart();
    SettleAlone(first);
    ExpectInStep(first, restart ? "restarted" : "in one process");
    EXPECT_EQ(first.PathOf(ids[5]), "/pictures/other.jpg");
    AddPictures(1);
  }
}

// A process shows no file whose content the cloud has lost, and yet has to tell
// what became of it.
TEST_F(ExpiryTest, HiddenFileThatGoesToTheBinIsToldByTheNextProcess) {
  Prepare(1);
  first.Setting("enableShowLostCloudPhoto", false);
  first.Kill();
  first.Execute("UPDATE GalleryFile SET cloudContentStatus=2 WHERE UniqueId='" + ids[6] + "'");
  first.Start();
  EXPECT_FALSE(first.Dump()["files"].isMember(ids[6]));
  ASSERT_TRUE(first.Do("deleteAlbum", "album", trip).asBool());
  for (int process = 0; process < 3; ++process) {
    EXPECT_TRUE(first.Cycle()["done"].asBool());
    first.Restart();
  }
  const Json::Value there = api.Dump();
  EXPECT_FALSE(there["albums"].isMember(trip));
  EXPECT_EQ(there["files"][ids[6]]["bin"], true);
}

// The process ends before the listing has brought anything.
TEST_F(ExpiryTest, DeletionElsewhereOfTheOneFileOnDiskIsSeenAfterACrash) {
  for (int statement = 1; statement < 20; ++statement) {
    SCOPED_TRACE(statement);
    Prepare(statement);
    ASSERT_TRUE(api.Delete(ids[4]));
    cloud.Rule(R"({"path":"/changes\\?","errorCode":"31084100"})");
    EXPECT_FALSE(first.Cycle()["done"].asBool());
    (void)first.Do("endBehindStatement", "number", statement);
    if (first.Cycle().isNull()) first.Restart();
    (void)first.Do("endBehindStatement", "number", 0);
    SettleAlone(first);
    ExpectInStep(first);
    if (HasFailure()) return;
  }
}

// A listing that a crash interrupts has not been compared with what was here.
TEST_F(ExpiryTest, DeletionElsewhereIsSeenThoughTheListingWasInterrupted) {
  Prepare(1);
  AddPictures(150);
  SettleAlone(first);
  ASSERT_TRUE(api.Delete(ids[4]));
  cloud.Rule(R"({"path":"/changes\\?","errorCode":"31084100"})");
  EXPECT_FALSE(first.Cycle()["done"].asBool());
  cloud.Rule(R"({"path":"/media\\?","nth":2,"status":500})");
  EXPECT_FALSE(first.Cycle()["done"].asBool());
  first.Restart();
  SettleAlone(first);
  ExpectInStep(first);
}

}  // namespace
