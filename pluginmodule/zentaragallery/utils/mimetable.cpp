#include "utils/mimetable.h"

#include <algorithm>
#include <array>

namespace {

struct MimeRow {
  std::string_view extension;
  std::string_view type;
};

// Sorted by extension. Registered types where there are any; the raw formats of
// cameras have none, and carry the customary names.
constexpr auto kMimeTable = std::to_array<MimeRow>({
    {".3g2", "video/3gpp2"},
    {".3gp", "video/3gpp"},
    {".aac", "audio/aac"},
    {".ac3", "audio/ac3"},
    {".aif", "audio/x-aiff"},
    {".aiff", "audio/x-aiff"},
    {".amr", "audio/amr"},
    {".apng", "image/apng"},
    {".arw", "image/x-sony-arw"},
    {".asf", "video/x-ms-asf"},
    {".avi", "video/x-msvideo"},
    {".avif", "image/avif"},
    {".bmp", "image/bmp"},
    {".cr2", "image/cr2"},
    {".cr3", "image/x-canon-cr3"},
    {".crw", "image/x-canon-crw"},
    {".cur", "image/vnd.microsoft.icon"},
    {".dib", "image/bmp"},
    {".djvu", "image/vnd.djvu"},
    {".dng", "image/x-adobe-dng"},
    {".emf", "image/emf"},
    {".f4v", "video/x-f4v"},
    {".flac", "audio/flac"},
    {".flv", "video/x-flv"},
    {".gif", "image/gif"},
    {".heic", "image/heic"},
    {".heics", "image/heic-sequence"},
    {".heif", "image/heif"},
    {".heifs", "image/heif-sequence"},
    {".ico", "image/vnd.microsoft.icon"},
    {".jfif", "image/jpeg"},
    {".jp2", "image/jp2"},
    {".jpe", "image/jpeg"},
    {".jpeg", "image/jpeg"},
    {".jpf", "image/jpx"},
    {".jpg", "image/jpeg"},
    {".jpx", "image/jpx"},
    {".jxl", "image/jxl"},
    {".m2ts", "video/mp2t"},
    {".m4a", "audio/mp4"},
    {".m4v", "video/x-m4v"},
    {".mid", "audio/midi"},
    {".midi", "audio/midi"},
    {".mj2", "video/mj2"},
    {".mka", "audio/x-matroska"},
    {".mkv", "video/x-matroska"},
    {".mov", "video/quicktime"},
    {".mp3", "audio/mpeg"},
    {".mp4", "video/mp4"},
    {".mpe", "video/mpeg"},
    {".mpeg", "video/mpeg"},
    {".mpg", "video/mpeg"},
    {".mts", "video/mp2t"},
    {".nef", "image/nef"},
    {".nrw", "image/x-nikon-nrw"},
    {".oga", "audio/ogg"},
    {".ogg", "audio/ogg"},
    {".ogv", "video/ogg"},
    {".opus", "audio/ogg"},
    {".orf", "image/x-olympus-orf"},
    {".pbm", "image/x-portable-bitmap"},
    {".pcx", "image/vnd.zbrush.pcx"},
    {".pef", "image/x-pentax-pef"},
    {".pgm", "image/x-portable-graymap"},
    {".png", "image/png"},
    {".pnm", "image/x-portable-anymap"},
    {".ppm", "image/x-portable-pixmap"},
    {".psd", "image/vnd.adobe.photoshop"},
    {".qt", "video/quicktime"},
    {".raf", "image/x-fuji-raf"},
    {".rmvb", "application/vnd.rn-realmedia-vbr"},
    {".rw2", "image/x-panasonic-raw"},
    {".srw", "image/x-samsung-srw"},
    {".svg", "image/svg+xml"},
    {".svgz", "image/svg+xml"},
    {".tga", "image/x-tga"},
    {".tif", "image/tiff"},
    {".tiff", "image/tiff"},
    {".ts", "video/mp2t"},
    {".vob", "video/dvd"},
    {".wav", "audio/wav"},
    {".wbmp", "image/vnd.wap.wbmp"},
    {".webm", "video/webm"},
    {".webp", "image/webp"},
    {".wma", "audio/x-ms-wma"},
    {".wmf", "image/wmf"},
    {".wmv", "video/x-ms-wmv"},
});

static_assert(kMimeTable.size() == 87);
static_assert(std::is_sorted(kMimeTable.begin(), kMimeTable.end(),
                             [](const MimeRow& a, const MimeRow& b) { return a.extension < b.extension; }));

}  // namespace

std::string_view MimeTypeOf(std::string_view extension) {
  const auto row =
      std::lower_bound(kMimeTable.begin(), kMimeTable.end(), extension,
                       [](const MimeRow& a, std::string_view wanted) { return a.extension < wanted; });
  return row != kMimeTable.end() && row->extension == extension ? row->type : "application/octet-stream";
}
