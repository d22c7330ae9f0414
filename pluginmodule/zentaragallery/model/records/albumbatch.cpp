// Batches of files into an album and out of it.

#include <boost/unordered/unordered_flat_map.hpp>
#include <set>
#include <thread>
#include <tuple>

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

// By number, then by name: the plain one of two names is the shorter.
bool ComesFirstInBurst(const GalleryFile::Ptr& left, const GalleryFile::Ptr& right) {
  const auto key = [](const GalleryFile& file) {
    const std::wstring name = file.FileName();
    return std::tuple(file.ContinuousNo.Get(), name.size(), name, file.UniqueId());
  };
  return key(*left) < key(*right);
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
    RegroupBursts(after);
    Refill();
  }
  Finish(after);
  if (FileCount() > 0 || listable) {
    Notify();
    if (!hidden) upward::Context().ShowInPanel(shared_from_this());
  }
  return came;
}

// Other albums and listeners come after the lock: both may come back here.
void Album::Finish(const Aftermath& after) {
  upward::Context().FoldIntoBurst(after.folded, after.foldedFavorites);
  upward::Context().ShowInViews(after.shown);
  // Otherwise the clash would be resolved anew at each start, maybe the other way.
  if (!after.renamed.empty()) (void)upward::Context().WriteRows(after.renamed);
}

bool Album::AddOne(const GalleryFile::Ptr& file, Aftermath& after) {
  if (sortedFiles->Contains(file)) return false;
  if (KeepsNames()) {
    if (StandsHere(file)) return false;
    if (HasNameClash(file)) {
      NoteBurst(*file, after);
      if (TakeFreeName(file)) {
        after.renamed.push_back(file);
        if (!IsBin()) after.shown.push_back(file);  // It may have stood behind a cover until now.
      }
    }
    platform::WriterLock hold(nameLock);
    filesByName.Add(file);
  } else if (IsBehindCover(*file)) {
    return true;  // A view follows the real album.
  }
  if (KeepsNames() && file->ContinuousType != 0) after.bursts.insert(BurstKey(*file));
  sortedFiles->Insert(file);
  Count(*file, +1);
  return true;
}

bool Album::StandsHere(const GalleryFile::Ptr& file) const {
  platform::ReaderLock hold(nameLock);
  return filesByName.Contains(file);
}

bool Album::IsBehindCover(const GalleryFile& file) const {
  return file.ContinuousType != 0 && upward::Context().CoverHolding(file) != nullptr;
}

// In the bin a burst is told apart by the album that it came from.
Album::BurstName Album::BurstKey(const GalleryFile& file) const {
  return {file.ContinuousName(), IsBin() ? file.AlbumId() : AlbumId.Get()};
}

// Before its name changes: whoever stands behind it may come into sight.
void Album::NoteBurst(const GalleryFile& file, Aftermath& after) {
  if (file.ContinuousType != 0) after.bursts.insert(BurstKey(file));
  for (const auto& member : file.GetMembers()) after.stoodBehind.insert(member);
}

void Album::RegroupBursts(Aftermath& after) {
  for (const auto& name : after.bursts) RegroupBurst(name, after);
}

// Which file leads a burst, and who of two shots of one number stands behind it, is
// told by the files alone and not by the order of their coming: the rows keep no
// such order, and the next start has to show the same.
void Album::RegroupBurst(const BurstName& name, Aftermath& after) {
  const auto shotsHere = [&](FileList shots) REQUIRES(writeLock) {
    std::erase_if(shots, [this](const GalleryFile::Ptr& shot) { return !StandsHere(shot); });
    std::sort(shots.begin(), shots.end(), ComesFirstInBurst);
    return shots;
  };
  FileList group = shotsHere(upward::Context().BurstCovers(name.first, name.second, IsBin()));
  const GalleryFile::Ptr leader = group.empty() ? nullptr : group.front();
  for (auto& member : shotsHere(upward::Context().BurstMembers(name.first, name.second, IsBin())))
    group.push_back(std::move(member));

  for (const auto& shot : group) {
    for (const auto& member : shot->GetMembers()) after.stoodBehind.insert(member);
    if (shot != leader) shot->ClearMembers();
  }
  const GalleryFile::Members former = leader ? leader->GetMembers() : GalleryFile::Members();
  for (const auto& member : former) {
    if (!StandsHere(member)) (void)leader->RemoveMember(member);
  }
  std::set<std::int32_t> numbers;
  for (const auto& shot : group) {
    if (shot == leader) {
      List(shot);
    } else if (leader && numbers.insert(shot->ContinuousNo).second) {
      Fold(shot, leader, after);
    } else {
      // Another shot has this number: shown on its own rather than not at all.
      if (leader) (void)leader->RemoveMember(shot);
      List(shot);
    }
    if (!IsBin() && after.stoodBehind.contains(shot) && sortedFiles->Contains(shot))
      after.shown.push_back(shot);
  }
}

void Album::List(const GalleryFile::Ptr& file) {
  if (sortedFiles->Insert(file)) Count(*file, +1);
}

void Album::Fold(const GalleryFile::Ptr& member, const GalleryFile::Ptr& cover, Aftermath& after) {
  cover->TakeMember(member);
  if (sortedFiles->Erase(member)) {
    Count(*member, -1);
    if (!IsBin()) after.folded.push_back(member);
  }
  if (!IsBin() && member->IsFavorite) after.foldedFavorites.push_back(member);
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
  while (!filesLock.try_lock()) std::this_thread::sleep_for(kSwapRetryMs);
  files.swap(nextFiles);
  viewCache.swap(view);
  filesLock.unlock();  // What is old now is freed behind it.
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
  Aftermath after;
  {
    platform::WriterLock hold(writeLock);
    FileList left;
    for (const auto& file : list) {
      if (!file || !DelOne(file, after)) continue;
      ++procCount;
      if (IsBin() && file->RecycleTime >= 1) left.push_back(file);
    }
    for (const auto& file : list) {
      if (file) DropMembersThatStay(*file, after);
    }
    RegroupBursts(after);
    LogInfo(kTag, [&] { return "albumId = " + AlbumId.Get() + ",procCount = " + std::to_string(procCount); });
    Refill();
    // The time of recycling is the bin's sort key: it changes once the file is out.
    for (const auto& file : left)
      file->RecycleTime = HasExpired(file->RecycleTime) ? kExpired : kRecoveredInTime;
  }
  Finish(after);
  if (FileCount() == 0 && !listable) upward::Context().HideFromPanel(shared_from_this());
  Notify();
  return procCount;
}

bool Album::DelOne(const GalleryFile::Ptr& file, Aftermath& after) {
  const bool listed_ = sortedFiles->Contains(file);
  if (KeepsNames() && StandsHere(file)) {
    if (file->ContinuousType != 0) after.bursts.insert(BurstKey(*file));
    platform::WriterLock hold(nameLock);
    filesByName.Remove(file);
  }
  if (listed_) {
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

// A cover that leaves takes along only those that leave with it.
void Album::DropMembersThatStay(GalleryFile& cover, Aftermath& after) {
  if (!KeepsNames()) return;
  for (const auto& member : cover.GetMembers()) {
    if (!StandsHere(member)) continue;
    (void)cover.RemoveMember(member);
    after.stoodBehind.insert(member);
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
  FileList moved;
  for (const auto& file : Files()) {
    if (file->AlbumId() != oldId) continue;
    moved.push_back(file);
    for (const auto& member : file->GetMembers()) moved.push_back(member);
  }
  for (const auto& file : moved) change(file);
  // Memory leads; the next sync sets the rows right.
  (void)upward::Context().WriteAlbumIdOfFiles(oldId, newId);
  if (!untold.empty()) (void)upward::Context().WriteRows(untold);
  MeetFilesOfTheirAlbum(moved);
  return moved.size();
}

// Names and bursts of the bin count within one album.
void Album::MeetFilesOfTheirAlbum(const FileList& moved) {
  Aftermath after;
  {
    platform::WriterLock hold(writeLock);
    if (!sortedFiles) return;
    for (const auto& file : moved) {
      if (!StandsHere(file)) continue;
      if (HasNameClash(file) && RenameHere(file, after)) after.renamed.push_back(file);
      if (file->ContinuousType != 0) after.bursts.insert(BurstKey(*file));
    }
    RegroupBursts(after);
    Refill();
  }
  Finish(after);
}

bool Album::HoldsExpired() const {
  if (!IsBin()) return false;
  const auto snapshot = Files();
  return std::any_of(snapshot.begin(), snapshot.end(), [](const GalleryFile::Ptr& file) {
    return file->RecycleTime >= 1 && HasExpired(file->RecycleTime);
  });
}

void Album::ClearExpiresFiles() {
  constexpr char kTag[] = "Album::ClearExpiresFiles";
  if (!IsBin()) return;
  LogInfo(kTag, "ClearExpiresFiles begin.");
  const auto now = MethodFunction::ExpiryTime();
  if (!now) {
    LogInfo(kTag, "no clock to go by");
    return;
  }
  const auto probe = std::make_shared<GalleryFile>();
  probe->RecycleTime = *now - kBinPeriodMs;
  const auto snapshot = Files();
  std::size_t start = snapshot->LowerBound(probe, *order);
  // Files of the very same millisecond stand on either side of the probe.
  while (start > 0 && snapshot[start - 1]->RecycleTime == probe->RecycleTime) --start;
  if (start >= snapshot.size()) return;
  LogInfo(kTag, "itStart file end ");
  FileList expired;
  for (std::size_t i = start; i < snapshot.size(); ++i) {
    // One of an unknown time came from the cloud without any.
    if (snapshot[i]->RecycleTime >= 1) expired.push_back(snapshot[i]);
  }
  upward::Context().DeleteExpired(expired);
}
