#include "model/records/album.h"

#include <array>

#include "common/platform/text.h"
#include "model/records/upward.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/messages.h"
#include "utils/methodfunction.h"

namespace {

struct KindEntry {
  AlbumKind kind;
  const char* id;    // null: found by path
  const char* path;  // null: found by id
  const wchar_t* textId;
};

constexpr std::array<KindEntry, 12> kKinds{{
    {AlbumKind::TimeLine, "Pictures", nullptr, L"IDS_GALLERY_ALBUM_PICTURE"},
    {AlbumKind::RecentlyUpload, "RecentlyUpload", nullptr, L"IDS_GALLERY_ALBUM_RECENTLYUPLOAD"},
    {AlbumKind::AllPictures, "AllPictures", nullptr, L"IDS_GALLERY_ALBUM_ALLPICTURE"},
    {AlbumKind::AllVideos, "AllVideos", nullptr, L"IDS_GALLERY_ALBUM_ALLVIDEO"},
    {AlbumKind::Favorite, "Favorite", nullptr, L"IDS_GALLERY_ALBUM_FAVORITE"},
    {AlbumKind::Camera, "default-album-1", nullptr, L"IDS_GALLERY_ALBUM_CAMERA"},
    {AlbumKind::Screenshots, "default-album-2", nullptr, L"IDS_GALLERY_ALBUM_CUTSCREEN"},
    {AlbumKind::RecycleBin, "default-album-3", nullptr, L"IDS_GALLERY_ALBUM_DELETE"},
    {AlbumKind::Bluetooth, nullptr, "/bluetooth", L"IDS_GALLERY_ALBUM_BLUETOOTH"},
    {AlbumKind::Share, nullptr, "/Zentara Share", L"IDS_GALLERY_ALBUM_ZENTARA"},
    {AlbumKind::PalveraShare, nullptr, "/PALVERA Share", L"IDS_GALLERY_ALBUM_PALVERA"},
    {AlbumKind::WlanDirect, nullptr, "/WLAN Direct", L"IDS_GALLERY_ALBUM_WLAN_Direct"},
}};

constexpr std::size_t kHomeFiles = 100;

const KindEntry* FindKind(const std::string& id, const std::string& path) {
  for (const auto& entry : kKinds) {
    if (entry.id && id == entry.id) return &entry;
  }
  for (const auto& entry : kKinds) {
    if (entry.path && path == entry.path) return &entry;
  }
  return nullptr;
}

std::shared_ptr<const GalleryFile::OrderBy> OrderOf(AlbumKind kind) {
  static const auto byShot = std::make_shared<const GalleryFile::OrderByCTime>();
  static const auto byUpload = std::make_shared<const GalleryFile::OrderByUTime>();
  static const auto byRecycling = std::make_shared<const GalleryFile::OrderByRTime>();
  if (kind == AlbumKind::RecycleBin) return byRecycling;
  if (kind == AlbumKind::RecentlyUpload) return byUpload;
  return byShot;
}

bool StaysListable(AlbumKind kind) {
  return kind == AlbumKind::TimeLine || kind == AlbumKind::Camera || kind == AlbumKind::Screenshots;
}

// Holds one lock alone and the other one shared. Neither comes first elsewhere, so
// they are taken together by back-off.
class SCOPED_CAPABILITY LockBoth {
 public:
  LockBoth(platform::SharedMutex& alone, platform::SharedMutex& shared) ACQUIRE(alone)
      ACQUIRE_SHARED(shared) NO_THREAD_SAFETY_ANALYSIS : first(alone, std::defer_lock),
                                                         second(shared, std::defer_lock) {
    std::lock(first, second);
  }
  ~LockBoth() RELEASE_GENERIC() {}
  LockBoth(const LockBoth&) = delete;
  LockBoth& operator=(const LockBoth&) = delete;

 private:
  std::unique_lock<platform::SharedMutex> first;
  std::shared_lock<platform::SharedMutex> second;
};

}  // namespace

const char* SystemAlbumId(AlbumKind kind) {
  for (const auto& entry : kKinds) {
    if (entry.kind == kind) return entry.id;
  }
  return nullptr;
}

Album::Ptr Album::Create(std::wstring name) {
  constexpr char kTag[] = "Album::Create";
  LogInfo(kTag, "Create begin.");
  if (!CleanName(name)) {
    LogError(kTag, "Create album Name illegal,end.");
    return nullptr;
  }
  auto album = std::make_shared<Album>();
  const std::int64_t now = MethodFunction::CurrentTime();
  album->AlbumName = name;
  album->AlbumType = "0";
  album->Operation = "0";
  album->CreateTime = now;
  Json::Value expand(Json::objectValue);
  expand["emptyShow"] = "1";
  album->SetExpand(expand);
  const std::string path = "/Pictures/PC/" + platform::WideToUtf8(name) + std::to_string(now);
  album->Lpath = path;
  const std::string folded = platform::AsciiLower(path);
  if (folded.empty()) {
    LogError(kTag, "Create lpathHash empty, end.");
    return nullptr;
  }
  album->AlbumId = "default-album-300-" + std::to_string(MethodFunction::Crc32(folded)) + "-" +
                   std::to_string(MethodFunction::CurrentTime());
  album->displayName = name;
  album->Classify();
  LogInfo(kTag, "Create success, end.");
  return album;
}

Album::Ptr Album::CreateSystem(AlbumKind kind) {
  const bool bin = kind == AlbumKind::RecycleBin;
  const char* id = SystemAlbumId(kind);
  if (!id || (!bin && static_cast<std::int32_t>(kind) > 4)) return nullptr;
  auto album = std::make_shared<Album>();
  album->AlbumId = id;
  album->AlbumName = platform::Utf8ToWide(id);
  album->CreateTime = MethodFunction::CurrentTime();
  album->AlbumType = bin ? "4" : "0";
  album->Operation = bin ? "0" : "";
  album->Classify();
  return album;
}

void Album::Classify() {
  const KindEntry* entry = FindKind(AlbumId.Get(), Lpath.Get());
  if (!entry) {
    displayName = AlbumName.Get();
  } else if (displayName.Get().empty()) {
    kind = static_cast<std::int32_t>(entry->kind);
    displayName = entry->textId;
    if (!StaysListable(entry->kind)) listable = false;
  }
  platform::WriterLock hold(writeLock);
  if (sortedFiles) return;
  order = OrderOf(Kind());
  sortedFiles = std::make_shared<SortedFiles>(order);
}

Json::Value Album::Expand() const { return ParseJson(expandText.Get()); }

void Album::SetExpand(const Json::Value& value) {
  expandText = CompactJson(value);
  hidden = value.isObject() && value["hide"].isString() && value["hide"].asString() == "1";
}

void Album::SetExpandText(std::string_view json) { SetExpand(ParseJson(json)); }

FileSnapshot Album::Files() const {
  platform::ReaderLock hold(filesLock);
  return FileSnapshot(files);
}

Album::FileList Album::GetFiles(std::size_t limit) const {
  const auto snapshot = Files();
  FileList list;
  list.reserve(std::min(limit, snapshot.size()));
  for (auto it = snapshot.begin(); it != snapshot.end() && list.size() < limit; ++it) list.push_back(*it);
  return list;
}

std::shared_ptr<const ViewCacheData> Album::ViewCache() const {
  platform::ReaderLock hold(filesLock);
  return viewCache;
}

Album::View Album::CurrentView() const {
  platform::ReaderLock hold(filesLock);
  return {FileSnapshot(files), viewCache};
}

std::int64_t Album::IndexOf(const GalleryFile::Ptr& file) const {
  const auto snapshot = Files();
  if (!file || !order) return -1;
  std::size_t at = snapshot->Find(file, *order);
  if (at == snapshot.size()) at = snapshot->LowerBound(file, *order);
  return at < snapshot.size() ? static_cast<std::int64_t>(at) : -1;
}

bool Album::Holds(const GalleryFile::Ptr& file) const {
  const auto snapshot = Files();
  return file && order && snapshot->Find(file, *order) < snapshot.size();
}

Album::FileList Album::LimitedFiles() const {
  platform::ReaderLock hold(limitedLock);
  return limitedFiles;
}

std::wstring Album::CoverPath() const {
  platform::MutexLock hold(coverLock);
  return coverPath;
}

void Album::SetListener(Listener listener) {
  platform::WriterLock hold(onChangeLock);
  onChange = std::move(listener);
}

void Album::Notify() {
  if (Kind() == AlbumKind::None) UpdateCover();
  Listener listener;
  {
    platform::ReaderLock hold(onChangeLock);
    listener = onChange;
  }
  if (listener) listener();
  if (Kind() != AlbumKind::TimeLine || !UpdateGalleryFilesLimit()) return;
  LogInfo("Album::Notify", "UpdateGalleryFilesLimit To WM_HOME_GALLERY_DATA");
  platform::PostMessageW(GlobalData::mainWnd, WM_HOME_GALLERY_DATA, 0,
                         static_cast<platform::LPARAM>(upward::Context().FileCount()));
}

bool Album::UpdateGalleryFilesLimit() {
  LogInfo("Album::UpdateGalleryFilesLimit", "UpdateGalleryFilesLimit begin");
  FileList fresh;
  {
    const LockBoth hold(limitedLock, filesLock);
    FileList newest;
    for (auto it = files->begin(); it != files->end() && newest.size() < kHomeFiles; ++it)
      newest.push_back(*it);
    const std::set<GalleryFile::Ptr> before(limitedFiles.begin(), limitedFiles.end());
    const std::set<GalleryFile::Ptr> after(newest.begin(), newest.end());
    if (before == after) return files->empty();
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(fresh));
    limitedFiles = std::move(newest);
  }
  if (!fresh.empty()) upward::Thumbnails().Fetch(fresh, nullptr);
  return true;
}

void Album::UpdateCover() {
  const auto snapshot = Files();
  if (snapshot.empty()) return SetCover({});
  const GalleryFile::Ptr first = *snapshot.begin();
  if (!first->thumbExists) first->TestThumbnailOnDisk();
  const std::wstring path = first->ThumbnailPath();
  SetCover(path);
  if (!path.empty()) return;
  upward::Thumbnails().Fetch({first}, [weak = weak_from_this()](const GalleryFile::Ptr& file) {
    const auto self = weak.lock();
    if (self && file->TestThumbnailOnDisk()) self->SetCover(file->ThumbnailPath());
  });
}

void Album::SetCover(std::wstring path) {
  auto told = std::make_unique<std::wstring>(path);
  {
    platform::MutexLock hold(coverLock);
    if (path == coverPath) return;
    coverPath = std::move(path);
  }
  if (platform::PostMessageW(GlobalData::mainWnd, WM_GALLERY_ALBUM_COVER, 0,
                             reinterpret_cast<platform::LPARAM>(told.get())))
    (void)told.release();
  upward::Context().Announce(AlbumEvent::CoverChanged, shared_from_this());
}

bool Album::FromJson(const Json::Value& json) {
  if (!json.isObject()) return false;
  const auto text = [&json](const char* key, auto take) {
    if (json[key].isString()) take(json[key].asString());
  };
  const auto number = [&json](const char* key, auto& field) {
    if (json[key].isInt64())
      field = static_cast<std::remove_reference_t<decltype(field.Get())>>(json[key].asInt64());
  };
  text("albumId", [this](std::string value) { AlbumId = std::move(value); });
  number("createTime", CreateTime);
  text("albumName", [this](const std::string& value) { AlbumName = platform::Utf8ToWide(value); });
  number("photoNum", photoNum);
  text("source", [this](std::string value) { source = std::move(value); });
  number("flversion", flversion);
  number("iversion", iversion);
  number("size", size);
  text("lpath", [this](std::string value) { Lpath = std::move(value); });
  text("albumType", [this](std::string value) { AlbumType = std::move(value); });
  if (json.isMember("expand")) SetExpand(json["expand"]);
  Classify();
  return true;
}

Json::Value Album::ToJson() const {
  Json::Value json(Json::objectValue);
  json["albumId"] = AlbumId.Get();
  json["albumName"] = platform::WideToUtf8(AlbumName.Get());
  json["createTime"] = CreateTime < 1 ? Json::Value() : Json::Value(Json::Int64{CreateTime});
  json["lpath"] = Lpath.Get();
  json["albumType"] = AlbumType.Get();
  json["source"] = source.Get();
  json["flversion"] = Json::Int64{flversion};
  json["iversion"] = iversion.Get();
  json["photoNum"] = photoNum.Get();
  json["size"] = Json::Int64{size};
  json["expand"] = Expand();
  return json;
}

bool AlbumSortsBefore(const Album::Ptr& left, const Album::Ptr& right) {
  const bool leftOwn = left->Kind() == AlbumKind::None, rightOwn = right->Kind() == AlbumKind::None;
  if (leftOwn != rightOwn) return rightOwn;
  if (!leftOwn) return left->kind < right->kind;
  if (left->CreateTime != right->CreateTime) return left->CreateTime > right->CreateTime;
  return left.get() > right.get();
}
