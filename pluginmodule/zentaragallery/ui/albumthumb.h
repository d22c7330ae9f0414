#pragma once

#include "common/toolkit/tcontrol.h"
#include "model/records/album.h"

// The cover of an album, contained in the control; its icon while there is none.
class AlbumThumbUI : public CWidgetUI {
 public:
  explicit AlbumThumbUI(Album::Ptr shown);
  void PaintBkImage(QPainter& painter) override;

 private:
  const Album::Ptr album;
};
