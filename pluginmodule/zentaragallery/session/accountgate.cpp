#include "session/accountgate.h"

#include <algorithm>
#include <chrono>

namespace {

// How soon a wait notices that its terminal was stopped.
constexpr std::chrono::milliseconds kStopStep{100};

}  // namespace

bool AccountGate::Enter(CommandTerminal& terminal, CommandKind kind, Change change) {
  platform::MutexLock hold(lock);
  while (changing && (kind != CommandKind::Short || users.empty())) {
    if (terminal.Stopped()) return false;
    changed.wait_for(lock, kStopStep);
  }
  users.push_back({&terminal, change});
  return true;
}

void AccountGate::Leave(CommandTerminal& terminal) {
  platform::MutexLock hold(lock);
  std::erase_if(users, [&terminal](const User& user) { return user.terminal == &terminal; });
  changed.notify_all();
}

bool AccountGate::BeginChange(CommandTerminal& terminal) {
  platform::MutexLock hold(lock);
  while (changing) {
    if (terminal.Stopped()) return false;
    changed.wait_for(lock, kStopStep);
  }
  changing = true;
  for (const User& user : users) {
    if (user.change == Change::Stops) user.terminal->RequestStop(CommandTerminal::Stop::AccountChanges);
  }
  while (!users.empty() && !terminal.Stopped()) changed.wait_for(lock, kStopStep);
  if (!users.empty()) changing = false;
  changed.notify_all();
  return changing;
}

void AccountGate::EndChange() {
  platform::MutexLock hold(lock);
  changing = false;
  changed.notify_all();
}
