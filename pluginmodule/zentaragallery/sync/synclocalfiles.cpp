// Changed files of the cloud into gallery and table.

#include "cloud/cheader.h"
#include "common/platform/text.h"
#include "host/base/globalparamwrapper.h"
#include "store/dbhelper.h"
#include "sync/synclocaloperation.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/methodfunction.h"
#include "utils/picturemetadata.h"

namespace {

constexpr char kTag[] = "SyncLocalOperation::SetLocalGeneralFiles";
constexpr char kDeletedType[] = "2";
constexpr std::int32_t kMetadataChanged = 2;
constexpr std::int32_t kContentPresent = 1;
// Attributes that a move or the bin writes: while the change waits they are the
// user's, whatever the cloud's copy says.
constexpr const char* kKeysOfPlace[] = {"album_name", "sourcePath"};

Gallery& TheGallery() { return Gallery::GetInstance(); }

std::string Count(std::size_t count) { return std::to_string(count); }

bool IsOwn(const CloudFileInfo& record) {
  return !record.device.empty() && record.device == CHeader::GetInstance().GetDeviceUuid();
}

bool HasRow(const CloudFileInfo& record) {
  return DBHelper::GetInstance().GetFile(record.uniqueId) != nullptr;
}

bool HasNewName(const GalleryFile& file, const CloudFileInfo& record) {
  return !record.fileName.empty() && file.FileName() != record.fileName;
}

void SetIfAny(GalleryFile& file, const std::string& text, void (GalleryFile::*set)(std::string_view)) {
  if (!text.empty()) (file.*set)(text);
}

void TakeExpand(GalleryFile& file, const CloudFileInfo& record) {
  if (record.expand.empty()) return;
  Json::Value expand = record.expand;
  if (HasLocalChange(file) && expand.isObject()) {
    for (const char* key : kKeysOfPlace) {
      const std::string own = file.ExpandValue(key);
      if (!own.empty()) expand[key] = own;
    }
  }
  file.SetExpand(expand);
}

void TakeMetadata(GalleryFile& file, const CloudFileInfo& record) {
  if (GlobalData::cloudGeneration != GlobalData::kGenerationV2) return;
  if (file.IsVideo()) {
    SetIfAny(file, record.videoMetadata, &GalleryFile::SetVideoMetadata);
  } else {
    SetIfAny(file, record.pictureMetadata, &GalleryFile::SetPictureMetadata);
  }
}

// What is taken whether the user changed the file or not.
void TakeIdentifiers(GalleryFile& file, const CloudFileInfo& record) {
  file.Size = record.size;
  file.cloudContentStatus = record.cloudContentStatus;
  if (HasNewName(file, record)) file.SetFileName(record.fileName);
  SetIfAny(file, record.fileId, &GalleryFile::SetFileId);
  SetIfAny(file, record.thumbFileId, &GalleryFile::SetThumbFileId);
  SetIfAny(file, record.lcdFileId, &GalleryFile::SetLcdFileId);
  SetIfAny(file, record.videoThumbId, &GalleryFile::SetVideoThumbId);
  TakeExpand(file, record);
  TakeMetadata(file, record);
}

void TakePlace(GalleryFile& file, const CloudFileInfo& record) {
  file.IsFavorite = record.favorite;
  if (!record.albumId.empty()) file.SetAlbumId(record.albumId);
  file.SetRecycleAlbumId(record.recycleAlbumId);
  file.RecycleTime = record.recycleTime;
}

// A page can tell of one file twice; the later record is the newer state.
void KeepNewest(std::vector<CloudFileInfo>& files) {
  std::set<std::string> seen;
  std::vector<CloudFileInfo> newest;
  for (auto record = files.rbegin(); record != files.rend(); ++record) {
    if (seen.insert(record->uniqueId).second) newest.push_back(std::move(*record));
  }
  files.assign(std::make_move_iterator(newest.rbegin()), std::make_move_iterator(newest.rend()));
}

void RefreshStamps(const std::vector<CloudFileInfo>& files) {
  for (const auto& record : files) {
    const auto file = TheGallery().GetFile(record.uniqueId);
    if (file && record.sdsmtime > 0) file->Sdsmtime = record.sdsmtime;
  }
}

// Files taken out of memory for a change, with the burst members that leave with
// a cover. The bin resets the time of what leaves it, so times are kept.
class TakenOut {
 public:
  explicit TakenOut(const Gallery::Files& files) {
    for (const auto& file : files) {
      Keep(file);
      for (const auto& member : file->GetMembers()) Keep(member);
    }
    (void)TheGallery().RemoveFiles(files);
    for (const auto& [file, time] : times) file->RecycleTime = time;
  }

  void PutBack() const {
    Gallery::Files shown;
    for (const auto& file : order) {
      if (IsShown(*file)) shown.push_back(file);
    }
    if (!shown.empty()) (void)TheGallery().AddFiles(shown);
  }

 private:
  void Keep(const GalleryFile::Ptr& file) {
    if (times.emplace(file, file->RecycleTime).second) order.push_back(file);
  }
  Gallery::Files order;
  std::map<GalleryFile::Ptr, std::int64_t> times;
};

}  // namespace

// What one page of changes comes to.
struct SyncLocalOperation::Page {
  struct Update {
    FilePtr file;
    CloudFileInfo record;
  };
  std::vector<Update> updates;      // the cloud wins
  std::vector<Update> identifiers;  // the user wins
  Files renamed;                    // own changes that came back with another name
  std::map<FilePtr, std::wstring> newNames;
  Files inserts;
};

bool SyncLocalOperation::SetLocalGeneralFiles(std::vector<CloudFileInfo>& files) {
  if (files.empty()) return true;
  KeepNewest(files);
  RefreshStamps(files);
  if (!TakeDeleted(files)) return false;
  Page page;
  TakeOwn(files, page);
  TakeProtected(files, page);
  TakeRest(files, page);
  return Apply(page);
}

bool SyncLocalOperation::TakeDeleted(std::vector<CloudFileInfo>& files) {
  std::vector<CloudFileInfo> deleted;
  std::erase_if(files, [&deleted](CloudFileInfo& record) {
    if (record.otype != kDeletedType) return false;
    deleted.push_back(std::move(record));
    return true;
  });
  LogInfo(kTag, [&] { return "Get Deleted Files Count In  changed Files :  " + Count(deleted.size()); });
  return SetRecycleFiles(deleted);
}

void SyncLocalOperation::TakeOwn(std::vector<CloudFileInfo>& files, Page& page) {
  std::size_t own = 0;
  std::erase_if(files, [&](const CloudFileInfo& record) {
    if (!IsOwn(record)) return false;
    if (const auto file = TheGallery().GetFile(record.uniqueId)) {
      if (HasNewName(*file, record)) {
        page.renamed.push_back(file);
        page.newNames[file] = record.fileName;
      }
    } else if (record.cloudContentStatus == kContentPresent ? !Repair(record, page) : !HasRow(record)) {
      return false;  // No row to repair it from: it comes in like any other file.
    }
    ++own;
    return true;
  });
  LogInfo(kTag, [&] { return "Get Increase By Itself Count In  General Files Count :  " + Count(own); });
}

bool SyncLocalOperation::Repair(const CloudFileInfo& record, Page& page) {
  const auto file = DBHelper::GetInstance().GetFile(record.uniqueId);
  if (!file) return false;
  if (file->Guid().empty()) file->SetGuid(MethodFunction::NewGuid());
  ApplyAlbumRule(file);
  page.inserts.push_back(file);
  return true;
}

// A file that arrives in an album that the user deleted goes to the bin; in a
// live one it replaces the copy of the same picture that waits for upload.
void SyncLocalOperation::ApplyAlbumRule(const FilePtr& file) {
  if (file->IsInBin()) return;
  const auto album = TheGallery().GetAlbum(file->AlbumId());
  if (!album) {
    const auto deleted = TheGallery().GetDeletedAlbum(file->AlbumId());
    if (!deleted) return;
    const std::int64_t now = MethodFunction::CurrentTime();
    file->SetRecycleAlbumId(kRecycleAlbumId);
    file->RecycleTime = now;
    file->OperateTime = now;
    file->GalleryState = kMetadataChanged;
    file->SetExpandValue("album_name", platform::WideToUtf8(deleted->AlbumName.Get()));
    return;
  }
  if (album->IsBin() || file->Hash().empty()) return;
  for (const auto& twin : album->FilesNamed(file->FileName())) {
    if (twin->UniqueId() == file->UniqueId() || !twin->IsLocalOnly() || twin->Hash() != file->Hash())
      continue;
    (void)TheGallery().RecycleFiles({twin}, false);
    return;
  }
}

void SyncLocalOperation::TakeProtected(std::vector<CloudFileInfo>& files, Page& page) {
  std::erase_if(files, [&page](CloudFileInfo& record) {
    auto file = TheGallery().GetFile(record.uniqueId);
    if (!file || !HasLocalChange(*file)) return false;
    page.identifiers.push_back({std::move(file), std::move(record)});
    return true;
  });
}

void SyncLocalOperation::TakeRest(std::vector<CloudFileInfo>& files, Page& page) {
  for (auto& record : files) {
    if (auto file = TheGallery().GetFile(record.uniqueId)) {
      page.updates.push_back({std::move(file), std::move(record)});
    } else {
      const auto fresh = BuildFile(record);
      if (!HasLocalChange(*fresh)) ApplyAlbumRule(fresh);
      page.inserts.push_back(fresh);
    }
  }
  files.clear();
}

// A file that memory does not know can have a row all the same: with a change
// that waits while its album is hidden, say, which must outlive this.
SyncLocalOperation::FilePtr SyncLocalOperation::BuildFile(const CloudFileInfo& record) {
  const auto row = DBHelper::GetInstance().GetFile(record.uniqueId);
  return row ? RenewRow(row, record) : std::make_shared<GalleryFile>(record);
}

SyncLocalOperation::FilePtr SyncLocalOperation::RenewRow(const FilePtr& row, const CloudFileInfo& record) {
  if (HasLocalChange(*row)) {
    TakeIdentifiers(*row, record);
    return row;
  }
  auto file = std::make_shared<GalleryFile>(record);
  file->SetLocalPath(row->LocalPath());
  if (!row->Guid().empty()) file->SetGuid(row->Guid());
  file->IsLocalUpload = row->IsLocalUpload;
  return file;
}

bool SyncLocalOperation::InsertFiles(const Files& files) {
  if (files.empty()) return true;
  return DBHelper::GetInstance().AddFiles(files) && AddToMemory(files);
}

bool SyncLocalOperation::AddToMemory(const Files& files) {
  Files shown;
  std::map<FilePtr, std::int32_t> states;
  for (const auto& file : files) {
    if (!IsShown(*file)) continue;
    shown.push_back(file);
    states[file] = file->GalleryState;
  }
  if (shown.empty()) return true;
  (void)TheGallery().AddFiles(shown);
  // An album that has a file of that name already gives the new one another.
  std::erase_if(shown, [&states](const FilePtr& file) { return file->GalleryState == states[file]; });
  return SaveFiles(shown);
}

bool SyncLocalOperation::Apply(Page& page) {
  Files moved = page.renamed, saved = page.renamed;
  for (const auto& update : page.updates) moved.push_back(update.file);
  for (const auto& update : page.identifiers) {
    saved.push_back(update.file);
    // The others stay where they are, under the hands of the user.
    if (HasNewName(*update.file, update.record)) moved.push_back(update.file);
  }
  const TakenOut out(moved);
  const bool inserted = InsertFiles(page.inserts);
  for (const auto& [file, name] : page.newNames) file->SetFileName(name);
  for (const auto& update : page.identifiers) TakeIdentifiers(*update.file, update.record);
  for (const auto& update : page.updates) {
    // The user may have come in between.
    if (!HasLocalChange(*update.file)) {
      TakePlace(*update.file, update.record);
      TakeIdentifiers(*update.file, update.record);
      ApplyAlbumRule(update.file);
    } else {
      TakeIdentifiers(*update.file, update.record);
    }
    saved.push_back(update.file);
  }
  out.PutBack();
  LogInfo(kTag, [&] { return "Insert files Count : " + Count(page.inserts.size()); });
  LogInfo(kTag, [&] { return "Updata fiels Count : " + Count(page.updates.size()); });
  return SaveFiles(saved) && inserted;
}

// --- The bin

std::vector<std::string> SyncLocalOperation::GetRecycleAlbumIds() { return {kRecycleAlbumId}; }

bool SyncLocalOperation::SetRecycleFiles(std::vector<CloudFileInfo>& files) {
  constexpr char kRecycleTag[] = "SyncLocalOperation::SetRecycleFiles";
  if (files.empty()) return true;
  RefreshStamps(files);
  std::size_t own = 0;
  std::erase_if(files, [&own](const CloudFileInfo& record) {
    if (IsOwn(record)) {
      ++own;
      return true;
    }
    const auto file = TheGallery().GetFile(record.uniqueId);
    return record.otype != kDeletedType && file && HasLocalChange(*file);
  });
  LogInfo(kRecycleTag,
          [&] { return "Get Increase By Itself Count In Recy General Files Count :  " + Count(own); });
  std::vector<CloudFileInfo> added;
  std::vector<std::string> deleted;
  for (auto& record : files) {
    LogInfo(kRecycleTag, [&] { return "item.otype :" + record.otype; });
    LogInfo(kRecycleTag, [&] { return "item.uniqueId :" + record.uniqueId; });
    if (record.otype == kDeletedType) deleted.push_back(record.uniqueId);
    if (record.otype != "1") continue;
    // In this feed the field names the album that the file came from.
    if (!record.recycleAlbumId.empty() && record.recycleAlbumId != kRecycleAlbumId) {
      record.albumId = record.recycleAlbumId;
    }
    added.push_back(std::move(record));
  }
  files.clear();
  LogInfo(kRecycleTag, [&] { return "Add to recy count :  " + Count(added.size()); });
  const bool binned = AddToBin(added);
  const bool gone = DeleteForGood(deleted);
  LogInfo(kRecycleTag, [&] { return "Add to recy count  " + Count(added.size()); });
  LogInfo(kRecycleTag, [&] { return "Del from recy count " + Count(deleted.size()); });
  return binned && gone;
}

bool SyncLocalOperation::AddToBin(const std::vector<CloudFileInfo>& records) {
  Files moved, recycled, inserts;
  std::map<FilePtr, const CloudFileInfo*> recordOf;
  const auto bin = TheGallery().GetAlbum(kRecycleAlbumId);
  for (const auto& record : records) {
    const auto file = TheGallery().GetFile(record.uniqueId);
    if (!file) {
      inserts.push_back(std::make_shared<GalleryFile>(record));
      inserts.back()->SetRecycleAlbumId(kRecycleAlbumId);
      inserts.back()->SetLocalPath(DBHelper::GetInstance().GetLocalPath(record.uniqueId));
      continue;
    }
    recordOf[file] = &record;
    // One that changes its album on the way has to leave the one that it is in.
    if (!record.albumId.empty() && file->AlbumId() != record.albumId) {
      moved.push_back(file);
      continue;
    }
    if (file->RecycleTime != record.recycleTime) {
      if (file->RecycleTime > 0 && bin) bin->ReSetGallery(file, record.recycleTime);
      file->RecycleTime = record.recycleTime;
    }
    recycled.push_back(file);
  }
  LogInfo("SyncLocalOperation::SetRecycleFiles",
          [&] { return "InsertRecycleFiles:Count  " + Count(inserts.size()); });
  if (!InsertFiles(inserts)) return false;
  const TakenOut out(moved);
  for (const auto& file : moved) {
    file->SetAlbumId(recordOf[file]->albumId);
    file->SetRecycleAlbumId(kRecycleAlbumId);
    file->RecycleTime = recordOf[file]->recycleTime;
  }
  out.PutBack();
  (void)TheGallery().RecycleFiles(recycled, true);
  recycled.insert(recycled.end(), moved.begin(), moved.end());
  for (const auto& file : recycled) {
    if (!recordOf[file]->expand.empty()) file->SetExpand(recordOf[file]->expand);
    file->cloudContentStatus = recordOf[file]->cloudContentStatus;
  }
  return SaveFiles(recycled);
}

bool SyncLocalOperation::DeleteForGood(const std::vector<std::string>& ids) {
  return TheGallery().DeleteGone(ids) || EraseRows(ids);
}

bool SyncLocalOperation::RecycleHere(const Files& files) {
  (void)TheGallery().RecycleFiles(files, true);
  Files told;
  for (const auto& file : files) {
    if (!file->IsInBin() || HasLocalChange(*file)) continue;
    file->GalleryState = kMetadataChanged;
    file->OperateTime = MethodFunction::CurrentTime();
    told.push_back(file);
  }
  return SaveFiles(told);
}

bool SyncLocalOperation::RecycleHidden(const std::vector<std::string>& ids) {
  Files files;
  for (const auto& id : ids) {
    const auto row = TheGallery().GetFile(id) ? nullptr : DBHelper::GetInstance().GetFile(id);
    if (!row || row->IsInBin() || TheGallery().GetAlbum(row->AlbumId())) continue;
    ApplyAlbumRule(row);
    if (row->IsInBin()) files.push_back(row);
  }
  return InsertFiles(files);
}
