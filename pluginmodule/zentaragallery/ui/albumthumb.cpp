#include "ui/albumthumb.h"

#include <QPainter>
#include <QPainterPath>

#include "common/toolkit/icons.h"
#include "common/toolkit/resourcequeue.h"
#include "ui/pagecontext.h"
#include "ui/view/gridgeometry.h"

ThumbUI::ThumbUI(std::function<QString()> pathNow, QString placeholderIcon)
    : path(std::move(pathNow)), icon(std::move(placeholderIcon)) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
  connect(&ResourceQueue::GetInstance(), &ResourceQueue::ready, this, [this](const QString& arrived) {
    if (arrived == path()) update();
  });
}

AlbumThumbUI::AlbumThumbUI(const Album::Ptr& album)
    : ThumbUI([album] { return Page::NativeText(album->CoverPath()); }, QStringLiteral("album")) {}

void ThumbUI::PaintBkImage(QPainter& painter) {
  const QString file = path();
  const QImage image = file.isEmpty() ? QImage() : ResourceQueue::GetInstance().Get(file, size());
  painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
  if (image.isNull()) {
    const int side = std::min(Scaled(18), std::min(width(), height()));
    const QRect place(rect().center() - QPoint(side / 2, side / 2), QSize(side, side));
    return icons::Paint(painter, icon, place, ColorOf(QStringLiteral("text-2")));
  }
  const auto place = GridGeometry::Fit(image.width(), image.height(), width(), height());
  const QRect picture(place.x, place.y, place.width, place.height);
  QPainterPath rounded;
  rounded.addRoundedRect(picture, Scaled(2), Scaled(2));
  painter.setClipPath(rounded);
  painter.drawImage(picture, image);
}
