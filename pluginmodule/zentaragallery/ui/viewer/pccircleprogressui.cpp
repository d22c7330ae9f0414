#include "ui/viewer/pccircleprogressui.h"

#include <QPainter>

namespace {

constexpr int kSide = 56;
constexpr double kStroke = 4;
constexpr int kDegree = 16;  // QPainter counts sixteenths

}  // namespace

PCCircleProgressUI::PCCircleProgressUI(QWidget* parent) : CProgressUI(parent) {
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
  setAttribute(Qt::WA_TransparentForMouseEvents);
  SetFixedWidth(kSide);
  SetFixedHeight(kSide);
}

QRectF PCCircleProgressUI::Ring() const {
  const double half = ScaledF(kStroke) / 2;
  return QRectF(rect()).adjusted(half, half, -half, -half);
}

void PCCircleProgressUI::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setBrush(Qt::NoBrush);
  painter.setPen(QPen(ColorOf(QStringLiteral("strip")), ScaledF(kStroke)));
  painter.drawEllipse(Ring());
  PaintForeColor(painter);
}

void PCCircleProgressUI::PaintForeColor(QPainter& painter) {
  const int range = GetMaxValue() - GetMinValue();
  if (range <= 0) return;
  QPen pen(ColorOf(QStringLiteral("on-dark")), ScaledF(kStroke));
  pen.setCapStyle(Qt::RoundCap);
  painter.setPen(pen);
  const int span = 360 * kDegree * (GetValue() - GetMinValue()) / range;
  painter.drawArc(Ring(), 90 * kDegree, -span);
}
