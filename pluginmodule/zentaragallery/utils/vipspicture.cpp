#include "utils/vipspicture.h"

#include <array>

#include "utils/decodelimits.h"
#include "utils/galleryutilslog.h"

namespace {

// Every other loader is blocked: the formats of documents, maps and science
// would only widen what a hostile file can reach.
constexpr std::array kAllowedLoaders = {"VipsForeignLoadJpeg", "VipsForeignLoadPng", "VipsForeignLoadNsgif",
                                        "VipsForeignLoadHeif"};

// One broken picture can leave a hundred lines.
constexpr std::size_t kMaxErrorBytes = 300;

void DropMessage(const gchar*, GLogLevelFlags, const gchar*, gpointer) {}

bool Start() {
  // Broken pictures are ordinary input here; the library would print a warning
  // on standard error for each.
  g_log_set_handler("VIPS", static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK), DropMessage, nullptr);
  if (VIPS_INIT("zentara") != 0) {
    LogUtilsError(__LINE__, "StartVips", "start picture library failed: " + TakeVipsError());
    return false;
  }
  vips_concurrency_set(1);
  vips_cache_set_max(0);
  vips_operation_block_set("VipsForeignLoad", TRUE);
  for (const char* loader : kAllowedLoaders) vips_operation_block_set(loader, FALSE);
  return true;
}

// Bytes that decoding holds for each pixel of the picture; 0 for a format that
// is read line by line.
std::int64_t HeldBytesPerPixel(VipsImage* image, PictureFormat format) {
  if (format == PictureFormat::Heif || format == PictureFormat::Gif) return 4;
  if (!IsInterlaced(image)) return 0;
  // A progressive JPEG is kept as coefficients of 16 bits.
  return std::int64_t{image->Bands} * 2;
}

bool WithinLimits(VipsImage* image, PictureFormat format) {
  const std::int64_t held = HeldBytesPerPixel(image, format);
  return PixelsAllowed(image->Xsize, image->Ysize) &&
         (held == 0 || MemoryAllowed(image->Xsize, image->Ysize, held));
}

VipsOwner<VipsImage> LoadLines(VipsSource* source) {
  return VipsOwner<VipsImage>(
      vips_image_new_from_source(source, "", "access", VIPS_ACCESS_SEQUENTIAL, nullptr));
}

VipsOwner<VipsImage> Checked(VipsOwner<VipsImage> image, PictureFormat format, MediaFailure& why) {
  if (!image) {
    (void)TakeVipsError();
    why = MediaFailure::NotDecodable;
    return nullptr;
  }
  if (WithinLimits(image.get(), format)) return image;
  why = MediaFailure::TooLarge;
  return nullptr;
}

}  // namespace

bool StartVips() {
  static const bool started = Start();
  return started;
}

bool IsInterlaced(VipsImage* image) {
  for (const char* name : {"interlaced", "jpeg-multiscan"}) {
    int value = 0;
    if (vips_image_get_typeof(image, name) && vips_image_get_int(image, name, &value) == 0 && value)
      return true;
  }
  return false;
}

std::string TakeVipsError() {
  const std::unique_ptr<char, decltype(&g_free)> copy(vips_error_buffer_copy(), &g_free);
  std::istringstream lines(copy ? copy.get() : "");
  std::string text;
  for (std::string line; std::getline(lines, line) && text.size() < kMaxErrorBytes;) {
    if (line.find('/') == std::string::npos) text += line + " ";
  }
  return text.substr(0, kMaxErrorBytes);
}

VipsOwner<VipsSource> OpenSource(const std::filesystem::path& path) {
  return VipsOwner<VipsSource>(vips_source_new_from_file(path.c_str()));
}

VipsOwner<VipsImage> OpenHeader(const std::filesystem::path& path, PictureFormat format, MediaFailure& why) {
  const auto source = OpenSource(path);
  if (source) return Checked(LoadLines(source.get()), format, why);
  (void)TakeVipsError();
  why = MediaFailure::CannotOpen;
  return nullptr;
}

VipsOwner<VipsImage> OpenHeaderOf(std::string_view bytes, PictureFormat format, MediaFailure& why) {
  const VipsOwner<VipsSource> source(vips_source_new_from_memory(bytes.data(), bytes.size()));
  return Checked(source ? LoadLines(source.get()) : nullptr, format, why);
}
