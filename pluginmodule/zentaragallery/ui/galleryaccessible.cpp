#include "ui/galleryaccessible.h"

#include <QAccessible>
#include <QAccessibleWidget>

#include "common/toolkit/resourcemanager.h"
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

// Cells and lists carry no meta object of their own, so the factory is asked for them by
// the name of the Qt class that they stand on.
QAccessibleInterface* Make(const QString& name, QObject* object) {
  if (name != QStringLiteral("QWidget")) return nullptr;
  if (auto* cell = dynamic_cast<CGalleryPictureUI*>(object)) return new PictureItem(*cell);
  if (auto* list = dynamic_cast<CGalleryVListUI*>(object))
    return new QAccessibleWidget(list, QAccessible::List);
  return nullptr;
}

}  // namespace

void InstallGalleryAccessible() { QAccessible::installFactory(Make); }
