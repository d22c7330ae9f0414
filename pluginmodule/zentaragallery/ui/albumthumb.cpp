#include "ui/albumthumb.h"

#include <QPainter>
#include <QPainterPath>

#include "common/toolkit/icons.h"
#include "common/toolkit/resourcequeue.h"
#include "ui/pagecontext.h"
#include "ui/view/gridgeometry.h"

AlbumThumbUI::AlbumThumbUI(Album::Ptr shown) : album(std::move(shown)) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
  connect(&ResourceQueue::GetInstance(), &ResourceQueue::ready, this, [this](const QString& path) {
    if (path == Page::NativeText(album->CoverPath())) update();
  });
}

void AlbumThumbUI::PaintBkImage(QPainter& painter) {
  const QString path = Page::NativeText(album->CoverPath());
  const QImage image = path.isEmpty() ? QImage() : ResourceQueue::GetInstance().Get(path, size());
  painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
  if (image.isNull()) {
    const int side = std::min(Scaled(18), std::min(width(), height()));
    const QRect icon(rect().center() - QPoint(side / 2, side / 2), QSize(side, side));
    return icons::Paint(painter, QStringLiteral("album"), icon, ColorOf(QStringLiteral("text-2")));
  }
  const auto place = GridGeometry::Fit(image.width(), image.height(), width(), height());
  const QRect picture(place.x, place.y, place.width, place.height);
  QPainterPath rounded;
  rounded.addRoundedRect(picture, Scaled(2), Scaled(2));
  painter.setClipPath(rounded);
  painter.drawImage(picture, image);
}
