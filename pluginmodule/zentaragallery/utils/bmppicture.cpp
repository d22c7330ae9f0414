#include "utils/bmppicture.h"

namespace {

// Beyond the end everything is 0.
std::uint32_t Little(std::string_view bytes, std::size_t at, std::size_t count) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < count && at + i < bytes.size(); ++i) {
    value |= std::uint32_t{static_cast<unsigned char>(bytes[at + i])} << (8 * i);
  }
  return value;
}

constexpr std::size_t kHeaderLengthAt = 14;
constexpr std::uint32_t kCoreHeader = 12;
// That of a shortened one, which ends behind the depth.
constexpr std::uint32_t kShortHeader = 16;
constexpr std::uint32_t kInfoHeader = 40;
// Its numbers 3 and 4 mean lines of a fax and runs of 24 bits.
constexpr std::uint32_t kOs2Header = 64;

constexpr std::size_t kPixelsAtAt = 10;
constexpr std::size_t kCompressionAt = 30;
constexpr std::size_t kContentBytesAt = 34;

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

BmpContent BmpContentOf(std::string_view head) {
  const std::uint32_t headerLength = Little(head, kHeaderLengthAt, 4);
  const std::uint32_t compression = headerLength < kInfoHeader ? 0 : Little(head, kCompressionAt, 4);
  if (headerLength == kOs2Header) return compression == 3 ? BmpContent::Fax : BmpContent::Pixels;
  return compression == 4 || compression == 5 ? BmpContent::File : BmpContent::Pixels;
}

std::string_view BmpInnerFile(std::string_view bytes) {
  const std::uint32_t begin = Little(bytes, kPixelsAtAt, 4);
  const std::uint32_t length = Little(bytes, kContentBytesAt, 4);
  if (begin >= bytes.size()) return {};
  return bytes.substr(begin, length == 0 ? std::string_view::npos : length);
}
