// Albums of the cloud into gallery and table, and what the user changed in them.

#include "common/platform/text.h"
#include "store/dbhelper.h"
#include "sync/synclocaloperation.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"

namespace {

constexpr char kUsualType[] = "0";
constexpr char kDefaultType[] = "4";
constexpr std::int32_t kDeletedHere = 1;
constexpr std::int32_t kDeletedEverywhere = 2;
constexpr int kMaxNumberBehindName = 999;

// Codes of albums that the cloud refused.
constexpr char kUnknownAlbum[] = "4";
constexpr char kNameTaken[] = "5";
constexpr char kKnownUnderOtherId[] = "21";

bool IsDefaultAlbum(const std::string& id) {
  return id == "default-album-1" || id == "default-album-2" || id == kRecycleAlbumId;
}

bool IsSecondGeneration() { return GlobalData::cloudGeneration == GlobalData::kGenerationV2; }

bool IsModified(const Album& cloud, const Album& here) {
  if (cloud.AlbumName.Get() != here.AlbumName.Get()) return true;
  return IsSecondGeneration() && (cloud.Expand() != here.Expand() || cloud.IsHidden() != here.IsHidden());
}

// A change of the user that the cloud does not know yet: its own copy must wait.
bool IsPending(const Album& album) { return !album.Operation.Get().empty(); }

Gallery::Albums RealAlbums() {
  Gallery::Albums albums;
  Gallery::GetInstance().GetAlbums(albums, true);
  return albums;
}

Gallery::Albums WithOperation(const char* operation) {
  Gallery::Albums albums = RealAlbums();
  std::erase_if(albums, [operation](const Album::Ptr& album) { return album->Operation.Get() != operation; });
  return albums;
}

std::string Count(std::size_t count) { return std::to_string(count); }

}  // namespace

std::vector<AlbumChange> SyncLocalOperation::GetCloudChangedAlbums(const Albums& cloudAlbums) {
  constexpr char kTag[] = "SyncLocalOperation::GetCloudChangedAlbums";
  std::vector<AlbumChange> changes;
  if (cloudAlbums.empty()) return changes;
  std::set<std::string> inCloud;
  for (const auto& album : cloudAlbums) {
    if (IsSecondGeneration())
      album->AlbumType = IsDefaultAlbum(album->AlbumId.Get()) ? kDefaultType : kUsualType;
    inCloud.insert(album->AlbumId.Get());
  }
  for (const auto& album : RealAlbums()) {
    if (album->Operation.Get() == kAlbumCreated || inCloud.contains(album->AlbumId.Get())) continue;
    changes.push_back({album, AlbumChange::Delete});
  }
  const std::size_t deletes = changes.size();
  LogInfo(kTag, [&] { return "Cloud delete Albums Count:" + Count(deletes); });
  auto& gallery = Gallery::GetInstance();
  for (const auto& album : cloudAlbums) {
    const auto deleted = gallery.GetDeletedAlbum(album->AlbumId.Get());
    if (gallery.GetAlbum(album->AlbumId.Get()) || (deleted && deleted->IsDelete != kDeletedEverywhere))
      continue;
    changes.push_back({album, AlbumChange::Add});
  }
  const std::size_t adds = changes.size() - deletes;
  LogInfo(kTag, [&] { return "Cloud Add Albums Count:" + Count(adds); });
  for (const auto& album : cloudAlbums) {
    const auto here = gallery.GetAlbum(album->AlbumId.Get());
    if (!here || here == album || IsPending(*here) || !IsModified(*album, *here)) continue;
    changes.push_back({album, AlbumChange::Modify});
  }
  LogInfo(kTag, [&] { return "Cloud Modify Albums Count:" + Count(changes.size() - deletes - adds); });
  return changes;
}

bool SyncLocalOperation::SetLocalAlbums(const std::vector<AlbumChange>& changes, Albums& deleted) {
  constexpr char kTag[] = "SyncLocalOperation::SetLocalAlbums";
  auto& gallery = Gallery::GetInstance();
  Albums updates, creates;
  for (const auto& change : changes) {
    if (change.changeType == AlbumChange::Delete) {
      deleted.push_back(change.album);
    } else if (gallery.GetAlbum(change.album->AlbumId.Get())) {
      updates.push_back(change.album);
    } else {
      creates.push_back(change.album);
    }
  }
  LogInfo(kTag, [&] { return "delete Albums count :" + Count(deleted.size()); });
  LogInfo(kTag, [&] { return "update Albums count :" + Count(updates.size()); });
  LogInfo(kTag, [&] { return "create Albums count :" + Count(creates.size()); });
  (void)gallery.UpdateAlbums(updates);
  Albums updated;
  for (const auto& record : updates) {
    if (const auto album = gallery.GetAlbum(record->AlbumId.Get())) updated.push_back(album);
  }
  if (!SaveAlbums(updated)) return false;
  return InsertAlbums(creates);
}

// Memory does not know of every row: in a hidden period it has none, and a stop
// empties it while a cycle goes on.
bool SyncLocalOperation::InsertAlbums(Albums albums) {
  if (albums.empty()) return true;
  Albums rows;
  if (!DBHelper::GetInstance().GetAlbums(rows)) return false;
  std::set<std::string> waiting;
  for (const auto& row : rows) {
    if (IsPending(*row) || row->IsDelete == kDeletedHere) waiting.insert(row->AlbumId.Get());
  }
  std::erase_if(albums,
                [&waiting](const Album::Ptr& album) { return waiting.contains(album->AlbumId.Get()); });
  for (const auto& album : albums) album->Classify();
  std::sort(albums.begin(), albums.end(), AlbumSortsBefore);
  // Rows first: an album that is in memory but not in the table would never be
  // seen as missing again.
  if (!DBHelper::GetInstance().AddAlbums(albums)) return false;
  (void)Gallery::GetInstance().LoadAlbums(albums);
  return true;
}

bool SyncLocalOperation::DeleteAlbums(const Albums& deleted) {
  if (deleted.empty()) return true;
  (void)Gallery::GetInstance().DelAlbums(deleted);
  return SaveAlbums(deleted);
}

// --- Changes of the user

SyncLocalOperation::Albums SyncLocalOperation::GetCreatedAlbums() {
  Albums albums = WithOperation(kAlbumCreated);
  LogInfo("SyncLocalOperation::GetCreatedAlbums",
          [&] { return "Get Local Created Albums Success Count:" + Count(albums.size()); });
  return albums;
}

SyncLocalOperation::Albums SyncLocalOperation::GetModifyAlbums() {
  Albums albums = WithOperation(kAlbumModified);
  LogInfo("SyncLocalOperation::GetModifyAlbums",
          [&] { return "Get Local Modfiy Albums Success Count :" + Count(albums.size()); });
  return albums;
}

SyncLocalOperation::Albums SyncLocalOperation::GetDeleteAlbums() {
  Albums albums = RealAlbums();
  Gallery::GetInstance().GetDeletedAlbums(albums);
  std::erase_if(albums, [](const Album::Ptr& album) { return album->IsDelete != kDeletedHere; });
  LogInfo("SyncLocalOperation::GetDeleteAlbums",
          [&] { return "Get Local Delete Albums Success Count:" + Count(albums.size()); });
  return albums;
}

bool SyncLocalOperation::ChangeAlbumName(const std::string& albumId) {
  auto& gallery = Gallery::GetInstance();
  const auto album = gallery.GetAlbum(albumId);
  if (!album) return true;
  const std::wstring name = album->AlbumName.Get();
  LogInfo("SyncLocalOperation::ChangeAlbumName", [&] { return "album name is exist:" + albumId; });
  for (int number = 1; number <= kMaxNumberBehindName; ++number) {
    const std::wstring next = name + L"(" + std::to_wstring(number) + L")";
    if (gallery.AlbumNameIsExist(next)) continue;
    if (!gallery.RenameAlbum(album, next)) return false;
    (void)SaveAlbums({album});  // Kept for the next cycle when the database refuses.
    return true;
  }
  return false;
}

// Two albums claim one name: the cloud's keeps it and takes the files.
void SyncLocalOperation::ResolveAlbumConflict(const FailedItem& item) {
  auto& gallery = Gallery::GetInstance();
  const auto album = gallery.GetAlbum(item.id);
  if (item.conflictId.empty() || !album) return;
  if (item.conflictId == item.id) return SetAlbumsChanged({item.id});
  const auto target = gallery.GetAlbum(item.conflictId);
  if (!target) return;  // The next pull brings it.
  LogInfo("SyncLocalOperation::UploadCreatedAlbumsFailed", "Un Def Sync Conflict!");
  JoinAlbums(album, target);
}

void SyncLocalOperation::JoinNamesakes() {
  for (const auto& album : GetCreatedAlbums()) {
    const auto system = Gallery::GetInstance().GetSystemAlbumNamed(album->AlbumName.Get());
    if (system && system != album && system->IsReal()) JoinAlbums(album, system);
  }
}

void SyncLocalOperation::JoinAlbums(const Album::Ptr& album, const Album::Ptr& target) {
  LeaveToTheCloud(*album, *target);
  // Another picture of the same name would stay behind.
  for (const auto& file : album->GetFiles()) GiveNameFreeIn(*target, *album, file);
  (void)Gallery::GetInstance().MoveFiles(album, target);
  (void)DeleteAlbums({album});
}

void SyncLocalOperation::GiveNameFreeIn(const Album& target, Album& album, const FilePtr& file) {
  const std::int32_t state = file->GalleryState;
  bool renamed = false;
  while (!target.FilesNamed(file->FileName()).empty() && album.RenameToFreeName(file)) renamed = true;
  if (!renamed) return;
  if (file->IsLocalOnly()) file->GalleryState = state;  // The content goes up with its name.
  (void)SaveFiles({file});                              // Kept for the next cycle when the database refuses.
}

// Pictures that the cloud's album holds by content are there already: uploaded beside
// those, everybody would see them twice.
void SyncLocalOperation::LeaveToTheCloud(const Album& album, const Album& target) {
  std::map<std::string, FilePtr> inCloud;
  for (const auto& file : target.GetFiles()) {
    if (!file->IsLocalOnly() && !file->Hash().empty()) inCloud.emplace(file->Hash(), file);
  }
  std::vector<std::string> left;
  for (const auto& file : album.GetFiles()) {
    const auto twin = inCloud.find(file->Hash());
    if (twin == inCloud.end() || !file->IsLocalOnly() || file->ContinuousType != 0) continue;
    // Where the original lies, so that it can be given back, and what the user marked.
    if (twin->second->LocalPath().empty()) twin->second->SetLocalPath(file->LocalPath());
    if (!SaveFiles({twin->second})) continue;
    if (file->IsFavorite) (void)Gallery::GetInstance().FavoriteFiles(twin->second, true);
    left.push_back(file->UniqueId());
  }
  if (!left.empty()) (void)DeleteForGood(left);
}

std::vector<std::string> SyncLocalOperation::UploadCreatedAlbumsFailed(
    const std::vector<FailedItem>& failed) {
  for (const auto& item : failed) {
    if (item.code == kKnownUnderOtherId) ResolveAlbumConflict(item);
    if (item.code == kUnknownAlbum) SetAlbumsChanged({item.id});
  }
  return UploadModifyAlbumsFailed(failed);
}

std::vector<std::string> SyncLocalOperation::UploadModifyAlbumsFailed(const std::vector<FailedItem>& failed) {
  std::vector<std::string> stuck;
  for (const auto& item : failed) {
    if (item.code == kNameTaken && !ChangeAlbumName(item.id)) stuck.push_back(item.id);
  }
  return stuck;
}

void SyncLocalOperation::SetAlbumsChanged(const std::vector<std::string>& ids) {
  for (const auto& id : ids) {
    const auto album = Gallery::GetInstance().GetAlbum(id);
    if (!album) continue;
    album->Operation = kAlbumModified;
    (void)SaveAlbums({album});  // Kept for the next cycle when the database refuses.
  }
}

void SyncLocalOperation::SetAlbumsUploaded(const std::vector<std::string>& ids,
                                           const std::string& operation) {
  const bool deleted = operation == kAlbumDeleted;
  if (!deleted && operation != kAlbumCreated && operation != kAlbumModified) return;
  auto& gallery = Gallery::GetInstance();
  Albums albums;
  for (const auto& id : ids) {
    auto album = gallery.GetAlbum(id);
    if (!album) album = gallery.GetDeletedAlbum(id);
    if (!album) continue;
    album->Operation = "";
    if (deleted) album->IsDelete = kDeletedEverywhere;
    albums.push_back(album);
  }
  (void)SaveAlbums(albums);  // Kept for the next cycle when the database refuses.
}
