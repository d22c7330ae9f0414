// Uploads and downloads on the command line, with the real photo cloud.

#include <csignal>
#include <fstream>

#include "clitest.h"
#include "cloudserver.h"

namespace {

constexpr int kDone = 0, kFailed = 1, kUsage = 2;

class CliTransfersTest : public CliTest {
 protected:
  void SetUp() override {
    folder.Write("password", "wonderland\n");
    ASSERT_EQ(Run({"login", "--server", server.Url(), "--user", "alice", "--password-file",
                   (folder / "password").string()})
                  .status,
              kDone);
  }
  // So many pictures in the cloud and here.
  void Upload(int count) {
    WritePictures("pictures", count);
    ASSERT_EQ(Run({"import", (folder / "pictures").string()}).status, kDone);
    ASSERT_EQ(Run({"sync"}).status, kDone);
  }
  std::string Target(const std::string& name = "target") const { return (folder / name).string(); }
  std::string Read(const std::string& path) const {
    std::ifstream file(folder / path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::size_t CountTransfers(const std::string& status) {
    const auto list = Documents({"transfers"});
    return static_cast<std::size_t>(std::count_if(
        list.begin(), list.end(), [&](const Json::Value& json) { return json["status"] == status; }));
  }

  CloudServer server;
};

TEST_F(CliTransfersTest, EverythingComesBackAsItWasAndOnlyOnce) {
  Upload(3);
  const auto arrived = Documents({"download", "--all", "--to", Target()});
  ASSERT_EQ(arrived.size(), 3u);
  for (int i = 0; i < 3; ++i) {
    const std::string name = "/p" + std::to_string(i) + ".jpg";
    EXPECT_FALSE(Read("target" + name).empty());
    EXPECT_EQ(Read("target" + name), Read("pictures" + name));
  }
  EXPECT_EQ(CountTransfers("done"), 3u);
  EXPECT_TRUE(Documents({"download", "--all", "--to", Target()}).empty());
}

TEST_F(CliTransfersTest, FileOfTheUserIsNotWrittenOver) {
  Upload(1);
  folder.Write("target/p0.jpg", "mine");
  ASSERT_EQ(Run({"download", IdOf("p0.jpg"), "--to", Target()}).status, kDone);
  EXPECT_EQ(Read("target/p0.jpg"), "mine");
  EXPECT_EQ(Read("target/p0 (1).jpg"), Read("pictures/p0.jpg"));
}

TEST_F(CliTransfersTest, FailureNamesFileStepAndCauseAndCanBeRetried) {
  Upload(1);
  const std::string id = IdOf("p0.jpg");
  // No outage, which would be tried again for a minute.
  server.Fault(R"({"method":"GET","path":"/media/","status":410})");
  const Finished failed = Run({"download", id, "--to", Target()});
  EXPECT_EQ(failed.status, kFailed);
  ASSERT_EQ(failed.Lines().size(), 1u) << failed.output;
  EXPECT_NE(failed.output.find("\"fileName\":\"p0.jpg\""), std::string::npos) << failed.output;
  EXPECT_NE(failed.output.find("\"step\":\"GalleryDownloadTask"), std::string::npos) << failed.output;
  EXPECT_EQ(CountTransfers("unfinished"), 1u);
  // A process that starts later tells it too, until the download has arrived.
  const Json::Value told = Documents({"transfers"})[0], printed = Parsed(failed.output);
  for (const char* key : {"error", "step", "text", "cause"}) EXPECT_EQ(told[key], printed[key]) << told;
  EXPECT_NE(told["cause"].asString().find("status:410"), std::string::npos) << told;
  server.ClearFaults();
  EXPECT_EQ(Run({"retry"}).status, kDone);
  EXPECT_FALSE(Documents({"transfers"})[0].isMember("error"));
  EXPECT_EQ(Read("target/p0.jpg"), Read("pictures/p0.jpg"));
  EXPECT_EQ(CountTransfers("unfinished"), 0u);
}

TEST_F(CliTransfersTest, OutageAtTheFirstRequestIsGotOver) {
  Upload(1);
  server.Fault(R"({"method":"GET","path":"/media/","status":503})");
  EXPECT_EQ(Run({"download", "--all", "--to", Target()}).status, kDone);
  EXPECT_EQ(Read("target/p0.jpg"), Read("pictures/p0.jpg"));
}

// The run ends with the refusal, and the next one begins two seconds later.
TEST_F(CliTransfersTest, UploadGetsOverAnOutageByItself) {
  WritePictures("pictures", 1);
  ASSERT_EQ(Run({"import", (folder / "pictures").string()}).status, kDone);
  server.Fault(R"({"method":"PUT","path":"/objects/","status":503})");
  const Finished synced = Run({"sync"});
  EXPECT_EQ(synced.status, kDone) << synced.output;
  EXPECT_EQ(Documents({"status"})[0]["pendingUploads"].asInt(), 0);
}

TEST_F(CliTransfersTest, FullDiskIsToldWithFileAndCauseAndARepeatWithSpaceFinishes) {
  // Readers of pictures stop at the end mark; what is behind it travels along.
  const std::string picture = Picture(0) + std::string(2 << 20, 'x');
  folder.Write("pictures/large.jpg", picture);
  ASSERT_EQ(Run({"import", (folder / "pictures").string()}).status, kDone);
  ASSERT_EQ(Run({"sync"}).status, kDone);
  // 2048 blocks of 512 bytes: room for database and log, not for the picture.
  std::vector<std::string> onFullDisk = {"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 2048; exec \"$@\"", "sh"};
  const auto download = Command({"download", "--all", "--to", Target()});
  onFullDisk.insert(onFullDisk.end(), download.begin(), download.end());
  const Finished failed = RunProgram(onFullDisk);
  EXPECT_EQ(failed.status, kFailed);
  EXPECT_NE(failed.output.find("\"fileName\":\"large.jpg\""), std::string::npos) << failed.output;
  EXPECT_NE(failed.output.find("\"error\":38"), std::string::npos) << failed.output;
  EXPECT_NE(failed.output.find("file write failed"), std::string::npos) << failed.output;
  EXPECT_FALSE(std::filesystem::exists(folder / "target/large.jpg"));
  EXPECT_EQ(Run({"retry"}).status, kDone);
  EXPECT_TRUE(Read("target/large.jpg") == picture);
}

TEST_F(CliTransfersTest, PauseHoldsUploadsAndDownloadsUntilTheyAreResumed) {
  Upload(1);
  const std::string id = IdOf("p0.jpg");
  ASSERT_EQ(Run({"pause"}).status, kDone);
  EXPECT_EQ(Run({"download", id, "--to", Target()}).status, kFailed);
  folder.Write("more/late.jpg", Picture(9));
  ASSERT_EQ(Run({"import", (folder / "more").string()}).status, kDone);
  EXPECT_EQ(Run({"sync"}).status, kDone);
  EXPECT_EQ(CountTransfers("paused"), 1u);
  EXPECT_EQ(Run({"resume"}).status, kDone);
  EXPECT_EQ(CountTransfers("waiting"), 1u);
  EXPECT_EQ(Run({"sync"}).status, kDone);
  EXPECT_EQ(CountTransfers("waiting"), 0u);
}

TEST_F(CliTransfersTest, InterruptedDownloadKeepsItsRow) {
  Upload(1);
  const std::string id = IdOf("p0.jpg");
  server.ForgetRequests();
  server.Fault(R"({"method":"GET","path":"/objects/","delayMs":60000})");
  Process download(Command({"download", id, "--to", Target()}));
  const auto asksForContent = [this] {
    const auto seen = server.Requests();
    return std::any_of(seen.begin(), seen.end(),
                       [](const std::string& line) { return line.find("/objects/") != std::string::npos; });
  };
  while (!asksForContent()) std::this_thread::yield();
  download.Signal(SIGINT);
  EXPECT_EQ(download.Wait(), kFailed);
  EXPECT_EQ(CountTransfers("unfinished"), 1u);
  server.ClearFaults();
  EXPECT_EQ(Run({"resume"}).status, kDone);
  EXPECT_EQ(Read("target/p0.jpg"), Read("pictures/p0.jpg"));
}

TEST_F(CliTransfersTest, UnknownAndLocalFilesAreNamed) {
  EXPECT_EQ(Run({"download", "nothing", "--to", Target()}).status, kFailed);
  EXPECT_EQ(Run({"download", "--to", Target()}).status, kUsage);
  EXPECT_EQ(Run({"download", "x", "--all", "--to", Target()}).status, kUsage);
  EXPECT_EQ(Run({"download", "x"}).status, kUsage);
  EXPECT_EQ(RunProgram(Command({"download", "--all", "--to", Target()}, "nobody")).status, kFailed);
}

}  // namespace
