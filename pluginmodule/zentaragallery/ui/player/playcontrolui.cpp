#include "ui/player/playcontrolui.h"

#include <QSignalBlocker>
#include <QStyle>
#include <array>

#include "common/toolkit/dialogbuilder.h"
#include "common/toolkit/menu.h"
#include "common/toolkit/paintmanager.h"
#include "common/toolkit/resourcemanager.h"
#include "ui/pagecontext.h"
#include "ui/player/galleryvolwnd.h"
#include "ui/player/playersession.h"
#include "ui/player/vlcplayer.h"
#include "ui/view/pageflags.h"
#include "utils/messages.h"

namespace {

constexpr int kHeight = 56;
constexpr int kMenuAboveBar = 5;
constexpr int kKeyStepMs = 5000;

struct RateItem {
  const char* name;
  float rate;
};
constexpr std::array<RateItem, 5> kRates{{{"OnHalfSpeed", 0.5F},
                                          {"OnNormalSpeed", 1.0F},
                                          {"OnNormalAndHalfSpeed", 1.5F},
                                          {"OnDoublesSpeed", 2.0F},
                                          {"OnDoublesAndHalfSpeed", 2.5F}}};

QString Clock(std::int64_t ms) {
  const std::int64_t seconds = std::max<std::int64_t>(0, ms) / 1000;
  const auto two = [](std::int64_t number) { return QStringLiteral("%1").arg(number, 2, 10, QChar(u'0')); };
  return two(seconds / 3600) + u':' + two(seconds / 60 % 60) + u':' + two(seconds % 60);
}

}  // namespace

QString CPlayControlUI::TimeText(std::int64_t timeMs, std::int64_t lengthMs) {
  return CResourceManager::InDigits(Clock(timeMs) + u'/' + Clock(lengthMs));
}

QString CPlayControlUI::RateText(float rate) {
  return QString::number(static_cast<double>(rate), 'f', 1) + u'X';
}

CPlayControlUI::CPlayControlUI(QWidget* parent) : CVerticalLayoutUI(parent) {
  CControlUI* const root = CDialogBuilder().Create(QStringLiteral("VLC/PlayControl.xml"), nullptr, this);
  if (!root) return;
  Add(root);
  SetFixedHeight(kHeight);
  const auto button = [this](const char* name) {
    return dynamic_cast<CButtonUI*>(FindSubControl(QString::fromLatin1(name)));
  };
  play = button("btnPlay");
  rateButton = button("beishu");
  volume = button("btnVolume");
  screenFull = button("btnScreenFull");
  slider = dynamic_cast<CSliderUI*>(FindSubControl(QStringLiteral("sliderPlay")));
  time = dynamic_cast<CLabelUI*>(FindSubControl(QStringLiteral("labelPlayTime")));
  if (!play || !rateButton || !volume || !screenFull || !slider || !time) return;
  slider->SetMinValue(0);
  slider->SetMaxValue(kSteps);
  // Time runs from left to right in every language.
  slider->setLayoutDirection(Qt::LeftToRight);
  time->setLayoutDirection(Qt::LeftToRight);
  slider->SetValueText([this](int) { return TimeText(timeMs, lengthMs); });
  connect(play, &QPushButton::clicked, this, [this] { TogglePlay(); });
  connect(slider, &QSlider::valueChanged, this, [this](int value) { OnSlider(value); });
  connect(volume, &QPushButton::clicked, this, [this] { OnVolume(); });
  connect(screenFull, &QPushButton::clicked, this, [this] { OnScreenFull(); });
  connect(rateButton, &QPushButton::clicked, this, [this] { OnRate(); });
}

CPlayControlUI::~CPlayControlUI() { PlayerSession::GetInstance().ForgetBar(this); }

void CPlayControlUI::DoInit() {
  CVerticalLayoutUI::DoInit();
  if (!slider) return;
  ShowState(state);
  ShowPosition(fraction, timeMs, lengthMs);
  ShowRate(rate);
  ShowSound();
  ShowPlace();
}

// The bar of the full screen lies on black in every theme.
void CPlayControlUI::ShowPlace() {
  if (!screenFull) return;
  const bool full = IsOfFullScreen();
  screenFull->SetIcon(full ? QStringLiteral("fullscreen-exit") : QStringLiteral("fullscreen"));
  screenFull->SetToolTip(full ? QStringLiteral("IDS_PLAYER_FULLSCREEN_LEAVE")
                              : QStringLiteral("IDS_PLAYER_FULLSCREEN"));
  const QString color = full ? QStringLiteral("on-dark") : QString();
  for (CButtonUI* button : {play, volume, screenFull, rateButton}) {
    button->SetAttribute(QStringLiteral("iconcolor"), color);
    button->SetTextColor(color);
  }
  // A tint under white is none.
  volume->SetAttribute(QStringLiteral("bkcolor"), !volumeWindow ? QString()
                                                  : full        ? QStringLiteral("accent")
                                                                : QStringLiteral("tint"));
  if (volumeWindow && !full) volume->SetAttribute(QStringLiteral("iconcolor"), QStringLiteral("accent-text"));
  slider->SetTextColor(color);
  time->SetTextColor(full ? color : QStringLiteral("text-2"));
}

void CPlayControlUI::Restyle() {
  CVerticalLayoutUI::Restyle();
  if (time) time->SetText(TimeText(timeMs, lengthMs));
}

// --- What it shows

void CPlayControlUI::ShowState(State shown) {
  state = shown;
  if (!play) return;
  ShowPlace();
  const bool runs = state == State::Playing || state == State::Loading;
  play->SetIcon(runs                    ? QStringLiteral("pause")
                : state == State::Ended ? QStringLiteral("replay")
                                        : QStringLiteral("play"));
  play->SetToolTip(runs                    ? QStringLiteral("IDS_PLAYER_PAUSE")
                   : state == State::Ended ? QStringLiteral("IDS_PLAYER_REPLAY")
                                           : QStringLiteral("IDS_PLAYER_PLAY"));
  const bool hasFilm = state == State::Playing || state == State::Paused;
  slider->SetEnabled(hasFilm);
  rateButton->SetEnabled(state != State::None);
}

void CPlayControlUI::ShowPosition(float part, std::int64_t now, std::int64_t length) {
  fraction = part;
  timeMs = now;
  lengthMs = length;
  if (!slider || slider->isSliderDown()) return;
  // Its change would be taken for a wish to go there.
  const QSignalBlocker quiet(slider);
  slider->SetValue(static_cast<int>(part * kSteps + 0.5F));
  // A step of the arrow keys is five seconds.
  if (length > 0)
    slider->setSingleStep(static_cast<int>(std::max<std::int64_t>(1, kKeyStepMs * kSteps / length)));
  slider->update();
  time->SetText(TimeText(now, length));
}

void CPlayControlUI::ShowRate(float shown) {
  rate = shown;
  if (rateButton) rateButton->SetText(RateText(shown));
}

void CPlayControlUI::ShowSound() {
  if (volume)
    volume->SetIcon(VlcPlayer::GetInstance().IsSoundOn() ? QStringLiteral("volume") : QStringLiteral("mute"));
}

void CPlayControlUI::ShowVolumeOpen(WindowImplBaseEx* window) {
  volumeWindow = window;
  ShowPlace();
}

// --- What it does

bool CPlayControlUI::IsOfFullScreen() const {
  const CPaintManagerUI* const manager = GetManager();
  const HWND full = GlobalData::fullWnd;
  return manager && full && manager->GetPaintWindow() == full;
}

void CPlayControlUI::TogglePlay() {
  if (PlayerSession::GetInstance().HasBar(this)) PlayerSession::GetInstance().TogglePlay();
}

void CPlayControlUI::OnSlider(int value) {
  if (!PlayerSession::GetInstance().HasBar(this)) return;
  fraction = static_cast<float>(value) / kSteps;
  timeMs = static_cast<std::int64_t>(static_cast<double>(lengthMs) * value / kSteps);
  time->SetText(TimeText(timeMs, lengthMs));
  VlcPlayer::GetInstance().SetPosition(fraction);
}

void CPlayControlUI::OnVolume() {
  if (volumeWindow) return volumeWindow->Close();
  GalleryVolWnd::Open(*this, *volume);
}

void CPlayControlUI::OnScreenFull() {
  const bool full = IsOfFullScreen();
  (void)platform::PostMessageW(full ? GlobalData::fullWnd.load() : GlobalData::viewerWnd.load(),
                               full ? WM_GALLERY_FULL_LEAVE : WM_GALLERY_FULL_OPEN, 0, 0);
}

void CPlayControlUI::OnRate() {
  if (!GetManager() || !PlayerSession::GetInstance().HasBar(this)) return;
  auto* menu = new CMenuWnd(*GetManager(), nullptr);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  if (!menu->Load(QStringLiteral("VLC/GalleryRateMenu.xml"))) return delete menu;
  for (const RateItem& item : kRates) {
    QAction* const action = menu->FindItem(QString::fromLatin1(item.name));
    if (!action) continue;
    action->setText(RateText(item.rate));
    action->setChecked(item.rate == rate);
    connect(action, &QAction::triggered, this, [this, chosen = item.rate] {
      VlcPlayer::GetInstance().SetRate(chosen);
      ShowRate(chosen);
    });
  }
  const QSize size = menu->sizeHint();
  const QPoint middle = rateButton->mapToGlobal(QPoint(rateButton->width() / 2, 0));
  const int top = mapToGlobal(QPoint(0, 0)).y() - Scaled(kMenuAboveBar);
  menu->popup(QPoint(middle.x() - size.width() / 2, top - size.height()));
}
