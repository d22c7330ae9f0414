#include "host/push/cserverpushservice.h"

#include <condition_variable>

#include "common/platform/mutex.h"
#include "host/account/userauthservice.h"
#include "host/base/logger.h"
#include "host/base/tavishthread.h"
#include "host/requests/curlppx.h"
#include "host/requests/ns/headbuilder.h"
#include "host/requests/ns/request.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr char kPushPath[] = "/cloudPhoto/v1/push";
// A service that restarts is back soon; one that is down for long need not be
// asked by every client every second.
constexpr std::chrono::milliseconds kFirstPause = 1s;
constexpr std::chrono::milliseconds kLongestPause = 5min;
// The service writes every 15 seconds; three times that without a byte is a
// connection that only this side believes in.
constexpr auto kLongestSilence = 45s;
constexpr long kGood = 200;
constexpr long kUnauthorized = 401;

void Log(Logger::Severity severity, int line, const std::string& text) {
  Logger::CloudLogger::GetInstance()->Output("Host", severity, line, "CServerPushService::Run", text);
}

}  // namespace

struct CServerPushService::State : CommonAbility::tavishThread {
  void Run() override;
  void OnStopRequested() override {
    // Taken once, so that a pause that has just looked at the flag waits by now.
    { platform::MutexLock hold(lock); }
    wake.notify_all();
  }

  bool HoldStream();
  void Deliver(const PushMessage& message);
  void Pause();

  platform::Mutex lock;
  std::condition_variable_any wake;
  std::condition_variable_any delivered;
  std::vector<Delegate> delegates GUARDED_BY(lock);
  std::thread::id delivering GUARDED_BY(lock);
  std::chrono::milliseconds firstPause GUARDED_BY(lock) = kFirstPause;
  std::chrono::milliseconds longestPause GUARDED_BY(lock) = kLongestPause;
  std::chrono::milliseconds pause GUARDED_BY(lock){0};
};

void CServerPushService::State::Run() {
  while (!StopRequested()) {
    const bool held = HoldStream();
    {
      platform::MutexLock hold(lock);
      pause = held || pause == 0ms ? firstPause : std::min(pause * 2, longestPause);
    }
    if (!StopRequested()) Pause();
  }
}

// Opens the stream and stays until it ends; true when the service had accepted it.
bool CServerPushService::State::HoldStream() {
  auto* session = UserAuthService::GetInstance();
  if (session->GetServerUrl().empty() || !session->KeepTokenFresh()) return false;
  const std::wstring token = session->GetCurrentAT();
  curlppx::CurlConn connection;
  if (token.empty() || !connection.SetUrl(NS::Request::BaseUrl() + kPushPath)) return false;
  connection.SetHeaders(NS::HeadBuilder::Lines(NS::HeadBuilder::Build()));
  connection.SetNoLowestSpeed();
  auto lastByte = Clock::now();
  PushEventReader reader([this](const PushMessage& message) { Deliver(message); });
  connection.SetWriter([&](std::string_view piece) {
    lastByte = Clock::now();
    return reader.Take(piece);
  });
  connection.SetProgress([&](const curlppx::CurlConn::Counters&) {
    return !StopRequested() && Clock::now() - lastByte < kLongestSilence;
  });
  const auto result = connection.Perform();
  if (StopRequested()) return true;
  Log(Logger::Severity::Information, __LINE__,
      "the stream has ended, http code:" + std::to_string(result.httpCode) +
          " info:" + curlppx::CurlGlobal::GetErrStr(result.curlCode));
  if (result.httpCode == kUnauthorized) (void)session->RenewToken(token);  // Logged there.
  return result.httpCode == kGood;
}

void CServerPushService::State::Deliver(const PushMessage& message) {
  std::vector<Delegate> called;
  {
    platform::MutexLock hold(lock);
    called = delegates;
    delivering = std::this_thread::get_id();
  }
  for (const Delegate& delegate : called) {
    {
      // One that a delegate before has removed is left out.
      platform::MutexLock hold(lock);
      if (std::find(delegates.begin(), delegates.end(), delegate) == delegates.end()) continue;
    }
    delegate(message);
  }
  {
    platform::MutexLock hold(lock);
    delivering = {};
  }
  delivered.notify_all();
}

void CServerPushService::State::Pause() {
  platform::MutexLock hold(lock);
  // Devices that lost one service at one moment do not come back at one moment.
  const auto spread =
      std::chrono::milliseconds(Clock::now().time_since_epoch().count() % (pause.count() / 4 + 1));
  wake.wait_for(lock, pause + spread, [this] { return StopRequested(); });
}

CServerPushService::CServerPushService() : state(new State) {}

CServerPushService* CServerPushService::GetInstance() {
  static CServerPushService* const instance = new CServerPushService;
  return instance;
}

bool CServerPushService::AddDelegate(const Delegate& delegate) {
  auto& held = *state;
  platform::MutexLock hold(held.lock);
  if (std::find(held.delegates.begin(), held.delegates.end(), delegate) != held.delegates.end()) return false;
  held.delegates.push_back(delegate);
  return true;
}

void CServerPushService::RemoveDelegate(const Delegate& delegate) {
  auto& held = *state;
  platform::MutexLock hold(held.lock);
  std::erase(held.delegates, delegate);
  while (held.delivering != std::thread::id() && held.delivering != std::this_thread::get_id())
    held.delivered.wait(held.lock);
}

bool CServerPushService::Start() {
  {
    auto& held = *state;
    platform::MutexLock hold(held.lock);
    held.pause = 0ms;
  }
  return state->Start("push");
}

void CServerPushService::Stop() { state->Stop(); }

void CServerPushService::SetPauses(std::chrono::milliseconds first, std::chrono::milliseconds longest) {
  auto& held = *state;
  platform::MutexLock hold(held.lock);
  held.firstPause = first;
  held.longestPause = longest;
}
