#include "common/duilib_business/windowbusybaseshadow.h"

#include <QMouseEvent>
#include <QPainter>

#include "common/toolkit/theme.h"
#include "common/toolkit/toolkit.h"

namespace {

constexpr int kCorner = 16;

}  // namespace

void WindowBusyBaseShadow::InitWindow() {
  WindowBusyBase::InitWindow();
  ShadowCreate();
}

void WindowBusyBaseShadow::ShadowCreate() {
  const int margin = toolkit::ShadowMargin(3, Manager().GetScale());
  setContentsMargins(margin, margin, margin, margin);
  char text[64];
  std::snprintf(text, sizeof text, "WindowBusyBaseShadow::ShadowCreate shadow[0x%zx]",
                reinterpret_cast<std::size_t>(this));
  Log(text);
}

void WindowBusyBaseShadow::Sub_OnDPIChanged() {
  Log("WindowBusyBaseShadow::Sub_OnDPIChanged adjust position");
  const int margin = toolkit::ShadowMargin(3, Manager().GetScale());
  setContentsMargins(margin, margin, margin, margin);
}

void WindowBusyBaseShadow::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const int scale = Manager().GetScale(), round = toolkit::Scaled(kCorner, scale);
  const QRect body = contentsRect();
  toolkit::PaintShadow(painter, body, round, 3, scale);
  painter.setPen(Qt::NoPen);
  painter.setBrush(Theme::Instance().Color(QStringLiteral("raised")));
  painter.drawRoundedRect(body, round, round);
}

int WindowBusyBaseShadow::RunOver(QWidget& owner) {
  QWidget* over = owner.window();
  UIBackGroundMessWnd dim;
  (void)dim.Create(over, QStringLiteral("UIChildMessWnd"), WindowStyle::Child, over->rect());
  dim.show();
  dim.raise();
  if (!Create(over, QString::fromLatin1(GetWindowClassName()), WindowStyle::Dialog)) return IDCANCEL;
  adjustSize();  // The margin of the shadow came after the skin.
  CenterWindow();
  const int result = ShowModal();
  platform::SendMessageW(dim.GetHWND(), UIBackGroundMessWnd::kDialogClosed, 0, 0);
  return result;
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

void UIBackGroundMessWnd::paintEvent(QPaintEvent*) {
  QPainter(this).fillRect(rect(), Theme::Instance().Color(QStringLiteral("dim")));
}
