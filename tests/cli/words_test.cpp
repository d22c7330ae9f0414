// What a user reads when the photo cloud does not do what was asked.

#include "accountapi.h"
#include "clitest.h"

namespace {

constexpr int kDone = 0, kFailed = 1;

class WordsTest : public CliTest {
 protected:
  // As people read it, standard error included.
  Finished Read(const std::vector<std::string>& words) {
    std::vector<std::string> command = {"/bin/sh",  "-c",        "exec \"$@\" 2>&1",           "sh",
                                        ZENTARACTL, "--profile", (folder / "profile").string()};
    command.insert(command.end(), words.begin(), words.end());
    return RunProgram(command);
  }
  Finished Login(const std::string& url, const std::string& ca = {}) {
    folder.Write("password", "wonderland\n");
    std::vector<std::string> words = {
        "login", "--server", url, "--user", "alice", "--password-file", (folder / "password").string()};
    if (!ca.empty()) words.insert(words.end(), {"--ca", (folder / ca).string()});
    return Read(words);
  }
  static bool Has(const Finished& finished, const std::string& words) {
    return finished.output.find(words) != std::string::npos;
  }
};

class CloudWordsTest : public WordsTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(Login(cloud.Url()).status, kDone);
    api.AddMedia("a.jpg");
    ASSERT_EQ(Run({"sync"}).status, kDone);
  }
  // The sync and, later, the status say so, without names of the program's inside.
  void ExpectTold(const std::string& words, const char* id) {
    const Finished sync = Read({"sync"}), status = Read({"status"});
    EXPECT_EQ(sync.status, kFailed);
    for (const Finished& said : {sync, status}) {
      EXPECT_TRUE(Has(said, words)) << said.output;
      EXPECT_FALSE(Has(said, "::")) << said.output;
    }
    EXPECT_EQ(Documents({"status"}).back()["errorWords"].asString(), id);
  }

  CloudProcess cloud;
  AccountApi api{cloud};
};

TEST_F(CloudWordsTest, ServiceThatIsGone) {
  cloud.Stop();
  ExpectTold("The photo cloud cannot be reached.", "IDS_CLOUD_UNREACHABLE");
}

TEST_F(CloudWordsTest, SessionThatHasEnded) {
  cloud.Rule(R"({"path":".","status":401,"times":0})");
  ExpectTold("The session at the photo cloud has ended", "IDS_CLOUD_SESSION_ENDED");
}

TEST_F(CloudWordsTest, ServiceThatFails) {
  cloud.Rule(R"({"path":".","status":500,"times":0})");
  ExpectTold("The photo cloud has an error of its own", "IDS_CLOUD_FAILED");
}

TEST_F(CloudWordsTest, ErrorThatIsOverIsNotTold) {
  cloud.Rule(R"({"path":".","status":500,"times":0})");
  EXPECT_EQ(Run({"sync"}).status, kFailed);
  cloud.ClearRules();
  EXPECT_EQ(Run({"sync"}).status, kDone);
  EXPECT_FALSE(Has(Read({"status"}), "error"));
}

TEST_F(CloudWordsTest, PictureWithoutReadableContent) {
  const std::string file = IdOf("a.jpg");
  const Finished download = Read({"download", file, "--to", (folder / "target").string()});
  EXPECT_EQ(download.status, kFailed);
  EXPECT_TRUE(Has(download, "a.jpg: The picture has no readable content")) << download.output;
  EXPECT_FALSE(Has(download, "fileid")) << download.output;
  EXPECT_FALSE(Has(download, "{")) << download.output;
}

// What no common reason stands for: the words are the user's, the cause is in JSON.
TEST_F(CloudWordsTest, RefusalOfOneRequest) {
  cloud.Rule(R"({"path":"/cloudPhoto/v1/changes","status":400,"times":0})");
  api.AddMedia("b.jpg");
  const Finished sync = Read({"sync"}), status = Read({"status"});
  EXPECT_EQ(sync.status, kFailed);
  for (const Finished& said : {sync, status}) {
    EXPECT_TRUE(Has(said, "Something could not be brought in step with the photo cloud")) << said.output;
    EXPECT_FALSE(Has(said, "cloudVersion")) << said.output;
  }
  EXPECT_NE(Documents({"status"}).back()["errorCause"].asString(), "");
}

// A service whose owner has made its certificate himself.
class StrangeCertificateTest : public WordsTest {
 protected:
  void SetUp() override {
    MakeCertificate("own");
    folder.Write("password", "wonderland\n");
    ASSERT_EQ(RunProgram({PHOTOCLOUD_PROGRAM, "user", "add", "alice", "--data", (folder / "cloud").string(),
                          "--fast-password", "--password-file", (folder / "password").string()})
                  .status,
              kDone);
    server = std::make_unique<photocloud::testing::ServerProcess>(
        PHOTOCLOUD_PROGRAM, (folder / "cloud").string(),
        std::vector<std::string>{"--tls-cert", (folder / "own.pem").string(), "--tls-key",
                                 (folder / "own.key").string()});
    url = "https://127.0.0.1:" + std::to_string(server->Port());
  }
  void MakeCertificate(const std::string& name) {
    ASSERT_EQ(RunProgram({"/bin/sh", "-c",
                          "openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=127.0.0.1 -addext "
                          "subjectAltName=IP:127.0.0.1 -keyout \"$1.key\" -out \"$1.pem\" 2>&1",
                          "sh", (folder / name).string()})
                  .status,
              kDone);
  }

  std::unique_ptr<photocloud::testing::ServerProcess> server;
  std::string url;
};

TEST_F(StrangeCertificateTest, IsCalledNotTrustedWithItsFingerprint) {
  // "sha256 Fingerprint=AB:CD:..."
  const std::string told = RunProgram({"/bin/sh", "-c", "openssl x509 -in \"$1\" -noout -fingerprint -sha256",
                                       "sh", (folder / "own.pem").string()})
                               .Lines()
                               .at(0);
  const Finished login = Login(url);
  EXPECT_EQ(login.status, kFailed);
  EXPECT_TRUE(Has(login, "certificate of the photo cloud is not trusted")) << login.output;
  EXPECT_TRUE(Has(login, told.substr(told.find('=') + 1))) << login.output << told;
}

TEST_F(StrangeCertificateTest, IsTrustedWhenTheUserSaysSo) {
  ASSERT_EQ(Login(url, "own.pem").status, kDone);
  std::filesystem::remove(folder / "own.pem");  // The profile keeps its own copy.
  WritePictures("Trip", 1);
  ASSERT_EQ(Run({"import", (folder / "Trip").string()}).status, kDone);
  EXPECT_EQ(Run({"sync"}).status, kDone);
}

TEST_F(StrangeCertificateTest, AnotherOneIsStillNotTrustedAndChangesNothing) {
  MakeCertificate("other");
  EXPECT_EQ(Login(url, "other.pem").status, kFailed);
  EXPECT_EQ(Login(url, "password").status, kFailed);
  ASSERT_EQ(Login(url, "own.pem").status, kDone);
  EXPECT_EQ(Login(url, "other.pem").status, kFailed);
  EXPECT_EQ(Run({"sync"}).status, kDone);
}

}  // namespace
