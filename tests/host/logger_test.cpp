#include "host/base/logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <fstream>

#include "common/platform/clock.h"
#include "tests/support/temporaryfolder.h"

namespace {

namespace fs = std::filesystem;
using Logger::CloudLogger;
using Logger::Severity;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class LoggerTest : public ::testing::Test {
 protected:
  ~LoggerTest() override {
    log.Close();
    log.SetLevel(Severity::Information);
  }

  std::vector<std::string> Lines(const char* name = "logs/client.log") {
    log.ReportLog();
    std::ifstream file(folder / name);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
  }

  TemporaryFolder folder;
  CloudLogger& log = *CloudLogger::GetInstance();
};

TEST_F(LoggerTest, LineHoldsModuleTagLineAndText) {
  ASSERT_TRUE(log.Open(folder / "logs/client.log"));
  log.Output("Gallery", Severity::Information, 42, "CHeader::Init", "param is empty!");
  ASSERT_THAT(Lines(), SizeIs(1));
  EXPECT_THAT(Lines()[0], EndsWith(" Gallery CHeader::Init:42 param is empty!"));
  EXPECT_THAT(Lines()[0], testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:.]{12} I \\[[0-9]+\\] .*"));
}

TEST_F(LoggerTest, LinesBelowTheLevelAreDropped) {
  ASSERT_TRUE(log.Open(folder / "logs/client.log"));
  log.SetLevel(Severity::Warning);
  EXPECT_FALSE(log.Enabled(Severity::Information));
  EXPECT_TRUE(log.Enabled(Severity::Warning));
  log.Output("m", Severity::Information, 1, "t", "dropped");
  log.Output("m", Severity::Error, 1, "t", "kept");
  ASSERT_THAT(Lines(), SizeIs(1));
  EXPECT_THAT(Lines()[0], EndsWith("kept"));
}

TEST_F(LoggerTest, DebugNeedsToBeAskedFor) {
  ASSERT_TRUE(log.Open(folder / "logs/client.log"));
  EXPECT_FALSE(log.Enabled(Severity::Debug));
  log.SetLevel(Severity::Debug);
  log.Output("m", Severity::Debug, 1, "t", "now");
  EXPECT_THAT(Lines(), SizeIs(1));
}

TEST_F(LoggerTest, SecretsAndForgedLinesNeverArrive) {
  ASSERT_TRUE(log.Open(folder / "logs/client.log"));
  log.Output("m", Severity::Information, 1, "t", "Authorization: Bearer s3cr3t\nnext \x1b[2J");
  ASSERT_THAT(Lines(), SizeIs(1));
  EXPECT_THAT(Lines()[0], EndsWith("Authorization: ***\\nnext \\x1B[2J"));
}

TEST_F(LoggerTest, RotationKeepsTheNewestFiles) {
  ASSERT_TRUE(log.Open(folder / "logs/client.log", {.fileBytes = 1000, .files = 4}));
  const std::string text(200, 'x');
  for (int i = 0; i < 100; ++i) log.Output("m", Severity::Information, i, "t", text);
  log.Close();
  std::size_t files = 0;
  for (const auto& entry : fs::directory_iterator(folder / "logs")) {
    if (entry.path().string().find("operations") != std::string::npos) continue;
    ++files;
    EXPECT_LE(entry.file_size(), 1000U);
  }
  EXPECT_EQ(files, 4U);
  EXPECT_THAT(Lines().back(), HasSubstr("t:99 "));
}

TEST_F(LoggerTest, ErrorsGoToStandardErrorWhileClosed) {
  testing::internal::CaptureStderr();
  log.Output("m", Severity::Warning, 1, "t", "lost");
  log.Output("m", Severity::Error, 1, "Tag::Method", "password=abc failed");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Tag::Method: password=*** failed\n");
}

TEST_F(LoggerTest, UnusableFileIsReported) {
  testing::internal::CaptureStderr();
  EXPECT_FALSE(log.Open("/proc/none/client.log"));
  EXPECT_FALSE(log.Open("/proc/client.log"));
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("Cannot open the log /proc/none/client.log"));
  EXPECT_FALSE(log.Enabled(Severity::Information));
}

class FixedClock final : public platform::Clock {
 public:
  std::int64_t Ticks() const override { return 17'000'000'000'000'000; }
};

TEST_F(LoggerTest, OperationIsOneJsonLine) {
  const FixedClock clock;
  platform::Clock::Replace(&clock);
  ASSERT_TRUE(log.Open(folder / "logs/client.log"));
  Logger::OutputOperationLog(160, 1, 0, {{"total", "0"}, {"text", "a \"quote\"\n\xE4\xB8\xAD"}});
  platform::Clock::Replace(nullptr);
  EXPECT_THAT(Lines(), IsEmpty());
  const auto lines = Lines("logs/client-operations.log");
  ASSERT_THAT(lines, SizeIs(1));
  Json::Value entry;
  std::istringstream(lines[0]) >> entry;
  EXPECT_EQ(entry["time"].asInt64(), 1'700'000'000'000);
  EXPECT_EQ(entry["event"].asInt(), 160);
  EXPECT_EQ(entry["type"].asInt(), 1);
  EXPECT_EQ(entry["action"].asInt(), 0);
  EXPECT_EQ(entry["values"]["total"].asString(), "0");
  EXPECT_EQ(entry["values"]["text"].asString(), "a \"quote\"\n\xE4\xB8\xAD");
}

TEST_F(LoggerTest, ManyThreadsMayWriteWhileTheFileChanges) {
  ASSERT_TRUE(log.Open(folder / "logs/client.log"));
  std::vector<std::thread> writers;
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([this, i] {
      for (int line = 0; line < 200; ++line) log.Output("m", Severity::Warning, line, "t", std::to_string(i));
    });
  }
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(log.Open(folder / "logs/second.log"));
  for (auto& writer : writers) writer.join();
  log.Output("m", Severity::Warning, 1, "t", "last");
  EXPECT_THAT(Lines("logs/second.log").back(), EndsWith("last"));
}

}  // namespace
