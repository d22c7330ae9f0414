#include "ui/viewer/picturewindow.h"

#include <QAbstractButton>
#include <QKeyEvent>
#include <QStyle>
#include <QWheelEvent>

#include "common/toolkit/motion.h"
#include "common/toolkit/overlays.h"
#include "common/toolkit/resourcemanager.h"
#include "host/base/drivethreadpool.h"
#include "host/base/logger.h"
#include "model/gallery.h"
#include "ui/pagecontext.h"
#include "ui/player/playcontrolui.h"
#include "ui/player/player.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/view/pageflags.h"
#include "ui/view/pagerules.h"
#include "ui/viewer/viewerlist.h"
#include "utils/gallerylog.h"
#include "utils/messages.h"

namespace {

constexpr char kTag[] = "PictureWindow";
constexpr int kEventChange = 180, kEventOperation = 173;
constexpr int kNotch = 120, kPrevious = 120, kNext = -120;
constexpr int kZoomStep = 10;
constexpr int kPanStep = 64;
// What a held key asks for next, and one that is turned back to.
constexpr int kAheadBefore = 3, kAheadBehind = 1;

// Public message numbers (documented Win32 values).
constexpr UINT WM_MOUSEWHEEL = 0x020A, WM_MOUSEHWHEEL = 0x020E;

GalleryFileListViewHelper& Helper() { return GalleryFileListViewHelper::GetInstance(); }

bool IsGif(const GalleryFile& file) {
  return Page::Wide(file.FileName()).endsWith(QStringLiteral(".gif"), Qt::CaseInsensitive);
}

// A wheel's message as the system would write it: the delta in the upper half.
WPARAM WheelWord(int delta) { return static_cast<WPARAM>(static_cast<std::uint16_t>(delta)) << 16 | 8; }
int DeltaOf(WPARAM word) { return static_cast<std::int16_t>(word >> 16 & 0xFFFF); }

}  // namespace

CControlUI* PictureWindow::CreateControl(const QString& element) {
  if (element == QStringLiteral("DouThumLCD")) return new CDouThumLCDUI;
  if (element == QStringLiteral("GifButton")) return new CGifButtonUI;
  if (element == QStringLiteral("CircleProgress")) return new PCCircleProgressUI;
  if (element == QStringLiteral("BurstStrip")) return new BurstStripUI;
  if (element == QStringLiteral("PlayControl")) return new CPlayControlUI;
  return nullptr;
}

void PictureWindow::FindControls() {
  lcd = dynamic_cast<CDouThumLCDUI*>(
      FindControl(IsFull() ? QStringLiteral("DouThumFullLCDH") : QStringLiteral("DouThumLCDH")));
  gif = dynamic_cast<CGifButtonUI*>(
      FindControl(IsFull() ? QStringLiteral("DouThumFullLCDgif") : QStringLiteral("DouThumLCDgif")));
  ring = Find<PCCircleProgressUI>(QStringLiteral("CircleProgress"));
  strip = Find<BurstStripUI>(QStringLiteral("burst_strip"));
}

void PictureWindow::InitWindow() {
  FindControls();
  setFocusPolicy(Qt::StrongFocus);
  if (auto* stage = Stage()) stage->Widget()->installEventFilter(this);
  connect(&CResourceManager::GetInstance(), &CResourceManager::languageChanged, this,
          [this] { FollowWinChange(false); });
  // The arrow keys are for pictures wherever the focus is, and a click leaves it alone.
  for (auto* button : findChildren<QAbstractButton*>()) {
    button->setFocusPolicy(Qt::TabFocus);
    button->installEventFilter(this);
  }
}

void PictureWindow::OnFinalMessage() {
  if (lcd) lcd->LoadLcd(nullptr);
  if (gif) gif->SetFrames(nullptr);
}

bool PictureWindow::IsBurst() const { return ViewerList::InBurst(); }

void PictureWindow::LogOperation(const char* key, const std::map<std::string, std::string>& values) {
  auto all = values;
  all["key"] = key;
  Logger::OutputOperationLog(kEventOperation, 1, 0, all);
}

// --- Through the list

int PictureWindow::GetPicLeftaddrightNum() const {
  const int index = ViewerList::IndexOf(shown);
  if (index < 0) LogInfo(kTag, "GetIdxFromSource: index=-1");
  return index;
}

PictureWindow::File PictureWindow::GetPicObject(int index) const {
  return index > ViewerList::Count() - 2 ? nullptr : ViewerList::At(index + 1);
}

void PictureWindow::CalMouseWheelIndex(int delta) {
  if (!shown || ViewerList::Count() < 2) return;
  const int index = GetPicLeftaddrightNum();
  if (index < 0) return;
  const bool previous = delta > 0;
  const File next = previous ? ViewerList::At(index - 1) : GetPicObject(index);
  if (!next) return;
  direction = previous ? -1 : 1;
  Logger::OutputOperationLog(kEventChange, 1, 0,
                             {{"ChangeType", previous ? "left" : "right"}, {"total", "1"}});
  ShowFile(next);
}

void PictureWindow::ShowAt(int index) {
  const File next = ViewerList::At(index);
  if (next && next != shown) ShowFile(next);
}

void PictureWindow::ShowFile(const File& file) {
  VideoPlayer::StopVideo();
  SetPicObject(file);
  FollowWinChange(true);
}

void PictureWindow::SetPicObject(const File& file) {
  LogInfo(kTag, IsFull() ? "FullScreenRespondUI-SetPicObject: enter" : "CDouClickThumUI-SetPicObject: enter");
  shown = file;
}

// --- What is shown

void PictureWindow::FollowWinChange(bool reloadThumb) {
  if (!shown || !Helper().CurrentAlbum() || ViewerList::Count() == 0) return;
  if (reloadThumb) VideoPlayer::DeleteVideoLoadWnd();
  RememberPlace();
  FollowFavorite();
  Page::Send(
      WM_GALLERY_TOOLBAR_STATE, 0,
      static_cast<int>(IsBurst() ? PageRules::ToolbarState::BurstMember : PageRules::ToolbarState::Viewer));
  if (VideoPlayer::HasPlayer())
    Page::Send(WM_GALLERY_TOOLBAR_STATE, 0, static_cast<int>(PageRules::ToolbarState::Video));
  HideProgress();
  FollowPicture();
  ShowTitle();
  ShowArrows();
  if (Attributes())
    (void)platform::SendMessageW(attributes->GetHWND(), WM_GALLERY_ATTR_OPEN, 0,
                                 reinterpret_cast<LPARAM>(&shown));
  OnFollowed();
}

// In the album, also while a burst of it is looked into.
void PictureWindow::RememberPlace() {
  const std::uint32_t index = Helper().GetFileIndex(IsBurst() ? ViewerList::BurstParent() : shown);
  if (index != GalleryFileListViewHelper::kNoIndex) shownIndex = static_cast<int>(index);
}

void PictureWindow::FollowPicture() {
  const bool isGif = IsGif(*shown), isVideo = shown->IsVideo();
  Page::Send(WM_GALLERY_ZOOM_ENABLE, 0, isGif || isVideo ? 1 : 0);
  lcd->SetZoomable(!isGif && !isVideo);
  const double before = lcd->Zoom();
  lcd->LoadLcd(shown);
  if (lcd->Rotation() != ViewerList::RotationOf(shown)) lcd->SetRotation(ViewerList::RotationOf(shown));
  if (before != lcd->Zoom()) PostZoomSlider(lcd->Zoom());
  ShowStill();
  ShowButton(QStringLiteral("playBtn"), isVideo && !VideoPlayer::HasPlayer());
  if (auto* turn = FindControl(QStringLiteral("RotateBtn"))) turn->SetEnabled(!isVideo);
  if (!VideoPlayer::HasPlayer()) ShowBottomBar(false);
  DecodeAhead();
}

// A moving picture has a control of its own, which takes over when its frames are there.
void PictureWindow::ShowStill() {
  const auto& frames = lcd->Picture().frames;
  if (gif) {
    gif->SetFrames(frames);
    gif->SetRotation(lcd->Rotation());
    gif->SetVisible(frames != nullptr);
  }
  lcd->SetVisible(!frames || !gif);
}

void PictureWindow::DecodeAhead() {
  const int index = ViewerList::IndexOf(shown);
  if (index < 0) return;
  std::vector<File> files;
  for (int i = 1; i <= kAheadBefore; ++i) files.push_back(ViewerList::At(index + i * direction));
  for (int i = 1; i <= kAheadBehind; ++i) files.push_back(ViewerList::At(index - i * direction));
  std::erase(files, nullptr);
  LcdPictures::GetInstance().Ahead(files, lcd->Box());
}

void PictureWindow::ShowTitle() {
  if (auto* title = Find<CLabelUI>(QStringLiteral("TitleLcd")))
    title->SetText(CResourceManager::FormatDateTime(shown->CreateTime));
  auto* cover = Find<CButtonUI>(QStringLiteral("BurstCover"));
  if (auto* bar = FindControl(QStringLiteral("BurstCoverV"))) bar->SetVisible(IsBurst());
  if (strip) strip->SetShown(ViewerList::IndexOf(shown));
  if (!cover) return;
  const int members = shown->ContinuousType == 1 ? static_cast<int>(shown->GetMembers().size()) : 0;
  cover->SetVisible(IsBurst() || members > 0);
  if (IsBurst()) {
    cover->SetText(Page::Fill(CResourceManager::GetText(QStringLiteral("IDS_VIEWER_SHOT_OF")),
                              {CResourceManager::FormatNumber(ViewerList::IndexOf(shown) + 1),
                               CResourceManager::FormatNumber(ViewerList::Count())}));
  } else if (members > 0) {
    cover->SetText(CResourceManager::GetPluralText(QStringLiteral("IDS_VIEWER_SHOTS"), members + 1));
  }
}

void PictureWindow::ShowArrows() {
  const int index = ViewerList::IndexOf(shown);
  ShowButton(QStringLiteral("leftBtn"), ShowsArrows() && index > 0);
  ShowButton(QStringLiteral("rightBtn"), ShowsArrows() && index >= 0 && index < ViewerList::Count() - 1);
}

void PictureWindow::ShowButton(const QString& name, bool on) {
  auto* control = FindControl(name);
  if (!control || control->IsVisible() == on) return;
  // The focus of a button that goes would land on whatever is next.
  if (!on && control->IsFocused()) setFocus(Qt::OtherFocusReason);
  control->SetVisible(on);
}

void PictureWindow::ShowFavorite(bool on) {
  auto* button = Find<CButtonUI>(QStringLiteral("FavoriteBtn"));
  if (!button) return;
  button->SetIcon(on ? QStringLiteral("heart-filled") : QStringLiteral("heart"));
  button->SetAttribute(QStringLiteral("iconcolor"), on ? QStringLiteral("danger") : QString());
  button->SetToolTip(on ? QStringLiteral("IDS_GALLERT_LCD_UNFAVORITE")
                        : QStringLiteral("IDS_GALLERT_LCD_FAVORITE"));
}

void PictureWindow::ShowAttributesOn(bool on) {
  if (auto* button = Find<CButtonUI>(QStringLiteral("AttributeBtn"))) button->Selected(on);
}

// --- Loading

void PictureWindow::ShowProgress(int percent) {
  if (!ring) return;
  ring->SetValue(percent);
  ring->SetVisible(true);
  ring->raise();
}

void PictureWindow::HideProgress() {
  if (ring) ring->SetVisible(false);
}

void PictureWindow::OnLcdMessage(UINT message) {
  if (message == WM_GALLERY_LCD_RELOAD) {
    LcdPictures::GetInstance().Forget(shown);
    lcd->LoadLcd(shown);
    return;
  }
  if (message == WM_GALLERY_LCD_FAILED) HideProgress();
  const double before = lcd->Zoom();
  lcd->Take();
  if (before != lcd->Zoom()) PostZoomSlider(lcd->Zoom());
  ShowStill();
}

// --- What the user does

void PictureWindow::PostZoomSlider(double value) {
  Page::Post(WM_GALLERY_ZOOM_SLIDER, 0, std::lround(value));
}

void PictureWindow::BtnRotate() {
  if (!shown || shown->IsVideo()) return;
  LogOperation("halcyra_gallery_rotate");
  ViewerList::SetRotation(shown, lcd->Rotation() + 90);
  lcd->SetRotation(ViewerList::RotationOf(shown));
  if (gif) gif->SetRotation(lcd->Rotation());
  PostZoomSlider(0);
}

void PictureWindow::PicAttributeShowToCanle() {
  if (!shown) return;
  const bool on = !favoriteFlag;
  LogOperation(
      "halcyra_gallery_setfavorite",
      {{"Isfavorite", on ? "true" : "false"}, {"total", "1"}, {"size", std::to_string(shown->Size.Get())}});
  SetFavorite(shown, on);
  SayFavorite(on);
}

void PictureWindow::SetFavorite(const GalleryFile::Ptr& file, bool on) {
  if (file == shown) {
    TakeFavorite(on);
    if (favoriteWritten != shown) WriteFavorite();
  } else {
    (void)CommonAbility::DriveThreadPool::GetInstance().Add(
        [file, on] { (void)Gallery::GetInstance().FavoriteFiles(file, on); });
  }
}

// In the picture's own part of the window: a film's bar and the shots of a burst stay free.
void PictureWindow::SayFavorite(bool on) {
  Toast::Contents said{.icon = on ? QStringLiteral("heart-filled") : QStringLiteral("heart"),
                       .sentence = on ? QStringLiteral("IDS_VIEWER_FAVORITE_ADDED")
                                      : QStringLiteral("IDS_VIEWER_FAVORITE_REMOVED"),
                       .action = QStringLiteral("IDS_GALLERY_UNDO"),
                       .onAction = [this, file = shown, on] { SetFavorite(file, !on); }};
  (void)Toast::Show(*lcd->parentWidget(), said);
}

// On a worker; what became of it comes back. One write of a file at a time: two would
// come to the row in any order.
void PictureWindow::WriteFavorite() {
  favoriteWritten = shown;
  const HWND self = GetHWND();
  (void)CommonAbility::DriveThreadPool::GetInstance().Add([file = shown, on = favoriteFlag, self] {
    (void)Gallery::GetInstance().FavoriteFiles(file, on);
    (void)platform::PostMessageW(self, WM_GALLERY_PIC_REFRESH, reinterpret_cast<WPARAM>(file.get()), on);
  });
}

// Meanwhile the user may have thought better of it.
void PictureWindow::OnFavoriteWritten(WPARAM word, bool on) {
  if (word == reinterpret_cast<WPARAM>(favoriteWritten.get())) favoriteWritten = nullptr;
  if (!IsShown(word)) return;
  if (favoriteFlag != on) return WriteFavorite();
  TakeFavorite(shown->IsFavorite);
}

void PictureWindow::TakeFavorite(bool on) {
  favoriteFlag = on;
  ShowFavorite(on);
  if (Attributes()) (void)platform::PostMessageW(attributes->GetHWND(), WM_GALLERY_ATTR_FILE, 0, on);
}

// Of the record, but for what is on its way there.
void PictureWindow::FollowFavorite() {
  if (favoriteWritten != shown) favoriteFlag = shown->IsFavorite;
  ShowFavorite(favoriteFlag);
}

PicAttributeWnd* PictureWindow::Attributes() const {
  return attributes && attributes->GetHWND() ? attributes.data() : nullptr;
}

void PictureWindow::CreateAttributeWnd() {
  if (Attributes()) return attributes->Close();
  LogInfo(kTag, "halcyra_gallery_showprompt");
  LogOperation("halcyra_gallery_showprompt");
  attributes = new PicAttributeWnd(GetHWND());
  (void)attributes->Create(this, QStringLiteral("PicAttributeWnd"), WindowStyle::Child, AttributeRect());
  (void)platform::SendMessageW(attributes->GetHWND(), WM_GALLERY_ATTR_OPEN, 0,
                               reinterpret_cast<LPARAM>(&shown));
  attributes->show();
  ShowAttributesOn(true);
  PlaceAttributes();
  const int way = Manager().Scale(toolkit::motion::kPaneWay);
  toolkit::motion::Appear(*attributes, toolkit::motion::kPaneMs,
                          {.offset = {isRightToLeft() ? -way : way, 0}});
}

QRect PictureWindow::AttributeRect() const {
  const int wide = Manager().Scale(PicAttributeWnd::kWidth), top = Manager().Scale(TopBar());
  return QStyle::visualRect(layoutDirection(), rect(), {width() - wide, top, wide, height() - top});
}

void PictureWindow::PlaceAttributes() {
  if (Attributes()) (void)platform::SendMessageW(attributes->GetHWND(), WM_GALLERY_ATTR_FOLLOW, 0, 0);
}

void PictureWindow::EnterBurst(const File& parent) {
  LogOperation("halcyra_gallery_burst");
  if (!ViewerList::EnterBurst(parent)) return;
  Page::Post(WM_GALLERY_VIEWER_LEFT, 1, 0);
  ShowFile(parent);
}

void PictureWindow::vlcPaly() {
  if (!shown || !shown->IsVideo() || !Stage()) return;
  VideoPlayer::PlayVideo(Stage()->Widget(), shown, Stage()->Widget()->rect(), PlayBar());
  ShowButton(QStringLiteral("playBtn"), !VideoPlayer::HasPlayer());
}

CPlayControlUI* PictureWindow::PlayBar() const { return Find<CPlayControlUI>(QStringLiteral("PlayControl")); }

void PictureWindow::ShowBottomBar(bool on) {
  if (auto* bar = FindControl(QStringLiteral("bottomCon"))) bar->SetVisible(on);
}

void PictureWindow::VLCWndOnSize() {
  if (Stage() && VideoPlayer::HasPlayer()) VideoPlayer::VLCWndOnSize(Stage()->Widget()->rect());
}

void PictureWindow::Notify(TNotifyUI& message) {
  if (message.sType == QStringLiteral("click") && message.pSender) return OnClick(message.pSender->GetName());
  if (message.sType == QStringLiteral("zoomed")) return PostZoomSlider(static_cast<double>(message.wParam));
  if (message.sType == QStringLiteral("turned")) return OnWheel(static_cast<int>(message.lParam));
  if (message.sType == QStringLiteral("turnedacross")) return OnWheelAcross(static_cast<int>(message.lParam));
  if (message.sType == QStringLiteral("wheel")) {
    (void)platform::SendMessageW(GetHWND(), WM_MOUSEWHEEL, WheelWord(static_cast<int>(message.lParam)), 0);
    return;
  }
  if (message.sType == QStringLiteral("itemselect") && message.pSender == strip)
    ShowAt(static_cast<int>(message.wParam));
}

void PictureWindow::OnClick(const QString& name) {
  const auto is = [&name](const char* other) { return name == QString::fromLatin1(other); };
  if (is("leftBtn")) return CalMouseWheelIndex(kPrevious);
  if (is("rightBtn")) return CalMouseWheelIndex(kNext);
  if (is("RotateBtn")) return BtnRotate();
  if (is("FavoriteBtn") || is("FavoriteBtn1")) return PicAttributeShowToCanle();
  if (is("AttributeBtn") || is("AttributeBtn1")) return CreateAttributeWnd();
  if (is("FullScreenBtn")) return ToggleFullScreen();
  if (is("Backbtn") || is("CloseBtn")) return Leave();
  if (is("playBtn")) return vlcPaly();
  if (is("BurstCover") && !IsBurst()) EnterBurst(shown);
}

void PictureWindow::wheelEvent(QWheelEvent* event) {
  const QPoint turned = event->angleDelta();
  const bool zooms = event->modifiers() & Qt::ControlModifier;
  if (!zooms) turned.y() != 0 ? OnWheel(turned.y()) : OnWheelAcross(turned.x());
  event->accept();  // The grid below does not scroll.
}

// In the full screen a touch pad that slips sideways turns nothing.
void PictureWindow::OnWheelAcross(int delta) {
  if (!GlobalData::fullWnd) OnWheel(layoutDirection() == Qt::RightToLeft ? -delta : delta);
}

// A wheel turns by notches; a touch pad in small parts of them.
void PictureWindow::OnWheel(int delta) {
  if ((delta > 0) != (wheelRest > 0)) wheelRest = 0;
  wheelRest += delta;
  for (; std::abs(wheelRest) >= kNotch; wheelRest += wheelRest > 0 ? -kNotch : kNotch)
    CalMouseWheelIndex(wheelRest > 0 ? kPrevious : kNext);
}

// --- Keys

bool PictureWindow::MovesPicture(const TEventUI& event, int towardsNext) {
  const bool pans = lcd && lcd->CanPan() && !(event.modifiers & Qt::KeypadModifier);
  if (pans && (event.modifiers & Qt::ShiftModifier)) {
    lcd->Pan({towardsNext * -1.0 * Manager().Scale(kPanStep), 0});
  } else {
    CalMouseWheelIndex((towardsNext > 0) != (layoutDirection() == Qt::RightToLeft) ? kNext : kPrevious);
  }
  return true;
}

bool PictureWindow::OnKey(TEventUI& event) {
  if (event.Type == EventType::KeyUp || !lcd) return WindowImplBaseEx::OnKey(event);
  if (event.modifiers & (Qt::ControlModifier | Qt::AltModifier)) return false;
  const bool keypad = event.modifiers & Qt::KeypadModifier;
  switch (event.key) {
    case Qt::Key_Left:
      return MovesPicture(event, -1);
    case Qt::Key_Right:
      return MovesPicture(event, 1);
    case Qt::Key_4:
      return keypad && MovesPicture(event, -1);
    case Qt::Key_6:
      return keypad && MovesPicture(event, 1);
    case Qt::Key_PageUp:
      CalMouseWheelIndex(kPrevious);
      return true;
    case Qt::Key_PageDown:
      CalMouseWheelIndex(kNext);
      return true;
    case Qt::Key_Home:
      ShowAt(0);
      return true;
    case Qt::Key_End:
      ShowAt(ViewerList::Count() - 1);
      return true;
    case Qt::Key_Up:
    case Qt::Key_Down:
      lcd->Pan({0, (event.key == Qt::Key_Up ? 1.0 : -1.0) * Manager().Scale(kPanStep)});
      return true;
    case Qt::Key_Space:
      shown && shown->IsVideo() ? vlcPaly() : CalMouseWheelIndex(kNext);
      return true;
    case Qt::Key_Plus:
    case Qt::Key_Equal:
    case Qt::Key_Minus:
      lcd->SetZoom(lcd->Zoom() + (event.key == Qt::Key_Minus ? -kZoomStep : kZoomStep));
      PostZoomSlider(lcd->Zoom());
      return true;
    case Qt::Key_0:
      lcd->SetZoom(0);
      PostZoomSlider(0);
      return true;
    case Qt::Key_1:
      lcd->ActualSize();
      return true;
    case Qt::Key_R:
      BtnRotate();
      return true;
    case Qt::Key_F:
      PicAttributeShowToCanle();
      return true;
    case Qt::Key_I:
      CreateAttributeWnd();
      return true;
    case Qt::Key_F11:
      ToggleFullScreen();
      return true;
    case Qt::Key_Delete:
      if (!IsBurst()) Page::Post(WM_GALLERY_DELETE_SHOWN);
      return true;
    case Qt::Key_Escape:
      Leave();
      return true;
    default:
      return WindowImplBaseEx::OnKey(event);
  }
}

// --- The album changes

void PictureWindow::CalDeleteAddMoveUpdata() {
  if (!shown || !Helper().CurrentAlbum()) return;
  if (IsBurst()) {
    const bool parentThere = Helper().HasFile(ViewerList::BurstParent());
    if (!parentThere || !ViewerList::RefreshBurst() || ViewerList::IndexOf(shown) < 0) return OnBurstGone();
    return FollowWinChange(false);
  }
  if (Helper().HasSameFile(shown)) {
    RememberPlace();
    FollowFavorite();
    ShowTitle();
    ShowArrows();
    // Another content may have come under the same file; zoom and place stay.
    lcd->LoadLcd(shown);
    ShowStill();
    return DecodeAhead();
  }
  VideoPlayer::StopVideo();
  ShowBottomBar(false);
  const int count = ViewerList::Count();
  if (count == 0) return OnEmptied();
  const File next = ViewerList::At(shownIndex < count ? shownIndex : count - 1);
  SetPicObject(next);
  FollowWinChange(true);
}

// --- Messages

LRESULT PictureWindow::HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) {
  handled = true;
  switch (uMsg) {
    case WM_GALLERY_LCD_READY:
    case WM_GALLERY_LCD_FAILED:
    case WM_GALLERY_LCD_RELOAD:
      if (IsShown(wParam)) OnLcdMessage(uMsg);
      return 0;
    case WM_GALLERY_LCD_PROGRESS:
    case WM_GALLERY_FULL_LCD_PROGRESS:
      if (IsShown(wParam)) ShowProgress(static_cast<int>(lParam));
      return 0;
    case WM_GALLERY_LCD_LOADED:
      if (IsShown(static_cast<WPARAM>(lParam))) HideProgress();
      return 0;
    case WM_GALLERY_FULL_LCD_DONE:
      if (IsShown(wParam)) HideProgress();
      return 0;
    case WM_GALLERY_ZOOM_TO:
      if (lcd) lcd->SetZoom(static_cast<double>(lParam));
      return 0;
    case WM_GALLERY_RELOAD_VIEW:
      CalDeleteAddMoveUpdata();
      return 0;
    case WM_GALLERY_PIC_REFRESH:
      OnFavoriteWritten(wParam, lParam != 0);
      return 0;
    case WM_GALLERY_ATTR_FILE:
      favoriteFlag = lParam != 0;
      ShowFavorite(favoriteFlag);
      return 0;
    case WM_GALLERY_ATTR_CLOSED:
      ShowAttributesOn(false);
      setFocus(Qt::OtherFocusReason);
      return 0;
    case WM_GALLERY_FOCUS_BACK:
      setFocus(Qt::OtherFocusReason);
      return 0;
    case WM_GALLERY_RETEXT:
      FollowWinChange(false);
      return 0;
    case WM_GALLERY_VIDEO_STOP:
      VideoPlayer::StopVideo();
      FollowWinChange(false);
      return 0;
    case WM_MOUSEWHEEL:
    case WM_MOUSEHWHEEL:
      if (!shown) LogInfo(kTag, "WM_MOUSEHWHEEL: empty");
      if (uMsg == WM_MOUSEWHEEL || !GlobalData::fullWnd) CalMouseWheelIndex(DeltaOf(wParam));
      return 0;
    default:
      handled = false;
      return WindowImplBaseEx::HandleMessage(uMsg, wParam, lParam, handled);
  }
}

bool PictureWindow::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::Resize && Stage() && watched == Stage()->Widget()) VLCWndOnSize();
  if (event->type() == QEvent::KeyPress && qobject_cast<QAbstractButton*>(watched)) {
    const int key = static_cast<QKeyEvent*>(event)->key();
    if (key == Qt::Key_Left || key == Qt::Key_Right || key == Qt::Key_Up || key == Qt::Key_Down) {
      keyPressEvent(static_cast<QKeyEvent*>(event));
      return true;
    }
  }
  return WindowImplBaseEx::eventFilter(watched, event);
}

void PictureWindow::resizeEvent(QResizeEvent* event) {
  WindowImplBaseEx::resizeEvent(event);
  PlaceAttributes();
}

void PictureWindow::changeEvent(QEvent* event) {
  WindowImplBaseEx::changeEvent(event);
  if (event->type() == QEvent::LayoutDirectionChange) PlaceAttributes();
}
