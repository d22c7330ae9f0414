#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "common/platform/mutex.h"
#include "host/requests/ns/cloudphotov2losts.h"

namespace CloudPhoto {

// A record of the cloud's list of lost ones.
struct LostFileInfo {
  std::string id;  // of the media, which is the file's UniqueId
  std::uint32_t status = 0;
  bool lostContent = false;
  bool lostThumbnail = false;
};

// Gives contents that the cloud has lost back to it, from the originals of this
// computer. Every so many days it walks the cloud's list of lost records, marks
// their rows, and asks for tasks that send content and thumbnails; records that
// only carry a wrong status are put right. How far it came stands in the row of
// AlbumLocalVersion, so a page whose tasks could not be asked for comes again.
//
// One thread of its own from StartupRefundTask until logout or Stop; nobody else
// uses the object meanwhile. Nothing here reaches the user: failures are logged
// and tried again after a minute.
class LostFileManager {
 public:
  using Ids = std::vector<std::string>;
  // Asks for tasks that give these files back; false when they could not be made.
  using Refund = std::function<bool(const Ids& ids)>;
  // Lets `step` pass on the manager's thread.
  using Pause = std::function<void(std::chrono::milliseconds step)>;

  static constexpr std::chrono::milliseconds kWaitStepMs{100};
  // In tests `ownPause` stands in for real time, or the wait has another step.
  explicit LostFileManager(Pause ownPause = {}, std::chrono::milliseconds waitStep = kWaitStepMs);
  ~LostFileManager() { Stop(); }
  LostFileManager(const LostFileManager&) = delete;
  LostFileManager& operator=(const LostFileManager&) = delete;

  // Returns at once. A thread that still runs is ended first.
  void StartupRefundTask(Refund contentRefund, Refund thumbnailRefund);
  // Gives back at once what the list holds now, on the caller's thread, whatever the
  // period says; where the walks have come to stays as it is. No thread may run. False, logged, when the list
  // cannot be had or tasks cannot be made.
  bool GiveBackNow(Refund contentRefund, Refund thumbnailRefund);
  // Waits for the thread, and so for the answer to a request that is on its way.
  void Stop();

 private:
  using List = std::vector<LostFileInfo>;
  struct Walk {
    std::string cursor;
    bool pageFollows = false;
    List list;
    std::string errorCode;
    std::string errorDescription;
  };

  void Run();
  bool GoesOn() const;
  void Wait();
  void DoWork();
  void QueryAndRefundLostFiles();
  bool QueryPage(Walk& walk);
  bool QueryLostFiles(Walk& walk);
  bool Classify(const std::vector<NS::CloudPhoto::V2::LostMedia>& media, List& list) const;
  void HandleLostsListFailureScenario(std::string& cursor, std::string& errorCode,
                                      std::string& errorDescription);
  void CheckMediaAssetLost(List& list) const;
  bool RefundLostFiles(const List& list) const;
  bool CreateContentRefundTasks(const Ids& ids) const;
  bool CreateThumbnailRefundTasks(const Ids& ids) const;
  bool CreateTasks(const Refund& refund, const Ids& ids) const;

  Refund contentRefund;    // constant while the thread runs
  Refund thumbnailRefund;  // the same
  Pause pause;
  const std::chrono::milliseconds step;

  std::atomic<bool> stopRequested{false};
  platform::Mutex lock;  // with `ended`, which ends a pause at a stop
  std::condition_variable_any ended;
  std::thread thread;
};

}  // namespace CloudPhoto
