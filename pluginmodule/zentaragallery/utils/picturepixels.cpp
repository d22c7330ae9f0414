#include "utils/picturepixels.h"

#include <fcntl.h>
#include <unistd.h>

#include "common/platform/paths.h"
#include "utils/decodelimits.h"
#include "utils/mediareading.h"
#include "utils/shrinkpicture.h"

namespace {

constexpr mode_t kOwnerOnly = 0600;

int IntOf(VipsImage* image, const char* name, int otherwise) {
  int value = otherwise;
  if (!vips_image_get_typeof(image, name) || vips_image_get_int(image, name, &value) != 0) return otherwise;
  return value;
}

// 8 bits a band, red, green and blue, with or without opacity.
VipsOwner<VipsImage> PlainRgb(VipsImage* image) {
  const auto colours = VipsResult(
      [&](VipsImage** out) { return vips_colourspace(image, out, VIPS_INTERPRETATION_sRGB, nullptr); });
  if (!colours || colours->Bands < 3) return nullptr;
  const int bands = vips_image_hasalpha(colours.get()) ? 4 : 3;
  const auto kept = VipsResult(
      [&](VipsImage** out) { return vips_extract_band(colours.get(), out, 0, "n", bands, nullptr); });
  if (!kept) return nullptr;
  return VipsResult([&](VipsImage** out) { return vips_cast_uchar(kept.get(), out, nullptr); });
}

void TakeFrames(VipsImage* image, PicturePixels& pixels) {
  const int pageHeight = IntOf(image, VIPS_META_PAGE_HEIGHT, image->Ysize);
  if (pageHeight < 1 || pageHeight >= image->Ysize || image->Ysize % pageHeight != 0) return;
  pixels.height = pageHeight;
  pixels.loops = IntOf(image, "loop", 0);
  pixels.delays.assign(static_cast<std::size_t>(image->Ysize / pageHeight), 0);
  int* delays = nullptr;
  int count = 0;
  if (!vips_image_get_typeof(image, "delay") ||
      vips_image_get_array_int(image, "delay", &delays, &count) != 0)
    return;
  for (std::size_t i = 0; i < pixels.delays.size() && i < static_cast<std::size_t>(count); ++i)
    pixels.delays[i] = delays[i];
}

bool Write(VipsImage* image, const std::filesystem::path& target) {
  const int file = ::open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, kOwnerOnly);
  if (file < 0) return false;
  const bool written = vips_rawsave_fd(image, file, nullptr) == 0;
  return ::close(file) == 0 && written;
}

bool WritePixels(VipsImage* image, const std::filesystem::path& target, PicturePixels& pixels) {
  const auto rgb = PlainRgb(image);
  if (!rgb) return false;
  pixels = {};
  pixels.width = rgb->Xsize;
  pixels.height = rgb->Ysize;
  pixels.bands = rgb->Bands;
  pixels.orientation = vips_image_get_orientation(image);
  TakeFrames(image, pixels);
  return Write(rgb.get(), target);
}

}  // namespace

Json::Value PicturePixels::ToJson() const {
  Json::Value json(Json::objectValue);
  json["width"] = width;
  json["height"] = height;
  json["bands"] = bands;
  json["orientation"] = orientation;
  json["loops"] = loops;
  for (const std::int32_t delay : delays) json["delays"].append(delay);
  return json;
}

bool PicturePixels::FromJson(const Json::Value& json) {
  if (!json.isObject()) return false;
  const auto number = [&json](const char* name, std::int32_t& value) {
    if (json[name].isInt()) value = json[name].asInt();
  };
  number("width", width);
  number("height", height);
  number("bands", bands);
  number("orientation", orientation);
  number("loops", loops);
  delays.clear();
  for (const Json::Value& delay : json["delays"]) delays.push_back(delay.isInt() ? delay.asInt() : 0);
  return PixelsAllowed(width, height) && (bands == 3 || bands == 4);
}

std::string MediaReading::Pixels(const std::wstring& source, const std::wstring& target, int longEdge,
                                 PicturePixels& pixels) {
  if (longEdge < 0 || source.empty() || target.empty()) return "wrong arguments";
  if (!StartVips()) return "the picture library does not start";
  (void)TakeVipsError();  // Warnings about earlier pictures.
  const auto path = platform::NativePath(target);
  std::string cause;
  const auto write = [&](VipsImage* picture) { return WritePixels(picture, path, pixels); };
  if (ShrinkPicture(source, longEdge, write, cause)) return {};
  std::error_code ignored;
  std::filesystem::remove(path, ignored);
  return cause.empty() ? "no picture" : cause;
}
