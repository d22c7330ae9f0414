#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cloud/isyncserviceoperation.h"
#include "host/requests/cloudspacequery.h"
#include "model/records/galleryfile.h"
#include "sync/icloudlisting.h"

// One content to give back to the cloud. Type 0 its content, 1 its thumbnails,
// 2 an upload that was pending at the start.
struct RefundTask {
  std::string fileId;
  std::int32_t type = 0;
  GalleryFile::Ptr file;  // null for type 2
};

// What the sync asks of its surroundings, wired in one place. A member that is
// not set answers as said beside it, so that a part that is missing only leaves
// out what it would do. Set before the sync starts; the functions are called on
// the sync's threads.
struct SyncServices {
  using Push = std::function<void(const std::string& command, const std::string& body)>;

  std::function<std::shared_ptr<ICloudListing>()> listing;              // not set: no cloud
  std::function<std::unique_ptr<ISyncServiceOperation>()> makeService;  // V2; not set: no cloud
  // The first generation's; not set: that generation is not served.
  std::function<std::unique_ptr<ISyncServiceOperation>()> makeServiceV1;

  std::function<std::int32_t()> briefingPeriodDays;  // 30
  std::function<SpaceInfo()> spaceInfo;              // not known, which stops nothing
  std::function<std::int32_t()> diskHealth;          // 0, healthy; from 4 on the sync pauses
  std::function<bool()> contentPaused;               // false: contents may go up
  std::function<void(Push)> registerPush;
  std::function<void()> removePush;
  std::function<bool(const std::wstring& path)> resetDatabase;  // the host's provider
  std::function<void()> clearSelection;                         // of the list view
  // Lets time pass on the thread that watches the display switch; not set: real time.
  std::function<void(std::chrono::milliseconds)> pause;
  std::function<void()> makePlayer;  // the instance of the video player

  // Uploads that were pending when the program ended; not set: none.
  std::function<std::vector<std::string>()> pendingUploads;
  // Makes tasks and calls `done` when the last of them has ended, on any thread;
  // not set: nothing can be given back yet.
  std::function<void(const std::vector<RefundTask>&, bool lockHeld, std::function<void()> done)>
      createRefundTasks;
  // Starts the search for files that the cloud has lost.
  using Refund = std::function<bool(const std::vector<std::string>& ids)>;
  std::function<void(Refund content, Refund thumbnails)> startLostFiles;
  std::function<void()> stopLostFiles;  // waits until it has ended
  // The same search once, now; false when it failed. Not set: false.
  std::function<bool(Refund content, Refund thumbnails)> giveBackLost;
};

// The services of this program: the second generation's cloud and the host.
SyncServices HostSyncServices();
