// Operations on albums.

#include "common/platform/text.h"
#include "model/gallery.h"
#include "resources/resourcetext.h"
#include "store/dbhelper.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/methodfunction.h"

namespace {

constexpr int kMaxNumberBehindName = 999;
// An album whose name other programs rely on.
constexpr char kFixedNamePath[] = "/Zentara/CoverUnlock";

std::string Utf8Name(const Album& album) { return platform::WideToUtf8(album.AlbumName.Get()); }

void MarkChanged(Album& album) {
  if (album.Operation.Get() != "0") album.Operation = "1";
}

}  // namespace

void Gallery::InsertLive(const AlbumPtr& album) {
  const std::string id = album->AlbumId.Get();
  albums[id] = album;
  if (!album->IsBin()) albumsByName[album->AlbumName.Get()] = album;
  if (album->Kind() != AlbumKind::None) albumTextIds[id] = album->displayName.Get();
}

void Gallery::EraseName(const AlbumPtr& album) {
  const auto entry = albumsByName.find(album->AlbumName.Get());
  if (entry != albumsByName.end() && entry->second == album) albumsByName.erase(entry);
}

bool Gallery::AutoRenameAlbum(const AlbumPtr& album) {
  constexpr char kTag[] = "Gallery::AutoRenameAlbum";
  LogInfo(kTag, "AutoRenameAlbum begin.");
  if (!album) {
    LogError(kTag, "AutoRenameAlbum point is null,end.");
    return false;
  }
  LogInfo(kTag, [&] { return "AutoRenameAlbum name:" + Utf8Name(*album); });
  const std::wstring oldName = album->AlbumName.Get();
  for (int number = 1; number <= kMaxNumberBehindName; ++number) {
    const std::wstring name = oldName + L"(" + std::to_wstring(number) + L")";
    if (albumsByName.contains(name)) continue;
    album->AlbumName = name;
    // A system album is shown by a text of the user's language, whatever its name.
    if (album->Kind() == AlbumKind::None) album->displayName = name;
    if (GlobalData::cloudGeneration != GlobalData::kGenerationV2) album->AlbumType = "0";
    LogInfo(kTag, "AutoRenameAlbum end.");
    return true;
  }
  return false;
}

bool Gallery::LoadLiveAlbum(const AlbumPtr& row, Albums& renamed, Albums& shown) {
  const std::string id = row->AlbumId.Get();
  if (albums.contains(id)) return false;
  deletedAlbums.erase(id);
  if (const auto owner = albumsByName.find(row->AlbumName.Get());
      owner != albumsByName.end() && !row->IsBin()) {
    const AlbumPtr other = owner->second;
    const std::wstring oldName = other->AlbumName.Get();
    if (!AutoRenameAlbum(other)) return false;
    MarkChanged(*other);
    albumsByName.erase(oldName);
    albumsByName[other->AlbumName.Get()] = other;
    renamed.push_back(other);
  }
  InsertLive(row);
  row->listed = row->listable && !row->IsHidden();
  if (row->listed) shown.push_back(row);
  return true;
}

std::size_t Gallery::LoadAlbums(const Albums& rows) {
  std::size_t counted = 0;
  Albums renamed, shown;
  {
    platform::WriterLock hold(albumLock);
    for (const auto& row : rows) {
      if (!row || row->IsDelete == 2) continue;
      if (row->IsDelete == 0) {
        counted += LoadLiveAlbum(row, renamed, shown);
      } else if (!albums.contains(row->AlbumId.Get())) {
        deletedAlbums[row->AlbumId.Get()] = row;
        ++counted;
      }
    }
  }
  for (const auto& album : renamed) Announce(AlbumEvent::Changed, album);
  if (counted > 0) Announce(AlbumEvent::Shown, shown);
  return counted;
}

// Gives `album` the name of `record`; false when that name cannot be made free.
bool Gallery::TakeName(const AlbumPtr& album, const AlbumPtr& record) {
  const auto owner = albumsByName.find(record->AlbumName.Get());
  const bool taken = owner != albumsByName.end() && owner->second != album;
  if (taken && !AutoRenameAlbum(record)) return false;
  EraseName(album);
  (void)album->TakeCloudName(record->AlbumName.Get());  // A system album keeps its name.
  albumsByName[album->AlbumName.Get()] = album;
  if (!taken) album->Operation = "";
  return true;
}

std::size_t Gallery::UpdateAlbums(const Albums& records) {
  Albums changed, redraw;
  for (const auto& record : records) {
    if (!record) continue;
    AlbumPtr album;
    {
      platform::WriterLock hold(albumLock);
      const auto known = albums.find(record->AlbumId.Get());
      if (known == albums.end()) continue;
      album = known->second;
      if (record != album) {
        album->AlbumType = record->AlbumType.Get();
        album->SetExpand(record->Expand());
        album->Lpath = record->Lpath.Get();
      }
      const bool renamed = album->AlbumName.Get() != record->AlbumName.Get();
      if (renamed && !album->IsBin() && !TakeName(album, record)) continue;
      if (album->listable || album->listed) redraw.push_back(album);
      changed.push_back(album);
    }
    (void)(album->IsHidden() ? HideAlbum(album) : ShowAlbum(album));
  }
  (void)DBHelper::GetInstance().AddAlbums(changed);
  Announce(AlbumEvent::Changed, redraw);
  return changed.size();
}

bool Gallery::DropAlbum(const AlbumPtr& record, Albums& removed) {
  const std::string id = record->AlbumId.Get();
  const auto live = albums.find(id);
  if (live == albums.end()) {
    if (deletedAlbums.erase(id) == 0) return false;
    record->Operation = "";
    record->IsDelete = 2;
    return true;
  }
  const AlbumPtr album = live->second;
  if (album->FileCount() > 0) {
    for (const auto& kept : {album, record}) {
      kept->IsDelete = 0;
      kept->Operation = "0";
    }
    return true;
  }
  for (const auto& gone : {album, record}) {
    gone->Operation = "";
    gone->IsDelete = 2;
  }
  albums.erase(live);
  if (!album->IsBin()) {
    LogInfo("Gallery::DelAlbums", [&] { return "DelAlbums albumName = " + Utf8Name(*album); });
    EraseName(album);
    albumTextIds.erase(id);
  }
  if (album->listable || album->listed) {
    album->listed = false;
    removed.push_back(album);
  }
  return true;
}

std::size_t Gallery::DelAlbums(const Albums& records) {
  std::size_t counted = 0;
  Albums removed;
  {
    platform::WriterLock hold(albumLock);
    for (const auto& record : records) {
      if (record && DropAlbum(record, removed)) ++counted;
    }
  }
  Albums rows = records;
  std::erase(rows, nullptr);
  (void)DBHelper::GetInstance().AddAlbums(rows);
  if (counted > 0) Announce(AlbumEvent::Removed, removed);
  return counted;
}

Gallery::AlbumPtr Gallery::CreateAlbum(const std::wstring& name, bool restore, std::int64_t createTime) {
  constexpr char kTag[] = "Gallery::CreateAlbum";
  LogInfo(kTag, [&] { return "CreateAlbum name:" + platform::WideToUtf8(name); });
  if (!restore && AlbumNameIsExist(name)) {
    LogError(kTag, "CreateAlbum end .");
    return nullptr;
  }
  auto album = Album::Create(name);
  if (!album) {
    LogError(kTag, "CreateAlbum null,end.");
    return nullptr;
  }
  if (createTime != -1) album->CreateTime = MethodFunction::CurrentTime();
  {
    platform::WriterLock hold(albumLock);
    // The name was cleaned on the way, so it can be taken even now.
    const bool taken = albumsByName.contains(album->AlbumName.Get());
    if (taken && !restore) {
      LogError(kTag, "CreateAlbum end .");
      return nullptr;
    }
    if (taken && !AutoRenameAlbum(album)) {
      LogError(kTag, "CreateAlbum null,end.");
      return nullptr;
    }
    // Two albums of one name and millisecond would share an id.
    const std::string id = album->AlbumId.Get();
    for (int more = 1; albums.contains(album->AlbumId.Get()) || deletedAlbums.contains(album->AlbumId.Get());
         ++more) {
      album->AlbumId = id + std::to_string(more);
    }
    InsertLive(album);
  }
  (void)DBHelper::GetInstance().AddAlbum(album);
  album->listed = true;
  LogInfo(kTag, "CreateAlbum notify ui update.");
  Announce(AlbumEvent::Shown, album);
  LogInfo(kTag, "CreateAlbum success, end.");
  return album;
}

bool Gallery::DeleteAlbum(const AlbumPtr& album) {
  constexpr char kTag[] = "Gallery::DeleteAlbum";
  LogInfo(kTag, "DeleteAlbum begin.");
  if (!album || album->IsDelete != 0 || album->Kind() != AlbumKind::None) {
    LogError(kTag, "DeleteAlbum error, end.");
    return false;
  }
  LogInfo(kTag, [&] { return "DeleteAlbum name:" + Utf8Name(*album); });
  const Files list = album->GetFiles();
  LogInfo(kTag, [&] { return "DeleteAlbum files size:" + std::to_string(list.size()); });
  (void)RecycleFiles(list, false);
  const std::string id = album->AlbumId.Get();
  {
    platform::WriterLock hold(albumLock);
    LogInfo(kTag, [&] { return "DeleteAlbum albumName = " + Utf8Name(*album); });
    album->IsDelete = 1;
    albums.erase(id);
    EraseName(album);
    albumTextIds.erase(id);
    deletedAlbums[id] = album;
  }
  (void)DBHelper::GetInstance().UpdateAlbum(album, id);
  album->listed = false;
  Announce(AlbumEvent::Removed, album);
  LogInfo(kTag, "DeleteAlbum success,end.");
  return true;
}

bool Gallery::RenameAlbum(const AlbumPtr& album, const std::wstring& newName) {
  constexpr char kTag[] = "Gallery::RenameAlbum";
  LogInfo(kTag, "RenameAlbum begin.");
  if (!album || album->Kind() != AlbumKind::None || album->Lpath.Get() == kFixedNamePath) {
    LogError(kTag, "RenameAlbum param is illegal end.");
    return false;
  }
  LogInfo(kTag, [&] {
    return "RenameAlbum old name:" + Utf8Name(*album) + "new name:" + platform::WideToUtf8(newName);
  });
  std::wstring cleaned = newName;
  (void)Album::CleanName(cleaned);  // Album::Rename refuses what is left of an illegal name.
  if (const auto owner = AlbumNameIsExist(cleaned); owner && owner != album) {
    LogError(kTag, "RenameAlbum end.");
    return false;
  }
  {
    platform::WriterLock hold(albumLock);
    const auto live = albums.find(album->AlbumId.Get());
    const auto owner = albumsByName.find(cleaned);
    if (live == albums.end() || live->second != album ||
        (owner != albumsByName.end() && owner->second != album)) {
      LogError(kTag, "RenameAlbum end.");
      return false;
    }
    EraseName(album);
    const bool renamed = album->Rename(newName);
    albumsByName[album->AlbumName.Get()] = album;
    if (!renamed) {
      LogError(kTag, "RenameAlbum name is illegal, end.");
      return false;
    }
    LogInfo(kTag, [&] { return "RenameAlbum albumName = " + Utf8Name(*album); });
  }
  (void)DBHelper::GetInstance().UpdateAlbum(album, album->AlbumId.Get());
  if (album->listed) {
    LogInfo(kTag, "RenameAlbum notify ui update.");
    Announce(AlbumEvent::Changed, album);
  }
  LogInfo(kTag, "RenameAlbum success, end.");
  return true;
}

Gallery::AlbumPtr Gallery::AlbumNameIsExist(const std::wstring& name) {
  constexpr char kTag[] = "Gallery::AlbumNameIsExist";
  LogInfo(kTag, [&] { return "AlbumNameIsExist name:" + platform::WideToUtf8(name); });
  platform::ReaderLock hold(albumLock);
  const auto found = albumsByName.find(name);
  LogInfo(kTag, found == albumsByName.end() ? "AlbumNameIsExist not exist." : "AlbumNameIsExist exist.");
  return found == albumsByName.end() ? nullptr : found->second;
}

Gallery::AlbumPtr Gallery::GetAlbum(const std::string& id) {
  platform::ReaderLock hold(albumLock);
  const auto found = albums.find(id);
  return found == albums.end() ? nullptr : found->second;
}

Gallery::AlbumPtr Gallery::GetDeletedAlbum(const std::string& id) {
  platform::ReaderLock hold(albumLock);
  const auto found = deletedAlbums.find(id);
  return found == deletedAlbums.end() ? nullptr : found->second;
}

void Gallery::GetDeletedAlbums(Albums& out) {
  platform::ReaderLock hold(albumLock);
  for (const auto& [id, album] : deletedAlbums) out.push_back(album);
}

void Gallery::GetAlbums(Albums& out, bool withHidden) {
  out.clear();
  {
    platform::ReaderLock hold(albumLock);
    for (const auto& [id, album] : albums) {
      if (album->IsReal() && (withHidden || !album->IsHidden())) out.push_back(album);
    }
  }
  std::sort(out.begin(), out.end(), AlbumSortsBefore);
}

Gallery::AlbumPtr Gallery::GetOrCreateSystemAlbum(AlbumKind kind) {
  const char* id = SystemAlbumId(kind);
  if (!id) return nullptr;
  if (auto present = GetAlbum(id)) return present;
  auto album = Album::CreateSystem(kind);
  if (!album) return nullptr;
  {
    platform::WriterLock hold(albumLock);
    if (const auto raced = albums.find(id); raced != albums.end()) return raced->second;
    if (!album->IsBin() && albumsByName.contains(album->AlbumName.Get()) && !AutoRenameAlbum(album))
      return nullptr;
    if (kind == AlbumKind::RecycleBin) (void)DBHelper::GetInstance().AddAlbum(album);
    InsertLive(album);
  }
  if (album->listable || album->listed) Announce(AlbumEvent::Shown, album);
  return album;
}

bool Gallery::ShowAlbum(const AlbumPtr& album) {
  if (!album) return false;
  if (album->listed) return true;
  if (GetAlbum(album->AlbumId.Get()) != album) return false;
  album->listed = true;
  Announce(AlbumEvent::Shown, album);
  return true;
}

bool Gallery::HideAlbum(const AlbumPtr& album) {
  if (!album) return false;
  if (!album->listed) return true;
  album->listed = false;
  Announce(AlbumEvent::Removed, album);
  return true;
}

Gallery::AlbumPtr Gallery::GetSystemAlbumNamed(const std::wstring& name) {
  platform::ReaderLock hold(albumLock);
  const auto named = std::find_if(albumTextIds.begin(), albumTextIds.end(), [&name](const auto& entry) {
    return ResourceText::Get(entry.second) == name;
  });
  const auto album = named == albumTextIds.end() ? albums.end() : albums.find(named->first);
  return album == albums.end() ? nullptr : album->second;
}

Gallery::AlbumPtr Gallery::AlbumForFolder(const std::wstring& name) {
  auto owner = AlbumNameIsExist(name);
  if (owner && owner->IsReal()) return owner;
  auto system = GetSystemAlbumNamed(name);
  if (system && system->IsReal()) return system;
  if (!owner) return CreateAlbum(name, false, -1);
  if (auto beside = AlbumNameIsExist(name + L"(1)"); beside && beside->IsReal()) return beside;
  return CreateAlbum(name, true, -1);
}
