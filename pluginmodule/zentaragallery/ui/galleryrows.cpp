#include "ui/galleryrows.h"

#include <QLayout>

#include "common/platform/clock.h"
#include "common/toolkit/resourcemanager.h"
#include "ui/pagecontext.h"
#include "ui/view/galleryselecthelper.h"
#include "ui/view/pagerules.h"
#include "utils/messages.h"

namespace {

constexpr int kPadding = 5;
constexpr int kTimeLineStart = 24;
constexpr int kDaysHeight = 20;
constexpr int kDateWidth = 174;
constexpr int kChooseWidth = 100;

const QString kSelectText = QStringLiteral("IDS_GALLERT_SELECT");
const QString kCancelText = QStringLiteral("IDS_GALLERT_BTN_CANCEL");

GallerySelectHelper& Selection() { return GallerySelectHelper::GetInstance(); }

}  // namespace

CFileInfoCellBase::CFileInfoCellBase(QWidget* parent) : CListContainerElementUI(parent) {
  delete layout();  // Cells are placed by hand: scrolling lays out no row.
}

void CFileInfoCellBase::InitCells(int count) {
  for (int i = 0; i < count; ++i) {
    auto* cell = new CGalleryPictureUI(*this);
    cell->SetAttribute(QStringLiteral("menu"), QStringLiteral("true"));
    cell->SetName(MenuKey());
    Add(cell);
    cell->hide();
    cells[static_cast<std::size_t>(i)] = cell;
  }
}

void CFileInfoCellBase::Clear() {
  for (int i = 0; i < GridGeometry::kRowCells; ++i) ShowCell(i, false);
  for (auto* cell : cells) cell->Bind(nullptr);
}

void CFileInfoCellBase::SetFileInfoCell(const ViewRow& files, std::uint32_t index, bool, Files& missing) {
  if (files.empty()) return;
  rowIndex = index;
  FillCells(files, missing);
}

void CFileInfoCellBase::FillCells(const ViewRow& files, Files& missing) {
  columns = files.columns;
  for (int k = 0; k < GridGeometry::kRowCells; ++k) {
    if (k >= columns) {
      ShowCell(k, false);
      cells[static_cast<std::size_t>(k)]->Bind(nullptr);
    } else if (k < static_cast<int>(files.files.size())) {
      FillCell(k, files.files[static_cast<std::size_t>(k)], missing);
    } else {
      BlankCell(k);
    }
  }
}

void CFileInfoCellBase::FillCell(int index, const GalleryFile::Ptr& file, Files& missing) {
  auto* cell = Cell(index);
  // A row that stays in sight has nothing to be told.
  if (cell->File() == file && !cell->ThumbPath().isEmpty() && file->thumbExists) return;
  cell->Bind(file);
  // Whether the thumbnail is there is known to the file; a worker finds out the rest.
  if (file->thumbExists) {
    cell->SetThumbPath(Page::NativeText(file->ThumbnailName()));
  } else {
    cell->SetThumbPath({});
    missing.push_back(file);
  }
  cell->SetEnabled(true);
  ShowCell(index, true);
}

// The last row of a group: the cell keeps its place, so that the others keep theirs.
void CFileInfoCellBase::BlankCell(int index) {
  auto* cell = Cell(index);
  cell->Bind(nullptr);
  cell->SetThumbPath({});
  cell->SetEnabled(false);
  ShowCell(index, true);
}

void CFileInfoCellBase::ShowCell(int index, bool visible) { Cell(index)->SetVisible(visible); }

QRect CFileInfoCellBase::Column(int index, QSize size) const {
  const int width = size.width() - Scaled(GridGeometry::kScrollBarWidth);
  const int left = width * index / std::max(1, columns), right = width * (index + 1) / std::max(1, columns);
  return {left, 0, right - left, size.height()};
}

QRect CFileInfoCellBase::CellRect(int index, QSize size) const {
  const int pad = Scaled(kPadding);
  return Column(index, size).adjusted(pad, pad, -pad, -pad);
}

void CFileInfoCellBase::PlaceCells() {
  for (int k = 0; k < columns && k < GridGeometry::kRowCells; ++k) {
    if (!cells[static_cast<std::size_t>(k)]) return;
    const QRect place = CellRect(k, size());
    Cell(k)->SetPos(QStyle::visualRect(layoutDirection(), rect(), place));
  }
}

void CFileInfoCellBase::SetPos(const QRect& rect, bool needInvalidate) {
  CListContainerElementUI::SetPos(rect, needInvalidate);
  const Placed now{size(), layoutDirection(), columns};
  if (now == placed) return;
  placed = now;
  PlaceParts();
}

void CFileInfoCellBase::Restyle() {
  CListContainerElementUI::Restyle();
  placed = {};
}

CGalleryPictureUI* CFileInfoCellBase::CellOf(const GalleryFile* file) const {
  for (auto* cell : cells) {
    if (cell && cell->File().get() == file) return cell;
  }
  return nullptr;
}

void CFileInfoCellBase::DoEvent(TEventUI& event) {
  const bool onCell = event.pSender && event.pSender->GetClass() == QStringLiteral("GalleryPictureUI");
  if (event.Type == EventType::ButtonDown && !onCell) Page::Post(WM_GALLERY_KEY_ESCAPE);
  CContainerUI::DoEvent(event);
}

// --- An ordinary album

CControlUI* CNormalAlbumRow::GetInterface(const QString& name) {
  return name == QStringLiteral("NormalAlbumRowUI") ? this : CFileInfoCellBase::GetInterface(name);
}

// --- The time line

CControlUI* CTimeAlbumRow::GetInterface(const QString& name) {
  return name == QStringLiteral("TimeAlbumRowUI") ? this : CFileInfoCellBase::GetInterface(name);
}

void CTimeAlbumRow::InitCells(int count) {
  dateLabel = new CLabelUI;
  dateLabel->SetFont(QStringLiteral("strong"));
  Add(dateLabel);
  dateLabel->hide();
  choose = new CLabelUI;
  choose->SetName(QStringLiteral("chooseLabel"));
  choose->SetText(kSelectText);
  choose->SetTextColor(QStringLiteral("link"));
  choose->SetFont(QStringLiteral("strong"));
  choose->SetAttribute(QStringLiteral("cursor"), QStringLiteral("hand"));
  Add(choose);
  choose->hide();
  CFileInfoCellBase::InitCells(count);
}

QRect CTimeAlbumRow::CellRect(int index, QSize size) const {
  const int pad = Scaled(kPadding);
  return Column(index, size).adjusted(Scaled(kTimeLineStart), pad, -pad, -pad);
}

void CTimeAlbumRow::PlaceParts() {
  PlaceCells();
  const auto place = [this](CLabelUI* label, int x, int labelWidth) {
    if (label) label->SetPos(QStyle::visualRect(layoutDirection(), rect(), {x, 0, labelWidth, height()}));
  };
  place(dateLabel, Scaled(kTimeLineStart), Scaled(kDateWidth - kTimeLineStart));
  place(choose, Scaled(kDateWidth), Scaled(kChooseWidth));
}

void CTimeAlbumRow::SetFileInfoCell(const ViewRow& files, std::uint32_t index, bool, Files& missing) {
  if (files.empty()) return;
  rowIndex = index;
  isHeader = files.headerMarker;
  if (isHeader) return ShowHeader(files.date);
  dateLabel->SetVisible(false);
  choose->SetVisible(false);
  date = files.files.front()->CreateTime;
  FillCells(files, missing);
}

void CTimeAlbumRow::ShowHeader(std::int64_t day) {
  date = day;
  Clear();
  auto& selection = Selection();
  dateLabel->SetText(CResourceManager::FormatDate(day * 1000));
  dateLabel->SetVisible(true);
  choose->SetText(selection.IsDateSelected(day) ? kCancelText : kSelectText);
  const std::int64_t hover = selection.hoverDate;
  const bool hovered = hover == day || GallerySelectHelper::DayOf(hover) == day;
  choose->SetVisible(selection.HasSelectedDates() || selection.Count() >= 2 || hovered);
}

void CTimeAlbumRow::Restyle() {
  CFileInfoCellBase::Restyle();
  if (isHeader && dateLabel) dateLabel->SetText(CResourceManager::FormatDate(date * 1000));
}

void CTimeAlbumRow::OnChoose() {
  const bool select = !Selection().IsDateSelected(date);
  choose->SetText(select ? kCancelText : kSelectText);
  Selection().SelectDate(date, select);
  if (select) Page::PostToolbar(static_cast<int>(PageRules::ToolbarState::Selected));
  if (!select && Selection().Count() == 0) Page::PostToolbar(0);
  Selection().RefreshNumberLabel();
  Page::Post(WM_GALLERY_REDRAW, 0, 1);
}

void CTimeAlbumRow::DoEvent(TEventUI& event) {
  if (event.Type == EventType::ButtonDown && isHeader) {
    if (event.pSender == choose) {
      OnChoose();
      event.handled = true;
      return;
    }
    Selection().SelectClear(false);
    Page::Post(WM_GALLERY_KEY_ESCAPE);
    return CContainerUI::DoEvent(event);
  }
  if (event.Type == EventType::MouseMove) HoverOver();
  CFileInfoCellBase::DoEvent(event);
}

void CTimeAlbumRow::HoverOver() {
  if (!Page::IsTimeLineShown()) return;
  auto& hover = Selection().hoverDate;
  if (isHeader ? choose->IsVisible()
               : GallerySelectHelper::DayOf(hover) == GallerySelectHelper::DayOf(date) || hover == date)
    return;
  hover = date;
  Page::Post(WM_GALLERY_REDRAW, 0, 1);
}

// --- The bin

CControlUI* CDeleteAlbumRow::GetInterface(const QString& name) {
  return name == QStringLiteral("DeleteAlbumRowUI") ? this : CFileInfoCellBase::GetInterface(name);
}

void CDeleteAlbumRow::InitCells(int count) {
  CFileInfoCellBase::InitCells(count);
  for (int i = 0; i < count; ++i) {
    auto* label = new CLabelUI;
    label->SetName(QStringLiteral("del_thumb_lab"));
    label->SetFont(QStringLiteral("small"));
    label->SetAttribute(QStringLiteral("textalign"), QStringLiteral("center"));
    label->SetAttribute(QStringLiteral("mouse"), QStringLiteral("false"));
    Add(label);
    label->hide();
    days[static_cast<std::size_t>(i)] = label;
  }
}

QRect CDeleteAlbumRow::CellRect(int index, QSize size) const {
  return CFileInfoCellBase::CellRect(index, size).adjusted(0, 0, 0, -Scaled(kDaysHeight));
}

void CDeleteAlbumRow::PlaceParts() {
  PlaceCells();
  const int tall = Scaled(kDaysHeight);
  for (int k = 0; k < columns && k < GridGeometry::kRowCells; ++k) {
    const QRect cell = CFileInfoCellBase::CellRect(k, size());
    const QRect place(cell.left(), cell.bottom() + 1 - tall, cell.width(), tall);
    DaysLabel(k)->SetPos(QStyle::visualRect(layoutDirection(), rect(), place));
  }
}

void CDeleteAlbumRow::ShowCell(int index, bool visible) {
  CFileInfoCellBase::ShowCell(index, visible);
  DaysLabel(index)->SetVisible(visible && Cell(index)->File());
}

void CDeleteAlbumRow::FillCell(int index, const GalleryFile::Ptr& file, Files& missing) {
  CFileInfoCellBase::FillCell(index, file, missing);
  auto* label = DaysLabel(index);
  const std::int64_t recycled = file->RecycleTime;
  const auto left =
      recycled < 1 ? PageRules::DaysLeft{} : PageRules::GetRecycleDaysLeft(recycled, platform::NowSeconds());
  label->SetText(left.hasText ? CResourceManager::GetPluralText(
                                    QStringLiteral("IDS_GALLERT_REC_DELETE_DAYS_LEFT"), left.days)
                              : QString());
  const bool urgent = PageRules::IsUrgent(left);
  label->SetTextColor(urgent ? QStringLiteral("danger") : QStringLiteral("text-2"));
  label->SetFont(urgent ? QStringLiteral("small-strong") : QStringLiteral("small"));
}

void CDeleteAlbumRow::BlankCell(int index) {
  CFileInfoCellBase::BlankCell(index);
  DaysLabel(index)->SetText({});
}
