#pragma once

#include <QSlider>

#include "common/toolkit/tcontrol.h"

// Sends "valuechanged" for every change, also for one that the program made;
// wParam is the value.
//
// A textcolor is that of the rail, for a ground that is not the theme's.
//
// Attributes: min, max, value, step, pagestep, hor, stops ("true": a dot at
// each step; the values of a click and a drag lie on them), sendmove ("false":
// a drag is told at its end only).
class CSliderUI : public TControl<QSlider> {
 public:
  explicit CSliderUI(QWidget* parent = nullptr);

  QString GetClass() const override { return QStringLiteral("SliderUI"); }
  void SetAttribute(const QString& name, const QString& value) override;

  int GetValue() const { return value(); }
  void SetValue(int value) { setValue(value); }
  void SetMinValue(int value) { setMinimum(value); }
  void SetMaxValue(int value) { setMaximum(value); }
  int GetMinValue() const { return minimum(); }
  int GetMaxValue() const { return maximum(); }
  bool HasStops() const { return stops; }
  QRect KnobRect() const;
  // The words that assistive technology says for the value; without a function
  // it says the number. Made anew at every change.
  void SetValueText(std::function<QString(int)> words) { valueText = std::move(words); }

 protected:
  // A click on the line goes there at once, and not a page further.
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;

 private:
  int ValueAt(QPoint point) const;

  std::function<QString(int)> valueText;
  bool stops = false;
};
