// The photo cloud from the command line: sessions, cycles, and what a later
// process can tell of them.

#include <openssl/hmac.h>
#include <sqlite3.h>

#include <csignal>
#include <fstream>

#include "accountapi.h"
#include "clitest.h"

namespace {

constexpr int kDone = 0, kFailed = 1;

class CliSyncTest : public CliTest {
 protected:
  int Login(const std::string& password = "wonderland") {
    folder.Write("password", password + "\nsecond line\n");
    return Run({"login", "--server", cloud.Url(), "--user", "alice", "--password-file",
                (folder / "password").string()})
        .status;
  }
  // The last document of a command: of "status" what the sync says.
  Json::Value Last(const std::vector<std::string>& words) {
    const auto documents = Documents(words);
    return documents.empty() ? Json::Value() : documents.back();
  }

  std::size_t Count(const std::string& method, const std::string& path) const {
    const auto requests = cloud.Requests();
    return static_cast<std::size_t>(std::count_if(requests.begin(), requests.end(), [&](const auto& seen) {
      return seen.method == method && seen.path.find(path) != std::string::npos;
    }));
  }

  void RemoveThumbnails() {
    std::size_t removed = 0;
    std::vector<std::filesystem::path> thumbnails;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder / "profile/cache"))
      if (entry.path().extension() == ".jpg") thumbnails.push_back(entry.path());
    for (const auto& path : thumbnails) removed += std::filesystem::remove(path);
    EXPECT_GT(removed, 0u);
  }

  // Gives the row the hash and size of these bytes.
  void RewriteRow(const std::string& name, const std::string& bytes) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    ASSERT_NE(HMAC(EVP_sha256(), "", 0, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                   digest, &length),
              nullptr);
    std::string hash;
    for (unsigned i = 0; i < length; ++i) {
      char two[3];
      std::snprintf(two, sizeof two, "%02x", digest[i]);
      hash += two;
    }
    const std::string statement = "UPDATE GalleryFile SET Hash = '" + hash +
                                  "', Size = " + std::to_string(bytes.size()) + " WHERE FileName = '" + name +
                                  "'";
    int changed = 0;
    // The local gallery has a database beside the account's.
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder / "profile/data")) {
      if (!entry.path().string().ends_with("cpp.dat")) continue;
      sqlite3* database = nullptr;
      ASSERT_EQ(sqlite3_open(entry.path().c_str(), &database), SQLITE_OK);
      EXPECT_EQ(sqlite3_exec(database, statement.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
      changed += sqlite3_changes(database);
      sqlite3_close(database);
    }
    EXPECT_EQ(changed, 1);
  }

  CloudProcess cloud;
  AccountApi api{cloud};
};

TEST_F(CliSyncTest, PasswordFileOpensASessionThatOutlivesTheProcess) {
  EXPECT_EQ(Login(), kDone);
  api.AddMedia("a.jpg");
  EXPECT_EQ(Run({"sync"}).status, kDone);
  EXPECT_EQ(Documents({"ls"}).size(), 1u);
}

TEST_F(CliSyncTest, PictureWithoutRoomInTheCloudIsToldAndKeepsWaiting) {
  folder.Write("secret", "master builder\n");
  ASSERT_EQ(
      RunProgram({PHOTOCLOUD_PROGRAM, "user", "add", "bob", "--data", cloud.Data().string(),
                  "--fast-password", "--quota-gb", "0", "--password-file", (folder / "secret").string()})
          .status,
      kDone);
  ASSERT_EQ(Run({"login", "--server", cloud.Url(), "--user", "bob", "--password-file",
                 (folder / "secret").string()})
                .status,
            kDone);
  WritePictures("Trip", 1);
  Run({"import", (folder / "Trip").string()});
  EXPECT_EQ(Run({"sync"}).status, kFailed);
  const Json::Value status = Last({"status"});
  EXPECT_EQ(status["errorFile"], "p0.jpg");
  EXPECT_EQ(status["errorStep"], "SyncHelper::UploadContent");
  EXPECT_NE(status["errorCause"].asString().find("room for 0 more bytes"), std::string::npos) << status;
  EXPECT_EQ(status["pendingUploads"], 1);
}

TEST_F(CliSyncTest, WrongPasswordIsRefusedAndChangesNothing) {
  WritePictures("Trip", 1);
  Run({"import", (folder / "Trip").string()});
  EXPECT_EQ(Login("looking-glass"), kFailed);
  EXPECT_EQ(Documents({"ls"}).size(), 1u);
  EXPECT_EQ(Run({"sync"}).status, kFailed);
}

TEST_F(CliSyncTest, MissingPasswordFileIsRefused) {
  EXPECT_EQ(Run({"login", "--server", cloud.Url(), "--user", "alice", "--password-file",
                 (folder / "nowhere").string()})
                .status,
            kFailed);
}

TEST_F(CliSyncTest, ServerThatIsNotThereIsTold) {
  folder.Write("password", "wonderland\n");
  EXPECT_EQ(Run({"login", "--server", "http://127.0.0.1:1", "--user", "alice", "--password-file",
                 (folder / "password").string()})
                .status,
            kFailed);
}

TEST_F(CliSyncTest, SyncWithoutASessionSaysSo) { EXPECT_EQ(Run({"sync"}).status, kFailed); }

TEST_F(CliSyncTest, SyncBringsAndSendsChanges) {
  ASSERT_EQ(Login(), kDone);
  const std::string id = api.AddMedia("a.jpg");
  ASSERT_EQ(Run({"sync"}).status, kDone);
  EXPECT_EQ(Run({"favorite", id}).status, kDone);
  EXPECT_EQ(Run({"album", "create", "Trip"}).status, kDone);
  EXPECT_EQ(Run({"move", id, "--to", "Trip"}).status, kDone);
  EXPECT_EQ(Last({"status"})["pendingFiles"].asInt(), 1);
  const Json::Value synced = Last({"sync"});
  EXPECT_EQ(synced["pendingFiles"].asInt(), 0);
  EXPECT_EQ(synced["errorStep"].asString(), "");
  const Json::Value there = api.Dump();
  EXPECT_TRUE(there["files"][id]["favorite"].asBool());
  EXPECT_EQ(there["albums"][there["files"][id]["album"].asString()]["name"].asString(), "Trip");
}

TEST_F(CliSyncTest, LogoutGoesBackToTheLocalGallery) {
  WritePictures("Trip", 2);
  Run({"import", (folder / "Trip").string()});
  ASSERT_EQ(Login(), kDone);
  api.AddMedia("a.jpg");
  ASSERT_EQ(Run({"sync"}).status, kDone);
  EXPECT_EQ(Documents({"ls"}).size(), 1u);
  EXPECT_EQ(Run({"logout"}).status, kDone);
  EXPECT_EQ(Documents({"ls"}).size(), 2u);
  EXPECT_EQ(Run({"sync"}).status, kFailed);
  ASSERT_EQ(Login(), kDone);
  EXPECT_EQ(Documents({"ls"}).size(), 1u);
}

TEST_F(CliSyncTest, StatusTellsWhyTheLastCycleFailedUntilOneGoesWell) {
  ASSERT_EQ(Login(), kDone);
  api.AddMedia("a.jpg");
  ASSERT_EQ(Run({"sync"}).status, kDone);
  api.AddMedia("b.jpg");
  cloud.Rule(R"({"path":"/changes\\?","status":500,"times":0})");
  EXPECT_EQ(Run({"sync"}).status, kFailed);
  const Json::Value failed = Last({"status"});
  EXPECT_EQ(failed["errorStep"].asString(), "SyncHelper::SyncGeneralFiles");
  EXPECT_EQ(failed["errorCause"].asString(), "a page of changes did not come");
  EXPECT_GT(failed["errorTime"].asInt64(), 0);
  cloud.ClearRules();
  EXPECT_EQ(Run({"sync"}).status, kDone);
  EXPECT_EQ(Last({"status"})["errorStep"].asString(), "");
}

TEST_F(CliSyncTest, StatusNamesTheFileThatTheCloudRefused) {
  ASSERT_EQ(Login(), kDone);
  const std::string id = api.AddMedia("refused.jpg");
  ASSERT_EQ(Run({"sync"}).status, kDone);
  ASSERT_EQ(Run({"favorite", id}).status, kDone);
  cloud.Rule(R"({"method":"PATCH","path":"/media/","errorCode":"31084000","times":0})");
  EXPECT_EQ(Run({"sync"}).status, kFailed);
  const Json::Value failed = Last({"status"});
  EXPECT_EQ(failed["errorFile"].asString(), "refused.jpg");
  EXPECT_EQ(failed["errorItem"].asString(), id);
  EXPECT_EQ(failed["errorStep"].asString(), "SyncHelper::UploadModifyFiles");
  EXPECT_NE(failed["errorCause"].asString().find("31084000"), std::string::npos);
}

TEST_F(CliSyncTest, SyncOfANewProcessFailsWhenTheServerIsGone) {
  ASSERT_EQ(Login(), kDone);
  api.AddMedia("a.jpg");
  ASSERT_EQ(Run({"sync"}).status, kDone);
  cloud.Stop();
  EXPECT_EQ(Run({"sync"}).status, kFailed);
  EXPECT_NE(Last({"status"})["errorCause"].asString(), "");
  EXPECT_EQ(Documents({"ls"}).size(), 1u);
}

// What a version took that asked for no thumbnail: its row tells of the very bytes that
// lie on the disk, of which no picture can be made.
TEST_F(CliSyncTest, FileOfAnEarlierVersionWithoutAPictureGoesUp) {
  ASSERT_EQ(Login(), kDone);
  ASSERT_EQ(Run({"sync"}).status, kDone);
  WritePictures("Trip", 2);
  ASSERT_EQ(Run({"import", (folder / "Trip").string()}).status, kDone);
  const std::string broken = "\xff\xd8\xff\xe0 no picture comes of this";
  folder.Write("Trip/p0.jpg", broken);
  RemoveThumbnails();
  RewriteRow("p0.jpg", broken);
  const Json::Value synced = Last({"sync"});
  EXPECT_EQ(synced["errorStep"].asString(), "") << synced;
  EXPECT_EQ(Run({"sync"}).status, kDone);
  EXPECT_EQ(Last({"status"})["pendingUploads"], 0);
  std::map<std::string, std::int64_t> sizes;
  const Json::Value dump = api.Dump();
  for (const auto& file : dump["files"]) sizes[file["name"].asString()] = file["size"].asInt64();
  ASSERT_EQ(sizes.size(), 2u);
  EXPECT_EQ(sizes["p0.jpg"], static_cast<std::int64_t>(broken.size()));
  // What went up can be had again.
  const Finished download = Run({"download", IdOf("p0.jpg"), "--to", (folder / "again").string()});
  EXPECT_EQ(download.status, kDone) << download.output;
  std::ifstream again(folder / "again/p0.jpg", std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(again), {}), broken);
}

TEST_F(CliSyncTest, InterruptEndsASyncAndGivesTheLockBack) {
  ASSERT_EQ(Login(), kDone);
  ASSERT_EQ(Run({"sync"}).status, kDone);
  WritePictures("Trip", 3);
  Run({"import", (folder / "Trip").string()});
  cloud.ForgetRequests();
  cloud.Rule(R"({"method":"PUT","path":"/objects/","times":0,"delayMs":600000})");
  Process sync(Command({"sync"}));
  while (sync.Running() && Count("PUT", "objects/") == 0) {
  }
  ASSERT_TRUE(sync.Running());
  sync.Signal(SIGINT);
  EXPECT_EQ(sync.Wait(), kFailed);
  EXPECT_EQ(Count("DELETE", "locks"), 1u);
  cloud.ClearRules();
  EXPECT_EQ(Run({"sync"}).status, kDone);
  EXPECT_EQ(Last({"status"})["pendingUploads"], 0);
}

TEST_F(CliSyncTest, WatchTakesOverAChangeWhenTheServicePushesIt) {
  ASSERT_EQ(Login(), kDone);
  ASSERT_EQ(Run({"sync"}).status, kDone);
  Process watch(Command({"sync", "--watch"}));
  cloud.AwaitRequest("push");
  api.AddMedia("a.jpg");
  // A line for each cycle that ended unlike the one before; the timer's own would
  // come a minute later.
  const auto before = std::chrono::steady_clock::now();
  std::string line;
  const std::string version = "\"latestVersion\":" + std::to_string(api.Version()) + ",";
  do {
    line = watch.ReadLine();
  } while (!line.empty() && line.find(version) == std::string::npos);
  EXPECT_NE(line, "");
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(30));
  watch.Signal(SIGTERM);
  EXPECT_EQ(watch.Wait(), kDone);
  EXPECT_EQ(Documents({"ls"}).size(), 1u);
}

}  // namespace
