#include "ui/virtuallist.h"

#include <QAccessible>
#include <QRubberBand>

#include "common/toolkit/dialogbuilder.h"
#include "host/base/logger.h"
#include "ui/pagecontext.h"
#include "ui/timescrollbar.h"
#include "ui/view/galleryselecthelper.h"
#include "ui/view/gridgeometry.h"
#include "ui/view/pagerules.h"
#include "utils/messages.h"

namespace {

constexpr int kEventWheel = 194;
constexpr int kNotch = 120;
constexpr int kBandStart = 6;

GalleryFileListViewHelper& Helper() { return GalleryFileListViewHelper::GetInstance(); }
GallerySelectHelper& Selection() { return GallerySelectHelper::GetInstance(); }

// Providers differ in the row that they make.
template <typename Row>
class Provider : public IVirtualDataProvider {
 public:
  explicit Provider(const char* rowAttributes) : attributes(QString::fromLatin1(rowAttributes)) {}

  CFileInfoCellBase* CreateElement() override {
    auto* row = new Row;
    row->ApplyAttributeList(attributes);
    row->InitCells(GridGeometry::kRowCells);
    return row;
  }
  void FillElement(CFileInfoCellBase& row, std::uint32_t rowIndex, bool isFirst, Files& missing) override {
    row.SetFileInfoCell(Helper().GetListViewVec(rowIndex), rowIndex, isFirst, missing);
  }
  std::uint32_t GetElementCount() override { return Helper().RowCount(); }

 private:
  const QString attributes;
};

using CTimeGalleryProvider = Provider<CTimeAlbumRow>;
using CNormalGalleryProvider = Provider<CNormalAlbumRow>;
using CDeleteGalleryProvider = Provider<CDeleteAlbumRow>;

// The ground is the theme's page.
constexpr char kRow[] = "name=\"thumbnail\" borderround=\"15,15\" drop=\"true\"";
constexpr char kBinRow[] = "name=\"thumbnail\" drop=\"true\"";

CVirtualListBodyUI* MakeBody(const QString& name, CGalleryVListUI& list) {
  if (name == QStringLiteral("TimeAlbumBodyUI")) return new CTimeAlbumBodyUI(list);
  if (name == QStringLiteral("NormalAlbumBodyUI")) return new CNormalGalleryBodyUI(list);
  if (name == QStringLiteral("DeleteAlbumBodyUI")) return new CDeleteGalleryBodyUI(list);
  return nullptr;
}

}  // namespace

std::unique_ptr<IVirtualDataProvider> MakeProvider(const QString& name) {
  if (name == QStringLiteral("TimeAlbumProvider")) return std::make_unique<CTimeGalleryProvider>(kRow);
  if (name == QStringLiteral("NormalAlbumProvider")) return std::make_unique<CNormalGalleryProvider>(kRow);
  if (name == QStringLiteral("DeleteAlbumProvider")) return std::make_unique<CDeleteGalleryProvider>(kBinRow);
  return nullptr;
}

CGalleryVListUI::CGalleryVListUI(QWidget* parent) : CListUI(parent) { setFocusPolicy(Qt::StrongFocus); }

void CGalleryVListUI::SetAttribute(const QString& name, const QString& value) {
  if (name == QStringLiteral("database")) {
    database = value;
  } else if (name == QStringLiteral("body")) {
    bodyName = value;
  } else if (name == QStringLiteral("cellHeight")) {
    elementHeight = value.toInt();
  } else {
    CListUI::SetAttribute(name, value);
  }
}

void CGalleryVListUI::DoInit() {
  CListUI::DoInit();
  virtualBody = MakeBody(bodyName, *this);
  auto made = MakeProvider(database);
  if (!virtualBody) return;
  SetBody(virtualBody);
  virtualBody->SetAttribute(QStringLiteral("drop"), QStringLiteral("true"));
  virtualBody->SetVisible(true);
  virtualBody->EnableScrollBar(true, false);
  if (made) SetDataProvider(std::move(made));
  SetElementHeight(elementHeight);
}

void CGalleryVListUI::SetDataProvider(std::unique_ptr<IVirtualDataProvider> next) {
  provider = std::move(next);
  if (virtualBody) virtualBody->SetDataProvider(provider.get());
}

void CGalleryVListUI::SetElementHeight(int height) {
  elementHeight = height;
  if (virtualBody) virtualBody->SetElementHeight(height);
}

void CGalleryVListUI::InitElement(int count, int height) {
  if (!virtualBody) return;
  virtualBody->SetDataProvider(provider.get());
  SetElementHeight(height);
  if (virtualBody->Rows().empty()) virtualBody->InitElement(count);
  virtualBody->Refresh();
}

void CGalleryVListUI::SetPos(const QRect& rect, bool needInvalidate) {
  CListUI::SetPos(rect, needInvalidate);
}

void CGalleryVListUI::RedrawRows(bool rearrange) {
  if (rearrange && virtualBody) virtualBody->ReArrangeChild(true);
  // Cells are widgets of their own: each paints its selection anew.
  if (virtualBody) {
    for (const auto* row : virtualBody->Rows()) {
      for (int k = 0; k < row->Columns() && k < GridGeometry::kRowCells; ++k) row->Cell(k)->update();
    }
  }
}

void CGalleryVListUI::SelectRange(std::uint32_t from, std::uint32_t to) {
  if (virtualBody) virtualBody->SelectItemRange(from, to);
}

bool CGalleryVListUI::Remove(CControlUI* row) {
  if (!virtualBody || GetItemIndex(row) < 0) return CListUI::Remove(row);
  virtualBody->RemoveRow(row);
  return true;
}

bool CGalleryVListUI::RemoveAt(int index) {
  auto* row = virtualBody ? virtualBody->GetItemAt(index) : nullptr;
  return row ? Remove(row) : CListUI::RemoveAt(index);
}

void CGalleryVListUI::RemoveAll() {
  if (!virtualBody) return CListUI::RemoveAll();
  virtualBody->RemoveRows();
  if (auto* bar = GetVerticalScrollBar()) bar->SetScrollPos(0);
  SetDataProvider(nullptr);
}

// --- Keys that the window routes back

void CGalleryVListUI::OnCtrlKey() { Selection().SetCtrlDown(true); }
void CGalleryVListUI::OnShiftKey() { Selection().SetShiftDown(true); }

void CGalleryVListUI::OnEscapeKey() {
  Selection().SelectClear(false);
  if (!Page::HasViewer()) Page::Send(WM_GALLERY_TOOLBAR_STATE, 0, 0);
  Page::PostRedraw();
}

void CGalleryVListUI::OnSelectAllKey(int kind) {
  Selection().SelectAll(kind);
  if (Selection().Count() > 0) Page::Send(WM_GALLERY_TOOLBAR_STATE, 0, 1);
  Page::PostRedraw();
}

void CGalleryVListUI::OnKeyRelease() {
  Selection().SetCtrlDown(false);
  Selection().SetShiftDown(false);
}

void CGalleryVListUI::OnBlankClick() {
  Selection().SelectClear(false);
  RedrawRows(false);
  Page::Send(WM_GALLERY_TOOLBAR_STATE, 0, 0);
}

// --- Events

void CGalleryVListUI::DoEvent(TEventUI& event) {
  switch (event.Type) {
    case EventType::ButtonDown:
      setFocus(Qt::MouseFocusReason);
      if (!event.pSender || event.pSender->GetName() != QStringLiteral("chooseLabel"))
        Page::Send(WM_GALLERY_CLICK_BLANK);
      Band(event);
      break;
    case EventType::MouseMove:
    case EventType::ButtonUp:
      Band(event);
      break;
    case EventType::TouchPress:
    case EventType::TouchRelease:
      touchAt = event.ptMouse.y();
      break;
    case EventType::TouchMove: {
      const int moved = event.ptMouse.y() - touchAt;
      if (moved == 0 || !virtualBody) break;
      touchAt = event.ptMouse.y();
      moved < 1 ? virtualBody->TouchDown(-moved) : virtualBody->TouchUp(moved);
      if (auto* body = dynamic_cast<CTimeAlbumBodyUI*>(virtualBody); body && body->TimeBar())
        body->TimeBar()->ShowForAWhile();
      event.handled = true;
      break;
    }
    case EventType::Wheel:
      if (event.modifiers & Qt::ControlModifier) {
        Notify(QStringLiteral("zoom"), event.wheelDelta > 0 ? 1 : 0);
      } else {
        OnWheel(event);
      }
      event.handled = true;
      break;
    case EventType::KeyDown:
      if (OnKey(event)) event.handled = true;
      break;
    case EventType::KeyUp:
      Page::Send(WM_GALLERY_KEY_UP, event.wParam, event.lParam);
      break;
    default:
      break;
  }
  CContainerUI::DoEvent(event);
}

// A wheel turns by notches; a touch pad in small parts of them.
void CGalleryVListUI::OnWheel(TEventUI& event) {
  if (!virtualBody || event.wheelDelta == 0) return;
  if ((event.wheelDelta > 0) != (wheelRest > 0)) wheelRest = 0;
  wheelRest += event.wheelDelta;
  const bool up = wheelRest > 0;
  int pixels = std::abs(wheelRest) * CVirtualListBodyUI::kScrollStep / kNotch;
  if (pixels == 0) return;
  wheelRest = 0;
  for (; pixels >= CVirtualListBodyUI::kScrollStep; pixels -= CVirtualListBodyUI::kScrollStep)
    up ? virtualBody->LineUp() : virtualBody->LineDown();
  if (pixels > 0) up ? virtualBody->TouchUp(pixels) : virtualBody->TouchDown(pixels);
  if (auto* body = dynamic_cast<CTimeAlbumBodyUI*>(virtualBody); body && body->TimeBar())
    body->TimeBar()->ShowForAWhile();
  LogWheel(up ? "Up" : "Down");
}

void CGalleryVListUI::LogWheel(const char* direction) const {
  Logger::OutputOperationLog(kEventWheel, 1, 0,
                             {{"direct", direction},
                              {"num", std::to_string(virtualBody->GetScrollPos().height())},
                              {"height", std::to_string(virtualBody->ContentHeight())},
                              {"total", std::to_string(Helper().CurrentView().layout->fileCount)}});
}

bool CGalleryVListUI::OnKey(TEventUI& event) {
  if (!virtualBody) return false;
  switch (event.key) {
    case Qt::Key_Shift:
      Page::Send(WM_GALLERY_KEY_SHIFT, event.wParam, event.lParam);
      return false;
    case Qt::Key_Control:
      Page::Send(WM_GALLERY_KEY_CTRL, event.wParam, event.lParam);
      return false;
    case Qt::Key_Escape:
      Page::Send(WM_GALLERY_KEY_ESCAPE, event.wParam, event.lParam);
      return true;
    case Qt::Key_A:
      if (!(event.modifiers & Qt::ControlModifier)) return false;
      Page::Send(WM_GALLERY_KEY_SELECT_ALL, event.wParam, event.lParam);
      return true;
    case Qt::Key_Return:
      if (auto* row = virtualBody->CurrentRow()) return row->Activate();
      return false;
    case Qt::Key_PageUp:
      virtualBody->PageUp();
      return true;
    case Qt::Key_PageDown:
      virtualBody->PageDown();
      return true;
    case Qt::Key_Home:
      virtualBody->HomeUp();
      return true;
    case Qt::Key_End:
      virtualBody->EndDown();
      return true;
    case Qt::Key_Up:
      Page::FocusFile() ? MoveFocusRows(-1) : virtualBody->LineUp();
      return true;
    case Qt::Key_Down:
      Page::FocusFile() ? MoveFocusRows(1) : virtualBody->LineDown();
      return true;
    default:
      return false;
  }
}

// --- The keyboard's ring

void CGalleryVListUI::FocusOn(const GalleryFile::Ptr& file) {
  if (!file) return;
  Page::SetFocusFile(file);
  EnsureFileVisible(file);
  RedrawRows(false);
  if (auto* cell = CellOf(file.get())) {
    QAccessibleEvent focus(cell, QAccessible::Focus);
    QAccessible::updateAccessibility(&focus);
  }
}

void CGalleryVListUI::MoveFocus(int cells) {
  const auto count = static_cast<std::int64_t>(Helper().CurrentView().files.size());
  if (count == 0) return;
  const auto& now = Page::FocusFile();
  std::uint32_t from = now ? Helper().GetFileIndex(now) : GalleryFileListViewHelper::kNoIndex;
  std::int64_t next = std::int64_t{from} + cells;
  if (from == GalleryFileListViewHelper::kNoIndex) {
    // The keyboard begins at what is chosen, else at the first picture in sight.
    const auto single = Selection().Single();
    next = single ? Helper().GetFileIndex(single) : 0;
    if (!single && virtualBody) {
      for (const auto* row : virtualBody->Rows()) {
        if (!row->IsVisible() || row->GetPos().top() < 0 || !row->Cell(0)->File()) continue;
        next = Helper().GetFileIndex(row->Cell(0)->File());
        break;
      }
    }
  }
  FocusOn(Helper().GetFileByIndex(static_cast<std::uint32_t>(std::clamp<std::int64_t>(next, 0, count - 1))));
}

// Straight up or down, over headers and short rows.
void CGalleryVListUI::MoveFocusRows(int step) {
  const auto view = Helper().CurrentView();
  const std::uint32_t index = Helper().GetFileIndex(Page::FocusFile());
  if (index == GalleryFileListViewHelper::kNoIndex || view.layout->cols == 0) return MoveFocus(0);
  if (!IsTimeLine()) return MoveFocus(step * view.layout->cols);
  const auto day = GallerySelectHelper::DayOf(view.files[index]->CreateTime);
  auto group = view.layout->dateGroups.find(DateGroup{.date = day});
  if (group == view.layout->dateGroups.end()) return;
  const std::int64_t columns = view.layout->cols;
  const auto within = static_cast<std::int64_t>(index - group->firstFile);
  const std::int64_t column = within % columns, row = within / columns + step;
  const auto rowsOf = [](const DateGroup& of) { return static_cast<std::int64_t>(of.rows) - 1; };
  std::int64_t target = row;
  if (row < 0) {
    if (group == view.layout->dateGroups.begin()) return;
    --group;
    target = rowsOf(*group) - 1;
  } else if (row >= rowsOf(*group)) {
    if (++group == view.layout->dateGroups.end()) return;
    target = 0;
  }
  const auto place =
      std::min<std::int64_t>(target * columns + column, static_cast<std::int64_t>(group->count) - 1);
  FocusOn(Helper().GetFileByIndex(static_cast<std::uint32_t>(group->firstFile) +
                                  static_cast<std::uint32_t>(place)));
}

void CGalleryVListUI::EnsureFileVisible(const GalleryFile::Ptr& file) {
  if (!virtualBody) return;
  if (auto* cell = CellOf(file.get())) {
    const QRect place(cell->mapTo(virtualBody, QPoint(0, 0)), cell->size());
    const int beyond = place.bottom() + 1 - virtualBody->height();
    if (place.top() >= 0 && beyond <= 0) return;
    const QSize now = virtualBody->GetScrollPos();
    const int moved =
        place.top() < 0 ? place.top() - Scaled(GridGeometry::kHeaderPixels) : beyond + Scaled(8);
    virtualBody->SetScrollPos({now.width(), now.height() + moved});
    return;
  }
  const auto view = Helper().CurrentView();
  const std::uint32_t index = Helper().GetFileIndex(file);
  if (index == GalleryFileListViewHelper::kNoIndex || view.layout->cols == 0) return;
  if (!IsTimeLine()) return ScrollToRow(index / view.layout->cols);
  const auto group =
      view.layout->dateGroups.find(DateGroup{.date = GallerySelectHelper::DayOf(file->CreateTime)});
  if (group == view.layout->dateGroups.end()) return;
  ScrollToRow(
      static_cast<std::uint32_t>(group->firstRow + 1 + (index - group->firstFile) / view.layout->cols));
}

void CGalleryVListUI::ScrollToRow(std::uint32_t rowIndex) {
  if (virtualBody) virtualBody->SetScrollPos({0, virtualBody->PositionOfRow(rowIndex)});
}

CGalleryPictureUI* CGalleryVListUI::CellAt(QPoint point) const {
  for (QWidget* widget = childAt(point); widget && widget != this; widget = widget->parentWidget()) {
    if (auto* cell = dynamic_cast<CGalleryPictureUI*>(widget)) return cell;
  }
  return nullptr;
}

CGalleryPictureUI* CGalleryVListUI::CellOf(const GalleryFile* file) const {
  if (!virtualBody) return nullptr;
  for (const auto* row : virtualBody->Rows()) {
    if (!row->IsVisible()) continue;
    if (auto* cell = row->CellOf(file)) return cell;
  }
  return nullptr;
}

// --- The rubber band, from the empty space between the pictures

void CGalleryVListUI::Band(TEventUI& event) {
  if (event.Type == EventType::ButtonDown) {
    bandFrom = event.ptMouse;
    if (!band) band = new QRubberBand(QRubberBand::Rectangle, this);
    return;
  }
  if (!band) return;
  if (event.Type == EventType::ButtonUp) {
    delete std::exchange(band, nullptr);
    return;
  }
  const QRect area = QRect(bandFrom, event.ptMouse).normalized();
  if (area.width() < kBandStart && area.height() < kBandStart) return;
  band->setGeometry(area);
  band->show();
  ChooseInBand();
}

void CGalleryVListUI::ChooseInBand() {
  std::vector<GalleryFile::Ptr> inside;
  for (const auto* row : virtualBody->Rows()) {
    if (!row->IsVisible()) continue;
    for (int k = 0; k < row->Columns() && k < GridGeometry::kRowCells; ++k) {
      const auto* cell = row->Cell(k);
      if (!cell->File()) continue;
      const QRect picture = cell->HitRect().translated(cell->mapTo(this, QPoint(0, 0)));
      if (picture.intersects(band->geometry())) inside.push_back(cell->File());
    }
  }
  Selection().SelectOnly(inside);
  Page::Send(WM_GALLERY_TOOLBAR_STATE, 0, inside.empty() ? 0 : 1);
  RedrawRows(false);
}
