#pragma once

#include <QEvent>
#include <QPointer>
#include <utility>

#include "common/toolkit/control.h"

// Makes a control out of a Qt widget: `class CButtonUI : public
// TControl<QPushButton>`. Events go to DoEvent first, then to the widget.
template <class Q>
class TControl : public Q, public CControlUI {
 public:
  template <class... Arguments>
  explicit TControl(Arguments&&... arguments) : Q(std::forward<Arguments>(arguments)...) {
    this->setMouseTracking(true);
  }

  QWidget* Widget() override { return this; }

  // Both bases have such names; the control's are the ones meant.
  using CControlUI::Widget;

  bool event(QEvent* event) override {
    // What it brings about may be the end of the window: a question that is asked in it
    // can outlive who asks.
    const QPointer<QWidget> alive(this);
    if (Translate(*event) || !alive) return true;
    // Not to be asked afterwards: a deferred delete leaves nobody to ask.
    const bool resized = event->type() == QEvent::Resize;
    const bool done = Q::event(event);
    if (resized && alive) AfterResize();
    return done;
  }
};

// A control that paints itself: override PaintBkImage. Takes the room that is
// left. Element "Control".
class CWidgetUI : public TControl<QWidget> {
 public:
  explicit CWidgetUI(QWidget* parent = nullptr) : TControl<QWidget>(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
  }
};
