#include "ui/viewer/douclickthumui.h"

#include "ui/pagecontext.h"
#include "ui/player/player.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/view/pageflags.h"
#include "ui/viewer/fullscreenrespondui.h"
#include "ui/viewer/viewerlist.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/messages.h"

namespace {

// Below this width of the window the details lie over the picture.
constexpr int kLeastWide = 1080;

}  // namespace

CDouClickThumUI::CDouClickThumUI() { setAttribute(Qt::WA_DeleteOnClose); }

void CDouClickThumUI::InitWindow() {
  PictureWindow::InitWindow();
  GlobalData::viewerWnd = GetHWND();
}

void CDouClickThumUI::OnFinalMessage() {
  PictureWindow::OnFinalMessage();
  VideoPlayer::StopVideo();
  ViewerList::LeaveBurst();
  GlobalData::viewerWnd = nullptr;
}

FullScreenRespondUI* CDouClickThumUI::Full() const {
  return dynamic_cast<FullScreenRespondUI*>(toolkit::WidgetOf(GlobalData::fullWnd));
}

const PictureWindow::File& CDouClickThumUI::ShownNow() const { return Full() ? Full()->Shown() : Shown(); }

// --- Bursts

void CDouClickThumUI::BurseCoverShow(const File& parent) { EnterBurst(parent); }

void CDouClickThumUI::Leave() {
  Page::Post(WM_GALLERY_RETURN_DONE);
  BtnBack();
}

void CDouClickThumUI::BtnBack() {
  if (IsBurst()) {
    LogOperation("halcyra_gallery_burstback");
    const File parent = ViewerList::BurstParent();
    ViewerList::LeaveBurst();
    return ShowFile(parent);
  }
  LogOperation("halcyra_gallery_detailback");
  (void)platform::SendMessageW(GetHWND(), WM_GALLERY_VIEWER_CLOSE, 0, 0);
}

// The shot is gone, or its cover: what is left of the burst is a picture of the album.
void CDouClickThumUI::OnBurstGone() {
  const File parent = ViewerList::BurstParent();
  ViewerList::LeaveBurst();
  VideoPlayer::StopVideo();
  if (GalleryFileListViewHelper::GetInstance().HasFile(parent)) SetPicObject(parent);
  if (ViewerList::Count() == 0) return OnEmptied();
  if (GalleryFileListViewHelper::GetInstance().HasFile(Shown())) return FollowWinChange(false);
  CalDeleteAddMoveUpdata();
}

// --- Full screen

void CDouClickThumUI::ToggleFullScreen() {
  if (Full() || !Shown()) return;
  auto* full = new FullScreenRespondUI;
  QWidget* over = window();
  if (!full->Create(over, QStringLiteral("FullScreenRespondUI"), WindowStyle::Child, over->rect())) {
    delete full;
    return;
  }
  full->SetPicObject(Shown());
  full->show();
  full->raise();
  full->setFocus(Qt::OtherFocusReason);
  full->FollowWinChange(false);
  if (VideoPlayer::HasPlayer())
    (void)platform::SendMessageW(full->GetHWND(), WM_GALLERY_PLAYER_TO_FULL, 0, 0);
}

void CDouClickThumUI::TakeFromFull(int degrees, const File& file) {
  if (file) SetPicObject(file);
  ViewerList::SetRotation(Shown(), degrees);
  FollowWinChange(false);
  setFocus(Qt::OtherFocusReason);
}

// --- Around the picture

void CDouClickThumUI::OnFollowed() {
  (void)platform::SendMessageW(GlobalData::fullWnd, WM_GALLERY_ATTR_FILE, 0, Shown()->IsFavorite);
}

void CDouClickThumUI::OnEmptied() {
  SetPicObject(nullptr);
  CloseViewer();
}

void CDouClickThumUI::ShowAttributesOn(bool on) {
  PictureWindow::ShowAttributesOn(on);
  FitAttributes();
}

void CDouClickThumUI::FitAttributes() {
  const bool beside =
      Attributes() && Attributes()->GetHWND() && window()->width() >= Manager().Scale(kLeastWide);
  if (auto* room = FindControl(QStringLiteral("ConRightWidth"))) room->SetVisible(beside);
}

void CDouClickThumUI::resizeEvent(QResizeEvent* event) {
  FitAttributes();
  PictureWindow::resizeEvent(event);
}

void CDouClickThumUI::CloseViewer() {
  if (auto* full = Full()) full->Close();
  VideoPlayer::StopVideo();
  const File file = IsBurst() ? ViewerList::BurstParent() : Shown();
  Close();
  if (file) Page::Send(WM_GALLERY_VIEWER_LEFT, 0, reinterpret_cast<LPARAM>(&file));
  if (!file) Page::Send(WM_GALLERY_VIEWER_LEFT, 0, 0);
  Page::Post(WM_GALLERY_ZOOM_ENABLE, 0, 0);
}

// --- Film

void CDouClickThumUI::ShowBar() {
  ShowBottomBar(true);
  VideoPlayer::SetPlayState(PlayBar());
  VLCWndOnSize();
}

void CDouClickThumUI::OnVideoEnded() {
  (void)platform::SendMessageW(GlobalData::fullWnd, WM_GALLERY_FULL_FOLLOW, 0, 0);
  VideoPlayer::StopVideo();
  ShowBottomBar(false);
  FollowWinChange(true);
}

LRESULT CDouClickThumUI::HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) {
  handled = true;
  switch (uMsg) {
    case WM_GALLERY_VIEWER_CLOSE:
      CloseViewer();
      return 0;
    case WM_GALLERY_VIEWER_BURST:
      if (const auto* parent = reinterpret_cast<const File*>(lParam)) BurseCoverShow(*parent);
      return 0;
    case WM_GALLERY_FULL_OPEN:
      ToggleFullScreen();
      return 0;
    case WM_GALLERY_FULL_SYNC:
      TakeFromFull(static_cast<int>(wParam), lParam ? *reinterpret_cast<const File*>(lParam) : nullptr);
      return 0;
    case WM_GALLERY_PLAY_SHOWN:
      Full() ? Full()->vlcPaly() : vlcPaly();
      return 0;
    case WM_GALLERY_BAR_SHOW:
    case WM_GALLERY_BAR_BACK:
      ShowBar();
      return 0;
    case WM_GALLERY_VIDEO_RESIZE:
      ShowBottomBar(true);
      VLCWndOnSize();
      return 0;
    case WM_GALLERY_VIDEO_ENDED:
      OnVideoEnded();
      return 0;
    case WM_GALLERY_VIEWER_RESIZED:
      FitAttributes();
      return 0;
    default:
      return PictureWindow::HandleMessage(uMsg, wParam, lParam, handled);
  }
}
