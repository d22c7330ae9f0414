#pragma once

#include <QImage>
#include <QSize>
#include <array>
#include <functional>

#include "common/platform/mutex.h"

// The pictures of a film on their way from the decoder to the window.
//
// The decoder writes into one of three, the window shows another; the newest one that
// is ready waits in between, and one that was not shown in time gives way to it.
class VideoFrames {
 public:
  // `tell` says that there is a new one; on the decoder's thread, at most once until
  // Take. No picture is larger than `mostPixels`.
  VideoFrames(QSize mostPixels, std::function<void()> tell) : most(mostPixels), ready(std::move(tell)) {}

  // The decoder: makes room for pictures of `film`, as large as they are to be shown.
  // Returns their size; empty without memory for them.
  QSize Begin(QSize film);
  // Where to write the next picture, 32 bits a pixel, and its bytes a line.
  unsigned char* Lock();
  int Pitch() const { return pitch; }
  // What was written last is ready.
  void Show();

  // The window: the newest picture; null before the first.
  QImage Take();

 private:
  const QSize most;
  const std::function<void()> ready;
  int pitch = 0;  // of the decoder's thread
  platform::Mutex lock;
  std::array<QImage, 3> images GUARDED_BY(lock);
  // The images' bytes: bits() would copy a picture that the window holds.
  std::array<unsigned char*, 3> bytes GUARDED_BY(lock){};
  int writing GUARDED_BY(lock) = 0;
  int waiting GUARDED_BY(lock) = -1;
  int shown GUARDED_BY(lock) = -1;
};
