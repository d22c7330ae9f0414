#include "ui/player/videoframes.h"

using platform::MutexLock;

QSize VideoFrames::Begin(QSize film) {
  if (film.isEmpty()) return {};
  QSize size = film;
  if (size.width() > most.width() || size.height() > most.height()) size.scale(most, Qt::KeepAspectRatio);
  size = size.expandedTo({2, 2});
  MutexLock hold(lock);
  for (std::size_t i = 0; i < images.size(); ++i) {
    images[i] = QImage(size, QImage::Format_RGB32);
    if (images[i].isNull()) return {};
    images[i].fill(Qt::black);
    bytes[i] = images[i].bits();
  }
  pitch = static_cast<int>(images[0].bytesPerLine());
  writing = 0;
  waiting = shown = -1;
  return size;
}

unsigned char* VideoFrames::Lock() {
  MutexLock hold(lock);
  for (writing = 0; writing == waiting || writing == shown;) ++writing;
  return bytes[static_cast<std::size_t>(writing)];
}

void VideoFrames::Show() {
  {
    MutexLock hold(lock);
    const bool told = std::exchange(waiting, writing) >= 0;
    if (told) return;
  }
  ready();
}

QImage VideoFrames::Take() {
  MutexLock hold(lock);
  if (waiting >= 0) shown = std::exchange(waiting, -1);
  return shown < 0 ? QImage() : images[static_cast<std::size_t>(shown)];
}
