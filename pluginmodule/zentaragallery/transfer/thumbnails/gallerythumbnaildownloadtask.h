#pragma once

#include <functional>

#include "host/transfer/thumbnailtransferadminthread.h"
#include "model/records/galleryfile.h"

// A thumbnail that somebody waits for.
struct ThumbnailRequest {
  GalleryFile::Ptr file;
  bool isLcd = false;    // screen-sized, not small
  bool replace = false;  // anew, although one is there
  // Called when the fetch has ended, with or without a thumbnail; on the worker.
  std::function<void(const GalleryFile::Ptr& file)> uiCallback;
  // Asked when its turn has come; false when nobody looks at the file any more.
  std::function<bool()> priorityCallback;
  // Told of each further hundredth that has come from the cloud; on the worker.
  std::function<void(int percent)> progressCallback = {};
};

// One thumbnail as a background task: from the local file, or from the cloud.
class GalleryThumbnailDownloadTask : public ZentaraDeskClient::BackgroundTask {
 public:
  using GoesOn = std::function<bool()>;
  using Ended = std::function<void()>;

  // `goesOn` false ends a fetch that runs; `ended` is called once, also when the
  // task is dropped.
  GalleryThumbnailDownloadTask(ThumbnailRequest wanted, GoesOn goesOn, Ended ended);

  void BusinessRun() override;
  void Dropped() override { ended(); }

 private:
  bool IsThere() const;
  void Bring() const;

  const ThumbnailRequest request;
  const GoesOn goesOn;
  const Ended ended;
};
