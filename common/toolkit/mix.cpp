#include "common/toolkit/mix.h"

#include <QPainter>

namespace toolkit {

QColor Mixed(const QColor& base, const QColor& over, double part) {
  const auto mix = [part](float a, float b) { return static_cast<float>(a + (b - a) * part); };
  return QColor::fromRgbF(mix(base.redF(), over.redF()), mix(base.greenF(), over.greenF()),
                          mix(base.blueF(), over.blueF()));
}

void PaintEdge(QPainter& painter, const QRect& rect, double radius, double width, const QColor& color) {
  const double half = width / 2;
  painter.setPen(QPen(color, width));
  painter.setBrush(Qt::NoBrush);
  painter.drawRoundedRect(QRectF(rect).adjusted(half, half, -half, -half), radius - half, radius - half);
}

}  // namespace toolkit
