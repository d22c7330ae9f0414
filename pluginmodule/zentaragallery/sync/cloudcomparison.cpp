// The whole listing of the cloud, in a cheap form, against the whole gallery.

#include "sync/cloudcomparison.h"

#include "common/platform/paths.h"
#include "sync/briefingitem.h"
#include "utils/gallerylog.h"
#include "utils/methodfunction.h"

namespace {

constexpr int kForComparison = 1;
constexpr std::size_t kDetailsAtOnce = 100;
constexpr char kOwnAlbums[] = "default-album";
constexpr std::int32_t kContentToUpload = 1;

bool IsOnDisk(const GalleryFile& file) {
  const std::wstring path = file.LocalPath();
  std::error_code ignored;
  return !path.empty() && std::filesystem::exists(platform::NativePath(path), ignored);
}

}  // namespace

bool CloudComparison::CompareAfterLoss(bool fellBehind) {
  purgeNotInCloud = true;
  cloudFellBehind = fellBehind;
  const bool compared = BriefingFullUpdate();
  purgeNotInCloud = cloudFellBehind = false;
  return compared;
}

bool CloudComparison::BriefingFullUpdate() {
  constexpr char kTag[] = "SyncHelper::BriefingFullUpdate";
  LogInfo(kTag, "BriefingFullUpdate begin");
  auto& gallery = Gallery::GetInstance();
  Gallery::Files local;
  gallery.GetAllFiles(local);
  listedNothing = false;
  listedEmpty.clear();
  listedNew.clear();
  if (local.empty()) {
    LogInfo(kTag, "[Briefing]localFilesList is empty");
    return true;
  }
  std::unordered_set<std::string> listed;
  LogInfo(kTag, "[Briefing]Begin Defalut Album Briefing");
  if (!BriefingProcessAlbum(false, listed)) return false;
  LogInfo(kTag, "[Briefing]Begin Recyle Album Briefing");
  if (!BriefingProcessAlbum(true, listed)) return false;
  // A listing without a single file is silence, and deletes nothing.
  listedNothing = listed.empty();
  if (listedNothing && !cloudFellBehind) local.clear();
  SyncLocalOperation::Files uploadAgain;
  std::erase_if(local, [&](const GalleryFile::Ptr& file) {
    if (listed.contains(file->UniqueId())) return true;
    if (file->GalleryState == kContentToUpload || file->IsLocalOnly()) return true;
    if (!purgeNotInCloud || file->IsDeleted || file->IsInBin() || !IsOnDisk(*file)) return false;
    uploadAgain.push_back(file);
    return true;
  });
  if (!UploadAgain(uploadAgain)) return false;
  requeued = uploadAgain.size();
  if (listedNothing) local.clear();
  LogInfo(kTag, [&] { return "[Briefing]Briefing GetCloudDelFiles Count: " + std::to_string(local.size()); });
  SyncCycle::Ids gone;
  for (const auto& file : local) gone.push_back(file->UniqueId());
  if (!cycle.localOperation.DeleteForGood(gone)) return cycle.Fail(kTag, "rows could not be deleted");
  if (!AddListedNew()) return false;
  const std::int64_t now = MethodFunction::CurrentTime();
  (void)cycle.localOperation.ChangeVersionRecord(
      [now](AlbumLocalVersion& row) { row.UpdateTime = row.BriefingTime = now; });
  return true;
}

// What another device gave back under a new id comes in behind the deletion of the old
// one, or it would find its own name taken.
bool CloudComparison::AddListedNew() {
  const SyncCycle::Ids ids = std::exchange(listedNew, {});
  for (std::size_t start = 0; start < ids.size(); start += kDetailsAtOnce) {
    const auto first = ids.begin() + static_cast<std::ptrdiff_t>(start);
    const auto last = ids.begin() + static_cast<std::ptrdiff_t>(std::min(start + kDetailsAtOnce, ids.size()));
    if (cycle.IsCancelled() || !DetailedProcessAddFile(SyncCycle::Ids(first, last)))
      return cycle.Fail("SyncHelper::AddListedNew", "files that the cloud has could not be added");
  }
  return true;
}

bool CloudComparison::UploadAgain(const SyncLocalOperation::Files& files) {
  LogInfo("SyncHelper::UploadAgain",
          [&] { return "files that the cloud misses and that go up again:" + std::to_string(files.size()); });
  bool renamed = true;
  for (const auto& file : files) {
    const std::string former = file->UniqueId();
    file->GalleryState = kContentToUpload;
    file->SetFileId("");
    // The upload takes files whose id is the one made here.
    if (file->Guid().empty()) file->SetGuid(MethodFunction::NewGuid());
    file->SetUniqueId(file->Guid());
    renamed = Gallery::GetInstance().UpdateFileUId(file, former) && renamed;
  }
  return renamed || cycle.Fail("SyncHelper::UploadAgain", "rows could not be written");
}

bool CloudComparison::GetCloudBriefingFiles(std::string& cursor, bool recycle,
                                            std::vector<BriefingItem>& items) {
  // The one listing of this service holds the bin too.
  if (recycle) {
    cursor.clear();
    return true;
  }
  const auto listing = cycle.Listing();
  const auto page = listing ? listing->GetFiles(cursor, kForComparison) : nullptr;
  if (!page) return false;
  for (std::size_t i = 0; i < page->media.size(); ++i) {
    const auto& media = page->media[i];
    BriefingItem item;
    item.uniqueId = media.uniqueId;
    item.albumId = media.albumId;
    item.size = media.size;
    item.editedTime = i < page->editedTime.size() ? page->editedTime[i] : 0;
    item.status = media.cloudContentStatus;
    items.push_back(std::move(item));
  }
  return true;
}

bool CloudComparison::BriefingProcessAlbum(bool recycle, std::unordered_set<std::string>& listed) {
  constexpr char kTag[] = "SyncHelper::BriefingProcessAlbum";
  std::string cursor;
  do {
    if (cycle.IsCancelled()) return cycle.Fail(kTag, "stopped");
    std::vector<BriefingItem> items;
    if (!GetCloudBriefingFiles(cursor, recycle, items))
      return cycle.Fail(kTag, "GetCloudBriefingFiles return false");
    for (const auto& item : items) listed.insert(item.uniqueId);
    if (!BriefingPage(items)) return false;
  } while (!cursor.empty());
  return true;
}

bool CloudComparison::BriefingPage(std::vector<BriefingItem>& items) {
  constexpr char kTag[] = "SyncHelper::BriefingProcessAlbum";
  const std::size_t before = listedEmpty.size();
  for (const auto& item : items) {
    if (item.size == 0) listedEmpty.push_back(item.uniqueId);
  }
  LogInfo(kTag, [&] {
    return "content refund tasks need to be created for the photo whose size is 0,number:" +
           std::to_string(listedEmpty.size() - before);
  });
  const auto shared = std::erase_if(items, [](const BriefingItem& item) { return !item.IsOwn(kOwnAlbums); });
  LogInfo(kTag, [shared] { return "[Briefing]Remove ShareFiles Count : " + std::to_string(shared); });
  return DetailedProcessing(items);
}

void CloudComparison::GiveBackEmpty() {
  const SyncCycle::Ids ids = std::exchange(listedEmpty, {});
  if (!ids.empty()) giveBackContents(ids);  // What fails waits as a task.
}
