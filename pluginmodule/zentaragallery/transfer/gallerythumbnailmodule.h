#pragma once

#include "transfer/gallerythumbnaildownload.h"
#include "transfer/gallerythumbnaildownloadtask.h"

namespace ZentaraDeskClient {

// The module of the host's frame that fetches thumbnails. The host starts it
// when somebody looks, and stops it before the session changes; while it does
// not run, nothing is fetched.
class GalleryThumbnailModule : public GalleryThumbnailDownload {
 public:
  static GalleryThumbnailModule& GetInstance();
  ~GalleryThumbnailModule() override;

  // Starts the worker; what is added from then on is fetched. False when it runs
  // already.
  bool StartFetching();
  // False, with nothing called, when the module does not run.
  bool Add(ThumbnailRequest request, GalleryThumbnailDownloadTask::Ended ended);
};

}  // namespace ZentaraDeskClient
