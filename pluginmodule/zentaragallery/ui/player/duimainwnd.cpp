#include "ui/player/duimainwnd.h"

#include <QAccessible>
#include <QPainter>
#include <QTimer>

#include "common/toolkit/label.h"
#include "common/toolkit/theme.h"
#include "ui/player/playersession.h"
#include "ui/player/vlcplayer.h"
#include "ui/view/pageflags.h"
#include "utils/gallerylog.h"
#include "utils/messages.h"

namespace {

constexpr char kTag[] = "CDuiMainWnd";
constexpr int kErrorStart = 125, kErrorAbove = 60, kErrorCorner = 12, kErrorMost = 560;
// Of the skin, beside the words: insets, icon, button and the gaps between them.
constexpr int kErrorRest = 16 + 20 + 12 + 12 + 28 + 12;
constexpr int kErrorShownMs = 5000;

}  // namespace

// --- CVideoPictureUI

void CVideoPictureUI::SetPicture(QImage image) {
  picture = std::move(image);
  update();
}

QRect CVideoPictureUI::PictureRect() const {
  if (picture.isNull()) return {};
  QRect place(QPoint(), picture.size().scaled(size(), Qt::KeepAspectRatio));
  place.moveCenter(rect().center());
  return place;
}

void CVideoPictureUI::PaintBkImage(QPainter& painter) {
  painter.fillRect(rect(), Qt::black);
  if (picture.isNull()) return;
  const QRect place = PictureRect();
  painter.setRenderHint(QPainter::SmoothPixmapTransform, place.size() != picture.size());
  painter.drawImage(place, picture);
}

// --- CDuiMainWnd

CControlUI* CDuiMainWnd::CreateControl(const QString& element) {
  if (element == QStringLiteral("VideoPicture")) return new CVideoPictureUI;
  return nullptr;
}

void CDuiMainWnd::InitWindow() {
  LogInfo(kTag, "play begin InitWindow");
  playMove = FindControl(QStringLiteral("playMove"));
  picture = Find<CVideoPictureUI>(QStringLiteral("Player"));
  stall = FindControl(QStringLiteral("stall"));
  if (!picture) LogError(kTag, "CDuiMainWnd VLC init fail");
  setFocusPolicy(Qt::NoFocus);
}

void CDuiMainWnd::ShowStall(bool on) {
  if (stall) stall->SetVisible(on);
}

void CDuiMainWnd::Clear() {
  ShowStall(false);
  if (picture) picture->SetPicture({});
}

// What a former film's threads posted is not this one's.
LRESULT CDuiMainWnd::HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) {
  auto& player = VlcPlayer::GetInstance();
  const bool isOfPlayer = uMsg == WM_USER_PLAYING || uMsg == WM_USER_END_REACHED ||
                          uMsg == WM_USER_POSITION || uMsg == WM_USER_END_ERROR ||
                          uMsg == VlcPlayer::kFrameReady || uMsg == VlcPlayer::kWaits ||
                          uMsg == VlcPlayer::kGoesOn;
  if (!isOfPlayer) return WindowImplBaseEx::HandleMessage(uMsg, wParam, lParam, handled);
  handled = true;
  if (!player.HasFilm() || wParam != player.Number()) return 0;
  auto& session = PlayerSession::GetInstance();
  switch (uMsg) {
    case WM_USER_PLAYING:
      LogInfo(kTag, "play begin WM_USER_PLAYING");
      session.OnPlaying();
      break;
    case WM_USER_POSITION:
      session.OnPosition();
      break;
    case WM_USER_END_REACHED:
      LogInfo(kTag, "play begin WM_USER_END_REACHED");
      session.OnEnd();
      break;
    case WM_USER_END_ERROR:
      LogInfo(kTag, "play begin WM_USER_END_ERROR");
      session.OnError();
      break;
    case VlcPlayer::kWaits:
    case VlcPlayer::kGoesOn:
      session.OnWaiting(uMsg == VlcPlayer::kWaits);
      break;
    default:
      if (picture) picture->SetPicture(player.Picture());
      break;
  }
  return 0;
}

bool CDuiMainWnd::OnKey(TEventUI& event) {
  if (event.Type != EventType::KeyDown) return false;
  const HWND full = GlobalData::fullWnd, viewer = GlobalData::viewerWnd;
  return platform::PostMessageW(platform::IsWindow(full) ? full : viewer, platform::WM_KEYDOWN, event.wParam,
                                event.lParam);
}

// --- VLCErrorWnd

void VLCErrorWnd::InitWindow() {
  if (auto* label = FindControl(QStringLiteral("label"))) label->SetText(textKey);
  QTimer::singleShot(kErrorShownMs, this, [this] { Close(); });
}

void VLCErrorWnd::Notify(TNotifyUI& message) {
  WindowImplBaseEx::Notify(message);
  if (message.sType == QStringLiteral("click")) Close();
}

void VLCErrorWnd::PlaceIn(const QRect& place) {
  const int start = Manager().Scale(kErrorStart);
  const int widest =
      std::max(1, std::min(Manager().Scale(kErrorMost), place.width() - start - Manager().Scale(24)));
  // A label that may wrap asks for less than its words on one line.
  auto* const label = Find<CLabelUI>(QStringLiteral("label"));
  const int words = label ? label->fontMetrics().horizontalAdvance(label->GetText()) + Manager().Scale(2) : 0;
  const int wide = std::min(words + Manager().Scale(kErrorRest), widest);
  const int tall = hasHeightForWidth() ? heightForWidth(wide) : sizeHint().height();
  const QRect at(place.left() + start, place.bottom() + 1 - Manager().Scale(kErrorAbove) - tall, wide, tall);
  setGeometry(QStyle::visualRect(layoutDirection(), place, at));
}

void VLCErrorWnd::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(Theme::Instance().Color(QStringLiteral("dim-toast")));
  const int round = Manager().Scale(kErrorCorner);
  painter.drawRoundedRect(rect(), round, round);
}
