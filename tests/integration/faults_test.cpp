// Each request of a cycle, and each write, fails in turn: later cycles end in
// step, no version is stored before its rows, and nothing is deleted here because
// the cloud was silent, empty, broken or answered half.

#include "devicestest.h"

namespace {

using Strings = std::vector<std::string>;

struct State {
  Json::Value tables;
  Json::Value row;
};

class FaultsTest : public DevicesTest {
 protected:
  // Both devices in step, with enough in them to change.
  void SetUp() override {
    api.TakeLock();
    api.AddAlbum("default-album-300-a", "Alpha");
    api.AddAlbum("default-album-300-b", "Beta");
    for (int i = 0; i < 8; ++i)
      ids.push_back(
          api.AddMedia("p" + std::to_string(i) + ".jpg", i < 2 ? "default-album-300-a" : "default-album-1"));
    api.GiveLockBack();
    Settle();
    ExpectInStep("start");
  }

  // What another device and the user of the first one change before a cycle.
  // Each round gets names and targets of its own.
  void ChangeBothSides(int round) {
    const std::string number = std::to_string(round);
    api.TakeLock();
    made.push_back(api.AddMedia("there" + number + ".jpg", "default-album-300-b"));
    api.Change(ids[2], R"({"favorite":)" + std::string(round % 2 ? "true" : "false") + "}");
    api.Change(ids[3], R"({"recycled":)" + std::string(round % 2 ? "true" : "false") + "}");
    api.RenameAlbum("default-album-300-b", "Better" + number);
    if (round > 1) {
      EXPECT_TRUE(api.DeleteAlbum("default-album-300-there" + std::to_string(round - 1)));
      EXPECT_TRUE(api.Delete(made[made.size() - 2]));
    }
    api.AddAlbum("default-album-300-there" + number, "There" + number);
    const std::string nextVictim = api.AddMedia("victim" + number + ".jpg");
    api.GiveLockBack();
    Json::Value arguments(Json::objectValue);
    arguments["name"] = "Mine" + number;
    arguments["album"] = first.Do("createAlbum", arguments);
    arguments["id"] = ids[4];
    EXPECT_TRUE(first.Do("move", arguments).asBool());
    arguments["id"] = ids[5];
    arguments["on"] = round % 2 == 1;
    EXPECT_TRUE(first.Do("favorite", arguments).asBool());
    EXPECT_TRUE(first.Do(round % 2 ? "recycle" : "recover", "id", ids[6]).asBool());
    if (round > 1) {
      EXPECT_TRUE(first.Do("deleteAlbum", "album", lastMine).asBool());
      EXPECT_TRUE(first.Do("recycle", "id", victim).asBool());
      EXPECT_TRUE(first.Do("delete", "id", victim).asBool());
    }
    lastMine = arguments["album"].asString();
    victim = nextVictim;
  }

  State Stored() const { return {first.Tables(), first.VersionRow()}; }

  // What has to hold right after a cycle that met a fault.
  void ExpectNothingLost(const State& before, const std::string& when) {
    const State now = Stored();
    const Json::Value there = api.Dump();
    for (const std::string& id : before.tables["files"].getMemberNames()) {
      EXPECT_TRUE(now.tables["files"].isMember(id) || !there["files"].isMember(id))
          << "a file that the cloud still has is gone: " << id << ", " << when;
    }
    for (const std::string& id : before.tables["albums"].getMemberNames()) {
      EXPECT_TRUE(now.tables["albums"].isMember(id) || !there["albums"].isMember(id))
          << "an album that the cloud still has is gone: " << id << ", " << when;
    }
    if (now.row["LatestVersion"] == before.row["LatestVersion"]) return;
    // The version says that the other device's changes up to it are here.
    EXPECT_TRUE(now.tables["files"].isMember(made.back())) << "a version without its rows, " << when;
  }

  void EndRound(const State& before, const std::string& when) {
    cloud.ClearRules();
    // The lock of a device that never heard the answer would run out by itself.
    cloud.Action("dropLock");
    ExpectNothingLost(before, when);
    SettleAlone(first);
    ExpectInStep(first, when);
  }

  // Rounds in which request `n` of the first device's cycle meets `fault`.
  void FailEachRequest(const std::string& fault) {
    for (int n = 1;; ++n) {
      ChangeBothSides(n);
      const State before = Stored();
      cloud.ForgetRequests();
      cloud.Rule("{" + fault + R"(,"path":"/cloudPhoto/","nth":)" + std::to_string(n) + "}");
      (void)first.Cycle();
      const auto seen = static_cast<int>(cloud.Requests().size());
      EndRound(before, fault + " at request " + std::to_string(n));
      if (HasFailure()) return;
      if (seen >= n) continue;
      EXPECT_GT(n, 20);
      break;
    }
    SettleAlone(second);
    ExpectInStep(second, "at the end");
  }

  Strings ids, made;
  std::string lastMine, victim;
};

TEST_F(FaultsTest, EachRequestThatIsAnswered500IsMadeUpFor) { FailEachRequest(R"("status":500)"); }

TEST_F(FaultsTest, EachAnswerThatIsCutIsMadeUpFor) { FailEachRequest(R"("cutAfterBytes":30)"); }

TEST_F(FaultsTest, EachAnswerThatNeverComesIsMadeUpFor) { FailEachRequest(R"("close":true)"); }

TEST_F(FaultsTest, EachRequestThatNeverArrivesIsMadeUpFor) { FailEachRequest(R"("dropRequest":true)"); }

TEST_F(FaultsTest, EachRequestThatIsAnswered404IsMadeUpFor) { FailEachRequest(R"("status":404)"); }

TEST_F(FaultsTest, EachWriteThatFailsIsMadeUpFor) {
  for (int n = 1;; ++n) {
    ChangeBothSides(n);
    const State before = Stored();
    (void)first.Do("failWrite", "number", n);
    (void)first.Cycle();
    const int writes = first.Do("writes").asInt();
    (void)first.Do("failWrite", "number", 0);
    EndRound(before, "write " + std::to_string(n));
    if (HasFailure()) return;
    if (writes >= n) continue;
    EXPECT_GT(n, 10);
    return;
  }
}

TEST_F(FaultsTest, EachWriteInWhichTheProcessEndsIsMadeUpFor) {
  for (int n = 1;; ++n) {
    ChangeBothSides(n);
    const State before = Stored();
    (void)first.Do("endAtWrite", "number", n);
    const bool ended = first.Cycle().isNull();
    if (ended) {
      first.Restart();
    } else {
      (void)first.Do("endAtWrite", "number", 0);
    }
    EndRound(before, "end at write " + std::to_string(n));
    if (HasFailure()) return;
    if (ended) continue;
    EXPECT_GT(n, 10);
    return;
  }
}

TEST_F(FaultsTest, FirstDownloadMakesUpForEachFailedRequest) {
  AddPictures(230);
  for (int n = 1;; ++n) {
    Device device("request " + std::to_string(n), cloud);
    cloud.ForgetRequests();
    cloud.Rule(R"({"status":500,"path":"/cloudPhoto/","nth":)" + std::to_string(n) + "}");
    (void)device.Cycle();
    const auto seen = static_cast<int>(cloud.Requests().size());
    cloud.ClearRules();
    SettleAlone(device);
    ExpectInStep(device, device.Name());
    if (HasFailure() || seen < n) break;
  }
}

}  // namespace
