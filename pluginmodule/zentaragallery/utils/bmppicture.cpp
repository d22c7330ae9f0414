#include "utils/bmppicture.h"

namespace {

std::uint32_t Little(std::string_view bytes, std::size_t at, std::size_t count) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < count; ++i) {
    value |= std::uint32_t{static_cast<unsigned char>(bytes[at + i])} << (8 * i);
  }
  return value;
}

constexpr std::size_t kHeaderLengthAt = 14;
constexpr std::uint32_t kCoreHeader = 12;
// That of a shortened one, which ends behind the depth.
constexpr std::uint32_t kShortHeader = 16;

}  // namespace

std::optional<BmpSize> BmpSizeOf(std::string_view head) {
  if (head.size() < kBmpHeadBytes || !head.starts_with("BM")) return std::nullopt;
  const std::uint32_t headerLength = Little(head, kHeaderLengthAt, 4);
  BmpSize size;
  if (headerLength == kCoreHeader) {
    size = {static_cast<std::int32_t>(Little(head, 18, 2)), static_cast<std::int32_t>(Little(head, 20, 2))};
  } else if (headerLength >= kShortHeader) {
    const auto height = static_cast<std::int32_t>(Little(head, 22, 4));
    if (height == INT32_MIN) return std::nullopt;
    size = {static_cast<std::int32_t>(Little(head, 18, 4)), height < 0 ? -height : height};
  }
  if (size.width <= 0 || size.height <= 0) return std::nullopt;
  return size;
}
