// The rows of a virtual list: which are in sight, and where.

#include <QScopedValueRollback>
#include <algorithm>
#include <optional>

#include "common/toolkit/paintmanager.h"
#include "common/toolkit/resourcequeue.h"
#include "host/base/drivethreadpool.h"
#include "ui/pagecontext.h"
#include "ui/timescrollbar.h"
#include "ui/view/galleryselecthelper.h"
#include "ui/view/gridgeometry.h"
#include "ui/view/pageflags.h"
#include "ui/view/thumbrequests.h"
#include "ui/virtuallist.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/messages.h"

namespace {

constexpr std::uint32_t kRowsAhead = 3;

GalleryFileListViewHelper& Helper() { return GalleryFileListViewHelper::GetInstance(); }

}  // namespace

CVirtualListBodyUI::CVirtualListBodyUI(CGalleryVListUI& owner) : CListBodyUI(&owner), list(owner) {
  SetScrollStepSize(kScrollStep);
}

std::uint32_t CVirtualListBodyUI::Wanted() const {
  const int pool = std::max(maximumRows, GridGeometry::RowsFor(height(), elementHeight));
  return std::min(static_cast<std::uint32_t>(pool), provider ? provider->GetElementCount() : 0);
}

void CVirtualListBodyUI::AddRows(std::uint32_t count) {
  const QScopedValueRollback<bool> building(adding, true);
  for (std::uint32_t i = 0; i < count; ++i) {
    CFileInfoCellBase* row = provider->CreateElement();
    row->SetOwner(&list);
    row->SetIndex(static_cast<int>(i));
    if (!Add(row)) continue;
    row->SetVisible(true);
    rows.push_back(row);
  }
  if (auto* bar = GetVerticalScrollBar()) bar->raise();
}

void CVirtualListBodyUI::InitElement(int count) {
  maximumRows = count;
  if (provider) AddRows(Wanted());
}

void CVirtualListBodyUI::Refresh() {
  if (!provider) return;
  const std::uint32_t wanted = Wanted();
  while (rows.size() > wanted) RemoveRow(rows.front());
  if (rows.size() < wanted) AddRows(wanted - static_cast<std::uint32_t>(rows.size()));
  if (provider->GetElementCount() == 0) return;
  ArrangeScrollBars(rect());
  ReArrangeChild(true);
  if (IsVisible()) Invalidate();
}

// --- The selection of rows

CFileInfoCellBase* CVirtualListBodyUI::ControlOf(std::int64_t row) const {
  const auto first = rows.empty() ? 0 : std::int64_t{rows.front()->RowIndex()};
  const std::int64_t place = row - first;
  if (row < 0 || place < 0 || place >= static_cast<std::int64_t>(rows.size())) return nullptr;
  auto* control = rows[static_cast<std::size_t>(place)];
  return control->IsVisible() ? control : nullptr;
}

CFileInfoCellBase* CVirtualListBodyUI::CurrentRow() const { return ControlOf(currentRow); }

void CVirtualListBodyUI::ShowSelected(std::uint32_t row, bool on) {
  if (auto* control = ControlOf(row)) control->Select(on);
}

void CVirtualListBodyUI::SelectItem(std::uint32_t row) {
  ClearSelectedItems();
  SelectMultiItem(row);
}

void CVirtualListBodyUI::SelectMultiItem(std::uint32_t row) {
  if (!provider || row >= provider->GetElementCount()) return;
  if (std::find(selectedRows.begin(), selectedRows.end(), row) == selectedRows.end())
    selectedRows.push_back(row);
  const std::int64_t before = std::exchange(currentRow, std::int64_t{row});
  ShowSelected(row, true);
  list.Notify(QStringLiteral("itemselect"), row, before);
  const auto* control = ControlOf(row);
  if (!control || control->y() < 0 || control->geometry().bottom() >= height()) list.ScrollToRow(row);
}

void CVirtualListBodyUI::UnSelectItem(std::uint32_t row) {
  if (std::erase(selectedRows, row) == 0) return;
  ShowSelected(row, false);
  if (currentRow == row) currentRow = -1;
}

void CVirtualListBodyUI::ClearSelectedItems() {
  for (const std::uint32_t row : std::exchange(selectedRows, {})) ShowSelected(row, false);
  currentRow = -1;
}

void CVirtualListBodyUI::SelectItemRange(std::uint32_t from, std::uint32_t to) {
  ClearSelectedItems();
  const std::uint32_t last = std::min(std::max(from, to), provider ? provider->GetElementCount() : 0);
  for (std::uint32_t row = std::min(from, to); row <= last; ++row) SelectMultiItem(row);
}

void CVirtualListBodyUI::RemoveRow(CControlUI* row) {
  std::erase(rows, static_cast<CFileInfoCellBase*>(row));
  (void)Remove(row);
}

void CVirtualListBodyUI::RemoveRows() {
  ClearSelectedItems();
  while (!rows.empty()) RemoveRow(rows.front());
}

// --- Scrolling

void CVirtualListBodyUI::SetScrollPos(QSize position) {
  auto* bar = GetVerticalScrollBar();
  if (!bar) return;
  previousPosition = bar->GetScrollPos();
  bar->SetScrollPos(std::clamp(position.height(), 0, bar->GetScrollRange()));
  if (auto* across = GetHorizontalScrollBar()) across->SetScrollPos(position.width());
  const Places before = PlacesOfRows();
  MoveRowsQuietly();
  MovePainted(before);
}

CVirtualListBodyUI::Places CVirtualListBodyUI::PlacesOfRows() const {
  Places places;
  for (const auto* row : rows)
    if (row->IsVisible()) places.emplace_back(row->RowIndex(), row->y());
  return places;
}

// A row that moves has itself and what it leaves painted anew. That is left out here:
// what was painted moves along with it. What a cell takes in tells itself.
void CVirtualListBodyUI::MoveRowsQuietly() {
  const auto hold = [this](bool on) {
    setAttribute(Qt::WA_UpdatesDisabled, on);
    for (auto* row : rows) row->setAttribute(Qt::WA_UpdatesDisabled, on);
  };
  hold(true);
  ReArrangeChild(false);
  hold(false);
}

// Moves the pixels of the rows that have stayed, and has only the rest painted. What
// lies over the rows, the bar and its bubble, must not be moved along.
void CVirtualListBodyUI::MovePainted(const Places& before) {
  std::optional<int> moved;
  for (const auto* row : rows) {
    if (!row->IsVisible()) continue;
    const auto old = std::find_if(before.begin(), before.end(),
                                  [row](const auto& place) { return place.first == row->RowIndex(); });
    if (old == before.end()) continue;
    const int by = row->y() - old->second;
    if (moved && *moved != by) return update();
    moved = by;
  }
  if (!moved || std::abs(*moved) >= height()) return update();
  if (*moved == 0) return;
  QRect free = rect();
  QRegion over;
  for (QObject* child : children()) {
    const auto* widget = qobject_cast<QWidget*>(child);
    if (!widget || !widget->isVisible() || dynamic_cast<const CFileInfoCellBase*>(widget)) continue;
    const QRect place = widget->geometry() & rect();
    if (widget != GetVerticalScrollBar()) {
      over += place;
      over += place.translated(0, *moved);
    } else if (isRightToLeft()) {
      free.setLeft(place.right() + 1);
    } else {
      free.setRight(place.left() - 1);
    }
  }
  scroll(0, *moved, free);
  update(QRegion(rect()) - free + over);
}

// Opaque, so that its pixels can be moved, and nothing below it need be painted.
void CVirtualListBodyUI::Restyle() {
  CListBodyUI::Restyle();
  QPalette colors = palette();
  colors.setColor(QPalette::Window, ColorOf(QStringLiteral("page")));
  setPalette(colors);
  setAutoFillBackground(true);
}

void CVirtualListBodyUI::SetPos(const QRect& rect, bool needInvalidate) {
  CContainerUI::SetPos(rect, needInvalidate);
  if (adding) return;
  if (provider && rows.size() < Wanted() && !rows.empty())
    AddRows(Wanted() - static_cast<std::uint32_t>(rows.size()));
  ArrangeScrollBars(this->rect());
  ReArrangeChild(true);
}

int CVirtualListBodyUI::ContentHeight() const {
  return provider ? elementHeight * static_cast<int>(provider->GetElementCount()) : 0;
}

void CVirtualListBodyUI::ArrangeScrollBars(const QRect& rect) {
  ProcessScrollBar(rect, width(), ContentHeight());
}

void CVirtualListBodyUI::ShowBar(const QRect& area, int extra, int keepClear) {
  auto* bar = GetVerticalScrollBar();
  if (!bar) return;
  if (extra > keepClear && !bar->IsVisible()) {
    bar->SetScrollRange(extra);
    bar->SetScrollPos(0);
    bar->SetVisible(true);
    inScrollBarPass = true;
    SetPos(GetPos());
    inScrollBarPass = false;
    return;
  }
  if (!bar->IsVisible()) return;
  if (extra - keepClear <= 0 && !inScrollBarPass) {
    bar->SetScrollRange(0);
    bar->SetScrollPos(0);
    bar->SetVisible(false);
    SetPos(GetPos());
    return;
  }
  const int wide = Scaled(GridGeometry::kScrollBarWidth), gap = keepClear > 0 ? Scaled(8) : 0;
  const QRect place(area.right() + 1 - wide - gap, area.top(), wide, area.height());
  bar->SetPos(QStyle::visualRect(layoutDirection(), rect(), place));
  bar->SetPageSize(area.height());
  if (bar->GetScrollRange() == extra) return;
  const int before = bar->GetScrollPos();
  bar->SetScrollRange(std::abs(extra));
  if (bar->GetScrollPos() < before || !inScrollBarPass) SetPos(GetPos());
}

void CVirtualListBodyUI::ProcessScrollBar(const QRect& area, int, int cyRequired) {
  ShowBar(area, cyRequired - area.height(), 0);
}

void CVirtualListBodyUI::FirstRow(std::uint32_t& row, int& offset) const {
  const int position = GetScrollPos().height();
  row = elementHeight > 0 ? static_cast<std::uint32_t>(position / elementHeight) : 0;
  offset = elementHeight > 0 ? position % elementHeight : 0;
}

int CVirtualListBodyUI::RowHeight(std::uint32_t) const { return elementHeight; }

int CVirtualListBodyUI::PositionOfRow(std::uint32_t row) const {
  return static_cast<int>(row) * elementHeight;
}

// A row that stays in sight keeps its pictures: it only moves.
void CVirtualListBodyUI::KeepRowsInSight(std::uint32_t first) {
  if (rows.empty()) return;
  const std::int64_t moved = std::int64_t{first} - rows.front()->RowIndex();
  const auto size = static_cast<std::int64_t>(rows.size());
  if (moved == 0 || std::abs(moved) >= size) return;
  std::rotate(rows.begin(), rows.begin() + (moved > 0 ? moved : size + moved), rows.end());
}

void CVirtualListBodyUI::ReArrangeChild(bool force) {
  if (!force && !keepLayout) {
    if (!initialised) {
      initialised = true;
    } else if (rows.empty() || !provider || provider->GetElementCount() < rows.size() || width() < 1) {
      return;
    }
  }
  const std::uint32_t count = provider ? provider->GetElementCount() : 0;
  if (count < 1) return;
  BeforeArrange();
  std::uint32_t first = 0;
  int offset = 0;
  FirstRow(first, offset);
  KeepRowsInSight(first);
  std::vector<GalleryFile::Ptr> missing;
  int top = -offset;
  for (std::uint32_t i = 0; i < rows.size(); ++i) {
    const std::uint32_t index = first + i;
    CFileInfoCellBase* row = rows[i];
    if (index >= count) {
      row->SetVisible(false);
      continue;
    }
    row->SetVisible(true);
    provider->FillElement(*row, index, i == 0, missing);
    const int tall = RowHeight(index);
    row->SetPos({0, top, width(), tall}, false);
    top += tall;
  }
  Ask(missing);
  const bool down = GetScrollPos().height() >= previousPosition;
  const bool same = aheadOf == first && aheadDown == down;
  aheadOf = first;
  aheadDown = down;
  if (force || !same) LoadAhead(down);
}

void CVirtualListBodyUI::Ask(const std::vector<GalleryFile::Ptr>& missing) {
  if (missing.empty()) return;
  ThumbRequests::GetInstance().Ask(missing, [](const GalleryFile::Ptr& file) {
    (void)platform::PostMessageW(GlobalData::galleryWnd, WM_GALLERY_THUMB_READY, 0,
                                 reinterpret_cast<LPARAM>(file.get()));
  });
}

void CVirtualListBodyUI::LoadAhead(bool down) {
  auto& queue = ResourceQueue::GetInstance();
  QStringList shown, ahead;
  QSize cellSize;
  std::uint32_t last = 0, first = ~std::uint32_t{0};
  for (const auto* row : rows) {
    if (!row->IsVisible()) continue;
    last = std::max(last, row->RowIndex());
    first = std::min(first, row->RowIndex());
    for (int k = 0; k < row->Columns() && k < GridGeometry::kRowCells; ++k) {
      if (!row->Cell(k)->ThumbPath().isEmpty()) shown << row->Cell(k)->ThumbPath();
      cellSize = row->Cell(k)->PictureSize();
    }
  }
  for (std::uint32_t step = 1; step <= kRowsAhead; ++step) {
    if (!down && first < step) break;
    for (const auto& file : Helper().GetListViewVec(down ? last + step : first - step).files) {
      if (file->thumbExists) ahead << Page::NativeText(file->ThumbnailName());
    }
  }
  queue.Prefer(shown);
  queue.Ahead(ahead, cellSize);
}

// --- The time line

void CTimeAlbumBodyUI::EnableScrollBar(bool vertical, bool horizontal) {
  if (vertical && !timeBar) {
    timeBar = new CTimeScrollBarUINew;
    SetVerticalScrollBar(timeBar);
  }
  CVirtualListBodyUI::EnableScrollBar(false, horizontal);
}

// The layout that the rows are taken from is the one whose days the bar knows.
void CTimeAlbumBodyUI::FollowLayout() {
  if (timeBar) timeBar->SetLayout(Helper().CurrentView().layout);
}

void CTimeAlbumBodyUI::InitElement(int count) {
  FollowLayout();
  CVirtualListBodyUI::InitElement(count);
}

void CTimeAlbumBodyUI::Refresh() {
  FollowLayout();
  CVirtualListBodyUI::Refresh();
  if (IsVisible()) NeedUpdate();
}

int CTimeAlbumBodyUI::ContentHeight() const {
  return static_cast<int>(Helper().CurrentView().layout->totalHeight);
}

void CTimeAlbumBodyUI::ArrangeScrollBars(const QRect& rect) {
  const int margin = Scaled(GridGeometry::kFloatingBarMargin);
  ProcessScrollBar(rect.adjusted(0, margin, 0, -margin), width(), ContentHeight());
}

void CTimeAlbumBodyUI::ProcessScrollBar(const QRect& area, int, int cyRequired) {
  ShowBar(area, cyRequired - area.height(), Scaled(2 * GridGeometry::kFloatingBarMargin));
}

void CTimeAlbumBodyUI::FirstRow(std::uint32_t& row, int& offset) const {
  GalleryFileListViewHelper::RowPlace place;
  const int position = GetScrollPos().height();
  row = 0;
  offset = 0;
  if (!Helper().GetRowAtPos(position, place)) return;
  row = place.row;
  offset = position - static_cast<int>(place.top);
}

int CTimeAlbumBodyUI::RowHeight(std::uint32_t row) const {
  const auto layout = Helper().CurrentView().layout;
  const auto group = layout->dateGroups.find(DateGroup{.firstRow = row});
  const bool isHeader = group != layout->dateGroups.end() && group->firstRow == row;
  return isHeader ? GridGeometry::kHeaderPixels : elementHeight;
}

// The row's top in the layout, one pixel further: a position on a boundary belongs to
// the row above.
int CTimeAlbumBodyUI::PositionOfRow(std::uint32_t row) const {
  const auto layout = Helper().CurrentView().layout;
  const auto group = layout->dateGroups.find(DateGroup{.firstRow = row});
  if (group == layout->dateGroups.end()) return 0;
  const auto top = static_cast<int>(group->top);
  if (row == group->firstRow) return top;
  const auto within = static_cast<int>(row - group->firstRow - 1);
  return top + layout->dateHeight + within * layout->lineHeight + 1;
}

void CTimeAlbumBodyUI::BeforeArrange() {
  JumpToSelection();
  FloatDate();
}

void CTimeAlbumBodyUI::JumpToSelection() {
  const auto file = GallerySelectHelper::GetInstance().Single();
  auto* bar = GetVerticalScrollBar();
  if (!file || !bar) return;
  const auto layout = Helper().CurrentView().layout;
  const auto index = [&] { return Helper().GetFileIndex(file); };
  if (GlobalData::returningFromViewer) {
    const auto position = GridGeometry::CalScrollBarPos(*layout, index(), elementHeight);
    LogInfo("CTimeAlbumBodyUI", "CalScrollBarPos() nScrollHeight = " + std::to_string(position));
    if (position >= 0) bar->SetScrollPos(static_cast<int>(position));
  }
  if (!GlobalData::searchJump) return;
  const auto position = GridGeometry::GetScrollBarPos(*layout, index(), elementHeight);
  LogInfo("CTimeAlbumBodyUI", "GetScrollBarPos() nScrollHeight = " + std::to_string(position));
  if (position >= 0) bar->SetScrollPos(static_cast<int>(position));
  if (!GlobalData::searchJumpPending.exchange(false)) return;
  (void)CommonAbility::DriveThreadPool::GetInstance().Add(
      [] {
        GlobalData::searchJump = false;
        LogInfo("CTimeAlbumBodyUI", "SetTagetGallery Enter");
      },
      std::chrono::milliseconds(1000));
}

void CTimeAlbumBodyUI::FloatDate() {
  auto& selection = GallerySelectHelper::GetInstance();
  std::uint32_t first = 0;
  int offset = 0;
  FirstRow(first, offset);
  if (GlobalData::dateLineMode) {
    TellBar();
    if (first == 0) {
      Page::ShowDateLine({});
    } else if (selection.Count() < 2) {
      Page::ShowDateLine(CTimeScrollBarUINew::DateText());
    }
  }
  if (selection.IsMultiSelect()) selection.RefreshNumberLabel();
}

void CTimeAlbumBodyUI::TellBar() {
  if (timeBar && !timeBar->isSliderDown()) timeBar->SetDatePos(GetScrollPos().height());
}

void CTimeAlbumBodyUI::LineUp() {
  CVirtualListBodyUI::LineUp();
  TellBar();
}

void CTimeAlbumBodyUI::LineDown() {
  CVirtualListBodyUI::LineDown();
  TellBar();
}

void CTimeAlbumBodyUI::TouchUp(int pixels) {
  if (GetScrollPos().height() < 1) return;
  CVirtualListBodyUI::TouchUp(pixels);
  TellBar();
}

void CTimeAlbumBodyUI::TouchDown(int pixels) {
  if (GetScrollPos().height() >= GetScrollRange().height()) return;
  CVirtualListBodyUI::TouchDown(pixels);
  TellBar();
}
