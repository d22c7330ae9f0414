#include "common/toolkit/paintmanager.h"

#include <QTimerEvent>

#include "common/toolkit/toolkit.h"
#include "common/toolkit/windowimplbase.h"

CPaintManagerUI::CPaintManagerUI(QWidget& paintWindow)
    : window(paintWindow), dpiValue(toolkit::ScreenDpi(nullptr)) {}

CPaintManagerUI::~CPaintManagerUI() = default;

CControlUI* CPaintManagerUI::FindControl(const QString& name) const {
  if (!root || name.isEmpty()) return nullptr;
  if (root->GetName() == name) return root;
  for (QWidget* found : root->Widget()->findChildren<QWidget*>(name)) {
    CControlUI* control = CControlUI::Of(found);
    if (control && control->GetManager() == this) return control;
  }
  return nullptr;
}

CControlUI* CPaintManagerUI::FindControl(QPoint point) const {
  return CControlUI::Around(window.childAt(point));
}

void CPaintManagerUI::SendNotify(TNotifyUI& message) {
  const QPointer<QWidget> alive(&window);
  if (const auto owner = dynamic_cast<INotifyUI*>(&window)) owner->Notify(message);
  if (!alive) return;
  for (INotifyUI* notifier : QList(notifiers)) {
    if (!alive) return;
    if (notifiers.contains(notifier)) notifier->Notify(message);
  }
}

void CPaintManagerUI::SendNotify(CControlUI* sender, const QString& type, WPARAM wParam, LPARAM lParam,
                                 const QString& detail) {
  TNotifyUI message{.sType = type,
                    .pSender = sender,
                    .wParam = wParam,
                    .lParam = lParam,
                    .ptMouse = QCursor::pos(),
                    .sDetail = detail};
  SendNotify(message);
}

void CPaintManagerUI::AddNotifier(INotifyUI* notifier) {
  if (notifier && !notifiers.contains(notifier)) notifiers.append(notifier);
}

void CPaintManagerUI::RemoveNotifier(INotifyUI* notifier) { notifiers.removeOne(notifier); }

void CPaintManagerUI::AddPreMessageFilter(IMessageFilterUI* filter) {
  if (filter && !filters.contains(filter)) filters.append(filter);
}

void CPaintManagerUI::RemovePreMessageFilter(IMessageFilterUI* filter) { filters.removeOne(filter); }

LRESULT CPaintManagerUI::FilterMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) {
  const QPointer<QWidget> alive(&window);
  for (IMessageFilterUI* filter : QList(filters)) {
    if (!filters.contains(filter)) continue;
    const LRESULT result = filter->MessageHandler(uMsg, wParam, lParam, handled);
    handled |= !alive;
    if (handled) return result;
  }
  return 0;
}

void CPaintManagerUI::SetTimer(CControlUI* control, std::uintptr_t id, int milliseconds) {
  if (!control) return;
  KillTimer(control, id);
  timers.insert(startTimer(milliseconds), {control->Widget(), id});
}

void CPaintManagerUI::KillTimer(CControlUI* control, std::uintptr_t id) {
  timers.removeIf([&](const QHash<int, Timer>::iterator timer) {
    const bool meant = control && timer->widget == control->Widget() && timer->id == id;
    if (meant) killTimer(timer.key());
    return meant;
  });
}

void CPaintManagerUI::KillTimers(CControlUI* control) {
  timers.removeIf([&](const QHash<int, Timer>::iterator timer) {
    const bool meant = control && timer->widget == control->Widget();
    if (meant) killTimer(timer.key());
    return meant;
  });
}

void CPaintManagerUI::timerEvent(QTimerEvent* event) {
  const Timer timer = timers.value(event->timerId());
  CControlUI* control = CControlUI::Of(timer.widget);
  if (!control) {
    killTimer(event->timerId());
    timers.remove(event->timerId());
    return;
  }
  TEventUI told{.Type = EventType::Timer, .pSender = control, .wParam = timer.id};
  control->DoEvent(told);
  if (!told.handled && timer.widget) SendNotify(control, "timer", timer.id);
}

void CPaintManagerUI::SetDPI(int dpi) {
  if (dpi <= 0 || dpi == dpiValue) return;
  dpiValue = dpi;
  Restyle();
}

int CPaintManagerUI::Scale(int pixels) const { return toolkit::Scaled(pixels, GetScale()); }

int CPaintManagerUI::RestoreScale(int pixels) const { return qRound(pixels * 100.0 / GetScale()); }

QRect CPaintManagerUI::ScaleRect(const QRect& rect) const {
  return {QPoint(Scale(rect.x()), Scale(rect.y())), ScaleSize(rect.size())};
}

QRect CPaintManagerUI::RestoreScaleRect(const QRect& rect) const {
  return {RestoreScale(rect.x()), RestoreScale(rect.y()), RestoreScale(rect.width()),
          RestoreScale(rect.height())};
}

void CPaintManagerUI::Restyle() {
  if (!root) return;
  root->Restyle();
  for (QWidget* widget : root->Widget()->findChildren<QWidget*>()) {
    CControlUI* control = CControlUI::Of(widget);
    if (control && control->GetManager() == this) control->Restyle();
  }
  Invalidate();
}
