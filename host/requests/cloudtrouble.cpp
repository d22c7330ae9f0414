#include "host/requests/cloudtrouble.h"

#include "common/platform/mutex.h"
#include "host/requests/curlppx.h"
#include "host/requests/ns/request.h"

namespace {

constexpr long kUnauthorized = 401;
constexpr long kTooManyRequests = 429;
constexpr long kUnavailable = 503;

struct State {
  platform::Mutex lock;
  std::int64_t count GUARDED_BY(lock) = 0;
  std::string last GUARDED_BY(lock);
};

State& GetState() {
  static State* const state = new State;
  return *state;
}

// Empty for what is the one request's own.
const char* ReasonOf(int curlCode, long httpCode) {
  if (curlCode == curlppx::kCurlPeerCertificate) return CloudTrouble::kNotTrusted;
  if (curlCode != curlppx::kCurlOk) return NS::IsOutage(curlCode, httpCode) ? CloudTrouble::kUnreachable : "";
  if (httpCode == kUnauthorized) return CloudTrouble::kSessionEnded;
  if (httpCode == kTooManyRequests || httpCode == kUnavailable) return CloudTrouble::kBusy;
  return NS::IsOutage(curlCode, httpCode) ? CloudTrouble::kFailed : "";
}

}  // namespace

void CloudTrouble::Note(int curlCode, long httpCode) {
  const std::string reason = ReasonOf(curlCode, httpCode);
  if (reason.empty()) return;
  State& state = GetState();
  platform::MutexLock hold(state.lock);
  ++state.count;
  state.last = reason;
}

std::int64_t CloudTrouble::Count() {
  State& state = GetState();
  platform::MutexLock hold(state.lock);
  return state.count;
}

std::string CloudTrouble::Since(std::int64_t count) {
  State& state = GetState();
  platform::MutexLock hold(state.lock);
  return state.count > count ? state.last : std::string();
}
