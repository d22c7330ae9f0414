#include "ui/viewer/fullscreenrespondui.h"

#include <QApplication>
#include <QMouseEvent>
#include <QTimerEvent>

#include "ui/pagecontext.h"
#include "ui/player/player.h"
#include "ui/view/pageflags.h"
#include "ui/viewer/viewerlist.h"
#include "utils/gallerylog.h"
#include "utils/messages.h"

FullScreenRespondUI::FullScreenRespondUI() { setAttribute(Qt::WA_DeleteOnClose); }

void FullScreenRespondUI::InitWindow() {
  PictureWindow::InitWindow();
  GlobalData::fullWnd = GetHWND();
  // A movement is one wherever in the window it happens.
  qApp->installEventFilter(this);
  parentWidget()->installEventFilter(this);
  ShowBars();
}

void FullScreenRespondUI::OnFinalMessage() {
  qApp->removeEventFilter(this);
  PictureWindow::OnFinalMessage();
  GlobalData::fullWnd = nullptr;
}

void FullScreenRespondUI::Leave() {
  const File file = Shown();
  const WPARAM degrees = static_cast<WPARAM>(Lcd()->Rotation());
  Close();
  (void)platform::SendMessageW(GlobalData::viewerWnd, WM_GALLERY_FULL_SYNC, degrees,
                               reinterpret_cast<LPARAM>(&file));
  if (VideoPlayer::HasPlayer())
    (void)platform::SendMessageW(GlobalData::viewerWnd, WM_GALLERY_BAR_BACK, 0, 0);
}

void FullScreenRespondUI::ShowFavorite(bool on) {
  ShowButton(QStringLiteral("FavoriteBtn"), !on);
  ShowButton(QStringLiteral("FavoriteBtn1"), on);
}

void FullScreenRespondUI::ShowAttributesOn(bool on) {
  ShowButton(QStringLiteral("AttributeBtn"), !on);
  ShowButton(QStringLiteral("AttributeBtn1"), on);
  ShowBars();
}

void FullScreenRespondUI::OnEmptied() {
  Close();
  (void)platform::SendMessageW(GlobalData::viewerWnd, WM_GALLERY_RELOAD_VIEW, 0, 0);
}

void FullScreenRespondUI::OnBurstGone() {
  LogInfo("FullScreenRespondUI", "Cloud Delete burst mode, close fullwnd");
  Close();
  (void)platform::SendMessageW(GlobalData::viewerWnd, WM_GALLERY_RELOAD_VIEW, 0, 0);
}

// --- Bars

// While the user is at them by other means than the pointer's way.
bool FullScreenRespondUI::KeepsBars() const {
  if (Attributes() || QApplication::activePopupWidget() || QApplication::mouseButtons() != Qt::NoButton)
    return true;
  const QWidget* focus = QApplication::focusWidget();
  return focus && focus != this && focus != Lcd() && isAncestorOf(focus);
}

void FullScreenRespondUI::ShowBars() {
  clock.start(kBarsMs, this);
  if (std::exchange(barsShown, true)) return;
  if (auto* bar = FindControl(QStringLiteral("ConHeight"))) bar->SetVisible(true);
  ShowArrows();
  if (VideoPlayer::HasPlayer()) ShowBottomBar(true);
  unsetCursor();
  if (Lcd()) Lcd()->FollowCursor();
}

void FullScreenRespondUI::HideBars() {
  clock.stop();
  if (KeepsBars()) return;
  barsShown = false;
  if (auto* bar = FindControl(QStringLiteral("ConHeight"))) bar->SetVisible(false);
  ShowArrows();
  ShowBottomBar(false);
  setCursor(Qt::BlankCursor);
  if (Lcd()) Lcd()->setCursor(Qt::BlankCursor);
}

void FullScreenRespondUI::timerEvent(QTimerEvent* event) {
  if (event->timerId() != clock.timerId()) return PictureWindow::timerEvent(event);
  HideBars();
}

bool FullScreenRespondUI::eventFilter(QObject* watched, QEvent* event) {
  const auto* widget = qobject_cast<QWidget*>(watched);
  if (widget && widget == parentWidget() && event->type() == QEvent::Resize) setGeometry(widget->rect());
  const bool input = event->type() == QEvent::MouseMove || event->type() == QEvent::MouseButtonPress ||
                     event->type() == QEvent::KeyPress;
  if (input && widget && (widget == this || isAncestorOf(widget))) {
    const bool isMouse = event->type() != QEvent::KeyPress;
    const QPoint at = isMouse ? static_cast<QMouseEvent*>(event)->globalPosition().toPoint() : pointerAt;
    // A move without a way comes when what lies under the pointer changes. Keys that
    // walk on leave the picture alone.
    const bool tabs = !isMouse && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Tab;
    if ((isMouse && at != pointerAt) || tabs) {
      pointerAt = at;
      ShowBars();
    }
  }
  return PictureWindow::eventFilter(watched, event);
}

LRESULT FullScreenRespondUI::HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) {
  handled = true;
  switch (uMsg) {
    case WM_GALLERY_VIEWER_CLOSE:
    case WM_GALLERY_FULL_CLOSE:
    case WM_GALLERY_FULL_LEAVE:
      Leave();
      return 0;
    case WM_GALLERY_PLAYER_TO_FULL:
      ShowBars();
      ShowBottomBar(true);
      VideoPlayer::SetPlayState(PlayBar());
      VLCWndOnSize();
      return 0;
    case WM_GALLERY_FULL_RESIZE:
      if (parentWidget()) setGeometry(parentWidget()->rect());
      VLCWndOnSize();
      return 0;
    case WM_GALLERY_FULL_FOLLOW:
      VideoPlayer::StopVideo();
      ShowBottomBar(false);
      FollowWinChange(true);
      return 0;
    default:
      return PictureWindow::HandleMessage(uMsg, wParam, lParam, handled);
  }
}
