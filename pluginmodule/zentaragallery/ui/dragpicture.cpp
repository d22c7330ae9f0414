#include "ui/dragpicture.h"

#include <QPainter>
#include <algorithm>

#include "common/toolkit/resourcequeue.h"
#include "ui/gallerypictureui.h"

namespace {

constexpr int kSide = 100;
constexpr int kLong = 80, kShort = 50;
constexpr std::size_t kMostShown = 999;

void PaintBadge(QPainter& painter, const CGalleryPictureUI& cell, std::size_t count) {
  const QString text = QString::number(std::min(count, kMostShown));
  const int height = cell.Scaled(14);
  const int width = cell.Scaled(14 + 4 * static_cast<int>(text.size()));
  const QRect badge(cell.Scaled(kSide) - width - cell.Scaled(4), cell.Scaled(4), width, height);
  painter.setPen(QPen(Qt::white, 1));
  painter.setBrush(CControlUI::ColorOf(QStringLiteral("badge")));
  painter.drawRoundedRect(badge, height / 2.0, height / 2.0);
  QFont font(QStringLiteral("Times New Roman"));
  font.setStyleHint(QFont::SansSerif);
  font.setPixelSize(cell.Scaled(11));
  font.setBold(true);
  painter.setFont(font);
  painter.drawText(badge, Qt::AlignCenter, text);
}

}  // namespace

QPixmap MakeDragPicture(const CGalleryPictureUI& cell, std::size_t count) {
  const int side = cell.Scaled(kSide);
  QPixmap picture(side, side);
  picture.fill(CControlUI::ColorOf(QStringLiteral("drag")));
  QPainter painter(&picture);
  painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
  painter.setPen(QPen(Qt::white, 2));
  painter.drawRect(1, 1, side - 2, side - 2);
  const QImage image = ResourceQueue::GetInstance().Get(cell.ThumbPath(), cell.size());
  if (!image.isNull()) {
    const bool wide = image.width() > image.height();
    const QSize shown(cell.Scaled(wide ? kLong : kShort), cell.Scaled(wide ? kShort : kLong));
    painter.drawImage(QRect(QPoint((side - shown.width()) / 2, (side - shown.height()) / 2), shown), image);
  }
  if (count > 1) PaintBadge(painter, cell, count);
  return picture;
}
