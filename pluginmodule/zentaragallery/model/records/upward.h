#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "model/records/galleryfile.h"

class Album;
struct ViewCacheData;

// What files and albums ask of the layers above them. The record layer owns
// these interfaces, so that it includes nothing from above; whoever implements
// one installs itself. Without one, a call does nothing and finds nothing.
// Calls come from any thread.

// What stands in files and albums: the events of albums for listeners.
enum class AlbumEvent : int { Shown = 1, Changed = 2, Removed = 3, CoverChanged = 5 };

// The gallery that holds the records.
class IGalleryContext {
 public:
  using Files = std::vector<GalleryFile::Ptr>;

  virtual ~IGalleryContext() = default;

  virtual std::shared_ptr<Album> GetAlbum(const std::string& id) = 0;
  // Creates an album for a file that comes out of the bin; `createTime` -1 lets
  // the album keep the time of its making.
  virtual std::shared_ptr<Album> RestoreAlbum(const std::wstring& name, std::int64_t createTime) = 0;
  // Fills `album` from its row; false when there is none.
  virtual bool ReadAlbumRow(Album& album, const std::string& id) = 0;
  virtual bool WriteRows(const Files& files) = 0;
  virtual bool WriteAlbumIdOfFiles(const std::string& oldId, const std::string& newId) = 0;

  virtual void ShowInPanel(const std::shared_ptr<Album>& album) = 0;
  virtual void HideFromPanel(const std::shared_ptr<Album>& album) = 0;
  virtual void Announce(AlbumEvent event, const std::shared_ptr<Album>& album) = 0;

  // Covers and members of a burst: live files of that name and album, in the bin
  // or out of it.
  virtual Files BurstCovers(const std::wstring& name, const std::string& albumId, bool inBin) = 0;
  virtual Files BurstMembers(const std::wstring& name, const std::string& albumId, bool inBin) = 0;
  virtual void UnregisterBurst(const GalleryFile::Ptr& file) = 0;
  // The cover of the file's burst that the file stands behind, or null.
  virtual GalleryFile::Ptr CoverHolding(const GalleryFile& file) = 0;
  // Files that hide behind a cover now: out of the views, favourite marks gone.
  virtual void FoldIntoBurst(const Files& takeOutOfViews, const Files& foldedFavorites) = 0;
  // Files that stood behind a cover and are listed now.
  virtual void ShowInViews(const Files& files) = 0;

  // Files whose time in the bin is over.
  virtual void DeleteExpired(const Files& files) = 0;
  virtual std::size_t FileCount() = 0;
};

// Small and screen-sized thumbnails.
class IThumbnails {
 public:
  virtual ~IThumbnails() = default;
  // Makes the thumbnail of a local file at once; false, logged, when it cannot.
  virtual bool MakeLocal(const GalleryFile& file, const std::wstring& target, bool isLcd) = 0;
  // Brings small thumbnails in the background; `done`, when given, is called for
  // each file whether one came or not.
  virtual void Fetch(const std::vector<GalleryFile::Ptr>& files,
                     std::function<void(const GalleryFile::Ptr&)> done) = 0;
};

// The list view's side of an album.
class IAlbumViews {
 public:
  virtual ~IAlbumViews() = default;
  // Fills rows, heights and the year table of `layout` for `fileCount` files.
  virtual void ComputeLayout(const Album& album, std::size_t fileCount, ViewCacheData& layout) = 0;
  virtual void SetCurrentAlbum(const std::string& albumId) = 0;
};

// The installed implementations; never null. Installing null goes back to one
// that does nothing. An implementation outlives its installation.
namespace upward {
IGalleryContext& Context();
IThumbnails& Thumbnails();
IAlbumViews& Views();
void Install(IGalleryContext* context);
void Install(IThumbnails* thumbnails);
void Install(IAlbumViews* views);
}  // namespace upward
