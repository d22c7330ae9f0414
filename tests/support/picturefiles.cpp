#include "tests/support/picturefiles.h"

#include <vips/vips.h>

namespace {

std::string BigLong(std::uint32_t value) {
  return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
          static_cast<char>(value)};
}

std::size_t SizeOfType(int type) {
  switch (type) {
    case kShort:
      return 2;
    case kLong:
      return 4;
    case kRational:
    case kSignedRational:
      return 8;
    default:
      return 1;
  }
}

// One directory at `offset`, followed by the values that do not fit into it.
std::string Directory(const std::vector<Tag>& tags, std::size_t offset) {
  std::string entries = Short(static_cast<unsigned>(tags.size()));
  std::string values;
  const std::size_t valuesAt = offset + 2 + tags.size() * 12 + 4;
  for (const Tag& tag : tags) {
    entries += Short(static_cast<unsigned>(tag.number)) + Short(static_cast<unsigned>(tag.type)) +
               Long(static_cast<std::uint32_t>(tag.bytes.size() / SizeOfType(tag.type)));
    if (tag.bytes.size() <= 4) {
      entries += tag.bytes + std::string(4 - tag.bytes.size(), '\0');
    } else {
      entries += Long(static_cast<std::uint32_t>(valuesAt + values.size()));
      values += tag.bytes + std::string(tag.bytes.size() % 2, '\0');
    }
  }
  return entries + Long(0) + values;
}

constexpr std::size_t kHeaderBytes = 8;

std::string TiffHeader() { return std::string("II*\0", 4) + Long(kHeaderBytes); }

std::string EncodeJpeg(int width, int height, bool progressive = false) {
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width * height * 3));
  for (int y = 0; y < height / 2; ++y) {
    for (int x = 0; x < width / 2; ++x) pixels[static_cast<std::size_t>((y * width + x) * 3)] = 255;
  }
  VIPS_INIT("test");
  VipsImage* image =
      vips_image_new_from_memory_copy(pixels.data(), pixels.size(), width, height, 3, VIPS_FORMAT_UCHAR);
  void* bytes = nullptr;
  std::size_t length = 0;
  vips_jpegsave_buffer(image, &bytes, &length, "Q", 95, "no_subsample", TRUE, "strip", TRUE, "interlace",
                       progressive ? TRUE : FALSE, nullptr);
  std::string jpeg(static_cast<const char*>(bytes), length);
  g_free(bytes);
  g_object_unref(image);
  return jpeg;
}

}  // namespace

std::string Short(unsigned value) { return {static_cast<char>(value), static_cast<char>(value >> 8)}; }

std::string Long(std::uint32_t value) { return Short(value & 0xFFFF) + Short(value >> 16); }

std::string Rational(std::uint32_t numerator, std::uint32_t denominator) {
  return Long(numerator) + Long(denominator);
}

Tag TextTag(int number, const std::string& text) { return {number, kAscii, text + '\0'}; }

Tag ShortTag(int number, unsigned value) { return {number, kShort, Short(value)}; }

Tag RationalTag(int number, std::uint32_t numerator, std::uint32_t denominator) {
  return {number, kRational, Rational(numerator, denominator)};
}

std::string Exif(const std::vector<Tag>& main, const std::vector<Tag>& exif, const std::vector<Tag>& gps) {
  constexpr int kExifPointer = 34665;
  constexpr int kGpsPointer = 34853;
  std::vector<Tag> first = main;
  first.push_back({kExifPointer, kLong, Long(0)});
  first.push_back({kGpsPointer, kLong, Long(0)});
  const std::size_t exifAt = kHeaderBytes + Directory(first, kHeaderBytes).size();
  const std::size_t gpsAt = exifAt + Directory(exif, exifAt).size();
  first[main.size()].bytes = Long(static_cast<std::uint32_t>(exifAt));
  first[main.size() + 1].bytes = Long(static_cast<std::uint32_t>(gpsAt));
  return std::string("Exif\0\0", 6) + TiffHeader() + Directory(first, kHeaderBytes) +
         Directory(exif, exifAt) + Directory(gps, gpsAt);
}

std::string JpegWith(const std::string& exif, int width, int height) {
  const std::string jpeg = EncodeJpeg(width, height);
  if (exif.empty()) return jpeg;
  const std::size_t length = exif.size() + 2;
  const std::string segment{'\xff', '\xe1', static_cast<char>(length >> 8), static_cast<char>(length)};
  return jpeg.substr(0, 2) + segment + exif + jpeg.substr(2);
}

std::string ProgressiveJpeg(int width, int height) { return EncodeJpeg(width, height, true); }

std::string PngClaiming(std::uint32_t width, std::uint32_t height, bool interlaced) {
  const auto chunk = [](const std::string& typeAndData) {
    std::uint32_t crc = 0xFFFFFFFFu;
    for (const char byte : typeAndData) {
      crc ^= static_cast<unsigned char>(byte);
      for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) ? 0xEDB88320u : 0u);
    }
    return BigLong(static_cast<std::uint32_t>(typeAndData.size() - 4)) + typeAndData + BigLong(~crc);
  };
  const std::string format{'\x08', '\x02', '\0', '\0', interlaced ? '\x01' : '\0'};
  const std::string emptyStream("\x78\x9c\x03\x00\x00\x00\x00\x01", 8);
  return "\x89PNG\r\n\x1a\n" + chunk("IHDR" + BigLong(width) + BigLong(height) + format) +
         chunk("IDAT" + emptyStream) + chunk("IEND");
}

std::string Bmp(std::int32_t width, std::int32_t height) {
  const std::size_t stride = (static_cast<std::size_t>(width) * 3 + 3) / 4 * 4;
  const auto pixelBytes = static_cast<std::uint32_t>(stride * static_cast<std::size_t>(height));
  std::string bmp = "BM" + Long(54 + pixelBytes) + Long(0) + Long(54) + Long(40) +
                    Long(static_cast<std::uint32_t>(width)) + Long(static_cast<std::uint32_t>(height)) +
                    Short(1) + Short(24) + Long(0) + Long(pixelBytes) + Long(2835) + Long(2835) + Long(0) +
                    Long(0);
  for (std::int32_t y = 0; y < height; ++y) {  // from the bottom up; bytes are blue, green, red
    std::string line;
    for (std::int32_t x = 0; x < width; ++x)
      line += y < height / 2 ? std::string("\xff\0\0", 3) : std::string("\0\0\xff", 3);
    line.resize(stride);
    bmp += line;
  }
  return bmp;
}

std::string RawWithPreview(unsigned orientation) {
  constexpr std::uint32_t kWidth = 96;
  constexpr std::uint32_t kHeight = 64;
  const std::string jpeg = EncodeJpeg(64, 48);
  const std::string sensor(std::size_t{kWidth} * kHeight * 2, '\x01');
  const auto preview = [&](std::uint32_t at) {
    return std::vector<Tag>{{254, kLong, Long(1)},
                            ShortTag(259, 6),
                            {513, kLong, Long(at)},
                            {514, kLong, Long(static_cast<std::uint32_t>(jpeg.size()))}};
  };
  const auto raw = [&](std::uint32_t at) {
    return std::vector<Tag>{{254, kLong, Long(0)},
                            {256, kLong, Long(kWidth)},
                            {257, kLong, Long(kHeight)},
                            ShortTag(258, 16),
                            ShortTag(259, 1),
                            ShortTag(262, 32803),
                            {273, kLong, Long(at)},
                            ShortTag(277, 1),
                            {278, kLong, Long(kHeight)},
                            {279, kLong, Long(static_cast<std::uint32_t>(sensor.size()))},
                            {33421, kShort, Short(2) + Short(2)},
                            {33422, 1, std::string("\0\1\1\2", 4)}};
  };
  const auto main = [&](std::uint32_t previewAt, std::uint32_t rawAt) {
    return std::vector<Tag>{{254, kLong, Long(1)},
                            {256, kLong, Long(16)},
                            {257, kLong, Long(12)},
                            TextTag(271, "NIKON CORPORATION"),
                            TextTag(272, "NIKON TEST"),
                            ShortTag(274, orientation),
                            TextTag(306, "2024:06:12 10:15:00"),
                            {330, kLong, Long(previewAt) + Long(rawAt)}};
  };
  const std::size_t previewAt = kHeaderBytes + Directory(main(0, 0), kHeaderBytes).size();
  const std::size_t rawAt = previewAt + Directory(preview(0), previewAt).size();
  const std::size_t jpegAt = rawAt + Directory(raw(0), rawAt).size();
  const std::size_t sensorAt = jpegAt + jpeg.size() + jpeg.size() % 2;
  return TiffHeader() +
         Directory(main(static_cast<std::uint32_t>(previewAt), static_cast<std::uint32_t>(rawAt)),
                   kHeaderBytes) +
         Directory(preview(static_cast<std::uint32_t>(jpegAt)), previewAt) +
         Directory(raw(static_cast<std::uint32_t>(sensorAt)), rawAt) + jpeg +
         std::string(jpeg.size() % 2, '\0') + sensor;
}

namespace {

std::string Big(std::uint32_t value, int bytes = 4) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) text += static_cast<char>(value >> shift);
  return text;
}
std::string Box(const std::string& type, const std::string& body) {
  return Big(static_cast<std::uint32_t>(body.size() + 8)) + type + body;
}
// A box with version and flags.
std::string FullBox(const std::string& type, const std::string& body) { return Box(type, Big(0) + body); }

// `matrix` is how the container places the track; zeros say nothing.
std::string VideoTrack(const std::string& matrix = std::string(36, '\0')) {
  const std::string sample = std::string(6, '\0') + Big(1, 2) + std::string(16, '\0') + Big(64, 2) +
                             Big(64, 2) + std::string(50, '\0');
  const std::string table = FullBox("stsd", Big(1) + Box("avc1", sample)) +
                            FullBox("stts", Big(1) + Big(1) + Big(1000)) +
                            FullBox("stsc", Big(1) + Big(1) + Big(1) + Big(1)) +
                            FullBox("stsz", Big(0) + Big(1) + Big(10)) + FullBox("stco", Big(1) + Big(50));
  const std::string media = FullBox("mdhd", Big(0) + Big(0) + Big(1000) + Big(1000) + Big(0)) +
                            FullBox("hdlr", Big(0) + "vide" + std::string(13, '\0')) +
                            Box("minf", Box("stbl", table));
  const std::string header = FullBox("tkhd", Big(0) + Big(0) + Big(1) + Big(0) + Big(1000) +
                                                 std::string(16, '\0') + matrix + std::string(8, '\0'));
  return Box("trak", header + Box("mdia", media));
}

std::string VideoOf(const std::string& tracks) {
  const std::string movie =
      FullBox("mvhd", Big(0) + Big(0) + Big(1000) + Big(1000) + std::string(80, '\0')) + tracks;
  return Box("ftyp", "isom" + Big(1) + "isom") + Box("moov", movie) + Box("mdat", std::string(100, 'x'));
}

}  // namespace

std::string VideoOfTracks(int count) {
  std::string tracks;
  const std::string track = VideoTrack();
  for (int i = 0; i < count; ++i) tracks += track;
  return VideoOf(tracks);
}

std::string TurnedVideo() {
  // a b u, c d v, x y w; fixed point of 16 and, for u, v and w, of 30 bits.
  return VideoOf(VideoTrack(Big(0) + Big(0x10000) + Big(0) + Big(0xFFFF0000) + Big(0) + Big(0) +
                            Big(64 << 16) + Big(0) + Big(0x40000000)));
}
