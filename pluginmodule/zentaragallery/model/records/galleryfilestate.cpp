// The ways of a file into the bin, out of it, and from album to album.

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "model/records/album.h"
#include "model/records/galleryfile.h"
#include "model/records/upward.h"
#include "utils/gallerylog.h"

namespace {

constexpr char kAlbumNameKey[] = "album_name";
constexpr char kSourcePathKey[] = "sourcePath";
constexpr char kPhoneRoot[] = "/storage/emulated/0";
// The decimal milliseconds that Album::Create puts behind a name in `Lpath`.
constexpr std::size_t kStampDigits = 13;

constexpr std::int32_t kMetadataChanged = 2;

// The name of the album that a path on a phone tells, empty when it tells none.
std::wstring AlbumNameOfSourcePath(const std::string& sourcePath) {
  const auto root = sourcePath.find(kPhoneRoot);
  if (root == std::string::npos) return {};
  std::string path = sourcePath;
  path.erase(root, std::string_view(kPhoneRoot).size());
  path.resize(std::min(path.size(), path.rfind('/')));
  const auto slash = path.rfind('/');
  std::wstring component = platform::Utf8ToWide(slash == std::string::npos ? path : path.substr(slash + 1));
  if (component.size() <= kStampDigits) return component;
  return component.substr(0, component.size() - kStampDigits);
}

}  // namespace

void GalleryFile::SetSourcePath(const Album& album) {
  SetExpandValue(kSourcePathKey, kPhoneRoot + album.Lpath.Get() + "/" + texts.Get(FileText::FileName));
}

void GalleryFile::MarkRecycled(std::int64_t time, bool fromSync, const Album& album) {
  SetRecycleAlbumId(kRecycleAlbumId);
  if (fromSync) return;
  RecycleTime = time;
  OperateTime = time;
  GalleryState = kMetadataChanged;
  SetExpandValue(kAlbumNameKey, platform::WideToUtf8(album.AlbumName.Get()));
  SetSourcePath(album);
}

int GalleryFile::Recycle(std::int64_t time, bool fromSync) {
  constexpr char kTag[] = "GalleryFile::Recycle";
  LogInfo(kTag, [&] { return "Recycle fromSync = " + std::to_string(fromSync); });
  LogInfo(kTag, [&] { return "Recycle recycleAlbumId = " + RecycleAlbumId(); });
  LogInfo(kTag, [&] { return "Recycle uniqueId = " + UniqueId(); });
  LogInfo(kTag, [&] { return "Recycle guid = " + Guid(); });
  if (IsDeleted || IsInBin()) return 1;
  const auto album = upward::Context().GetAlbum(AlbumId());
  if (IsLocalOnly()) {
    RecycleUploadedMembers(time, fromSync, album.get());
    return Delete(time, fromSync);
  }
  if (!album) return 0;
  MarkRecycled(time, fromSync, *album);
  for (const auto& member : GetMembers()) member->MarkRecycled(time, fromSync, *album);
  return 1;
}

// Members that the cloud knows do not go for good with a cover that it never saw.
void GalleryFile::RecycleUploadedMembers(std::int64_t time, bool fromSync, const Album* album) {
  for (const auto& member : GetMembers()) {
    if (member->IsLocalOnly()) continue;
    if (album) member->MarkRecycled(time, fromSync, *album);
    (void)RemoveMember(member);
  }
}

void GalleryFile::DeleteThumbnails(const std::wstring& localPath) {
  for (const std::wstring& path : {TestThumbnailOnDisk() ? ThumbnailName() : std::wstring(),
                                   TestLcdOnDisk() ? LcdName() : std::wstring()}) {
    // A record may name its own thumbnail as the local file.
    const auto native = platform::NativePath(path);
    if (path.empty() || native == platform::NativePath(localPath) ||
        native == platform::NativePath(LocalPath()))
      continue;
    std::error_code ignored;  // Not there is as good as deleted.
    std::filesystem::remove(native, ignored);
  }
  thumbExists = false;
  lcdExists = false;
}

void GalleryFile::RenewThumbnails() {
  DeleteThumbnails(LocalPath());
  thumbMakeFailed = false;
}

void GalleryFile::MarkDeleted(std::int64_t time, bool fromSync, const std::wstring& coverPath) {
  IsDeleted = true;
  if (fromSync) {
    DeleteThumbnails(coverPath);
  } else {
    OperateTime = time;
  }
}

bool GalleryFile::Delete(std::int64_t time, bool fromSync) {
  constexpr char kTag[] = "GalleryFile::Delete";
  LogInfo(kTag, [&] { return "Delete fromSync = " + std::to_string(fromSync); });
  LogInfo(kTag, [&] { return "Delete isDeleted = " + std::to_string(IsDeleted); });
  LogInfo(kTag, [&] { return "Delete uniqueId = " + UniqueId(); });
  LogInfo(kTag, [&] { return "Delete guid = " + Guid(); });
  LogInfo(kTag, [&] { return "Delete recycleAlbumId = " + RecycleAlbumId(); });
  if (IsDeleted) {
    if (fromSync) DeleteThumbnails(LocalPath());
    return true;
  }
  if (!IsInBin() && !fromSync && !IsLocalOnly()) return false;
  LogInfo(kTag, "Delete isDeleted true ");
  const std::wstring localPath = LocalPath();
  MarkDeleted(time, fromSync, localPath);
  for (const auto& member : GetMembers()) member->MarkDeleted(time, fromSync, localPath);
  return true;
}

std::shared_ptr<Album> GalleryFile::FindHome() const {
  constexpr char kTag[] = "GalleryFile::Recover";
  auto& context = upward::Context();
  const std::string oldId = AlbumId();
  if (auto album = context.GetAlbum(oldId)) return album;

  const std::wstring sourceName = platform::Utf8ToWide(ExpandValue(kAlbumNameKey));
  LogInfo(kTag, [&] { return "Recover srcAlbumName = " + platform::WideToUtf8(sourceName); });
  std::shared_ptr<Album> album;
  const auto row = std::make_shared<Album>();
  if (context.ReadAlbumRow(*row, oldId)) {
    album = context.RestoreAlbum(row->AlbumName.Get(), row->CreateTime);
  } else if (!sourceName.empty()) {
    album = context.RestoreAlbum(sourceName, -1);
  } else if (const auto name = AlbumNameOfSourcePath(ExpandValue(kSourcePathKey)); !name.empty()) {
    album = context.RestoreAlbum(name, -1);
  }
  if (!album) return nullptr;
  LogInfo(kTag, [&] { return "Recover album = " + platform::WideToUtf8(album->AlbumName.Get()); });
  const auto bin = context.GetAlbum(kRecycleAlbumId);
  if (!bin) return nullptr;
  bin->ChangeAlbumIds(oldId, album->AlbumId.Get());
  return album;
}

void GalleryFile::MarkRecovered(std::int64_t time, bool fromSync, const Album& album) {
  SetAlbumId(album.AlbumId.Get());
  SetRecycleAlbumId("");
  RemoveExpandValue(kAlbumNameKey);
  if (fromSync) return;
  OperateTime = time;
  GalleryState = kMetadataChanged;
  SetSourcePath(album);
}

int GalleryFile::Recover(std::int64_t time, bool fromSync) {
  constexpr char kTag[] = "GalleryFile::Recover";
  LogInfo(kTag, "Recover begin.");
  if (IsDeleted) return 0;
  if (!IsInBin()) return 1;
  LogInfo(kTag, "Recover IsRecycle.");
  const auto album = FindHome();
  if (!album) return 0;
  LogInfo(kTag, "Recover next 3.");
  MarkRecovered(time, fromSync, *album);
  for (const auto& member : GetMembers()) member->MarkRecovered(time, fromSync, *album);
  return 1;
}

void GalleryFile::MarkMoved(std::int64_t time, bool fromSync, const Album& album) {
  SetAlbumId(album.AlbumId.Get());
  if (fromSync) return;
  SetSourcePath(album);
  OperateTime = time;
  GalleryState = kMetadataChanged;
}

bool GalleryFile::MoveToAlbum(std::int64_t time, bool fromSync, const std::shared_ptr<Album>& album) {
  if (!album || album->IsDelete != 0 || IsDeleted) return false;
  if (IsInBin() && !fromSync) return false;
  if (!album->IsReal()) return false;
  if (AlbumId() == album->AlbumId.Get()) return false;
  MarkMoved(time, fromSync, *album);
  for (const auto& member : GetMembers()) member->MarkMoved(time, fromSync, *album);
  return true;
}
