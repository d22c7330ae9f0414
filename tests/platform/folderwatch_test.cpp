#include "common/platform/folderwatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <thread>

#include "tests/support/temporaryfolder.h"

namespace {

namespace fs = std::filesystem;
using platform::FolderWatch;
using ::testing::Contains;
using ::testing::Each;
using ::testing::IsEmpty;

class FolderWatchTest : public testing::Test {
 protected:
  static void Put(const fs::path& path) { std::ofstream(path) << "x"; }
  // What comes until `last` has.
  static std::vector<fs::path> Until(FolderWatch& watch, const fs::path& last) {
    std::vector<fs::path> came;
    while (std::find(came.begin(), came.end(), last) == came.end()) {
      const auto next = watch.Next();
      if (next.empty()) break;
      came.insert(came.end(), next.begin(), next.end());
    }
    return came;
  }

  TemporaryFolder folder;
};

TEST_F(FolderWatchTest, WrittenMovedAndLinkedFilesAreTold) {
  fs::create_directories(folder / "watched");
  Put(folder / "elsewhere.jpg");
  FolderWatch watch;
  ASSERT_FALSE(watch.Watch({{folder / "watched", 0}}, 10));
  Put(folder / "watched/written.jpg");
  fs::rename(folder / "elsewhere.jpg", folder / "watched/moved.jpg");
  fs::create_directory(folder / "watched/made");
  fs::create_hard_link(folder / "watched/moved.jpg", folder / "watched/second name.jpg");
  fs::create_symlink("moved.jpg", folder / "watched/linked.jpg");
  const auto came = Until(watch, folder / "watched/linked.jpg");
  for (const char* name : {"written.jpg", "moved.jpg", "made", "second name.jpg", "linked.jpg"})
    EXPECT_THAT(came, Contains(folder / "watched" / name));
}

TEST_F(FolderWatchTest, FileThatIsStillWrittenIsNotToldYet) {
  FolderWatch watch;
  ASSERT_FALSE(watch.Watch({{folder.Path(), 0}}, 10));
  std::ofstream writing(folder / "slow.jpg");
  Put(folder / "other.jpg");
  EXPECT_THAT(Until(watch, folder / "other.jpg"), testing::Not(Contains(folder / "slow.jpg")));
  writing << "bytes";
  writing.close();
  EXPECT_THAT(watch.Next(), Contains(folder / "slow.jpg"));
}

TEST_F(FolderWatchTest, FoldersBelowAreWatchedWithinDepthAndNumber) {
  fs::create_directories(folder / "a/b/c");
  fs::create_directories(folder / ".hidden");
  fs::create_directory_symlink(folder / "a", folder / "link");
  FolderWatch deep, few;
  ASSERT_FALSE(deep.Watch({{folder.Path(), 2}}, 10));
  EXPECT_EQ(deep.Count(), 3U);  // itself, a, a/b
  ASSERT_FALSE(few.Watch({{folder.Path(), 2}}, 2));
  EXPECT_EQ(few.Count(), 2U);
  Put(folder / "a/b/c/too deep.jpg");
  Put(folder / ".hidden/x.jpg");
  Put(folder / "a/b/there.jpg");
  EXPECT_THAT(Until(deep, folder / "a/b/there.jpg"), Each(folder / "a/b/there.jpg"));
}

TEST_F(FolderWatchTest, FolderThatIsMadeMeanwhileIsWatchedToo) {
  FolderWatch watch;
  ASSERT_FALSE(watch.Watch({{folder.Path(), 1}}, 10));
  fs::create_directories(folder / "new");
  Put(folder / "new/at once.jpg");
  EXPECT_THAT(Until(watch, folder / "new/at once.jpg"), Contains(folder / "new"));
  Put(folder / "new/later.jpg");
  EXPECT_THAT(Until(watch, folder / "new/later.jpg"), Contains(folder / "new/later.jpg"));
}

TEST_F(FolderWatchTest, FolderThatIsNotThereIsPassedOver) {
  FolderWatch watch;
  ASSERT_FALSE(watch.Watch({{folder / "nothing", 1}, {folder.Path(), 0}}, 10));
  EXPECT_EQ(watch.Count(), 1U);
}

TEST_F(FolderWatchTest, StopEndsTheWait) {
  FolderWatch watch;
  ASSERT_FALSE(watch.Watch({{folder.Path(), 0}}, 10));
  std::thread stopper([&watch] { watch.Stop(); });
  EXPECT_THAT(watch.Next(), IsEmpty());
  stopper.join();
  EXPECT_THAT(watch.Next(), IsEmpty());
}

TEST_F(FolderWatchTest, SystemWithoutAnInstanceGivesAnError) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{0, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  FolderWatch watch;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(watch.Watch({{folder.Path(), 0}}, 10), std::errc::too_many_files_open);
  EXPECT_THAT(watch.Next(), IsEmpty());
}

// A user namespace has a limit of its own, so that nobody else's is touched.
bool EnterNamespaceWithWatches(int count) {
  const auto user = std::to_string(::getuid());
  if (::unshare(CLONE_NEWUSER) != 0) return false;
  std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
  std::ofstream limit("/proc/sys/user/max_inotify_watches");
  limit << count << std::flush;
  return limit.good();
}

TEST_F(FolderWatchTest, WhatTheSystemHasNoWatchesForIsAnErrorAndTheRestStays) {
  for (const char* name : {"a", "b", "c", "d"}) fs::create_directory(folder / name);
  constexpr int kGood = 0, kBad = 1, kNoNamespace = 2;
  const pid_t child = ::fork();
  if (child == 0) {
    if (!EnterNamespaceWithWatches(2)) ::_exit(kNoNamespace);
    FolderWatch watch;
    const auto error = watch.Watch({{folder.Path(), 1}}, 10);
    if (error != std::errc::no_space_on_device || watch.Count() != 2) ::_exit(kBad);
    Put(folder / "there.jpg");
    ::_exit(watch.Next().at(0) == folder / "there.jpg" ? kGood : kBad);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == kNoNamespace) GTEST_SKIP() << "the system gives no user namespace";
  EXPECT_EQ(WEXITSTATUS(status), kGood);
}

}  // namespace
