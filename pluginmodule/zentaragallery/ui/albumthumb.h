#pragma once

#include <functional>

#include "common/toolkit/tcontrol.h"
#include "model/records/album.h"

// A small picture from a file, contained in the control; an icon while there is none.
class ThumbUI : public CWidgetUI {
 public:
  // `pathNow` is asked at each painting; empty for none. No disk in it.
  ThumbUI(std::function<QString()> pathNow, QString placeholderIcon);
  void PaintBkImage(QPainter& painter) override;

 private:
  const std::function<QString()> path;
  const QString icon;
};

// The cover of an album.
class AlbumThumbUI : public ThumbUI {
 public:
  explicit AlbumThumbUI(const Album::Ptr& album);
};
