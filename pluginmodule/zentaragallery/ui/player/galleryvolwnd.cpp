#include "ui/player/galleryvolwnd.h"

#include <QApplication>
#include <QPainter>

#include "common/toolkit/button.h"
#include "common/toolkit/motion.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/slider.h"
#include "common/toolkit/theme.h"
#include "ui/pagecontext.h"
#include "ui/player/playcontrolui.h"
#include "ui/player/vlcplayer.h"

namespace {

constexpr int kWidth = 44, kHeight = 162, kCorner = 12;

}  // namespace

GalleryVolWnd::GalleryVolWnd(CPlayControlUI& opener, QWidget& pressed)
    : bar(&opener), button(&pressed), focusBefore(QApplication::focusWidget()) {
  setAttribute(Qt::WA_DeleteOnClose);
}

void GalleryVolWnd::Open(CPlayControlUI& bar, QWidget& button) {
  auto* volume = new GalleryVolWnd(bar, button);
  if (!volume->Create(bar.Widget(), QStringLiteral("GalleryVolWnd"), WindowStyle::Popup, {0, 0, 10, 10})) {
    delete volume;
    return;
  }
  const int wide = bar.Scaled(kWidth), tall = bar.Scaled(kHeight);
  QWidget* const window = bar.window();
  const QPoint top = button.mapTo(window, QPoint(button.width() / 2, 0));
  const int left = std::clamp(top.x() - wide / 2, 0, std::max(0, window->width() - wide));
  volume->setGeometry(left, top.y() - tall, wide, tall);
  volume->ShowWindow();
  toolkit::motion::Appear(*volume, toolkit::motion::kPaneMs,
                          {.offset = {0, bar.Scaled(toolkit::motion::kPaneWay)}});
  bar.ShowVolumeOpen(volume);
  if (volume->slider) volume->slider->setFocus(Qt::PopupFocusReason);
}

void GalleryVolWnd::InitWindow() {
  slider = Find<CSliderUI>(QStringLiteral("recording_slider"));
  if (slider) {
    slider->SetValueText([](int value) {
      return Page::Fill(CResourceManager::GetText(QStringLiteral("IDS_ACCESSIBLE_VOLUME")),
                        {CResourceManager::FormatPercent(value)});
    });
    ShowVolume();
  }
  ShowSound();
  qApp->installEventFilter(this);
}

void GalleryVolWnd::Notify(TNotifyUI& message) {
  WindowImplBaseEx::Notify(message);
  auto& player = VlcPlayer::GetInstance();
  if (message.sType == QStringLiteral("valuechanged") && slider && message.pSender == slider) {
    player.SetVolume(slider->GetValue());
  } else if (message.sType == QStringLiteral("click") && message.pSender &&
             message.pSender->GetName() == QStringLiteral("btnVol")) {
    player.SetSoundOn(!player.IsSoundOn());
    ShowVolume();
  } else {
    return;
  }
  ShowSound();
}

// The stored one, which is also what the sound comes back with.
void GalleryVolWnd::ShowVolume() {
  if (!slider) return;
  const QSignalBlocker quiet(slider);
  slider->SetValue(VlcPlayer::GetInstance().Volume());
  slider->update();
}

void GalleryVolWnd::ShowSound() {
  const bool on = VlcPlayer::GetInstance().IsSoundOn();
  if (auto* button = Find<CButtonUI>(QStringLiteral("btnVol"))) {
    button->SetIcon(on ? QStringLiteral("volume") : QStringLiteral("mute"));
    button->SetToolTip(on ? QStringLiteral("IDS_PLAYER_MUTE") : QStringLiteral("IDS_PLAYER_SOUND_ON"));
  }
  if (bar) bar->ShowSound();
}

// Or the focus would go to whatever comes next in the window, and Escape with it.
void GalleryVolWnd::closeEvent(QCloseEvent* event) {
  if (bar) bar->ShowVolumeOpen(nullptr);
  const QWidget* focus = QApplication::focusWidget();
  if (focusBefore && focus && (focus == this || isAncestorOf(focus)))
    focusBefore->setFocus(Qt::PopupFocusReason);
  WindowImplBaseEx::closeEvent(event);
}

bool GalleryVolWnd::eventFilter(QObject* watched, QEvent* event) {
  const auto* widget = qobject_cast<QWidget*>(watched);
  // Its button closes it by itself: a press gives it the focus before.
  if (event->type() == QEvent::FocusIn && widget && widget != this && widget != button &&
      !isAncestorOf(widget)) {
    QMetaObject::invokeMethod(
        this, [this] { Close(); }, Qt::QueuedConnection);
  }
  return WindowImplBaseEx::eventFilter(watched, event);
}

void GalleryVolWnd::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Theme::Instance().Color(QStringLiteral("edge")));
  painter.setBrush(Theme::Instance().Color(QStringLiteral("raised")));
  const int round = Manager().Scale(kCorner);
  painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), round, round);
}
