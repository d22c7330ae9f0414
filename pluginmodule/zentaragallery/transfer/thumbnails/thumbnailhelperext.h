#pragma once

#include "transfer/thumbnails/thumbnailhelper.h"

// Thumbnails for lists that are not the gallery's own.
class ThumbnailHelperExt {
 public:
  // Fetches the small thumbnails of a search's hits, known by their `uniqueId`, but
  // for those that are on the disk. Hits that the gallery does not hold any more are
  // left out. Returns the number of files for each of which `done` is called once, on
  // the worker's thread or on this one. Safe from any thread.
  static std::size_t DownloadSearchThumbs(const std::vector<std::string>& uniqueIds,
                                          const ThumbnailHelper::Done& done);
};
