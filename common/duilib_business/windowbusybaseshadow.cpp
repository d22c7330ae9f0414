#include "common/duilib_business/windowbusybaseshadow.h"

#include <QLayout>
#include <QMouseEvent>
#include <QPainter>
#include <cstdio>

#include "common/toolkit/theme.h"

void WindowBusyBaseShadow::InitWindow() {
  WindowBusyBase::InitWindow();
  ShadowCreate();
}

void WindowBusyBaseShadow::ShadowCreate() {
  char text[64];
  std::snprintf(text, sizeof text, "WindowBusyBaseShadow::ShadowCreate shadow[0x%zx]",
                reinterpret_cast<std::size_t>(this));
  Log(text);
}

void WindowBusyBaseShadow::Sub_OnDPIChanged() {
  Log("WindowBusyBaseShadow::Sub_OnDPIChanged adjust position");
  FitContents();
}

// Words that wrap make a window high that is a part of another; Qt asks for that only
// where a window stands by itself.
void WindowBusyBaseShadow::FitContents() {
  adjustSize();
  if (layout() && layout()->hasHeightForWidth()) resize(width(), layout()->totalHeightForWidth(width()));
  CenterWindow();
}

int WindowBusyBaseShadow::RunOver(QWidget& owner) {
  QWidget* over = owner.window();
  UIBackGroundMessWnd dim;
  (void)dim.Create(over, QStringLiteral("UIChildMessWnd"), WindowStyle::Child, over->rect());
  dim.show();
  dim.raise();
  if (!Create(over, QString::fromLatin1(GetWindowClassName()), WindowStyle::Dialog)) return IDCANCEL;
  FitContents();  // Its rows came after the skin.
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
