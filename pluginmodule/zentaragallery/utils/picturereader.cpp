#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "utils/bmppicture.h"
#include "utils/decodelimits.h"
#include "utils/exifreader.h"
#include "utils/mediareading.h"
#include "utils/pictureformat.h"
#include "utils/rawpicture.h"
#include "utils/vipspicture.h"

namespace {

// The directories of a raw file stand at its beginning; the EXIF library reads
// no more than this.
constexpr std::size_t kRawHeadBytes = 0xFFFE - 6;

// What a picture gives, kept apart until the whole of it has been read.
struct PictureRead {
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::string exif;
  ExifSize exifSize = ExifSize::Take;
  bool isTurned = false;  // width and height are those of the picture as it is shown
};

// The property of a quarter turn to either side, [length, 4]["irot"][turns, 1]. It
// stands among the first boxes.
bool HasQuarterTurn(const std::filesystem::path& path) {
  constexpr std::size_t kHeadBytes = 0x10000;
  constexpr std::string_view kBox("\0\0\0\x09irot", 8);
  const std::string head = ReadHead(path, kHeadBytes);
  const auto at = head.find(kBox);
  return at != std::string::npos && at + kBox.size() < head.size() && (head[at + kBox.size()] & 1) != 0;
}

void TakeHeader(VipsImage* image, PictureRead& read) {
  read.width = image->Xsize;
  read.height = image->Ysize;
  const void* exif = nullptr;
  std::size_t length = 0;
  if (vips_image_get_typeof(image, VIPS_META_EXIF_NAME) &&
      vips_image_get_blob(image, VIPS_META_EXIF_NAME, &exif, &length) == 0) {
    read.exif.assign(static_cast<const char*>(exif), length);
  }
}

MediaFailure ReadByVips(const std::filesystem::path& path, PictureFormat format, PictureRead& read) {
  MediaFailure why = MediaFailure::None;
  if (!StartVips()) return MediaFailure::NoLibrary;
  const auto image = OpenHeader(path, format, why);
  if (!image) return why;
  TakeHeader(image.get(), read);
  if (format == PictureFormat::Heif) {
    // Some cameras write the size as it lies, some as it is shown, some neither.
    read.exifSize = ExifSize::Ignore;
    read.isTurned = HasQuarterTurn(path);
  }
  return MediaFailure::None;
}

MediaFailure ReadRaw(const std::filesystem::path& path, PictureRead& read) {
  MediaFailure why = MediaFailure::None;
  const auto size = ReadRawSize(path, why);
  if (!size) return why;
  read.width = size->width;
  read.height = size->height;
  read.exif = ReadHead(path, kRawHeadBytes);
  read.exifSize = ExifSize::Ignore;
  return MediaFailure::None;
}

// The inner file tells of itself, also how it is turned.
MediaFailure ReadInner(const std::filesystem::path& path, PictureRead& read) {
  std::string bytes;
  if (!StartVips()) return MediaFailure::NoLibrary;
  if (platform::ReadFile(path, bytes)) return MediaFailure::NotDecodable;
  const std::string_view inner = BmpInnerFile(bytes);
  MediaFailure why = MediaFailure::None;
  const auto image = OpenHeaderOf(inner, FormatOfHead(inner), why);
  if (!image) return why;
  TakeHeader(image.get(), read);
  return MediaFailure::None;
}

MediaFailure ReadBmp(const std::filesystem::path& path, const std::string& head, PictureRead& read) {
  const auto size = BmpSizeOf(head);
  const BmpContent content = BmpContentOf(head);
  if (!size || content == BmpContent::Fax) return MediaFailure::NotDecodable;
  if (!MemoryAllowed(size->width, size->height, 4)) return MediaFailure::TooLarge;
  if (content == BmpContent::File) return ReadInner(path, read);
  read.width = size->width;
  read.height = size->height;
  return MediaFailure::None;
}

MediaFailure ReadPicture(const std::wstring& path, PictureRead& read) {
  const std::filesystem::path native = platform::NativePath(path);
  if (!platform::CanRead(native)) return MediaFailure::CannotOpen;
  const std::string head = ReadHead(native, std::max(kFormatHeadBytes, kBmpContentHeadBytes));
  switch (const PictureFormat format = FormatOfHead(head)) {
    case PictureFormat::Unknown:
      return MediaFailure::NotDecodable;
    case PictureFormat::Bmp:
      return ReadBmp(native, head, read);
    case PictureFormat::Tiff:
      return platform::WideExtension(path) == L".nef" ? ReadRaw(native, read) : MediaFailure::NotDecodable;
    default:
      return ReadByVips(native, format, read);
  }
}

}  // namespace

void MediaReading::Start() { (void)StartVips(); }

MediaFailure MediaReading::Exif(const std::wstring& path, PictureMetadata& metadata, std::int64_t& timeMs) {
  PictureRead read;
  const MediaFailure failure = ReadPicture(path, read);
  if (failure != MediaFailure::None) return failure;
  metadata.width = read.width;
  metadata.height = read.height;
  if (!read.exif.empty()) ApplyExif(read.exif, read.exifSize, metadata, timeMs);
  // As with any other camera: the size as the picture lies, the turn beside it.
  const bool saysTurn = metadata.rotation >= 5 && metadata.rotation <= 8;
  if (read.isTurned && saysTurn) std::swap(metadata.width, metadata.height);
  return MediaFailure::None;
}
