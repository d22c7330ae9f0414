#pragma once

#include <condition_variable>
#include <functional>

#include "common/platform/mutex.h"

// The one turn that cycles, and work between them, take one after the other. Safe from
// any thread; the holder of the turn frees it on any.
class CycleTurns {
 public:
  // `wake` asks for a tick at once.
  explicit CycleTurns(std::function<void()> wake) : wakeTimer(std::move(wake)) {}

  // False when somebody has it.
  bool Try();
  // The same for a tick: refused, it is due as soon as the turn is free.
  bool TryTick();
  // Waits for the turn. False, without it, once `giveUp` says so, which is asked at
  // each LookAgain and, since nobody tells of a Ctrl-C, several times a second.
  bool Wait(const std::function<bool()>& giveUp);
  void Free();
  // Has those who wait ask whether to give up.
  void LookAgain();

 private:
  int Looks();

  const std::function<void()> wakeTimer;

  platform::Mutex lock;  // a leaf; never over `giveUp` or `wakeTimer`
  std::condition_variable_any changed;
  bool taken GUARDED_BY(lock) = false;
  bool tickRefused GUARDED_BY(lock) = false;
  int looks GUARDED_BY(lock) = 0;
};
