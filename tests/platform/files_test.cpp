#include "common/platform/files.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <fstream>

#include "filesizelimit.h"
#include "tests/support/temporaryfolder.h"

namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

void Put(const fs::path& path, std::string_view content = "x") {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

std::string Content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> Names(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

unsigned RightsOf(const fs::path& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0);
  return status.st_mode & 0777;
}

class FilesTest : public ::testing::Test {
 protected:
  struct Walked {
    std::vector<std::string> files;
    std::vector<std::string> failures;
  };

  Walked Walk() const {
    Walked walked;
    platform::WalkFiles(
        folder.Path(),
        [&](const fs::path& path) {
          walked.files.push_back(path.lexically_relative(folder.Path()));
          return true;
        },
        [&](const fs::path& path, std::error_code) {
          walked.failures.push_back(path.lexically_relative(folder.Path()));
        });
    return walked;
  }

  TemporaryFolder folder;
};

TEST_F(FilesTest, ReplaceWritesTheWholeContentAndLeavesNothingBeside) {
  const fs::path target = folder / "settings.json";
  const std::string content("binary\0content", 14);
  ASSERT_FALSE(platform::ReplaceAtomically(target, "old"));
  ASSERT_FALSE(platform::ReplaceAtomically(target, content));
  EXPECT_EQ(Content(target), content);
  EXPECT_THAT(Names(folder.Path()), ElementsAre("settings.json"));
}

TEST_F(FilesTest, FailedReplaceLeavesTheOldContent) {
  const fs::path target = folder / "target";
  Put(target / "occupied");  // A folder that holds something cannot be replaced by a file.
  EXPECT_TRUE(platform::ReplaceAtomically(target, "new"));
  EXPECT_THAT(Names(folder.Path()), ElementsAre("target"));
  EXPECT_EQ(Content(target / "occupied"), "x");
}

TEST_F(FilesTest, ReplaceInAMissingFolderFails) {
  EXPECT_EQ(platform::ReplaceAtomically(folder / "none/file", "x"), std::errc::no_such_file_or_directory);
}

TEST_F(FilesTest, ReplaceWhereNobodyMayWriteFails) {
  EXPECT_TRUE(platform::ReplaceAtomically("/proc/self/x", "x"));
  EXPECT_TRUE(platform::CreateAtomically("/proc/self/x", "x"));
}

TEST_F(FilesTest, ReplaceBeyondTheSpaceKeepsTheOldContent) {
  const fs::path target = folder / "file";
  Put(target, "old");
  {
    const FileSizeLimit limit(4096);
    EXPECT_TRUE(platform::ReplaceAtomically(target, std::string(100'000, 'n')));
  }
  EXPECT_EQ(Content(target), "old");
  EXPECT_THAT(Names(folder.Path()), ElementsAre("file"));
}

TEST_F(FilesTest, ReplaceTakesTheLongestName) {
  const fs::path target = folder / std::string(255, 'n');
  EXPECT_FALSE(platform::ReplaceAtomically(target, "x"));
  EXPECT_EQ(Content(target), "x");
}

TEST_F(FilesTest, ReplaceKeepsRightsAndNarrowsThemWhenAsked) {
  const fs::path target = folder / "file";
  Put(target);
  fs::permissions(target, fs::perms{0640});
  ASSERT_FALSE(platform::ReplaceAtomically(target, "new"));
  EXPECT_EQ(RightsOf(target), 0640U);
  ASSERT_FALSE(platform::ReplaceAtomically(target, "new", platform::Rights::OwnerOnly));
  EXPECT_EQ(RightsOf(target), 0600U);
}

TEST_F(FilesTest, ReplaceFollowsALink) {
  Put(folder / "real/file", "old");
  fs::create_symlink("real/file", folder / "link");
  ASSERT_FALSE(platform::ReplaceAtomically(folder / "link", "new"));
  EXPECT_TRUE(fs::is_symlink(folder / "link"));
  EXPECT_EQ(Content(folder / "real/file"), "new");
}

TEST_F(FilesTest, CreateSucceedsForOneOfMany) {
  const fs::path target = folder / "account.json";
  std::atomic<int> succeeded = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, i] {
      const auto error = platform::CreateAtomically(target, std::to_string(i), platform::Rights::OwnerOnly);
      if (!error) ++succeeded;
      EXPECT_TRUE(!error || error == std::errc::file_exists) << error.message();
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(succeeded, 1);
  EXPECT_THAT(Names(folder.Path()), ElementsAre("account.json"));
  EXPECT_EQ(RightsOf(target), 0600U);
}

TEST_F(FilesTest, RenameOverReplacesTheTarget) {
  Put(folder / "finished", "new");
  Put(folder / "target", "old");
  EXPECT_FALSE(platform::RenameOver(folder / "finished", folder / "target"));
  EXPECT_EQ(Content(folder / "target"), "new");
  EXPECT_THAT(Names(folder.Path()), ElementsAre("target"));
  EXPECT_TRUE(platform::RenameOver(folder / "finished", folder / "target"));
  EXPECT_EQ(Content(folder / "target"), "new");
}

TEST_F(FilesTest, MakeFolderMakesParentsForTheOwnerOnly) {
  EXPECT_FALSE(platform::MakeFolder(folder / "a/b/"));
  EXPECT_EQ(RightsOf(folder / "a"), 0700U);
  EXPECT_EQ(RightsOf(folder / "a/b"), 0700U);
  EXPECT_FALSE(platform::MakeFolder(folder / "a/b"));
  Put(folder / "file");
  EXPECT_EQ(platform::MakeFolder(folder / "file"), std::errc::not_a_directory);
  EXPECT_TRUE(platform::MakeFolder(folder / "file/below"));
  EXPECT_TRUE(platform::MakeFolder("/proc/none"));
}

TEST_F(FilesTest, FreeSpaceIsThatOfTheNearestParent) {
  struct statvfs status {};
  ASSERT_EQ(::statvfs(folder.Path().c_str(), &status), 0);
  const double expected = static_cast<double>(status.f_bavail) * static_cast<double>(status.f_frsize);
  // Others write to the same disk meanwhile.
  EXPECT_NEAR(static_cast<double>(platform::FreeSpace(folder / "not/there")), expected, 0.2 * expected);
  EXPECT_GT(platform::FreeSpace(""), 0U);
  EXPECT_EQ(platform::FreeSpace("/proc/self"), 0U);
}

TEST_F(FilesTest, AccessTestsNeedTheFile) {
  Put(folder / "file");
  EXPECT_TRUE(platform::CanRead(folder / "file"));
  EXPECT_TRUE(platform::CanWrite(folder / "file"));
  EXPECT_FALSE(platform::CanRead(folder / "none"));
  EXPECT_FALSE(platform::CanWrite(folder / "none"));
}

TEST_F(FilesTest, ReadFileStopsAtTheLimit) {
  Put(folder / "file", "12345");
  std::string content = "before";
  EXPECT_FALSE(platform::ReadFile(folder / "file", content, 5));
  EXPECT_EQ(content, "12345");
  EXPECT_EQ(platform::ReadFile(folder / "file", content, 4), std::errc::file_too_large);
  EXPECT_EQ(content, "");
}

TEST_F(FilesTest, ReadFileRefusesWhatIsNoFile) {
  std::string content = "before";
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(platform::ReadFile(folder / "pipe", content), std::errc::invalid_argument);
  EXPECT_EQ(platform::ReadFile(folder.Path(), content), std::errc::is_a_directory);
  EXPECT_EQ(platform::ReadFile(folder / "none", content), std::errc::no_such_file_or_directory);
  EXPECT_EQ(content, "");
}

TEST_F(FilesTest, PassesHaveTheAskedSizeAndEndWhenTold) {
  Put(folder / "file", "abcdefgh");
  std::vector<std::string> passes;
  EXPECT_FALSE(platform::ReadInPasses(folder / "file", 3, [&](std::string_view pass) {
    passes.emplace_back(pass);
    return true;
  }));
  EXPECT_THAT(passes, ElementsAre("abc", "def", "gh"));
  passes.clear();
  EXPECT_FALSE(platform::ReadInPasses(folder / "file", 3, [&](std::string_view pass) {
    passes.emplace_back(pass);
    return false;
  }));
  EXPECT_THAT(passes, ElementsAre("abc"));
}

TEST_F(FilesTest, WalkGoesByNameWithinEachFolder) {
  for (const char* name : {"c.jpg", "b/2.jpg", "b/1.jpg", "a.jpg", "b/sub/0.jpg"}) Put(folder / name);
  const Walked walked = Walk();
  EXPECT_THAT(walked.files, ElementsAre("a.jpg", "b/1.jpg", "b/2.jpg", "b/sub/0.jpg", "c.jpg"));
  EXPECT_THAT(walked.failures, IsEmpty());
}

TEST_F(FilesTest, WalkEndsInALoopOfLinks) {
  Put(folder / "a/one.jpg");
  Put(folder / "b/two.jpg");
  fs::create_directory_symlink(folder.Path(), folder / "a/up");
  fs::create_directory_symlink(folder / "b", folder / "a/z");
  fs::create_directory_symlink(folder / "a", folder / "b/a");
  EXPECT_THAT(Walk().files, ElementsAre("a/one.jpg", "a/z/two.jpg"));
}

TEST_F(FilesTest, WalkFollowsLinksToFilesAndReportsDeadOnes) {
  Put(folder / "real.jpg");
  fs::create_symlink("real.jpg", folder / "link.jpg");
  fs::create_symlink("nowhere", folder / "dead.jpg");
  fs::create_symlink("self", folder / "self");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  const Walked walked = Walk();
  EXPECT_THAT(walked.files, ElementsAre("link.jpg", "real.jpg"));
  EXPECT_THAT(walked.failures, ElementsAre("dead.jpg", "self"));
}

TEST_F(FilesTest, WalkKeepsEveryName) {
  const std::vector<std::string> names = {"back\\slash.jpg", "\xE0\xB8\xA0.jpg", "\xE4\xB8\xAD.jpg",
                                          "\xF0\x9F\x98\x80.jpg", "\xFF\xFE.jpg"};
  for (const std::string& name : names) Put(folder / name);
  EXPECT_EQ(Walk().files, names);
}

TEST_F(FilesTest, WalkReportsAFolderThatIsNotThereOrNone) {
  std::vector<fs::path> failures;
  const auto note = [&](const fs::path& path, std::error_code) { failures.push_back(path); };
  Put(folder / "file");
  platform::WalkFiles(
      folder / "none", [](const fs::path&) { return true; }, note);
  platform::WalkFiles(
      folder / "file", [](const fs::path&) { return true; }, note);
  EXPECT_THAT(failures, ElementsAre(folder / "none", folder / "file"));
}

TEST_F(FilesTest, WalkEndsWhenTold) {
  Put(folder / "a");
  Put(folder / "b/c");
  Put(folder / "d");
  int seen = 0;
  platform::WalkFiles(
      folder.Path(), [&](const fs::path&) { return ++seen < 2; }, [](const fs::path&, std::error_code) {});
  EXPECT_EQ(seen, 2);
}

TEST_F(FilesTest, ResolveGoesAsFarAsThePathExists) {
  fs::create_directories(folder / "real");
  fs::create_directory_symlink("real", folder / "link");
  const fs::path base = fs::canonical(folder.Path());
  EXPECT_EQ(platform::Resolve(folder / "link/./x/../missing"), base / "real/missing");
  fs::create_symlink("loop", folder / "loop");
  EXPECT_EQ(platform::Resolve(folder / "loop/x").filename(), "x");
}

TEST_F(FilesTest, ModifiedTimeIsInMilliseconds) {
  Put(folder / "file");
  const timespec times[2] = {{0, 0}, {1'600'000'000, 123'456'789}};
  ASSERT_EQ(::utimensat(AT_FDCWD, (folder / "file").c_str(), times, 0), 0);
  EXPECT_EQ(platform::ModifiedTimeMs(folder / "file"), 1'600'000'000'123);
  EXPECT_EQ(platform::ModifiedTimeMs(folder / "none"), -1);
}

TEST_F(FilesTest, FolderIsAwayWhenItIsNotThere) {
  folder.Write("there/other", "x");
  std::filesystem::create_directory(folder / "empty");
  EXPECT_TRUE(platform::IsFolderAway(folder / "nowhere/file"));
  EXPECT_TRUE(platform::IsFolderAway(folder / "there/other/file"));
  EXPECT_FALSE(platform::IsFolderAway(folder / "there/file"));
  EXPECT_FALSE(platform::IsFolderAway(folder / "empty/file"));
}

}  // namespace
