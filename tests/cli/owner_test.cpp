// Several processes on one profile: one owns it and does what the others ask.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "accountapi.h"
#include "clitest.h"
#include "common/platform/localsocket.h"

namespace fs = std::filesystem;

namespace {

constexpr int kDone = 0, kFailed = 1;

class OwnerTest : public CliTest {
 protected:
  void SetUp() override {
    folder.Write("password", "wonderland\n");
    ASSERT_EQ(Login(), kDone);
  }
  int Login(const std::string& profile = "profile") {
    return RunProgram(Command({"login", "--server", cloud.Url(), "--user", "alice", "--password-file",
                               (folder / "password").string()},
                              profile))
        .status;
  }
  // Pictures that are in the cloud and here, by name.
  std::map<std::string, std::string> Upload(int count) {
    WritePictures("pictures", count);
    EXPECT_EQ(Run({"import", (folder / "pictures").string()}).status, kDone);
    EXPECT_EQ(Run({"sync"}).status, kDone);
    std::map<std::string, std::string> ids;
    for (const auto& file : Documents({"ls"})) ids[file["fileName"].asString()] = file["id"].asString();
    return ids;
  }
  // A picture whose content stays on its way up until ClearRules and the end of `sync`.
  void HoldAnUpload() {
    folder.Write("more/late.jpg", Picture(99));
    ASSERT_EQ(Run({"import", (folder / "more").string()}).status, kDone);
    cloud.ForgetRequests();
    cloud.Rule(R"({"method":"PUT","path":"/objects/","times":0,"delayMs":600000})");
  }
  std::size_t Count(const std::string& method, const std::string& path) const {
    const auto requests = cloud.Requests();
    return static_cast<std::size_t>(std::count_if(requests.begin(), requests.end(), [&](const auto& seen) {
      return seen.method == method && seen.path.find(path) != std::string::npos;
    }));
  }
  void AwaitUpload(Process& sync) {
    while (sync.Running() && Count("PUT", "objects/") == 0) {
    }
    ASSERT_TRUE(sync.Running());
  }
  fs::path Data() const { return folder / "profile/data/ZentaraCloud"; }
  // A watch that has done its first cycle.
  std::unique_ptr<Process> Watch() {
    cloud.ForgetRequests();
    auto watch = std::make_unique<Process>(Command({"sync", "--watch"}));
    EXPECT_NE(watch->ReadLine(), "");
    cloud.AwaitRequest("push");
    return watch;
  }
  // What commands beside a running process change, as the next process and the
  // cloud see it.
  void ChangeAll(std::map<std::string, std::string>& ids) {
    EXPECT_EQ(Run({"favorite", ids["p0.jpg"]}).status, kDone);
    EXPECT_EQ(Run({"album", "create", "Best"}).status, kDone);
    EXPECT_EQ(Run({"move", ids["p1.jpg"], "--to", "Best"}).status, kDone);
    EXPECT_EQ(Run({"recycle", ids["p2.jpg"]}).status, kDone);
    EXPECT_EQ(Run({"recycle", ids["p3.jpg"]}).status, kDone);
    EXPECT_EQ(Run({"delete", ids["p3.jpg"]}).status, kDone);
    EXPECT_EQ(Run({"album", "rename", "Best", "Top"}).status, kDone);
    EXPECT_EQ(Documents({"ls", "--album", "Top"}).size(), 1u);
    EXPECT_EQ(Run({"import", (folder / "beside").string()}).status, kDone);
  }
  void ExpectAll(const std::map<std::string, std::string>& ids) {
    EXPECT_EQ(Documents({"ls", "--album", "Favourites"}).size(), 1u);
    EXPECT_EQ(Documents({"ls", "--album", "Top"}).size(), 1u);
    EXPECT_EQ(Documents({"ls", "--album", "Recently deleted"}).size(), 1u);
    EXPECT_FALSE(IdOf("beside.jpg").empty());
    const Json::Value there = api.Dump();
    const auto file = [&](const char* name) { return there["files"][ids.at(name)]; };
    EXPECT_TRUE(file("p0.jpg")["favorite"].asBool());
    EXPECT_EQ(there["albums"][file("p1.jpg")["album"].asString()]["name"].asString(), "Top");
    EXPECT_TRUE(file("p2.jpg")["bin"].asBool()) << file("p2.jpg");
    EXPECT_FALSE(there["files"].isMember(ids.at("p3.jpg")));
  }

  CloudProcess cloud;
  AccountApi api{cloud};
};

TEST_F(OwnerTest, ChangesBesideARunningUploadStayAndReachTheCloud) {
  auto ids = Upload(4);
  folder.Write("beside/beside.jpg", Picture(50));
  folder.Write("more/late.jpg", Picture(99));
  ASSERT_EQ(Run({"import", (folder / "more").string()}).status, kDone);
  cloud.ForgetRequests();
  // Long enough for the commands; were it over before, they would only be beside less.
  cloud.Rule(R"({"method":"PUT","path":"/objects/","times":1,"delayMs":8000})");
  Process sync(Command({"sync"}));
  AwaitUpload(sync);
  ChangeAll(ids);
  EXPECT_EQ(sync.Wait(), kDone);
  EXPECT_EQ(Run({"sync"}).status, kDone);
  ExpectAll(ids);
}

TEST_F(OwnerTest, ChangesOfFilesThatAreBeingUploadedStay) {
  Upload(1);
  for (int i = 0; i < 3; ++i) folder.Write("new/n" + std::to_string(i) + ".jpg", Picture(60 + i));
  ASSERT_EQ(Run({"import", (folder / "new").string()}).status, kDone);
  cloud.ForgetRequests();
  cloud.Rule(R"({"method":"PUT","path":"/objects/","times":3,"delayMs":8000})");
  Process sync(Command({"sync"}));
  AwaitUpload(sync);
  EXPECT_EQ(Run({"favorite", IdOf("n0.jpg")}).status, kDone);
  EXPECT_EQ(Run({"album", "create", "Best"}).status, kDone);
  EXPECT_EQ(Run({"move", IdOf("n1.jpg"), "--to", "Best"}).status, kDone);
  EXPECT_EQ(Run({"recycle", IdOf("n2.jpg")}).status, kDone);
  (void)sync.Wait();  // An upload whose file was recycled may have failed.
  EXPECT_EQ(Run({"sync"}).status, kDone);
  EXPECT_EQ(Documents({"ls", "--album", "Favourites"}).size(), 1u);
  EXPECT_EQ(Documents({"ls", "--album", "Best"}).size(), 1u);
  EXPECT_EQ(IdOf("n2.jpg"), "");
  const Json::Value there = api.Dump();
  std::map<std::string, Json::Value> byName;
  for (const Json::Value& file : there["files"]) byName[file["name"].asString()] = file;
  EXPECT_TRUE(byName["n0.jpg"]["favorite"].asBool());
  EXPECT_EQ(there["albums"][byName["n1.jpg"]["album"].asString()]["name"].asString(), "Best");
  EXPECT_TRUE(byName["n2.jpg"].isNull() || byName["n2.jpg"]["bin"].asBool()) << byName["n2.jpg"];
}

TEST_F(OwnerTest, ChangesBesideAWatchStayAndReachTheCloud) {
  auto ids = Upload(4);
  folder.Write("beside/beside.jpg", Picture(50));
  auto watch = Watch();
  ChangeAll(ids);
  // Another device touches the same files meanwhile, and the watch hears of it.
  for (const auto& [name, id] : ids) (void)api.Change(id, R"({"fileName":"other-)" + name + "\"}");
  while (Documents({"status"}).back()["latestVersion"].asInt64() < api.Version()) {
  }
  watch->Signal(SIGTERM);
  EXPECT_EQ(watch->Wait(), kDone);
  EXPECT_EQ(Run({"sync"}).status, kDone);
  ExpectAll(ids);
}

TEST_F(OwnerTest, EachReadingCommandSeesWhatTheRunningProcessHas) {
  const auto ids = Upload(2);
  auto watch = Watch();
  EXPECT_EQ(Run({"favorite", ids.at("p0.jpg")}).status, kDone);
  EXPECT_EQ(Documents({"ls", "--album", "Favourites"}).size(), 1u);
  EXPECT_EQ(Documents({"albums"}).back().empty(), false);
  EXPECT_EQ(Documents({"timeline"}).size(), 2u);
  EXPECT_EQ(Documents({"home"})[0].size(), 2u);
  EXPECT_TRUE(Documents({"show", ids.at("p0.jpg")})[0]["IsFavorite"].asBool());
  EXPECT_EQ(Documents({"status"})[0]["files"].asInt(), 2);
  EXPECT_TRUE(Documents({"transfers"}).empty());
  EXPECT_EQ(Run({"thumbs", "--missing"}).status, kDone);
  EXPECT_EQ(Run({"download", "--all", "--to", (folder / "target").string()}).status, kDone);
  EXPECT_TRUE(fs::exists(folder / "target/p1.jpg"));
  EXPECT_EQ(Run({"pause"}).status, kDone);
  EXPECT_EQ(Run({"resume"}).status, kDone);
  EXPECT_EQ(Run({"show", "nothing"}).status, kFailed);
  EXPECT_EQ(Run({"retry"}).status, kDone);
  EXPECT_EQ(Run({"devices"}).Lines().size(), 2u);  // This one and the test's own.
  EXPECT_EQ(Run({"login-secret", "--user", "x", "--password-file", (folder / "password").string()}).status,
            kDone);
  EXPECT_EQ(Run({"start", (folder / "pictures").string()}).status, kDone);
  EXPECT_EQ(Run({"unfavorite", ids.at("p0.jpg")}).status, kDone);
  EXPECT_TRUE(Documents({"ls", "--album", "Favourites"}).empty());
  EXPECT_EQ(Run({"recycle", ids.at("p1.jpg")}).status, kDone);
  EXPECT_EQ(Documents({"ls"}).size(), 1u);
  EXPECT_EQ(Run({"recover", ids.at("p1.jpg")}).status, kDone);
  EXPECT_EQ(Documents({"ls"}).size(), 2u);
  EXPECT_EQ(Run({"album", "create", "Short"}).status, kDone);
  EXPECT_EQ(Run({"album", "delete", "Short"}).status, kDone);
  EXPECT_EQ(Run({"ls", "--album", "Short"}).status, kFailed);
  folder.Write("next", "looking-glass\n");
  EXPECT_EQ(Run({"password", "--password-file", (folder / "password").string(), "--new-password-file",
                 (folder / "next").string()})
                .status,
            kDone);
  EXPECT_EQ(Run({"sync"}).status, kDone);
  watch->Signal(SIGTERM);
  EXPECT_EQ(watch->Wait(), kDone);
}

TEST_F(OwnerTest, PathsAreMeantWhereTheCommandWasTyped) {
  Upload(1);
  folder.Write("here/pictures/a.jpg", Picture(1));
  auto watch = Watch();
  std::vector<std::string> words = {"/bin/sh", "-c", "cd \"$0\" && exec \"$@\"", (folder / "here").string()};
  for (const auto& word : Command({"import", "pictures"})) words.push_back(word);
  EXPECT_EQ(RunProgram(words).status, kDone);
  EXPECT_FALSE(IdOf("a.jpg").empty());
  words.resize(words.size() - 2);
  for (const char* word : {"keys", "export", "--yes", "my.keys"}) words.push_back(word);
  EXPECT_EQ(RunProgram(words).status, kDone);
  EXPECT_TRUE(fs::exists(folder / "here/my.keys"));
}

TEST_F(OwnerTest, LoginBesideAWatchLetsItGoOnWithTheNewSession) {
  Upload(1);
  auto watch = Watch();
  cloud.ForgetRequests();
  EXPECT_EQ(Login(), kDone);
  cloud.AwaitRequest("push");
  api.AddMedia("pushed.jpg");
  const std::string version = "\"latestVersion\":" + std::to_string(api.Version()) + ",";
  std::string line;
  do {
    line = watch->ReadLine();
  } while (!line.empty() && line.find(version) == std::string::npos);
  EXPECT_NE(line, "");
  EXPECT_EQ(Run({"logout"}).status, kDone);
  EXPECT_EQ(watch->Wait(), kFailed);
  EXPECT_TRUE(Documents({"ls"}).empty());
}

TEST_F(OwnerTest, OwnerThatIsKilledInTheMiddleOfACommandIsToldAndTheNextTakesOver) {
  Upload(1);
  auto watch = Watch();
  std::vector<std::string> words = {"/bin/sh", "-c", "exec \"$@\" 2>&1", "sh"};
  for (const auto& word : Command({"download", "--all", "--to", (folder / "target").string()}))
    words.push_back(word);
  cloud.Rule(R"({"method":"GET","path":"/objects/","times":0,"delayMs":600000})");
  Process download(words);
  while (download.Running() && Count("GET", "objects/") == 0) {
  }
  watch->Signal(SIGKILL);
  (void)watch->Wait();
  std::string output;
  EXPECT_EQ(download.Wait(&output), kFailed);
  EXPECT_NE(output.find("has ended in the middle of it"), std::string::npos) << output;
  cloud.ClearRules();
  EXPECT_EQ(Documents({"ls"}).size(), 1u);
  EXPECT_EQ(Run({"resume"}).status, kDone);
  EXPECT_TRUE(fs::exists(folder / "target/p0.jpg"));
}

TEST_F(OwnerTest, CommandsThatStartAtOnceAreEachDoneOnce) {
  const auto ids = Upload(1);
  for (int round = 0; round < 8; ++round) {
    std::vector<std::unique_ptr<Process>> albums;
    for (int i = 0; i < 4; ++i) {
      const std::string name = "r" + std::to_string(round) + "-" + std::to_string(i);
      albums.push_back(std::make_unique<Process>(Command({"album", "create", name})));
    }
    folder.Write("r" + std::to_string(round) + "/x.jpg", Picture(200 + round));
    Process import(Command({"import", (folder / ("r" + std::to_string(round))).string()}));
    for (const auto& album : albums) EXPECT_EQ(album->Wait(), kDone);
    EXPECT_EQ(import.Wait(), kDone);
  }
  std::map<std::string, int> names;
  for (const auto& album : Documents({"albums"})) ++names[album["name"].asString()];
  for (int round = 0; round < 8; ++round) {
    for (int i = 0; i < 4; ++i)
      EXPECT_EQ(names["r" + std::to_string(round) + "-" + std::to_string(i)], 1) << round << " " << i;
  }
  EXPECT_EQ(Documents({"ls"}).size(), 9u);
}

TEST_F(OwnerTest, TwoSyncsAtOnceBothEndWithEverythingInStep) {
  Upload(1);
  for (int round = 0; round < 4; ++round) {
    folder.Write("r" + std::to_string(round) + "/x.jpg", Picture(200 + round));
    ASSERT_EQ(Run({"import", (folder / ("r" + std::to_string(round))).string()}).status, kDone);
    Process first(Command({"sync"})), second(Command({"sync"}));
    EXPECT_EQ(first.Wait(), kDone);
    EXPECT_EQ(second.Wait(), kDone);
  }
  EXPECT_EQ(api.Dump()["files"].size(), 5u);
}

TEST_F(OwnerTest, SyncBesideAWatchGoesOnWhenTheWatchEnds) {
  Upload(1);
  HoldAnUpload();
  const std::vector<std::string> words{ZENTARACTL, "--profile", (folder / "profile").string(), "sync",
                                       "--watch"};
  Process watch(words);
  AwaitUpload(watch);
  Process sync(Command({"sync"}));
  Process second(words);
  EXPECT_EQ(second.ReadLine(), "Watching; Ctrl-C ends it.");
  cloud.ClearRules();
  watch.Signal(SIGINT);
  EXPECT_EQ(watch.Wait(), kDone);
  EXPECT_EQ(sync.Wait(), kDone);
  EXPECT_EQ(Documents({"status"}).back()["pendingUploads"].asInt(), 0);
  second.Signal(SIGINT);
  EXPECT_EQ(second.Wait(), kDone);
}

TEST_F(OwnerTest, InterruptEndsTheCommandThatItWasTypedAtAlone) {
  Upload(1);
  auto watch = Watch();
  cloud.Rule(R"({"method":"GET","path":"/objects/","times":0,"delayMs":600000})");
  cloud.ForgetRequests();
  Process download(Command({"download", "--all", "--to", (folder / "target").string()}));
  while (download.Running() && Count("GET", "objects/") == 0) {
  }
  download.Signal(SIGINT);
  EXPECT_EQ(download.Wait(), kFailed);
  EXPECT_TRUE(watch->Running());
  EXPECT_EQ(Documents({"ls"}).size(), 1u);
  watch->Signal(SIGINT);
  EXPECT_EQ(watch->Wait(), kDone);
}

TEST_F(OwnerTest, CommandOfAClientThatIsKilledEnds) {
  Upload(1);
  auto watch = Watch();
  cloud.Rule(R"({"method":"GET","path":"/objects/","times":0,"delayMs":600000})");
  cloud.ForgetRequests();
  Process download(Command({"download", "--all", "--to", (folder / "target").string()}));
  while (download.Running() && Count("GET", "objects/") == 0) {
  }
  download.Signal(SIGKILL);
  (void)download.Wait();
  watch->Signal(SIGINT);
  EXPECT_EQ(watch->Wait(), kDone);  // Nothing of the client holds it up.
  cloud.ClearRules();
  EXPECT_EQ(Run({"resume"}).status, kDone);
  EXPECT_TRUE(fs::exists(folder / "target/p0.jpg"));
}

TEST_F(OwnerTest, PasswordIsReadWhereTheCommandWasTyped) {
  Upload(1);
  ASSERT_EQ(Run({"keys", "export", "--yes", (folder / "keys").string()}).status, kDone);
  auto watch = Watch();
  Process import(Command({"keys", "import", (folder / "keys").string()}), Process::Input::Written);
  EXPECT_TRUE(import.WriteLine("wonderland"));
  EXPECT_EQ(import.Wait(), kDone);
  Process wrong(Command({"keys", "import", (folder / "keys").string()}), Process::Input::Written);
  EXPECT_TRUE(wrong.WriteLine("looking-glass"));
  EXPECT_EQ(wrong.Wait(), kFailed);
}

TEST_F(OwnerTest, SocketIsForItsOwnerAndReachedByALongPath) {
  Upload(1);
  const std::string name(200, 'x');
  ASSERT_EQ(Login(name), kDone);
  Process watch(Command({"sync", "--watch"}, name));
  EXPECT_NE(watch.ReadLine(), "");
  const fs::path socket = folder / name / "data/ZentaraCloud/owner.sock";
  struct stat status {};
  ASSERT_EQ(::stat(socket.c_str(), &status), 0);
  EXPECT_TRUE(S_ISSOCK(status.st_mode));
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  EXPECT_EQ(RunProgram(Command({"status"}, name)).status, kDone);
  watch.Signal(SIGTERM);
  EXPECT_EQ(watch.Wait(), kDone);
  EXPECT_FALSE(fs::exists(socket));
}

// What a dead owner leaves: the file of its socket, which nobody listens at.
TEST_F(OwnerTest, SocketOfADeadOwnerIsTakenOver) {
  Upload(1);
  auto watch = Watch();
  watch->Signal(SIGKILL);
  (void)watch->Wait();
  ASSERT_TRUE(fs::exists(Data() / "owner.sock"));
  EXPECT_EQ(Run({"status"}).status, kDone);
}

// An owner of another version, as far as versions have to agree: it holds the lock
// and answers the first frame with "r" and its own.
TEST_F(OwnerTest, OwnerOfAnotherVersionIsToldAndNothingIsDone) {
  const int lock = ::open((Data() / "owner.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(::flock(lock, LOCK_EX | LOCK_NB), 0);
  std::error_code error;
  auto listener = platform::LocalSocket::Listen(Data() / "owner.sock", error);
  ASSERT_FALSE(error) << error.message();
  std::string first(5, '\0');
  std::thread other([&] {
    auto client = listener.Accept();
    EXPECT_TRUE(client.Receive(first.data(), first.size()));
    EXPECT_TRUE(client.Send(std::string("r\x06\0\0\0", 5) + "16.2/9"));
    char rest = 0;
    while (client.Receive(&rest, 1)) {
    }
  });
  std::vector<std::string> words = {"/bin/sh", "-c", "exec \"$@\" 2>&1", "sh"};
  for (const auto& word : Command({"album", "create", "Never"})) words.push_back(word);
  const Finished finished = RunProgram(words);
  other.join();
  EXPECT_EQ(finished.status, kFailed);
  EXPECT_EQ(first[0], 'V');
  EXPECT_NE(finished.output.find("of the version 16.2/9"), std::string::npos) << finished.output;
  EXPECT_NE(finished.output.find("process " + std::to_string(::getpid())), std::string::npos);
  ::close(lock);
  for (const auto& album : Documents({"albums"})) EXPECT_NE(album["name"], "Never");
}

TEST_F(OwnerTest, OutputThatNobodyReadsEndsNobodyElse) {
  Upload(3);
  auto watch = Watch();
  folder.Write("more/a.jpg", Picture(70));
  ASSERT_EQ(Run({"pause"}).status, kDone);
  ASSERT_EQ(Run({"import", (folder / "more").string()}).status, kDone);
  std::vector<std::string> words = {"/bin/sh", "-c", "\"$@\" | head -n 1", "sh"};
  for (const auto& word : Command({"transfers", "--watch"})) words.push_back(word);
  Process transfers(words);
  EXPECT_NE(transfers.ReadLine(), "");
  for (const char* word = "resume"; transfers.Running(); word = *word == 'r' ? "pause" : "resume")
    EXPECT_EQ(Run({word}).status, kDone);
  EXPECT_TRUE(watch->Running());
  watch->Signal(SIGTERM);
  EXPECT_EQ(watch->Wait(), kDone);
}

}  // namespace
