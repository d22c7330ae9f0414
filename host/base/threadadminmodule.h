#pragma once

#include <functional>

namespace CommonAbility {

// The host's door to its thread pool for modules. Safe from any thread.
class ThreadAdminModule {
 public:
  static ThreadAdminModule& GetInstance();

  // Runs `function` once on a thread of the pool, `delayMs` milliseconds from
  // now. False when the pool has stopped, as the process ends.
  bool AddCallbackFunction(int delayMs, std::function<void()> function);

 private:
  ThreadAdminModule() = default;
};

}  // namespace CommonAbility
