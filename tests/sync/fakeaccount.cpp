#include "fakeaccount.h"

#include "common/platform/text.h"
#include "sync/synclocaloperation.h"
#include "utils/globaldata.h"

namespace {

constexpr char kThisDevice[] = "this-device";

Album::Ptr MakeAlbum(const FakeAccount::AlbumRecord& record) {
  auto album = std::make_shared<Album>();
  album->AlbumId = record.id;
  album->AlbumName = record.name;
  album->CreateTime = record.createTime;
  album->Lpath = record.lpath;
  album->AlbumType = "0";
  album->SetExpand(record.expand);
  album->Classify();
  return album;
}

template <typename Result>
void Finish(Result& result) {
  if (!result.failed.empty()) result.code = result.succeeded.empty() ? kAllFailed : kPartlyFailed;
}

}  // namespace

class FakeService : public ISyncServiceOperation {
 public:
  explicit FakeService(FakeAccount& of) : account(of) { albumLimit = fileLimit = account.batchLimit; }

  std::unique_ptr<CloudVersion> GetCloudVersion() override { return account.Listing()->GetAllVersion(); }

  std::unique_ptr<AlbumList> GetCloudAlbums() override {
    auto albums = account.Listing()->GetAlbums("");
    if (!albums) return nullptr;
    if (const auto bin = Gallery::GetInstance().GetAlbum(kRecycleAlbumId)) albums->push_back(bin);
    return albums;
  }

  bool GetCloudIncrementFiles(std::int64_t version, const std::vector<std::string>& albumIds,
                              std::string& cursor, std::vector<CloudFileInfo>& files) override {
    if (!albumIds.empty()) {
      cursor.clear();
      return true;
    }
    if (!account.Begin("GetCloudIncrementFiles")) return false;
    std::string next;
    {
      std::lock_guard hold(account.lock);
      const std::int64_t from = cursor.empty() ? version : std::stoll(cursor);
      std::map<std::int64_t, const FakeAccount::Media*> changes;
      for (const auto& [id, media] : account.media) {
        if (media.version > from) changes[media.version] = &media;
      }
      std::size_t count = 0;
      for (const auto& [at, media] : changes) {
        if (++count > account.pageSize) break;
        CloudFileInfo record;
        if (media->deleted) {
          record.uniqueId = media->info.uniqueId;
          record.otype = "2";
        } else {
          record = media->info;
          record.device = media->device;
          record.otype = Gallery::GetInstance().GetFile(record.uniqueId) ? "1" : "0";
        }
        files.push_back(std::move(record));
        if (count == account.pageSize && at != changes.rbegin()->first) next = std::to_string(at);
      }
    }
    if (!account.End()) return false;
    cursor = next;
    return true;
  }

  std::unique_ptr<LockResult> GetLock(const std::atomic<bool>* cancel) override {
    if (*cancel || !account.Begin("GetLock")) return nullptr;
    auto result = std::make_unique<LockResult>();
    {
      std::lock_guard hold(account.lock);
      // A lock whose answer was lost has run out until this device asks again.
      account.lockToken = "lock-" + std::to_string(++account.locks);
      result->token = account.lockToken;
      result->keepInterval = account.keepInterval;
      result->albumListVersion = std::to_string(account.version);
      result->fileVersion = account.version;
      result->clearVersion = account.clearVersion;
    }
    return account.End() ? std::move(result) : nullptr;
  }

  std::unique_ptr<LockResult> KeepLock(const std::string& token) override {
    if (!account.Begin("KeepLock") || !account.HoldsLock(token)) return nullptr;
    auto result = std::make_unique<LockResult>();
    result->token = token;
    result->keepInterval = account.keepLockFails ? 0 : account.keepInterval;
    return result;
  }

  bool ReleaseLock(const std::string& token) override {
    if (!account.Begin("ReleaseLock") || !account.HoldsLock(token)) return false;
    std::lock_guard hold(account.lock);
    account.lockToken.clear();
    return true;
  }

  std::unique_ptr<AlbumUploadResult> UploadCreateAlbum(const AlbumList& list,
                                                       const std::string& token) override {
    if (!account.Begin("UploadCreateAlbum") || !account.HoldsLock(token)) return nullptr;
    auto result = std::make_unique<AlbumUploadResult>();
    for (const auto& album : list) Put(*album, true, *result);
    Finish(*result);
    return account.End() ? std::move(result) : nullptr;
  }

  std::unique_ptr<AlbumUploadResult> UploadModifyAlbum(const AlbumList& list,
                                                       const std::string& token) override {
    if (!account.Begin("UploadModifyAlbum") || !account.HoldsLock(token)) return nullptr;
    auto result = std::make_unique<AlbumUploadResult>();
    for (const auto& album : list) Put(*album, false, *result);
    Finish(*result);
    return account.End() ? std::move(result) : nullptr;
  }

  std::unique_ptr<AlbumUploadResult> UploadDeleteAlbum(const std::vector<std::string>& ids,
                                                       const std::string& token) override {
    if (!account.Begin("UploadDeleteAlbum") || !account.HoldsLock(token)) return nullptr;
    auto result = std::make_unique<AlbumUploadResult>();
    for (const auto& id : ids) {
      std::lock_guard hold(account.lock);
      if (!account.albums.contains(id)) {
        result->failed.push_back({id, "", "4", "no album", ""});
      } else if (!account.DeleteAlbum(id)) {
        result->failed.push_back({id, "", "31084038", "not empty", ""});
      } else {
        result->succeeded.push_back(id);
      }
    }
    Finish(*result);
    return account.End() ? std::move(result) : nullptr;
  }

  std::unique_ptr<FileUploadResult> UploadModifyFile(const std::vector<CloudFileInfo>& files,
                                                     const std::string& token) override {
    if (!account.Begin("UploadModifyFile") || !account.HoldsLock(token)) return nullptr;
    auto result = std::make_unique<FileUploadResult>();
    for (const auto& file : files) {
      if (!account.Has(file.uniqueId)) {
        result->failed.push_back({file.uniqueId, file.fileId, "31084041", "no media", ""});
        continue;
      }
      const bool recycled = file.albumId == kRecycleAlbumId;
      (void)account.Edit(
          file.uniqueId,
          [&](CloudFileInfo& info) {
            info.fileName = file.fileName;
            info.favorite = file.favorite;
            info.expand = file.expand;
            info.recycleAlbumId = recycled ? kRecycleAlbumId : "";
            info.recycleTime = recycled ? file.recycleTime : -1;
            if (!recycled) info.albumId = file.albumId;
          },
          kThisDevice);
      result->succeeded.push_back(file);
    }
    Finish(*result);
    return account.End() ? std::move(result) : nullptr;
  }

  std::unique_ptr<FileUploadResult> UploadDeleteFile(const std::vector<CloudFileInfo>& files,
                                                     const std::string& token) override {
    if (!account.Begin("UploadDeleteFile") || !account.HoldsLock(token)) return nullptr;
    auto result = std::make_unique<FileUploadResult>();
    for (const auto& file : files) {
      if (account.Delete(file.uniqueId)) {
        result->succeeded.push_back(file);
      } else {
        result->failed.push_back({file.uniqueId, file.fileId, "31084041", "no media", ""});
      }
    }
    Finish(*result);
    return account.End() ? std::move(result) : nullptr;
  }

 private:
  void Put(const Album& album, bool create, AlbumUploadResult& result) {
    std::lock_guard hold(account.lock);
    const std::string id = album.AlbumId.Get();
    if (!create && !account.albums.contains(id)) {
      result.failed.push_back({id, "", "4", "no album", ""});
    } else if (account.NameTaken(id, album.AlbumName.Get())) {
      result.failed.push_back({id, "", "5", "name taken", ""});
    } else {
      account.albums[id] = {id, album.AlbumName.Get(), album.CreateTime, album.Lpath.Get(), album.Expand()};
      (void)account.NextVersion();
      result.succeeded.push_back(id);
    }
  }

  FakeAccount& account;
};

class FakeListing : public ICloudListing {
 public:
  explicit FakeListing(FakeAccount& of) : account(of) {}

  std::int32_t GetCutStatus() override {
    GlobalData::cloudGeneration = account.generation;
    return account.generation;
  }

  std::unique_ptr<CloudVersion> GetAllVersion() override {
    if (!account.Begin("GetAllVersion")) return nullptr;
    auto result = std::make_unique<CloudVersion>();
    {
      std::lock_guard hold(account.lock);
      result->albumVersion = result->albumListVersion = std::to_string(account.version);
      result->fileVersion = account.version;
      result->minVersion = account.minVersion;
      result->clearVersion = account.clearVersion;
    }
    return account.End() ? std::move(result) : nullptr;
  }

  std::unique_ptr<std::vector<Album::Ptr>> GetAlbums(const std::string&) override {
    if (!account.Begin("GetAlbums")) return nullptr;
    auto list = std::make_unique<std::vector<Album::Ptr>>();
    {
      std::lock_guard hold(account.lock);
      for (const auto& [id, album] : account.albums) list->push_back(MakeAlbum(album));
    }
    return account.End() ? std::move(list) : nullptr;
  }

  std::unique_ptr<MediaPage> GetFiles(std::string& cursor, int kind, bool* expired) override {
    if (!account.Begin("GetFiles")) return nullptr;
    if (account.refusesCursors && expired) {
      *expired = true;
      return nullptr;
    }
    auto page = std::make_unique<MediaPage>();
    std::string next = cursor;
    page->media = account.Listed(next, kind == 1);
    for (const auto& media : page->media) {
      page->status.push_back("1");
      page->editedTime.push_back(media.sdsmtime);
    }
    if (!account.End()) return nullptr;
    cursor = next;
    return page;
  }

  void ForgetCursor() override {
    if (account.onForgetCursor) account.onForgetCursor();
  }

  std::unique_ptr<MediaPage> GetFilesByAlbumId(const std::string& albumId) override {
    if (!account.Begin("GetFilesByAlbumId")) return nullptr;
    auto page = std::make_unique<MediaPage>();
    std::lock_guard hold(account.lock);
    for (const auto& [id, media] : account.media) {
      if (!media.deleted && media.info.albumId == albumId && media.info.recycleAlbumId.empty()) {
        page->media.push_back(media.info);
      }
    }
    return page;
  }

  std::unique_ptr<std::vector<CloudFileInfo>> GetFileDetail(const std::vector<std::string>& ids) override {
    if (!account.Begin("GetFileDetail")) return nullptr;
    auto list = std::make_unique<std::vector<CloudFileInfo>>();
    for (const auto& id : ids) {
      if (account.Has(id)) list->push_back(account.MediaInfo(id));
    }
    return account.End() ? std::move(list) : nullptr;
  }

  std::int32_t Failures503() const override { return account.failures503; }
  std::int64_t Last503Ms() const override { return account.last503Ms; }

 private:
  FakeAccount& account;
};

FakeAccount::FakeAccount() { Forget(); }

void FakeAccount::Forget() {
  std::lock_guard hold(lock);
  albums.clear();
  media.clear();
  version = 0;
  lockToken.clear();
  albums["default-album-1"] = {"default-album-1", L"Camera roll", 1, "/DCIM/default-album-1",
                               Json::objectValue};
}

std::unique_ptr<ISyncServiceOperation> FakeAccount::Service() { return std::make_unique<FakeService>(*this); }
std::shared_ptr<ICloudListing> FakeAccount::Listing() { return std::make_shared<FakeListing>(*this); }

std::int64_t FakeAccount::NextVersion() {
  std::lock_guard hold(lock);
  return ++version;
}

bool FakeAccount::NameTaken(const std::string& id, const std::wstring& name) {
  return std::any_of(albums.begin(), albums.end(),
                     [&](const auto& entry) { return entry.first != id && entry.second.name == name; });
}

bool FakeAccount::CreateAlbum(const std::string& id, const std::wstring& name) {
  std::lock_guard hold(lock);
  if (albums.contains(id) || NameTaken(id, name)) return false;
  albums[id] = {id, name, 1000 + NextVersion(), "/DCIM/" + id, Json::objectValue};
  return true;
}

bool FakeAccount::RenameAlbum(const std::string& id, const std::wstring& name) {
  std::lock_guard hold(lock);
  if (!albums.contains(id) || NameTaken(id, name)) return false;
  albums[id].name = name;
  NextVersion();
  return true;
}

bool FakeAccount::DeleteAlbum(const std::string& id) {
  std::lock_guard hold(lock);
  const bool holdsFiles = std::any_of(media.begin(), media.end(), [&id](const auto& entry) {
    const auto& info = entry.second.info;
    return !entry.second.deleted && info.albumId == id && info.recycleAlbumId.empty();
  });
  if (holdsFiles || albums.erase(id) == 0) return false;
  NextVersion();
  return true;
}

bool FakeAccount::AddMedia(const std::string& id, const std::wstring& name, const std::string& albumId,
                           const std::string& device) {
  std::lock_guard hold(lock);
  if (media.contains(id) || !albums.contains(albumId)) return false;
  Media made;
  made.info.uniqueId = made.info.fileId = id;
  made.info.fileName = name;
  made.info.albumId = albumId;
  made.info.size = 1000;
  made.info.createTime = 1'500'000'000'000 + version;
  made.info.fileType = "1";
  made.info.hash = "hash-" + id;
  made.info.cloudContentStatus = 1;
  made.info.expand = Json::Value(Json::objectValue);
  made.version = NextVersion();
  made.info.sdsmtime = made.version;
  made.device = device;
  media[id] = made;
  return true;
}

bool FakeAccount::Edit(const std::string& id, const std::function<void(CloudFileInfo&)>& change,
                       const std::string& device) {
  std::lock_guard hold(lock);
  if (!Has(id)) return false;
  Media& found = media[id];
  change(found.info);
  found.version = NextVersion();
  found.info.sdsmtime = found.version;
  found.device = device;
  return true;
}

bool FakeAccount::Recycle(const std::string& id) {
  return Edit(id, [](CloudFileInfo& info) {
    info.recycleAlbumId = kRecycleAlbumId;
    info.recycleTime = 1'650'000'000'000;
  });
}

bool FakeAccount::Recover(const std::string& id) {
  std::lock_guard hold(lock);
  if (!Has(id) || !albums.contains(media[id].info.albumId)) return false;
  return Edit(id, [](CloudFileInfo& info) {
    info.recycleAlbumId.clear();
    info.recycleTime = -1;
  });
}

bool FakeAccount::Delete(const std::string& id) {
  std::lock_guard hold(lock);
  if (!Has(id)) return false;
  media[id].deleted = true;
  media[id].version = NextVersion();
  return true;
}

std::int64_t FakeAccount::Version() {
  std::lock_guard hold(lock);
  return version;
}

bool FakeAccount::IsLocked() {
  std::lock_guard hold(lock);
  return !lockToken.empty();
}

bool FakeAccount::HoldsLock(const std::string& token) {
  std::lock_guard hold(lock);
  return !token.empty() && token == lockToken;
}

bool FakeAccount::Has(const std::string& id) {
  std::lock_guard hold(lock);
  const auto found = media.find(id);
  return found != media.end() && !found->second.deleted;
}

CloudFileInfo FakeAccount::MediaInfo(const std::string& id) {
  std::lock_guard hold(lock);
  return media.at(id).info;
}

std::vector<std::string> FakeAccount::LiveIds() {
  std::lock_guard hold(lock);
  std::vector<std::string> ids;
  for (const auto& [id, entry] : media) {
    if (!entry.deleted) ids.push_back(id);
  }
  return ids;
}

std::vector<std::string> FakeAccount::AlbumIds() {
  std::lock_guard hold(lock);
  std::vector<std::string> ids;
  for (const auto& [id, entry] : albums) ids.push_back(id);
  return ids;
}

std::string FakeAccount::Tree() {
  std::lock_guard hold(lock);
  std::string tree;
  for (const auto& [id, album] : albums)
    tree += "album " + id + " " + platform::WideToUtf8(album.name) + "\n";
  for (const auto& [id, entry] : media) {
    if (entry.deleted) continue;
    const bool bin = !entry.info.recycleAlbumId.empty();
    tree += "file " + id + " " + platform::WideToUtf8(entry.info.fileName) + " in " +
            (bin ? "bin" : entry.info.albumId) + (entry.info.favorite ? " favorite" : "") + "\n";
  }
  return tree;
}

void FakeAccount::FailCall(int number, bool lateFailure) {
  std::lock_guard hold(lock);
  calls = 0;
  failAt = number;
  late = lateFailure;
}

void FakeAccount::ClearFaults() { FailCall(0); }

int FakeAccount::Calls() {
  std::lock_guard hold(lock);
  return calls;
}

std::vector<std::string> FakeAccount::CallNames() {
  std::lock_guard hold(lock);
  return callNames;
}

void FakeAccount::ForgetCalls() {
  std::lock_guard hold(lock);
  callNames.clear();
}

bool FakeAccount::Begin(const std::string& name) {
  if (onCall) onCall(name);
  std::lock_guard hold(lock);
  callNames.push_back(name);
  failing = ++calls == failAt;
  return !failing || late;
}

bool FakeAccount::End() {
  std::lock_guard hold(lock);
  return !std::exchange(failing, false);
}

std::vector<CloudFileInfo> FakeAccount::Listed(std::string& cursor, bool short_) {
  std::lock_guard hold(lock);
  std::vector<CloudFileInfo> page;
  const std::string after = std::exchange(cursor, "");
  if (emptyListing) return page;
  for (auto entry = overlappingPages ? media.lower_bound(after) : media.upper_bound(after);
       entry != media.end(); ++entry) {
    if (entry->second.deleted) continue;
    if (page.size() == pageSize) {
      cursor = page.back().uniqueId;
      break;
    }
    page.push_back(entry->second.info);
    if (!short_) continue;
    CloudFileInfo cheap;
    cheap.uniqueId = page.back().uniqueId;
    cheap.albumId = page.back().albumId;
    cheap.size = page.back().size;
    cheap.sdsmtime = page.back().sdsmtime;
    cheap.cloudContentStatus = page.back().cloudContentStatus;
    page.back() = cheap;
  }
  return page;
}
