#include "transfer/import/localfilecheck.h"

#include <filesystem>
#include <new>

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/base/globalparamwrapper.h"
#include "model/records/upward.h"
#include "utils/filereading.h"
#include "utils/mediareader.h"
#include "utils/mediatypes.h"
#include "utils/methodfunction.h"
#include "utils/picturemetadata.h"

namespace {

// Room for the thumbnails of a batch and for the database to grow by it.
constexpr std::uint64_t kCacheReserveBytes = 8u << 20;
// File systems take names of 255 bytes or characters; a number for a name clash
// has to fit behind it.
constexpr std::size_t kMaxNameCharacters = 250;

CheckedFile Refuse(const char* textKey, const char* errorReason = nullptr) {
  return {nullptr, textKey, errorReason};
}

// A file can grow while it is read; hash and size are of the same bytes.
bool ReadHash(const std::wstring& path, const std::filesystem::path& native, std::string& hash,
              std::int64_t& size) {
  constexpr int kAttempts = 3;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    std::error_code failed;
    const auto before = std::filesystem::file_size(native, failed);
    hash = MethodFunction::FileHashId(path);
    if (hash.empty() || std::filesystem::file_size(native, failed) != before || failed) continue;
    size = static_cast<std::int64_t>(before);
    return true;
  }
  return false;
}

CheckedFile CheckContent(const std::wstring& path, const std::filesystem::path& native) {
  std::error_code failed;
  if (!std::filesystem::is_regular_file(native, failed)) {
    return Refuse("IDS_GALLERT_FILE_NOT_EXIST", "Gallery file is not exist");
  }
  const std::wstring extension = platform::WideExtension(path);
  if (!IsPictureExtension(extension) && !IsVideoExtension(extension)) {
    return Refuse("IDS_GALLERT_INCOR_FILE_FORMAT", "Gallery not support this file format");
  }
  if (platform::WideFileName(path).size() > kMaxNameCharacters) {
    return Refuse("IDS_TRANSERR_Error_FileNameTooLong");
  }
  if (!platform::CanRead(native)) {
    return Refuse("IDS_GALLERT_UNABLE_TO_OPEN_FILE", " Galley unable to open file");
  }
  if (std::filesystem::file_size(native, failed) == 0) {
    return Refuse("IDS_GALLERT_FILE_FILE_SIZE_LESS", "Gallery file size is zero");
  }
  return {};
}

void SetProperties(GalleryFile& file, const Album& album, int width, int height, int degrees) {
  Json::Value expand(Json::objectValue);
  if (width > 0) expand["resolution"] = std::to_string(width) + " x " + std::to_string(height);
  expand["rotate"] = std::to_string(degrees);
  expand["first_update_time"] = std::to_string(file.FirstUpdateTime);
  file.SetExpand(expand);
  file.SetSourcePath(album);
}

CheckedFile ReadPicture(const std::wstring& path, const Album& album, const GalleryFile::Ptr& file) {
  PictureMetadata metadata;
  std::int64_t time = file->CreateTime;
  MediaFailure why = MediaFailure::None;
  if (!ReadExif(path, metadata, time, &why)) {
    if (why == MediaFailure::TooLarge) return Refuse("IDS_GALLERT_INSUF_MEMORY");
    return Refuse("IDS_GALLERT_INCOR_FILE_FORMAT", "Gallery not support this file format");
  }
  file->CreateTime = time;
  file->SetPictureMetadata(CompactJson(metadata.ToJson()));
  SetProperties(*file, album, metadata.width, metadata.height, DegreesOfOrientation(metadata.rotation));
  return {file, nullptr, nullptr};
}

CheckedFile ReadMovie(const std::wstring& path, const Album& album, const GalleryFile::Ptr& file) {
  VideoMetadata metadata;
  MediaFailure why = MediaFailure::None;
  if (!ReadVideo(path, metadata, &why) && why != MediaFailure::NoLibrary) {
    return Refuse("IDS_GALLERT_VIDEO_CANNOT_PLAYED", "Gallery video cannot played");
  }
  file->SetVideoMetadata(CompactJson(metadata.ToJson()));
  SetProperties(*file, album, metadata.width, metadata.height, metadata.rotation);
  return {file, nullptr, nullptr};
}

GalleryFile::Ptr MakeRecord(const std::wstring& path, const std::filesystem::path& native, const Album& album,
                            const std::string& hash, std::int64_t size) {
  auto file = std::make_shared<GalleryFile>();
  const std::string guid = MethodFunction::NewGuid();
  const std::int64_t now = MethodFunction::CurrentTime();
  file->SetGuid(guid);
  file->SetUniqueId(guid);
  file->SetHash(hash);
  file->SetFileName(platform::WideFileName(path));
  file->SetLocalPath(path);
  file->SetAlbumId(album.AlbumId.Get());
  file->SavedFileType = SavedFileTypeOf(platform::WideExtension(path));
  file->Size = size;
  file->CreateTime = platform::ModifiedTimeMs(native);
  file->FirstUpdateTime = now;
  file->OperateTime = now;
  file->IsLocalUpload = true;
  file->GalleryState = 1;
  return file;
}

CheckedFile Check(const std::wstring& path, const Album& album,
                  const std::function<bool(const std::string&)>& isThere) {
  const auto native = platform::NativePath(path);
  if (auto refused = CheckContent(path, native); refused.textKey) return refused;
  std::string hash;
  std::int64_t size = 0;
  if (!ReadHash(path, native, hash, size))
    return Refuse(hash.empty() ? "IDS_GALLERT_MD5_IS_EMPTY" : kStillWritten);
  if (isThere(hash)) return Refuse(kAlreadyExists);
  const auto file = MakeRecord(path, native, album, hash, size);
  auto checked = file->IsVideo() ? ReadMovie(path, album, file) : ReadPicture(path, album, file);
  if (!checked.file) return checked;
  checked.file->ParseBurstName();
  // There when a list first shows the file. One without could never go up.
  if (checked.file->MakeThumbnail()) return checked;
  const char* cause = CheckCache();
  return Refuse(cause ? cause : kDamaged);
}

}  // namespace

CheckedFile CheckLocalFile(const std::wstring& path, const Album& album,
                           const std::function<bool(const std::string&)>& isThere,
                           const std::atomic<bool>* stop) {
  try {
    const FileReading reading(stop);
    CheckedFile checked = Check(path, album, isThere);
    return !checked.file && reading.WasTooSlow() ? Refuse(kTooSlow) : checked;
  } catch (const std::bad_alloc&) {
    return Refuse("IDS_GALLERT_INSUF_MEMORY");
  }
}

bool RenewLocalFile(GalleryFile& file, const std::string& hash, std::int64_t size) try {
  const auto album = upward::Context().GetAlbum(file.AlbumId());
  const auto fresh = std::make_shared<GalleryFile>();
  fresh->FirstUpdateTime = file.FirstUpdateTime;
  fresh->SetFileName(file.FileName());
  const bool isGood = album && (file.IsVideo() ? ReadMovie(file.LocalPath(), *album, fresh)
                                               : ReadPicture(file.LocalPath(), *album, fresh))
                                   .file;
  if (!isGood) return false;
  file.SetHash(hash);
  file.Size = size;
  file.SetExpand(fresh->Expand());
  file.SetPictureMetadata(fresh->PictureMetadata());
  file.SetVideoMetadata(fresh->VideoMetadata());
  file.RenewThumbnails();
  return file.MakeThumbnail() && file.MakeLcd();
} catch (const std::bad_alloc&) {
  return false;
}

const char* CheckCache() {
  const auto folder = platform::NativePath(GlobalParamWrapper::GetInstance()->GetUserCachePath());
  std::error_code failed;
  std::filesystem::create_directories(folder, failed);
  if (failed || !platform::CanWrite(folder)) return kWriteDenied;
  if (platform::FreeSpace(folder) < kCacheReserveBytes) return kNoCacheSpace;
  return nullptr;
}
