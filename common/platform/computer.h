#pragma once

#include <string>

namespace platform {

// The computer's name in its network; empty when it has none. Safe from any
// thread.
std::wstring ComputerName();

}  // namespace platform
