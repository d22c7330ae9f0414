#pragma once

#include <cstdint>

// What a picture may cost. A few bytes of header can claim any size; nothing is
// decoded before its claim has passed these.
inline constexpr std::int64_t kMaxPixels = 500'000'000;
inline constexpr std::int64_t kMaxDecodeBytes = std::int64_t{1} << 30;

inline bool PixelsAllowed(std::int64_t width, std::int64_t height) {
  return width > 0 && height > 0 && width <= kMaxPixels / height;
}

// For decoders that hold the whole picture at `bytesPerPixel`.
inline bool MemoryAllowed(std::int64_t width, std::int64_t height, std::int64_t bytesPerPixel) {
  return PixelsAllowed(width, height) && width * height <= kMaxDecodeBytes / bytesPerPixel;
}
