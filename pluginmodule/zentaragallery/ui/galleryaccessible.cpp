#include "ui/galleryaccessible.h"

#include <QAccessible>
#include <QAccessibleWidget>

#include "common/toolkit/resourcemanager.h"
#include "ui/dialogs/albumtileui.h"
#include "ui/dialogs/movepicwnd.h"
#include "ui/gallerypictureui.h"
#include "ui/pagecontext.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/view/galleryselecthelper.h"
#include "ui/virtuallist.h"

namespace {

class PictureItem : public QAccessibleWidget {
 public:
  explicit PictureItem(CGalleryPictureUI& of) : QAccessibleWidget(&of, QAccessible::ListItem), cell(of) {}

  QString text(QAccessible::Text kind) const override {
    if (kind == QAccessible::Name) return cell.AccessibleText();
    return kind == QAccessible::Description ? Place() : QAccessibleWidget::text(kind);
  }
  QAccessible::State state() const override {
    QAccessible::State state = QAccessibleWidget::state();
    state.invisible = state.invisible || !cell.File();
    state.selectable = state.focusable = state.multiSelectable = true;
    state.selected = cell.File() && GallerySelectHelper::GetInstance().IsSelected(cell.File());
    state.focused = cell.File() && Page::FocusFile() == cell.File();
    return state;
  }
  QStringList actionNames() const override { return {pressAction()}; }
  void doAction(const QString& action) override {
    if (action == pressAction()) cell.Press();
  }

 private:
  QString Place() const {
    const auto& helper = GalleryFileListViewHelper::GetInstance();
    if (!cell.File()) return {};
    const auto index = helper.GetFileIndex(cell.File());
    if (index == GalleryFileListViewHelper::kNoIndex) return {};
    return Page::Fill(
        CResourceManager::GetText(QStringLiteral("IDS_ACCESSIBLE_PLACE")),
        {CResourceManager::FormatNumber(index + 1),
         CResourceManager::FormatNumber(static_cast<qint64>(helper.CurrentView().files.size()))});
  }

  CGalleryPictureUI& cell;
};

// An album of the question where pictures go: a row of many, or a tile of few.
class AlbumItem : public QAccessibleWidget {
 public:
  explicit AlbumItem(CListContainerElementUI& of) : QAccessibleWidget(&of, QAccessible::ListItem), row(&of) {}
  explicit AlbumItem(AlbumTileUI& of)
      : QAccessibleWidget(&of, of.isCheckable() ? QAccessible::ListItem : QAccessible::Button), tile(&of) {}

  QString text(QAccessible::Text kind) const override {
    return tile && kind == QAccessible::Name ? tile->text() : QAccessibleWidget::text(kind);
  }
  QAccessible::State state() const override {
    QAccessible::State state = QAccessibleWidget::state();
    state.selectable = role() == QAccessible::ListItem;
    state.selected = row ? row->IsSelected() : tile->isChecked();
    return state;
  }
  QStringList actionNames() const override { return {pressAction()}; }
  void doAction(const QString& action) override {
    if (action != pressAction()) return;
    row ? (void)row->GetOwner()->SelectItem(row->GetIndex()) : tile->click();
  }

 private:
  CListContainerElementUI* const row = nullptr;
  AlbumTileUI* const tile = nullptr;
};

bool IsListOfTiles(const QObject& object) {
  const auto* control = dynamic_cast<const CContainerUI*>(&object);
  return control && control->GetName() == QStringLiteral("list_horizon");
}

QAccessibleInterface* MakeOfAlbums(QObject& object) {
  if (auto* tile = dynamic_cast<AlbumTileUI*>(&object)) return new AlbumItem(*tile);
  auto* row = dynamic_cast<CListContainerElementUI*>(&object);
  if (row && dynamic_cast<CListAlbumExUI*>(row->GetOwner())) return new AlbumItem(*row);
  const bool isList = dynamic_cast<CListAlbumExUI*>(&object) || IsListOfTiles(object);
  return isList ? new QAccessibleWidget(static_cast<QWidget*>(&object), QAccessible::List) : nullptr;
}

// Controls carry no meta object of their own, so the factory is asked for them by the
// name of the Qt class that they stand on.
QAccessibleInterface* Make(const QString& name, QObject* object) {
  if (name != QStringLiteral("QWidget") && name != QStringLiteral("QAbstractButton")) return nullptr;
  if (auto* of = MakeOfAlbums(*object)) return of;
  if (auto* cell = dynamic_cast<CGalleryPictureUI*>(object)) return new PictureItem(*cell);
  if (auto* list = dynamic_cast<CGalleryVListUI*>(object))
    return new QAccessibleWidget(list, QAccessible::List);
  return nullptr;
}

}  // namespace

void InstallGalleryAccessible() { QAccessible::installFactory(Make); }
