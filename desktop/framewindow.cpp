#include "framewindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QMenu>
#include <QTimer>

#include "common/toolkit/button.h"
#include "common/toolkit/icons.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/theme.h"
#include "desktopsettings.h"
#include "firstrunpage.h"
#include "homepage.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "notifications.h"
#include "settingspage.h"
#include "sync/synchelper.h"
#include "transfer/gallerytransmanager.h"
#include "transferspage.h"
#include "ui/zentaragallery.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/messages.h"

namespace {

constexpr int kNavigationWidth = 84;
constexpr int kMinWidth = 900, kMinHeight = 600;
constexpr int kBadgeMs = 1000;
constexpr const char* kButtons[] = {"nav_home", "nav_gallery", "nav_transfers", "nav_settings"};

}  // namespace

FrameWindow::FrameWindow(Workspace& of, QStringList startFiles)
    : work(of),
      homeCloud(GallerySession::DataFolder()),
      watched([this](const QStringList& folders) { ImportWatched(folders); }),
      files(std::move(startFiles)) {
  watched.onPolling = [this] {
    if (settings) settings->ShowWatched();
  };
  work.onRaise = [this](const QStringList& handed) {
    Raise();
    TakeFiles(handed);
  };
}

FrameWindow::~FrameWindow() {
  watched.onPolling = nullptr;
  work.onRaise = nullptr;
  CloseGallery();
}

CControlUI* FrameWindow::CreateControl(const QString& element) {
  if (element == QStringLiteral("HomePage")) return home = new HomePage(*this);
  if (element == QStringLiteral("HomeCard")) return new HomeCardUI;
  if (element == QStringLiteral("TransfersPage")) return transfers = new TransfersPage(*this);
  if (element == QStringLiteral("SettingsPage")) return settings = new SettingsPage(*this);
  return nullptr;
}

void FrameWindow::InitWindow() {
  SetLog([](const std::string& line) { LogInfo("WindowBusyBase", line); });
  SetTopWindow(GetHWND());
  WindowBusyBase::InitWindow();
  setWindowTitle(QStringLiteral("Zentara Gallery"));
  Sub_OnDPIChanged();
  GlobalData::mainWnd = GetHWND();
  GlobalParamWrapper::GetInstance()->SetMainWnd(GetHWND());
  SetUpTray();
  auto* badge = new QTimer(this);
  connect(badge, &QTimer::timeout, this, &FrameWindow::UpdateBadge);
  badge->start(kBadgeMs);
  Start();
}

void FrameWindow::Sub_OnDPIChanged() {
  setMinimumSize(Manager().Scale(kMinWidth), Manager().Scale(kMinHeight));
}

// --- Start

void FrameWindow::Start() {
  ShowBusy(true);
  work.Open([this](const QString& error) { OnOpened(error); });
}

void FrameWindow::OnOpened(const QString& error) {
  if (!error.isEmpty()) return ShowBusy(true, error);
  const std::string server = UserAuthService::GetInstance()->GetServerUrl();
  if (homeCloud.Exists() && (server.empty() || homeCloud.IsAt(server)) && DesktopSettings::Chosen()) {
    return UseHomeCloud([this](const QString& failed) {
      if (!failed.isEmpty() && gallery) GalleryPage()->Say(QStringLiteral("cloud-off"), failed);
    });
  }
  if (server.empty() && !DesktopSettings::Chosen()) return ShowFirstRun();
  OpenGallery();
}

void FrameWindow::ShowFirstRun() {
  ShowBusy(false);
  firstRun = new FirstRunPage(*this);
  (void)firstRun->Create(this, QStringLiteral("FirstRun"), WindowStyle::Child, rect());
  firstRun->show();
  firstRun->raise();
}

void FrameWindow::FinishFirstRun() {
  DesktopSettings::SetChosen();
  if (firstRun) {
    firstRun->Close();
    firstRun->deleteLater();
  }
  if (!gallery) OpenGallery();
}

void FrameWindow::OpenGallery() {
  ShowBusy(false);
  gallery = work.Gallery().Object().CreateGalleryWnd(GetHWND(), {0, 0, width(), height()});
  auto* page = GalleryPage();
  if (!page) return;
  work.Gallery().Listeners().Add(page);
  SyncHelper::GetInstance().SetCallback(&work.Gallery().Listeners());
  work.Begin();
  if (!DesktopSettings::Syncs()) SyncHelper::GetInstance().SetSyncSwitch(false);
  watched.Watch(DesktopSettings::WatchedFolders());
  ShowPage(shown);
  TakeFiles(std::exchange(files, {}));
}

ZentaraGallery* FrameWindow::GalleryPage() const {
  return dynamic_cast<ZentaraGallery*>(toolkit::WidgetOf(gallery));
}

void FrameWindow::CloseGallery() {
  if (auto* page = GalleryPage()) {
    work.Gallery().Listeners().Remove(page);
    page->Close();
  }
  gallery = nullptr;
  watched.Watch({});
}

// --- Accounts

void FrameWindow::UseHomeCloud(Workspace::Done done) {
  homeCloud.Start([this, done](const QString& error) {
    const std::string server = UserAuthService::GetInstance()->GetServerUrl();
    if (!error.isEmpty()) {
      if (!gallery) OpenGallery();
      return done(error);
    }
    if (server == homeCloud.Address()) {
      if (!gallery) OpenGallery();
      return done({});
    }
    UseServer(homeCloud.Address(), HomeCloud::kUser, homeCloud.Password(), done);
  });
}

void FrameWindow::UseServer(const std::string& server, const std::string& user, const std::string& password,
                            Workspace::Done done) {
  CloseGallery();
  if (!firstRun) ShowBusy(true);
  work.SignIn(server, user, password, [this, done](const QString& error) {
    if (!firstRun || error.isEmpty()) OpenGallery();
    if (firstRun) firstRun->raise();
    done(error);
  });
}

void FrameWindow::SignOut(Workspace::Done done) {
  CloseGallery();
  ShowBusy(true);
  work.SignOut([this, done](const QString& error) {
    DesktopSettings::ClearChosen();
    ShowFirstRun();
    done(error);
  });
}

// --- Pages

void FrameWindow::ShowBusy(bool busy, const QString& words) {
  auto* tabs = Find<CTabLayoutUI>(QStringLiteral("pages"));
  if (tabs && busy) tabs->SelectItem(0);
  if (auto* label = FindControl(QStringLiteral("busy_words"))) label->SetText(words);
  if (auto* ring = FindControl(QStringLiteral("busy_ring"))) ring->SetVisible(busy && words.isEmpty());
}

void FrameWindow::ShowPage(Page page) {
  shown = page;
  for (int i = 0; i < 4; ++i)
    if (auto* button = Find<CButtonUI>(QString::fromLatin1(kButtons[i]))) button->Selected(i == page);
  auto* tabs = Find<CTabLayoutUI>(QStringLiteral("pages"));
  if (tabs) tabs->SelectItem(page == Home ? 1 : page == Transfers ? 2 : page == Settings ? 3 : 0);
  if (page == Home && home) home->Reload();
  if (page == Transfers && transfers) transfers->Reload();
  if (page == Settings && settings) settings->Reload();
  if (auto* window = GalleryPage()) {
    PlaceGallery();
    window->setVisible(page == Gallery);
    if (page == Gallery) window->raise();
  }
}

void FrameWindow::PlaceGallery() {
  auto* window = GalleryPage();
  if (!window) return;
  const int bar = Manager().Scale(kNavigationWidth);
  window->setGeometry(QStyle::visualRect(layoutDirection(), rect(), {bar, 0, width() - bar, height()}));
}

void FrameWindow::resizeEvent(QResizeEvent* event) {
  WindowBusyBase::resizeEvent(event);
  PlaceGallery();
  if (firstRun) firstRun->setGeometry(rect());
}

void FrameWindow::Notify(TNotifyUI& message) {
  WindowBusyBase::Notify(message);
  if (home) home->OnNotify(message);
  if (transfers) transfers->OnNotify(message);
  if (settings) settings->OnNotify(message);
  if (message.sType != QStringLiteral("click") || !message.pSender) return;
  for (int i = 0; i < 4; ++i)
    if (message.pSender->GetName() == QLatin1String(kButtons[i])) return ShowPage(static_cast<Page>(i));
}

LRESULT FrameWindow::HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) {
  switch (uMsg) {
    case WM_HOME_GALLERY_DATA:
      if (home && shown == Home) home->Reload();
      handled = true;
      return 0;
    case WM_GALLERY_ALBUM_COVER: {
      const std::unique_ptr<std::wstring> cover(reinterpret_cast<std::wstring*>(lParam));
      if (home && shown == Home) home->Reload();
      handled = true;
      return 0;
    }
    case WM_GALLERY_DROP_LIST:
      (void)Toast::Show(*this, {QStringLiteral("info"),
                                QString::fromStdWString(*reinterpret_cast<const std::wstring*>(lParam)),
                                {},
                                {}});
      handled = true;
      return 1;
    case WM_GALLERY_DOWNLOAD_TOAST:
      UpdateBadge();
      handled = true;
      return 0;
    default:
      return WindowBusyBase::HandleMessage(uMsg, wParam, lParam, handled);
  }
}

// What was begun before the window was left is told when it is through.
void FrameWindow::TellEnd(std::size_t busy, std::size_t completed, std::size_t failed) {
  const bool ended = std::exchange(lastBusy, busy) > 0 && busy == 0;
  const std::size_t done = completed - std::min(completed, toldCompleted),
                    lost = failed - std::min(failed, toldFailed);
  if (!ended) return;
  toldCompleted = completed;
  toldFailed = failed;
  if (isActiveWindow() || done + lost == 0) return;
  const auto number = [](std::size_t of) { return CResourceManager::FormatNumber(static_cast<qint64>(of)); };
  const char* key = lost > 0 ? "IDS_NOTIFY_SOME_FAILED" : "IDS_NOTIFY_DONE";
  Notifications::Show(QStringLiteral("Zentara Gallery"),
                      QString(CResourceManager::GetText(QString::fromLatin1(key)))
                          .replace(QStringLiteral("%1$s"), number(done))
                          .replace(QStringLiteral("%2$s"), number(lost)));
}

void FrameWindow::UpdateBadge() {
  std::size_t busy = 0, completed = 0, failed = 0;
  if (work.IsOpen()) {
    for (const TaskType kind : {TaskType::Upload, TaskType::Download}) {
      const auto figures = GalleryTransManager::GetInstance().GetFigures(kind);
      busy += figures.running + figures.waiting;
      completed += figures.completed;
      failed += figures.failed;
    }
    TellEnd(busy, completed, failed);
  }
  if (auto* button = Find<CButtonUI>(QStringLiteral("nav_transfers")))
    button->SetBadge(static_cast<int>(busy));
  if (transfers && shown == Transfers) transfers->Reload();
}

void FrameWindow::TakeFiles(const QStringList& handed) {
  auto* page = GalleryPage();
  if (handed.isEmpty() || !page) {
    if (!page) files += handed;
    return;
  }
  ShowPage(Gallery);
  std::vector<std::wstring> paths;
  for (const QString& file : handed) paths.push_back(file.toStdWString());
  page->UploadDropped(std::move(paths), nullptr);
}

void FrameWindow::Watch(const QStringList& folders) {
  DesktopSettings::SetWatchedFolders(folders);
  watched.Watch(folders);
}

// Quietly: nobody has asked for it just now.
void FrameWindow::ImportWatched(const QStringList& folders) {
  if (!gallery || !work.IsOpen()) return;
  work.Import(folders, nullptr);
}

void FrameWindow::Raise() {
  if (isMinimized()) showNormal();
  show();
  raise();
  activateWindow();
}

// --- Tray and end

void FrameWindow::SetUpTray() {
  if (!QSystemTrayIcon::isSystemTrayAvailable()) return;
  tray = new QSystemTrayIcon(
      icons::Icon(QStringLiteral("gallery"), 22, Theme::Instance().Color(QStringLiteral("accent"))), this);
  auto* menu = new QMenu(this);
  menu->addAction(CResourceManager::GetText(QStringLiteral("IDS_DESKTOP_SHOW")), this, &FrameWindow::Raise);
  menu->addAction(CResourceManager::GetText(QStringLiteral("IDS_DESKTOP_QUIT")), this, &FrameWindow::Quit);
  tray->setContextMenu(menu);
  connect(tray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::Trigger) Raise();
  });
  tray->show();
}

void FrameWindow::Quit() {
  quitting = true;
  Close();
  QApplication::quit();
}

void FrameWindow::closeEvent(QCloseEvent* event) {
  if (!quitting && tray && DesktopSettings::ClosesToTray()) {
    event->ignore();
    hide();
    return;
  }
  quitting = true;
  event->accept();
  QApplication::quit();
}
