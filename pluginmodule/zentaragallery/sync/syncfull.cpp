// The full download: albums, then every file of the cloud's listing.

#include <condition_variable>
#include <deque>
#include <unordered_map>
#include <unordered_set>

#include "common/platform/mutex.h"
#include "common/platform/thread.h"
#include "store/dbhelper.h"
#include "sync/synchelper.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/methodfunction.h"

namespace {

constexpr char kFirstAlbumCursor[] = "0";
constexpr int kWholeRecords = 0;
constexpr std::int32_t kDeletedHere = 1;
constexpr int kMovedWhileListing = 3;

Gallery::Albums KnownAlbums() {
  auto& gallery = Gallery::GetInstance();
  Gallery::Albums albums, deleted;
  gallery.GetAlbums(albums, true);
  gallery.GetDeletedAlbums(deleted);
  std::copy_if(deleted.begin(), deleted.end(), std::back_inserter(albums),
               [](const Album::Ptr& album) { return album->IsDelete == kDeletedHere; });
  if (const auto bin = gallery.GetAlbum(kRecycleAlbumId)) albums.push_back(bin);
  return albums;
}

// Whether only this computer knows of the file, or of its state.
bool Waits(const GalleryFile& file) { return HasLocalChange(file) || file.IsLocalOnly(); }

// Puts stored pages into memory beside the listing, so that the next request
// does not wait for the views.
class BackgroundAdder {
 public:
  explicit BackgroundAdder(SyncLocalOperation& to) : operation(to), worker([this] { Run(); }) {}
  ~BackgroundAdder() {
    {
      platform::MutexLock hold(lock);
      done = true;
    }
    changed.notify_all();
    worker.join();
  }
  BackgroundAdder(const BackgroundAdder&) = delete;
  BackgroundAdder& operator=(const BackgroundAdder&) = delete;

  void Add(Gallery::Files page) {
    {
      platform::MutexLock hold(lock);
      pages.push_back(std::move(page));
    }
    changed.notify_all();
  }

 private:
  void Run() {
    platform::SetThreadName("sync memory");
    while (const auto page = Next()) {
      (void)operation.AddToMemory(*page);  // What a clash of names changed is written with the next cycle.
    }
  }
  // Nothing when all is done.
  std::optional<Gallery::Files> Next() {
    platform::MutexLock hold(lock);
    while (!done && pages.empty()) changed.wait(lock);
    if (pages.empty()) return std::nullopt;
    Gallery::Files page = std::move(pages.front());
    pages.pop_front();
    return page;
  }

  SyncLocalOperation& operation;
  platform::Mutex lock;
  std::condition_variable_any changed;
  std::deque<Gallery::Files> pages GUARDED_BY(lock);
  bool done GUARDED_BY(lock) = false;
  std::thread worker;
};

// `row`: what the table knows of a file that memory does not show, or null.
GalleryFile::Ptr FileOfListing(const CloudFileInfo& record, const GalleryFile::Ptr& row,
                               std::int64_t editedTime, std::int64_t offset) {
  const auto file = row ? SyncLocalOperation::RenewRow(row, record) : std::make_shared<GalleryFile>(record);
  if (HasLocalChange(*file)) return file;
  if (record.recycleTime < 0) file->RecycleTime = 0;
  if (editedTime > 0) file->Sdsmtime = editedTime;
  if (file->SavedFileType == 0) file->SavedFileType = 1;  // A type that is no number is a picture.
  file->Offset = offset;
  return file;
}

// Whether memory holds another state of the file than the cloud. By any difference:
// the clock of the device that made the change may be slow.
bool IsOtherState(const std::string& id, std::int64_t editedTime) {
  const auto file = Gallery::GetInstance().GetFile(id);
  return file && file->Sdsmtime != editedTime;
}

CloudFileInfo AsChange(CloudFileInfo record, std::int64_t editedTime) {
  record.otype = "1";
  record.device.clear();  // A listing tells who made the file, not the change.
  record.sdsmtime = editedTime;
  return record;
}

}  // namespace

class SyncHelper::KnownFiles {
 public:
  KnownFiles() {
    Gallery::Files files;
    Gallery::GetInstance().GetAllFiles(files);
    for (const auto& file : files) ids.insert(file->UniqueId());
  }
  // False when the rows cannot be read.
  bool ReadRows() {
    Gallery::Files rows;
    if (!DBHelper::GetInstance().GetFiles(rows, true)) return false;
    for (const auto& row : rows) {
      if (!row->IsLocalOnly() && row->Offset == 0) ++olderRows;
      if (!ids.contains(row->UniqueId())) hidden.emplace(row->UniqueId(), row);
    }
    return true;
  }
  // Files of the cloud without a place in this listing.
  std::size_t OlderRows() const { return olderRows; }
  // False when it is known; a listing that shifts tells of a file twice.
  bool Add(const std::string& id) { return ids.insert(id).second; }
  // The row of a file that memory does not show, or null.
  GalleryFile::Ptr Hidden(const std::string& id) const {
    const auto found = hidden.find(id);
    return found == hidden.end() ? nullptr : found->second;
  }

 private:
  std::unordered_set<std::string> ids;
  std::unordered_map<std::string, GalleryFile::Ptr> hidden;
  std::size_t olderRows = 0;
};

bool SyncHelper::FullSync(SyncMode next) {
  if (!syncSwitch) return false;
  LogInfo("SyncHelper::FullSync", "Begin Full Sync");
  Tell(SyncStatus::DOWNLOAD, -1);
  ClearStopFlags();
  cycleRunning = true;
  if (!localOperation.SaveUnsaved()) {
    (void)Fail("SyncHelper::FullSync", "rows of the last cycle could not be written");
    return EndFullSync(false);
  }
  if (next == SyncModeFull ? !EmptyForFullSync() : !LoadDataToMemory()) return EndFullSync(false);
  if (GlobalData::cloudGeneration != GlobalData::kGenerationV2) return EndFullSync(false);
  if (!FullSyncAlbumsV2() || !TakeInStoredRows()) return EndFullSync(false);
  Tell(SyncStatus::ALBUMSREADY, -1);
  if (IsPaused()) return EndFullSync(true);
  if (!FullSyncGalleryFilesV2(next)) return EndFullSync(false);
  return EndFullSync(true);
}

bool SyncHelper::EndFullSync(bool good) {
  cycleRunning = false;
  if (!good) {
    Enter(SyncStatus::SYNCERROR);
    Tell(SyncStatus::SYNCERROR, -1);
    return false;
  }
  if (IsPaused()) {
    Tell(SyncStatus::PAUSE, -1);
    return true;
  }
  Enter(SyncStatus::IDLE);
  Tell(SyncStatus::IDLE, -1);
  LogInfo("SyncHelper::FullSync", "End Full Sync");
  return true;
}

bool SyncHelper::EmptyForFullSync() {
  // What waits for the cloud must be in memory before its rows can go.
  if (!LoadDataToMemory()) return false;
  Gallery::Albums albums = KnownAlbums();
  std::erase_if(
      albums, [](const Album::Ptr& album) { return album->Operation.Get().empty() && album->IsDelete == 0; });
  Gallery::Files files;
  Gallery::GetInstance().GetAllFiles(files);
  std::erase_if(files, [](const GalleryFile::Ptr& file) { return !Waits(*file); });
  // Written again in the same step: a row may have gone before its file was changed.
  if (!DBHelper::GetInstance().EmptyForListing(albums, files)) {
    return Fail("SyncHelper::EmptyForFullSync", "the tables could not be emptied");
  }
  return AlignMemoryWithTable();
}

// The listing skips what memory holds: a file whose row has gone would never get
// one again.
bool SyncHelper::AlignMemoryWithTable() {
  Gallery::Files rows, files;
  if (!DBHelper::GetInstance().GetFiles(rows, true)) {
    return Fail("SyncHelper::AlignMemoryWithTable", "the files could not be read");
  }
  std::unordered_set<std::string> stored;
  for (const auto& row : rows) stored.insert(row->UniqueId());
  Gallery::GetInstance().GetAllFiles(files);
  std::erase_if(files, [&stored](const GalleryFile::Ptr& file) { return stored.contains(file->UniqueId()); });
  // Changed after its row had gone: only memory tells of it.
  const auto waiting =
      std::partition(files.begin(), files.end(), [](const GalleryFile::Ptr& file) { return !Waits(*file); });
  if (!localOperation.SaveFiles({waiting, files.end()})) {
    return Fail("SyncHelper::AlignMemoryWithTable", "waiting files could not be stored");
  }
  (void)Gallery::GetInstance().RemoveFiles({files.begin(), waiting});
  return true;
}

// Rows that outlived the emptying, in a process that has not had their albums
// before: the cloud hears only of what is in memory.
bool SyncHelper::TakeInStoredRows() {
  constexpr char kStep[] = "SyncHelper::TakeInStoredRows";
  Gallery::Files rows;
  if (!DBHelper::GetInstance().GetFiles(rows, true)) return Fail(kStep, "the files could not be read");
  std::erase_if(rows, [](const GalleryFile::Ptr& row) {
    return Gallery::GetInstance().GetFile(row->UniqueId()) != nullptr;
  });
  return localOperation.AddToMemory(rows) || Fail(kStep, "files could not be stored");
}

bool SyncHelper::FullSyncAlbumsV2() {
  constexpr char kStep[] = "SyncHelper::FullSyncAlbumsV2";
  const auto listing = Listing();
  auto albums = listing ? listing->GetAlbums(kFirstAlbumCursor) : nullptr;
  ISyncCallback* listener = callback;
  if (!albums) {
    if (listener) listener->Notify(1);
    return Fail(kStep, "the albums could not be listed");
  }
  LogInfo(kStep,
          [&] { return "Download from the cloud and type:0 count:" + std::to_string(albums->size()); });
  auto& gallery = Gallery::GetInstance();
  const Gallery::Albums known = KnownAlbums();
  if (!localOperation.SaveAlbums(known)) return Fail(kStep, "albums could not be stored");
  // Albums that are known may have changed in the cloud: without a version the
  // next pull compares them.
  if (!known.empty() &&
      !localOperation.ChangeVersionRecord([](AlbumLocalVersion& row) { row.AlbumListVersion.clear(); })) {
    return Fail(kStep, "the version row could not be stored");
  }
  std::erase_if(*albums, [&gallery](const Album::Ptr& album) {
    return gallery.GetAlbum(album->AlbumId.Get()) || gallery.GetDeletedAlbum(album->AlbumId.Get());
  });
  if (!localOperation.InsertAlbums(std::move(*albums))) return Fail(kStep, "albums could not be stored");
  if (listener) listener->Notify(0);
  return true;
}

bool SyncHelper::FullSyncGalleryFilesV2(SyncMode next) {
  constexpr char kTag[] = "SyncHelper::FullSyncGalleryFilesV2";
  if (next == SyncModeBriefing) {
    LogInfo(kTag, [this] { return "Briefing strart! type:" + std::to_string(briefingType); });
    const int result = Briefing(briefingType);
    LogInfo(kTag, [result] { return "Briefing result: " + std::to_string(result); });
    LogInfo(kTag, "Briefing end!");
    return result == 0;
  }
  LogInfo(kTag, "All Download V2 Begin");
  std::size_t olderRows = 0;
  fullListing = true;
  const bool listed = RequestDownLoadFileV2(olderRows);
  fullListing = false;
  if (!listed) return Fail(kTag, "All DownLoad V2 Faild");
  const auto version = QueryVersion();
  if (!version) {
    (void)Fail(kTag, "All DownLoad V2 Faild");
    return true;  // The listing itself was good; the next tick lists again and skips what is here.
  }
  const AlbumLocalVersion row = localOperation.GetVersionRecord();
  const bool moved =
      !row.AlbumVersion.empty() && row.LatestVersion > 0 && row.LatestVersion < version->fileVersion;
  // What the cloud has deleted stands in no listing: files that were here before
  // this one started are compared with it, unless it only adds to them.
  const bool anew = next == SyncModeFull || row.UpdateTime == 0;
  if (moved || (anew && olderRows > 0)) {
    briefingType = kMovedWhileListing;
    return Briefing(briefingType) != 0 || FinishFullSync();
  }
  if (!FinishFullSync()) return false;
  LogInfo(kTag, "full sync success!");
  return true;
}

bool SyncHelper::RequestDownLoadFileV2(std::size_t& olderRows) {
  constexpr char kStep[] = "SyncHelper::RequestDownLoadFileV2";
  const auto listing = Listing();
  if (!listing) return false;
  std::int64_t offset = DBHelper::GetInstance().GetMaxOffset();
  std::string cursor = localOperation.GetVersionRecord().FileCursor;
  KnownFiles known;
  if (!known.ReadRows()) return Fail(kStep, "the files could not be read");
  // The first file that it brought itself has place 0 too.
  olderRows = known.OlderRows() - (offset > 0 && known.OlderRows() > 0 ? 1 : 0);
  BackgroundAdder adder(localOperation);
  do {
    if (cancelTask) return Fail(kStep, "stopped");
    const auto page = listing->GetFiles(cursor, kWholeRecords);
    if (!page) return Fail(kStep, "the files could not be listed");
    SyncLocalOperation::Files fresh;
    if (!StoreListedPage(*page, known, offset, fresh)) return Fail(kStep, "a page could not be stored");
    adder.Add(std::move(fresh));
    // Behind the rows: a stop in between repeats the page.
    if (!DBHelper::GetInstance().SetFileCursor(cursor)) return Fail(kStep, "the cursor could not be stored");
    LogInfo(kStep, [&] { return "AllDown download Onetime Count " + std::to_string(page->media.size()); });
  } while (!cursor.empty());
  return true;
}

bool SyncHelper::StoreListedPage(const ICloudListing::MediaPage& page, KnownFiles& known,
                                 std::int64_t& offset, SyncLocalOperation::Files& fresh) {
  std::vector<CloudFileInfo> changed;
  for (std::size_t i = 0; i < page.media.size(); ++i) {
    const CloudFileInfo& record = page.media[i];
    const std::int64_t edited = i < page.editedTime.size() ? page.editedTime[i] : 0;
    if (known.Add(record.uniqueId)) {
      fresh.push_back(FileOfListing(record, known.Hidden(record.uniqueId), edited, offset++));
    } else if (IsOtherState(record.uniqueId, edited)) {
      changed.push_back(AsChange(record, edited));
    }
  }
  return DBHelper::GetInstance().AddFiles(fresh) && localOperation.SetLocalGeneralFiles(changed);
}

bool SyncHelper::FinishFullSync() {
  const std::int64_t now = MethodFunction::CurrentTime();
  const bool stored = localOperation.ChangeVersionRecord([now](AlbumLocalVersion& row) {
    row.HasDownAll = 1;
    row.UpdateTime = row.BriefingTime = now;
    row.FileCursor.clear();
  });
  if (!stored || !DBHelper::GetInstance().ClearOffsets()) {
    return Fail("SyncHelper::FinishFullSync", "the end of the download could not be stored");
  }
  dataLoaded = true;
  return true;
}
