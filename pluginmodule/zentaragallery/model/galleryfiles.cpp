// Batches of files into the gallery, through it, and out of it.

#include <set>
#include <thread>

#include "common/platform/clock.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "common/platform/thread.h"
#include "model/deferredevents.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "utils/gallerylog.h"
#include "utils/methodfunction.h"

namespace {

constexpr std::int64_t kRecentMs = 7'776'000'000;  // 90 days

// Numbers under which actions are known in the operation log.
constexpr int kEventRecycle = 168;
constexpr int kEventRecover = 169;
constexpr int kEventDelete = 170;
constexpr int kEventMove = 185;

void ReportNothing(Gallery::ProcFileState, const GalleryFile::Ptr&) {}

const Gallery::Report& OrNothing(const Gallery::Report& report) {
  static const Gallery::Report nothing = ReportNothing;
  return report ? report : nothing;
}

// What the log of an action tells of its files: how many bytes, and which
// extensions, each once.
std::map<std::string, std::string> ActionDetails(const Gallery::Files& files, std::size_t total) {
  std::int64_t bytes = 0;
  std::set<std::string> extensions;
  for (const auto& file : files) {
    if (!file) continue;
    bytes += file->Size;
    extensions.insert(platform::WideToUtf8(platform::WideExtension(file->FileName())));
  }
  std::string joined;
  for (const auto& extension : extensions) joined += (joined.empty() ? "" : ";") + extension;
  return {{"total", std::to_string(total)}, {"size", std::to_string(bytes)}, {"fileType", joined}};
}

// Takes a file that refused out of the lists that it was just put into.
void TakeOut(Gallery::AlbumFiles& albumFiles, const GalleryFile::Ptr& file) {
  for (auto& [album, files] : albumFiles) {
    if (!files.empty() && files.back() == file) files.pop_back();
  }
}

void LogAction(int event, const std::map<std::string, std::string>& details) {
  Logger::OutputOperationLog(event, 1, 0, details);
}

// A change of the user may have stored a row of the new id already; the former one
// cannot take that id then.
bool WriteNewId(const GalleryFile::Ptr& file, const std::string& oldId) {
  auto& database = DBHelper::GetInstance();
  if (database.UpdateFile(file, oldId)) return true;
  if (file->UniqueId() == oldId || !database.GetFile(file->UniqueId())) return false;
  const auto former = std::make_shared<GalleryFile>();
  former->SetUniqueId(oldId);
  return database.AddFile(file) && database.DeleteFiles({former});
}

}  // namespace

// Sorts files into the albums of one batch. Views are looked up once.
class Gallery::Classifier {
 public:
  Gallery& gallery;  // whose lock Classify is called under

  Classifier(Gallery& in, unsigned of, AlbumFiles& into)
      : gallery(in), mask(of), albumFiles(into), now(platform::NowSeconds() * 1000) {}

  ProcFileState Classify(const FilePtr& file, const Step& before, const Step& after, Files& members)
      REQUIRES(gallery.fileLock) {
    if (!file) return NotFound;
    if (!OwnAlbumOf(file) && !file->IsInBin()) return NoAlbum;
    if (file->Texts().With(FileText::UniqueId, [](std::string_view id) { return id.empty(); }))
      return NotFound;
    const auto burst = file->GetMembers();
    members.insert(members.end(), burst.begin(), burst.end());
    if (const auto state = before ? before(file) : Done; state != Done) return state;
    // The callback can have changed things.
    const AlbumPtr own = OwnAlbumOf(file);
    if (!own && !file->IsInBin()) return NoAlbum;
    if ((mask & RecycleBin) && file->IsInBin()) return PutIntoBin(file);
    PutIntoViews(file);
    if ((mask & ClassifyMask::OwnAlbum) && own) albumFiles[own].push_back(file);
    if (const auto state = after ? after(file) : Done; state != Done) return state;
    // A recovery can have made the album that the file goes to.
    if (const AlbumPtr made = own ? nullptr : OwnAlbumOf(file); made && (mask & ClassifyMask::OwnAlbum)) {
      albumFiles[made].push_back(file);
    }
    return Done;
  }

 private:
  AlbumPtr OwnAlbumOf(const FilePtr& file) const { return gallery.GetAlbum(file->AlbumId()); }

  void PutIntoViews(const FilePtr& file) {
    Put(ClassifyMask::TimeLine, AlbumKind::TimeLine, file);
    if (!file->IsVideo()) {
      Put(ClassifyMask::AllPictures, AlbumKind::AllPictures, file);
    } else {
      Put(ClassifyMask::AllVideos, AlbumKind::AllVideos, file);
    }
    const bool leaving = (mask & Leaving) != 0;
    if (file->IsFavorite) Put(ClassifyMask::Favorites, AlbumKind::Favorite, file);
    if (file->IsLocalUpload && (leaving || file->FirstUpdateTime + kRecentMs > now)) {
      Put(ClassifyMask::RecentlyUpload, AlbumKind::RecentlyUpload, file);
    }
  }

  void Put(ClassifyMask bit, AlbumKind kind, const FilePtr& file) {
    if (!(mask & bit)) return;
    Files*& list = views[static_cast<std::size_t>(kind)];
    if (!list) {
      const AlbumPtr view = gallery.GetOrCreateSystemAlbum(kind);
      if (!view) return;
      list = &albumFiles[view];
    }
    list->push_back(file);
  }

  ProcFileState PutIntoBin(const FilePtr& file) {
    const AlbumPtr bin = gallery.RecycleAlbum();
    if (!bin) return NoRecycleAlbum;
    albumFiles[bin].push_back(file);
    LogInfo("Gallery::ClassifyFiles", [&] { return "fileId:" + file->FileId(); });
    return Done;
  }

  const unsigned mask;
  AlbumFiles& albumFiles;
  const std::int64_t now;
  std::array<Files*, 5> views{};
};

// The bin; one that the user's other device deleted comes back.
Gallery::AlbumPtr Gallery::RecycleAlbum() {
  AlbumPtr revived;
  {
    platform::WriterLock hold(albumLock);
    if (const auto live = albums.find(kRecycleAlbumId); live != albums.end()) return live->second;
    if (const auto deleted = deletedAlbums.find(kRecycleAlbumId); deleted != deletedAlbums.end()) {
      revived = deleted->second;
      revived->IsDelete = 0;
      deletedAlbums.erase(deleted);
      InsertLive(revived);
    }
  }
  if (!revived) return GetOrCreateSystemAlbum(AlbumKind::RecycleBin);
  (void)DBHelper::GetInstance().UpdateAlbum(revived, kRecycleAlbumId);
  return revived;
}

std::size_t Gallery::ClassifyFiles(unsigned mask, const Files& list, AlbumFiles& albumFiles,
                                   const Report& report, const Step& before, const Step& after) {
  constexpr char kTag[] = "Gallery::ClassifyFiles";
  LogInfo(kTag, [&] { return "ClassifyFiles files size:" + std::to_string(list.size()); });
  if (list.empty()) return 0;
  if (!report) {
    LogError(kTag, "ClassifyFiles procOne is null, end.");
    return 0;
  }
  const DeferredEvents listenersAfterLock;
  Classifier classifier(*this, mask, albumFiles);
  std::size_t done = 0;
  Files members, none;
  const auto pass = [&](const Files& files_, Files& found) {
    for (const auto& file : files_) {
      platform::WriterLock hold(classifier.gallery.fileLock);
      const ProcFileState state = classifier.Classify(file, before, after, found);
      report(state, file);
      if (state == Done) ++done;
    }
  };
  pass(list, members);
  pass(members, none);
  return done;
}

Gallery::ProcFileState Gallery::InTable(const FilePtr& file) {
  return files.Find(file->UniqueId()) == file ? Done : NotFound;
}

Gallery::ProcFileState Gallery::TakeIn(const FilePtr& file) {
  if (!files.Insert(file)) return AlreadyThere;
  bursts.Register(file);
  return Done;
}

// Runs `work` for each album on a thread of its own and waits for all.
void Gallery::ForEachAlbum(const AlbumFiles& albumFiles,
                           const std::function<void(const AlbumPtr&, const Files&)>& work) {
  std::vector<std::thread> tasks;
  for (const auto& [album, list] : albumFiles) {
    if (list.empty()) continue;
    tasks.emplace_back([&work, album = album, list = list] {
      platform::SetThreadName("album task");
      work(album, list);
    });
  }
  for (auto& task : tasks) task.join();
}

bool Gallery::IsLoaded() {
  platform::ReaderLock hold(albumLock);
  return firstAddDone;
}

std::size_t Gallery::AddFiles(const Files& list) {
  constexpr char kTag[] = "Gallery::AddFiles";
  LogInfo(kTag, "AddFiles begin.");
  bool first = false;
  {
    platform::WriterLock hold(albumLock);
    first = !std::exchange(firstAddDone, true);
  }
  if (first) {
    if (const auto timeLine = GetAlbum(SystemAlbumId(AlbumKind::TimeLine))) timeLine->Notify();
    LogInfo(kTag, "AddFiles init complete.");
  }
  if (list.empty()) {
    LogInfo(kTag, "AddFiles files is empty,end.");
    return 0;
  }
  LogInfo(kTag, [&] { return "AddFiles files size:" + std::to_string(list.size()); });
  {
    platform::WriterLock hold(fileLock);
    files.Expect(list.size());
  }
  AlbumFiles albumFiles;
  const std::size_t added = ClassifyFiles(
      Everything, list, albumFiles, ReportNothing,
      [this](const FilePtr& file) NO_THREAD_SAFETY_ANALYSIS { return TakeIn(file); }, nullptr);
  // The view that the user sees fills first.
  for (const AlbumKind kind :
       {AlbumKind::TimeLine, AlbumKind::RecentlyUpload, AlbumKind::AllPictures, AlbumKind::Favorite}) {
    const auto entry = albumFiles.find(GetAlbum(SystemAlbumId(kind)));
    if (entry == albumFiles.end()) continue;
    entry->first->AddFilesInternal(entry->second);
    albumFiles.erase(entry);
  }
  for (const auto& [album, files_] : albumFiles) album->AddFilesInternal(files_);
  LogInfo(kTag, "AddFiles success,end.");
  return added;
}

std::size_t Gallery::RemoveFiles(const Files& list) {
  static constexpr char kTag[] = "Gallery::RemoveFiles";
  LogInfo(kTag, [&] { return "RemoveFiles size:" + std::to_string(list.size()); });
  if (list.empty()) return 0;
  AlbumFiles albumFiles;
  // `report` runs under fileLock, as the steps do.
  const auto report = [this](ProcFileState state, const FilePtr& file) NO_THREAD_SAFETY_ANALYSIS {
    LogInfo(kTag, [&] { return "ClassifyFiles state =" + std::to_string(state); });
    if (state != Done) return;
    LogInfo(kTag, [&] {
      return "ClassifyFiles file uniqueId = " + file->UniqueId() +
             " isDeleted = " + std::to_string(file->IsDeleted);
    });
    files.Erase(file);
  };
  const std::size_t removed = ClassifyFiles(Everything | Leaving, list, albumFiles, report, nullptr, nullptr);
  ForEachAlbum(albumFiles, [](const AlbumPtr& album, const Files& files_) { album->DelFiles(files_); });
  // A file that comes again registers again; one that does not must not be found
  // behind a cover.
  for (const auto& [album, files_] : albumFiles) {
    for (const auto& file : files_) bursts.Unregister(file);
  }
  return removed;
}

std::size_t Gallery::RecycleFiles(const Files& list, bool fromSync, const Report& report) {
  constexpr char kTag[] = "Gallery::RecycleFiles";
  LogInfo(kTag, "RecycleFiles begin.");
  LogInfo(kTag, [&] { return "RecycleFiles size:" + std::to_string(list.size()); });
  if (list.empty()) {
    LogInfo(kTag, "RecycleFiles files is empty, end.");
    return 0;
  }
  const std::int64_t time = MethodFunction::StampTime();
  AlbumFiles albumFiles;
  const std::size_t done = ClassifyFiles(
      EverythingButBin | Leaving, list, albumFiles, OrNothing(report), nullptr,
      [&](const FilePtr& file) NO_THREAD_SAFETY_ANALYSIS {
        const auto state = InTable(file) != Done ? NotFound : file->Recycle(time, fromSync) ? Done : Refused;
        if (state != Done) TakeOut(albumFiles, file);
        return state;
      });
  ForEachAlbum(albumFiles, [](const AlbumPtr& album, const Files& files_) { album->DelFiles(files_); });
  // Each file is in exactly one real album, which takes it on to the bin.
  ForEachAlbum(albumFiles, [this](const AlbumPtr& album, const Files& files_) {
    if (!album->IsReal()) return;
    if (const auto bin = RecycleAlbum()) bin->AddFilesInternal(files_);
    (void)DBHelper::GetInstance().UpdateFiles(files_);
  });
  if (report) LogAction(kEventRecycle, ActionDetails(list, list.size()));
  LogInfo(kTag, "RecycleFiles end.");
  return done;
}

std::size_t Gallery::DeleteFiles(const Files& list, bool fromSync, const Report& report) {
  constexpr char kTag[] = "Gallery::DeleteFiles";
  LogInfo(kTag, "DeleteFiles begin.");
  LogInfo(kTag, [&] { return "DeleteFiles files size:" + std::to_string(list.size()); });
  if (list.empty()) {
    LogInfo(kTag, "DeleteFiles files is empty,end.");
    return 0;
  }
  const Report& tell = OrNothing(report);
  const AlbumPtr bin = GetAlbum(kRecycleAlbumId);
  const std::int64_t time = MethodFunction::CurrentTime();
  Files needRecycle, toDelete;
  std::size_t deleted = 0;
  for (const auto& file : list) {
    if (!file) {
      tell(NotFound, file);
      continue;
    }
    if (!file->IsDeleted && !file->IsInBin()) {
      file->RecycleTime = time;
      needRecycle.push_back(file);
      continue;
    }
    if (!file->Delete(time, fromSync)) {
      tell(Refused, file);
      continue;
    }
    toDelete.push_back(file);
    for (const auto& member : file->GetMembers()) {
      if (member->IsDeleted) toDelete.push_back(member);
    }
    tell(Done, file);
    ++deleted;
  }
  if (!needRecycle.empty()) {
    LogInfo(kTag,
            [&] { return "DeleteFiles need recycle files size:" + std::to_string(needRecycle.size()); });
    (void)RecycleFiles(needRecycle, fromSync, report);
    // What could not be recycled (its album is gone, say) was reported there. The
    // cloud's word deletes it all the same.
    std::erase_if(needRecycle, [time, fromSync](const FilePtr& file) {
      return !file->IsDeleted && !file->IsInBin() && !(fromSync && file->Delete(time, true));
    });
    if (!needRecycle.empty()) deleted += DeleteFiles(needRecycle, fromSync, report);
  }
  if (toDelete.empty()) return deleted;
  if (bin) {
    LogAction(kEventDelete, ActionDetails(toDelete, bin->FileCount()));
    bin->DelFiles(toDelete);
  }
  if (fromSync) {
    platform::WriterLock hold(fileLock);
    LogInfo(kTag, [&] { return "DeleteFiles need proc files size:" + std::to_string(toDelete.size()); });
    for (const auto& file : toDelete) {
      files.Erase(file);
      bursts.Unregister(file);
    }
  }
  if (fromSync) {
    LogInfo(kTag, "DeleteFiles DeleteGalleryFiles.");
    (void)DBHelper::GetInstance().DeleteFiles(toDelete);
  } else {
    LogInfo(kTag, "DeleteFiles UpdateGalleryFiles.");
    (void)DBHelper::GetInstance().UpdateFiles(toDelete);
  }
  LogInfo(kTag, "DeleteFiles end.");
  return deleted;
}

bool Gallery::DeleteGone(const std::vector<std::string>& ids) {
  const std::set<std::string> gone(ids.begin(), ids.end());
  Files list, covers, orphans;
  std::map<FilePtr, std::int64_t> recycleTimes;  // the bin resets those of what leaves it
  (void)GetGalleryFiles(ids, list);
  for (const auto& file : list) {
    const auto before = orphans.size();
    for (const auto& member : file->GetMembers()) {
      if (!gone.contains(member->UniqueId())) orphans.push_back(member);
      recycleTimes.emplace(member, member->RecycleTime);
    }
    if (orphans.size() > before) covers.push_back(file);
  }
  // Only the cover is gone: its members have records of their own and must not go
  // with it.
  (void)RemoveFiles(covers);
  for (const auto& [member, time] : recycleTimes) member->RecycleTime = time;
  for (const auto& cover : covers) {
    for (const auto& member : orphans) (void)cover->RemoveMember(member);
    (void)cover->Delete(MethodFunction::CurrentTime(), true);
    std::erase(list, cover);
  }
  (void)DeleteFiles(list, true);
  if (!orphans.empty()) (void)AddFiles(orphans);
  // By id: a row that stayed would come back with the next start.
  Files rows;
  for (const auto& id : ids) {
    auto row = DBHelper::GetInstance().GetFile(id);
    // Memory did not know it, but its thumbnails lie here.
    if (row) (void)row->Delete(MethodFunction::CurrentTime(), true);
    if (!row) row = std::make_shared<GalleryFile>();
    row->SetUniqueId(id);
    rows.push_back(std::move(row));
  }
  return rows.empty() || DBHelper::GetInstance().DeleteFiles(rows);
}

bool Gallery::DropNeverUploaded() {
  Files all;
  GetAllFiles(all);
  std::vector<std::string> ids;
  for (const auto& file : all) {
    if (file->IsDeleted && file->IsLocalOnly()) ids.push_back(file->UniqueId());
  }
  return ids.empty() || DeleteGone(ids);
}

std::size_t Gallery::RecoverFiles(const Files& list, bool fromSync, const Report& report) {
  constexpr char kTag[] = "Gallery::RecoverFiles";
  LogInfo(kTag, "RecoverFiles begin.");
  LogInfo(kTag, [&] { return "RecoverFiles files size:" + std::to_string(list.size()); });
  if (list.empty()) {
    LogInfo(kTag, "RecoverFiles end.");
    return 0;
  }
  const std::int64_t time = MethodFunction::CurrentTime();
  AlbumFiles albumFiles;
  const std::size_t done = ClassifyFiles(
      EverythingButBin, list, albumFiles, OrNothing(report), nullptr,
      [&](const FilePtr& file) NO_THREAD_SAFETY_ANALYSIS {
        const auto state = InTable(file) != Done ? NotFound : file->Recover(time, fromSync) ? Done : NoAlbum;
        if (state != Done) TakeOut(albumFiles, file);
        return state;
      });
  LogInfo(kTag, [&] { return "RecoverFiles needProcFiles size:" + std::to_string(done); });
  ForEachAlbum(albumFiles,
               [](const AlbumPtr& album, const Files& files_) { album->AddFilesInternal(files_); });
  const auto bin = GetAlbum(kRecycleAlbumId);
  LogAction(kEventRecover, ActionDetails(list, bin ? bin->FileCount() : 0));
  ForEachAlbum(albumFiles, [this](const AlbumPtr& album, const Files& files_) {
    if (album->Kind() != AlbumKind::TimeLine) return;
    if (const auto from = RecycleAlbum()) from->DelFiles(files_);
    (void)DBHelper::GetInstance().UpdateFiles(files_);
  });
  LogInfo(kTag, "RecoverFiles end.");
  return done;
}

std::int64_t Gallery::MoveFiles(const AlbumPtr& source, const AlbumPtr& target) {
  constexpr char kTag[] = "Gallery::MoveFiles";
  LogInfo(kTag, "MoveFiles begin.");
  if (!source || !target) {
    LogError(kTag, "MoveFiles end,point is null.");
    return -1;
  }
  LogInfo(kTag, [&] {
    return "MoveFiles old name: " + platform::WideToUtf8(source->AlbumName.Get()) +
           "new name: " + platform::WideToUtf8(target->AlbumName.Get());
  });
  // Recycled files of the source recover into the target.
  if (const auto bin = GetAlbum(kRecycleAlbumId)) {
    bin->ChangeAlbumIds(source->AlbumId.Get(), target->AlbumId.Get());
  }
  const Files list = source->GetFiles();
  const std::size_t moved = MoveFiles(list, target, false);
  // The rows of what a name clash keeps went along with those of the bin.
  Files stayed;
  for (const auto& file : list) {
    if (file->AlbumId() != source->AlbumId.Get()) continue;
    stayed.push_back(file);
    const auto members = file->GetMembers();
    stayed.insert(stayed.end(), members.begin(), members.end());
  }
  if (!stayed.empty()) (void)WriteRows(stayed);
  LogInfo(kTag, "MoveFiles end.");
  return static_cast<std::int64_t>(list.size()) - static_cast<std::int64_t>(moved);
}

bool Gallery::BlocksMove(const Album& target, const FilePtr& file) const {
  const auto named = target.FilesNamed(file->FileName());
  return std::any_of(named.begin(), named.end(), [&](const FilePtr& other) {
    return other != file && (!target.IsBin() || other->AlbumId() == file->AlbumId());
  });
}

void Gallery::MoveOut(const AlbumPtr& source, const Files& list, const AlbumPtr& target) {
  source->DelFiles(list);
  target->AddFilesInternal(list);
  // A shot that left its cover behind was in no view until now.
  Files shots;
  for (const auto& file : list) {
    if (file->ContinuousType != 0 && target->Holds(file)) shots.push_back(file);
  }
  ShowInViews(shots);
  (void)DBHelper::GetInstance().UpdateFilesAlbum(list);
  auto details = ActionDetails(list, list.size());
  details["Oldid"] = source->AlbumId.Get();
  details["Newid"] = target->AlbumId.Get();
  LogAction(kEventMove, details);
}

std::size_t Gallery::MoveFiles(const Files& list, const AlbumPtr& target, bool fromSync,
                               const Report& report) {
  constexpr char kTag[] = "Gallery::MoveFiles";
  LogInfo(kTag, [&] { return "MoveFiles files size:" + std::to_string(list.size()); });
  if (list.empty()) {
    LogInfo(kTag, "MoveFiles files is empty, end.");
    return 0;
  }
  if (!target || !target->IsReal() || GetAlbum(target->AlbumId.Get()) != target) {
    LogError(kTag, "MoveFiles param is error,end.");
    return 0;
  }
  const std::int64_t time = MethodFunction::CurrentTime();
  AlbumFiles albumFiles;
  // Members share what becomes of their cover, whose turn comes first: they have
  // moved with it, or stay with it.
  std::set<FilePtr> movedMembers, stayingMembers;
  const auto before = [&](const FilePtr& file) NO_THREAD_SAFETY_ANALYSIS {
    if (InTable(file) != Done) return NotFound;
    if (movedMembers.contains(file)) return Done;
    if (!stayingMembers.contains(file) && !BlocksMove(*target, file)) return Done;
    for (const auto& member : file->GetMembers()) stayingMembers.insert(member);
    return AlreadyThere;
  };
  const auto after = [&](const FilePtr& file) {
    const AlbumPtr source = GetAlbum(file->AlbumId());
    Files nowhere;
    Files& fromSource = source ? albumFiles[source] : nowhere;
    if (file->MoveToAlbum(time, fromSync, target)) {
      // Members go with their cover now; their own turn then finds them moved.
      for (const auto& member : file->GetMembers()) {
        fromSource.push_back(member);
        movedMembers.insert(member);
      }
      return Done;
    }
    if (!fromSource.empty() && fromSource.back() == file) fromSource.pop_back();
    return movedMembers.contains(file) ? Done : MoveRefused;
  };
  const std::size_t moved =
      ClassifyFiles(ClassifyMask::OwnAlbum, list, albumFiles, OrNothing(report), before, after);
  ForEachAlbum(albumFiles, [this, &target](const AlbumPtr& source, const Files& files_) {
    MoveOut(source, files_, target);
  });
  LogInfo(kTag, "MoveFiles end.");
  return moved;
}

bool Gallery::FavoriteFiles(const FilePtr& file, bool on) {
  constexpr char kTag[] = "Gallery::FavoriteFiles";
  if (!file) {
    LogError(kTag, "FavoriteFiles file is null,end.");
    return false;
  }
  LogInfo(kTag, [&] { return "FavoriteFiles name:" + platform::WideToUtf8(file->FileName()); });
  if (file->IsFavorite == on) {
    LogInfo(kTag, "FavoriteFiles already is favorite, end");
    return false;
  }
  if (file->IsDeleted || file->IsInBin() || (on && CoverHolding(*file))) {
    LogInfo(kTag, "FavoriteFiles changed is false, end");
    return false;
  }
  file->IsFavorite = on;
  file->OperateTime = MethodFunction::CurrentTime();
  file->GalleryState = 2;
  const auto favorites = GetOrCreateSystemAlbum(AlbumKind::Favorite);
  if (!favorites) {
    LogError(kTag, "FavoriteFiles album is null,end.");
    return false;
  }
  if (on) {
    favorites->AddFilesInternal({file});
  } else {
    favorites->DelFiles({file});
  }
  (void)DBHelper::GetInstance().AddFile(file);
  return true;
}

bool Gallery::UpdateFileUId(const FilePtr& file, const std::string& oldId) {
  LogInfo("Gallery::UpdateFileUId", "UpdateFileUId entry");
  if (!file) return false;
  const bool written = WriteNewId(file, oldId);
  {
    platform::WriterLock hold(fileLock);
    files.EraseFormer(oldId, file);
    files.Insert(file);
  }
  if (written) return true;
  LogError("Gallery::UpdateFileUId", "the row of " + oldId + " could not be written");
  platform::MutexLock hold(lateIdsLock);
  lateIds.emplace_back(file, oldId);
  return false;
}

bool Gallery::WriteLateIds() {
  platform::MutexLock hold(lateIdsLock);
  std::erase_if(lateIds, [](const auto& late) { return WriteNewId(late.first, late.second); });
  return lateIds.empty();
}

std::size_t Gallery::GetGalleryFiles(const std::vector<std::string>& ids, Files& out) {
  out.clear();
  platform::ReaderLock hold(fileLock);
  for (const auto& id : ids) {
    if (auto file = files.Find(id)) {
      out.push_back(std::move(file));
    } else {
      LogInfo("Gallery::GetGalleryFiles", [&] { return "dis find uniqueId:" + id; });
    }
  }
  return out.size();
}

Gallery::FilePtr Gallery::GetFile(const std::string& uniqueId) {
  platform::ReaderLock hold(fileLock);
  return files.Find(uniqueId);
}

Gallery::FilePtr Gallery::GetVisibleFile(const std::string& uniqueId) {
  FilePtr file = GetFile(uniqueId);
  if (!file || file->ContinuousType == 0) return file;
  Files covers;
  (void)DBHelper::GetInstance().GetBurstCovers(file->ContinuousName(), covers);  // None reads as no cover.
  for (const auto& row : covers) {
    FilePtr cover = GetFile(row->UniqueId());
    if (!cover || !cover->HasMember(file)) continue;
    burstIndex = file->ContinuousNo - 1;
    return cover;
  }
  return file;
}

void Gallery::GetAllFiles(Files& out) {
  platform::ReaderLock hold(fileLock);
  out = files.Sorted();
}

std::size_t Gallery::FileCount() {
  platform::ReaderLock hold(fileLock);
  return files.size();
}
