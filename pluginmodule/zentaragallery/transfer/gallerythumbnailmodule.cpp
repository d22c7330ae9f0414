#include "transfer/gallerythumbnailmodule.h"

#include <future>

namespace ZentaraDeskClient {

GalleryThumbnailModule& GalleryThumbnailModule::GetInstance() {
  static GalleryThumbnailModule instance;
  return instance;
}

GalleryThumbnailModule::~GalleryThumbnailModule() { Stop(); }

bool GalleryThumbnailModule::StartFetching() {
  if (!Start("thumbnails")) return false;
  // A worker that was stopped before takes tasks only once it has begun again.
  auto begun = std::make_shared<std::promise<void>>();
  const auto ready = begun->get_future();
  // Dropped by a stop, the task takes the promise along, and the wait ends.
  PostTask([begun = std::move(begun)] { begun->set_value(); });
  ready.wait();
  return true;
}

bool GalleryThumbnailModule::Add(ThumbnailRequest request, GalleryThumbnailDownloadTask::Ended ended) {
  if (!IsRunning()) return false;
  return AddTask(std::make_shared<GalleryThumbnailDownloadTask>(
      std::move(request), [this] { return !StopRequested(); }, std::move(ended)));
}

}  // namespace ZentaraDeskClient
