// The pixels of a bitmap.

#include <array>
#include <bit>

#include "utils/bmppicture.h"

namespace {

constexpr std::size_t kFileHeader = 14;
constexpr std::size_t kMasksAt = 54;
constexpr std::uint32_t kOs2Header = 64;

enum Compression : std::uint32_t {
  kNone = 0,
  kRuns8 = 1,
  kRuns4 = 2,
  kMasks = 3,
  kRuns24 = 4,
  kMasksAndAlpha = 6
};

using Color = std::array<std::uint8_t, 3>;

class BmpDecoder {
 public:
  explicit BmpDecoder(std::string_view file) : bytes(file) {}

  std::optional<RgbPicture> Decode() {
    if (!ReadHeader()) return std::nullopt;
    picture.width = size.width;
    picture.height = size.height;
    picture.pixels.resize(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) * 3);
    const bool hasRuns = compression == kRuns8 || compression == kRuns4 || compression == kRuns24;
    if (!(hasRuns ? ReadRuns() : ReadLines())) return std::nullopt;
    return std::move(picture);
  }

 private:
  // Beyond the file everything is 0.
  std::uint32_t Number(std::size_t at, std::size_t count) const {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count && at + i < bytes.size(); ++i)
      value |= std::uint32_t{static_cast<unsigned char>(bytes[at + i])} << (8 * i);
    return value;
  }

  bool ReadHeader() {
    const auto claimed = BmpSizeOf(bytes);
    if (!claimed) return false;
    size = *claimed;
    pixelsAt = Number(10, 4);
    length = Number(kFileHeader, 4);
    const bool isCore = length == 12;
    bits = Number(isCore ? 24 : 28, 2);
    if (length >= 40) {
      isTopDown = static_cast<std::int32_t>(Number(22, 4)) < 0;
      compression = Number(30, 4);
    }
    ReadTable(isCore ? 3 : 4);
    ReadMasks();
    return IsKnown();
  }

  bool IsKnown() const {
    switch (compression) {
      case kNone:
        return bits == 1 || bits == 2 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
      case kRuns8:
        return bits == 8;
      case kRuns4:
        return bits == 4;
      case kMasks:
      case kMasksAndAlpha:
        // In that header the number stands for lines of a fax.
        return length != kOs2Header && (bits == 16 || bits == 32);
      case kRuns24:
        // In any other header the number stands for a JPEG file.
        return length == kOs2Header && bits == 24;
      default:
        return false;
    }
  }

  // Entries are blue, green, red; the numbers of missing ones are black.
  void ReadTable(std::size_t entryBytes) {
    if (bits > 8) return;
    const std::size_t begin = kFileHeader + length, room = pixelsAt > begin ? pixelsAt - begin : 0;
    const std::size_t count = std::min<std::size_t>(std::size_t{1} << bits, room / entryBytes);
    for (std::size_t i = 0; i < count; ++i)
      for (std::size_t channel = 0; channel < 3; ++channel)
        table[i][2 - channel] = static_cast<std::uint8_t>(Number(begin + i * entryBytes + channel, 1));
  }

  // Behind a header of 40 bytes, and at the same place within a longer one.
  void ReadMasks() {
    if (compression == kMasks || compression == kMasksAndAlpha) {
      for (std::size_t channel = 0; channel < 3; ++channel)
        masks[channel] = Number(kMasksAt + channel * 4, 4);
    } else if (bits == 16) {
      masks = {0x7C00, 0x03E0, 0x001F};
    }
  }

  // The bits of a mask, brought to 0 to 255.
  static std::uint8_t Channel(std::uint32_t pixel, std::uint32_t mask) {
    if (mask == 0) return 0;
    const int shift = std::countr_zero(mask);
    const std::uint64_t most = mask >> shift, value = (pixel & mask) >> shift;
    return static_cast<std::uint8_t>((value * 255 + most / 2) / most);
  }

  Color ColorAt(std::size_t line, std::size_t x) const {
    if (bits <= 8) {
      const std::size_t bit = x * bits;
      const std::uint32_t byte = Number(line + bit / 8, 1);
      return table[byte >> (8 - bits - bit % 8) & ((1u << bits) - 1)];
    }
    const std::uint32_t pixel = Number(line + x * bits / 8, bits / 8);
    return {Channel(pixel, masks[0]), Channel(pixel, masks[1]), Channel(pixel, masks[2])};
  }

  void Put(std::size_t x, std::size_t y, const Color& color) {
    const auto width = static_cast<std::size_t>(size.width), height = static_cast<std::size_t>(size.height);
    if (x >= width || y >= height) return;
    const std::size_t row = isTopDown ? y : height - 1 - y;
    std::copy(color.begin(), color.end(),
              picture.pixels.begin() + static_cast<std::ptrdiff_t>((row * width + x) * 3));
  }

  // Lines fill groups of four bytes; the last group may be missing.
  bool ReadLines() {
    const auto width = static_cast<std::size_t>(size.width), height = static_cast<std::size_t>(size.height);
    const std::size_t used = (width * bits + 7) / 8, stride = (used + 3) / 4 * 4;
    if (pixelsAt > bytes.size() || bytes.size() - pixelsAt < stride * (height - 1) + used) return false;
    for (std::size_t y = 0; y < height; ++y)
      for (std::size_t x = 0; x < width; ++x) Put(x, y, ColorAt(pixelsAt + y * stride, x));
    return true;
  }

  // [count][value]: so many pixels. [0][0]: next line. [0][1]: end. [0][2][right][up]:
  // pixels that are passed over. [0][count][values, to an even number of bytes]. A value
  // has one byte, for runs of 24 bits three.
  bool ReadRuns() {
    const std::size_t valueBytes = compression == kRuns24 ? 3 : 1;
    std::size_t at = pixelsAt, x = 0, y = 0;
    while (at + 2 <= bytes.size() && y < static_cast<std::size_t>(size.height)) {
      const std::uint32_t count = Number(at, 1), code = Number(at + 1, 1);
      if (count > 0) {
        for (std::uint32_t i = 0; i < count; ++i) Put(x++, y, OfRun(at + 1, i));
        at += 1 + valueBytes;
        continue;
      }
      at += 2;
      if (code == 0) {
        x = 0;
        ++y;
      } else if (code == 1) {
        return true;
      } else if (code == 2) {
        x += Number(at, 1);
        y += Number(at + 1, 1);
        at += 2;
      } else {
        for (std::uint32_t i = 0; i < code; ++i) Put(x++, y, OfRun(at + i * bits / 8, i));
        at += (std::size_t{code} * bits + 15) / 16 * 2;
      }
    }
    return y > 0;  // Without the mark of the end, too: what there is was drawn.
  }

  // Two pixels share a byte of 4-bit runs, the left one in its upper half.
  Color OfRun(std::size_t at, std::uint32_t index) const {
    if (compression == kRuns24) return ColorAt(at, 0);
    const std::uint32_t value = Number(at, 1);
    if (compression == kRuns8) return table[value];
    return table[index % 2 == 0 ? value >> 4 : value & 15];
  }

  const std::string_view bytes;
  RgbPicture picture;
  BmpSize size;
  std::size_t pixelsAt = 0;
  std::uint32_t length = 0;  // of the header behind the file's own
  std::uint32_t bits = 0;    // of a pixel
  std::uint32_t compression = kNone;
  bool isTopDown = false;
  std::array<Color, 256> table{};
  std::array<std::uint32_t, 3> masks{0xFF0000, 0xFF00, 0xFF};
};

}  // namespace

std::optional<RgbPicture> DecodeBmp(std::string_view bytes) { return BmpDecoder(bytes).Decode(); }
