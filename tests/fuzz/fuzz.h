#pragma once

#include <cstdint>
#include <cstdlib>
#include <string_view>

// A claim about what the code does with any input; the fuzzer keeps inputs that
// break it.
inline void Demand(bool holds) {
  if (!holds) std::abort();
}

inline std::string_view TextOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}
