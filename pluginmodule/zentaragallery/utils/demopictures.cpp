#include "utils/demopictures.h"

#include <cstdio>

#include "common/platform/files.h"
#include "utils/demolandscape.h"
#include "utils/demovideo.h"
#include "utils/exifwriter.h"
#include "utils/galleryutilslog.h"
#include "utils/vipspicture.h"

namespace {

using Mood = Landscape::Mood;

constexpr int kLongEdge = 1600;
constexpr int kShortEdge = 1200;
constexpr int kBurstLongEdge = 1200;
constexpr int kBurstShortEdge = 900;
constexpr int kBurstFrames = 10;
constexpr int kGifWidth = 400;
constexpr int kGifHeight = 300;
constexpr int kGifFrames = 16;
constexpr int kGifDelayMs = 100;
constexpr int kJpegQuality = 88;

// The cameras are invented.
constexpr char kFirstMaker[] = "Demo Optics";
constexpr char kFirstModel[] = "DO-1";
constexpr char kSecondMaker[] = "Sample Cameras";
constexpr char kSecondModel[] = "Field 2";

struct Photograph {
  const char* name;
  Landscape landscape;
  ExifToWrite exif;
};

// Positions lie where local time is UTC, so that a clock and a satellite agree.
std::vector<Photograph> Photographs() {
  return {
      {"IMG_20240612_061500.jpg",
       {Mood::Morning, 3, 0.2, true},
       {kFirstMaker, kFirstModel, "2024:06:12 06:15:00", "2024:06:12 06:15:00", 64.1466, -21.9426}},
      {"IMG_20240612_124000.jpg",
       {Mood::Noon, 10, 0.32, false},
       {kFirstMaker, kFirstModel, "2024:06:12 12:40:00", "", 0, 0}},
      {"IMG_20240612_213000.jpg",
       {Mood::Sunset, 17, 0.44, true},
       {kFirstMaker, kFirstModel, "2024:06:12 21:30:00", "", 0, 0, 6, 200, 60}},
      {"IMG_20240613_233000.jpg",
       {Mood::Night, 24, 0.56, false},
       {kFirstMaker, kFirstModel, "2024:06:13 23:30:00", "", 0, 0, 3, 1600, 15}},
      {"秋天的湖.jpg",
       {Mood::Autumn, 31, 0.68, true},
       {kSecondMaker, kSecondModel, "2023:10:08 15:20:00", "", 0, 0}},
      {"ภูเขาในฤดูหนาว.jpg",
       {Mood::Winter, 38, 0.8, false},
       {kSecondMaker, kSecondModel, "2024:01:20 11:05:00", "", 0, 0, 8}},
      {"🌄 sunrise.jpg",
       {Mood::Morning, 52, 0.62, false},
       {kSecondMaker, kSecondModel, "2024:06:13 05:10:00", "2024:06:13 05:10:00", 63.4187, -19.0060}},
  };
}

VipsOwner<VipsImage> ToImage(const std::vector<std::uint8_t>& pixels, int width, int height) {
  return VipsOwner<VipsImage>(
      vips_image_new_from_memory(pixels.data(), pixels.size(), width, height, 3, VIPS_FORMAT_UCHAR));
}

// The bytes that one of the library's writers puts out, which are the library's.
std::string TakeBytes(int result, void* bytes, std::size_t length) {
  const std::unique_ptr<void, decltype(&g_free)> owner(bytes, &g_free);
  return result == 0 && bytes ? std::string(static_cast<const char*>(bytes), length) : std::string();
}

// How the camera was held: its sensor's lines are the upright picture turned back.
VipsAngle SensorAngle(std::uint16_t orientation) {
  switch (orientation) {
    case 3:
      return VIPS_ANGLE_D180;
    case 6:
      return VIPS_ANGLE_D270;
    case 8:
      return VIPS_ANGLE_D90;
    default:
      return VIPS_ANGLE_D0;
  }
}

// The marker segment of the EXIF comes first: FF D8 [FF E1, length, EXIF] ...
std::string InsertExif(const std::string& jpeg, const std::string& exif) {
  if (jpeg.size() < 2 || exif.empty()) return {};
  const std::size_t length = exif.size() + 2;
  const std::string segment{'\xff', '\xe1', static_cast<char>(length >> 8), static_cast<char>(length & 0xFF)};
  return jpeg.substr(0, 2) + segment + exif + jpeg.substr(2);
}

std::string EncodePhotograph(const Landscape& landscape, const ExifToWrite& exif, int longEdge,
                             int shortEdge) {
  const bool portrait = exif.orientation > 4;
  const int width = portrait ? shortEdge : longEdge;
  const int height = portrait ? longEdge : shortEdge;
  const auto pixels = DrawLandscape(landscape, width, height);
  const auto upright = ToImage(pixels, width, height);
  VipsImage* turned = nullptr;
  if (!upright || vips_rot(upright.get(), &turned, SensorAngle(exif.orientation), nullptr) != 0) return {};
  const VipsOwner<VipsImage> sensor(turned);
  void* bytes = nullptr;
  std::size_t length = 0;
  const int result =
      vips_jpegsave_buffer(sensor.get(), &bytes, &length, "Q", kJpegQuality, "strip", TRUE, nullptr);
  return InsertExif(TakeBytes(result, bytes, length), WriteExif(exif));
}

std::string EncodePng() {
  constexpr int kPngWidth = 1800;
  constexpr int kPngHeight = 700;
  const auto pixels = DrawLandscape({Mood::Night, 66, 0.3, true}, kPngWidth, kPngHeight);
  const auto image = ToImage(pixels, kPngWidth, kPngHeight);
  void* bytes = nullptr;
  std::size_t length = 0;
  const int result = image ? vips_pngsave_buffer(image.get(), &bytes, &length, nullptr) : -1;
  return TakeBytes(result, bytes, length);
}

// The library takes the frames of an animation one below the other.
std::string EncodeGif() {
  std::vector<std::uint8_t> pixels;
  for (int frame = 0; frame < kGifFrames; ++frame) {
    const double sunX = -0.1 + 1.2 * frame / (kGifFrames - 1);
    const auto drawn = DrawLandscape({Mood::Noon, 73, sunX, true}, kGifWidth, kGifHeight);
    pixels.insert(pixels.end(), drawn.begin(), drawn.end());
  }
  const auto image = ToImage(pixels, kGifWidth, kGifHeight * kGifFrames);
  if (!image) return {};
  const std::vector<int> delays(kGifFrames, kGifDelayMs);
  vips_image_set_int(image.get(), VIPS_META_PAGE_HEIGHT, kGifHeight);
  vips_image_set_int(image.get(), "loop", 0);
  vips_image_set_array_int(image.get(), "delay", delays.data(), kGifFrames);
  void* bytes = nullptr;
  std::size_t length = 0;
  const int result = vips_gifsave_buffer(image.get(), &bytes, &length, nullptr);
  return TakeBytes(result, bytes, length);
}

std::string BurstName(int number) {
  char name[64];
  std::snprintf(name, sizeof name, "IMG_20240612_101500_BURST%03d%s.jpg", number,
                number == 1 ? "_COVER" : "");
  return name;
}

std::string EncodeBurst(int number) {
  const Landscape landscape{Mood::Noon, 80, 0.2 + 0.06 * number, true};
  const ExifToWrite exif{kFirstMaker, kFirstModel, "2024:06:12 10:15:00", "", 0, 0, 1, 100, 1000};
  return EncodePhotograph(landscape, exif, kBurstLongEdge, kBurstShortEdge);
}

// Collects the files of the set and makes those that are missing.
class DemoSet {
 public:
  explicit DemoSet(const std::filesystem::path& target) : folder(target) {}

  bool Add(const std::string& name, const std::function<std::string()>& encode) {
    files.push_back(folder / name);
    if (Exists(files.back())) return true;
    const std::string bytes = encode();
    if (bytes.empty()) return Fail(__LINE__, "encode failed: " + TakeVipsError());
    const std::error_code error = platform::ReplaceAtomically(files.back(), bytes);
    return !error || Fail(__LINE__, "write failed, error:" + std::to_string(error.value()));
  }

  bool AddVideo(const std::string& name) {
    files.push_back(folder / name);
    if (Exists(files.back())) return true;
    const auto temporary = folder / (name + ".tmp");
    if (WriteDemoVideo(temporary) && !platform::RenameOver(temporary, files.back())) return true;
    std::error_code ignored;
    std::filesystem::remove(temporary, ignored);
    return Fail(__LINE__, "write video failed");
  }

  std::vector<std::filesystem::path> Files() && { return std::move(files); }

 private:
  static bool Exists(const std::filesystem::path& file) {
    std::error_code ignored;
    return std::filesystem::exists(file, ignored);
  }

  static bool Fail(int line, const std::string& text) {
    LogUtilsError(line, "MakeDemoPictures", text);
    return false;
  }

  const std::filesystem::path& folder;
  std::vector<std::filesystem::path> files;
};

bool AddAll(DemoSet& set) {
  for (const Photograph& photograph : Photographs()) {
    const auto encode = [&] {
      return EncodePhotograph(photograph.landscape, photograph.exif, kLongEdge, kShortEdge);
    };
    if (!set.Add(photograph.name, encode)) return false;
  }
  for (int number = 1; number <= kBurstFrames; ++number) {
    if (!set.Add(BurstName(number), [number] { return EncodeBurst(number); })) return false;
  }
  return set.Add("panorama.png", EncodePng) && set.Add("one day.gif", EncodeGif) &&
         set.AddVideo("VID_20240613_213000.mp4");
}

}  // namespace

std::vector<std::filesystem::path> MakeDemoPictures(const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error || !StartVips()) {
    LogUtilsError(__LINE__, "MakeDemoPictures", "make folder failed, error:" + std::to_string(error.value()));
    return {};
  }
  DemoSet set(folder);
  if (!AddAll(set)) return {};
  return std::move(set).Files();
}
