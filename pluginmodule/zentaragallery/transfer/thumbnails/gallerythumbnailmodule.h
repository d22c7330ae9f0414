#pragma once

#include <atomic>
#include <thread>

#include "transfer/thumbnails/gallerythumbnaildownload.h"
#include "transfer/thumbnails/gallerythumbnaildownloadtask.h"

namespace ZentaraDeskClient {

// The module of the host's frame that fetches thumbnails. The host starts it
// when somebody looks, and stops it before the session changes; while it does
// not run, nothing is fetched.
class GalleryThumbnailModule : public GalleryThumbnailDownload {
 public:
  static GalleryThumbnailModule& GetInstance();
  ~GalleryThumbnailModule() override;

  // Starts the worker; what is added from then on is fetched. False when it runs
  // already. Beside it, thumbnails that belong to no file of the table any more, and
  // what killed processes left of some, are removed once they are an hour old.
  bool StartFetching();
  // False, with nothing called, when the module does not run.
  bool Add(ThumbnailRequest request, GalleryThumbnailDownloadTask::Ended ended);

  // Waits until that removal is through.
  void WaitForSweep();

 private:
  void OnDestroy() override;

  std::atomic<bool> sweepOn{false};
  std::thread sweeper;  // made by StartFetching, joined by the worker's end
};

}  // namespace ZentaraDeskClient
