// How much memory a download takes, measured on the process.

#include <malloc.h>

#include <fstream>

#include "contenttest.h"

namespace {

// Beyond what the allocator keeps for itself: what is freed goes back to the system.
constexpr int kLargeSlice = 40 << 20;

// A line of /proc/self/status, in bytes.
std::int64_t Status(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with(name + ":")) return std::stoll(line.substr(name.size() + 1)) * 1024;
  return -1;
}

class DownloadMemoryTest : public ContentTest {
 protected:
  DownloadMemoryTest() : ContentTest(kLargeSlice) {}
};

TEST_F(DownloadMemoryTest, TwoSlicesAreInMemory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer keeps what is freed";
#endif
  const auto file = Source("large", std::string(4 * kLargeSlice, 'x'));
  ASSERT_TRUE(Upload(file));
  const auto task = DownloadTask(file, "large.jpg");
  malloc_trim(0);
  std::ofstream("/proc/self/clear_refs") << 5;  // the peak starts anew
  const std::int64_t before = Status("VmRSS");
  ASSERT_TRUE(Run(*task));
  const std::int64_t taken = Status("VmHWM") - before;
  RecordProperty("bytes", std::to_string(taken));
  EXPECT_GT(taken, kLargeSlice) << "the measure is no measure";
  EXPECT_LT(taken, 5 * (kLargeSlice / 2));
}

}  // namespace
