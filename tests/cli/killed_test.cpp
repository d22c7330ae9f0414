// Transfers whose process is killed in the middle of a request, and those that
// follow them.

#include <csignal>
#include <random>
#include <regex>
#include <set>

#include "accountapi.h"
#include "clitest.h"

namespace fs = std::filesystem;

namespace {

constexpr int kDone = 0;
constexpr std::size_t kSliceSize = 4096;
constexpr std::size_t kSlices = 3;

// The request in which a process dies.
struct Moment {
  const char* method;
  const char* path;
  int nth;
};
// Whether the cloud has done what the request asks for; its answer never comes.
enum class Request { Lost, Handled };

// Announcements and confirmations of objects take turns.
constexpr Moment kMomentsOfAnUpload[] = {
    {"POST", "/media[?]", 1}, {"POST", "/assets/", 1}, {"PUT", "/objects/", 1}, {"POST", "/assets/", 2},
    {"POST", "/assets/", 3},  {"PUT", "/objects/", 2}, {"POST", "/assets/", 4}, {"PUT", "/objects/", 4},
    {"PATCH", "/media/.", 1}, {"DELETE", "/locks", 1},
};
constexpr Moment kMomentsOfADownload[] = {
    {"GET", "/media/.", 1},  {"GET", "/objects/", 1}, {"GET", "/objects/", 2},
    {"GET", "/objects/", 3}, {"GET", "/objects/", 4},
};

class KilledTransferTest : public CliTest {
 protected:
  void SetUp() override {
    folder.Write("password", "wonderland\n");
    LogIn("profile");
  }
  void LogIn(const std::string& profile) {
    const auto login = Command({"login", "--server", cloud.Url(), "--user", "alice", "--password-file",
                                (folder / "password").string()},
                               profile);
    ASSERT_EQ(RunProgram(login).status, kDone);
  }
  // A picture unlike every other, in so many slices.
  std::string ImportPicture(std::size_t slices = kSlices) {
    const int number = static_cast<int>(pictures.size());
    const std::string name = "p" + std::to_string(number) + ".jpg";
    std::string bytes = JpegWith(Exif({TextTag(271, "Maker" + std::to_string(number))}), 16 + 2 * number, 16);
    EXPECT_LT(bytes.size(), kSliceSize);
    // Readers of pictures stop at the end mark; what is behind it travels along.
    while (bytes.size() < slices * kSliceSize - 5) bytes += static_cast<char>(random());
    folder.Write("pictures/" + name, bytes);
    EXPECT_EQ(Run({"import", (folder / "pictures" / name).string()}).status, kDone);
    pictures[name] = bytes;
    return name;
  }
  std::size_t CountRequests(const Moment& moment, int status = 0) const {
    const auto requests = cloud.Requests();
    const std::regex path(moment.path);
    return static_cast<std::size_t>(std::count_if(requests.begin(), requests.end(), [&](const auto& seen) {
      return seen.method == moment.method && std::regex_search("/" + seen.path + "?" + seen.query, path) &&
             (status == 0 ? seen.status != 0 : seen.status == status);
    }));
  }
  void KillAt(const Moment& moment, Request request, const std::vector<std::string>& words) {
    cloud.ForgetRequests();
    cloud.Rule(std::string(R"({"method":")") + moment.method + R"(","path":")" + moment.path + R"(","nth":)" +
               std::to_string(moment.nth) + R"(,"times":0,"delayMs":600000)" +
               (request == Request::Lost ? R"(,"dropRequest":true})" : "}"));
    Process process(Command(words));
    while (process.Running() && CountRequests(moment) < static_cast<std::size_t>(moment.nth)) {
    }
    EXPECT_TRUE(process.Running()) << "the request did not come";
    process.Signal(SIGKILL);
    (void)process.Wait();
    cloud.ClearRules();
  }
  // Each visible record's name; all of their objects are there.
  std::multiset<std::string> VisibleNames() {
    std::multiset<std::string> names;
    const auto page = account.Call("GET", "/media?fields=nextCursor,media(id,fileName)").json;
    EXPECT_EQ(page["nextCursor"].asString(), "");
    for (const Json::Value& media : page["media"]) {
      names.insert(media["fileName"].asString());
      const auto record = account.Call("GET", "/media/" + media["id"].asString()).json;
      for (const Json::Value& attachment : record["attachments"]) {
        for (const Json::Value& object : attachment["asset"]["resource"]["objects"]) {
          const std::string url = object["downloadUrl"]["url"].asString();
          photocloud::testing::HttpConnection connection(cloud.Port());
          EXPECT_EQ(connection.Call("GET", url.substr(url.find('/', 8))).status, 200) << record;
        }
      }
    }
    return names;
  }
  std::multiset<std::string> Names() const {
    std::multiset<std::string> names;
    for (const auto& [name, bytes] : pictures) names.insert(name);
    return names;
  }
  std::string Read(const fs::path& path) const {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::set<std::string> Entries(const fs::path& path) const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(path)) names.insert(entry.path().filename().string());
    return names;
  }
  // Finished files are whole.
  void CheckFinished(const fs::path& path) const {
    for (const std::string& name : Entries(path)) {
      if (name.ends_with(".download")) continue;
      ASSERT_TRUE(pictures.contains(name)) << name;
      EXPECT_TRUE(Read(path / name) == pictures.at(name)) << name;
    }
  }
  // A computer that was never killed gets every picture.
  void ExpectAllElsewhere() {
    LogIn("elsewhere");
    const std::string target = (folder / "elsewhere-target").string();
    ASSERT_EQ(RunProgram(Command({"sync"}, "elsewhere")).status, kDone);
    ASSERT_EQ(RunProgram(Command({"download", "--all", "--to", target}, "elsewhere")).status, kDone);
    EXPECT_EQ(Entries(target).size(), pictures.size());
    CheckFinished(target);
  }

  CloudProcess cloud{{"--slice-size", std::to_string(kSliceSize)}};
  AccountApi account{cloud};
  std::map<std::string, std::string> pictures;  // bytes by name
  std::mt19937 random{7};
};

TEST_F(KilledTransferTest, UploadIsCompletedOnceAndStoredObjectsAreNotSentAgain) {
  ASSERT_EQ(Run({"sync"}).status, kDone);
  const Moment put{"PUT", "/objects/", 1};
  for (const Request request : {Request::Lost, Request::Handled}) {
    for (const Moment& moment : kMomentsOfAnUpload) {
      SCOPED_TRACE(std::string(moment.method) + " " + moment.path + " " + std::to_string(moment.nth) +
                   (request == Request::Lost ? " lost" : " handled"));
      const auto before = Names();
      const std::string name = ImportPicture();
      KillAt(moment, request, {"sync"});
      const std::size_t stored = CountRequests(put, 200);
      const auto visible = VisibleNames();
      EXPECT_TRUE(visible == before || visible == Names());
      cloud.ForgetRequests();
      const Finished next = Run({"sync"});
      EXPECT_EQ(next.status, kDone) << next.output;
      EXPECT_EQ(stored + CountRequests(put), kSlices + 1);  // and the thumbnails
      EXPECT_EQ(VisibleNames(), Names());
    }
  }
  const auto files = Documents({"ls"});
  EXPECT_EQ(files.size(), pictures.size());
  for (const auto& file : files) EXPECT_EQ(file["state"], 0) << file;
  ExpectAllElsewhere();
}

TEST_F(KilledTransferTest, DownloadGoesOnBehindTheStoredPosition) {
  const std::string name = ImportPicture(5);
  ASSERT_EQ(Run({"sync"}).status, kDone);
  const std::string id = IdOf(name);
  const Moment get{"GET", "/objects/", 1};
  int round = 0;
  for (const Request request : {Request::Lost, Request::Handled}) {
    for (const Moment& moment : kMomentsOfADownload) {
      SCOPED_TRACE(std::string(moment.method) + " " + moment.path + " " + std::to_string(moment.nth) +
                   (request == Request::Lost ? " lost" : " handled"));
      const fs::path target = folder / ("target" + std::to_string(round++));
      KillAt(moment, request, {"download", id, "--to", target.string()});
      EXPECT_FALSE(fs::exists(target / name));
      std::size_t position = 0;
      for (const auto& transfer : Documents({"transfers"})) {
        if (transfer["status"] == "unfinished") position = transfer["transferred"].asUInt64();
      }
      EXPECT_EQ(position % kSliceSize, 0u);
      // One slice may be fetched and not stored yet, and the next one is asked for.
      EXPECT_GE(position + 2 * kSliceSize, static_cast<std::size_t>(moment.nth) * kSliceSize);
      cloud.ForgetRequests();
      EXPECT_EQ(Run({"resume"}).status, kDone);
      EXPECT_EQ(CountRequests(get), 5 - position / kSliceSize);
      EXPECT_EQ(Entries(target), std::set<std::string>{name});
      CheckFinished(target);
    }
  }
}

// Whole runs, killed after some object on its way: nothing is ever half there, and
// enough tries bring all.
TEST_F(KilledTransferTest, RunsThatAreKilledAgainAndAgainEndWithEverything) {
  for (int i = 0; i < 12; ++i) (void)ImportPicture();
  const auto dice = [this](unsigned sides) { return static_cast<int>(1 + random() % sides); };
  for (int round = 0; round < 6; ++round) {
    KillAt({"PUT", "/objects/", dice(6)}, round % 2 == 0 ? Request::Lost : Request::Handled, {"sync"});
    (void)VisibleNames();
  }
  EXPECT_EQ(Run({"sync"}).status, kDone);
  EXPECT_EQ(VisibleNames(), Names());
  const fs::path target = folder / "target";
  const std::vector<std::string> download = {"download", "--all", "--to", target.string()};
  for (int round = 0; round < 3; ++round) {
    KillAt({"GET", "/objects/", dice(8)}, round % 2 == 0 ? Request::Lost : Request::Handled, download);
    CheckFinished(target);
  }
  EXPECT_EQ(Run(download).status, kDone);
  EXPECT_EQ(Entries(target).size(), pictures.size());
  CheckFinished(target);
}

}  // namespace
