#pragma once

#include <cstdint>
#include <span>

namespace platform {

// Fills `bytes` from the system's source of random numbers, good enough for
// keys. Safe from any thread. False, with `bytes` in no defined state, when the
// system has none to give; whoever makes a key then makes none.
[[nodiscard]] bool RandomBytes(std::span<std::uint8_t> bytes);

}  // namespace platform
