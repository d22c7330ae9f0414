#pragma once

#include <QFile>
#include <QImage>
#include <QSize>
#include <QTransform>
#include <memory>
#include <string>

#include "utils/picturepixels.h"

// Decoded pixels of a picture at its own size, in a file without a name that is mapped
// into memory: the system holds what is looked at and may drop it again, so that a
// panorama does not cost the memory of all its pixels.
//
// The file lies in the cache folder and is gone when the last owner is, or the process.
// Safe from any thread; reading is for workers, it may wait for the disk.
class MappedPixels {
 public:
  // Decodes `source` into `folder`. Null when it cannot be decoded or the folder has
  // not the room for it.
  static std::shared_ptr<const MappedPixels> Decode(const std::wstring& source, const std::wstring& folder);
  ~MappedPixels();
  MappedPixels(const MappedPixels&) = delete;
  MappedPixels& operator=(const MappedPixels&) = delete;

  // Upright, of one frame.
  QSize Size() const;
  // A rectangle of the upright picture, made smaller by 2 to the power of `level`.
  QImage Read(const QRect& upright, int level) const;

  // A moving picture.
  int FrameCount() const { return static_cast<int>(pixels.Frames()); }
  int DelayMs(int frame) const;
  // Times that it runs; 0 for ever.
  int Loops() const { return pixels.loops; }
  // Looks at the mapped memory: the result keeps this alive.
  static QImage Frame(const std::shared_ptr<const MappedPixels>& of, int frame);

 private:
  MappedPixels() = default;
  bool Map(const std::wstring& path);
  QTransform ToUpright() const;
  const uchar* FrameStart(int frame) const { return bytes + frame * pixels.FrameBytes(); }

  PicturePixels pixels;
  QFile file;
  const uchar* bytes = nullptr;
};

// One picture decoded at once into memory, upright, fitted into a square of `longEdge`.
// Null when it cannot be. For workers.
QImage DecodeFitted(const std::wstring& source, const std::wstring& folder, int longEdge);
