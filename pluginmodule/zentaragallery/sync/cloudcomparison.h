#pragma once

#include <functional>
#include <string>
#include <unordered_set>
#include <vector>

#include "sync/synccycle.h"

struct BriefingItem;

// The whole listing of the cloud against the whole gallery. For the thread of a cycle.
class CloudComparison {
 public:
  // `giveBack` has tasks made for contents that the cloud has without a byte.
  CloudComparison(SyncCycle& of, std::function<void(const SyncCycle::Ids&)> giveBack)
      : cycle(of), giveBackContents(std::move(giveBack)) {}

  bool BriefingFullUpdate();
  // A comparison with a cloud that has lost something: what it misses and this
  // computer has goes up again. `fellBehind`: it is of an earlier state.
  bool CompareAfterLoss(bool fellBehind);
  // Not while the listing runs: a refund takes the lock, whose pull starts at the
  // version stored here, and the cloud may have forgotten that one.
  void GiveBackEmpty();

  // Of the last comparison.
  bool ListedNothing() const { return listedNothing; }
  // Files that the present turn found missing in the cloud; any thread.
  std::size_t Requeued() const { return requeued; }
  void ForgetRequeued() { requeued = 0; }

 private:
  // cloudcomparison.cpp
  bool AddListedNew();
  bool UploadAgain(const SyncLocalOperation::Files& files);
  bool GetCloudBriefingFiles(std::string& cursor, bool recycle, std::vector<BriefingItem>& items);
  bool BriefingProcessAlbum(bool recycle, std::unordered_set<std::string>& listed);
  bool BriefingPage(std::vector<BriefingItem>& items);
  // cloudcomparisondetail.cpp
  bool DetailedProcessing(const std::vector<BriefingItem>& items);
  bool DetailedProcessAddFile(const SyncCycle::Ids& ids);
  bool DetailedProcessModifyFile(const SyncCycle::Ids& ids);
  void DetailedProcessLostFile(const SyncCycle::Ids& ids);
  bool GetDetail(const SyncCycle::Ids& ids, SyncCycle::Ids& missing, std::vector<CloudFileInfo>& details);

  SyncCycle& cycle;
  const std::function<void(const SyncCycle::Ids&)> giveBackContents;
  bool purgeNotInCloud = false;
  bool cloudFellBehind = false;  // the cloud is of an earlier state than this gallery
  bool listedNothing = false;
  SyncCycle::Ids listedEmpty;  // of size 0
  SyncCycle::Ids listedNew;    // not here yet, of a comparison with a cloud that fell behind
  std::atomic<std::size_t> requeued{0};
};
