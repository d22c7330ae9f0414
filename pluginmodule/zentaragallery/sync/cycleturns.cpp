#include "sync/cycleturns.h"

#include <chrono>

namespace {

// How soon a wait notices that its command was stopped.
constexpr std::chrono::milliseconds kStopStep{200};

}  // namespace

bool CycleTurns::Try() {
  platform::MutexLock hold(lock);
  return !std::exchange(taken, true);
}

bool CycleTurns::TryTick() {
  platform::MutexLock hold(lock);
  if (taken) tickRefused = true;
  return !std::exchange(taken, true);
}

bool CycleTurns::Wait(const std::function<bool()>& giveUp) {
  while (!Try()) {
    const int seen = Looks();
    if (giveUp()) return false;
    platform::MutexLock hold(lock);
    if (taken && looks == seen) changed.wait_for(lock, kStopStep);
  }
  return true;
}

int CycleTurns::Looks() {
  platform::MutexLock hold(lock);
  return looks;
}

void CycleTurns::Free() {
  bool refused = false;
  {
    platform::MutexLock hold(lock);
    taken = false;
    refused = std::exchange(tickRefused, false);
  }
  changed.notify_all();
  // The wake of a tick that found the turn taken is spent: its next one is due now.
  if (refused) wakeTimer();
}

void CycleTurns::LookAgain() {
  {
    platform::MutexLock hold(lock);
    ++looks;
  }
  changed.notify_all();
}
