// The briefing: the whole listing of the cloud, in a cheap form, against the
// whole gallery.

#include "common/platform/paths.h"
#include "host/base/globalparamwrapper.h"
#include "store/dbhelper.h"
#include "sync/briefingitem.h"
#include "sync/synchelper.h"
#include "utils/gallerylog.h"
#include "utils/methodfunction.h"

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kAlreadyRunning = 2;
constexpr int kRefused = 4;
constexpr int kByPush = 2;

constexpr int kForComparison = 1;
constexpr std::size_t kDetailsAtOnce = 100;
constexpr char kOwnAlbums[] = "default-album";
constexpr std::int32_t kContentToUpload = 1;
constexpr std::int32_t kContentRefund = 0;

bool IsOnDisk(const GalleryFile& file) {
  const std::wstring path = file.LocalPath();
  std::error_code ignored;
  return !path.empty() && std::filesystem::exists(platform::NativePath(path), ignored);
}

}  // namespace

int SyncHelper::Briefing(int type) {
  constexpr char kTag[] = "SyncHelper::Briefing";
  LogInfo(kTag, [type] { return "Briefing type: " + std::to_string(type); });
  if (briefingBusy.exchange(true)) {
    LogInfo(kTag, "[Briefing]Is Briefing Now");
    return kAlreadyRunning;
  }
  if (type == kByPush && fullListing) {
    LogInfo(kTag, "[Briefing]Is AllDown Now");
    briefingBusy = false;
    return kRefused;
  }
  LogInfo(kTag,
          [type] { return "[Briefing]-------Begin Briefing By :" + std::to_string(type) + "----------"; });
  // Changes behind this point are left to the pull that follows.
  (void)CutStatus();  // It tells whether a backup was put back.
  const auto version = QueryVersion();
  const bool nothingHere = Gallery::GetInstance().FileCount() == 0;
  // A backup that was put back lacks what it never had, which is no deletion.
  const bool fellBehind = version && version->FellBehind(localOperation.GetLatestVersion());
  const bool compared = fellBehind ? CompareAfterLoss(fellBehind) : BriefingFullUpdate();
  if (!compared) (void)Fail(kTag, "[Briefing]Briefing Failed!");
  LogInfo(kTag, "[Briefing]-----------Briefing End-------------");
  bool good = compared && version;
  if (compared && !version) (void)Fail(kTag, "the cloud's version is not known");
  if (good) {
    LogInfo(kTag, [&] { return "latestStartCursor:" + std::to_string(version->fileVersion); });
    // An empty gallery or an empty listing was not compared: what the cloud has,
    // or no longer has, comes by the pull from where the last one ended.
    good = (nothingHere || listedNothing || localOperation.SetLatestVersion(version->fileVersion)) &&
           FinishFullSync();
  }
  if (good) {
    GiveBackEmpty();
    (void)IncrementSync();  // What fails there is repeated by the next tick.
  }
  briefingBusy = false;
  return good ? kDone : kFailed;
}

// A comparison with a cloud that has lost something: what it misses and this
// computer has goes up again.
bool SyncHelper::CompareAfterLoss(bool fellBehind) {
  purgeNotInCloud = true;
  cloudFellBehind = fellBehind;
  const bool compared = BriefingFullUpdate();
  purgeNotInCloud = cloudFellBehind = false;
  return compared;
}

bool SyncHelper::BriefingFullUpdate() {
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
  Ids gone;
  for (const auto& file : local) gone.push_back(file->UniqueId());
  if (!localOperation.DeleteForGood(gone)) return Fail(kTag, "rows could not be deleted");
  if (!AddListedNew()) return false;
  const std::int64_t now = MethodFunction::CurrentTime();
  (void)localOperation.ChangeVersionRecord(
      [now](AlbumLocalVersion& row) { row.UpdateTime = row.BriefingTime = now; });
  return true;
}

// What another device gave back under a new id comes in behind the deletion of the old
// one, or it would find its own name taken.
bool SyncHelper::AddListedNew() {
  const Ids ids = std::exchange(listedNew, {});
  for (std::size_t start = 0; start < ids.size(); start += kDetailsAtOnce) {
    const auto first = ids.begin() + static_cast<std::ptrdiff_t>(start);
    const auto last = ids.begin() + static_cast<std::ptrdiff_t>(std::min(start + kDetailsAtOnce, ids.size()));
    if (cancelTask || !DetailedProcessAddFile(Ids(first, last)))
      return Fail("SyncHelper::AddListedNew", "files that the cloud has could not be added");
  }
  return true;
}

bool SyncHelper::UploadAgain(const SyncLocalOperation::Files& files) {
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
  return renamed || Fail("SyncHelper::UploadAgain", "rows could not be written");
}

bool SyncHelper::GetCloudBriefingFiles(std::string& cursor, bool recycle, std::vector<BriefingItem>& items) {
  // The one listing of this service holds the bin too.
  if (recycle) {
    cursor.clear();
    return true;
  }
  const auto listing = Listing();
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

bool SyncHelper::BriefingProcessAlbum(bool recycle, std::unordered_set<std::string>& listed) {
  constexpr char kTag[] = "SyncHelper::BriefingProcessAlbum";
  std::string cursor;
  do {
    if (cancelTask) return Fail(kTag, "stopped");
    std::vector<BriefingItem> items;
    if (!GetCloudBriefingFiles(cursor, recycle, items))
      return Fail(kTag, "GetCloudBriefingFiles return false");
    for (const auto& item : items) listed.insert(item.uniqueId);
    if (!BriefingPage(items)) return false;
  } while (!cursor.empty());
  return true;
}

bool SyncHelper::BriefingPage(std::vector<BriefingItem>& items) {
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

// Not while the listing runs: a refund takes the lock, whose pull starts at the
// version stored here, and the cloud may have forgotten that one.
void SyncHelper::GiveBackEmpty() {
  const Ids ids = std::exchange(listedEmpty, {});
  if (!ids.empty()) (void)RefundGetLock(ids, kContentRefund, true);  // What fails waits as a task.
}
