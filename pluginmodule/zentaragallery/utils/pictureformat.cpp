#include "utils/pictureformat.h"

#include <algorithm>
#include <array>
#include <fstream>

namespace {

using namespace std::string_view_literals;

struct Signature {
  std::string_view bytes;
  PictureFormat format;
};

constexpr auto kSignatures = std::to_array<Signature>({
    {"\xff\xd8\xff"sv, PictureFormat::Jpeg},
    {"\x89PNG\r\n\x1a\n"sv, PictureFormat::Png},
    {"GIF87a"sv, PictureFormat::Gif},
    {"GIF89a"sv, PictureFormat::Gif},
    {"BM"sv, PictureFormat::Bmp},
    {"II*\0"sv, PictureFormat::Tiff},
    {"MM\0*"sv, PictureFormat::Tiff},
});

// The brands of a file type box whose pictures are stills. An .mp4 begins with
// the same box and has other brands.
constexpr auto kHeifBrands = std::to_array<std::string_view>(
    {"heic", "heix", "heim", "heis", "hevc", "hevx", "mif1", "msf1", "avif", "avis"});

bool IsHeif(std::string_view head) {
  if (head.size() < 12 || head.substr(4, 4) != "ftyp") return false;
  return std::find(kHeifBrands.begin(), kHeifBrands.end(), head.substr(8, 4)) != kHeifBrands.end();
}

}  // namespace

PictureFormat FormatOfHead(std::string_view head) {
  for (const Signature& signature : kSignatures) {
    if (head.starts_with(signature.bytes)) return signature.format;
  }
  return IsHeif(head) ? PictureFormat::Heif : PictureFormat::Unknown;
}

std::string ReadHead(const std::filesystem::path& path, std::size_t count) {
  std::error_code error;
  // Opening a pipe or a device could wait for ever.
  if (!std::filesystem::is_regular_file(path, error)) return {};
  std::ifstream file(path, std::ios::binary);
  std::string head(count, '\0');
  file.read(head.data(), static_cast<std::streamsize>(count));
  head.resize(static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0)));
  return head;
}
