#include "sync/synclocaloperation.h"

#include "host/base/globalparamwrapper.h"
#include "store/dbhelper.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/methodfunction.h"

namespace {

constexpr char kFirstGeneration[] = "v1.0";
constexpr char kSecondGeneration[] = "v2.0";
constexpr std::int32_t kContentLost = 2;

}  // namespace

bool HasLocalChange(const GalleryFile& file) { return file.GalleryState != 0 || file.IsDeleted; }

bool IsShown(const GalleryFile& file) {
  if (file.cloudContentStatus != kContentLost || HasLocalChange(file)) return true;
  return GlobalParamWrapper::GetInstance()->GetEnableShowLostCloudPhoto();
}

SyncLocalOperation::SyncLocalOperation(const SyncServices& services_, std::function<void()> wake_)
    : services(services_), wake(std::move(wake_)) {}

// --- The version row

bool SyncLocalOperation::ReadVersionRecord(AlbumLocalVersion& record, bool& found) {
  std::vector<AlbumLocalVersion> rows;
  found = false;
  if (!DBHelper::GetInstance().GetLocalVersions(rows)) return false;
  if (rows.empty()) return true;
  found = true;
  record = rows.front();
  return true;
}

bool SyncLocalOperation::ChangeVersionRecord(const std::function<void(AlbumLocalVersion&)>& change) {
  return DBHelper::GetInstance().ChangeLocalVersions(change);
}

AlbumLocalVersion SyncLocalOperation::GetVersionRecord() {
  AlbumLocalVersion record;
  bool found = false;
  (void)ReadVersionRecord(record, found);  // An unreadable row reads as an empty one.
  return record;
}

std::string SyncLocalOperation::GetAlbumListVersion() { return GetVersionRecord().AlbumListVersion; }

std::int64_t SyncLocalOperation::GetLatestVersion() {
  AlbumLocalVersion record;
  bool found = false;
  return ReadVersionRecord(record, found) && found ? record.LatestVersion : -1;
}

bool SyncLocalOperation::SetAlbumListVersion(const std::string& text) {
  return ChangeVersionRecord([&](AlbumLocalVersion& row) {
    row.AlbumListVersion = text;
    row.UpdateTime = MethodFunction::CurrentTime();
  });
}

bool SyncLocalOperation::SetLatestVersion(std::int64_t version) {
  return ChangeVersionRecord([version](AlbumLocalVersion& row) {
    row.LatestVersion = version;
    row.UpdateTime = MethodFunction::CurrentTime();
  });
}

bool SyncLocalOperation::SetTempVersion(std::int64_t version, const std::string& cursor,
                                        const std::string& recyCursor) {
  return ChangeVersionRecord([&](AlbumLocalVersion& row) {
    row.TempVersion = version;
    row.Cursor = cursor;
    row.RecyCursor = recyCursor;
  });
}

std::string SyncLocalOperation::GetClearVersion() { return GetVersionRecord().ClearVersion; }

bool SyncLocalOperation::SetClearVersion(const std::string& text) {
  return ChangeVersionRecord([&](AlbumLocalVersion& row) { row.ClearVersion = text; });
}

bool SyncLocalOperation::CanSync() {
  constexpr char kTag[] = "SyncLocalOperation::CanSync";
  AlbumLocalVersion record;
  bool found = false;
  if (!ReadVersionRecord(record, found) || !found) {
    LogWarning(kTag, "Local Version is null Can not Sync");
    return false;
  }
  if (record.HasDownAll != 0) return true;
  LogWarning(kTag, "Total Quantity has not down complete can not sync");
  return false;
}

ISyncServiceOperation* SyncLocalOperation::ChooseService(std::int32_t generation) {
  if (generation == GlobalData::kGenerationUnknown) return nullptr;
  if (generation == GlobalData::kGenerationV2 && GetVersionRecord().CloudPhotoVersion == kFirstGeneration) {
    // The user moved to the other service: its listing is compared with what is
    // here before a cursor of one means anything to the other.
    LogInfo("SyncLocalOperation::ChooseService", "briefing by cut!");
    (void)ChangeVersionRecord([](AlbumLocalVersion& row) {  // Refused: the next cycle comes here again.
      row.BriefingTime = 1;
      row.CloudPhotoVersion = kSecondGeneration;
    });
    wake();
    return nullptr;
  }
  platform::MutexLock hold(serviceLock);
  const bool second = generation == GlobalData::kGenerationV2;
  auto& service = second ? serviceV2 : serviceV1;
  const auto& make = second ? services.makeService : services.makeServiceV1;
  if (!service && make) service = make();
  return service.get();
}

// --- Rows that could not be written

bool SyncLocalOperation::SaveFiles(const Files& files) {
  if (files.empty() || DBHelper::GetInstance().AddFiles(files)) return true;
  platform::MutexLock hold(unsavedLock);
  unsavedFiles.insert(files.begin(), files.end());
  return false;
}

bool SyncLocalOperation::SaveAlbums(const Albums& albums) {
  if (albums.empty() || DBHelper::GetInstance().AddAlbums(albums)) return true;
  platform::MutexLock hold(unsavedLock);
  unsavedAlbums.insert(albums.begin(), albums.end());
  return false;
}

bool SyncLocalOperation::EraseRows(const std::vector<std::string>& ids) {
  Files rows;
  for (const auto& id : ids) {
    rows.push_back(std::make_shared<GalleryFile>());
    rows.back()->SetUniqueId(id);
  }
  if (rows.empty() || DBHelper::GetInstance().DeleteFiles(rows)) return true;
  platform::MutexLock hold(unsavedLock);
  rowsToErase.insert(ids.begin(), ids.end());
  return false;
}

bool SyncLocalOperation::SaveUnsaved() {
  std::set<Album::Ptr> albums;
  std::set<FilePtr> files;
  std::set<std::string> erase;
  {
    platform::MutexLock hold(unsavedLock);
    albums.swap(unsavedAlbums);
    files.swap(unsavedFiles);
    erase.swap(rowsToErase);
  }
  auto& gallery = Gallery::GetInstance();
  // First: a row under the former id would stand beside the one written below.
  const bool idsWritten = gallery.WriteLateIds();
  Files present;
  for (const auto& file : files) {
    if (gallery.GetFile(file->UniqueId()) == file) present.push_back(file);
  }
  std::vector<std::string> gone;
  for (const auto& id : erase) {
    if (!gallery.GetFile(id)) gone.push_back(id);
  }
  const bool albumsSaved = SaveAlbums({albums.begin(), albums.end()});
  const bool filesSaved = SaveFiles(present);
  return EraseRows(gone) && albumsSaved && filesSaved && idsWritten;
}

void SyncLocalOperation::ForgetServices() {
  platform::MutexLock hold(serviceLock);
  serviceV1.reset();
  serviceV2.reset();
}

void SyncLocalOperation::ForgetUnsaved() {
  platform::MutexLock hold(unsavedLock);
  unsavedAlbums.clear();
  unsavedFiles.clear();
  rowsToErase.clear();
}
