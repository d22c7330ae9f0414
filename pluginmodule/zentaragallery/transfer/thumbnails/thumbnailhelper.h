#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "common/platform/mutex.h"
#include "model/records/upward.h"
#include "transfer/thumbnails/gallerythumbnaildownloadtask.h"

// Thumbnails of files: made from the local file, or fetched from the cloud. Safe
// from any thread.
class ThumbnailHelper : public IThumbnails {
 public:
  using Done = std::function<void(const GalleryFile::Ptr& file)>;

  static ThumbnailHelper& GetInstance();

  // Makes `target` from the local picture or video: the folder is made, an
  // existing file of that name gives way to the finished one, a folder of that name
  // makes it fail. False,
  // logged with the guid, when no thumbnail came about.
  bool CreateThumbnail(const std::wstring& source, const std::wstring& target, int longEdge,
                       const std::string& guid);
  // The file's small or screen-sized thumbnail, from its `LocalPath` or from `source`.
  bool CreateThumbnail(const GalleryFile& file, const std::wstring& target, bool isLcd);
  bool CreateThumbnail(const GalleryFile& file, const std::wstring& source, const std::wstring& target,
                       bool isLcd);

  // Hands the requests to the background task of GalleryThumbnailModule, but for
  // files with a fetch under way: one `uniqueId` has one at a time. What the fetch
  // brings anyway only adds its callback; the other size is asked for again once it
  // has ended. So a list may ask again with every repaint. Without that module the
  // callbacks are called at once.
  void DownloadThumbs(const std::vector<ThumbnailRequest>& requests);
  // Fetches one thumbnail from the service on the caller's thread, as its generation
  // wants it. `goesOn` false ends it; `progress` is told each further hundredth. False,
  // logged, when none came about; a file of the final name is always a whole picture.
  bool DownloadThumbnailV2(const GalleryFile::Ptr& file, bool isLcd, const std::function<bool()>& goesOn,
                           const std::function<void(int percent)>& progress = {});
  bool DownloadThumbnailV1(const GalleryFile::Ptr& file, bool isLcd, const std::function<bool()>& goesOn);
  bool DownloadThumbnailV1Eur(const GalleryFile::Ptr& file, bool isLcd, const std::function<bool()>& goesOn);

  // IThumbnails. A file of the gallery that is there and of which no picture can be made
  // gets a neutral thumbnail; one that is being added gets none.
  bool MakeLocal(const GalleryFile& file, const std::wstring& target, bool isLcd) override;
  void Fetch(const std::vector<GalleryFile::Ptr>& files,
             std::function<void(const GalleryFile::Ptr&)> done) override;

 private:
  ThumbnailHelper() = default;

  // A fetch under way, and the requests that came meanwhile.
  struct UnderWay {
    std::vector<Done> waiting;            // for what it brings
    std::vector<ThumbnailRequest> later;  // for the other size
    bool isLcd = false;
  };

  bool Enter(const std::string& id, const ThumbnailRequest& request);
  void Leave(const std::string& id, const GalleryFile::Ptr& file);

  platform::Mutex thumbLock;
  std::map<std::string, UnderWay> thumbGuidSet GUARDED_BY(thumbLock);  // by `uniqueId`
};
