#include "host/base/threadadminmodule.h"

#include <chrono>
#include <utility>

#include "host/base/drivethreadpool.h"

namespace CommonAbility {

ThreadAdminModule& ThreadAdminModule::GetInstance() {
  static ThreadAdminModule instance;
  return instance;
}

bool ThreadAdminModule::AddCallbackFunction(int delayMs, std::function<void()> function) {
  return DriveThreadPool::GetInstance().Add(std::move(function), std::chrono::milliseconds(delayMs));
}

}  // namespace CommonAbility
