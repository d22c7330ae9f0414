#include "common/toolkit/focusring.h"

#include <QApplication>
#include <QFocusEvent>
#include <QWidget>

FocusRing::FocusRing(QApplication& application) : QObject(&application) {
  application.installEventFilter(this);
}

bool FocusRing::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() != QEvent::FocusIn || !watched->isWidgetType()) return false;
  const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
  // A window that comes to the front again keeps the ring that it had.
  if (reason == Qt::ActiveWindowFocusReason || reason == Qt::PopupFocusReason) return false;
  const bool byKey =
      reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason;
  const bool wanted = byKey && !watched->property("ownring").toBool();
  if (wanted && !frame) frame = new QFocusFrame;
  if (frame) frame->setWidget(wanted ? static_cast<QWidget*>(watched) : nullptr);
  return false;
}
