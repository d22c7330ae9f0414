#pragma once

#include <QImage>
#include <QSize>
#include <memory>
#include <vector>

#include "common/toolkit/types.h"
#include "model/records/galleryfile.h"
#include "ui/viewer/mappedpixels.h"

// What there is to show of a picture.
struct LcdPicture {
  QImage image;                                // upright
  QSize whole;                                 // of the picture itself, upright; empty when nobody knows
  bool fromOriginal = false;                   // the original lies on this computer
  std::shared_ptr<const MappedPixels> frames;  // of one that moves

  bool isNull() const { return image.isNull() && !frames; }
};

// A square of the original at a level of detail.
struct LcdTile {
  static constexpr int kSide = 512;
  int level = 0, x = 0, y = 0;
  auto operator<=>(const LcdTile&) const = default;
};

// The large pictures of the viewer, read and decoded by workers of their own: from the
// original where it lies on this computer, else from the screen-sized one in the
// cache, which is fetched from the cloud when it is not there.
//
// The user-interface thread never opens, looks at or decodes a file: Get answers from
// memory, or not at all. What a worker has done is told to the window that asked, with
// the file in the message: WM_GALLERY_LCD_READY, WM_GALLERY_LCD_FAILED,
// WM_GALLERY_LCD_PROGRESS, WM_GALLERY_LCD_LOADED and WM_GALLERY_LCD_RELOAD.
// Called on the user-interface thread.
class LcdPictures {
 public:
  using File = GalleryFile::Ptr;

  static constexpr qint64 kMaxBytes = 256 * 1024 * 1024;

  static LcdPictures& GetInstance();

  // Somebody may open the viewer soon: what decodes gets ready.
  void Prepare();

  // The picture fitted into `box`, from memory; one of another size while that is not
  // there, null without any.
  LcdPicture Get(const File& file, QSize box) const;
  bool Has(const File& file, QSize box) const;
  // Decodes it, before all others; what was wanted before and has not begun is dropped.
  void Want(const File& file, QSize box, HWND told);
  // Decoded when nothing is wanted; replaces the list before.
  void Ahead(const std::vector<File>& files, QSize box);
  // Neither decoded nor to be had; tried again after either of these.
  bool HasFailed(const File& file) const;
  // Another picture lies on the disk; the cloud is not asked for it once more.
  void Forget(const File& file);
  // Somebody looks anew, or there is news: what failed may be there by now.
  void TryAgain(const File& file);
  // Drops everything, for another account; what is under way is not taken.
  void Clear();

  // The original's pixels, of one file at a time; null until they are there, which
  // WM_GALLERY_LCD_READY tells as well.
  std::shared_ptr<const MappedPixels> Original(const File& file) const;
  void WantOriginal(const File& file, HWND told);
  // A tile of it, from memory, or null; `told` hears of it as above.
  QImage Tile(const File& file, const LcdTile& tile) const;
  void WantTiles(const File& file, const std::vector<LcdTile>& tiles, HWND told);

  qint64 Bytes() const;
  // Waits until no work is left. For tests.
  void WaitIdle();

 private:
  LcdPictures();
  ~LcdPictures() = delete;  // Workers may still end with the process.
  struct State;
  State* state;
};
