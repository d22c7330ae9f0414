#include <cmath>
#include <cwchar>
#include <fstream>

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "utils/mediainfolibrary.h"
#include "utils/mediareading.h"

namespace {

constexpr std::size_t kPassBytes = 0x40000;

// Headers and indexes stand at the ends of a video; a file that is built to be
// read for ever ends here.
constexpr std::uint64_t kMaxReadBytes = std::uint64_t{256} << 20;

// Looks at one file through the media library.
class VideoProbe {
 public:
  explicit VideoProbe(const MediaInfoLibrary& loaded) : library(loaded), handle(loaded.New()) {}
  ~VideoProbe() {
    if (!handle) return;
    library.Close(handle);
    library.Delete(handle);
  }
  VideoProbe(const VideoProbe&) = delete;
  VideoProbe& operator=(const VideoProbe&) = delete;

  bool Read(std::ifstream& file, std::uint64_t size) {
    if (!handle) return false;
    library.BufferInit(handle, size, 0);
    std::vector<char> pass(kPassBytes);
    for (std::uint64_t total = 0; total < kMaxReadBytes; total += kPassBytes) {
      file.read(pass.data(), static_cast<std::streamsize>(pass.size()));
      const auto count = static_cast<std::size_t>(file.gcount());
      const auto* bytes = reinterpret_cast<const std::uint8_t*>(pass.data());
      if (library.BufferContinue(handle, bytes, count) & MediaInfoLibrary::kFinished) break;
      if (!Jump(file, size) || count == 0) break;
    }
    library.BufferFinalize(handle);
    return true;
  }

  std::wstring Text(int stream, const wchar_t* parameter) const {
    const wchar_t* text =
        library.Value(handle, stream, 0, parameter, MediaInfoLibrary::kValue, MediaInfoLibrary::kName);
    return text ? text : L"";
  }

  double Number(int stream, const wchar_t* parameter) const {
    const double value = std::wcstod(Text(stream, parameter).c_str(), nullptr);
    return value >= 0 && value <= INT32_MAX ? value : 0;
  }

 private:
  // Follows a wish for another place of the file. False at the file's end.
  bool Jump(std::ifstream& file, std::uint64_t size) {
    const std::uint64_t wanted = library.BufferWanted(handle);
    if (wanted == MediaInfoLibrary::kNoJump) return static_cast<bool>(file);
    if (wanted >= size) return false;
    file.clear();
    file.seekg(static_cast<std::streamoff>(wanted));
    library.BufferInit(handle, size, wanted);
    return static_cast<bool>(file);
  }

  const MediaInfoLibrary& library;
  void* handle;
};

MediaFailure Probe(const std::filesystem::path& path, VideoMetadata& metadata) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return MediaFailure::CannotOpen;
  const std::uint64_t size = std::filesystem::file_size(path, error);
  std::ifstream file(path, std::ios::binary);
  if (error || !file) return MediaFailure::CannotOpen;
  const MediaInfoLibrary* library = MediaInfoLibrary::Get();
  if (!library) return MediaFailure::NoLibrary;
  VideoProbe probe(*library);
  if (!probe.Read(file, size)) return MediaFailure::NotDecodable;
  const double width = probe.Number(MediaInfoLibrary::kVideo, L"Width");
  const double height = probe.Number(MediaInfoLibrary::kVideo, L"Height");
  const bool whole = probe.Text(MediaInfoLibrary::kGeneral, L"IsTruncated") != L"Yes";
  const bool known = !probe.Text(MediaInfoLibrary::kVideo, L"Format").empty();
  if (!known || !whole || width < 1 || height < 1) return MediaFailure::NotDecodable;
  metadata.width = static_cast<std::int32_t>(width);
  metadata.height = static_cast<std::int32_t>(height);
  // The library gives degrees with decimals. It counts milliseconds, the record whole seconds.
  const double seconds = std::round(probe.Number(MediaInfoLibrary::kGeneral, L"Duration") / 1000);
  metadata.rotation =
      static_cast<std::int32_t>(probe.Number(MediaInfoLibrary::kVideo, L"Rotation")) / 90 % 4 * 90;
  metadata.durationTime = static_cast<std::int32_t>(seconds);
  return MediaFailure::None;
}

}  // namespace

MediaFailure MediaReading::Video(const std::wstring& path, VideoMetadata& metadata) {
  return Probe(platform::NativePath(path), metadata);
}
