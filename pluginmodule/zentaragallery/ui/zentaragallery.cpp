#include "ui/zentaragallery.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QUrl>

#include "common/duilib_business/windowbusybaseshadow.h"
#include "common/platform/text.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/resourcequeue.h"
#include "common/toolkit/theme.h"
#include "host/base/drivethreadpool.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/logger.h"
#include "host/transfer/galleryupthdmng.h"
#include "store/dbhelper.h"
#include "sync/synchelper.h"
#include "transfer/gallerytransmanager.h"
#include "ui/dialogs/downloadpicwnd.h"
#include "ui/dialogs/loadpagewnd.h"
#include "ui/dialogs/messagebox.h"
#include "ui/dialogs/uploadprocess.h"
#include "ui/galleryaccessible.h"
#include "ui/galleryalbumwnd.h"
#include "ui/gallerydragout.h"
#include "ui/gallerydropwatch.h"
#include "ui/pagecontext.h"
#include "ui/timescrollbar.h"
#include "ui/userproperties.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/view/gridgeometry.h"
#include "ui/view/pageflags.h"
#include "ui/view/thumbrequests.h"
#include "ui/viewer/lcdpictures.h"
#include "ui/viewer/viewerlist.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/messages.h"
#include "utils/methodfunction.h"

namespace {

constexpr char kTag[] = "ZentaraGallery";
constexpr int kPanelTop = 89, kPanelWidth = 200;
constexpr int kDefaultSlider = 3;
constexpr int kTabTimeLine = 0, kTabAlbum = 1, kTabBin = 2, kTabEmpty = 3;
constexpr int kTypedMs = 1200;
constexpr int kLoadPageMs = 150;
constexpr int kUpdateMs = 10000;
constexpr WPARAM kStateLastUpdate = 6;

GalleryFileListViewHelper& Helper() { return GalleryFileListViewHelper::GetInstance(); }
GallerySelectHelper& Selection() { return GallerySelectHelper::GetInstance(); }

bool IsHidden() { return GlobalParamWrapper::GetInstance()->GetDataHidePeriod(); }

int TabOf(const Album& album) {
  if (album.Kind() == AlbumKind::TimeLine) return kTabTimeLine;
  return album.IsBin() ? kTabBin : kTabAlbum;
}

// The file of the gallery that lies there; null for none, or one that goes away.
GalleryFile::Ptr FileAt(const std::wstring& path) {
  Gallery::Files all;
  Gallery::GetInstance().GetAllFiles(all);
  const auto found = std::find_if(all.begin(), all.end(), [&path](const GalleryFile::Ptr& file) {
    return !file->IsDeleted && file->LocalPath() == path;
  });
  return found == all.end() ? nullptr : *found;
}

}  // namespace

ZentaraGallery::ZentaraGallery() {
  static const bool accessible = (InstallGalleryAccessible(), true);
  (void)accessible;
}

ZentaraGallery::~ZentaraGallery() {
  Close();
  Selection().SetView(nullptr);
  Page::SetDateLine(nullptr);
  Page::SetFocusFile(nullptr);
}

CControlUI* ZentaraGallery::CreateControl(const QString& element) {
  if (element == QStringLiteral("GalleryVList")) return new CGalleryVListUI;
  return nullptr;
}

void ZentaraGallery::FindControls() {
  timeList = Find<CGalleryVListUI>(QStringLiteral("time_VirList"));
  norList = Find<CGalleryVListUI>(QStringLiteral("nor_VirList"));
  delList = Find<CGalleryVListUI>(QStringLiteral("del_VirList"));
  tabSwitch = Find<CTabLayoutUI>(QStringLiteral("tab_switch"));
  slider = Find<CSliderUI>(QStringLiteral("slider_pic"));
}

void ZentaraGallery::InitWindow() {
  GlobalData::galleryWnd = GetHWND();
  FindControls();
  if (!FindControl(QStringLiteral("right_page")) && !slider) {
    PopMessageBox(*this, QStringLiteral("IDS_GALLERT_INFORMATION"),
                  QStringLiteral("IDS_GALLERY_CREATE_WND_ERROR_LOAD_COMPONENT"),
                  QStringLiteral("IDS_GALLERT_BTN_OK"));
    LogError(kTag, "init main window fail!");
    return;
  }
  EnableDragDrop();
  GalleryDragOut::Sweep();
  list = timeList;
  if (slider) {
    SetGridValueText();
    savedSlider = UserProperties::GetNumber(UserProperties::kRowCount, kDefaultSlider - 1) + 1;
    slider->SetValue(savedSlider);
    connect(slider, &QSlider::sliderReleased, this, [this] { OnSliderReleased(); });
  }
  Selection().SetView(this);
  Page::SetDateLine([this](const QString& text) {
    rememberedDate = text;
    if (!numbers) return;
    numbers->SetText(text);
    numbers->SetVisible(!text.isEmpty());
  });
  panel = new CGalleryAlbumWnd(*this);
  (void)panel->Create(this, QStringLiteral("GalleryAlbumWnd"), WindowStyle::Child,
                      {0, Manager().Scale(kPanelTop), Manager().Scale(kPanelWidth), height()});
  uploadProcess = new UploadProcess;
  (void)uploadProcess->Create(this, QStringLiteral("pUploadProcessWnd"), WindowStyle::Child, {0, 0, 10, 10});
  uploadProcess->hide();
  uploadProcess->onStop = [this] {
    if (job) job->stop = true;
  };
  GlobalData::uploadProgressWnd = uploadProcess->GetHWND();
  connect(&ResourceQueue::GetInstance(), &ResourceQueue::ready, this, [this](const QString& path) {
    if (!list || !list->Body()) return;
    for (const auto* row : list->Body()->Rows()) {
      for (int k = 0; k < row->Columns() && k < GridGeometry::kRowCells; ++k)
        if (row->Cell(k)->ThumbPath() == path) row->Cell(k)->update();
    }
  });
  connect(&ResourceQueue::GetInstance(), &ResourceQueue::failed, this, [this] {
    if (list) list->RedrawRows(false);
  });
  connect(&typedEnd, &QTimer::timeout, this, [this] { typed.clear(); });
  typedEnd.setSingleShot(true);
  GlobalData::multiBubbleShown = !UserProperties::GetFlag(UserProperties::kTipSeen);
  SyncHelper::GetInstance().SetCallback(this);
  ZentaraDeskClient::GalleryUpThdMng::GetInstance().SetTip(GetHWND(), WM_GALLERY_CONTENT_STATUS);
  LogInfo(kTag, "init main window complete");
  if (const auto pictures = Gallery::GetInstance().GetAlbum(SystemAlbumId(AlbumKind::TimeLine)))
    OnLoadGalleryFile(pictures, false);
}

void ZentaraGallery::OnFinalMessage() {
  SyncHelper::GetInstance().SetCallback(nullptr);
  ZentaraDeskClient::GalleryUpThdMng::GetInstance().SetTip(nullptr, 0);
  Helper().DropCallback();
  if (job) job->stop = true;
  (void)platform::PostMessageW(GlobalData::mainWnd, WM_GALLERY_UPLOAD_PANEL_CLOSE, 0, 0);
  GlobalData::galleryWnd = nullptr;
  GlobalData::albumWnd = nullptr;
  GlobalData::uploadProgressWnd = nullptr;
}

void ZentaraGallery::SetGridValueText() {
  slider->SetValueText([](int value) {
    return Page::Fill(CResourceManager::GetText(QStringLiteral("IDS_ACCESSIBLE_PICTURE_SIZE")),
                      {CResourceManager::FormatNumber(value)});
  });
}

CGalleryAlbumWnd* ZentaraGallery::Panel() const { return panel; }

// --- Views

void ZentaraGallery::BindView(const Album& album) {
  const int tab = TabOf(album);
  const auto label = [this](const char* name) { return Find<CLabelUI>(QString::fromLatin1(name)); };
  const auto button = [this](const char* name) { return Find<CButtonUI>(QString::fromLatin1(name)); };
  const auto show = [this](const char* name, bool on) {
    if (auto* control = FindControl(QString::fromLatin1(name))) control->SetVisible(on);
  };
  static const char* const kSuffix[] = {"", "Nor", "Del"};
  const std::string suffix = kSuffix[tab];
  static const char* const kBars[] = {"TimeAlbumSelHor", "NorAlbumSelHor", "DelAlbumSelHor"};
  static const char* const kChips[] = {"TimeChip", "NorChip", "DelChip"};
  static const char* const kTitles[] = {"time_text", "nor_text", "top_title"};
  static const char* const kCounts[] = {"gallery_type", "nor_lab", ""};
  static const char* const kRows[] = {"TimeAlbumTitleHor", "NorAlbumTitleHor", "DelAlbumTitleHor"};
  CGalleryVListUI* const lists[] = {timeList, norList, delList};
  list = lists[tab];
  numbers = label(("GalleryNums" + suffix).c_str());
  numberButton = button(("BtnGalleryNums" + suffix).c_str());
  allButton = button(("BtnAllSelTitle" + suffix).c_str());
  selectionBar = FindControl(QString::fromLatin1(kBars[tab]));
  chip = FindControl(QString::fromLatin1(kChips[tab]));
  title = label(kTitles[tab]);
  count = label(kCounts[tab]);
  for (int i = 0; i < 3; ++i) show(kRows[i], i == tab);
  const bool bin = tab == kTabBin;
  for (const char* name : {"btn_uploadFiles", "btn_download", "btn_move", "btn_delete"}) show(name, !bin);
  for (const char* name : {"btn_ReplyFiles", "btn_removeFile"}) show(name, bin);
  ShowLastStatus();
}

void ZentaraGallery::OnLoadGalleryFile(const Album::Ptr& album, bool keepPage) {
  if (!album) return;
  if (platform::IsWindow(GlobalData::fullWnd))
    platform::SendMessageW(GlobalData::fullWnd, WM_GALLERY_VIEWER_CLOSE, 0, 0);
  if (HasViewer()) platform::SendMessageW(GlobalData::viewerWnd, WM_GALLERY_VIEWER_CLOSE, 0, 0);
  current = album;
  BindView(*album);
  rememberedDate.clear();
  CTimeScrollBarUINew::DateText().clear();
  Page::SetFocusFile(nullptr);
  if (title) title->SetText(Page::AlbumTitle(*album));
  if (auto* retention = Find<CLabelUI>(QStringLiteral("del_lab")); retention && album->IsBin())
    retention->SetText(QStringLiteral("IDS_GALLERY_RECYCLE_RETENTION"));
  ThumbRequests::GetInstance().Forget();
  if (list) {
    list->OnEscapeKey();
    if (auto* bar = list->GetVerticalScrollBar()) bar->SetScrollPos(0);
    list->setFocus();
  }
  SetViewConf("SetListViewConf: end");
  const bool hasTitle = title != nullptr;
  if (!loadPage && hasTitle && isVisible() && !keepPage && !IsHidden()) {
    loadPage = new LoadPageWnd;
    (void)loadPage->Create(this, QStringLiteral("pLoadPageWnd"), WindowStyle::Child, {0, 0, 10, 10});
    loadPage->ShowAfter(kLoadPageMs);
    OnSize();
  }
  EnableMultiSelect(album->FileCount() > 0);
  ShowMultiBubble(GlobalData::multiBubbleShown && album->FileCount() > 0);
}

void ZentaraGallery::SetViewConf(const char* reason) {
  const int columns = GetPicCol();
  if (!current || columns < 1 || !Manager().GetRoot()) return;
  LogInfo(kTag, "SetListViewConf: enter");
  const HWND self = GetHWND();
  Helper().SetListViewConf(
      current->AlbumId.Get(), static_cast<std::uint8_t>(columns),
      [self, coming = reloadComing](std::uint32_t) {
        // An import tells of each of its files: the one that waits shows them all.
        if (coming->exchange(true)) return;
        (void)platform::PostMessageW(self, WM_GALLERY_RELOAD_VIEW, 0, 0);
        // The viewer stays below the full screen, and takes over what that shows.
        const HWND full = GlobalData::fullWnd.load();
        (void)platform::PostMessageW(full ? full : GlobalData::viewerWnd.load(), WM_GALLERY_RELOAD_VIEW, 0,
                                     0);
      },
      static_cast<std::uint16_t>(Manager().Scale(GridGeometry::kDateHeight)),
      static_cast<std::uint16_t>(GetRowHeight(columns)));
  LogInfo(kTag, reason);
}

int ZentaraGallery::GetPicCol() const {
  return GridGeometry::GetPicCol(HasViewerShown() ? savedSlider : slider ? slider->GetValue() : savedSlider);
}

int ZentaraGallery::GetRowHeight(int columns) const {
  return GridGeometry::GetRowHeight(width(), Manager().Scale(kPanelWidth),
                                    Manager().Scale(GridGeometry::kScrollBarWidth), columns);
}

void ZentaraGallery::OnReloadView() {
  if (loadPage) loadPage->Close();
  if (!current) return;
  const auto [photos, videos] = Helper().GetPhotoVideoCount(current->AlbumId.Get());
  if (photos + videos == 0) return ShowEmptyPage();
  if (!HasViewer()) EnableZoom(true);
  if (Selection().PruneSelection()) {
    const bool favourites = current->Kind() == AlbumKind::Favorite && current->FileCount() > 0;
    if (!favourites && !HasViewer()) OnToolbarState(0);
    if (!Selection().IsMultiSelect()) Selection().SelectClear(false);
  }
  EnableMultiSelect(!HasViewer());
  SetUploadKind(ButtonKind::Main);
  const int tab = TabOf(*current);
  if (tabSwitch) tabSwitch->SelectItem(tab);
  ShowCounts(tab);
  Selection().RefreshNumberLabel();
  int rowHeight = GetRowHeight(GetPicCol());
  if (tab == kTabBin) rowHeight += Manager().Scale(15);
  (void)Selection().PruneSelection();
  if (list) list->InitElement(GridGeometry::kPoolRows, rowHeight);
  FitTitle();
}

void ZentaraGallery::SetUploadKind(ButtonKind kind) {
  if (auto* upload = Find<CButtonUI>(QStringLiteral("btn_uploadFiles"))) upload->SetKind(kind);
}

void ZentaraGallery::ShowEmptyPage() {
  SetUploadKind(ButtonKind::Tool);  // The page has the main button itself.
  GiveSliderBack();
  EnableZoom(false);
  if (tabSwitch) tabSwitch->SelectItem(kTabEmpty);
  (void)Selection().PruneSelection();
  if (Selection().Count() == 0) Selection().SelectClear(false);
  OnToolbarState(0);
  EnableMultiSelect(false);
  ShowMultiBubble(false);
  if (auto* button = FindControl(QStringLiteral("btn_multiSelect")))
    button->SetToolTip(QStringLiteral("IDS_GALLERY_SELECTMODEL_BTNTIP"));
  ShowCounts(TabOf(*current));
  ShowBinTitle(false);
  const char* kind = current->IsBin()                         ? "BIN"
                     : current->Kind() == AlbumKind::Favorite ? "FAVORITE"
                     : current->Kind() == AlbumKind::None     ? "ALBUM"
                                                              : "PICTURES";
  const QString key = QStringLiteral("IDS_GALLERY_EMPTY_") + QString::fromLatin1(kind);
  if (auto* heading = Find<CLabelUI>(QStringLiteral("empty_title")))
    heading->SetText(key + QStringLiteral("_TITLE"));
  if (auto* words = Find<CLabelUI>(QStringLiteral("empty_text"))) words->SetText(key);
  if (auto* button = FindControl(QStringLiteral("empty_upload")))
    button->SetVisible(!current->IsBin() && current->Kind() != AlbumKind::Favorite);
  if (auto* icon = Find<CLabelUI>(QStringLiteral("empty_icon"))) {
    icon->SetIcon(current->IsBin()                         ? QStringLiteral("delete")
                  : current->Kind() == AlbumKind::Favorite ? QStringLiteral("heart")
                  : current->Kind() == AlbumKind::None     ? QStringLiteral("album")
                                                           : QStringLiteral("gallery"),
                  44, QStringLiteral("accent-text"));
  }
}

void ZentaraGallery::ShowCounts(int tab) {
  const auto [photos, videos] = Helper().GetPhotoVideoCount(current->AlbumId.Get());
  const QString text = Page::CountText(photos, videos);
  if (tab == kTabBin || !count) return;
  count->SetText(text);
  count->SetVisible(!text.isEmpty() && !(chip && selectionBar && selectionBar->IsVisible()));
}

void ZentaraGallery::FitTitle() {
  if (auto* row = title ? title->GetParent() : nullptr) row->NeedUpdate();
}

// --- Size and zoom

void ZentaraGallery::resizeEvent(QResizeEvent* event) {
  WindowImplBaseEx::resizeEvent(event);
  OnSize();
}

void ZentaraGallery::OnSize() {
  const int top = Manager().Scale(kPanelTop), wide = Manager().Scale(kPanelWidth);
  const int banner = GlobalData::cloudDisabled ? Manager().Scale(30) : 0;
  const auto mirrored = [this](const QRect& place) {
    return QStyle::visualRect(layoutDirection(), rect(), place);
  };
  if (panel) panel->setGeometry(mirrored({0, top + banner, wide, std::max(0, height() - top - banner)}));
  if (auto* bar = FindControl(QStringLiteral("HorRightTop")); bar && loadPage) {
    const int from = wide + Manager().Scale(1), below = bar->GetPos().height() + banner;
    loadPage->setGeometry(mirrored({from, below, width() - from, height() - below}));
    loadPage->raise();
  }
  if (uploadProcess) uploadProcess->PlaceOver(rect());
  PlaceViewer();
  const QRect now(mapToGlobal(QPoint(0, 0)), size());
  if (now.size() == sizedAt.size()) return;
  sizedAt = now;
  (void)platform::SendMessageW(UIBackGroundMessWnd::Top(), WM_GALLERY_RESIZED, 0, 0);
  (void)platform::SendMessageW(GlobalData::viewerWnd, WM_GALLERY_VIEWER_RESIZED, 0, 0);
  const int scale = Manager().GetScale();
  const bool narrow = parentWidget() ? window()->width() < 1080 * scale / 100 : width() < 996 * scale / 100;
  for (const char* name : {"btn_download", "btn_move", "btn_delete", "btn_ReplyFiles", "btn_removeFile"})
    if (auto* button = Find<CButtonUI>(QString::fromLatin1(name))) button->SetIconOnly(narrow);
  if (slider) slider->SetFixedWidth(narrow ? 84 : 108);
  if (list) SetViewConf("virList window resize");
}

void ZentaraGallery::OnSliderValueChange(int value) {
  if (settingSlider) return;
  if (sliderIsZoom) return OnViewerZoom(value);
  if (value == savedSlider) return;
  savedSlider = value;
  if (!HasViewer() && current) {
    SetViewConf(("change cols count by slider: " + std::to_string(GetPicCol())).c_str());
  }
  UserProperties::Set(UserProperties::kRowCount, value - 1);
  LogInfo(kTag, "write cols count to db: " + std::to_string(value - 1));
}

void ZentaraGallery::OnZoomWheel(bool larger) {
  if (slider && slider->IsEnabled()) slider->SetValue(slider->GetValue() + (larger ? 1 : -1));
}

// --- Showing

void ZentaraGallery::showEvent(QShowEvent* event) {
  WindowImplBaseEx::showEvent(event);
  OnSize();
  if (std::exchange(started, true)) return;
  UpdateUser();
}

void ZentaraGallery::hideEvent(QHideEvent* event) {
  WindowImplBaseEx::hideEvent(event);
  if (loadPage) loadPage->Close();
  for (const HWND window : {GlobalData::fullWnd.load(), GlobalData::viewerWnd.load()})
    (void)platform::SendMessageW(window, WM_GALLERY_VIDEO_STOP, 0, 0);
}

// The line below the title tells the last update once the first sync has had its time.
// The sync itself is the host's to start: the command lines that it serves share it.
void ZentaraGallery::UpdateUser() {
  const HWND self = GetHWND();
  (void)CommonAbility::DriveThreadPool::GetInstance().Add(
      [self] { (void)platform::PostMessageW(self, WM_GALLERY_SYNC_STATE, kStateLastUpdate, 0); },
      std::chrono::milliseconds(kUpdateMs));
}

void ZentaraGallery::changeEvent(QEvent* event) {
  WindowImplBaseEx::changeEvent(event);
  if (event->type() == QEvent::LanguageChange || event->type() == QEvent::LayoutDirectionChange) Retext();
}

void ZentaraGallery::Retext() {
  if (!current) return;
  if (title) title->SetText(Page::AlbumTitle(*current));
  ShowCounts(TabOf(*current));
  ShowLastStatus();
  Selection().RefreshNumberLabel();
  (void)platform::SendMessageW(GlobalData::viewerWnd, WM_GALLERY_RETEXT, 0, 0);
  if (panel) (void)platform::SendMessageW(panel->GetHWND(), WM_GALLERY_RETEXT, 0, 0);
  if (list) list->RedrawRows(true);
  OnSize();
}

// --- The sync's threads

void ZentaraGallery::Notify(std::int32_t state) {
  if (state == 0) (void)platform::PostMessageW(GetHWND(), WM_GALLERY_ALBUM_FORWARD, 0, 0);
}

void ZentaraGallery::OnSyncStatus(SyncStatus status, std::int64_t number) {
  (void)platform::PostMessageW(GlobalData::galleryWnd, WM_GALLERY_SYNC_STATE, static_cast<WPARAM>(status),
                               number);
}

void ZentaraGallery::ShowWindow() {
  (void)platform::PostMessageW(GlobalData::galleryWnd, WM_GALLERY_SHOW_WINDOW, 0, 0);
}

// --- The selection's controls

bool ZentaraGallery::HasNumberControls() { return numbers && numberButton; }

bool ZentaraGallery::HasViewer() { return HasViewerShown(); }

bool ZentaraGallery::HasViewerShown() const { return platform::IsWindow(GlobalData::viewerWnd); }

void ZentaraGallery::ShowMultiSelectLook(bool active) {
  auto* button = Find<CButtonUI>(QStringLiteral("btn_multiSelect"));
  if (!button) return;
  button->Selected(active);
  button->SetToolTip(active ? QStringLiteral("IDS_GALLERY_CANCELSELECTMODEL_BTNTIP")
                            : QStringLiteral("IDS_GALLERY_SELECTMODEL_BTNTIP"));
}

void ZentaraGallery::EnableMultiSelect(bool enabled) {
  if (auto* button = FindControl(QStringLiteral("btn_multiSelect"))) button->SetEnabled(enabled);
}

void ZentaraGallery::EnableSelectAll(bool enabled) {
  if (allButton) allButton->SetEnabled(enabled);
}

void ZentaraGallery::ShowMultiBubble(bool visible) {
  if (!visible) {
    if (multiBubble) multiBubble->Dismiss();
    return;
  }
  auto* button = FindControl(QStringLiteral("btn_multiSelect"));
  if (multiBubble || !button || !isVisible()) return;
  multiBubble = Bubble::Show(*button->Widget(), QStringLiteral("IDS_GALLERY_MULTISELECT_TIP"),
                             BubbleKind::Accent, true);
  if (!multiBubble) return;
  multiBubble->setObjectName(QStringLiteral("multiBubbleHor"));
  // It goes by its own button: then it was read.
  connect(multiBubble, &QObject::destroyed, this, [] {
    GlobalData::multiBubbleShown = false;
    UserProperties::Set(UserProperties::kTipSeen, 1);
  });
}

void ZentaraGallery::ShowBinTitle(bool visible) {
  if (auto* bar = FindControl(QStringLiteral("del_clearTit")))
    bar->SetVisible(visible && current && current->IsBin());
}

void ZentaraGallery::ShowSelectionBar(bool visible) {
  if (selectionBar) selectionBar->SetVisible(visible);
  if (numberButton) numberButton->SetVisible(visible);
  if (chip) chip->SetBkColor(visible ? QStringLiteral("tint") : QString());
  if (numbers) numbers->SetTextColor(visible ? QStringLiteral("accent-text") : QStringLiteral("text-2"));
  if (count) count->SetVisible(!visible && !count->GetText().isEmpty());
}

void ZentaraGallery::ShowSelectedCount(std::size_t number) {
  if (!numbers) return;
  numbers->SetText(CResourceManager::GetPluralText(QStringLiteral("IDS_GALLERT_Select_files"),
                                                   static_cast<qint64>(number)));
  numbers->SetVisible(true);
  if (chip) chip->SetVisible(true);
}

void ZentaraGallery::ShowRememberedDate() {
  if (!numbers) return;
  numbers->SetText(rememberedDate);
  numbers->SetVisible(!rememberedDate.isEmpty());
}

// --- Keys

bool ZentaraGallery::OnKey(TEventUI& event) {
  if (HasViewer() && SendKeyToViewer(event)) return true;
  if (event.Type == EventType::KeyUp) return WindowImplBaseEx::OnKey(event);
  if (event.key == Qt::Key_Shift || event.key == Qt::Key_Control) {
    (void)platform::SendMessageW(GetHWND(),
                                 event.key == Qt::Key_Shift ? WM_GALLERY_KEY_SHIFT : WM_GALLERY_KEY_CTRL,
                                 event.wParam, event.lParam);
    return false;
  }
  const bool control = event.modifiers & Qt::ControlModifier;
  const bool mirrored = layoutDirection() == Qt::RightToLeft;
  if ((event.modifiers & Qt::KeypadModifier) && (event.key == Qt::Key_4 || event.key == Qt::Key_6)) {
    if (list) list->MoveFocus((event.key == Qt::Key_6) != mirrored ? 1 : -1);
    return true;
  }
  switch (event.key) {
    case Qt::Key_Left:
    case Qt::Key_Right:
      if (list) list->MoveFocus((event.key == Qt::Key_Right) != mirrored ? 1 : -1);
      return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
      if (const auto file = Page::FocusFile(); file && current && !current->IsBin()) {
        OnHomeGalleryCreatePhotoWnd(file);
        return true;
      }
      [[fallthrough]];
    case Qt::Key_Space:
      OnFocusAction();
      return true;
    case Qt::Key_Delete:
      if (Selection().Count() > 0) {
        const QPointer<ZentaraGallery> page(this);
        OnDeleteFile(current && current->IsBin());
        if (page && list) list->OnKeyRelease();
      } else if (panel) {
        (void)platform::PostMessageW(panel->GetHWND(), WM_GALLERY_ALBUM_KEY, static_cast<WPARAM>(event.key),
                                     0);
      }
      return true;
    case Qt::Key_A:
      if (!control || !list) return false;
      list->OnSelectAllKey(0);
      return true;
    case Qt::Key_C:
      if (control) CopyPaths();
      return control;
    default:
      break;
  }
  const bool digit = event.key >= Qt::Key_0 && event.key <= Qt::Key_9;
  if (!control && (digit || (event.key == Qt::Key_Minus && !typed.isEmpty())) && IsTimeLine()) {
    OnTypedDate(QChar(event.key));
    return true;
  }
  return WindowImplBaseEx::OnKey(event);
}

void ZentaraGallery::OnFocusAction() {
  const auto file = Page::FocusFile();
  if (!file) return;
  Selection().OnLButtonDown(file);
  Selection().OnLButtonUp(file, true);
  OnToolbarState(Selection().Count() > 0 ? 1 : 0);
  if (list) list->RedrawRows(true);
}

// Four digits go to a year, more to a month and a day of it.
void ZentaraGallery::OnTypedDate(const QString& digits) {
  typed += digits;
  typedEnd.start(kTypedMs);
  if (typed.size() < 4) return;
  const auto end = PageRules::EndOfTypedDate(typed.toStdString());
  if (!end || !list) return;
  const auto view = Helper().CurrentView();
  // The first day that lies before the end of the typed time.
  const auto group = view.layout->dateGroups.upper_bound(DateGroup{.date = *end});
  if (group != view.layout->dateGroups.end()) list->ScrollToRow(static_cast<std::uint32_t>(group->firstRow));
}

void ZentaraGallery::CopyPaths() {
  QList<QUrl> urls;
  QStringList lines;
  for (const auto& file : Chosen()) {
    const QString path = Page::NativeText(file->LocalPath());
    if (path.isEmpty()) continue;
    urls << QUrl::fromLocalFile(path);
    lines << path;
  }
  if (urls.isEmpty()) return Say(QStringLiteral("info"), QStringLiteral("IDS_GALLERY_COPY_NONE"));
  auto* data = new QMimeData;
  data->setUrls(urls);
  data->setText(lines.join(u'\n'));
  QGuiApplication::clipboard()->setMimeData(data);
  Say(QStringLiteral("check"),
      CResourceManager::GetPluralText(QStringLiteral("IDS_GALLERY_COPIED"), urls.size()));
}

// --- Messages

LRESULT ZentaraGallery::HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) {
  handled = true;
  switch (uMsg) {
    case WM_GALLERY_OPEN_ALBUM:
      OnLoadGalleryFile(*reinterpret_cast<const Album::Ptr*>(wParam), lParam != 0);
      return 0;
    case WM_GALLERY_RELOAD_VIEW:
      *reloadComing = false;
      OnReloadView();
      return 0;
    case WM_GALLERY_REDRAW:
      if (list) list->RedrawRows(lParam != 0);
      FitTitle();
      return 0;
    case WM_GALLERY_TOOLBAR_STATE:
      OnToolbarState(static_cast<int>(lParam));
      return 0;
    case WM_GALLERY_KEY_CTRL:
      if (list) list->OnCtrlKey();
      return 0;
    case WM_GALLERY_KEY_SHIFT:
      if (list) list->OnShiftKey();
      return 0;
    case WM_GALLERY_KEY_ESCAPE:
      if (list) list->OnEscapeKey();
      return 0;
    case WM_GALLERY_KEY_SELECT_ALL:
      if (list) list->OnSelectAllKey(0);
      return 0;
    case WM_GALLERY_KEY_UP:
      if (list) list->OnKeyRelease();
      return 0;
    case WM_GALLERY_CLICK_BLANK:
      if (list) list->OnBlankClick();
      return 0;
    case WM_GALLERY_SYNC_STATE:
      OnUpdateWinState(static_cast<int>(wParam), lParam);
      return 0;
    case WM_GALLERY_UPLOAD_PANEL:
      if (uploadProcess) uploadProcess->setVisible(lParam != 0);
      return 0;
    case WM_GALLERY_UPLOAD_PROGRESS:
      if (uploadProcess) uploadProcess->SetProgress(static_cast<int>(wParam), lParam);
      return 0;
    case WM_GALLERY_DOWNLOAD_START: {
      const std::unique_ptr<Files> ordered(reinterpret_cast<Files*>(lParam));
      if (ordered) Download(std::move(*ordered), Page::Wide(DownloadPicWnd::StandardFolder()));
      return 0;
    }
    case WM_GALLERY_DOWNLOAD_DONE:
      DoneWithSelection();
      return 0;
    case WM_GALLERY_ALBUM_ADDED: {
      const std::unique_ptr<std::string> added(reinterpret_cast<std::string*>(lParam));
      if (panel) panel->Reload();
      return 0;
    }
    case WM_GALLERY_ALBUM_FORWARD:
      if (panel) (void)platform::SendMessageW(panel->GetHWND(), uMsg, 0, lParam);
      return 0;
    case WM_GALLERY_ALBUM_REMOVED:
      OnAlbumRemoved(reinterpret_cast<std::string*>(lParam));
      return 0;
    case WM_GALLERY_SWITCH_CHANGED:
      SyncHelper::GetInstance().SetSyncSwitch(wParam == 1);
      return 0;
    case WM_GALLERY_CONTINUE_UPLOAD:
      (void)CommonAbility::DriveThreadPool::GetInstance().Add(
          [] { GalleryTransManager::GetInstance().ResumeAll(TaskType::Upload); });
      return 0;
    case WM_GALLERY_UPLOAD_LIMIT:
      SayLimit();
      return 0;
    case WM_GALLERY_UPLOAD_FINISHED:
      OnUploadFinished(reinterpret_cast<TransferTask::Ptr*>(wParam),
                       reinterpret_cast<GalleryFile::Ptr*>(lParam));
      return 0;
    case WM_GALLERY_DPI:
      SetUpdateDPI(static_cast<int>(wParam));
      return 0;
    case WM_GALLERY_RETURN_DONE:
      GlobalData::returningFromViewer = false;
      if (list) list->RedrawRows(true);
      return 0;
    case WM_GALLERY_ZOOM_ENABLE:
      EnableZoom(lParam == 0);
      return 0;
    case WM_GALLERY_VIEWER_LEFT:
      if (wParam == 0) OnViewerLeft(lParam ? *reinterpret_cast<const GalleryFile::Ptr*>(lParam) : nullptr);
      return 0;
    case WM_GALLERY_VIEWER_CLOSE_TOP: {
      const HWND full = GlobalData::fullWnd.load();
      (void)platform::SendMessageW(full ? full : GlobalData::viewerWnd.load(), WM_GALLERY_VIEWER_CLOSE, 0, 0);
      return 0;
    }
    case WM_GALLERY_ZOOM_SLIDER:
      if (sliderIsZoom) SetSliderQuietly(static_cast<int>(lParam));
      return 0;
    case WM_GALLERY_DELETE_SHOWN:
      // A held key asks again while the question stands.
      if (std::exchange(asksForShown, true)) return 0;
      {
        const QPointer<ZentaraGallery> page(this);
        OnDeleteFile(false);
        if (page) asksForShown = false;
      }
      return 0;
    case WM_GALLERY_SHOW_WINDOW:
      LogInfo(kTag, "show gallery window!");
      WindowImplBaseEx::ShowWindow(true);
      return 0;
    case WM_GALLERY_LANGUAGE_CHANGED:
      Retext();
      return 0;
    case WM_GALLERY_LOGIN:
      LogInfo(kTag, std::string("gallery login status change: ") + (lParam ? "login" : "logout"));
      if (lParam) {
        UpdateUser();
      } else {
        GlobalData::multiBubbleShown = true;
      }
      return 0;
    case WM_GALLERY_DATA_RESET:
      Selection().SelectClear(false);
      if (loadPage) loadPage->Close();
      for (const HWND window : {GlobalData::fullWnd.load(), GlobalData::viewerWnd.load()})
        (void)platform::SendMessageW(window, WM_GALLERY_VIEWER_CLOSE, 0, 0);
      LcdPictures::GetInstance().Clear();
      ViewerList::Clear();
      if (panel) (void)platform::SendMessageW(panel->GetHWND(), WM_GALLERY_ALBUM_CLEAR, 0, 0);
      if (uploadProcess) uploadProcess->hide();
      if (HasViewer()) {
        OnToolbarState(2);
      } else if (Selection().Count() > 0) {
        OnToolbarState(1);
      } else {
        Page::Post(WM_GALLERY_REDRAW, 0, 1);
        Page::Post(WM_GALLERY_REDRAW, 0, 0);
      }
      return 0;
    case WM_GALLERY_FUNCTIONS_CHANGED:
      OnToolbarState(HasViewer() ? 2 : Selection().Count() > 0 ? 1 : 0);
      (void)platform::SendMessageW(GlobalData::viewerWnd, uMsg, 0, 0);
      if (panel) (void)platform::SendMessageW(panel->GetHWND(), uMsg, 0, 0);
      return 0;
    case WM_GALLERY_SIZE_AGAIN:
      OnSize();
      return 0;
    case WM_HOME_GALLERY_DBLCLICK: {
      const std::unique_ptr<std::wstring> path(reinterpret_cast<std::wstring*>(lParam));
      if (path) OnDblClick(Page::Wide(*path), wParam == 1);
      return 0;
    }
    case WM_GALLERY_CONTENT_STATUS:
      UpdateDatabaseCloudContentStatus(wParam, lParam);
      return 0;
    case WM_GALLERY_SHELL_DROP: {
      const std::unique_ptr<std::wstring> path(reinterpret_cast<std::wstring*>(lParam));
      if (path) DragDownGalleryFile(*path);
      return 0;
    }
    case WM_RESTART_MANAGER:
      DropWatch().Restart();
      return 0;
    case WM_DRAG_ENTER:
      return OnDragEnter(*reinterpret_cast<DragDataUI*>(lParam));
    case WM_DRAG_OVER:
      return OnDragOver(*reinterpret_cast<DragDataUI*>(lParam));
    case WM_DRAG_LEAVE:
      return OnDragLeave();
    case WM_DRAG_RELEASE:
      return OnDragRelease(*reinterpret_cast<DragDataUI*>(lParam));
    default:
      handled = false;
      return WindowImplBaseEx::HandleMessage(uMsg, wParam, lParam, handled);
  }
}

// The album is gone from the gallery; of the time line only what it holds can go.
void ZentaraGallery::OnAlbumRemoved(std::string* id) {
  const std::unique_ptr<std::string> removed(id);
  if (IsTimeLine() && current->FileCount() == 0) {
    for (const HWND window : {GlobalData::fullWnd.load(), GlobalData::viewerWnd.load()})
      (void)platform::SendMessageW(window, WM_GALLERY_VIEWER_CLOSE, 0, 0);
    EnableZoom(false);
  }
  if (panel) panel->Reload();
}

// Both records are the page's to free, whichever of them there is.
void ZentaraGallery::OnUploadFinished(TransferTask::Ptr* task, GalleryFile::Ptr* file) {
  const std::unique_ptr<TransferTask::Ptr> ended(task);
  const std::unique_ptr<GalleryFile::Ptr> uploaded(file);
  if (list && uploaded) list->RedrawRows(false);
}

// The host has placed the page already; what stands in it follows.
void ZentaraGallery::SetUpdateDPI(int dpi) {
  Manager().SetDPI(dpi);
  LogInfo(kTag, "ZentaraGallery::dpiVal: " + std::to_string(dpi));
  for (const HWND window :
       {GlobalData::albumWnd.load(), GlobalData::fullWnd.load(), GlobalData::viewerWnd.load()})
    (void)platform::SendMessageW(window, WM_GALLERY_DPI, static_cast<WPARAM>(dpi), 0);
  sizedAt = {};
  OnSize();
}

void ZentaraGallery::EnableZoom(bool enabled) {
  for (const char* name : {"slider_pic", "btn_narrow", "btn_expansion"})
    if (auto* control = FindControl(QString::fromLatin1(name))) control->SetEnabled(enabled);
}

// A file that the desktop or the home page names: shown in the time line.
void ZentaraGallery::OnDblClick(const QString& path, bool jump) {
  (void)platform::SendMessageW(GlobalData::fullWnd, WM_GALLERY_VIEWER_CLOSE, 0, 0);
  GlobalData::returningFromViewer = true;
  if (panel) panel->SelectAlbum(SystemAlbumId(AlbumKind::TimeLine));
  // A million paths are no work for this thread.
  Page::InBackground(
      this, [wanted = Page::Wide(path)] { return FileAt(wanted); },
      [this, jump](const GalleryFile::Ptr& found) { ShowFound(found, jump); });
}

void ZentaraGallery::ShowFound(const GalleryFile::Ptr& found, bool jump) {
  if (!found) {
    GlobalData::returningFromViewer = false;
    PopMessageBox(*this, QStringLiteral("IDS_GALLERT_INFORMATION"), QStringLiteral("IDS_FASTACCESS_NO_FILE"),
                  QStringLiteral("IDS_GALLERT_BTN_OK"));
    return;
  }
  if (jump) {
    LogInfo(kTag, "SearchOpenGalleryPath Enter");
    Selection().SelectClear(true);
    Selection().OnLButtonDown(found);
    GlobalData::returningFromViewer = false;
    GlobalData::searchJump = true;
    GlobalData::searchJumpPending = true;
  } else {
    OpenInViewer(found);
  }
  Page::Post(WM_GALLERY_REDRAW, 0, 1);
}
