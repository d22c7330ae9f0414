// Readings in helper processes: the real one, and ones that misbehave.

#include "utils/mediaworkers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/support/picturefiles.h"
#include "tests/support/temporaryfolder.h"
#include "utils/filereading.h"
#include "utils/mediareading.h"
#include "utils/thumbnailmaker.h"

namespace {

namespace fs = std::filesystem;
using Outcome = MediaWorkers::Outcome;
using std::chrono::hours;
using std::chrono::milliseconds;

class MediaWorkersTest : public testing::Test {
 protected:
  ~MediaWorkersTest() override { MediaWorkers::Replace(nullptr); }

  // A helper that runs these lines of a shell; its channel is number 3.
  fs::path Script(const std::string& lines) {
    folder.Write("helper", "#!/bin/sh\n" + lines + "\n");
    fs::permissions(folder / "helper", fs::perms::owner_all);
    return folder / "helper";
  }
  static Json::Value Request() { return ParseJson(R"({"do":"exif","path":"/none","time":0})"); }

  TemporaryFolder folder;
  Json::Value answer;
};

TEST_F(MediaWorkersTest, HelperAnswersAsThisProcessWould) {
  MediaWorkers workers(MEDIA_WORKER, hours(1));
  MediaWorkers::Replace(&workers);
  const auto path =
      folder.Write("\xe4\xb8\xad \"a\"\n\xff.jpg",
                   JpegWith(Exif({TextTag(271, "Maker"), ShortTag(274, 6)},
                                 {TextTag(36867, "2020:02:03 04:05:06"), RationalTag(33434, 1, 125)})));
  EXPECT_EQ(workers.Ask(Request(), answer), Outcome::Answered);
  PictureMetadata there, here;
  std::int64_t timeThere = -1, timeHere = -1;
  EXPECT_TRUE(ReadExif(path, there, timeThere));
  EXPECT_EQ(MediaReading::Exif(path, here, timeHere), MediaFailure::None);
  EXPECT_EQ(CompactJson(there.ToJson()), CompactJson(here.ToJson()));
  EXPECT_EQ(here.rotation, 6);
  EXPECT_EQ(timeThere, timeHere);
  EXPECT_TRUE(MakeThumbnail(path, folder.Wide("thumbnail.jpg"), 32));
  EXPECT_TRUE(fs::exists(folder / "thumbnail.jpg"));
}

TEST_F(MediaWorkersTest, VideoThatKeepsTheLibraryBusyIsGivenUp) {
  MediaWorkers workers(MEDIA_WORKER, milliseconds(200));
  MediaWorkers::Replace(&workers);
  const auto path = folder.Write("slow.mp4", VideoOfTracks(8000));
  const FileReading reading(nullptr);
  VideoMetadata video;
  EXPECT_FALSE(ReadVideo(path, video));
  EXPECT_TRUE(reading.WasTooSlow());
}

TEST_F(MediaWorkersTest, StopEndsAReadingThatWouldTakeLong) {
  MediaWorkers workers(Script("exec sleep 100000"), hours(1));
  const std::atomic<bool> stop{true};
  const FileReading reading(&stop);
  EXPECT_EQ(workers.Ask(Request(), answer), Outcome::Stopped);
  EXPECT_FALSE(reading.WasTooSlow());
}

TEST_F(MediaWorkersTest, HelperThatWasPreparedTakesTheFirstReading) {
  MediaWorkers workers(Script("echo started >>$0.starts\n"
                              "head -c 4 <&3 >/dev/null\n"
                              "printf '\\015\\000\\000\\000{\"failure\":0}' >&3\nread line <&3"),
                       hours(1));
  workers.Prepare();
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!fs::exists(folder / "helper.starts") && std::chrono::steady_clock::now() < end)
    std::this_thread::yield();
  ASSERT_TRUE(fs::exists(folder / "helper.starts"));
  workers.Prepare();
  EXPECT_EQ(workers.Ask(Request(), answer), Outcome::Answered);
  std::ifstream starts(folder / "helper.starts");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(starts), {}), "started\n");
}

TEST_F(MediaWorkersTest, HelperThatAFileEndsIsReplaced) {
  // The first one is ended by its file, the others answer.
  MediaWorkers workers(Script("[ -e $0.hit ] || { touch $0.hit; kill -9 $$; }\n"
                              "head -c 4 <&3 >/dev/null\n"
                              "printf '\\015\\000\\000\\000{\"failure\":0}' >&3\nread line <&3"),
                       hours(1));
  EXPECT_EQ(workers.Ask(Request(), answer), Outcome::Died);
  EXPECT_EQ(workers.Ask(Request(), answer), Outcome::Answered);
  EXPECT_EQ(answer["failure"], 0);
}

TEST_F(MediaWorkersTest, HelperThatEndedWhileIdleIsReplaced) {
  // It reads its request to the end: an answer is lost where something unread is left.
  MediaWorkers workers(Script("length=$(head -c 4 <&3 | od -An -tu4)\nhead -c $length <&3 >/dev/null\n"
                              "printf '\\015\\000\\000\\000{\"failure\":0}' >&3"),
                       hours(1));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(workers.Ask(Request(), answer), Outcome::Answered) << i;
}

TEST_F(MediaWorkersTest, WithoutTheProgramFilesAreReadHere) {
  MediaWorkers workers(folder / "missing", hours(1));
  MediaWorkers::Replace(&workers);
  EXPECT_EQ(workers.Ask(Request(), answer), Outcome::NoWorker);
  PictureMetadata metadata;
  std::int64_t time = 0;
  const auto path = folder.Write("a.jpg", JpegWith(""));
  EXPECT_TRUE(ReadExif(path, metadata, time));
  EXPECT_EQ(metadata.width, 64);
  EXPECT_TRUE(MakeThumbnail(path, folder.Wide("thumbnail.jpg"), 32));
}

}  // namespace
