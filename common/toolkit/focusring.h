#pragma once

#include <QFocusFrame>
#include <QObject>
#include <QPointer>

class QApplication;

// Keeps a ring around the control that the keyboard has reached. A control that
// was clicked has none until the keyboard moves on.
//
// Not a QFocusFrame itself: that one takes every event it is shown for one of
// its own widget, and this one sees all events of the application.
class FocusRing : public QObject {
 public:
  explicit FocusRing(QApplication& application);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void Show(QWidget* widget);

  // Lives in the window of its widget and goes with it.
  QPointer<QFocusFrame> ring;
};
