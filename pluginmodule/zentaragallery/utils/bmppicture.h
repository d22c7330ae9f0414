#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

struct BmpSize {
  std::int32_t width = 0;
  std::int32_t height = 0;
};

// The bytes of a bitmap's headers that carry its size.
inline constexpr std::size_t kBmpHeadBytes = 26;

// The size that a bitmap's head claims:
// [file header, 14 bytes][header length, 4][width][height], where width and
// height have 16 bits in a header of 12 bytes and 32 in longer ones. A negative
// height means lines from the top down.
std::optional<BmpSize> BmpSizeOf(std::string_view head);
