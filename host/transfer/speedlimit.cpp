#include "host/transfer/speedlimit.h"

#include <algorithm>
#include <thread>

#include "host/base/globalparamwrapper.h"

using std::chrono::nanoseconds;

namespace {

constexpr double kBurstSeconds = 0.25;

}  // namespace

SpeedLimit::SpeedLimit(Rate bytesASecond)
    : rate(std::move(bytesASecond)),
      now([] { return std::chrono::steady_clock::now(); }),
      wait([](nanoseconds time) { std::this_thread::sleep_for(time); }) {}

SpeedLimit& SpeedLimit::Uploads() {
  static SpeedLimit* const uploads =
      new SpeedLimit([] { return GlobalParamWrapper::GetInstance()->GetUploadLimit(); });
  return *uploads;
}

SpeedLimit& SpeedLimit::Downloads() {
  static SpeedLimit* const downloads =
      new SpeedLimit([] { return GlobalParamWrapper::GetInstance()->GetDownloadLimit(); });
  return *downloads;
}

void SpeedLimit::SetClock(Clock next, Wait nextWait) {
  const platform::MutexLock hold(lock);
  now = std::move(next);
  wait = std::move(nextWait);
  level = 0;
  filledAt = now();
}

bool SpeedLimit::Take(std::size_t bytes, const std::function<bool()>& goesOn) {
  for (nanoseconds due; (due = TryTake(bytes)) > nanoseconds::zero();) {
    if (!goesOn()) return false;
    Waiter()(std::min<nanoseconds>(due, kLongestWait));
  }
  return true;
}

SpeedLimit::Wait SpeedLimit::Waiter() {
  const platform::MutexLock hold(lock);
  return wait;
}

// A piece may be larger than what the bucket holds, so that it is taken as soon as
// nothing is owed, and owed itself from then on.
nanoseconds SpeedLimit::TryTake(std::size_t bytes) {
  const auto bytesASecond = static_cast<double>(rate());
  const platform::MutexLock hold(lock);
  const Time time = now();
  if (bytesASecond > 0) {
    const double passed = std::chrono::duration<double>(time - filledAt).count();
    level = std::min(level + passed * bytesASecond, kBurstSeconds * bytesASecond);
    filledAt = time;
    // At least a tick: the rest of a byte would otherwise be waited for without a wait.
    if (level < 0)
      return std::max(nanoseconds(1), nanoseconds(static_cast<std::int64_t>(-level / bytesASecond * 1e9)));
    level -= static_cast<double>(bytes);
  } else {
    level = 0;
    filledAt = time;
  }
  taken += bytes;
  return nanoseconds::zero();
}
