#pragma once

#include <QPointer>
#include <QStringList>
#include <QSystemTrayIcon>
#include <memory>

#include "common/duilib_business/windowbusybase.h"
#include "common/toolkit/container.h"
#include "homecloud.h"
#include "watchedfolders.h"
#include "workspace.h"

class FirstRunPage;
class HomePage;
class SettingsPage;
class TransfersPage;

// The host's window: the navigation bar, and one of home, gallery, transfers and
// settings beside it. User-interface thread.
class FrameWindow : public WindowBusyBase {
 public:
  enum Page { Home, Gallery, Transfers, Settings };

  FrameWindow(Workspace& work, QStringList startFiles);
  ~FrameWindow() override;

  QString GetSkinFile() override { return QStringLiteral("Desktop/Frame.xml"); }
  const char* GetWindowClassName() const override { return "FrameWindow"; }
  CControlUI* CreateControl(const QString& element) override;
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;
  LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override;

  void ShowPage(Page page);
  // Files that were handed to the program: into the gallery.
  void TakeFiles(const QStringList& files);
  void Raise();
  // These folders are kept, watched, and imported by themselves from now on.
  void Watch(const QStringList& folders);
  // Through first run, settings or a log-out to the gallery of another account.
  void UseHomeCloud(Workspace::Done done);
  void UseServer(const std::string& server, const std::string& user, const std::string& password,
                 Workspace::Done done);
  void SignOut(Workspace::Done done);
  void FinishFirstRun();
  void Quit();
  bool IsPollingFolders() const { return watched.IsPolling(); }
  bool HasTray() const { return tray; }
  Workspace& Work() { return work; }
  class ZentaraGallery* GalleryPage() const;

 protected:
  void Sub_OnDPIChanged() override;
  void resizeEvent(QResizeEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  void Start();
  void OnOpened(const QString& error);
  void ShowFirstRun();
  void OpenGallery();
  void CloseGallery();
  void PlaceGallery();
  void ShowBusy(bool busy, const QString& words = {});
  void SetUpTray();
  void UpdateBadge();
  void TellEnd(std::size_t busy, std::size_t completed, std::size_t failed);
  void ImportWatched(const QStringList& folders);

  Workspace& work;
  HomeCloud homeCloud;
  WatchedFolders watched;
  QStringList files;
  HWND gallery = nullptr;
  QPointer<FirstRunPage> firstRun;
  QPointer<HomePage> home;
  QPointer<TransfersPage> transfers;
  QPointer<SettingsPage> settings;
  QPointer<QSystemTrayIcon> tray;
  Page shown = Gallery;
  std::size_t lastBusy = 0, toldCompleted = 0, toldFailed = 0;
  bool quitting = false;
};
