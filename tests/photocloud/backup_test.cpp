// The real program's backups, and the folders that it takes.

#include <signal.h>
#include <sys/stat.h>

#include <fstream>

#include "photocloud/base/json.h"
#include "serverprocess.h"
#include "testcloud.h"
#include "testhttp.h"

namespace photocloud::testing {
namespace {

namespace fs = std::filesystem;

class BackupTest : public ::testing::Test {
 protected:
  BackupTest() {
    EXPECT_EQ(Run({"user", "add", "--data", data, "--fast-password", "--login-secret-file", "-", "anna"},
                  "secret\n")
                  .status,
              0);
  }

  ProgramResult Run(std::vector<std::string> arguments, const std::string& input = "") {
    arguments.insert(arguments.begin(), PHOTOCLOUD_PROGRAM);
    return RunProgram(arguments, input);
  }
  ProgramResult Backup(const std::string& to) { return Run({"backup", "--data", data, "--to", to}); }
  std::string Users(const std::string& folder) { return Run({"user", "list", "--data", folder}).output; }

  // Serves a folder, lets `work` talk to it, and kills it.
  void Serve(const std::string& folder, const std::function<void(HttpConnection&)>& work) {
    ServerProcess server(PHOTOCLOUD_PROGRAM, folder);
    ASSERT_GT(server.Port(), 0);
    HttpConnection http(server.Port());
    const HttpReply login =
        http.Call("POST", "/cloudPhoto/v1/auth/login", R"({"userName":"anna","password":"secret"})");
    headers["Authorization"] = "Bearer " + login.json["accessToken"].asString();
    headers["x-zt-lock"] = http.Call("GET", "/cloudPhoto/v1/locks", "", headers).json["token"].asString();
    work(http);
    server.Signal(SIGKILL);
    server.Wait();
  }
  void MakeAlbums(HttpConnection& http, int count) {
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(http.Call("POST", "/cloudPhoto/v1/albums",
                          R"({"albumName":"album )" + std::to_string(i) + "\"}", headers)
                    .status,
                200);
    }
  }

  static int RightsOf(const fs::path& path) {
    return static_cast<int>(fs::symlink_status(path).permissions() & fs::perms::mask);
  }

  TempFolder folder;
  const std::string data = folder.path / "data";
  const std::string target = folder.path / "backup";
  std::map<std::string, std::string> headers;
};

TEST_F(BackupTest, FolderOfTheServiceIsRefusedUnderEveryName) {
  fs::create_directory_symlink(data, folder.path / "link");
  fs::create_directory(folder.path / "inner");
  fs::create_symlink(data + "/photocloud.db", folder.path / "inner" / "photocloud.db");
  for (const std::string& name : {data, data + "/.", folder.path.string() + "/inner/../data",
                                  data + "/objects", data + "/objects/incoming", data + "/objects/new/folder",
                                  (folder.path / "link").string(), (folder.path / "inner").string()}) {
    EXPECT_NE(Backup(name).status, 0) << name;
  }
  EXPECT_NE(Users(data).find("anna"), std::string::npos);
  Serve(data, [&](HttpConnection& http) { MakeAlbums(http, 1); });
}

TEST_F(BackupTest, BackupOverAFolderThatWasServedIsWhole) {
  ASSERT_EQ(Backup(target).status, 0);
  Serve(target, [&](HttpConnection& http) { MakeAlbums(http, 30); });
  ASSERT_TRUE(fs::exists(target + "/photocloud.db-wal"));
  Serve(data, [&](HttpConnection& http) { MakeAlbums(http, 3); });
  ASSERT_EQ(Backup(target).status, 0);
  Serve(target, [&](HttpConnection& http) {
    EXPECT_EQ(
        http.Call("GET", "/cloudPhoto/v1/albums?queryParam=albumType%3D0", "", headers).json["albums"].size(),
        5u);
  });
  EXPECT_EQ(Run({"check", "--data", target}).status, 0);
}

TEST_F(BackupTest, FolderThatIsServedIsRefused) {
  ASSERT_EQ(Backup(target).status, 0);
  Serve(target, [&](HttpConnection& http) {
    EXPECT_NE(Backup(target).status, 0);
    MakeAlbums(http, 1);
  });
}

TEST_F(BackupTest, BackupIsForItsOwnerWhateverTheMask) {
  fs::create_directory(target);
  fs::permissions(target, fs::perms(0755));
  const std::string command =
      "umask 0; " + std::string(PHOTOCLOUD_PROGRAM) + " backup --data " + data + " --to " + target;
  ASSERT_EQ(RunProgram({"/bin/sh", "-c", command}).status, 0);
  EXPECT_EQ(RightsOf(target), 0700);
  EXPECT_EQ(RightsOf(target + "/photocloud.db"), 0600);
  for (const auto& entry : fs::recursive_directory_iterator(target)) {
    EXPECT_EQ(RightsOf(entry.path()) & 077, 0) << entry.path();
  }
}

TEST_F(BackupTest, BackupCannotSignForTheService) {
  std::string link;
  Serve(data, [&](HttpConnection& http) {
    const HttpReply made = http.Call("POST", "/cloudPhoto/v1/media?mode=temp",
                                     WriteJson(UploadBody("a.jpg", "content", "s", "l")), headers);
    ASSERT_EQ(made.status, 200) << made.body;
    link = TargetOf(
        made.json["attachments"][0]["asset"]["resource"]["objects"][0]["downloadUrl"]["url"].asString());
    EXPECT_EQ(http.Call("GET", link).status, 404);
  });
  ASSERT_EQ(Backup(target).status, 0);
  EXPECT_EQ(SqliteStore(target + "/photocloud.db").FindAccountByName("anna")->userName, "anna");
  Serve(target, [&](HttpConnection& http) { EXPECT_EQ(http.Call("GET", link).status, 403); });
  Serve(data, [&](HttpConnection& http) { EXPECT_EQ(http.Call("GET", link).status, 404); });
}

TEST_F(BackupTest, DamagedObjectIsNotCopiedAsASoundOne) {
  std::string sha256;
  {
    SqliteStore store(data + "/photocloud.db");
    FolderObjectStore objects(data + "/objects");
    sha256 = std::string(64, 'a');
    ASSERT_TRUE(objects.Put(1, sha256, "these bytes have another digest"));
    store.PutObject(1, {sha256, std::string(32, 'b'), 31, true});
  }
  EXPECT_NE(Backup(target).status, 0);
}

TEST_F(BackupTest, MistypedFolderIsNotMade) {
  const std::string typo = folder.path / "dta";
  EXPECT_NE(Run({"user", "list", "--data", typo}).status, 0);
  EXPECT_NE(Run({"user", "disable", "--data", typo, "anna"}).status, 0);
  EXPECT_NE(Run({"check", "--data", typo}).status, 0);
  EXPECT_NE(Run({"backup", "--data", typo, "--to", target}).status, 0);
  EXPECT_FALSE(fs::exists(typo));
}

TEST_F(BackupTest, SecondServerOnAFolderRefusesToStart) {
  Serve(data, [&](HttpConnection& http) {
    ServerProcess second(PHOTOCLOUD_PROGRAM, data);
    EXPECT_EQ(second.FirstLine(), "");
    EXPECT_EQ(second.Wait(), 1);
    MakeAlbums(http, 1);
  });
  // The lock went with the killed process.
  Serve(data, [&](HttpConnection& http) { MakeAlbums(http, 0); });
}

}  // namespace
}  // namespace photocloud::testing
