#include "common/toolkit/focusring.h"

#include <QApplication>
#include <QFocusEvent>
#include <QWidget>

FocusRing::FocusRing(QApplication& application) {
  application.installEventFilter(this);
  connect(&application, &QObject::destroyed, this, &QObject::deleteLater);
}

bool FocusRing::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::FocusIn && watched->isWidgetType()) {
    const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
    const bool byKey =
        reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason;
    // A window that comes to the front again keeps the ring that it had.
    if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason) {
      const bool wanted = byKey && !watched->property("ownring").toBool();
      setWidget(wanted ? static_cast<QWidget*>(watched) : nullptr);
    }
  }
  return QFocusFrame::eventFilter(watched, event);
}
