// Two devices and a browser edit one account at random; all end with the same
// albums and files.

#include <cstdlib>
#include <iostream>
#include <random>

#include "devicestest.h"
#include "photocloud/base/json.h"

namespace {

constexpr int kRounds = 200;
constexpr int kRoundsWithFaults = 100;
constexpr int kSettleEvery = 10;
constexpr int kShownHistory = 80;

class RandomDevicesTest : public DevicesTest {
 protected:
  int Below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }
  bool OneIn(int n) { return Below(n) == 0; }
  std::string Any(const std::vector<std::string>& list) {
    return list[static_cast<std::size_t>(Below(static_cast<int>(list.size())))];
  }
  // Few names, so that they clash.
  std::string FileName() { return "n" + std::to_string(Below(12)) + ".jpg"; }
  // Some with a blank, which names that are typed here lose.
  std::string AlbumName() { return (OneIn(3) ? "Album " : "Album") + std::to_string(Below(8)); }

  void Note(const std::string& text) { history.push_back(text); }
  std::string History() const {
    std::string text;
    const auto from = history.size() - std::min<std::size_t>(history.size(), kShownHistory);
    for (auto i = from; i < history.size(); ++i) text += history[i] + "\n";
    return text;
  }

  void EditHere(Device& device) {
    const Json::Value dump = device.Dump();
    const auto albums = dump["albums"].getMemberNames(), files = dump["files"].getMemberNames();
    if (albums.empty()) return;  // Nothing is there before the first cycle.
    Json::Value arguments(Json::objectValue);
    arguments["album"] = Any(albums);
    if (!files.empty()) arguments["id"] = Any(files);
    arguments["on"] = OneIn(2);
    arguments["name"] = AlbumName();
    static const std::vector<std::string> edits = {"createAlbum", "renameAlbum", "deleteAlbum", "recycle",
                                                   "recycle",     "recover",     "recover",     "move",
                                                   "move",        "favorite",    "delete"};
    const std::string edit = Any(edits);
    // An album less often, or there would soon be none.
    if (edit == "deleteAlbum" && !OneIn(2)) return;
    const bool binned = dump["files"][arguments["id"].asString()]["bin"].asBool();
    if ((edit == "recover" || edit == "delete") && !binned) return;
    const Json::Value answer = device.Do(edit, arguments);
    Note(device.Name() + " " + edit + " " + photocloud::WriteJson(arguments) + " -> " +
         photocloud::WriteJson(answer));
  }

  void EditThere() {
    const Json::Value dump = api.Dump();
    const auto files = dump["files"].getMemberNames();
    const std::string album = Any(dump["albums"].getMemberNames());
    const std::string id = files.empty() ? "" : Any(files);
    const bool binned = dump["files"][id]["bin"].asBool();
    std::string text;
    switch (Below(files.empty() ? 5 : 11)) {
      case 0:
        text = "album " + api.AddAlbum("default-album-300-" + std::to_string(++made), AlbumName());
        break;
      case 1:
        if (album != "default-album-1" && album != "default-album-2")
          text = "rename " + album + std::to_string(api.RenameAlbum(album, AlbumName()));
        break;
      case 2:
        text = "delete album " + album + std::to_string(api.DeleteAlbum(album));
        break;
      case 3:
      case 4:
        text = "add " + api.AddMedia(FileName(), album);
        break;
      case 5:
        text = "recycle " + id + std::to_string(api.Change(id, R"({"recycled":true})"));
        break;
      case 6:
        text = "recover " + id + std::to_string(api.Change(id, R"({"recycled":false})"));
        break;
      case 7:
        if (binned) text = "delete " + id + std::to_string(api.Delete(id));
        break;
      case 8:
        if (!binned)
          text =
              "move " + id + " " + album + std::to_string(api.Change(id, R"({"albumId":")" + album + "\"}"));
        break;
      case 9:
        text = "favorite " + id +
               std::to_string(
                   api.Change(id, R"({"favorite":)" + std::string(OneIn(2) ? "true" : "false") + "}"));
        break;
      default:
        text = "name " + id + std::to_string(api.Change(id, R"({"fileName":")" + FileName() + "\"}"));
        break;
    }
    if (!text.empty()) Note("api " + text);
  }

  void RunCycle(Device& device) {
    if (withFaults && OneIn(2)) Arm(device);
    const Json::Value outcome = device.Cycle();
    Note(device.Name() + " cycle " + photocloud::WriteJson(outcome));
    if (outcome.isNull()) device.Restart();
    if (!withFaults) return;
    cloud.ClearRules();
    // The lock of a device that ended or never heard an answer would run out by itself.
    cloud.Action("dropLock");
    (void)device.Do("failWrite", "number", 0);
    (void)device.Do("endAtWrite", "number", 0);
  }

  // One thing of the next cycle goes wrong.
  void Arm(Device& device) {
    const int number = 1 + Below(14);
    const std::string nth = R"(,"nth":)" + std::to_string(number) + "}";
    static const std::vector<std::string> rules = {
        R"({"status":500)",
        R"({"status":503)",
        R"({"errorCode":"31084100")",
        R"({"cutAfterBytes":20)",
        R"({"close":true)",
        R"({"dropRequest":true)",
        R"({"before":{"action":"dropLock","userName":"alice"})",
        R"({"before":{"action":"bumpVersion","userName":"alice"})",
    };
    switch (Below(4)) {
      case 0:
        (void)device.Do("failWrite", "number", number);
        Note("fail write " + std::to_string(number));
        break;
      case 1:
        (void)device.Do("endAtWrite", "number", number);
        Note("end at write " + std::to_string(number));
        break;
      default: {
        const std::string rule = Any(rules) + nth;
        // The client lists no more after four of these until its next start.
        if (rule.find("503") != std::string::npos) device.Restart();
        cloud.Rule(rule);
        Note("rule " + rule);
      }
    }
  }

  // A full listing that was refused with 503 is asked for again after this long.
  void WaitOut503(Device& device) { (void)device.Do("moveClock", "ms", 2 * 120'000 + 1); }

  void Run(int rounds);

  void Round() {
    for (int i = Below(4); i > 0; --i) EditThere();
    for (int i = Below(4); i > 0; --i) EditHere(first);
    for (int i = Below(4); i > 0; --i) EditHere(second);
    for (int i = Below(3); i > 0; --i) RunCycle(OneIn(2) ? first : second);
    if (!OneIn(12)) return;
    Device& device = OneIn(2) ? first : second;
    Note(device.Name() + " restarts");
    device.Restart();
  }

  bool withFaults = false;
  std::mt19937 random;
  int made = 0;
  std::vector<std::string> history;
};

void RandomDevicesTest::Run(int rounds) {
  const char* given = std::getenv("DEVICES_SEED");
  const unsigned seed =
      given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device{}();
  std::cout << "DEVICES_SEED=" << seed << std::endl;
  random.seed(seed);
  for (int round = 1; round <= rounds; ++round) {
    Note("round " + std::to_string(round));
    Round();
    if (round % kSettleEvery != 0) continue;
    if (withFaults) {
      WaitOut503(first);
      WaitOut503(second);
    }
    Settle();
    ExpectInStep("round " + std::to_string(round) + ", DEVICES_SEED=" + std::to_string(seed));
    ASSERT_FALSE(HasFailure()) << History();
  }
}

TEST_F(RandomDevicesTest, AllEndWithTheSameAlbumsAndFiles) { Run(kRounds); }

TEST_F(RandomDevicesTest, AllEndWithTheSameAlbumsAndFilesInSpiteOfFaults) {
  withFaults = true;
  Run(kRoundsWithFaults);
}

}  // namespace
