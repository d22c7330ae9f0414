#pragma once

#include <QFocusFrame>
#include <QPointer>

class QApplication;

// The ring around the control that the keyboard has reached. A control that was
// clicked has none until the keyboard moves on.
//
// The frame itself lives in the window of its control and goes with that; this object
// stays, watches the focus, and makes the next one.
class FocusRing : public QObject {
 public:
  explicit FocusRing(QApplication& application);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QPointer<QFocusFrame> frame;
};
