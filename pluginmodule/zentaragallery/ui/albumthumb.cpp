#include "ui/albumthumb.h"

#include <QPainter>

#include "common/toolkit/icons.h"
#include "common/toolkit/resourcequeue.h"
#include "ui/fittedpicture.h"
#include "ui/pagecontext.h"

ThumbUI::ThumbUI(std::function<QString()> pathNow, QString placeholderIcon)
    : path(std::move(pathNow)), icon(std::move(placeholderIcon)) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
  connect(&ResourceQueue::GetInstance(), &ResourceQueue::ready, this, [this](const QString& arrived) {
    if (arrived == path()) update();
  });
}

AlbumThumbUI::AlbumThumbUI(const Album::Ptr& album)
    : ThumbUI([album] { return Page::NativeText(album->CoverPath()); }, Page::AlbumIcon(*album)) {}

void ThumbUI::PaintBkImage(QPainter& painter) {
  const QString file = path();
  const QImage image = file.isEmpty() ? QImage() : ResourceQueue::GetInstance().Get(file, size());
  painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
  if (image.isNull()) {
    const int side = std::min(Scaled(18), std::min(width(), height()));
    const QRect place(rect().center() - QPoint(side / 2, side / 2), QSize(side, side));
    return icons::Paint(painter, icon, place, ColorOf(QStringLiteral("text-2")));
  }
  PaintFittedPicture(painter, image, rect(), Scaled(2));
}
