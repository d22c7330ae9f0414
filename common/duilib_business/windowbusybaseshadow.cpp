#include "common/duilib_business/windowbusybaseshadow.h"

#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>
#include <cstdio>

#include "common/toolkit/motion.h"
#include "common/toolkit/theme.h"

namespace motion = toolkit::motion;

namespace {

QList<HWND>& Open() {
  static QList<HWND> layers;
  return layers;
}

}  // namespace

void WindowBusyBaseShadow::InitWindow() {
  WindowBusyBase::InitWindow();
  ShadowCreate();
}

void WindowBusyBaseShadow::ShadowCreate() {
  if (!Shadow()) return;
  Shadow()->setObjectName(QStringLiteral("PrintShadowingWnd"));
  char text[64];
  std::snprintf(text, sizeof text, "WindowBusyBaseShadow::ShadowCreate shadow[0x%zx]",
                reinterpret_cast<std::size_t>(Shadow()));
  Log(text);
}

void WindowBusyBaseShadow::Sub_OnDPIChanged() {
  Log("WindowBusyBaseShadow::Sub_OnDPIChanged adjust position");
  FitContents();
}

// Words that wrap are as high as their width makes them, which the layouts between them
// and the window do not all pass on: what they lack is given to the window.
void WindowBusyBaseShadow::FitContents() {
  adjustSize();
  int lacking = 0;
  for (auto* label : findChildren<QLabel*>()) {
    if (!label->wordWrap() || label->isHidden()) continue;
    const int needed = label->heightForWidth(label->width());
    if (needed <= label->height()) continue;
    label->setMinimumHeight(needed);
    lacking += needed - label->height();
  }
  if (lacking > 0) resize(width(), height() + lacking);
  CenterWindow();
}

int WindowBusyBaseShadow::RunOver(QWidget& owner) {
  QWidget* over = owner.window();
  const Asked<UIBackGroundMessWnd> dim;
  (void)dim->Create(over, QStringLiteral("UIChildMessWnd"), WindowStyle::Child, over->rect());
  dim->show();
  dim->raise();
  CloseWith(owner);
  if (!Create(over, QString::fromLatin1(GetWindowClassName()), WindowStyle::Dialog)) return IDCANCEL;
  over->installEventFilter(this);
  FitContents();  // Its rows came after the skin.
  // Widths are known once it is shown.
  QTimer::singleShot(0, this, [this] { FitContents(); });
  motion::Appear(*dim.operator->(), motion::kDialogMs);
  motion::Appear(*this, motion::kDialogMs, {.scale = motion::kDialogFrom});
  if (Shadow()) motion::Appear(*Shadow(), motion::kDialogMs);
  const HWND layer = dim->GetHWND();
  const int result = ShowModal();
  platform::SendMessageW(layer, UIBackGroundMessWnd::kDialogClosed, 0, 0);
  return result;
}

// The window may be resized while a question is open.
bool WindowBusyBaseShadow::eventFilter(QObject* watched, QEvent* event) {
  if (watched == parentWidget() && event->type() == QEvent::Resize) CenterWindow();
  return WindowBusyBase::eventFilter(watched, event);
}

void WindowBusyBaseShadow::hideEvent(QHideEvent* event) {
  WindowBusyBase::hideEvent(event);
  motion::Vanish(*this, motion::kDialogOutMs);
}

// --- The dim layer

HWND UIBackGroundMessWnd::Top() { return Open().isEmpty() ? nullptr : Open().last(); }

void UIBackGroundMessWnd::InitWindow() {
  WindowBusyBase::InitWindow();
  Open().append(handle = GetHWND());
  if (parentWidget()) parentWidget()->installEventFilter(this);
}

void UIBackGroundMessWnd::OnFinalMessage() {
  Open().removeAll(handle);
  WindowBusyBase::OnFinalMessage();
}

bool UIBackGroundMessWnd::eventFilter(QObject* watched, QEvent* event) {
  if (watched == parentWidget() && event->type() == QEvent::Resize)
    platform::SendMessageW(GetHWND(), kResized, 0, 0);
  return WindowBusyBase::eventFilter(watched, event);
}

LRESULT UIBackGroundMessWnd::HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) {
  if (uMsg == kDialogClosed) {
    handled = true;
    Close();
    return 0;
  }
  if (uMsg == kResized && parentWidget()) {
    handled = true;
    setGeometry(parentWidget()->rect());
    return 0;
  }
  return WindowBusyBase::HandleMessage(uMsg, wParam, lParam, handled);
}

void UIBackGroundMessWnd::hideEvent(QHideEvent* event) {
  WindowBusyBase::hideEvent(event);
  motion::Vanish(*this, motion::kDialogOutMs);
}

void UIBackGroundMessWnd::paintEvent(QPaintEvent*) {
  QPainter(this).fillRect(rect(), Theme::Instance().Color(QStringLiteral("dim")));
}
