#include "utils/shrinkpicture.h"

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "utils/bmppicture.h"
#include "utils/decodelimits.h"
#include "utils/hevcpicture.h"
#include "utils/mediatypes.h"
#include "utils/pictureformat.h"
#include "utils/rawpicture.h"
#include "utils/videoframe.h"

namespace {

// A progressive JPEG has about ten scans. Each walks the whole picture, so a small
// file of thousands of empty ones would keep a decoder busy for hours.
constexpr int kMaxScans = 100;
constexpr std::size_t kPictureHeadBytes = std::max(kFormatHeadBytes, kBmpContentHeadBytes);
constexpr std::size_t kScanPassBytes = 0x40000;

// Setting up a conversion of colours takes longer than all the rest of a small
// thumbnail, so only a picture with a profile of its own gets one. If its profile
// is damaged, it is shown by its plain numbers.
template <typename Shrink>
VipsOwner<VipsImage> WithProfile(VipsImage* header, Shrink shrink) {
  if (vips_image_get_typeof(header, VIPS_META_ICC_NAME)) {
    auto image = VipsResult([&](VipsImage** out) { return shrink(out, true); });
    if (image) return image;
  }
  return VipsResult([&](VipsImage** out) { return shrink(out, false); });
}

const char* ProfileOption(bool withProfile) { return withProfile ? "export_profile" : nullptr; }

// At its own size, as it lies.
VipsOwner<VipsImage> Whole(VipsImage* image) {
  return WithProfile(image, [image](VipsImage** out, bool withProfile) {
    if (withProfile) return vips_icc_transform(image, out, "srgb", "embedded", TRUE, nullptr);
    return vips_copy(image, out, nullptr);
  });
}

VipsOwner<VipsImage> ShrinkFile(VipsImage* header, const std::filesystem::path& path, int longEdge) {
  if (longEdge == 0) return Whole(header);
  return WithProfile(header, [&](VipsImage** out, bool withProfile) {
    const auto source = OpenSource(path);
    if (!source) return -1;
    return vips_thumbnail_source(source.get(), out, longEdge, "height", longEdge, "size", VIPS_SIZE_DOWN,
                                 ProfileOption(withProfile), "srgb", nullptr);
  });
}

// The picture itself, and not what is embedded in its file.
VipsOwner<VipsImage> ShrinkImage(VipsImage* whole, int longEdge) {
  if (longEdge == 0) return Whole(whole);
  return WithProfile(whole, [&](VipsImage** out, bool withProfile) {
    return vips_thumbnail_image(whole, out, longEdge, "height", longEdge, "size", VIPS_SIZE_DOWN,
                                ProfileOption(withProfile), "srgb", nullptr);
  });
}

VipsOwner<VipsImage> ShrinkBytes(VipsImage* header, std::string_view file, int longEdge) {
  if (longEdge == 0) return Whole(header);
  auto* bytes = const_cast<char*>(file.data());  // The library takes a plain pointer and only reads.
  return WithProfile(header, [&](VipsImage** out, bool withProfile) {
    return vips_thumbnail_buffer(bytes, file.size(), out, longEdge, "height", longEdge, "size",
                                 VIPS_SIZE_DOWN, ProfileOption(withProfile), "srgb", nullptr);
  });
}

bool SinkPixels(const RgbPicture& picture, int longEdge, const PictureSink& sink) {
  const VipsOwner<VipsImage> whole(vips_image_new_from_memory(
      picture.pixels.data(), picture.pixels.size(), picture.width, picture.height, 3, VIPS_FORMAT_UCHAR));
  if (!whole) return false;
  const auto small = VipsResult([&](VipsImage** out) {
    if (longEdge == 0) return vips_copy(whole.get(), out, nullptr);
    return vips_thumbnail_image(whole.get(), out, longEdge, "height", longEdge, "size", VIPS_SIZE_DOWN,
                                nullptr);
  });
  if (!small) return false;
  const auto turn = static_cast<VipsAngle>(picture.rotation / 90);
  const auto upright = VipsResult([&](VipsImage** out) { return vips_rot(small.get(), out, turn, nullptr); });
  return upright && sink(upright.get());
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

bool TakesIn(const PictureSink& sink, const VipsOwner<VipsImage>& image) {
  return image && sink(image.get());
}

// All frames of a moving picture; null for one that does not move, or whose frames
// would take more than a picture may.
VipsOwner<VipsImage> OpenFrames(VipsImage* header, const std::filesystem::path& path) {
  int frames = 1;
  if (vips_image_get_typeof(header, VIPS_META_N_PAGES))
    (void)vips_image_get_int(header, VIPS_META_N_PAGES, &frames);
  constexpr std::int64_t kBytesPerPixel = 4;
  if (frames < 2 || !MemoryAllowed(header->Xsize, std::int64_t{header->Ysize} * frames, kBytesPerPixel))
    return nullptr;
  const auto source = OpenSource(path);
  if (!source) return nullptr;
  return VipsOwner<VipsImage>(
      vips_image_new_from_source(source.get(), "", "access", VIPS_ACCESS_SEQUENTIAL, "n", -1, nullptr));
}

bool SinkFile(const std::filesystem::path& path, PictureFormat format, int longEdge, const PictureSink& sink,
              std::string& cause) {
  MediaFailure why = MediaFailure::None;
  const auto header = OpenHeader(path, format, why);
  if (!header) {
    cause = why == MediaFailure::TooLarge ? "picture too large" : "read picture header";
    return false;
  }
  if (format == PictureFormat::Jpeg && IsInterlaced(header.get()) && HasTooManyScans(path)) {
    cause = "too many scans";
    return false;
  }
  if (longEdge == 0 && format == PictureFormat::Gif) {
    if (const auto frames = OpenFrames(header.get(), path); TakesIn(sink, frames)) return true;
  }
  if (format == PictureFormat::Heif) {
    if (const auto fast = DecodeHevcPicture(path, longEdge); fast && TakesIn(sink, Whole(fast.get())))
      return true;
  }
  bool done = TakesIn(sink, ShrinkFile(header.get(), path, longEdge));
  // The embedded preview that was taken may be of other dimensions than it says.
  if (!done && format == PictureFormat::Heif && longEdge != 0)
    done = TakesIn(sink, ShrinkImage(header.get(), longEdge));
  if (!done) cause = "decode picture: " + TakeVipsError();
  return done;
}

bool SinkDecoded(const std::optional<RgbPicture>& picture, int longEdge, const PictureSink& sink,
                 std::string& cause) {
  if (!picture) return false;
  if (SinkPixels(*picture, longEdge, sink)) return true;
  cause = "shrink picture: " + TakeVipsError();
  return false;
}

// A file within another one.
bool SinkInner(std::string_view file, PictureFormat format, int longEdge, const PictureSink& sink,
               std::string& cause) {
  MediaFailure why = MediaFailure::None;
  cause = "read inner picture's header";
  const auto header = OpenHeaderOf(file, format, why);
  if (!header) return false;
  cause = "too many scans";
  if (format == PictureFormat::Jpeg && IsInterlaced(header.get()) && !ScanCounter().Take(file)) return false;
  if (TakesIn(sink, ShrinkBytes(header.get(), file, longEdge))) return true;
  cause = "decode inner picture: " + TakeVipsError();
  return false;
}

bool SinkBmp(const std::filesystem::path& path, const std::string& head, int longEdge,
             const PictureSink& sink, std::string& cause) {
  const auto size = BmpSizeOf(head);
  const BmpContent content = BmpContentOf(head);
  cause = content == BmpContent::Fax ? "bitmap of fax lines" : "bitmap header";
  if (!size || !MemoryAllowed(size->width, size->height, 4) || content == BmpContent::Fax) return false;
  std::string bytes;
  cause = "read bitmap";
  if (platform::ReadFile(path, bytes)) return false;
  if (content == BmpContent::File) {
    const std::string_view inner = BmpInnerFile(bytes);
    return SinkInner(inner, FormatOfHead(inner), longEdge, sink, cause);
  }
  cause = "decode bitmap";
  return SinkDecoded(DecodeBmp(bytes), longEdge, sink, cause);
}

bool SinkRaw(const std::filesystem::path& path, int longEdge, const PictureSink& sink, std::string& cause) {
  const std::string preview = ReadRawPreview(path, cause);
  return !preview.empty() && SinkInner(preview, PictureFormat::Jpeg, longEdge, sink, cause);
}

}  // namespace

bool ShrinkPicture(const std::wstring& source, int longEdge, const PictureSink& sink, std::string& cause) {
  const auto path = platform::NativePath(source);
  const std::wstring extension = platform::WideExtension(source);
  if (IsVideoExtension(extension)) return SinkDecoded(DecodePoster(path, cause), longEdge, sink, cause);
  const std::string head = ReadHead(path, kPictureHeadBytes);
  switch (const PictureFormat format = FormatOfHead(head)) {
    case PictureFormat::Bmp:
      return SinkBmp(path, head, longEdge, sink, cause);
    case PictureFormat::Tiff:
      if (extension == L".nef") return SinkRaw(path, longEdge, sink, cause);
      [[fallthrough]];
    case PictureFormat::Unknown:
      cause = "unknown picture format";
      return false;
    default:
      return SinkFile(path, format, longEdge, sink, cause);
  }
}

bool GreyPicture(int width, int height, const PictureSink& sink) {
  constexpr std::uint8_t kGrey = 200;
  RgbPicture grey;
  grey.width = width;
  grey.height = height;
  grey.pixels.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3, kGrey);
  return SinkPixels(grey, std::max(width, height), sink);
}
