// The bin's thirty days, counted by clocks that may be wrong.

#include <chrono>

#include "cloudserver.h"
#include "host/base/globalparamwrapper.h"

namespace {

class BinExpiryTest : public CloudTest {
 protected:
  static constexpr std::int64_t kYearMs = 365 * kDayMs;

  // Of this computer and of the service that runs on it.
  static std::int64_t Now() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
  }
  void SetClock(std::int64_t ms) {
    clock.ms = ms;
    ASSERT_TRUE(session.AskServerTime());
  }
  FilePtr Recycled(const std::string& id, std::int64_t time) {
    const auto file = CloudFile(id);
    file->SetRecycleAlbumId("default-album-3");
    file->RecycleTime = time;
    Add({file});
    return file;
  }
  Album::Ptr Bin() { return gallery.GetAlbum("default-album-3"); }
};

TEST_F(BinExpiryTest, EndsThirtyDaysByTheServicesTime) {
  SetClock(Now() + kDayMs / 2);  // A clock may differ a little.
  const auto gone = Recycled("gone", Now() - 31 * kDayMs),
             keep = Recycled("keep", Now() - 30 * kDayMs + kDayMs / 4);
  Bin()->ClearExpiresFiles();
  EXPECT_TRUE(gone->IsDeleted);
  EXPECT_FALSE(keep->IsDeleted);
}

TEST_F(BinExpiryTest, ClockAYearAheadEmptiesNoBin) {
  SetClock(Now() + kYearMs);
  const auto file = Recycled("m", Now() - kDayMs);
  ASSERT_TRUE(Bin()->HoldsExpired());
  Bin()->ClearExpiresFiles();
  EXPECT_FALSE(file->IsDeleted);
  EXPECT_EQ(Ids(Bin()), std::vector<std::string>{"m"});
}

TEST_F(BinExpiryTest, ClockAYearSlowDeletesNothingEither) {
  SetClock(Now() - kYearMs);
  const auto file = Recycled("m", Now() - kYearMs - 31 * kDayMs);
  Bin()->ClearExpiresFiles();
  EXPECT_FALSE(file->IsDeleted);
}

// Other devices would delete at once what was recycled a year ago.
TEST_F(BinExpiryTest, FileRecycledByASlowClockGetsTheServicesTime) {
  SetClock(Now() - kYearMs);
  const auto file = CloudFile("m");
  Add({file});
  ASSERT_EQ(gallery.RecycleFiles({file}, false), 1u);
  EXPECT_NEAR(static_cast<double>(file->RecycleTime), static_cast<double>(Now()),
              static_cast<double>(kDayMs));
}

}  // namespace
