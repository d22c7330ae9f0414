// An import that is stopped or killed leaves a whole gallery.

#include <csignal>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <thread>

#include "clitest.h"

namespace {

constexpr int kPictures = 2000;

class CrashTest : public CliTest {
 protected:
  void SetUp() override { WritePictures("Trip", kPictures); }
  std::vector<std::string> ImportCommand() { return Command({"import", (folder / "Trip").string()}); }
  // Lets the import run until the gallery holds that many files.
  void WaitForRows(Process& import, std::size_t files) {
    while (import.Running() && Run({"ls"}).Lines().size() < files) {
    }
  }
};

TEST_F(CrashTest, KilledImportOpensWithWholeRowsAndIsCompletedByTheNext) {
  std::mt19937 random(5);
  for (int round = 0; round < 6; ++round) {
    Process import(ImportCommand());
    WaitForRows(import, static_cast<std::size_t>(round) * 250 + random() % 200);
    import.Signal(SIGKILL);
    (void)import.Wait();
    const auto files = Documents({"ls", "--all"});
    std::set<std::string> names;
    for (const auto& file : files) {
      EXPECT_EQ(file["size"].asUInt64() > 0, true);
      EXPECT_TRUE(names.insert(file["fileName"].asString()).second) << file["fileName"];
    }
  }
  (void)RunProgram(ImportCommand());
  std::set<std::string> names;
  for (const auto& file : Documents({"ls", "--all"})) names.insert(file["fileName"].asString());
  EXPECT_EQ(names.size(), static_cast<std::size_t>(kPictures));
  EXPECT_EQ(Documents({"status"})[0]["files"].asUInt64(), static_cast<std::uint64_t>(kPictures));
}

TEST_F(CrashTest, InterruptedImportStopsBetweenFiles) {
  Process import(ImportCommand());
  WaitForRows(import, 100);
  import.Signal(SIGINT);
  std::string output;
  EXPECT_EQ(import.Wait(&output), 1);
  EXPECT_NE(output.find("\"stopped\":true"), std::string::npos);
  const auto kept = Run({"ls"}).Lines().size();
  EXPECT_LT(kept, static_cast<std::size_t>(kPictures));
  (void)RunProgram(ImportCommand());
  EXPECT_EQ(Run({"ls"}).Lines().size(), static_cast<std::size_t>(kPictures));
}

// Whether a thread of the process has started another one.
bool HasChild(pid_t process) {
  std::error_code ended;
  for (const auto& thread :
       std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task", ended)) {
    std::string child;
    if (std::ifstream(thread.path() / "children") >> child) return true;
  }
  return false;
}

// The media library does not come back from such a film for a while.
TEST_F(CliTest, InterruptEndsAnImportInTheMiddleOfAFile) {
  folder.Write("Films/slow.mp4", VideoOfTracks(5000));
  Process import(Command({"import", (folder / "Films/slow.mp4").string()}));
  while (import.Running() && !HasChild(import.Id())) std::this_thread::yield();
  import.Signal(SIGINT);
  std::string output;
  EXPECT_EQ(import.Wait(&output), 1);
  EXPECT_NE(output.find("\"stopped\":true"), std::string::npos) << output;
  EXPECT_EQ(output.find("IDS_GALLERY"), std::string::npos) << output;
}

}  // namespace
