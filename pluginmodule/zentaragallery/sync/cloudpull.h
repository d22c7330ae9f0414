#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "sync/synccycle.h"

class CloudComparison;

// The state of the cloud that a pull goes to.
struct CloudMarks {
  std::string albumListVersion;
  std::int64_t fileVersion = -1;
  std::string clearVersion;
};

// Takes over what has changed in the cloud: albums, then pages of files, then of the
// bin, then the version. For the thread of a cycle.
class CloudPull {
 public:
  CloudPull(SyncCycle& of, CloudComparison& with) : cycle(of), comparison(with) {}

  // Pulls to the given state of the cloud, or to its present one.
  bool DownLoadFromCloud(const std::optional<CloudMarks>& marks);

  // Of the pull under way, -1 without one; any thread.
  std::int64_t TargetVersion() const { return targetVersion; }
  void ForgetTarget() { targetVersion = -1; }

 private:
  bool PullAlbums(const std::string& version, Gallery::Albums& deleted, bool& storeLater);
  bool PullFiles(std::int64_t from, std::int64_t to);
  bool SyncAblum(Gallery::Albums& deleted);
  bool SyncGeneralFiles(std::int64_t fromVersion);
  bool SyncRecycleFiles(const SyncCycle::Ids& albumIds, std::int64_t fromVersion);
  bool FillGap(bool fellBehind, std::int64_t fileVersion);

  SyncCycle& cycle;
  CloudComparison& comparison;
  std::atomic<std::int64_t> targetVersion{-1};
};
