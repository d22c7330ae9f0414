#include "ui/player/playersession.h"

#include <QApplication>
#include <QScreen>

#include "common/toolkit/overlays.h"
#include "common/toolkit/paintmanager.h"
#include "ui/pagecontext.h"
#include "ui/player/playcontrolui.h"
#include "ui/player/vlcplayer.h"
#include "ui/view/pageflags.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/messages.h"

namespace {

constexpr char kTag[] = "VideoPlayer";
constexpr int kToolbarVideo = 5;
// What libVLC has read ahead lasts as long.
constexpr int kStallMs = 1000;

bool IsFirstGeneration() {
  const int generation = GlobalData::cloudGeneration;
  return generation == GlobalData::kGenerationV1 || generation == GlobalData::kGenerationV1Eur;
}

QString ServerErrorKey() {
  return IsFirstGeneration() ? QStringLiteral("IDS_GALLERT_SERVER_ERROR_V1")
                             : QStringLiteral("IDS_GALLERT_SERVER_ERROR");
}

bool IsFullOpen() { return platform::IsWindow(GlobalData::fullWnd); }

}  // namespace

PlayerSession& PlayerSession::GetInstance() {
  static PlayerSession session;
  return session;
}

PlayerSession::PlayerSession() {
  stall.setSingleShot(true);
  QObject::connect(&stall, &QTimer::timeout, &stall, [this] {
    if (window && state == CPlayControlUI::State::Playing) window->ShowStall(true);
  });
}

void PlayerSession::Play(QWidget* shownIn, const GalleryFile::Ptr& film, RECT place,
                         CPlayControlUI* control) {
  if (!shownIn) return;
  Stop();
  if (error) error->Close();
  if (!VlcPlayer::HasLibrary()) {
    LogError(kTag, "vlc ptr empty");
    (void)Toast::Show(*shownIn, {.icon = QStringLiteral("error"),
                                 .sentence = QStringLiteral("IDS_DRIVE_Data_Sync_Loading")});
    return;
  }
  owner = shownIn;
  placeName = owner->objectName();
  file = film;
  rect = place;
  if (!MakeWindows()) return;
  std::string url;
  bool isLocal = false;
  if (!VideoPlayer::CanPlayVideo(file, url, isLocal)) return ShowError(ServerErrorKey());
  Adopt(shownIn);
  if (IsFullOpen()) {
    (void)platform::PostMessageW(GlobalData::fullWnd, WM_GALLERY_PLAYER_TO_FULL, 0, 0);
  } else {
    TellViewer(WM_GALLERY_VIDEO_RESIZE);
    TellViewer(WM_GALLERY_BAR_SHOW);
  }
  window->Clear();
  window->show();
  load->show();
  Arrange();
  Page::PostToolbar(kToolbarVideo);
  const QScreen* const screen = shownIn->screen();
  const QSize most = screen ? screen->size() : QSize(3840, 2160);
  (void)VlcPlayer::GetInstance().Play(url, isLocal ? nullptr : std::make_shared<ContentStream>(file),
                                      window->GetHWND(), most);
  state = CPlayControlUI::State::Loading;
  SetBar(control);
  if (bar) bar->ShowPosition(0, 0, 0);
}

bool PlayerSession::MakeWindows() {
  const auto make = [this](auto& made, const char* name, const char* missing) {
    if (made && made->GetHWND()) return true;
    // One that closed with the window around it is of no use any more.
    delete made.data();
    LogInfo(kTag, missing);
    using Window = std::remove_reference_t<decltype(*made)>;
    made = new Window;
    if (made->Create(owner, QString::fromLatin1(name), WindowStyle::Child,
                     rect.isEmpty() ? QRect(0, 0, 1, 1) : rect)) {
      made->hide();
      return true;
    }
    delete made.data();
    return false;
  };
  return make(load, "VLCLoad", "GlobalData::g_mPVlcLoad IS null") &&
         make(window, "DuiMainWnd", "GlobalData::g_mPVlcWnd IS null") && window->Picture();
}

void PlayerSession::Adopt(QWidget* place) {
  owner = place;
  for (QWidget* shown : {static_cast<QWidget*>(window), static_cast<QWidget*>(load)}) {
    if (!shown || shown->parentWidget() == place) continue;
    const bool visible = !shown->isHidden();
    shown->setParent(place);
    shown->setVisible(visible);
  }
  Arrange();
}

// Over the owner's first child, which is the still, and under the others.
void PlayerSession::Arrange() {
  if (!owner || !window || !load) return;
  window->setGeometry(rect);
  load->setGeometry(rect);
  QList<QWidget*> others;
  for (QObject* child : owner->children()) {
    auto* widget = qobject_cast<QWidget*>(child);
    if (widget && !widget->isWindow() && widget != window && widget != load && widget != error)
      others << widget;
  }
  window->raise();
  load->raise();
  for (qsizetype i = 1; i < others.size(); ++i) others[i]->raise();
  if (error) error->raise();
}

void PlayerSession::Stop() {
  // Why a film ended stays to be read; the next one and a stop without a film take it away.
  if (error && !HasPlayer()) error->Close();
  VlcPlayer::GetInstance().Stop();
  stall.stop();
  if (window) {
    window->hide();
    window->Clear();
  }
  DeleteLoadWnd();
  Show(CPlayControlUI::State::None);
}

bool PlayerSession::HasPlayer() const { return VlcPlayer::GetInstance().HasFilm(); }

void PlayerSession::DeleteLoadWnd() {
  LogInfo(kTag, "DeleteVideoLoadWnd");
  if (load) load->Close();
  delete load.data();
}

void PlayerSession::MoveTo(RECT place) {
  rect = place;
  if (window) window->setGeometry(rect);
  if (load) {
    load->setGeometry(rect);
  } else {
    LogInfo(kTag, "GlobalData::g_mPVlcLoad: empty");
  }
}

void PlayerSession::SetBar(CPlayControlUI* control) {
  if (bar && bar != control) bar->ShowState(CPlayControlUI::State::None);
  bar = control;
  if (!bar) return;
  const auto& player = VlcPlayer::GetInstance();
  bar->ShowState(state);
  bar->ShowRate(player.Rate());
  bar->ShowSound();
  bar->ShowPosition(player.Position(), player.Time(), player.Length());
  FollowBar();
}

// What was asked of libVLC, which does it later.
void PlayerSession::Show(CPlayControlUI::State next) {
  state = next;
  if (bar) bar->ShowState(state);
}

// The window around the bar shows the film: in the place that has the name of the one
// before.
void PlayerSession::FollowBar() {
  CPaintManagerUI* const manager = bar->GetManager();
  if (!manager || !HasPlayer()) return;
  QWidget& around = manager->GetPaintWidget();
  const bool isThere = owner && (owner == &around || around.isAncestorOf(owner));
  if (isThere && window && window->GetHWND()) return;
  if (owner) placeName = owner->objectName();
  CControlUI* const place = manager->FindControl(placeName);
  owner = place ? place->Widget() : &around;
  if (!MakeWindows()) return;
  VlcPlayer::GetInstance().SetWindow(window->GetHWND());
  Adopt(owner);
  window->Picture()->SetPicture(VlcPlayer::GetInstance().Picture());
  window->show();
}

void PlayerSession::ForgetBar(const CPlayControlUI* control) {
  if (bar == control) bar = nullptr;
}

void PlayerSession::TogglePlay() {
  auto& player = VlcPlayer::GetInstance();
  if (!bar || !HasPlayer()) return;
  if (state == CPlayControlUI::State::Ended) return Play(owner, file, rect, bar);
  if (state == CPlayControlUI::State::Loading) return;
  const bool pause = state == CPlayControlUI::State::Playing;
  player.SetPause(pause);
  Show(pause ? CPlayControlUI::State::Paused : CPlayControlUI::State::Playing);
}

// --- The film's window

void PlayerSession::OnPlaying() {
  DeleteLoadWnd();
  Show(CPlayControlUI::State::Playing);
}

void PlayerSession::OnPosition() {
  const auto& player = VlcPlayer::GetInstance();
  if (bar) bar->ShowPosition(player.Position(), player.Time(), player.Length());
}

// Between two pieces it waits for a moment, too, which nobody sees.
void PlayerSession::OnWaiting(bool waits) {
  if (waits) return stall.start(kStallMs);
  stall.stop();
  if (window) window->ShowStall(false);
}

// A file in which libVLC finds no film "plays" and ends at once.
void PlayerSession::OnEnd() {
  const bool hadFilm =
      VlcPlayer::GetInstance().Length() > 0 || (window && !window->Picture()->Picture().isNull());
  if (!hadFilm) return OnError();
  const std::int64_t length = VlcPlayer::GetInstance().Length();
  if (bar) bar->ShowPosition(1, length, length);
  Show(CPlayControlUI::State::Ended);
  TellViewer(WM_GALLERY_VIDEO_ENDED);
}

void PlayerSession::OnError() {
  stall.stop();
  DeleteLoadWnd();
  if (window) window->hide();
  Show(CPlayControlUI::State::Ended);
  const auto why = VlcPlayer::GetInstance().StreamFailure();
  // The viewer stops the film first, which would take the words along.
  TellViewer(WM_GALLERY_VIDEO_ENDED);
  ShowError(why == ContentStream::Failure::Outage ? ServerErrorKey()
                                                  : QStringLiteral("IDS_GALLERT_VIDEO_CANNOT_PLAYED"));
}

void PlayerSession::ShowError(const QString& textKey) {
  if (error) delete error.data();
  if (!owner) return;
  error = new VLCErrorWnd(textKey);
  if (!error->Create(owner, QStringLiteral("CVLCErrorWnd"), WindowStyle::Child, {0, 0, 1, 1}))
    return delete error.data();
  error->PlaceIn(owner->rect());
  error->show();
  error->raise();
}

void PlayerSession::TellViewer(UINT message) const {
  (void)platform::PostMessageW(GlobalData::viewerWnd, message, 0, 0);
}
