#pragma once

#include <QBasicTimer>
#include <QProgressBar>

#include "common/toolkit/tcontrol.h"

// A bar. Attributes: min, max, value, forecolor (a colour for the done part).
class CProgressUI : public TControl<QProgressBar> {
 public:
  explicit CProgressUI(QWidget* parent = nullptr);

  QString GetClass() const override { return QStringLiteral("ProgressUI"); }
  void SetAttribute(const QString& name, const QString& value) override;
  int GetValue() const { return value(); }
  void SetValue(int value) { setValue(value); }
  int GetMinValue() const { return minimum(); }
  int GetMaxValue() const { return maximum(); }
  QColor ForeColor() const;
  // Paints the done part, for a progress that is no bar.
  virtual void PaintForeColor(QPainter& painter);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QString foreColor = QStringLiteral("accent");
};

// A ring that turns while something runs, and stands still with reduced
// motion. Turns only while it is shown. Element "Ring". Attributes: width,
// stroke, forecolor.
class CRingUI : public CWidgetUI {
 public:
  explicit CRingUI(QWidget* parent = nullptr);
  QString GetClass() const override { return QStringLiteral("RingUI"); }
  void SetAttribute(const QString& name, const QString& value) override;
  void PaintBkImage(QPainter& painter) override;

 protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;
  void timerEvent(QTimerEvent* event) override;

 private:
  QBasicTimer turn;
  QString foreColor = QStringLiteral("accent");
  double stroke = 2;
};
