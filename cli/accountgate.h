#pragma once

#include <condition_variable>
#include <vector>

#include "common/platform/mutex.h"
#include "host/profile/commandterminal.h"
#include "host/profile/profileowner.h"

// Keeps commands apart from those that put another account, and so another
// gallery, in the place of the present one. Safe from any thread.
class AccountGate {
 public:
  // How a command takes it that the account is going to change.
  enum class Change { Awaited, Stops };  // the change waits for its end, or stops it

  // A command that works with the present account. False when its terminal was
  // stopped while it waited for a change to end.
  bool Enter(CommandTerminal& terminal, CommandKind kind, Change change);
  void Leave(CommandTerminal& terminal);

  // The command that changes it: waits until it is alone. Short commands still
  // come in while it waits for others. False when its terminal was stopped.
  bool BeginChange(CommandTerminal& terminal);
  void EndChange();

 private:
  struct User {
    CommandTerminal* terminal;
    Change change;
  };

  platform::Mutex lock;
  std::condition_variable_any changed;
  std::vector<User> users GUARDED_BY(lock);
  bool changing GUARDED_BY(lock) = false;
};
