#include "common/toolkit/icons.h"

#include <QFile>
#include <QGuiApplication>
#include <QHash>
#include <QPainter>
#include <QPixmapCache>
#include <QSet>
#include <QSvgRenderer>
#include <algorithm>

#include "common/toolkit/toolkit.h"

namespace icons {
namespace {

// Pictures of 24 units in "currentColor"; empty for an unknown name.
const QByteArray& Source(const QString& name) {
  static QHash<QString, QByteArray> sources;
  auto found = sources.find(name);
  if (found == sources.end()) {
    QFile file(":/icons/" + name + ".svg");
    found = sources.insert(name, file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray());
  }
  return found.value();
}

bool IsMirrored(const QString& name) {
  static const QSet<QString> mirrored{"chevron-left", "chevron-right", "back", "open", "sign-out"};
  return mirrored.contains(name);
}

QPixmap Render(const QString& name, int size, const QColor& color, double ratio, bool mirror) {
  QByteArray source = Source(name);
  if (source.isEmpty() || size <= 0) return {};
  source.replace("currentColor", color.name(QColor::HexRgb).toLatin1());
  // Thin lines would fade away when a small icon is only made smaller.
  const double designSize = size * 100.0 / toolkit::ScaleOf(nullptr);
  if (designSize < 24) {
    const double width = 1.5 * std::min(24 / designSize, 4.0 / 3);
    source.replace("stroke-width=\"1.5\"", "stroke-width=\"" + QByteArray::number(width, 'f', 2) + "\"");
  }
  const int pixels = qRound(size * ratio);
  QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  painter.setOpacity(color.alphaF());
  QSvgRenderer(source).render(&painter, QRectF(0, 0, pixels, pixels));
  painter.end();
  if (mirror) image = image.mirrored(true, false);
  QPixmap pixmap = QPixmap::fromImage(image);
  pixmap.setDevicePixelRatio(ratio);
  return pixmap;
}

QPixmap Cached(const QString& name, int size, const QColor& color, double ratio, bool mirror) {
  const QString key = QStringLiteral("icon:%1:%2:%3:%4:%5")
                          .arg(name)
                          .arg(size)
                          .arg(color.name(QColor::HexArgb))
                          .arg(ratio)
                          .arg(mirror);
  QPixmap pixmap;
  if (QPixmapCache::find(key, &pixmap)) return pixmap;
  pixmap = Render(name, size, color, ratio, mirror);
  QPixmapCache::insert(key, pixmap);
  return pixmap;
}

}  // namespace

bool Exists(const QString& name) { return !Source(name).isEmpty(); }

QPixmap Pixmap(const QString& name, int size, const QColor& color, double pixelRatio) {
  const bool mirror = QGuiApplication::isRightToLeft() && IsMirrored(name);
  return Cached(name, size, color, pixelRatio, mirror);
}

void Paint(QPainter& painter, const QString& name, const QRect& rect, const QColor& color,
           Qt::LayoutDirection direction) {
  const int size = std::min(rect.width(), rect.height());
  const double ratio = painter.device() ? painter.device()->devicePixelRatioF() : 1;
  const bool mirror = direction == Qt::RightToLeft && IsMirrored(name);
  const QPixmap pixmap = Cached(name, size, color, ratio, mirror);
  painter.drawPixmap(rect.x() + (rect.width() - size) / 2, rect.y() + (rect.height() - size) / 2, pixmap);
}

QIcon Icon(const QString& name, int size, const QColor& color) { return QIcon(Pixmap(name, size, color)); }

}  // namespace icons
