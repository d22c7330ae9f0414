#include "model/binwatch.h"

#include "model/gallery.h"
#include "utils/methodfunction.h"

namespace {

constexpr int kTimer = 1;
constexpr std::int64_t kDayMs = 86'400'000;

}  // namespace

std::atomic<std::chrono::milliseconds> BinWatch::lookPeriod{std::chrono::hours(1)};

void BinWatch::Open() {
  if (IsRunning()) return;
  emptied = MethodFunction::CurrentTime();
  (void)Start("bin watch");  // Another call may have been faster.
}

void BinWatch::ThreadStarted() { SetTimer(kTimer, lookPeriod); }

void BinWatch::TimerExpired(int) {
  const std::int64_t now = MethodFunction::CurrentTime();
  // A clock that was put back counts anew.
  if (now < emptied) emptied = now;
  if (now - emptied < kDayMs) return;
  emptied = now;
  const auto bin = Gallery::GetInstance().GetAlbum(kRecycleAlbumId);
  if (bin && bin->HoldsExpired()) bin->ClearExpiresFiles();
}
