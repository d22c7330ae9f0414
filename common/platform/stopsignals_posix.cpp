#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <thread>

#include "common/platform/stopsignals.h"
#include "common/platform/thread.h"

namespace platform {
namespace {

// Tells the thread to end.
constexpr int kEnd = SIGUSR2;

// "nohup" switches the end of the terminal off, and means it.
bool IsHangUpIgnored() {
  struct sigaction present {};
  return ::sigaction(SIGHUP, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

sigset_t StopSet() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGINT, SIGTERM, kEnd}) {
    std::signal(number, SIG_DFL);  // An ignored signal would not wait for anybody.
    sigaddset(&set, number);
  }
  if (!IsHangUpIgnored()) sigaddset(&set, SIGHUP);
  return set;
}

}  // namespace

struct StopSignals::State {
  void Run() const {
    SetThreadName("signals");
    int number = 0;
    while (::sigwait(&set, &number) == 0 && number != kEnd)
      onSignal(number == SIGINT ? StopSignal::Interrupt : StopSignal::Terminate);
  }

  std::function<void(StopSignal)> onSignal;
  sigset_t set = StopSet();
  std::thread thread;
};

StopSignals::StopSignals(std::function<void(StopSignal)> onSignal) : state(std::make_unique<State>()) {
  state->onSignal = std::move(onSignal);
  std::signal(SIGPIPE, SIG_IGN);
  ::pthread_sigmask(SIG_BLOCK, &state->set, nullptr);
  state->thread = std::thread([this] { state->Run(); });
}

StopSignals::~StopSignals() {
  ::pthread_kill(state->thread.native_handle(), kEnd);
  state->thread.join();
}

void StopSignals::EndByInterrupt() {
  std::signal(SIGINT, SIG_DFL);
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
  (void)::raise(SIGINT);
  ::_exit(EXIT_FAILURE);  // A parent has switched it off.
}

}  // namespace platform
