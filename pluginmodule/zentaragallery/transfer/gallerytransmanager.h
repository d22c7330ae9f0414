#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/platform/mutex.h"
#include "model/records/field.h"
#include "model/records/galleryfile.h"

// Hands contents to the transfer engine. One instance for the process. Safe from
// any thread.
//
// TODO: the engine's own queue. Until it is set, an upload is handed to nobody:
// files stay waiting, and no task ever runs.
class GalleryTransManager {
 public:
  using Files = std::vector<GalleryFile::Ptr>;
  // What does the work.
  struct Engine {
    std::function<void(const Files&)> upload;
    std::function<std::size_t()> runningTasks;
    std::function<void(std::int32_t kind)> stopAllTasks;
  };

  static GalleryTransManager& GetInstance();

  void SetEngine(Engine next);

  // Makes the manager known to the engine.
  void GalleryInit();
  // Queues the contents of `files` for upload and returns.
  void GalleryUpload(const Files& files);
  std::size_t RunningTasks() const;
  // Kind 1: the uploads.
  void StopAllTask(std::int32_t kind);

  // The cloud's lock of this process, which content requests carry as
  // "x-zt-lock"; empty while none is held.
  std::string LockToken() const { return lockToken.Get(); }
  void SetLockToken(std::string token) { lockToken.Set(std::move(token)); }

 private:
  GalleryTransManager() = default;

  Engine CurrentEngine() const;

  mutable platform::Mutex engineLock;
  Engine engine GUARDED_BY(engineLock);
  GuardedField<std::string> lockToken;
};
