#pragma once

#include <string_view>

namespace platform {

// Names the calling thread for debuggers, profilers and crash reports; at most
// 15 bytes show on this system.
void SetThreadName(std::string_view name);

}  // namespace platform
