#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/platform/mutex.h"
#include "model/records/album.h"
#include "model/records/upward.h"

// One row of the current view.
struct ViewRow {
  std::uint8_t columns = 0;
  bool headerMarker = false;  // a date header: `date` in seconds at local midnight, no files
  std::int64_t date = 0;
  std::vector<GalleryFile::Ptr> files;

  bool empty() const { return !headerMarker && files.empty(); }
};

// Stands between the sorted files of the current album and the list: which files
// are row n, which row lies at a pixel, where a date header comes in. Rows are cut
// from the album's snapshot on demand; nothing is copied per album.
//
// One for the process. Reads are safe from any thread and answer nothing while no
// album is set or it has no columns. The layout itself is computed on workers, with
// each batch of the album and after SetListViewConf, and is swapped in whole.
class GalleryFileListViewHelper : public IAlbumViews {
 public:
  using Files = std::vector<GalleryFile::Ptr>;
  using UpdateCallback = std::function<void(std::uint32_t rowCount)>;

  static GalleryFileListViewHelper& GetInstance();

  // Makes `albumId` the current album with this layout; `callback` is told of every
  // change from then on, on any thread. Returns at once: the work is done on a
  // worker, and of calls that follow each other quickly the last one wins.
  void SetListViewConf(const std::string& albumId, std::uint8_t cols, UpdateCallback callback,
                       std::uint16_t dateHeight, std::uint16_t lineHeight);
  // Calls the callback, if there is a layout.
  void NotifyViewUpdate();
  // Waits until what SetListViewConf has begun is through. For tests and for the end.
  void WaitForConf();
  // The window that is told goes away: no callback runs after the return.
  void DropCallback();

  ViewRow GetListViewVec(std::uint32_t rowIndex) const;
  // All files of the album; logged, since it alone costs as much as the album is
  // large.
  void GetListViewVec(Files& out) const;
  // The files of one day of the time line, by its date in seconds.
  void GetFilesByDate(std::int64_t date, Files& out) const;

  struct RowPlace {
    std::uint32_t row = 0;
    std::int64_t bottom = 0, top = 0;
  };
  // The row at a pixel of the time line. A pixel on a boundary belongs to the row
  // that ends there.
  bool GetRowAtPos(std::int64_t y, RowPlace& place) const;

  // Index of the file, or all ones.
  static constexpr std::uint32_t kNoIndex = ~std::uint32_t{0};
  std::uint32_t GetFileIndex(const GalleryFile::Ptr& file) const;
  GalleryFile::Ptr GetFileByIndex(std::uint32_t index) const;
  // Both ends included; nothing when the larger index is out of range.
  void GetFilesByRange(std::uint32_t a, std::uint32_t b, Files& out) const;
  // True also when there is no album to ask: nobody removes anything then.
  // HasSameFile takes a shot of a burst for any other of its burst.
  bool HasFile(const GalleryFile::Ptr& file) const;
  bool HasSameFile(const GalleryFile::Ptr& file) const;

  // Photos and videos of an album; none while the user's data is hidden.
  std::pair<std::uint64_t, std::uint64_t> GetPhotoVideoCount(const std::string& albumId) const;

  Album::Ptr CurrentAlbum() const;
  std::string CurrentAlbumId() const;
  std::uint32_t RowCount() const;
  // Files and layout that belong together; the layout is never null.
  Album::View CurrentView() const;
  // The order in which the album's files stand.
  static const GalleryFile::OrderBy& OrderOf(const Album& album);

  // IAlbumViews
  void ComputeLayout(const Album& album, std::size_t fileCount, ViewCacheData& layout) override;
  void SetCurrentAlbum(const std::string& albumId) override;

 private:
  struct Conf {
    std::string albumId;
    std::uint8_t cols = 0;
    std::uint16_t dateHeight = 0;
    std::uint16_t lineHeight = 0;
  };

  GalleryFileListViewHelper();
  void ApplyConf(const Conf& conf, const UpdateCallback& callback, std::uint64_t number);
  bool TakeAlbum(const Album::Ptr& next, const Conf& conf, const UpdateCallback& callback,
                 std::uint64_t number, Album::Ptr& old);
  void Watch(const Album::Ptr& album);

  mutable platform::SharedMutex confMutex;
  UpdateCallback updateCallback GUARDED_BY(confMutex);
  std::string albumId GUARDED_BY(confMutex);
  Album::Ptr album GUARDED_BY(confMutex);

  // Held while a callback runs, so that its window can go away.
  platform::SharedMutex callLock;

  platform::Mutex applyLock;  // before all others
  platform::Mutex workLock;
  std::condition_variable_any workDone;
  std::uint64_t lastConf GUARDED_BY(workLock) = 0;
  int working GUARDED_BY(workLock) = 0;
};
