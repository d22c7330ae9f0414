#include "host/transfer/galleryupthdmng.h"

#include <json/value.h>

#include <atomic>
#include <future>

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsonfile.h"
#include "host/base/logger.h"
#include "host/transfer/transfermanager.h"

namespace ZentaraDeskClient {

namespace {

namespace fs = std::filesystem;

constexpr std::int32_t kContent = 0, kThumbnails = 1;  // of a Request
constexpr platform::LPARAM kContentThere = 1, kContentLost = 2;

// {"FILE ID": TYPE, ...}
fs::path PendingFile() {
  return platform::NativePath(GlobalParamWrapper::GetInstance()->GetUserDataBaseFolder()) / "refunds.json";
}

Json::Value LoadPending(const fs::path& file) {
  Json::Value pending;
  (void)JsonFile::Load(file, pending);  // Without it nothing is pending; the cloud still lists what it lost.
  return pending;
}

void StorePending(const fs::path& file, const Json::Value& pending) {
  const auto error = platform::ReplaceAtomically(file, JsonFile::Text(pending));
  if (!error) return;
  Logger::CloudLogger::GetInstance()->Output("Transfer", Logger::Severity::Error, __LINE__,
                                             "GalleryUpThdMng::StorePending",
                                             "refunds.json: " + error.message());
}

}  // namespace

struct GalleryUpThdMng::Batch {
  std::vector<Request> requests;
  bool lockHeld = false;
  std::function<void()> done;
  fs::path file;                     // of the user for whom it was made
  std::atomic<std::size_t> left{1};  // tasks that have not ended, and the one who queues them
  platform::Mutex lock;
  std::vector<std::string> ended GUARDED_BY(lock);
};

GalleryUpThdMng& GalleryUpThdMng::GetInstance() {
  static GalleryUpThdMng instance;
  return instance;
}

void GalleryUpThdMng::SetEngine(TransferManager* manager, MakeTask make) {
  platform::MutexLock hold(engineLock);
  owner = manager;
  makeTask = std::move(make);
}

void GalleryUpThdMng::SetTip(HWND window, platform::UINT message) {
  tipMessage = message;
  tipWindow = window;
}

std::vector<GalleryUpThdMng::Request> GalleryUpThdMng::PendingTasks() {
  platform::MutexLock hold(fileLock);
  const Json::Value pending = LoadPending(PendingFile());
  std::vector<Request> requests;
  for (const auto& id : pending.getMemberNames())
    requests.push_back({id, pending[id].isInt() ? pending[id].asInt() : 0});
  return requests;
}

void GalleryUpThdMng::CreateTask(std::vector<Request> requests, bool lockHeld, std::function<void()> done) {
  const auto batch = std::make_shared<Batch>();
  batch->requests = std::move(requests);
  batch->lockHeld = lockHeld;
  batch->done = std::move(done);
  batch->file = PendingFile();
  {
    platform::MutexLock hold(fileLock);
    Json::Value pending = LoadPending(batch->file);
    for (const Request& request : batch->requests) {
      if (!pending.isMember(request.fileId)) pending[request.fileId] = request.type;
    }
    StorePending(batch->file, pending);
  }
  (void)Start("gallery upload");  // It may run already.
  PostTask([this, batch] { QueueBatch(batch); });
}

void GalleryUpThdMng::QueueBatch(const BatchPtr& batch) {
  for (const Request& request : batch->requests) {
    if (!batch->lockHeld || StopRequested()) break;
    if (QueueOne(batch, request) != Queued::Nothing) continue;
    platform::MutexLock hold(batch->lock);
    batch->ended.push_back(request.fileId);
  }
  LeaveBatch(batch);
}

// Whether an upload that is listed already succeeds is for its own batch to tell.
GalleryUpThdMng::Queued GalleryUpThdMng::QueueOne(const BatchPtr& batch, const Request& request) {
  TransferManager* manager = nullptr;
  MakeTask make;
  {
    platform::MutexLock hold(engineLock);
    manager = owner;
    make = makeTask;
  }
  const TransferTask::Ptr task = manager && make ? make(request) : nullptr;
  if (!task || !task->AddToDB()) return Queued::Nothing;
  task->WhenDone([this, batch, request](const TransferTask::Ptr& ended) {
    Tell(ended, request);
    // One that has failed goes out again with the next start: the cloud's list has
    // been walked beyond it.
    if (ended->Status() == TaskStatus::Completed) {
      platform::MutexLock hold(batch->lock);
      batch->ended.push_back(request.fileId);
    }
    LeaveBatch(batch);
  });
  ++batch->left;
  if (manager->AddUpload(task)) return Queued::Yes;
  --batch->left;
  return Queued::Listed;
}

void GalleryUpThdMng::Tell(const TransferTask::Ptr& ended, const Request& request) const {
  const HWND window = tipWindow;
  const bool there = ended->Status() == TaskStatus::Completed && request.type != kThumbnails;
  const bool lost = ended->Status() == TaskStatus::Failed && request.type == kContent;
  if (!window || (!there && !lost)) return;
  auto record = std::make_unique<TransferTask::Ptr>(ended);
  const platform::LPARAM state = there ? kContentThere : kContentLost;
  if (platform::PostMessageW(window, tipMessage, reinterpret_cast<platform::WPARAM>(record.get()), state))
    (void)record.release();  // The window's now.
}

void GalleryUpThdMng::LeaveBatch(const BatchPtr& batch) {
  // Not on a worker: `done` may talk to the service.
  if (--batch->left == 0) PostTask([this, batch] { FinishBatch(batch); });
}

void GalleryUpThdMng::FinishBatch(const BatchPtr& batch) {
  {
    platform::MutexLock hold(fileLock);
    platform::MutexLock ends(batch->lock);
    Json::Value pending = LoadPending(batch->file);
    for (const auto& id : batch->ended) pending.removeMember(id);
    StorePending(batch->file, pending);
  }
  if (batch->done) batch->done();
}

void GalleryUpThdMng::Close() {
  if (!IsRunning()) return;
  // The first round ends what is being queued; the second calls what that made due.
  for (int round = 0; round < 2; ++round) {
    std::promise<void> reached;
    PostTask([&reached] { reached.set_value(); });
    reached.get_future().wait();
  }
  Stop();
}

}  // namespace ZentaraDeskClient
