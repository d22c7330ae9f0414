// Where a file's thumbnails lie, and which content of it the cloud is asked for.

#include <filesystem>

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/base/globalparamwrapper.h"
#include "model/records/galleryfile.h"
#include "model/records/upward.h"
#include "utils/globaldata.h"

namespace {

constexpr wchar_t kGif[] = L".gif";
// A GIF below this size is its own screen thumbnail, so that it keeps moving.
constexpr std::int64_t kMovingGifBytes = 2'097'152;

constexpr int kKindScreen = 1;
constexpr int kKindThumbnail = 2;

// One without a byte is what a crash may leave of a name that was not flushed.
bool OnDisk(const std::wstring& path) {
  if (path.empty()) return false;
  std::error_code failed;
  const auto native = platform::NativePath(path);
  return std::filesystem::is_regular_file(native, failed) && std::filesystem::file_size(native, failed) > 0 &&
         !failed;
}

std::wstring CachePath(const wchar_t* folder) {
  return GlobalParamWrapper::GetInstance()->GetUserCachePath() + folder;
}

}  // namespace

std::wstring GalleryFile::ThumbnailName() const {
  return CachePath(GlobalData::kThumbnailFolder) + platform::Utf8ToWide(Guid()) + L".jpg";
}

std::wstring GalleryFile::LcdName() const {
  const bool moving = platform::WideExtension(FileName()) == kGif && Size < kMovingGifBytes;
  return CachePath(GlobalData::kLcdThumbnailFolder) + platform::Utf8ToWide(Guid()) +
         (moving ? kGif : L".jpg");
}

bool GalleryFile::TestThumbnailOnDisk() {
  thumbExists = OnDisk(ThumbnailName());
  return thumbExists;
}

bool GalleryFile::TestLcdOnDisk() {
  lcdExists = OnDisk(LcdName());
  return lcdExists;
}

bool GalleryFile::MakeThumbnail() {
  if (thumbExists) return true;
  if (!IsLocalOnly() || thumbMakeFailed || LocalPath().empty()) return false;
  if (TestThumbnailOnDisk()) return true;
  upward::Thumbnails().MakeLocal(*this, ThumbnailName(), false);
  thumbMakeFailed = !TestThumbnailOnDisk();
  return thumbExists;
}

bool GalleryFile::MakeLcd() {
  if (lcdExists) return true;
  if (!IsLocalOnly() || !OnDisk(LocalPath())) return false;
  if (TestLcdOnDisk()) return true;
  upward::Thumbnails().MakeLocal(*this, LcdName(), true);
  return TestLcdOnDisk();
}

std::wstring GalleryFile::ThumbnailPath() { return MakeThumbnail() ? ThumbnailName() : std::wstring(); }

std::wstring GalleryFile::LcdPath() { return MakeLcd() ? LcdName() : std::wstring(); }

NS::CloudPhoto::V1::UrlSourceInfo GalleryFile::UrlSource(int kind) const {
  NS::CloudPhoto::V1::UrlSourceInfo source;
  source.albumId = IsInBin() ? RecycleAlbumId() : AlbumId();
  source.uniqueId = UniqueId();
  source.hash = Hash();
  source.extension = platform::WideExtension(FileName());
  const auto choose = [&source](std::int32_t type, std::string id) {
    source.type = type;
    source.fileId = std::move(id);
    return source;
  };
  if (kind == kKindScreen && source.extension == kGif) return choose(0, FileId());
  if (IsVideo() && !VideoThumbId().empty()) return choose(3, VideoThumbId());
  if (kind == kKindScreen && !LcdFileId().empty()) return choose(1, LcdFileId());
  if (kind == kKindThumbnail && !ThumbFileId().empty()) return choose(2, ThumbFileId());
  return choose(0, FileId());
}
