#pragma once

#include <string>

#include "model/records/upward.h"

// Thumbnails of files: made from the local file. Safe from any thread.
class ThumbnailHelper : public IThumbnails {
 public:
  static ThumbnailHelper& GetInstance();

  // Makes `target` from the local picture or video: the folder is made, an
  // existing file of that name goes, a folder of that name makes it fail. False,
  // logged with the guid, when no thumbnail came about.
  bool CreateThumbnail(const std::wstring& source, const std::wstring& target, int longEdge,
                       const std::string& guid);
  // The file's small or screen-sized thumbnail, from its `LocalPath`.
  bool CreateThumbnail(const GalleryFile& file, const std::wstring& target, bool isLcd);

  // IThumbnails
  bool MakeLocal(const GalleryFile& file, const std::wstring& target, bool isLcd) override;
  void Fetch(const std::vector<GalleryFile::Ptr>& files,
             std::function<void(const GalleryFile::Ptr&)> done) override;

 private:
  ThumbnailHelper() = default;
};
