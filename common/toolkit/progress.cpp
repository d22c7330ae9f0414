#include "common/toolkit/progress.h"

#include <QPainter>
#include <QStyle>
#include <QTime>
#include <QTimerEvent>

#include "common/toolkit/attributes.h"
#include "common/toolkit/icons.h"
#include "common/toolkit/theme.h"

namespace {

constexpr int kBarHeight = 4;
constexpr int kTurnMs = 900;
constexpr int kFrameMs = 33;
constexpr int kFullCircle = 360 * 16;  // QPainter counts sixteenths of a degree

}  // namespace

CProgressUI::CProgressUI(QWidget* parent) : TControl<QProgressBar>(parent) {
  setTextVisible(false);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  SetFixedHeight(kBarHeight);
}

void CProgressUI::SetAttribute(const QString& name, const QString& value) {
  if (name == "min") {
    setMinimum(value.toInt());
  } else if (name == "max") {
    setMaximum(value.toInt());
  } else if (name == "value") {
    setValue(value.toInt());
  } else if (name == "forecolor") {
    foreColor = value;
    update();
  } else {
    TControl<QProgressBar>::SetAttribute(name, value);
  }
}

QColor CProgressUI::ForeColor() const { return ColorOf(foreColor); }

void CProgressUI::PaintForeColor(QPainter& painter) {
  const double part = maximum() > minimum() ? double(value() - minimum()) / (maximum() - minimum()) : 0;
  QRectF bar = rect();
  const double length = bar.width() * part;
  isRightToLeft() ? bar.setLeft(bar.right() - length) : bar.setWidth(length);
  painter.setBrush(ForeColor());
  painter.drawRoundedRect(bar, bar.height() / 2, bar.height() / 2);
}

void CProgressUI::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(Theme::Instance().Color("progress-track"));
  painter.drawRoundedRect(rect(), height() / 2.0, height() / 2.0);
  PaintForeColor(painter);
}

CRingUI::CRingUI(QWidget* parent) : CWidgetUI(parent) {
  SetFixedWidth(14);
  SetFixedHeight(14);
}

void CRingUI::SetAttribute(const QString& name, const QString& value) {
  if (name == "stroke") {
    stroke = value.toDouble();
  } else if (name == "forecolor") {
    foreColor = value;
  } else {
    CWidgetUI::SetAttribute(name, value);
    if (name == "width") SetFixedHeight(value.toInt());
  }
}

void CRingUI::PaintBkImage(QPainter& painter) {
  if (Theme::Instance().HasReducedMotion()) return icons::Paint(painter, "cloud", rect(), ColorOf(foreColor));
  const double width = ScaledF(stroke);
  const QRectF ring = QRectF(rect()).adjusted(width / 2, width / 2, -width / 2, -width / 2);
  QColor rail = ColorOf(foreColor);
  rail.setAlphaF(0.2f);
  painter.setPen(QPen(rail, width));
  painter.drawEllipse(ring);
  const int start = -kFullCircle * (QTime::currentTime().msecsSinceStartOfDay() % kTurnMs) / kTurnMs;
  painter.setPen(QPen(ColorOf(foreColor), width, Qt::SolidLine, Qt::RoundCap));
  painter.drawArc(ring, start + kFullCircle / 4, -kFullCircle / 4);
}

void CRingUI::showEvent(QShowEvent*) {
  if (!Theme::Instance().HasReducedMotion()) turn.start(kFrameMs, this);
}

void CRingUI::hideEvent(QHideEvent*) { turn.stop(); }

void CRingUI::timerEvent(QTimerEvent*) { update(); }
