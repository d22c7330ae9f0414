// Batches of files into an album and out of it.

#include <boost/unordered/unordered_flat_map.hpp>
#include <thread>

#include "common/platform/text.h"
#include "model/records/album.h"
#include "model/records/upward.h"
#include "utils/gallerylog.h"
#include "utils/methodfunction.h"

namespace {

// Readers hold the lock for a moment only; a writer that finds it taken waits
// outside, so that readers never queue behind it.
constexpr std::chrono::milliseconds kSwapRetryMs{50};
constexpr std::int64_t kBinPeriodMs = 2'592'000'000;  // 30 days

constexpr std::int32_t kMetadataChanged = 2;

constexpr std::int64_t kRecoveredInTime = -1;
constexpr std::int64_t kExpired = -2;

bool HasExpired(std::int64_t recycleTime) {
  return MethodFunction::CurrentTime() - recycleTime >= kBinPeriodMs;
}

}  // namespace

// What a batch asks about the albums of its files, each looked up once. Equal
// ids of albums are one object.
class Album::Batch {
 public:
  explicit Batch(const Album& album) : ownId(InternText(album.AlbumId.Get())) {}

  bool IsOwn(const GalleryFile& file) const { return &file.AlbumId() == ownId; }
  bool IsInHiddenAlbum(const GalleryFile& file) {
    const std::string& id = file.AlbumId();
    const auto [place, fresh] = known.try_emplace(&id, false);
    if (fresh) {
      const auto album = upward::Context().GetAlbum(id);
      place->second = album && album->IsHidden();
    }
    return place->second;
  }

 private:
  const std::string* ownId;
  boost::unordered_flat_map<const std::string*, bool> known;
};

bool Album::Accepts(const GalleryFile::Ptr& file, Batch& batch) const {
  if (!file) return false;
  if (file->IsDeleted) {
    LogInfo("Album::AddFilesInternal", [&] { return "Album add a deleted file:" + file->UniqueId(); });
    return false;
  }
  // A file of the bin stands nowhere else, whatever a batch was told meanwhile.
  if (!IsBin() && file->IsInBin()) return false;
  if (IsReal()) return batch.IsOwn(*file);
  if (Kind() == AlbumKind::Favorite && !file->IsFavorite) return false;
  if (IsBin() && !file->IsInBin()) return false;
  return !batch.IsInHiddenAlbum(*file);
}

std::size_t Album::AddFilesInternal(const FileList& list) {
  std::size_t came = 0;
  Aftermath after;
  {
    platform::WriterLock hold(writeLock);
    if (!sortedFiles) return 0;
    Batch batch(*this);
    for (const auto& file : list) {
      if (Accepts(file, batch) && AddOne(file, after)) ++came;
    }
    Refill();
  }
  // Other albums and listeners come after the lock: both may come back here.
  upward::Context().FoldIntoBurst(after.takeOutOfViews, after.adoptedFavorites);
  // Otherwise the clash would be resolved anew at each start, maybe the other way.
  if (!after.renamed.empty()) (void)upward::Context().WriteRows(after.renamed);
  if (FileCount() > 0 || listable) {
    Notify();
    if (!hidden) upward::Context().ShowInPanel(shared_from_this());
  }
  return came;
}

bool Album::AddOne(const GalleryFile::Ptr& file, Aftermath& after) {
  if (sortedFiles->Contains(file)) return false;
  if (KeepsNames() && HasNameClash(file) && RenameToFreeName(file)) after.renamed.push_back(file);
  if (file->ContinuousType != 0) {
    const auto covers = upward::Context().BurstCovers(file->ContinuousName(), file->AlbumId(), IsBin());
    if (FoldBehindCover(file, covers, after)) return true;
    if (file->ContinuousType == 1 && KeepsNames()) Adopt(file, after);
  }
  sortedFiles->Insert(file);
  if (KeepsNames()) {
    platform::WriterLock hold(nameLock);
    filesByName.Add(file);
  }
  Count(*file, +1);
  return true;
}

// True when a cover shows the file in its place.
bool Album::FoldBehindCover(const GalleryFile::Ptr& file, const FileList& covers, Aftermath& after) {
  // A view follows the real album, which may show a file of a burst on its own.
  if (!KeepsNames()) {
    return std::any_of(covers.begin(), covers.end(), [&file](const GalleryFile::Ptr& candidate) {
      return candidate != file && candidate->HasMember(file);
    });
  }
  const auto cover = std::find_if(covers.begin(), covers.end(), [&](const GalleryFile::Ptr& candidate) {
    return candidate != file && sortedFiles->Contains(candidate);
  });
  if (cover == covers.end()) return false;
  // Another shot has this number already: shown on its own rather than not at all.
  if (!(*cover)->HasMember(file) && !(*cover)->AddMember(file)) return false;
  {
    platform::WriterLock hold(nameLock);
    filesByName.Add(file);
  }
  if (!IsBin()) after.takeOutOfViews.push_back(file);
  return true;
}

void Album::Adopt(const GalleryFile::Ptr& cover, Aftermath& after) {
  auto& context = upward::Context();
  FileList group = context.BurstMembers(cover->ContinuousName(), cover->AlbumId(), IsBin());
  const FileList covers = context.BurstCovers(cover->ContinuousName(), cover->AlbumId(), IsBin());
  group.insert(group.end(), covers.begin(), covers.end());
  for (const auto& file : group) {
    if (file == cover || (!cover->HasMember(file) && !cover->AddMember(file))) continue;
    if (file->IsFavorite) after.adoptedFavorites.push_back(file);
    if (sortedFiles->Erase(file)) Count(*file, -1);
    if (!IsBin()) after.takeOutOfViews.push_back(file);
  }
}

void Album::Count(const GalleryFile& file, int change) {
  Field<std::uint64_t>& counter = file.IsVideo() ? videoCount : pictureCount;
  if (change < 0 && counter == 0) return;
  counter = counter + static_cast<std::uint64_t>(static_cast<std::int64_t>(change));
}

void Album::Refill() {
  auto change = sortedFiles->Refill();
  auto nextView = std::make_shared<ViewCacheData>(*ViewCache());
  if (Kind() == AlbumKind::TimeLine) UpdateDateGroups(change, *nextView);
  upward::Views().ComputeLayout(*this, change.members->size(), *nextView);
  SwapIn(std::move(change.members), std::move(nextView));
}

void Album::SwapIn(std::shared_ptr<const FileSequence> nextFiles, std::shared_ptr<ViewCacheData> nextView) {
  std::shared_ptr<const ViewCacheData> view = std::move(nextView);
  while (true) {
    std::unique_lock hold(filesLock, std::try_to_lock);
    if (hold.owns_lock()) {
      files.swap(nextFiles);
      viewCache.swap(view);
      return;  // What is old now is freed after the lock.
    }
    std::this_thread::sleep_for(kSwapRetryMs);
  }
}

std::size_t Album::DelFiles(const FileList& list) {
  if (list.empty()) {
    LogError("Album::DelFiles", "DelFiles files is empty, end.");
    return 0;
  }
  {
    platform::ReaderLock hold(writeLock);
    if (!sortedFiles) return 0;
  }
  return DelFilesInternal(list);
}

std::size_t Album::DelFilesInternal(const FileList& list) {
  constexpr char kTag[] = "Album::DelFilesInternal";
  LogInfo(kTag, [&] { return "gallery files size:" + std::to_string(list.size()); });
  if (list.empty()) {
    LogInfo(kTag, "gallery files size is empty");
    return 0;
  }
  std::size_t procCount = 0;
  {
    platform::WriterLock hold(writeLock);
    FileList left;
    for (const auto& file : list) {
      if (!file || !DelOne(file)) continue;
      ++procCount;
      if (IsBin() && file->RecycleTime >= 1) left.push_back(file);
    }
    LogInfo(kTag, [&] { return "albumId = " + AlbumId.Get() + ",procCount = " + std::to_string(procCount); });
    Refill();
    // The time of recycling is the bin's sort key: it changes once the file is out.
    for (const auto& file : left)
      file->RecycleTime = HasExpired(file->RecycleTime) ? kExpired : kRecoveredInTime;
  }
  if (FileCount() == 0 && !listable) upward::Context().HideFromPanel(shared_from_this());
  Notify();
  return procCount;
}

bool Album::DelOne(const GalleryFile::Ptr& file) {
  const bool member = sortedFiles->Contains(file);
  if (KeepsNames()) {
    platform::WriterLock hold(nameLock);
    if (member || filesByName.Contains(file)) filesByName.Remove(file);
  }
  if (KeepsNames() && file->ContinuousType == 2) LeaveBurst(file);
  if (member) {
    sortedFiles->Erase(file);
    Count(*file, -1);
    return true;
  }
  LogInfo("Album::DelFilesInternal", [&] {
    return "uniqueId:" + file->UniqueId() + ",albumId:" + file->AlbumId() +
           ",delete:" + std::to_string(file->IsDeleted);
  });
  if (IsBin() && file->RecycleTime >= 1 && HasExpired(file->RecycleTime)) {
    LogInfo("Album::DelFilesInternal",
            [&] { return "file recycleTime = " + std::to_string(file->RecycleTime); });
    file->RecycleTime = kExpired;
  }
  return false;
}

void Album::LeaveBurst(const GalleryFile::Ptr& member) {
  // In the bin a burst is told apart by the album it came from.
  const std::string albumId = IsBin() ? member->AlbumId() : AlbumId.Get();
  for (const auto& cover : upward::Context().BurstCovers(member->ContinuousName(), albumId, IsBin())) {
    cover->RemoveMember(member);
  }
}

void Album::ReSetGallery(const GalleryFile::Ptr& file, std::int64_t recycleTime) {
  constexpr char kTag[] = "Album::ReSetGallery";
  platform::WriterLock hold(writeLock);
  if (!file || !sortedFiles || !sortedFiles->Erase(file)) {
    LogInfo(kTag, "find GalleryFilePtr end");
    return;
  }
  (void)sortedFiles->Refill();
  file->RecycleTime = recycleTime;
  sortedFiles->Insert(file);
  LogInfo(kTag, [&] { return "find GalleryFilePtr recycleTime =" + std::to_string(recycleTime); });
  Refill();
}

std::size_t Album::ChangeAlbumIds(const std::string& oldId, const std::string& newId) {
  if (oldId.empty() || newId.empty()) return 0;
  std::size_t changed = 0;
  FileList untold;
  // The cloud has to hear of it, or other devices would bring these files back
  // into another album.
  const auto change = [&newId, &untold](const GalleryFile::Ptr& file) {
    file->SetAlbumId(newId);
    if (file->GalleryState != 0 || file->IsLocalOnly()) return;
    file->GalleryState = kMetadataChanged;
    file->OperateTime = MethodFunction::CurrentTime();
    untold.push_back(file);
  };
  for (const auto& file : Files()) {
    if (file->AlbumId() != oldId) continue;
    change(file);
    for (const auto& member : file->GetMembers()) change(member);
    ++changed;
  }
  // Memory leads; the next sync sets the rows right.
  (void)upward::Context().WriteAlbumIdOfFiles(oldId, newId);
  if (!untold.empty()) (void)upward::Context().WriteRows(untold);
  return changed;
}

void Album::ClearExpiresFiles() {
  constexpr char kTag[] = "Album::ClearExpiresFiles";
  if (!IsBin()) return;
  LogInfo(kTag, "ClearExpiresFiles begin.");
  const auto probe = std::make_shared<GalleryFile>();
  probe->RecycleTime = MethodFunction::CurrentTime() - kBinPeriodMs;
  const auto snapshot = Files();
  std::size_t start = snapshot->LowerBound(probe, *order);
  // Files of the very same millisecond stand on either side of the probe.
  while (start > 0 && snapshot[start - 1]->RecycleTime == probe->RecycleTime) --start;
  if (start >= snapshot.size()) return;
  LogInfo(kTag, "itStart file end ");
  FileList expired;
  for (std::size_t i = start; i < snapshot.size(); ++i) expired.push_back(snapshot[i]);
  upward::Context().DeleteExpired(expired);
}
