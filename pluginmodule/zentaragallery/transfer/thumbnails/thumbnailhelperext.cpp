#include "transfer/thumbnails/thumbnailhelperext.h"

#include "model/gallery.h"
#include "utils/gallerylog.h"

std::size_t ThumbnailHelperExt::DownloadSearchThumbs(const std::vector<std::string>& uniqueIds,
                                                     const ThumbnailHelper::Done& done) {
  std::vector<ThumbnailRequest> requests;
  for (const std::string& id : uniqueIds) {
    const auto file = Gallery::GetInstance().GetFile(id);
    if (file) {
      requests.push_back({file, false, false, done, {}});
    } else {
      LogInfo("ThumbnailHelperExt::DownloadSearchThumbs", [&id] { return "not in the gallery, id:" + id; });
    }
  }
  ThumbnailHelper::GetInstance().DownloadThumbs(requests);
  return requests.size();
}
