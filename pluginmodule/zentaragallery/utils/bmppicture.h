#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "utils/videoframe.h"

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

// What the pixels of a bitmap are, as its headers claim.
enum class BmpContent {
  Pixels,
  File,  // a whole JPEG or PNG file
  Fax,   // lines of a fax, which nothing here reads
};

// The bytes of a bitmap's headers that carry that.
inline constexpr std::size_t kBmpContentHeadBytes = 38;

BmpContent BmpContentOf(std::string_view head);

// The file within a whole .bmp file that holds one; empty when it ends before that.
std::string_view BmpInnerFile(std::string_view bytes);

// A whole .bmp file of pixels, of any header and depth, with colour tables, masks of
// any width, or runs of 4, 8 and 24 bits. Bits that mean transparency are left out.
// Empty for other content, for what is damaged, and for what ends before its lines do.
//
// The caller has looked at the size: the result takes three bytes a pixel.
std::optional<RgbPicture> DecodeBmp(std::string_view bytes);
