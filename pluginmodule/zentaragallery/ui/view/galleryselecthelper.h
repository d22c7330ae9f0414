#pragma once

#include <atomic>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "ui/view/fileselection.h"

// The controls that show the selection. The main window is it; a missing control
// ends its call quietly.
class ISelectionView {
 public:
  virtual ~ISelectionView() = default;

  // The number label and the number button of the current view are there.
  virtual bool HasNumberControls() = 0;
  virtual bool HasViewer() = 0;
  // Look and tip of the multi-select button.
  virtual void ShowMultiSelectLook(bool active) = 0;
  virtual void EnableMultiSelect(bool enabled) = 0;
  virtual void EnableSelectAll(bool enabled) = 0;
  // The tip under the multi-select button.
  virtual void ShowMultiBubble(bool visible) = 0;
  // "del_clearTit", in the view of the bin.
  virtual void ShowBinTitle(bool visible) = 0;
  // The bar with number and "select all" of the current view.
  virtual void ShowSelectionBar(bool visible) = 0;
  // The number label tells how many are selected.
  virtual void ShowSelectedCount(std::size_t count) = 0;
  // The number label shows the date in sight again, if there is one.
  virtual void ShowRememberedDate() = 0;
};

// The selection of the page, in terms of files: it survives the recycling of rows
// and every reload of the album. One for the process; all on the user-interface
// thread but hoverDate.
class GallerySelectHelper {
 public:
  using Ptr = GalleryFile::Ptr;
  using Files = std::vector<Ptr>;

  static GallerySelectHelper& GetInstance();

  // Null: no window. Whoever is set must outlive it.
  void SetView(ISelectionView* shown) { view = shown; }

  void OnLButtonDown(const Ptr& file);
  void OnRButtonDown(const Ptr& file);
  void OnLButtonUp(const Ptr& file, bool pressed);
  // Kind 1 is the button, anything else Ctrl+A.
  void SelectAll(int kind);
  // A day of the time line, by its date in seconds.
  void SelectDate(std::int64_t date, bool select);
  // Exactly these files of the album, as a rubber band has them.
  void SelectOnly(const Files& files);
  // With `keepMode` a multi-select mode stays on.
  void SelectClear(bool keepMode);
  bool IsSelected(const Ptr& file) const { return selected.Contains(file); }
  bool IsDateSelected(std::int64_t date) const { return selectedDates.contains(date); }
  bool HasSelectedDates() const { return !selectedDates.empty(); }
  void GetSelectedFiles(Files& out) const { out = selected.ToList(); }
  std::size_t Count() const { return selected.size(); }
  Ptr Single() const { return selected.Single(); }
  // Drops files that are not in the album any more; true when that left nothing.
  bool PruneSelection();
  void RefreshNumberLabel();
  void ShowSelectState(bool active);
  // Marks the days that lie wholly between two files.
  void GetGallerySetNumShift(Ptr a, Ptr b);

  bool IsMultiSelect() const { return multiSelect; }
  void SetMultiSelect(bool on) { multiSelect = on; }
  bool IsShiftDown() const { return shiftDown; }
  void SetShiftDown(bool down) { shiftDown = down; }
  void SetCtrlDown(bool down) { ctrlDown = down; }
  Ptr Anchor() const { return anchor; }
  void SetAnchor(const Ptr& file) { anchor = file; }

  // Time of the row under the mouse, in ms: its header shows its select label.
  std::atomic<std::int64_t> hoverDate{0};

  // The date of the time line's group that a time in ms belongs to, in seconds.
  static std::int64_t DayOf(std::int64_t timeMs);

 private:
  void FollowAlbum();
  void SelectSingle(const Ptr& file);
  void AddToSelection(const Ptr& file);
  void ShiftSelect(const Ptr& file);
  void UpdateDateState(const Ptr& file);
  void LogSelection(const char* type) const;
  void ShowAlbumControls(bool active, std::size_t albumFiles);

  ISelectionView* view = nullptr;
  std::set<std::int64_t> selectedDates;
  FileSelection selected;
  std::set<Ptr> ctrlSnapshot;  // gathered while Ctrl is down
  Ptr anchor;                  // the start of a Shift range
  bool shiftDown = false;
  bool multiSelect = false;
  bool addedOnDown = false;  // the press added the file: its release must not take it away
  bool ctrlDown = false;
};
