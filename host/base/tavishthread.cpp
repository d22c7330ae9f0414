#include "host/base/tavishthread.h"

#include <string>

#include "common/platform/thread.h"

namespace CommonAbility {

bool tavishThread::Start(std::string_view name) {
  platform::MutexLock hold(lifeLock);
  if (IsRunning()) return false;
  if (thread.joinable()) thread.join();  // It has ended by itself.
  stopRequested.store(false, std::memory_order_release);
  running.store(true, std::memory_order_release);
  thread = std::thread([this, shown = std::string(name)] {
    own.store(std::this_thread::get_id(), std::memory_order_release);
    platform::SetThreadName(shown);
    Run();
    own.store({}, std::memory_order_release);
    running.store(false, std::memory_order_release);
  });
  return true;
}

void tavishThread::Stop() {
  stopRequested.store(true, std::memory_order_release);
  OnStopRequested();
  if (OnOwnThread()) return;
  platform::MutexLock hold(lifeLock);
  if (thread.joinable()) thread.join();
}

}  // namespace CommonAbility
