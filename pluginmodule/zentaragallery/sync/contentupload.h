#pragma once

#include <cstddef>

#include "sync/synccycle.h"

// Contents on their way to the transfer engine, under the cloud's lock. For the thread
// of a cycle.
class ContentUpload {
 public:
  explicit ContentUpload(SyncCycle& of) : cycle(of) {}

  // Hands the engine what waits and fits into the cloud, and waits for it.
  void UploadContent();

 private:
  bool ContentIsPaused() const;
  bool WaitForTasks(std::size_t remaining);

  SyncCycle& cycle;
};
