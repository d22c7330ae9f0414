#include "ui/view/galleryselecthelper.h"

#include <utility>

#include "host/base/globalparamwrapper.h"
#include "host/base/logger.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/view/pageflags.h"
#include "utils/gallerylog.h"
#include "utils/methodfunction.h"

namespace {

constexpr int kEventSelect = 187;
constexpr int kEventSelectDate = 191;
constexpr int kEventUnselectDate = 192;
constexpr int kEventClear = 193;

constexpr char kCtrlClick[] = "Ctrl+鼠标左键";
constexpr char kShiftClick[] = "Shift+鼠标左键";

GalleryFileListViewHelper& Helper() { return GalleryFileListViewHelper::GetInstance(); }

bool IsTimeLine(const Album::Ptr& album) { return album && album->Kind() == AlbumKind::TimeLine; }

}  // namespace

GallerySelectHelper& GallerySelectHelper::GetInstance() {
  static GallerySelectHelper& helper = *new GallerySelectHelper;
  return helper;
}

std::int64_t GallerySelectHelper::DayOf(std::int64_t timeMs) {
  const std::int64_t day = MethodFunction::GetDayKey(timeMs);
  return day == 0 ? 1 : day;  // 0 means "no date" in a key of the layout.
}

void GallerySelectHelper::FollowAlbum() {
  if (const auto album = Helper().CurrentAlbum())
    selected.Follow(album->Files(), GalleryFileListViewHelper::OrderOf(*album));
}

void GallerySelectHelper::LogSelection(const char* type) const {
  const std::string count = std::to_string(selected.size());
  Logger::OutputOperationLog(kEventSelect, 1, 0, {{"num", count}, {"Type", type}, {"total", count}});
}

// --- Mouse

void GallerySelectHelper::OnLButtonDown(const Ptr& file) {
  FollowAlbum();
  if (ctrlDown) {
    if (const auto single = selected.Single()) ctrlSnapshot = {single};
    ctrlSnapshot.insert(file);
  }
  if (shiftDown && anchor) return ShiftSelect(file);
  if (multiSelect) return AddToSelection(file);
  if (ctrlSnapshot.size() < 2) return SelectSingle(file);
  multiSelect = true;
  AddToSelection(file);
  ctrlSnapshot.clear();
}

void GallerySelectHelper::SelectSingle(const Ptr& file) {
  if (selected.Contains(file)) return;
  selected.Clear();
  (void)selected.Insert(file);
  anchor = file;
  multiSelect = false;
}

void GallerySelectHelper::AddToSelection(const Ptr& file) {
  addedOnDown = selected.Insert(file);
  if (!addedOnDown) return;
  anchor = file;
  UpdateDateState(file);
  RefreshNumberLabel();
  LogSelection(kCtrlClick);
}

void GallerySelectHelper::OnRButtonDown(const Ptr& file) {
  if (shiftDown && multiSelect) return;
  FollowAlbum();
  if (selected.size() < 2) return SelectSingle(file);
  addedOnDown = selected.Insert(file);
  if (!addedOnDown) return;
  anchor = file;
  UpdateDateState(file);
  ShowSelectState(true);
}

void GallerySelectHelper::OnLButtonUp(const Ptr& file, bool pressed) {
  if (shiftDown || !multiSelect || addedOnDown || !pressed) return;
  FollowAlbum();
  if (!selected.Erase(file)) return;
  UpdateDateState(file);
  ShowSelectState(multiSelect || !selected.empty() || !selectedDates.empty());
}

void GallerySelectHelper::ShiftSelect(const Ptr& file) {
  const std::uint32_t from = Helper().GetFileIndex(anchor), to = Helper().GetFileIndex(file);
  selected.Clear();
  selectedDates.clear();  // The new range has days of its own.
  const bool found = from != GalleryFileListViewHelper::kNoIndex && to != GalleryFileListViewHelper::kNoIndex;
  if (found) {
    selected.InsertRange({std::min(from, to), std::size_t{std::max(from, to)} + 1});
    LogSelection(kShiftClick);
  }
  GetGallerySetNumShift(anchor, file);
  RefreshNumberLabel();
  if (selected.size() > 1) multiSelect = true;
}

// --- Days

// Days between those of the two files lie between them as a whole; only the two at
// the ends are looked at file by file.
void GallerySelectHelper::GetGallerySetNumShift(Ptr a, Ptr b) {
  const auto album = Helper().CurrentAlbum();
  if (!IsTimeLine(album) || !a || !b) return;
  LogInfo("GallerySelectHelper", "Fuc:GetGallerySetNumShift,shared_lock<std::shared_mutex> lock");
  const auto& order = GalleryFileListViewHelper::OrderOf(*album);
  if (order(b, a)) std::swap(a, b);
  const auto shown = album->CurrentView();
  const auto& groups = shown.layout->dateGroups;
  const std::int64_t lastDay = DayOf(b->CreateTime);
  for (auto group = groups.find(DateGroup{.date = DayOf(a->CreateTime)}); group != groups.end(); ++group) {
    const bool isFirst = group->date == DayOf(a->CreateTime), isLast = group->date == lastDay;
    if (group->date < lastDay || group->firstFile + group->count > shown.files.size()) break;
    if (!isFirst && !isLast) {
      selectedDates.insert(group->date);
      continue;
    }
    const Ptr& first = shown.files[group->firstFile];
    const Ptr& last = shown.files[group->firstFile + group->count - 1];
    const bool lastIsLater = last->CreateTime > b->CreateTime;
    const bool firstIsEarlier = first->CreateTime < a->CreateTime;
    const bool startsAtA = first == a, endsAtB = last == b;
    const bool whole = (startsAtA && endsAtB) || (startsAtA && lastIsLater) || (endsAtB && firstIsEarlier) ||
                       (!startsAtA && !endsAtB && lastIsLater && firstIsEarlier);
    if (whole) selectedDates.insert(group->date);
    if ((startsAtA && endsAtB) || ((startsAtA || endsAtB) && !whole)) break;
  }
}

void GallerySelectHelper::UpdateDateState(const Ptr& file) {
  const auto album = Helper().CurrentAlbum();
  if (!IsTimeLine(album) || !file) return;
  FollowAlbum();
  const auto shown = album->CurrentView();
  const std::int64_t day = DayOf(file->CreateTime);
  const auto group = shown.layout->dateGroups.find(DateGroup{.date = day});
  if (group == shown.layout->dateGroups.end()) return;
  const std::size_t chosen = selected.CountIn({group->firstFile, group->firstFile + group->count});
  if (chosen == group->count) {
    selectedDates.insert(day);
  } else {
    selectedDates.erase(day);
  }
}

void GallerySelectHelper::SelectDate(std::int64_t date, bool select) {
  FollowAlbum();
  if (!multiSelect) {
    if (selected.size() == 1) selected.Clear();
    multiSelect = true;
  }
  const auto album = Helper().CurrentAlbum();
  if (!IsTimeLine(album)) return;
  LogInfo("GallerySelectHelper", "Fuc:SelectDate,shared_lock<std::shared_mutex> lock");
  const auto shown = album->CurrentView();
  const auto group = shown.layout->dateGroups.find(DateGroup{.date = date});
  if (group == shown.layout->dateGroups.end()) return;
  selected.Follow(shown.files, GalleryFileListViewHelper::OrderOf(*album));
  const FileSelection::Range range{group->firstFile, group->firstFile + group->count};
  if (select) {
    selected.InsertRange(range);
    selectedDates.insert(date);
  } else {
    selected.EraseRange(range);
    selectedDates.erase(date);
  }
  Logger::OutputOperationLog(select ? kEventSelectDate : kEventUnselectDate, 1, 0,
                             {{"date", std::to_string(date)}, {"total", std::to_string(group->count)}});
}

// --- The whole

void GallerySelectHelper::SelectAll(int kind) {
  const auto album = Helper().CurrentAlbum();
  if (!album) return;
  const auto shown = album->CurrentView();
  if (shown.files.empty()) return;
  LogInfo("GallerySelectHelper", "Fuc:SelectAll,shared_lock<std::shared_mutex> lock");
  selected.Follow(shown.files, GalleryFileListViewHelper::OrderOf(*album));
  for (const auto& group : shown.layout->dateGroups) selectedDates.insert(selectedDates.begin(), group.date);
  selected.InsertRange({0, shown.files.size()});
  multiSelect = true;
  ShowSelectState(true);
  LogSelection(kind == 1 ? "Click Allselect Btn" : "Ctrl+A");
}

void GallerySelectHelper::SelectOnly(const Files& files) {
  FollowAlbum();
  selected.Clear();
  std::set<std::int64_t> days;
  for (const Ptr& file : files) {
    (void)selected.Insert(file);
    days.insert(DayOf(file->CreateTime));
  }
  selectedDates.clear();
  Ptr last;
  for (const Ptr& file : files) {
    if (days.erase(DayOf(file->CreateTime)) > 0) UpdateDateState(file);
    last = file;
  }
  if (last) anchor = last;
  multiSelect = selected.size() > 1;
  RefreshNumberLabel();
}

void GallerySelectHelper::SelectClear(bool keepMode) {
  if (!selected.empty())
    Logger::OutputOperationLog(kEventClear, 1, 0, {{"total", std::to_string(selected.size())}});
  if (GlobalData::searchJump) {
    LogInfo("GallerySelectHelper::SelectClear", "GlobalData::g_bIsSearchGallery = 1");
    return;
  }
  selected.Clear();
  selectedDates.clear();
  ctrlSnapshot.clear();
  addedOnDown = shiftDown = false;
  const bool stays = keepMode && multiSelect;
  multiSelect = stays;
  if (view && view->HasNumberControls()) ShowSelectState(stays);
}

bool GallerySelectHelper::PruneSelection() {
  if (selected.empty()) return false;
  FollowAlbum();
  selected.Prune();
  return selected.empty();
}

// --- Labels

void GallerySelectHelper::RefreshNumberLabel() {
  if (!view || !view->HasNumberControls()) return;
  ShowSelectState(multiSelect || selected.size() >= 2 || !selectedDates.empty());
}

void GallerySelectHelper::ShowSelectState(bool active) {
  if (!view) return;
  view->ShowMultiSelectLook(active);
  const auto album = Helper().CurrentAlbum();
  const bool hidden = GlobalParamWrapper::GetInstance()->GetDataHidePeriod();
  const std::size_t files = album && !hidden ? album->FileCount() : 0;
  view->EnableSelectAll(files > selected.size());
  ShowAlbumControls(active, files);
  GlobalData::dateLineMode = !active;
  if (active) {
    view->ShowSelectedCount(selected.size());
    multiSelect = true;
  } else {
    view->ShowRememberedDate();
  }
}

void GallerySelectHelper::ShowAlbumControls(bool active, std::size_t albumFiles) {
  if (albumFiles == 0 || view->HasViewer()) {
    view->ShowMultiBubble(false);
    view->EnableMultiSelect(false);
    return;
  }
  view->ShowMultiBubble(GlobalData::multiBubbleShown);
  view->EnableMultiSelect(true);
  view->ShowBinTitle(!active);
  view->ShowSelectionBar(active);
}
