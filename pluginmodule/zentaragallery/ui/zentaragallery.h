#pragma once

#include <QPointer>
#include <QTimer>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "cloud/cloudphotov2helper.h"
#include "common/duilib_business/windowbusybase.h"
#include "common/toolkit/button.h"
#include "common/toolkit/container.h"
#include "common/toolkit/label.h"
#include "common/toolkit/slider.h"
#include "host/transfer/transfertask.h"
#include "model/gallery.h"
#include "sync/isynccallback.h"
#include "ui/view/galleryselecthelper.h"
#include "ui/view/pagerules.h"
#include "ui/virtuallist.h"

class CDouClickThumUI;
class CGalleryAlbumWnd;
class GalleryDropWatch;
class LoadPageWnd;
class UploadProcess;

// The page of the gallery: three virtual lists, the album panel, the tool bar, the zoom
// slider and the status line, and the hub of the module's messages.
//
// Made by ZentaraGalleryObj on the user-interface thread, which is its own. Workers post
// to its handle; batches over files run on workers and come back by Run's `done`.
class ZentaraGallery : public WindowImplBaseEx, public ISyncCallback, public ISelectionView {
 public:
  using Files = Gallery::Files;

  ZentaraGallery();
  ~ZentaraGallery() override;

  QString GetSkinFile() override { return QStringLiteral("Gallery/MainPage.xml"); }
  const char* GetWindowClassName() const override { return "GalleryWnd"; }
  void InitWindow() override;
  void OnFinalMessage() override;
  void Notify(TNotifyUI& message) override;
  LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override;
  bool OnKey(TEventUI& event) override;
  CControlUI* CreateControl(const QString& element) override;

  // ISyncCallback: of the sync's threads.
  void Notify(std::int32_t state) override;
  void OnSyncStatus(SyncStatus status, std::int64_t count) override;
  void ShowWindow() override;

  // ISelectionView
  bool HasNumberControls() override;
  bool HasViewer() override;
  bool HasViewerShown() const;
  void ShowMultiSelectLook(bool active) override;
  void EnableMultiSelect(bool enabled) override;
  void EnableSelectAll(bool enabled) override;
  void ShowMultiBubble(bool visible) override;
  void ShowBinTitle(bool visible) override;
  void ShowSelectionBar(bool visible) override;
  void ShowSelectedCount(std::size_t count) override;
  void ShowRememberedDate() override;

  // --- What other windows of the page use

  // The picture viewer; null while none is open.
  CDouClickThumUI* Viewer() const;
  Album::Ptr CurrentAlbum() const { return current; }
  CGalleryVListUI* CurrentList() const { return list; }
  CGalleryAlbumWnd* Panel() const;
  // Work over files off this thread, with the progress line after a moment. `work`
  // counts into its argument and looks at `stop` between steps; `done` runs here.
  struct Job {
    std::atomic<std::size_t> count{0};
    std::atomic<std::size_t> total{0};
    std::atomic<bool> stop{false};
  };
  void Run(const QString& textKey, std::size_t total, std::function<void(Job&)> work,
           std::function<void(const Job&)> done);
  // Brings files of this computer into an album; null asks for one.
  // `then` is called when they are in, or nobody wanted them.
  void Upload(std::vector<std::wstring> paths, Album::Ptr album, std::function<void()> then = nullptr);
  // The same for what was dropped or handed over: folders are walked through first.
  void UploadDropped(std::vector<std::wstring> dropped, Album::Ptr album);
  // Asks for files and brings them in.
  void OnUpload();
  // Learns where pictures land that are dragged out.
  GalleryDropWatch& DropWatch();
  void MoveTo(Files files, const Album::Ptr& target);
  void Recycle(Files files);
  void Say(const QString& icon, const QString& sentence, const QString& action = {},
           std::function<void()> onAction = {});
  // Where the page's upload, download and so on ask for things; tests answer in place
  // of a person.
  std::function<QStringList(const QString& title, const QString& filter)> chooseFiles;
  std::function<QString(const QString& start)> chooseFolder;
  // Where it learns what state the photo cloud is in.
  std::function<CloudPhotoV2Helper::ServiceState()> askServiceState = CloudPhotoV2Helper::GetServiceState;

 protected:
  void resizeEvent(QResizeEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  // zentaragallery.cpp: the window and its views
  bool IsTimeLine() const { return current && current->Kind() == AlbumKind::TimeLine; }
  void FindControls();
  void BindView(const Album& album);
  void OnLoadGalleryFile(const Album::Ptr& album, bool keepPage);
  void OnReloadView();
  void ShowEmptyPage();
  void SetUploadKind(ButtonKind kind);
  void ShowCounts(int tab);
  void FitTitle();
  void OnSize();
  void OnSliderValueChange(int value);
  void OnSliderReleased();
  void OnZoomWheel(bool larger);
  void SetViewConf(const char* reason);
  void SetGridValueText();
  int GetPicCol() const;
  int GetRowHeight(int columns) const;
  void UpdateUser();
  void OnTypedDate(const QString& digits);
  void CopyPaths();
  void OnFocusAction();
  void OnDblClick(const QString& path, bool jump);
  void ShowFound(const GalleryFile::Ptr& found, bool jump);
  void OnAlbumRemoved(std::string* id);
  void OnUploadFinished(TransferTask::Ptr* task, GalleryFile::Ptr* file);
  void SetUpdateDPI(int dpi);
  void EnableZoom(bool enabled);
  void Retext();

  // galleryviewer.cpp: the picture viewer over the page
  void OnHomeGalleryCreatePhotoWnd(const GalleryFile::Ptr& file);
  void OpenInViewer(const GalleryFile::Ptr& file);
  void OnCellDblClick(const TNotifyUI& message);
  void OnViewerLeft(const GalleryFile::Ptr& file);
  void OnViewerZoom(int value);
  void PlaceViewer();
  void GiveSliderToViewer();
  void GiveSliderBack();
  void SetSliderQuietly(int value);
  bool SendKeyToViewer(TEventUI& event);

  // gallerytoolbar.cpp: what the buttons do
  void OnClick(TNotifyUI& message);
  void OnToolbarState(int state);
  void OnMultiSelect();
  void OnDeleteFile(bool hard);
  void OnDownLoadFile();
  void OnDownLoadFileNoWnd();
  void OnMoveFile();
  void OnRestoreFile();
  void OnClearBin();
  void OnMenu(TNotifyUI& message);
  void OnMenuClick(const QString& item);
  Files Chosen() const;
  void SayLimit();
  void Download(Files files, const std::wstring& folder);
  void DoneWithSelection();
  void SayMoved(const std::map<std::string, Files>& from, std::size_t number, const Album::Ptr& target);
  // `titleKey` counts them.
  void TellRefused(const std::wstring& album, const std::vector<struct RefusedFile>& refused,
                   const char* titleKey = "IDS_GALLERY_UPLOADEX_TITLE");

  // gallerystatus.cpp: the status line and what the cloud says
  void OnUpdateWinState(int state, std::int64_t count);
  void ShowLastStatus();
  void ShowStatus(const PageRules::StatusText& status, int state);
  QString StorageFullText(std::int64_t count) const;
  static QString FullTextWithoutLink(std::int64_t count);
  void DisableOrDel();
  void ShowDisabled(bool disabled, std::int64_t daysLeft);
  void OnCloudCleared(const std::string& marker);
  void UpdateDatabaseCloudContentStatus(WPARAM task, LPARAM state);

  // gallerydrop.cpp: drags over the page
  LRESULT OnDragEnter(DragDataUI& drag);
  LRESULT OnDragOver(DragDataUI& drag);
  LRESULT OnDragLeave();
  LRESULT OnDragRelease(DragDataUI& drag);
  void OnDropToFile(const DragDataUI& drag, const Album::Ptr& target);
  void UploadGroups(const std::shared_ptr<std::map<std::wstring, std::vector<std::wstring>>>& groups,
                    const Album::Ptr& target);
  void SayNotOpen();
  Album::Ptr DropTarget(const DragDataUI& drag, QString& name) const;
  void SetDropDescription(const QString& words, QPoint at);

  // gallerydragout.cpp: where a drag out of the page has ended
  void DragDownGalleryFile(const std::wstring& path);
  void TellLanded(std::size_t count, const QString& folder);

  Album::Ptr current;
  CGalleryVListUI* list = nullptr;
  CGalleryVListUI* timeList = nullptr;
  CGalleryVListUI* norList = nullptr;
  CGalleryVListUI* delList = nullptr;
  CTabLayoutUI* tabSwitch = nullptr;
  CSliderUI* slider = nullptr;
  CLabelUI* numbers = nullptr;
  CButtonUI* numberButton = nullptr;
  CButtonUI* allButton = nullptr;
  CControlUI* selectionBar = nullptr;
  CControlUI* chip = nullptr;
  CLabelUI* title = nullptr;
  CLabelUI* count = nullptr;
  QPointer<CGalleryAlbumWnd> panel;
  QPointer<LoadPageWnd> loadPage;
  QPointer<UploadProcess> uploadProcess;
  QPointer<Bubble> multiBubble;
  QPointer<Bubble> dropBubble;
  std::shared_ptr<Job> job;
  std::unique_ptr<GalleryDropWatch> dropWatch;
  QString rememberedDate;
  QString typed;  // digits of a date
  QTimer typedEnd;
  QRect sizedAt;
  int savedSlider = 3;
  int shownState = -1;  // of the status line; -1 before the first is told
  std::int64_t shownCount = 0;
  bool spaceIsUp = false;  // the cloud's, as the last cycle met it
  bool started = false;
  // A changed layout has been told and not been shown yet.
  const std::shared_ptr<std::atomic<bool>> reloadComing = std::make_shared<std::atomic<bool>>(false);
  bool asksForShown = false;   // whether to delete what the viewer shows
  bool sliderIsZoom = false;   // the viewer has it
  bool settingSlider = false;  // by the page, not the user
};
