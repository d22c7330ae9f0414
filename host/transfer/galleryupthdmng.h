#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/platform/mutex.h"
#include "common/platform/window.h"
#include "host/base/msgthreadability.h"
#include "host/transfer/transfertask.h"

class TransferManager;

namespace ZentaraDeskClient {

// Has files uploaded outside the sync's own uploads: contents and thumbnails that
// go back to the cloud, and such as an end of the program has interrupted. Makes
// the tasks on its thread and tells when the last of a call has ended.
//
// What has not succeeded stands in "refunds.json" in the user's database folder
// until it has, unless there is nothing to upload. Safe from any thread.
class GalleryUpThdMng : public CommonAbility::MsgThreadAbility {
 public:
  // Type 0 a content, 1 thumbnails, 2 what was pending at the start.
  struct Request {
    std::string fileId;
    std::int32_t type = 0;
  };
  // Null when there is nothing to upload, for example no local content.
  using MakeTask = std::function<TransferTask::Ptr(const Request&)>;

  static GalleryUpThdMng& GetInstance();
  ~GalleryUpThdMng() override { Stop(); }

  // Who makes the tasks, on this thread, and whose queue they go to. `manager`
  // must outlive its tasks; null: no task is made.
  void SetEngine(TransferManager* manager, MakeTask make);

  // A window that learns how contents went back: `message` is posted with a
  // TransferTask::Ptr, which the receiver deletes, and 1 when the cloud has the
  // content again, or 2 when the upload of a lost one has failed. Null tells nobody.
  void SetTip(HWND window, platform::UINT message);

  // What an earlier run has left, for the present user.
  std::vector<Request> PendingTasks();

  // Queues tasks for the requests and calls `done` on this thread when all have
  // ended; an upload that is listed already belongs to its own call. Contents are accepted only under the
  // cloud's lock: without it the requests stay pending and `done` follows at once.
  void CreateTask(std::vector<Request> requests, bool lockHeld, std::function<void()> done);

  // Calls what is due and stops; the tasks have been stopped before.
  void Close();

 private:
  struct Batch;
  using BatchPtr = std::shared_ptr<Batch>;

  void QueueBatch(const BatchPtr& batch);
  void Tell(const TransferTask::Ptr& ended, const Request& request) const;
  enum class Queued { Yes, Listed, Nothing };
  Queued QueueOne(const BatchPtr& batch, const Request& request);
  void LeaveBatch(const BatchPtr& batch);
  void FinishBatch(const BatchPtr& batch);

  platform::Mutex engineLock;
  TransferManager* owner GUARDED_BY(engineLock) = nullptr;
  MakeTask makeTask GUARDED_BY(engineLock);
  std::atomic<HWND> tipWindow{nullptr};
  std::atomic<platform::UINT> tipMessage{0};
  platform::Mutex fileLock;  // covers reading and writing the file, so that no entry gets lost
};

}  // namespace ZentaraDeskClient
