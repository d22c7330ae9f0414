#include "common/toolkit/slider.h"

#include <QAccessible>
#include <QMouseEvent>
#include <QStyle>
#include <QStyleOptionSlider>

#include "common/toolkit/attributes.h"

using namespace toolkit;

CSliderUI::CSliderUI(QWidget* parent) : TControl<QSlider>(Qt::Horizontal, parent) {
  setProperty("radius", 999);
  connect(this, &QSlider::valueChanged, this, [this](int value) {
    if (valueText) setAccessibleDescription(valueText(value));
    Notify("valuechanged", static_cast<WPARAM>(value));
  });
}

void CSliderUI::SetAttribute(const QString& name, const QString& value) {
  if (name == "min") {
    setMinimum(value.toInt());
  } else if (name == "max") {
    setMaximum(value.toInt());
  } else if (name == "value") {
    setValue(value.toInt());
  } else if (name == "step") {
    setSingleStep(value.toInt());
  } else if (name == "pagestep") {
    setPageStep(value.toInt());
  } else if (name == "hor") {
    setOrientation(ToBool(value) ? Qt::Horizontal : Qt::Vertical);
  } else if (name == "stops") {
    stops = ToBool(value);
    update();
  } else if (name == "sendmove") {
    setTracking(ToBool(value));
  } else {
    TControl<QSlider>::SetAttribute(name, value);
  }
}

QRect CSliderUI::KnobRect() const {
  QStyleOptionSlider option;
  initStyleOption(&option);
  return style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle, this);
}

int CSliderUI::ValueAt(QPoint point) const {
  QStyleOptionSlider option;
  initStyleOption(&option);
  const QRect knob = KnobRect();
  const bool across = orientation() == Qt::Horizontal;
  const int space = across ? width() - knob.width() : height() - knob.height();
  const int at = across ? point.x() - knob.width() / 2 : point.y() - knob.height() / 2;
  return QStyle::sliderValueFromPosition(minimum(), maximum(), at, space, option.upsideDown);
}

void CSliderUI::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return event->ignore();
  setSliderDown(true);
  setSliderPosition(ValueAt(event->position().toPoint()));
  update();
}

void CSliderUI::mouseMoveEvent(QMouseEvent* event) {
  if (isSliderDown()) setSliderPosition(ValueAt(event->position().toPoint()));
}

void CSliderUI::mouseReleaseEvent(QMouseEvent* event) {
  if (event->button() == Qt::LeftButton) setSliderDown(false);
  update();
}
