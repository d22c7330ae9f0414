#include "photocloud/accounts/loginthrottle.h"

#include <algorithm>

namespace photocloud {
namespace {

constexpr int kFreeAttempts = 5;
constexpr std::int64_t kFirstStepMs = 500;
constexpr std::int64_t kLongestStepMs = 8000;
// Callers give up on an answer that takes much longer.
constexpr std::int64_t kLongestWaitMs = 10000;
// Of one name from all addresses together.
constexpr int kFreeOfName = 50;
constexpr std::int64_t kWaitOfNameMs = 2000;
// Attempts are forgotten after a minute without another one.
constexpr std::int64_t kMemoryMs = 60LL * 1000;
constexpr std::size_t kMostEntries = 20000;

std::int64_t StepOf(int count) {
  const int beyond = std::min(count - kFreeAttempts, 10);
  return std::min(kLongestStepMs, kFirstStepMs << (beyond - 1));
}

}  // namespace

std::optional<std::int64_t> LoginThrottle::Enter(const std::string& name, const std::string& address) {
  const MutexLock guard(entriesLock);
  const auto now = clock.NowMs();
  Entry& all = Find({name, ""});
  all.count += 1;
  all.untilMs = now + kMemoryMs;
  const std::int64_t ofName = all.count > kFreeOfName ? kWaitOfNameMs : 0;
  Entry& own = Find({name, "from " + address});
  if (own.count < kFreeAttempts) {
    own.count += 1;
    own.untilMs = now + kMemoryMs;
    return ofName;
  }
  const auto at = std::max(now, own.nextMs) + StepOf(own.count + 1);
  if (at - now > kLongestWaitMs) return std::nullopt;
  own.count += 1;
  own.nextMs = at;
  own.untilMs = at + kMemoryMs;
  return std::max(at - now, ofName);
}

void LoginThrottle::Succeed(const std::string& name, const std::string& address) {
  const MutexLock guard(entriesLock);
  entries.erase({name, "from " + address});
}

LoginThrottle::Entry& LoginThrottle::Find(const Key& key) {
  const auto now = clock.NowMs();
  if (entries.size() >= kMostEntries) {
    std::erase_if(entries, [now](const auto& entry) { return entry.second.untilMs <= now; });
    if (entries.size() >= kMostEntries) entries.clear();
  }
  Entry& entry = entries[key];
  if (entry.untilMs <= now) entry = {};
  return entry;
}

}  // namespace photocloud
