// The picture viewer over the page: opening, leaving, and the zoom slider that it
// borrows.

#include <QStyle>

#include "common/toolkit/resourcemanager.h"
#include "host/base/logger.h"
#include "ui/dialogs/uploadprocess.h"
#include "ui/pagecontext.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/view/gridgeometry.h"
#include "ui/view/pageflags.h"
#include "ui/viewer/douclickthumui.h"
#include "ui/viewer/fullscreenrespondui.h"
#include "ui/zentaragallery.h"
#include "utils/gallerylog.h"
#include "utils/messages.h"

namespace {

constexpr char kTag[] = "ZentaraGallery";
constexpr int kEventOpen = 172;
constexpr int kPanelWidth = 200, kBanner = 30;
constexpr int kZoomMost = 100, kGridLeast = 1, kGridMost = 4;
constexpr int kZoomStep = 5;

GallerySelectHelper& Selection() { return GallerySelectHelper::GetInstance(); }

// The one that has the slider: the full screen while it is open.
HWND TopViewer() {
  const HWND full = GlobalData::fullWnd;
  return full ? full : GlobalData::viewerWnd.load();
}

}  // namespace

CDouClickThumUI* ZentaraGallery::Viewer() const {
  return dynamic_cast<CDouClickThumUI*>(toolkit::WidgetOf(GlobalData::viewerWnd));
}

void ZentaraGallery::OnCellDblClick(const TNotifyUI& message) {
  const auto* cell = dynamic_cast<CGalleryPictureUI*>(message.pSender);
  if (!cell || !cell->File() || !current || current->IsBin() || Selection().Count() == 0) return;
  if (cell->HitRect().contains(cell->PressedAt())) OnHomeGalleryCreatePhotoWnd(cell->File());
}

void ZentaraGallery::OnHomeGalleryCreatePhotoWnd(const GalleryFile::Ptr& file) {
  if (HasViewer()) (void)platform::SendMessageW(GlobalData::viewerWnd, WM_GALLERY_VIEWER_CLOSE, 0, 0);
  Selection().SelectClear(true);
  Selection().OnLButtonDown(file);
  auto* viewer = new CDouClickThumUI;
  if (!viewer->Create(this, QStringLiteral("CDouClickThum"), WindowStyle::Child, rect())) {
    delete viewer;
    return LogError(kTag, "create viewer fail!");
  }
  PlaceViewer();
  GiveSliderToViewer();
  viewer->SetPicObject(file);
  viewer->show();
  viewer->raise();
  viewer->setFocus(Qt::OtherFocusReason);
  for (const char* name : {"btn_uploadFiles", "btn_multiSelect"})
    if (auto* button = FindControl(QString::fromLatin1(name))) button->SetEnabled(false);
  viewer->FollowWinChange(true);
  Selection().RefreshNumberLabel();
  Logger::OutputOperationLog(kEventOpen, 1, 0, {{"total", "1"}});
}

// A shot that stands behind its cover is shown among the shots.
void ZentaraGallery::OpenInViewer(const GalleryFile::Ptr& file) {
  const auto cover = file->ContinuousType == 2 ? Gallery::GetInstance().CoverOf(file) : nullptr;
  if (!cover || !cover->HasMember(file)) return OnHomeGalleryCreatePhotoWnd(file);
  OnHomeGalleryCreatePhotoWnd(cover);
  (void)platform::SendMessageW(GlobalData::viewerWnd, WM_GALLERY_VIEWER_BURST, 0,
                               reinterpret_cast<LPARAM>(&cover));
  auto* viewer = Viewer();
  if (!viewer || !viewer->IsBurst()) return;
  viewer->SetPicObject(file);
  viewer->FollowWinChange(true);
}

void ZentaraGallery::PlaceViewer() {
  auto* viewer = Viewer();
  const auto* bar = FindControl(QStringLiteral("HorRightTop"));
  if (!viewer || !bar) return;
  const int from = Manager().Scale(kPanelWidth);
  const int top = bar->GetHeight() + (GlobalData::cloudDisabled ? Manager().Scale(kBanner) : 0);
  const QRect place(from, top, width() - from, height() - top);
  viewer->setGeometry(QStyle::visualRect(layoutDirection(), rect(), place));
  viewer->raise();
  if (uploadProcess) uploadProcess->raise();
}

// --- The slider

void ZentaraGallery::SetSliderQuietly(int value) {
  if (!slider) return;
  settingSlider = true;
  slider->SetValue(value);
  settingSlider = false;
}

void ZentaraGallery::GiveSliderToViewer() {
  if (!slider || std::exchange(sliderIsZoom, true)) return;
  settingSlider = true;
  slider->SetAttribute(QStringLiteral("stops"), QStringLiteral("false"));
  slider->SetMinValue(0);
  slider->SetMaxValue(kZoomMost);
  slider->SetAttribute(QStringLiteral("step"), QString::number(kZoomStep));
  slider->SetValue(0);
  slider->SetAttribute(QStringLiteral("sendmove"), QStringLiteral("true"));
  slider->SetValueText([](int value) {
    return Page::Fill(CResourceManager::GetText(QStringLiteral("IDS_VIEWER_ZOOM")),
                      {CResourceManager::FormatPercent(value)});
  });
  settingSlider = false;
}

void ZentaraGallery::GiveSliderBack() {
  if (!slider || !std::exchange(sliderIsZoom, false)) return;
  settingSlider = true;
  SetGridValueText();
  slider->SetMinValue(kGridLeast);
  slider->SetMaxValue(kGridMost);
  slider->SetAttribute(QStringLiteral("step"), QStringLiteral("1"));
  slider->SetAttribute(QStringLiteral("stops"), QStringLiteral("true"));
  slider->SetValue(savedSlider);
  settingSlider = false;
}

void ZentaraGallery::OnViewerZoom(int value) {
  (void)platform::PostMessageW(TopViewer(), WM_GALLERY_ZOOM_TO, 0, value);
}

// --- Leaving

void ZentaraGallery::OnViewerLeft(const GalleryFile::Ptr& file) {
  GiveSliderBack();
  EnableZoom(true);
  EnableMultiSelect(current && current->FileCount() > 0);
  OnToolbarState(0);
  const bool listed = file && GalleryFileListViewHelper::GetInstance().HasFile(file);
  if (listed) {
    Selection().SelectClear(true);
    Selection().OnLButtonDown(file);
    OnToolbarState(1);
  }
  Selection().RefreshNumberLabel();
  if (!list) return;
  list->setFocus(Qt::OtherFocusReason);
  if (!listed) return list->RedrawRows(true);
  // The time line puts itself on the one that is chosen.
  GlobalData::returningFromViewer = list->IsTimeLine() && !list->CellOf(file.get());
  list->RedrawRows(true);
  GlobalData::returningFromViewer = false;
  list->EnsureFileVisible(file);
}

// --- Keys that the tool bar or the panel had the focus for

bool ZentaraGallery::SendKeyToViewer(TEventUI& event) {
  auto* top = dynamic_cast<PictureWindow*>(toolkit::WidgetOf(TopViewer()));
  return top && top->OnKey(event);
}
