#pragma once

#include "common/toolkit/progress.h"

// A progress as a ring, filled from the top. Element "CircleProgress".
class PCCircleProgressUI : public CProgressUI {
 public:
  explicit PCCircleProgressUI(QWidget* parent = nullptr);
  QString GetClass() const override { return QStringLiteral("PCCircleProgressUI"); }
  void PaintForeColor(QPainter& painter) override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QRectF Ring() const;
};
