#include "utils/thumbnailmaker.h"

#include <fstream>

#include "common/platform/files.h"
#include "common/platform/guid.h"
#include "common/platform/paths.h"
#include "utils/bmppicture.h"
#include "utils/decodelimits.h"
#include "utils/mediareading.h"
#include "utils/mediatypes.h"
#include "utils/pictureformat.h"
#include "utils/rawpicture.h"
#include "utils/videoframe.h"
#include "utils/vipspicture.h"

namespace {

constexpr int kJpegQuality = 85;

// A progressive JPEG has about ten scans. Each walks the whole picture, so a small
// file of thousands of empty ones would keep a decoder busy for hours.
constexpr int kMaxScans = 100;
constexpr std::size_t kPictureHeadBytes = std::max(kFormatHeadBytes, kBmpContentHeadBytes);
constexpr std::size_t kScanPassBytes = 0x40000;

// Wraps the way in which the library's operations hand out their result.
template <typename Operation>
VipsOwner<VipsImage> Result(Operation operation) {
  VipsImage* image = nullptr;
  if (operation(&image) == 0) return VipsOwner<VipsImage>(image);
  if (image) g_object_unref(image);
  return nullptr;
}

// Setting up a conversion of colours takes longer than all the rest of a small
// thumbnail, so only a picture with a profile of its own gets one. If its profile
// is damaged, it is shown by its plain numbers.
template <typename Shrink>
VipsOwner<VipsImage> ShrinkWithProfile(VipsImage* header, Shrink shrink) {
  if (vips_image_get_typeof(header, VIPS_META_ICC_NAME)) {
    auto image = Result([&](VipsImage** out) { return shrink(out, "export_profile"); });
    if (image) return image;
  }
  return Result([&](VipsImage** out) { return shrink(out, nullptr); });
}

VipsOwner<VipsImage> ShrinkFile(VipsImage* header, const std::filesystem::path& path, int longEdge) {
  return ShrinkWithProfile(header, [&](VipsImage** out, const char* profileOption) {
    const auto source = OpenSource(path);
    if (!source) return -1;
    return vips_thumbnail_source(source.get(), out, longEdge, "height", longEdge, "size", VIPS_SIZE_DOWN,
                                 profileOption, "srgb", nullptr);
  });
}

// The picture itself, and not what is embedded in its file.
VipsOwner<VipsImage> ShrinkImage(VipsImage* whole, int longEdge) {
  return ShrinkWithProfile(whole, [&](VipsImage** out, const char* profileOption) {
    return vips_thumbnail_image(whole, out, longEdge, "height", longEdge, "size", VIPS_SIZE_DOWN,
                                profileOption, "srgb", nullptr);
  });
}

VipsOwner<VipsImage> ShrinkBytes(VipsImage* header, std::string_view file, int longEdge) {
  auto* bytes = const_cast<char*>(file.data());  // The library takes a plain pointer and only reads.
  return ShrinkWithProfile(header, [&](VipsImage** out, const char* profileOption) {
    return vips_thumbnail_buffer(bytes, file.size(), out, longEdge, "height", longEdge, "size",
                                 VIPS_SIZE_DOWN, profileOption, "srgb", nullptr);
  });
}

VipsOwner<VipsImage> ShrinkPixels(const RgbPicture& picture, int longEdge) {
  const VipsOwner<VipsImage> whole(vips_image_new_from_memory(
      picture.pixels.data(), picture.pixels.size(), picture.width, picture.height, 3, VIPS_FORMAT_UCHAR));
  if (!whole) return nullptr;
  const auto small = Result([&](VipsImage** out) {
    return vips_thumbnail_image(whole.get(), out, longEdge, "height", longEdge, "size", VIPS_SIZE_DOWN,
                                nullptr);
  });
  if (!small) return nullptr;
  const auto turn = static_cast<VipsAngle>(picture.rotation / 90);
  const auto upright = Result([&](VipsImage** out) { return vips_rot(small.get(), out, turn, nullptr); });
  // Computes the pixels while `picture` still holds what they are made of.
  return upright ? VipsOwner<VipsImage>(vips_image_copy_memory(upright.get())) : nullptr;
}

// JPEG has neither transparency nor more than 8 bits or other colours than
// grey and RGB here.
VipsOwner<VipsImage> Opaque(const VipsOwner<VipsImage>& image) {
  VipsOwner<VipsImage> rgb = Result(
      [&](VipsImage** out) { return vips_colourspace(image.get(), out, VIPS_INTERPRETATION_sRGB, nullptr); });
  if (!rgb || !vips_image_hasalpha(rgb.get())) return rgb;
  const double white[] = {255, 255, 255};
  const std::unique_ptr<VipsArea, decltype(&vips_area_unref)> background(
      reinterpret_cast<VipsArea*>(vips_array_double_new(white, 3)), &vips_area_unref);
  return Result(
      [&](VipsImage** out) { return vips_flatten(rgb.get(), out, "background", background.get(), nullptr); });
}

std::string EncodeJpeg(const VipsOwner<VipsImage>& image) {
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

// Counts the markers FF DA. Within the data of a scan an FF is always followed by
// 00, so none is counted by mistake there.
class ScanCounter {
 public:
  // False when there are too many.
  bool Take(std::string_view pass) {
    for (const char byte : pass) {
      if (previous == '\xff' && byte == '\xda') ++scans;
      previous = byte;
    }
    return scans <= kMaxScans;
  }

 private:
  int scans = 0;
  char previous = 0;
};

bool HasTooManyScans(const std::filesystem::path& path) {
  ScanCounter counter;
  bool isGood = true;
  const auto error = platform::ReadInPasses(
      path, kScanPassBytes, [&](std::string_view pass) { return isGood = counter.Take(pass); });
  return error || !isGood;
}

std::string EncodedOrNone(const VipsOwner<VipsImage>& image) {
  return image ? EncodeJpeg(image) : std::string();
}

std::string ThumbnailOfFile(const std::filesystem::path& path, PictureFormat format, int longEdge,
                            std::string& cause) {
  MediaFailure why = MediaFailure::None;
  const auto header = OpenHeader(path, format, why);
  if (!header) {
    cause = why == MediaFailure::TooLarge ? "picture too large" : "read picture header";
    return {};
  }
  if (format == PictureFormat::Jpeg && IsInterlaced(header.get()) && HasTooManyScans(path)) {
    cause = "too many scans";
    return {};
  }
  std::string jpeg = EncodedOrNone(ShrinkFile(header.get(), path, longEdge));
  // The embedded preview that was taken may be of other dimensions than it says.
  if (jpeg.empty() && format == PictureFormat::Heif)
    jpeg = EncodedOrNone(ShrinkImage(header.get(), longEdge));
  if (jpeg.empty()) cause = "decode picture: " + TakeVipsError();
  return jpeg;
}

std::string ThumbnailOfPixels(const std::optional<RgbPicture>& picture, int longEdge, std::string& cause) {
  if (!picture) return {};
  std::string jpeg = EncodedOrNone(ShrinkPixels(*picture, longEdge));
  if (jpeg.empty()) cause = "shrink picture: " + TakeVipsError();
  return jpeg;
}

// Of a file within another one.
std::string ThumbnailOfInner(std::string_view file, PictureFormat format, int longEdge, std::string& cause) {
  MediaFailure why = MediaFailure::None;
  cause = "read inner picture's header";
  const auto header = OpenHeaderOf(file, format, why);
  if (!header) return {};
  cause = "too many scans";
  if (format == PictureFormat::Jpeg && IsInterlaced(header.get()) && !ScanCounter().Take(file)) return {};
  std::string jpeg = EncodedOrNone(ShrinkBytes(header.get(), file, longEdge));
  if (jpeg.empty()) cause = "decode inner picture: " + TakeVipsError();
  return jpeg;
}

std::string ThumbnailOfBmp(const std::filesystem::path& path, const std::string& head, int longEdge,
                           std::string& cause) {
  const auto size = BmpSizeOf(head);
  const BmpContent content = BmpContentOf(head);
  cause = content == BmpContent::Fax ? "bitmap of fax lines" : "bitmap header";
  if (!size || !MemoryAllowed(size->width, size->height, 4) || content == BmpContent::Fax) return {};
  std::string bytes;
  cause = "read bitmap";
  if (platform::ReadFile(path, bytes)) return {};
  if (content == BmpContent::File) {
    const std::string_view inner = BmpInnerFile(bytes);
    return ThumbnailOfInner(inner, FormatOfHead(inner), longEdge, cause);
  }
  cause = "decode bitmap";
  return ThumbnailOfPixels(DecodeBmp(bytes), longEdge, cause);
}

std::string ThumbnailOfRaw(const std::filesystem::path& path, int longEdge, std::string& cause) {
  const std::string preview = ReadRawPreview(path, cause);
  return preview.empty() ? std::string() : ThumbnailOfInner(preview, PictureFormat::Jpeg, longEdge, cause);
}

std::string ThumbnailOf(const std::wstring& source, int longEdge, std::string& cause) {
  const auto path = platform::NativePath(source);
  const std::wstring extension = platform::WideExtension(source);
  if (IsVideoExtension(extension)) return ThumbnailOfPixels(DecodePoster(path, cause), longEdge, cause);
  const std::string head = ReadHead(path, kPictureHeadBytes);
  switch (const PictureFormat format = FormatOfHead(head)) {
    case PictureFormat::Bmp:
      return ThumbnailOfBmp(path, head, longEdge, cause);
    case PictureFormat::Tiff:
      if (extension == L".nef") return ThumbnailOfRaw(path, longEdge, cause);
      [[fallthrough]];
    case PictureFormat::Unknown:
      cause = "unknown picture format";
      return {};
    default:
      return ThumbnailOfFile(path, format, longEdge, cause);
  }
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
  std::string cause;
  const std::string jpeg = ThumbnailOf(source, longEdge, cause);
  if (jpeg.empty()) return cause.empty() ? "no picture" : cause;
  std::error_code error;
  std::filesystem::create_directories(nativeTarget.parent_path(), error);
  if (error) return "make folder, error:" + std::to_string(error.value());
  return Replace(nativeTarget, jpeg) ? std::string() : "write thumbnail";
}

bool MakeNeutralThumbnail(const std::wstring& target) {
  constexpr int kWidth = 320, kHeight = 240;
  constexpr std::uint8_t kGrey = 200;
  RgbPicture grey;
  grey.width = kWidth;
  grey.height = kHeight;
  grey.pixels.assign(std::size_t{kWidth} * kHeight * 3, kGrey);
  if (!StartVips()) return false;
  const std::string jpeg = EncodedOrNone(ShrinkPixels(grey, kWidth));
  return !jpeg.empty() && Replace(platform::NativePath(target), jpeg);
}
