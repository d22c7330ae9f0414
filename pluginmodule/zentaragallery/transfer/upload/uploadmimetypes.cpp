#include <algorithm>
#include <array>

#include "common/platform/text.h"
#include "transfer/upload/fileparamsconstruct.h"

namespace {

struct MimeRow {
  std::string_view extension;
  std::string_view type;
};

constexpr std::string_view kBytes = "application/octet-stream";

// The table of the service, which knows some types by other names than the
// registered ones. Sorted by extension.
constexpr auto kUploadMimeTypes = std::to_array<MimeRow>({
    {".3g2", "video/3gpp2"},
    {".3gp", "video/3gpp"},
    {".aac", "audio/aac"},
    {".apk", "application/vnd.android.package-archive"},
    {".arw", "image/x-sony-arw"},
    {".asf", "video/x-ms-asf"},
    {".avi", "video/x-msvideo"},
    {".avif", "image/avif"},
    {".bin", kBytes},
    {".bmp", "image/bmp"},
    {".c", "text/plain"},
    {".class", kBytes},
    {".conf", "text/plain"},
    {".cpp", "text/plain"},
    {".cr2", "image/x-canon-cr2"},
    {".cr3", "image/x-canon-cr3"},
    {".dng", "image/x-adobe-dng"},
    {".doc", "application/msword"},
    {".docx", "application/vnd.openxmlformats-officedocument.wordprocessingml.document"},
    {".exe", kBytes},
    {".gif", "image/gif"},
    {".gtar", "application/x-gtar"},
    {".gz", "application/x-gzip"},
    {".h", "text/plain"},
    {".heic", "image/heic"},
    {".heif", "image/heif"},
    {".htm", "text/html"},
    {".html", "text/html"},
    {".ico", "image/x-ico"},
    {".jar", "application/java-archive"},
    {".java", "text/plain"},
    {".jpe", "image/jpeg"},
    {".jpeg", "image/jpeg"},
    {".jpg", "image/jpeg"},
    {".js", "application/x-javascript"},
    {".log", "text/plain"},
    {".m3u", "audio/x-mpegurl"},
    {".m4a", "audio/mp4a-latm"},
    {".m4b", "audio/mp4a-latm"},
    {".m4p", "audio/mp4a-latm"},
    {".m4u", "video/vnd.mpegurl"},
    {".m4v", "video/x-m4v"},
    {".mkv", "video/x-matroska"},
    {".mov", "video/quicktime"},
    {".mp2", "audio/x-mpeg"},
    {".mp3", "audio/x-mpeg"},
    {".mp4", "video/mp4"},
    {".mpc", "application/vnd.mpohun.certificate"},
    {".mpe", "video/mpeg"},
    {".mpeg", "video/mpeg"},
    {".mpg", "video/mpeg"},
    {".mpg4", "video/mp4"},
    {".mpga", "audio/mpeg"},
    {".mts", "video/mp2t"},
    {".nef", "image/nef"},
    {".ogg", "audio/ogg"},
    {".orf", "image/x-olympus-orf"},
    {".pdf", "application/pdf"},
    {".png", "image/png"},
    {".pps", "application/vnd.ms-powerpoint"},
    {".ppt", "application/vnd.ms-powerpoint"},
    {".prop", "text/plain"},
    {".raf", "image/x-fuji-raf"},
    {".rar", kBytes},
    {".rc", "text/plain"},
    {".rtf", "application/rtf"},
    {".rw2", "image/x-panasonic-rw2"},
    {".sh", "text/plain"},
    {".tar", "application/x-tar"},
    {".tgz", "application/x-compressed"},
    {".tif", "image/tiff"},
    {".tiff", "image/tiff"},
    {".txt", "text/plain"},
    {".wav", "audio/x-wav"},
    {".webm", "video/webm"},
    {".webp", "image/webp"},
    {".wma", "audio/x-ms-wma"},
    {".wmv", "audio/x-ms-wmv"},
    {".wps", "application/vnd.ms-works"},
    {".xls", "application/vnd.ms-excel"},
    {".xlsx", "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"},
    {".xml", "text/plain"},
    {".zip", "application/x-zip-compressed"},
});

constexpr bool ComesBefore(const MimeRow& left, const MimeRow& right) {
  return left.extension < right.extension;
}
static_assert(std::is_sorted(kUploadMimeTypes.begin(), kUploadMimeTypes.end(), ComesBefore));
static_assert(kUploadMimeTypes.size() == 83);

}  // namespace

std::string_view UploadMimeType(std::wstring_view extension) {
  const std::string key = platform::WideToUtf8(extension);
  const auto row = std::lower_bound(
      kUploadMimeTypes.begin(), kUploadMimeTypes.end(), key,
      [](const MimeRow& candidate, const std::string& wanted) { return candidate.extension < wanted; });
  return row != kUploadMimeTypes.end() && row->extension == key ? row->type : std::string_view();
}
