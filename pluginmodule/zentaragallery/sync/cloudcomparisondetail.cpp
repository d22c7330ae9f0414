// What differs between the cloud's listing and the gallery, fetched in detail.

#include "host/base/globalparamwrapper.h"
#include "sync/briefingitem.h"
#include "sync/cloudcomparison.h"
#include "utils/gallerylog.h"
#include "utils/methodfunction.h"

namespace {

constexpr std::int32_t kContentLost = 2;
constexpr std::int32_t kContentToUpload = 1;
constexpr int kDetailRetries = 3;
constexpr char kModified[] = "1";

std::string Count(std::size_t count) { return std::to_string(count); }

}  // namespace

bool CloudComparison::DetailedProcessing(const std::vector<BriefingItem>& items) {
  constexpr char kTag[] = "SyncHelper::DetailedProcessing";
  LogInfo(kTag, "Begin Binary Cloud Files");
  const bool showLost = GlobalParamWrapper::GetInstance()->GetEnableShowLostCloudPhoto();
  SyncCycle::Ids add, modify, lost;
  for (const auto& item : items) {
    if (const auto file = Gallery::GetInstance().GetFile(item.uniqueId)) {
      // The records of an earlier state are older, and count all the same.
      const bool differs = cloudFellBehind || (item.editedTime > 0 && item.editedTime > file->Sdsmtime);
      if (differs && !HasLocalChange(*file)) modify.push_back(item.uniqueId);
    } else if (item.status != kContentLost || showLost) {
      add.push_back(item.uniqueId);
    }
    if (item.lost) lost.push_back(item.uniqueId);
  }
  if (cloudFellBehind) {
    listedNew.insert(listedNew.end(), add.begin(), add.end());
    add.clear();
  }
  const bool added = add.empty() || DetailedProcessAddFile(add);
  if (!added) (void)cycle.Fail(kTag, "DetailedProcessAddFile failed");
  const bool modified = modify.empty() || DetailedProcessModifyFile(modify);
  if (!modified) (void)cycle.Fail(kTag, "DetailedProcessModifyFile failed");
  if (!lost.empty()) DetailedProcessLostFile(lost);
  return added && modified;
}

bool CloudComparison::DetailedProcessAddFile(const SyncCycle::Ids& ids) {
  constexpr char kTag[] = "SyncHelper::DetailedProcessAddFile";
  LogInfo(kTag, [&] { return "[Briefing]Briefing GetCloudAddFiles Count :" + Count(ids.size()); });
  SyncCycle::Ids missing;
  std::vector<CloudFileInfo> details;
  (void)GetDetail(ids, missing, details);
  if (details.empty()) return false;
  if (!missing.empty()) {
    LogWarning(kTag, "[Briefing]Briefing GetCloudAddFiles Detail Failed Count " + Count(missing.size()));
  }
  LogInfo(kTag, [&] { return "[Briefing]Briefing GetCloudAddFiles Detail Count " + Count(details.size()); });
  // Through the rules of a change: a row that memory does not know of may hold
  // one that waits.
  for (auto& record : details) record.otype = "0";
  return cycle.localOperation.SetLocalGeneralFiles(details) && missing.empty();
}

bool CloudComparison::DetailedProcessModifyFile(const SyncCycle::Ids& ids) {
  constexpr char kTag[] = "SyncHelper::DetailedProcessModifyFile";
  LogInfo(kTag, [&] { return "[Briefing]Briefing GetCloudModifyFiles Count :" + Count(ids.size()); });
  SyncCycle::Ids missing;
  std::vector<CloudFileInfo> details;
  (void)GetDetail(ids, missing, details);
  if (details.empty()) return false;
  if (!missing.empty()) {
    LogWarning(kTag, "[Briefing]Briefing GetCloudModifyFiles Detail Failed Count " + Count(missing.size()));
  }
  LogInfo(kTag,
          [&] { return "[Briefing]Briefing GetCloudModifyFiles Detail Count " + Count(details.size()); });
  for (auto& record : details) record.otype = kModified;
  return cycle.localOperation.SetLocalGeneralFiles(details) && missing.empty();
}

// The cloud lost contents that this computer still has: they go up again as new
// files.
void CloudComparison::DetailedProcessLostFile(const SyncCycle::Ids& ids) {
  SyncLocalOperation::Files files;
  (void)Gallery::GetInstance().GetGalleryFiles(ids, files);
  std::erase_if(
      files, [](const GalleryFile::Ptr& file) { return file->LocalPath().empty() || !file->IsLocalUpload; });
  LogInfo("SyncHelper::DetailedProcessLostFile",
          [&] { return "[Briefing]Briefing LostFiles Count " + Count(files.size()); });
  for (const auto& file : files) {
    const std::string former = file->UniqueId(), fresh = MethodFunction::NewGuid();
    file->GalleryState = kContentToUpload;
    file->SetFileId("");
    file->SetThumbFileId("");
    file->SetLcdFileId("");
    file->SetGuid(fresh);
    file->SetUniqueId(fresh);
    (void)Gallery::GetInstance().UpdateFileUId(file, former);  // Written late when the database refuses.
  }
}

bool CloudComparison::GetDetail(const SyncCycle::Ids& ids, SyncCycle::Ids& missing,
                                std::vector<CloudFileInfo>& details) {
  missing = ids;
  const auto listing = cycle.Listing();
  if (!listing) return false;
  for (int attempt = 0; attempt <= kDetailRetries && !missing.empty(); ++attempt) {
    auto found = listing->GetFileDetail(missing);
    if (!found) {
      if (attempt == 0) return false;
      LogWarning("SyncHelper::GetDetail", "GetDetail retry error!");
      continue;
    }
    for (auto& record : *found) {
      if (std::erase(missing, record.uniqueId) > 0) details.push_back(std::move(record));
    }
  }
  return missing.empty();
}
