#include "transfer/thumbnails/thumbnailhelper.h"

#include <filesystem>

#include "common/platform/files.h"
#include "common/platform/guid.h"
#include "common/platform/paths.h"
#include "store/dbhelper.h"
#include "transfer/thumbnails/gallerythumbnailmodule.h"
#include "transfer/thumbnails/thumbnaildownload.h"
#include "utils/gallerylog.h"
#include "utils/thumbnailmaker.h"

namespace {

// Sharp in a cell of the widest grid on a dense screen, and on a full screen.
constexpr int kSmallLongEdge = 360;
constexpr int kLcdLongEdge = 1920;

// A moving GIF keeps its bytes as its screen thumbnail.
bool CopyGif(const std::wstring& source, const std::wstring& target) {
  const auto from = platform::NativePath(source), to = platform::NativePath(target);
  auto beside = to;
  beside += "." + platform::NewGuid() + ".tmp";  // two threads may make one thumbnail
  std::error_code failed;
  std::filesystem::copy_file(from, beside, std::filesystem::copy_options::overwrite_existing, failed);
  if (!failed) std::filesystem::rename(beside, to, failed);
  if (!failed) return true;
  std::error_code ignored;
  std::filesystem::remove(beside, ignored);
  LogError("ThumbnailHelper::CreateThumbnail", "copy of picture failed: " + failed.message());
  return false;
}

// A file that the gallery has accepted goes up, also when a decoder does not know it any
// more; each cycle would else fail at it, and each list try again. What is in the cloud
// has its thumbnails there.
bool IsAcceptedAndThere(const GalleryFile& file) {
  return file.IsLocalOnly() && platform::CanRead(platform::NativePath(file.LocalPath())) &&
         DBHelper::GetInstance().GetFile(file.UniqueId()) != nullptr;
}

}  // namespace

ThumbnailHelper& ThumbnailHelper::GetInstance() {
  static ThumbnailHelper instance;
  return instance;
}

bool ThumbnailHelper::CreateThumbnail(const std::wstring& source, const std::wstring& target, int longEdge,
                                      const std::string& guid) {
  constexpr char kTag[] = "ThumbnailHelper::CreateThumbnail";
  const auto path = platform::NativePath(target);
  std::error_code failed;
  std::filesystem::create_directories(path.parent_path(), failed);
  const bool moving = platform::WideExtension(target) == L".gif";
  if (!std::filesystem::is_directory(path, failed) &&
      (moving ? CopyGif(source, target) : MakeThumbnail(source, target, longEdge))) {
    return true;
  }
  LogError(kTag, "create thumbnail failed! guid: " + guid);
  return false;
}

bool ThumbnailHelper::CreateThumbnail(const GalleryFile& file, const std::wstring& target, bool isLcd) {
  return CreateThumbnail(file, file.LocalPath(), target, isLcd);
}

bool ThumbnailHelper::CreateThumbnail(const GalleryFile& file, const std::wstring& source,
                                      const std::wstring& target, bool isLcd) {
  return CreateThumbnail(source, target, isLcd ? kLcdLongEdge : kSmallLongEdge, file.Guid());
}

bool ThumbnailHelper::MakeLocal(const GalleryFile& file, const std::wstring& target, bool isLcd) {
  if (CreateThumbnail(file, target, isLcd)) return true;
  return IsAcceptedAndThere(file) && MakeNeutralThumbnail(target);
}

void ThumbnailHelper::Fetch(const std::vector<GalleryFile::Ptr>& files,
                            std::function<void(const GalleryFile::Ptr&)> done) {
  std::vector<ThumbnailRequest> requests;
  requests.reserve(files.size());
  for (const auto& file : files) requests.push_back({file, false, false, done, {}});
  DownloadThumbs(requests);
}

void ThumbnailHelper::DownloadThumbs(const std::vector<ThumbnailRequest>& requests) {
  constexpr char kTag[] = "ThumbnailHelper::DownloadThumbs";
  auto& module = ZentaraDeskClient::GalleryThumbnailModule::GetInstance();
  for (const ThumbnailRequest& request : requests) {
    // Kept, since an upload that ends meanwhile gives the file another one.
    const std::string id = request.file->UniqueId();
    if (!Enter(id, request)) {
      LogInfo(kTag, [&id] { return "thumbGuidSet exist " + id; });
      continue;
    }
    const auto ended = [this, id, file = request.file] { Leave(id, file); };
    if (!module.Add(request, ended)) ended();
  }
  LogInfo(kTag, [this] {
    platform::MutexLock hold(thumbLock);
    return "thumbGuidSet.size:" + std::to_string(thumbGuidSet.size());
  });
}

bool ThumbnailHelper::Enter(const std::string& id, const ThumbnailRequest& request) {
  platform::MutexLock hold(thumbLock);
  const auto [place, isNew] = thumbGuidSet.try_emplace(id);
  UnderWay& fetch = place->second;
  if (isNew) fetch.isLcd = request.isLcd;
  if (fetch.isLcd != request.isLcd) {
    fetch.later.push_back(request);
  } else if (request.uiCallback) {
    fetch.waiting.push_back(request.uiCallback);
  }
  return isNew;
}

void ThumbnailHelper::Leave(const std::string& id, const GalleryFile::Ptr& file) {
  UnderWay fetch;
  {
    platform::MutexLock hold(thumbLock);
    const auto place = thumbGuidSet.find(id);
    if (place == thumbGuidSet.end()) return;
    fetch = std::move(place->second);
    thumbGuidSet.erase(place);
  }
  for (const Done& done : fetch.waiting) done(file);
  if (!fetch.later.empty()) DownloadThumbs(fetch.later);
}

bool ThumbnailHelper::DownloadThumbnailV2(const GalleryFile::Ptr& file, bool isLcd,
                                          const std::function<bool()>& goesOn,
                                          const std::function<void(int percent)>& progress) {
  return ThumbnailDownload(file, isLcd, goesOn, progress).DownloadThumbnailV2();
}

bool ThumbnailHelper::DownloadThumbnailV1(const GalleryFile::Ptr& file, bool isLcd,
                                          const std::function<bool()>& goesOn) {
  return ThumbnailDownload(file, isLcd, goesOn).DownloadThumbnailV1();
}

bool ThumbnailHelper::DownloadThumbnailV1Eur(const GalleryFile::Ptr& file, bool isLcd,
                                             const std::function<bool()>& goesOn) {
  return ThumbnailDownload(file, isLcd, goesOn).DownloadThumbnailV1Eur();
}
