#include "utils/thumbnailmaker.h"

#include <fstream>

#include "common/platform/files.h"
#include "common/platform/guid.h"
#include "common/platform/paths.h"
#include "utils/mediareading.h"
#include "utils/shrinkpicture.h"

namespace {

constexpr int kJpegQuality = 85;

// JPEG has neither transparency nor more than 8 bits or other colours than
// grey and RGB here.
VipsOwner<VipsImage> Opaque(VipsImage* image) {
  VipsOwner<VipsImage> rgb = VipsResult(
      [&](VipsImage** out) { return vips_colourspace(image, out, VIPS_INTERPRETATION_sRGB, nullptr); });
  if (!rgb || !vips_image_hasalpha(rgb.get())) return rgb;
  const double white[] = {255, 255, 255};
  const std::unique_ptr<VipsArea, decltype(&vips_area_unref)> background(
      reinterpret_cast<VipsArea*>(vips_array_double_new(white, 3)), &vips_area_unref);
  return VipsResult(
      [&](VipsImage** out) { return vips_flatten(rgb.get(), out, "background", background.get(), nullptr); });
}

std::string EncodeJpeg(VipsImage* image) {
  const auto opaque = Opaque(image);
  if (!opaque) return {};
  void* bytes = nullptr;
  std::size_t length = 0;
  if (vips_jpegsave_buffer(opaque.get(), &bytes, &length, "Q", kJpegQuality, "strip", TRUE, "optimize_coding",
                           TRUE, nullptr) != 0) {
    return {};
  }
  const std::unique_ptr<void, decltype(&g_free)> owner(bytes, &g_free);
  return {static_cast<const char*>(bytes), length};
}

PictureSink Into(std::string& jpeg) {
  return [&jpeg](VipsImage* picture) {
    jpeg = EncodeJpeg(picture);
    return !jpeg.empty();
  };
}

bool IsSameFile(const std::filesystem::path& source, const std::filesystem::path& target) {
  std::error_code error;
  return std::filesystem::equivalent(source, target, error) ||
         platform::Resolve(source) == platform::Resolve(target);
}

// A thumbnail can be made again at any time, so it is not worth the wait for the
// disk that a durable write costs; a reader still never sees a part of it.
bool Replace(const std::filesystem::path& target, const std::string& jpeg) {
  auto temporary = target;
  temporary += "." + platform::NewGuid() + ".tmp";
  std::ofstream file(temporary, std::ios::binary);
  file.write(jpeg.data(), static_cast<std::streamsize>(jpeg.size()));
  file.close();
  const bool written = static_cast<bool>(file);
  std::error_code ignored;
  if (written && !std::filesystem::is_directory(target, ignored) &&
      !platform::RenameOver(temporary, target)) {
    return true;
  }
  std::filesystem::remove(temporary, ignored);
  return false;
}

}  // namespace

std::string MediaReading::Thumbnail(const std::wstring& source, const std::wstring& target, int longEdge) {
  const auto nativeSource = platform::NativePath(source);
  const auto nativeTarget = platform::NativePath(target);
  if (longEdge < 1 || source.empty() || target.empty()) return "wrong arguments";
  if (IsSameFile(nativeSource, nativeTarget)) return "target is the source";
  if (!StartVips()) return "the picture library does not start";
  (void)TakeVipsError();  // Warnings about earlier pictures.
  std::string cause, jpeg;
  if (!ShrinkPicture(source, longEdge, Into(jpeg), cause)) return cause.empty() ? "no picture" : cause;
  std::error_code error;
  std::filesystem::create_directories(nativeTarget.parent_path(), error);
  if (error) return "make folder, error:" + std::to_string(error.value());
  return Replace(nativeTarget, jpeg) ? std::string() : "write thumbnail";
}

bool MakeNeutralThumbnail(const std::wstring& target) {
  constexpr int kWidth = 320, kHeight = 240;
  std::string jpeg;
  if (!StartVips() || !GreyPicture(kWidth, kHeight, Into(jpeg))) return false;
  return Replace(platform::NativePath(target), jpeg);
}
