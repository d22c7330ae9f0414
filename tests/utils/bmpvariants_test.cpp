// Bitmaps as the format's description allows them, made byte by byte: 32 x 32, the
// upper half red, the lower one blue.

#include <gtest/gtest.h>
#include <vips/vips.h>

#include <functional>

#include "common/platform/paths.h"
#include "tests/support/picturefiles.h"
#include "tests/support/temporaryfolder.h"
#include "utils/mediareader.h"
#include "utils/thumbnailmaker.h"

namespace {

constexpr int kEdge = 32;
const std::string kRedEntry("\0\0\xff\0", 4), kBlueEntry("\xff\0\0\0", 4);

enum class Lines { BottomUp, TopDown };

// One line for each of the 32, `red` and `blue` padded to whole groups of 4 bytes.
std::string Pixels(std::string red, std::string blue, Lines lines = Lines::BottomUp) {
  red.resize((red.size() + 3) / 4 * 4);
  blue.resize((blue.size() + 3) / 4 * 4);
  std::string pixels;
  for (int y = 0; y < kEdge; ++y) pixels += (y < kEdge / 2) == (lines == Lines::TopDown) ? red : blue;
  return pixels;
}
std::string Repeat(const std::string& text, int count = kEdge) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

std::string File(const std::string& header, const std::string& table, const std::string& pixels) {
  const auto offset = static_cast<std::uint32_t>(14 + header.size() + table.size());
  return "BM" + Long(offset + static_cast<std::uint32_t>(pixels.size())) + Long(0) + Long(offset) + header +
         table + pixels;
}

// A header of `length` bytes, of 40 and more; the rest of it is `more` and zeros.
std::string Info(std::uint32_t length, unsigned bits, std::uint32_t compression, std::uint32_t colors = 0,
                 Lines lines = Lines::BottomUp, const std::string& more = "") {
  std::string header = Long(length) + Long(kEdge) +
                       Long(static_cast<std::uint32_t>(lines == Lines::TopDown ? -kEdge : kEdge)) + Short(1) +
                       Short(bits) + Long(compression) + Long(0) + Long(2835) + Long(2835) + Long(colors) +
                       Long(0) + more;
  header.resize(length);
  return header;
}
std::string Core(unsigned bits) { return Long(12) + Short(kEdge) + Short(kEdge) + Short(1) + Short(bits); }
std::string Masks(std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
  return Long(red) + Long(green) + Long(blue);
}
std::string Lines24(Lines lines = Lines::BottomUp) {
  return Pixels(Repeat(std::string("\0\0\xff", 3)), Repeat(std::string("\xff\0\0", 3)), lines);
}

// Runs of one colour, then the same as single bytes with a jump over the rest that
// was written before, which keeps its colour.
std::string Rle8() {
  std::string lines;
  for (int y = 0; y < kEdge; ++y) {
    const char color = y < kEdge / 2 ? 1 : 0;
    const std::string run{kEdge / 2, color};
    const std::string absolute = std::string("\0\x05", 2) + std::string(5, color) + std::string(1, '\0');
    lines += run + absolute + std::string{kEdge / 2 - 5, color} + std::string(2, '\0');
  }
  return lines + std::string("\0\x01", 2);
}
std::string Rle4() {
  std::string lines;
  for (int y = 0; y < kEdge; ++y) {
    const char pair = y < kEdge / 2 ? 0x11 : 0x00;
    const std::string absolute = std::string("\0\x06", 2) + std::string(3, pair) + std::string(1, '\0');
    lines += std::string{kEdge - 6, pair} + absolute + std::string(2, '\0');
  }
  return lines + std::string("\0\x01", 2);
}

// Runs of blue, green and red, then the same as single pixels, of which the last byte
// is followed by one that fills up.
std::string Rle24() {
  std::string lines;
  for (int y = 0; y < kEdge; ++y) {
    const std::string color = y < kEdge / 2 ? std::string("\xff\0\0", 3) : std::string("\0\0\xff", 3);
    const std::string absolute = std::string("\0\x05", 2) + Repeat(color, 5) + std::string(1, '\0');
    lines += std::string(1, kEdge - 5) + color + absolute + std::string(2, '\0');
  }
  return lines + std::string("\0\x01", 2);
}

// The very picture as a file of another format, made by its library.
std::string InnerFile(const char* suffix) {
  std::string pixels = Repeat(std::string("\xff\0\0", 3), kEdge * kEdge / 2) +
                       Repeat(std::string("\0\0\xff", 3), kEdge * kEdge / 2);
  if (VIPS_INIT("test") != 0) return {};
  VipsImage* image =
      vips_image_new_from_memory(pixels.data(), pixels.size(), kEdge, kEdge, 3, VIPS_FORMAT_UCHAR);
  void* bytes = nullptr;
  std::size_t length = 0;
  if (vips_image_write_to_buffer(image, suffix, &bytes, &length, nullptr) != 0) return {};
  std::string file(static_cast<const char*>(bytes), length);
  g_free(bytes);
  g_object_unref(image);
  return file;
}
std::string FileWithin(std::uint32_t compression, const std::string& inner) {
  std::string header = Info(40, 0, compression);
  header.replace(20, 4, Long(static_cast<std::uint32_t>(inner.size())));
  // Behind the inner file lies what does not belong to it.
  return File(header, "", inner + "rest");
}

struct Variant {
  const char* name;
  std::string bytes;
};

std::vector<Variant> Variants() {
  const std::string table = kRedEntry + kBlueEntry;
  const std::string coreTable = kRedEntry.substr(0, 3) + kBlueEntry.substr(0, 3) + std::string(254 * 3, '\0');
  const std::string red8(kEdge, '\0'), blue8(kEdge, '\1');
  const auto in32 = [](std::uint32_t red, std::uint32_t blue) {
    return Pixels(Repeat(Long(red)), Repeat(Long(blue)));
  };
  const auto in16 = [](unsigned red, unsigned blue) {
    return Pixels(Repeat(Short(red)), Repeat(Short(blue)));
  };
  std::string wrongSize = File(Info(40, 24, 0), "", Lines24());
  wrongSize.replace(2, 4, Long(0));
  return {
      {"Core24", File(Core(24), "", Lines24())},
      {"Core8", File(Core(8), coreTable, Pixels(red8, blue8))},
      {"Header16", File(Long(16) + Long(kEdge) + Long(kEdge) + Short(1) + Short(24), "", Lines24())},
      {"Header64", File(Info(64, 24, 0), "", Lines24())},
      {"Header52Masks", File(Info(52, 32, 3, 0, Lines::BottomUp, Masks(0xFF000000, 0xFF0000, 0xFF00)), "",
                             in32(0xFF000000, 0xFF00))},
      {"Header56Masks",
       File(Info(56, 32, 3, 0, Lines::BottomUp, Masks(0xFF, 0xFF00, 0xFF0000)), "", in32(0xFF, 0xFF0000))},
      {"Header124", File(Info(124, 24, 0), "", Lines24())},
      {"Masks10Bits", File(Info(40, 32, 3), Masks(0x3FF00000, 0xFFC00, 0x3FF), in32(0x3FF00000, 0x3FF))},
      {"Masks4Bits", File(Info(40, 16, 3), Masks(0x00F0, 0x0F00, 0xF000), in16(0x00F0, 0xF000))},
      {"Masks231", File(Info(40, 16, 3), Masks(0x30, 0x0E, 0x01), in16(0x30, 0x01))},
      {"AlphaMasks",
       File(Info(40, 32, 6), Masks(0xFF0000, 0xFF00, 0xFF) + Long(0xFF000000), in32(0xFFFF0000, 0xFF0000FF))},
      {"Rgb555", File(Info(40, 16, 0), "", in16(0x7C00, 0x001F))},
      {"Rgb565", File(Info(40, 16, 3), Masks(0xF800, 0x07E0, 0x001F), in16(0xF800, 0x001F))},
      {"Rgb32", File(Info(40, 32, 0), "", in32(0xFF0000, 0x0000FF))},
      {"OneBit", File(Info(40, 1, 0), table, Pixels(std::string(4, '\0'), std::string(4, '\xff')))},
      {"TwoBits", File(Info(40, 2, 0, 2), table, Pixels(std::string(8, '\0'), std::string(8, '\x55')))},
      {"FourBits", File(Info(40, 4, 0, 2), table, Pixels(std::string(16, '\0'), std::string(16, '\x11')))},
      {"EightBits", File(Info(40, 8, 0, 2), table, Pixels(red8, blue8))},
      {"EightBitsTopDown",
       File(Info(40, 8, 0, 2, Lines::TopDown), table, Pixels(red8, blue8, Lines::TopDown))},
      {"TopDown24", File(Info(40, 24, 0, 0, Lines::TopDown), "", Lines24(Lines::TopDown))},
      {"TopDownMasks231", File(Info(40, 16, 3, 0, Lines::TopDown), Masks(0x30, 0x0E, 0x01),
                               Pixels(Repeat(Short(0x30)), Repeat(Short(1)), Lines::TopDown))},
      {"Rle8", File(Info(40, 8, 1, 2), table, Rle8())},
      {"Rle4", File(Info(40, 4, 2, 2), table, Rle4())},
      {"Rle8OfHeader64", File(Info(64, 8, 1, 2), table, Rle8())},
      {"Rle8OfHeader52", File(Info(52, 8, 1, 2), table, Rle8())},
      {"Rle4OfHeader52", File(Info(52, 4, 2, 2), table, Rle4())},
      {"Rle24OfHeader64", File(Info(64, 24, 4), "", Rle24())},
      {"JpegWithin", FileWithin(4, InnerFile(".jpg[Q=100]"))},
      {"PngWithin", FileWithin(5, InnerFile(".png"))},
      {"FourBitsOfHeader52",
       File(Info(52, 4, 0, 2), table, Pixels(std::string(16, '\0'), std::string(16, '\x11')))},
      {"WrongFileSize", wrongSize},
      {"ColorTableOf300", File(Info(40, 8, 0, 300), table + std::string(298 * 4, '\0'), Pixels(red8, blue8))},
  };
}

class BmpVariantTest : public testing::TestWithParam<Variant> {};

TEST_P(BmpVariantTest, ShowsItsColors) {
  const TemporaryFolder folder;
  const auto path = folder.Write("picture.bmp", GetParam().bytes);
  PictureMetadata metadata;
  std::int64_t time = 0;
  ASSERT_TRUE(ReadExif(path, metadata, time));
  EXPECT_EQ(metadata.width, kEdge);
  EXPECT_EQ(metadata.height, kEdge);
  ASSERT_TRUE(MakeThumbnail(path, folder.Wide("thumbnail.jpg"), kEdge));
  ASSERT_EQ(VIPS_INIT("test"), 0);
  VipsImage* image = vips_image_new_from_file((folder / "thumbnail.jpg").c_str(), nullptr);
  ASSERT_NE(image, nullptr);
  for (const int x : {2, kEdge / 2, kEdge - 3}) {
    for (const bool upper : {true, false}) {
      double* color = nullptr;
      int count = 0;
      ASSERT_EQ(vips_getpoint(image, &color, &count, x, upper ? 4 : kEdge - 5, nullptr), 0);
      EXPECT_NEAR(color[0], upper ? 255 : 0, 12) << x;
      EXPECT_NEAR(color[1], 0, 12) << x;
      EXPECT_NEAR(color[2], upper ? 0 : 255, 12) << x;
      g_free(color);
    }
  }
  g_object_unref(image);
}

INSTANTIATE_TEST_SUITE_P(Bitmaps, BmpVariantTest, testing::ValuesIn(Variants()),
                         [](const auto& variant) { return variant.param.name; });

// The number of the compression that elsewhere means masks.
TEST(BmpContentTest, FaxLinesAreNotDecodableFromTheStart) {
  const TemporaryFolder folder;
  const auto path = folder.Write("fax.bmp", File(Info(64, 1, 3), "", std::string(64, '\x35')));
  PictureMetadata metadata;
  std::int64_t time = 0;
  MediaFailure why = MediaFailure::None;
  EXPECT_FALSE(ReadExif(path, metadata, time, &why));
  EXPECT_EQ(why, MediaFailure::NotDecodable);
}

// Every cut and every flip gives a picture or a failure.
TEST(BmpDamageTest, DamagedVariantsNeverCrash) {
  const TemporaryFolder folder;
  unsigned random = 7;
  for (const Variant& variant : Variants()) {
    for (int round = 0; round < 8; ++round) {
      std::string bytes = variant.bytes;
      for (int flip = 0; flip < 3; ++flip) {
        random = random * 1103515245 + 12345;
        bytes[14 + random / 65536 % 60] = static_cast<char>(random >> 8);
      }
      bytes.resize(bytes.size() - random / 65536 % (bytes.size() / 2));
      (void)MakeThumbnail(folder.Write("picture.bmp", bytes), folder.Wide("thumbnail.jpg"), kEdge);
    }
  }
}

}  // namespace
