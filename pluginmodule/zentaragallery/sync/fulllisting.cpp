#include "sync/fulllisting.h"

#include <condition_variable>
#include <deque>
#include <future>
#include <unordered_map>
#include <unordered_set>

#include "common/platform/mutex.h"
#include "common/platform/thread.h"
#include "store/dbhelper.h"
#include "utils/gallerylog.h"
#include "utils/methodfunction.h"

namespace {

constexpr char kFirstAlbumCursor[] = "0";
constexpr int kWholeRecords = 0;
constexpr std::int32_t kDeletedHere = 1;

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
// The pages of the listing, each asked for while the one in front of it is stored.
class PageAhead {
 public:
  explicit PageAhead(ICloudListing& of) : listing(of) {}

  // `cursor` takes the next page's. A refused one is forgotten here and not when its
  // answer comes: storing the page in front would put its own back.
  std::unique_ptr<ICloudListing::MediaPage> Take(std::string& cursor) {
    if (!coming.valid()) Ask(cursor);
    Answer answer = coming.get();
    if (answer.expired) listing.ForgetCursor();
    cursor = std::move(answer.next);
    if (answer.page && !cursor.empty()) Ask(cursor);
    return std::move(answer.page);
  }

 private:
  struct Answer {
    std::string next;
    std::unique_ptr<ICloudListing::MediaPage> page{};
    bool expired = false;
  };

  void Ask(const std::string& cursor) {
    coming = std::async(std::launch::async, [this, cursor] {
      platform::SetThreadName("sync page");
      Answer answer{.next = cursor};
      answer.page = listing.GetFiles(answer.next, kWholeRecords, &answer.expired);
      return answer;
    });
  }

  ICloudListing& listing;
  std::future<Answer> coming;  // Waits for its answer when it goes.
};

GalleryFile::Ptr FileOfListing(const CloudFileInfo& record, const GalleryFile::Ptr& row,
                               std::int64_t editedTime, std::int64_t offset) {
  auto file = row ? SyncLocalOperation::RenewRow(row, record) : std::make_shared<GalleryFile>(record);
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

class FullListing::KnownFiles {
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

bool FullListing::EmptyForFullSync() {
  // What waits for the cloud must be in memory before its rows can go.
  if (!cycle.LoadDataToMemory()) return false;
  Gallery::Albums albums = KnownAlbums();
  std::erase_if(
      albums, [](const Album::Ptr& album) { return album->Operation.Get().empty() && album->IsDelete == 0; });
  Gallery::Files files;
  Gallery::GetInstance().GetAllFiles(files);
  std::erase_if(files, [](const GalleryFile::Ptr& file) { return !Waits(*file); });
  // Written again in the same step: a row may have gone before its file was changed.
  if (!DBHelper::GetInstance().EmptyForListing(albums, files)) {
    return cycle.Fail("SyncHelper::EmptyForFullSync", "the tables could not be emptied");
  }
  return AlignMemoryWithTable();
}

// The listing skips what memory holds: a file whose row has gone would never get
// one again.
bool FullListing::AlignMemoryWithTable() {
  Gallery::Files rows, files;
  if (!DBHelper::GetInstance().GetFiles(rows, true)) {
    return cycle.Fail("SyncHelper::AlignMemoryWithTable", "the files could not be read");
  }
  std::unordered_set<std::string> stored;
  for (const auto& row : rows) stored.insert(row->UniqueId());
  Gallery::GetInstance().GetAllFiles(files);
  std::erase_if(files, [&stored](const GalleryFile::Ptr& file) { return stored.contains(file->UniqueId()); });
  // Changed after its row had gone: only memory tells of it.
  const auto waiting =
      std::partition(files.begin(), files.end(), [](const GalleryFile::Ptr& file) { return !Waits(*file); });
  if (!cycle.localOperation.SaveFiles({waiting, files.end()})) {
    return cycle.Fail("SyncHelper::AlignMemoryWithTable", "waiting files could not be stored");
  }
  (void)Gallery::GetInstance().RemoveFiles({files.begin(), waiting});
  return true;
}

bool FullListing::TakeInStoredRows() {
  constexpr char kStep[] = "SyncHelper::TakeInStoredRows";
  Gallery::Files rows;
  if (!DBHelper::GetInstance().GetFiles(rows, true)) return cycle.Fail(kStep, "the files could not be read");
  std::erase_if(rows, [](const GalleryFile::Ptr& row) {
    return Gallery::GetInstance().GetFile(row->UniqueId()) != nullptr;
  });
  return cycle.localOperation.AddToMemory(rows) || cycle.Fail(kStep, "files could not be stored");
}

bool FullListing::FullSyncAlbumsV2() {
  constexpr char kStep[] = "SyncHelper::FullSyncAlbumsV2";
  const auto listing = cycle.Listing();
  auto albums = listing ? listing->GetAlbums(kFirstAlbumCursor) : nullptr;
  if (!albums) {
    cycle.TellLoaded(false);
    return cycle.Fail(kStep, "the albums could not be listed");
  }
  LogInfo(kStep,
          [&] { return "Download from the cloud and type:0 count:" + std::to_string(albums->size()); });
  auto& gallery = Gallery::GetInstance();
  const Gallery::Albums known = KnownAlbums();
  if (!cycle.localOperation.SaveAlbums(known)) return cycle.Fail(kStep, "albums could not be stored");
  // Albums that are known may have changed in the cloud: without a version the
  // next pull compares them.
  if (!known.empty() && !cycle.localOperation.ChangeVersionRecord(
                            [](AlbumLocalVersion& row) { row.AlbumListVersion.clear(); })) {
    return cycle.Fail(kStep, "the version row could not be stored");
  }
  std::erase_if(*albums, [&gallery](const Album::Ptr& album) {
    return gallery.GetAlbum(album->AlbumId.Get()) || gallery.GetDeletedAlbum(album->AlbumId.Get());
  });
  if (!cycle.localOperation.InsertAlbums(std::move(*albums)))
    return cycle.Fail(kStep, "albums could not be stored");
  cycle.TellLoaded(true);
  return true;
}

bool FullListing::RequestDownLoadFileV2(std::size_t& olderRows) {
  constexpr char kStep[] = "SyncHelper::RequestDownLoadFileV2";
  const auto listing = cycle.Listing();
  if (!listing) return false;
  std::int64_t offset = DBHelper::GetInstance().GetMaxOffset();
  std::string cursor = cycle.localOperation.GetVersionRecord().FileCursor;
  KnownFiles known;
  if (!known.ReadRows()) return cycle.Fail(kStep, "the files could not be read");
  // The first file that it brought itself has place 0 too.
  olderRows = known.OlderRows() - (offset > 0 && known.OlderRows() > 0 ? 1 : 0);
  BackgroundAdder adder(cycle.localOperation);
  PageAhead pages(*listing);
  do {
    if (cycle.IsCancelled()) return cycle.Fail(kStep, "stopped");
    const auto page = pages.Take(cursor);
    if (!page) return cycle.Fail(kStep, "the files could not be listed");
    SyncLocalOperation::Files fresh;
    if (!StoreListedPage(*page, known, offset, fresh)) return cycle.Fail(kStep, "a page could not be stored");
    adder.Add(std::move(fresh));
    // Behind the rows: a stop in between repeats the page.
    if (!DBHelper::GetInstance().SetFileCursor(cursor))
      return cycle.Fail(kStep, "the cursor could not be stored");
    LogInfo(kStep, [&] { return "AllDown download Onetime Count " + std::to_string(page->media.size()); });
  } while (!cursor.empty());
  return true;
}

bool FullListing::StoreListedPage(const ICloudListing::MediaPage& page, KnownFiles& known,
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
  return DBHelper::GetInstance().AddFiles(fresh) && cycle.localOperation.SetLocalGeneralFiles(changed);
}

bool FullListing::FinishFullSync() {
  const std::int64_t now = MethodFunction::CurrentTime();
  const bool stored = cycle.localOperation.ChangeVersionRecord([now](AlbumLocalVersion& row) {
    row.HasDownAll = 1;
    row.UpdateTime = row.BriefingTime = now;
    row.FileCursor.clear();
  });
  if (!stored || !DBHelper::GetInstance().ClearOffsets()) {
    return cycle.Fail("SyncHelper::FinishFullSync", "the end of the download could not be stored");
  }
  cycle.SetLoaded(true);
  return true;
}
