#pragma once

#include <QFocusFrame>

class QApplication;

// The ring around the control that the keyboard has reached. A control that was
// clicked has none until the keyboard moves on.
class FocusRing : public QFocusFrame {
 public:
  explicit FocusRing(QApplication& application);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
};
