#include "ui/galleryalbumwnd.h"

#include <array>

#include "common/duilib_business/windowbusybaseshadow.h"
#include "common/toolkit/container.h"
#include "common/toolkit/dialogbuilder.h"
#include "common/toolkit/list.h"
#include "common/toolkit/menu.h"
#include "common/toolkit/resourcemanager.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/logger.h"
#include "ui/albumthumb.h"
#include "ui/dialogs/deletepicwnd.h"
#include "ui/dialogs/inputalbumnamewnd.h"
#include "ui/dialogs/uploadprocess.h"
#include "ui/pagecontext.h"
#include "ui/view/pageflags.h"
#include "ui/zentaragallery.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/messages.h"

namespace {

constexpr char kTag[] = "CGalleryAlbumWnd";
constexpr int kEventOperation = 173;

struct SystemButton {
  const char* name;
  AlbumKind kind;
};
constexpr std::array<SystemButton, 12> kSystem{{
    {"btn_photo", AlbumKind::TimeLine},
    {"btn_upload", AlbumKind::RecentlyUpload},
    {"btn_all_photo", AlbumKind::AllPictures},
    {"btn_video_photo", AlbumKind::AllVideos},
    {"btn_favorite_photo", AlbumKind::Favorite},
    {"btn_camera_photo", AlbumKind::Camera},
    {"btn_cutscreen_photo", AlbumKind::Screenshots},
    {"btn_bluetooth_photo", AlbumKind::Bluetooth},
    {"btn_zt_share_photo", AlbumKind::Share},
    {"btn_pv_share_photo", AlbumKind::PalveraShare},
    {"btn_wlan_photo", AlbumKind::WlanDirect},
    {"btn_delete_photo", AlbumKind::RecycleBin},
}};

const SystemButton* SystemOf(const QString& name) {
  for (const auto& entry : kSystem)
    if (name == QString::fromLatin1(entry.name)) return &entry;
  return nullptr;
}

void LogOperation(const char* key, const std::string& total) {
  Logger::OutputOperationLog(kEventOperation, 1, 0, {{"key", key}, {"total", total}});
}

}  // namespace

CGalleryAlbumWnd::CGalleryAlbumWnd(ZentaraGallery& owner) : page(owner) {}

CGalleryAlbumWnd::~CGalleryAlbumWnd() {
  Gallery::GetInstance().SetAlbumsListener(nullptr);
  Gallery::GetInstance().SetAlbumListener(nullptr);
}

void CGalleryAlbumWnd::InitWindow() {
  GlobalData::albumWnd = GetHWND();
  if (!FindControl(QStringLiteral("left_page")) || !FindControl(QStringLiteral("sys_photo")))
    LogError(kTag, "album wnd load faild");
  // Album events come from any thread; they only say that the list is to be read anew.
  const HWND self = GetHWND();
  const auto changed = [self] { (void)platform::PostMessageW(self, WM_GALLERY_ALBUM_RELAYOUT, 0, 0); };
  Gallery::GetInstance().SetAlbumsListener([changed](int, const Gallery::Albums&) { changed(); });
  Gallery::GetInstance().SetAlbumListener([changed](int, const Album::Ptr&) { changed(); });
  Reload();
  Mark(SystemAlbumId(AlbumKind::TimeLine));
}

LRESULT CGalleryAlbumWnd::HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) {
  handled = true;
  switch (uMsg) {
    case WM_GALLERY_ALBUM_RELAYOUT:
      Reload();
      LogHeights();
      return 0;
    case WM_GALLERY_RETEXT:
    case WM_GALLERY_ALBUM_CLEAR:
      Reload();
      return 0;
    case WM_GALLERY_ALBUM_COMMAND:
      return platform::SendMessageW(page.GetHWND(), uMsg, wParam, lParam);
    case WM_GALLERY_ALBUM_FORWARD:
      OnForwarded(wParam);
      return 0;
    case WM_GALLERY_CLOUD_DISABLED:
    case WM_GALLERY_FUNCTIONS_CHANGED:
      update();
      return 0;
    case platform::WM_KEYDOWN:
    case WM_GALLERY_ALBUM_KEY:
      (void)OnKeyDown(static_cast<int>(wParam), ButtonOf(selectedId));
      return 0;
    default:
      handled = false;
      return WindowImplBaseEx::HandleMessage(uMsg, wParam, lParam, handled);
  }
}

void CGalleryAlbumWnd::LogHeights() const {
  const auto height = [this](const char* name) {
    const auto* box = FindControl(QString::fromLatin1(name));
    return std::to_string(box ? box->GetPos().height() : 0);
  };
  LogInfo(kTag, "Gallery Album owerAlbumHeight: " + height("custom_albums") +
                    " sysAlbumHeight:" + height("sys_photo"));
}

// --- Hidden data

// The host has news for the panel: albums came in, or what may be seen has changed.
void CGalleryAlbumWnd::OnForwarded(WPARAM word) {
  LogInfo(kTag, "WhenChangeHideData wParamVal:" + std::to_string(word));
  const bool hidden = GlobalParamWrapper::GetInstance()->GetDataHidePeriod();
  if (std::exchange(dataHidden, hidden) != hidden) WhenChangeHideDataReLoadGalleryFiles();
  Reload();
  LogInfo(kTag, "WhenChangeHideData end SysAlbumSize" + std::to_string(kSystem.size()));
}

void CGalleryAlbumWnd::WhenChangeHideDataReLoadGalleryFiles() {
  const auto album = FindAlbum(SystemAlbumId(AlbumKind::AllPictures));
  LogInfo(kTag, "When change hide data allFile size = " + std::to_string(album ? album->FileCount() : 0));
  Page::Post(WM_GALLERY_RELOAD_VIEW);
  LogInfo(kTag, "When change hide data allFile reload end ");
}

// --- The list

Album::Ptr CGalleryAlbumWnd::AlbumOfKind(AlbumKind kind) const {
  auto& gallery = Gallery::GetInstance();
  const bool made = static_cast<int>(kind) < 5 || kind == AlbumKind::RecycleBin;
  if (made) return gallery.GetOrCreateSystemAlbum(kind);
  if (const char* id = SystemAlbumId(kind)) return gallery.GetAlbum(id);
  Gallery::Albums all;
  gallery.GetAlbums(all, true);
  for (const auto& album : all)
    if (album->Kind() == kind) return album;
  return nullptr;
}

Album::Ptr CGalleryAlbumWnd::FindAlbum(const std::string& id) const {
  return Gallery::GetInstance().GetAlbum(id);
}

void CGalleryAlbumWnd::Reload() {
  bool any = false, shown = false;
  for (const auto& entry : kSystem) {
    auto* button = Find<CButtonUI>(QString::fromLatin1(entry.name));
    if (!button) continue;
    const int kind = static_cast<int>(entry.kind);
    if (kind < 5 || entry.kind == AlbumKind::RecycleBin) continue;
    const auto album = AlbumOfKind(entry.kind);
    const bool filled = album && (album->FileCount() > 0 || kind < 7);
    const bool folded = kind > 7;
    any |= folded && filled;
    button->SetVisible(filled && (!folded || more));
    shown |= filled;
  }
  if (auto* button = FindControl(QStringLiteral("more_photo"))) button->SetVisible(any);
  if (auto* heading = FindControl(QStringLiteral("label_sys_album"))) heading->SetVisible(shown);
  if (!edit) FillCustom();
  ReSelectCurrentAlbum();
}

void CGalleryAlbumWnd::FillCustom() {
  auto* box = Find<CListUI>(QStringLiteral("custom_albums"));
  if (!box) return;
  Gallery::Albums all;
  Gallery::GetInstance().GetAlbums(all, false);
  std::erase_if(all,
                [](const Album::Ptr& album) { return album->Kind() != AlbumKind::None || !album->listed; });
  // Only what has changed is made anew, so that the focus and a drag stay where they are.
  bool same = custom.size() == all.size() && box->GetCount() == static_cast<int>(all.size());
  for (std::size_t i = 0; same && i < all.size(); ++i) {
    auto* button = dynamic_cast<CButtonUI*>(box->GetItemAt(static_cast<int>(i)));
    same = button && custom[button] == all[i]->AlbumId.Get();
    if (same) button->SetText(Page::AlbumTitle(*all[i]));
  }
  if (same) return;
  box->RemoveAll();
  custom.clear();
  for (const auto& album : all) {
    auto* button = dynamic_cast<CButtonUI*>(CDialogBuilder().Create(QStringLiteral("Gallery/list_item.xml")));
    if (!button) return LogError(kTag, "album wnd load faild");
    button->SetText(Page::AlbumTitle(*album));
    button->SetToolTip(Page::AlbumTitle(*album));
    box->Add(button);
    OnGetAlbumThumb(*button, album);
    custom[button] = album->AlbumId.Get();
  }
}

// While the grid looks for a picture, nothing is fetched beside it.
void CGalleryAlbumWnd::OnGetAlbumThumb(CButtonUI& button, const Album::Ptr& album) {
  if (GlobalData::searchJump) return LogInfo(kTag, "GlobalData::g_bIsSearchGallery = 1");
  auto* thumb = new AlbumThumbUI(album);
  thumb->setParent(&button);
  const int side = button.Scaled(24);
  const QRect place(button.Scaled(8), button.Scaled(8), side, side);
  thumb->setGeometry(layoutDirection() == Qt::RightToLeft
                         ? QRect(width() - button.Scaled(32) - button.Scaled(16), place.top(), side, side)
                         : place);
  thumb->setVisible(!album->CoverPath().empty());
}

CButtonUI* CGalleryAlbumWnd::ButtonOf(const std::string& id) const {
  for (const auto& [button, albumId] : custom)
    if (albumId == id) return button;
  for (const auto& entry : kSystem) {
    auto* button = Find<CButtonUI>(QString::fromLatin1(entry.name));
    if (button && IdOf(*button) == id) return button;
  }
  return nullptr;
}

std::string CGalleryAlbumWnd::IdOf(const CButtonUI& button) const {
  const auto own = custom.find(const_cast<CButtonUI*>(&button));
  if (own != custom.end()) return own->second;
  const auto* entry = SystemOf(button.GetName());
  const auto album = entry ? AlbumOfKind(entry->kind) : nullptr;
  return album ? album->AlbumId.Get() : std::string();
}

// --- The choice

void CGalleryAlbumWnd::Mark(const std::string& id) {
  selectedId = id;
  for (const auto& entry : kSystem)
    if (auto* button = Find<CButtonUI>(QString::fromLatin1(entry.name)))
      button->Selected(IdOf(*button) == id);
  for (const auto& [button, albumId] : custom) button->Selected(albumId == id);
}

void CGalleryAlbumWnd::OpenAlbum(const std::string& id, bool keepPage) {
  const auto album = FindAlbum(id);
  if (!album) return;
  Mark(id);
  (void)platform::SendMessageW(GlobalData::galleryWnd, WM_GALLERY_OPEN_ALBUM,
                               reinterpret_cast<WPARAM>(&album), keepPage ? 1 : 0);
}

void CGalleryAlbumWnd::SelectAlbum(const std::string& id) { OpenAlbum(id, false); }

void CGalleryAlbumWnd::ClickAlbumBtn(CButtonUI& button) {
  const std::string id = IdOf(button);
  const auto album = FindAlbum(id);
  if (!album) return;
  const char* key = album->Kind() == AlbumKind::AllPictures      ? "halcyra_gallery_allphotos"
                    : album->Kind() == AlbumKind::RecentlyUpload ? "halcyra_gallery_recentlyuploaded"
                    : album->Kind() == AlbumKind::None           ? "halcyra_gallery_accesuseralbum"
                                                                 : "halcyra_gallery_accessystemalbum";
  LogOperation(key, std::to_string(album->FileCount()));
  (void)platform::SendMessageW(UIBackGroundMessWnd::Top(), WM_GALLERY_ALBUM_BACKGROUND, 5, 0);
  OpenAlbum(id, false);
}

void CGalleryAlbumWnd::ReSelectCurrentAlbum() {
  const auto album = FindAlbum(selectedId);
  if (!album || album->IsDelete != 0) {
    LogInfo(kTag, "data resume reload Album");
    return OpenAlbum(SystemAlbumId(AlbumKind::TimeLine), true);
  }
  Mark(selectedId);
  // A reload has made the albums anew.
  if (page.CurrentAlbum() != album) OpenAlbum(selectedId, true);
}

void CGalleryAlbumWnd::ShowMore(bool shown) {
  more = shown;
  if (auto* button = Find<CButtonUI>(QStringLiteral("more_photo"))) button->Selected(shown);
  Reload();
}

// --- Names

void CGalleryAlbumWnd::SetEnableCreateEdit() {
  auto* box = Find<CContainerUI>(QStringLiteral("add_layout"));
  if (!box || edit) return;
  renameId.clear();
  edit = Find<CEditUI>(QStringLiteral("edit_add"));
  if (!edit) return;
  box->SetVisible(true);
  edit->SetText({});
  edit->SetFocus();
}

void CGalleryAlbumWnd::SetEnableReNameEdit(CButtonUI& button) {
  if (edit) EndEdit();
  renameId = IdOf(button);
  const auto album = FindAlbum(renameId);
  if (!album || album->Kind() != AlbumKind::None) {
    renameId.clear();
    page.Say(QStringLiteral("info"), QStringLiteral("IDS_GALLERT_SYSTEM_ALBUM_NO_RENAME"));
    return;
  }
  SetShowReNameEdit(button, *album);
}

void CGalleryAlbumWnd::SetShowReNameEdit(CButtonUI& button, const Album& album) {
  edit = new CEditUI(&button);
  edit->SetName(QStringLiteral("edit_rename"));
  edit->SetText(Page::AlbumTitle(album));
  edit->setGeometry(button.Scaled(38), button.Scaled(6), button.Scaled(138), button.Scaled(28));
  edit->show();
  edit->SetSelAll();
  edit->SetFocus();
}

void CGalleryAlbumWnd::EndEdit() {
  if (!edit || ending) return;
  ending = true;
  if (bubble) bubble->Dismiss();
  if (auto* box = FindControl(QStringLiteral("add_layout"))) box->SetVisible(false);
  edit->SetError(false);
  if (edit->GetName() == QStringLiteral("edit_rename")) {
    edit->hide();
    edit->deleteLater();
  }
  edit = nullptr;
  renameId.clear();
  ending = false;
  Reload();
}

void CGalleryAlbumWnd::RefuseName(const QString& key) {
  if (bubble) bubble->Dismiss();
  if (!edit) return;
  edit->SetError(!key.isEmpty());
  if (key.isEmpty()) return;
  bubble = Bubble::Show(*edit, key, BubbleKind::Error);
  (void)platform::PostMessageW(page.GetHWND(), WM_GALLERY_BUBBLE, 0, 0);
}

void CGalleryAlbumWnd::TryName() {
  if (!edit || saving) return;
  const QString name = edit->GetText();
  if (name.trimmed().isEmpty()) return EndEdit();
  const auto album = FindAlbum(renameId);
  if (album && Page::AlbumTitle(*album) == name) return EndEdit();
  const QString refused = RefusedAlbumName(name);
  if (!refused.isEmpty()) return RefuseName(refused);
  renameId.empty() ? OnAddAlbum() : OnUpdataAlbum(name);
}

void CGalleryAlbumWnd::OnAddAlbum() { Make(edit->GetText()); }

// The database may be busy with a batch: the window does not wait for it.
void CGalleryAlbumWnd::Make(const QString& name) {
  saving = true;
  Page::InBackground(
      this, [wide = Page::Wide(name)] { return Gallery::GetInstance().CreateAlbum(wide, false, -1); },
      [this](const Album::Ptr& album) {
        saving = false;
        if (!album) return RefuseName(QStringLiteral("IDS_GALLERT_CREATE_ALBUM_FAIL"));
        LogOperation("halcyra_gallery_albumcreate", "1");
        EndEdit();
        Reload();
        OpenAlbum(album->AlbumId.Get(), false);
      });
}

void CGalleryAlbumWnd::OnUpdataAlbum(const QString& name) {
  saving = true;
  Page::InBackground(
      this,
      [album = FindAlbum(renameId), wide = Page::Wide(name)] {
        return Gallery::GetInstance().RenameAlbum(album, wide);
      },
      [this](bool renamed) {
        saving = false;
        if (!renamed) return RefuseName(QStringLiteral("IDS_GALLERT_CREATE_ALBUM_FAIL"));
        LogOperation("halcyra_gallery_albumrename", "1");
        EndEdit();
      });
}

void CGalleryAlbumWnd::OnDeleteAlbum() {
  const auto album = FindAlbum(menuId.empty() ? selectedId : menuId);
  menuId.clear();
  if (!album || album->Kind() != AlbumKind::None) return;
  Asked<DeletePicWnd> ask(DeletePicWnd::Kind::Album, album->FileCount(), false, Page::AlbumTitle(*album));
  const int answer = ask.RunOver(*this);
  LogInfo(kTag, "CGalleryAlbumWnd nRet=" + std::to_string(answer));
  if (answer != IDOK) return;
  LogOperation("halcyra_gallery_albumdelete", "1");
  page.Run(
      UploadProcess::TextKey(UploadProcess::DeleteAlbum), 0,
      [album](ZentaraGallery::Job&) {
        LogInfo(kTag, "CGalleryAlbumWnd DeleteAlbum begin");
        (void)Gallery::GetInstance().DeleteAlbum(album);
        LogInfo(kTag, "CGalleryAlbumWnd DeleteAlbum end");
      },
      [this, name = Page::AlbumTitle(*album)](const ZentaraGallery::Job&) {
        Reload();
        page.Say(QStringLiteral("delete"),
                 Page::Fill(CResourceManager::GetText(QStringLiteral("IDS_GALLERY_ALBUM_DELETED")), {name}));
      });
}

// --- Events

void CGalleryAlbumWnd::Notify(TNotifyUI& message) {
  auto* button = dynamic_cast<CButtonUI*>(message.pSender);
  const QString name = message.pSender ? message.pSender->GetName() : QString();
  if (message.sType == QStringLiteral("return") && edit) return TryName();
  if (message.sType == QStringLiteral("escape") && edit) return EndEdit();
  if (message.sType == QStringLiteral("killfocus") && edit && message.pSender == edit && !ending && !saving) {
    if (edit->HasError() || edit->GetText().trimmed().isEmpty()) return EndEdit();
    return TryName();
  }
  if (message.sType == QStringLiteral("textchanged") && edit && !saving) {
    const QString text = edit->GetText();
    const auto album = FindAlbum(renameId);
    const bool unchanged = text.trimmed().isEmpty() || (album && Page::AlbumTitle(*album) == text);
    return RefuseName(unchanged ? QString() : RefusedAlbumName(text));
  }
  if (message.sType == QStringLiteral("menu") && button && custom.contains(button)) {
    menuId = IdOf(*button);
    (void)CMenuWnd::Show(QStringLiteral("Menu/GalleryAlbumMenu.xml"), Manager(), button, message.ptMouse);
    return;
  }
  if (message.sType == QStringLiteral("menuclick")) {
    if (message.sDetail == QStringLiteral("DelAlbum")) return OnDeleteAlbum();
    if (auto* of = ButtonOf(menuId)) SetEnableReNameEdit(*of);
    return;
  }
  if (message.sType != QStringLiteral("click") || !button) return;
  if (name == QStringLiteral("btn_add_photo")) return SetEnableCreateEdit();
  if (name == QStringLiteral("more_photo")) return ShowMore(!more);
  if (edit) EndEdit();
  ClickAlbumBtn(*button);
}

bool CGalleryAlbumWnd::OnKey(TEventUI& event) {
  if (event.Type != EventType::KeyDown) return WindowImplBaseEx::OnKey(event);
  auto* button = dynamic_cast<CButtonUI*>(event.pSender);
  if (OnKeyDown(event.key, button)) return true;
  if (event.key == Qt::Key_Up || event.key == Qt::Key_Down) {
    focusNextPrevChild(event.key == Qt::Key_Down);
    return true;
  }
  return WindowImplBaseEx::OnKey(event);
}

bool CGalleryAlbumWnd::OnKeyDown(int key, CButtonUI* button) {
  if (!button || !custom.contains(button)) return false;
  if (key == Qt::Key_F2) {
    SetEnableReNameEdit(*button);
    return true;
  }
  if (key != Qt::Key_Delete) return false;
  menuId = IdOf(*button);
  OnDeleteAlbum();
  return true;
}

// --- A drag over the panel

Album::Ptr CGalleryAlbumWnd::AlbumAtPoint(QPoint global, QString& name) {
  CButtonUI* under = nullptr;
  for (QWidget* widget = childAt(mapFromGlobal(global)); widget && widget != this;
       widget = widget->parentWidget()) {
    if ((under = dynamic_cast<CButtonUI*>(widget))) break;
  }
  const auto album = under ? FindAlbum(IdOf(*under)) : nullptr;
  if (!album || !album->IsReal()) {
    ClearDragMark();
    return nullptr;
  }
  if (dragMark != under) {
    ClearDragMark();
    dragMark = under;
    under->SetBkColor(QStringLiteral("tint"));
    under->SetBorderColor(QStringLiteral("accent"));
  }
  name = Page::AlbumTitle(*album);
  return album;
}

void CGalleryAlbumWnd::ClearDragMark() {
  if (!dragMark) return;
  dragMark->SetBkColor({});
  dragMark->SetBorderColor({});
  dragMark = nullptr;
}
