#include "ui/dialogs/movepicwnd.h"

#include <QAccessible>
#include <algorithm>

#include "common/toolkit/label.h"
#include "common/toolkit/resourcemanager.h"
#include "model/gallery.h"
#include "ui/albumthumb.h"
#include "ui/dialogs/albumtileui.h"
#include "ui/dialogs/inputalbumnamewnd.h"
#include "ui/pagecontext.h"
#include "ui/view/galleryfilelistviewhelper.h"

namespace {

constexpr int kRowHeight = 56;
constexpr int kMostRows = 6;
constexpr std::size_t kFewestRows = 4;

}  // namespace

void CListAlbumExUI::DoEvent(TEventUI& event) {
  if (event.Type == EventType::Wheel && GetCount() > 0) {
    (void)SelectItem(std::clamp(GetCurSel() + (event.wheelDelta > 0 ? -1 : 1), 0, GetCount() - 1));
    event.handled = true;
    return;
  }
  CListUI::DoEvent(event);
}

CControlUI* MovePicWnd::CreateControl(const QString& element) {
  return element == QStringLiteral("ListAlbumEx") ? new CListAlbumExUI : nullptr;
}

void MovePicWnd::InitWindow() {
  list = Find<CListUI>(QStringLiteral("list_vertical"));
  tiles = Find<CContainerUI>(QStringLiteral("list_horizon"));
  Fill();
  WindowBusyBaseShadow::InitWindow();
  if (auto* ok = FindControl(QStringLiteral("btn_ok"))) ok->SetEnabled(chosen != nullptr);
  if (list && list->IsVisible() && !albums.empty()) list->SetFocus();
}

void MovePicWnd::Fill() {
  if (!list) return;
  list->RemoveAll();
  albums.clear();
  Gallery::Albums all;
  Gallery::GetInstance().GetAlbums(all, false);
  for (const auto& album : all) {
    if (album != left && album->IsReal()) AddRow(album);
  }
  list->SetFixedHeight(kRowHeight * std::clamp(static_cast<int>(albums.size()), 1, kMostRows));
  FillTiles();
}

// Few albums stand beside each other, many below each other.
void MovePicWnd::FillTiles() {
  const bool few = tiles && albums.size() < kFewestRows;
  if (tiles) tiles->SetVisible(few);
  list->SetVisible(!few);
  if (auto* add = FindControl(AddButton())) add->SetVisible(!few);
  if (!few) return;
  tiles->RemoveAll();
  auto* made = new AlbumTileUI([] { return QString(); }, QStringLiteral("plus"), true);
  made->SetName(QStringLiteral("tile_new"));
  made->SetText(QStringLiteral("IDS_GALLERY_NEW_ALBUM"));
  tiles->Add(made);
  for (const auto& album : albums) {
    auto* tile =
        new AlbumTileUI([album] { return Page::NativeText(album->CoverPath()); }, Page::AlbumIcon(*album));
    tile->SetName(QStringLiteral("tile_album"));
    tile->SetText(Page::AlbumTitle(*album));
    tile->SetTag(tiles->GetCount() - 1);
    tiles->Add(tile);
  }
}

void MovePicWnd::AddRow(const Album::Ptr& album) {
  auto* row = new CListContainerElementUI;
  row->SetFixedHeight(kRowHeight);
  row->SetInset({8, 0, 12, 0});
  row->SetChildPadding(12);
  auto* thumb = new AlbumThumbUI(album);
  thumb->SetFixedWidth(40);
  thumb->SetFixedHeight(40);
  thumb->SetAlignment(Qt::AlignVCenter);
  row->Add(thumb);
  auto* lines = new CVerticalLayoutUI;
  lines->SetAlignment(Qt::AlignVCenter);
  auto* name = new CLabelUI;
  name->SetText(Page::AlbumTitle(*album));
  name->SetFont(QStringLiteral("strong"));
  lines->Add(name);
  const auto [photos, videos] =
      GalleryFileListViewHelper::GetInstance().GetPhotoVideoCount(album->AlbumId.Get());
  if (photos + videos > 0) {
    auto* count = new CLabelUI;
    count->ApplyAttributeList(QStringLiteral("font=\"small\" textcolor=\"text-2\""));
    count->SetText(Page::CountText(photos, videos));
    lines->Add(count);
  }
  row->Add(lines);
  auto* tick = new CLabelUI;
  tick->SetName(QStringLiteral("tick"));
  tick->ApplyAttributeList(QStringLiteral(
      "icon=\"check\" iconsize=\"20\" iconcolor=\"accent-text\" width=\"20\" visible=\"false\""));
  row->Add(tick);
  list->Add(row);
  // Behind Add: what it is for a screen reader is settled when it is first told of.
  row->setAccessibleName(Page::AlbumTitle(*album));
  albums.push_back(album);
}

void MovePicWnd::Choose(int index) {
  chosen = index >= 0 && index < static_cast<int>(albums.size()) ? albums[static_cast<std::size_t>(index)]
                                                                 : nullptr;
  for (int i = 0; list && i < list->GetCount(); ++i) {
    auto* row = dynamic_cast<CContainerUI*>(list->GetItemAt(i));
    if (auto* tick = row ? row->FindSubControl(QStringLiteral("tick")) : nullptr)
      tick->SetVisible(i == index);
  }
  if (auto* ok = FindControl(QStringLiteral("btn_ok"))) ok->SetEnabled(chosen != nullptr);
  TellChoice(index);
}

// To a screen reader: the focus stays in the list.
void MovePicWnd::TellChoice(int index) {
  if (!chosen || !list) return;
  CControlUI* const item = list->IsVisible() ? list->GetItemAt(index) : tiles->GetItemAt(index + 1);
  if (!item) return;
  QAccessibleEvent told(item->Widget(), QAccessible::Selection);
  QAccessible::updateAccessibility(&told);
}

void MovePicWnd::OnAdd() {
  Asked<InputAlbumNameWnd> input;
  if (input.RunOver(*this) != IDOK) return;
  Fill();
  const auto made = std::find(albums.begin(), albums.end(), input->Made());
  if (made == albums.end()) return;
  const int index = static_cast<int>(made - albums.begin());
  if (list->IsVisible()) return (void)list->SelectItem(index);
  if (auto* tile = dynamic_cast<QAbstractButton*>(tiles->GetItemAt(index + 1))) tile->setChecked(true);
}

bool MovePicWnd::OnKey(TEventUI& event) {
  const bool enter = event.key == Qt::Key_Return || event.key == Qt::Key_Enter;
  if (event.Type != EventType::KeyDown || !enter || !chosen) return WindowBusyBaseShadow::OnKey(event);
  Close(IDOK);
  return true;
}

void MovePicWnd::Notify(TNotifyUI& message) {
  WindowBusyBaseShadow::Notify(message);
  if (!message.pSender) return;
  if (message.sType == QStringLiteral("itemselect")) return Choose(static_cast<int>(message.wParam));
  if (message.sType == QStringLiteral("itemactivate") && chosen) return Close(IDOK);
  const QString name = message.pSender->GetName();
  if (message.sType == QStringLiteral("selectchanged") && name == QStringLiteral("tile_album"))
    return Choose(static_cast<int>(message.pSender->GetTag()));
  if (message.sType != QStringLiteral("click")) return;
  if (name == AddButton() || name == QStringLiteral("tile_new")) return OnAdd();
  if (name == QStringLiteral("tile_album")) return;
  if (name != QStringLiteral("btn_ok")) return Close(IDCANCEL);
  if (chosen) Close(IDOK);
}
