// The limits of speed on the way of contents to the real server and back, in a time that
// passes only while a transfer waits for its limit.

#include "host/transfer/speedlimit.h"

#include <atomic>
#include <thread>

#include "contenttest.h"
#include "host/base/globalparamwrapper.h"

namespace {

constexpr std::int64_t kLimit = 100'000;
// What may go ahead of the time: a full bucket and the piece that empties it.
constexpr double kAhead = kLimit / 4.0 + SpeedLimit::kPieceBytes;

class ContentSpeedTest : public ContentTest {
 protected:
  void SetUp() override {
    ContentTest::SetUp();
    for (SpeedLimit* limit : {&SpeedLimit::Uploads(), &SpeedLimit::Downloads()})
      limit->SetClock([this] { return SpeedLimit::Time(std::chrono::nanoseconds(time)); },
                      [this](std::chrono::nanoseconds of) { time += of.count(); });
  }
  void TearDown() override {
    Set("uploadLimitBytes", 0);
    Set("downloadLimitBytes", 0);
    for (SpeedLimit* limit : {&SpeedLimit::Uploads(), &SpeedLimit::Downloads()})
      limit->SetClock([] { return std::chrono::steady_clock::now(); },
                      [](std::chrono::nanoseconds of) { std::this_thread::sleep_for(of); });
    ContentTest::TearDown();
  }
  static void Set(const char* key, std::int64_t bytes) {
    ASSERT_TRUE(GlobalParamWrapper::GetInstance()->SetUserProperty(key, std::to_string(bytes)));
  }
  double Seconds() const { return static_cast<double>(time) / 1e9; }

  std::atomic<std::int64_t> time{0};
};

TEST_F(ContentSpeedTest, ServerReceivesNoMoreThanTheLimitAtAnyTime) {
  Set("uploadLimitBytes", kLimit);
  const std::size_t size = 20 * kSliceSize;
  std::size_t received = 0;
  int slices = 0;
  const auto changer = ChangeAnswers([&](const std::string& request, const std::string& answer) {
    if (!request.starts_with("PUT ")) return answer;
    received += request.size() - (request.find("\r\n\r\n") + 4);
    ++slices;
    EXPECT_LE(static_cast<double>(received), Seconds() * kLimit + kAhead) << slices;
    return answer;
  });
  const std::uint64_t before = SpeedLimit::Uploads().Taken();
  ASSERT_TRUE(Upload(Source("slow", Noise(size))));
  EXPECT_GE(slices, 20);
  EXPECT_GE(received, size);
  // Every byte was asked for, and none for nothing.
  EXPECT_EQ(SpeedLimit::Uploads().Taken() - before, received);
  EXPECT_GE(Seconds(), (static_cast<double>(size) - kAhead) / kLimit);
  EXPECT_LE(Seconds(), static_cast<double>(received) / kLimit + 1);
}

TEST_F(ContentSpeedTest, DownloadWaitsForEachByte) {
  const std::size_t size = 20 * kSliceSize;
  const auto file = Source("slow", Noise(size));
  ASSERT_TRUE(Upload(file));
  EXPECT_EQ(Seconds(), 0);
  Set("downloadLimitBytes", kLimit);
  const std::uint64_t before = SpeedLimit::Downloads().Taken();
  const auto task = DownloadTask(file, "slow");
  ASSERT_TRUE(Run(*task));
  EXPECT_TRUE(Bytes(task) == Noise(size));
  EXPECT_GE(SpeedLimit::Downloads().Taken() - before, size);
  // Pieces of a download are what the library's buffer holds.
  EXPECT_GE(Seconds(), (static_cast<double>(size) - kLimit / 4.0 - (256 << 10)) / kLimit);
  EXPECT_LE(Seconds(), static_cast<double>(size) / kLimit + 2);
}

TEST_F(ContentSpeedTest, StopDoesNotWaitForTheLimit) {
  const auto file = Source("stopped", Noise(20 * kSliceSize));
  ASSERT_TRUE(Upload(file));
  Set("downloadLimitBytes", 1);
  const auto task = DownloadTask(file, "stopped");
  SpeedLimit::Downloads().SetClock([this] { return SpeedLimit::Time(std::chrono::nanoseconds(time)); },
                                   [this, &task](std::chrono::nanoseconds of) {
                                     time += of.count();
                                     task->StopTask(TaskStatus::PausedByUser, 0);
                                   });
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->Status(), TaskStatus::PausedByUser);
  EXPECT_LE(Seconds(), 10);
}

}  // namespace
