// What a click, Ctrl, Shift, a date and "select all" choose.

#include "viewtest.h"

namespace {

class FakeView : public ISelectionView {
 public:
  bool HasNumberControls() override { return true; }
  bool HasViewer() override { return viewer; }
  void ShowMultiSelectLook(bool on) override { look = on; }
  void EnableMultiSelect(bool on) override { multiEnabled = on; }
  void EnableSelectAll(bool on) override { allEnabled = on; }
  void ShowMultiBubble(bool on) override { bubble = on; }
  void ShowBinTitle(bool on) override { binTitle = on; }
  void ShowSelectionBar(bool on) override { bar = on; }
  void ShowSelectedCount(std::size_t count) override { label = std::to_string(count); }
  void ShowRememberedDate() override { label = "date"; }

  bool viewer = false, look = false, multiEnabled = false, allEnabled = false, bubble = false;
  bool binTitle = false, bar = false;
  std::string label;
};

class Selection : public ViewTest {
 protected:
  void SetUp() override {
    ViewTest::SetUp();
    today = AddDay(0, 4);
    yesterday = AddDay(1, 3);
    older = AddDay(2, 5);
    ShowTimeLine();
    selection.SetView(&view);
  }
  std::set<FilePtr> Selected() const {
    Files list;
    selection.GetSelectedFiles(list);
    return {list.begin(), list.end()};
  }
  static std::set<FilePtr> SetOf(const Files& files) { return {files.begin(), files.end()}; }
  void Click(const FilePtr& file) {
    selection.OnLButtonDown(file);
    selection.OnLButtonUp(file, true);
  }
  void CtrlClick(const FilePtr& file) {
    selection.SetCtrlDown(true);
    Click(file);
    selection.SetCtrlDown(false);
  }
  void ShiftClick(const FilePtr& file) {
    selection.SetShiftDown(true);
    Click(file);
    selection.SetShiftDown(false);
  }

  Files today, yesterday, older;
  FakeView view;
};

TEST_F(Selection, ClickChoosesOneFile) {
  Click(today[0]);
  Click(today[1]);
  EXPECT_EQ(Selected(), (std::set{today[1]}));
  EXPECT_FALSE(selection.IsMultiSelect());
}

TEST_F(Selection, CtrlGathersTwoAndTurnsMultiSelectOn) {
  Click(today[0]);
  CtrlClick(today[2]);
  EXPECT_EQ(Selected(), (std::set{today[0], today[2]}));
  EXPECT_TRUE(selection.IsMultiSelect());
  EXPECT_EQ(view.label, "2");
}

TEST_F(Selection, CtrlClickTakesAFileAwayAgain) {
  Click(today[0]);
  CtrlClick(today[2]);
  CtrlClick(today[0]);
  EXPECT_EQ(Selected(), (std::set{today[2]}));
}

TEST_F(Selection, PressThatAddsAFileDoesNotRemoveIt) {
  selection.SetMultiSelect(true);
  selection.OnLButtonDown(today[0]);
  selection.OnLButtonUp(today[0], true);
  EXPECT_EQ(Selected(), (std::set{today[0]}));
  selection.OnLButtonDown(today[0]);
  selection.OnLButtonUp(today[0], false);  // Released elsewhere.
  EXPECT_EQ(Selected(), (std::set{today[0]}));
  selection.OnLButtonDown(today[0]);
  selection.OnLButtonUp(today[0], true);
  EXPECT_TRUE(Selected().empty());
}

TEST_F(Selection, ShiftWithoutAnAnchorIsAPlainClick) {
  ShiftClick(today[2]);
  EXPECT_EQ(Selected(), (std::set{today[2]}));
  EXPECT_FALSE(selection.IsMultiSelect());
}

TEST_F(Selection, ShiftReplacesTheSelectionByTheRange) {
  Click(today[3]);
  ShiftClick(older[0]);
  std::set<FilePtr> expected = SetOf(yesterday);
  expected.insert({today[3], older[0]});
  EXPECT_EQ(Selected(), expected);
  EXPECT_TRUE(selection.IsDateSelected(Day(1)));
  EXPECT_FALSE(selection.IsDateSelected(Day(0)));
  EXPECT_FALSE(selection.IsDateSelected(Day(2)));
  EXPECT_EQ(selection.Anchor(), today[3]);
  // A shorter range from the same anchor, the other way.
  ShiftClick(today[1]);
  EXPECT_EQ(Selected(), (std::set{today[1], today[2], today[3]}));
  EXPECT_FALSE(selection.IsDateSelected(Day(1)));
}

TEST_F(Selection, ShiftMarksTheDaysThatLieWhollyInTheRange) {
  Click(today.front());
  ShiftClick(older.back());
  for (const int day : {0, 1, 2}) EXPECT_TRUE(selection.IsDateSelected(Day(day))) << day;
  ShiftClick(older[3]);
  EXPECT_TRUE(selection.IsDateSelected(Day(0)));
  EXPECT_TRUE(selection.IsDateSelected(Day(1)));
  EXPECT_FALSE(selection.IsDateSelected(Day(2)));
}

TEST_F(Selection, ShiftOverExactlyOneDayMarksIt) {
  Click(yesterday.back());
  ShiftClick(yesterday.front());
  EXPECT_EQ(Selected(), SetOf(yesterday));
  EXPECT_TRUE(selection.IsDateSelected(Day(1)));
}

TEST_F(Selection, PlainClickInsideASelectionOfSeveralLeavesIt) {
  selection.OnLButtonDown(today[0]);
  selection.SelectOnly({today[0], today[1]});
  selection.SetMultiSelect(false);
  selection.OnLButtonDown(today[1]);
  EXPECT_EQ(Selected(), (std::set{today[0], today[1]}));
}

TEST_F(Selection, RightClickOnASelectedFileKeepsTheSelection) {
  Click(today[0]);
  CtrlClick(today[1]);
  selection.OnRButtonDown(today[1]);
  EXPECT_EQ(Selected(), (std::set{today[0], today[1]}));
  selection.OnRButtonDown(today[2]);
  EXPECT_EQ(Selected(), (std::set{today[0], today[1], today[2]}));
}

TEST_F(Selection, RightClickChoosesOneFileWhereNoneOrOneIsChosen) {
  selection.OnRButtonDown(today[1]);
  EXPECT_EQ(Selected(), (std::set{today[1]}));
  selection.OnRButtonDown(today[2]);
  EXPECT_EQ(Selected(), (std::set{today[2]}));
}

TEST_F(Selection, LastFileOfADayByCtrlMarksTheDay) {
  Click(yesterday[0]);
  CtrlClick(yesterday[1]);
  EXPECT_FALSE(selection.IsDateSelected(Day(1)));
  CtrlClick(yesterday[2]);
  EXPECT_TRUE(selection.IsDateSelected(Day(1)));
  CtrlClick(yesterday[2]);
  EXPECT_FALSE(selection.IsDateSelected(Day(1)));
}

TEST_F(Selection, SelectAllTakesEveryFileAndDay) {
  selection.SelectAll(0);
  EXPECT_EQ(selection.Count(), 12u);
  for (const int day : {0, 1, 2}) EXPECT_TRUE(selection.IsDateSelected(Day(day)));
  EXPECT_TRUE(selection.IsMultiSelect());
  EXPECT_FALSE(view.allEnabled);
  EXPECT_EQ(view.label, "12");
  EXPECT_TRUE(view.bar);
}

TEST_F(Selection, SelectAllOnAnEmptyAlbumChangesNothing) {
  CloudAlbum("empty", L"Empty");
  Show("empty");
  OpenLog();
  selection.SelectAll(0);
  CloseLog();
  EXPECT_EQ(selection.Count(), 0u);
  EXPECT_FALSE(selection.IsMultiSelect());
  EXPECT_TRUE(Operations("187").empty());
}

TEST_F(Selection, OperationsTellHowItWasChosen) {
  OpenLog();
  selection.SelectAll(1);
  selection.SelectAll(0);
  selection.SelectClear(false);
  Click(today[0]);
  CtrlClick(today[1]);
  ShiftClick(today[3]);
  selection.SelectDate(Day(1), true);
  selection.SelectDate(Day(1), false);
  CloseLog();
  const auto chosen = Operations("187");
  ASSERT_EQ(chosen.size(), 4u);
  EXPECT_NE(chosen[0].find("Click Allselect Btn"), std::string::npos);
  EXPECT_NE(chosen[1].find("Ctrl+A"), std::string::npos);
  EXPECT_NE(chosen[2].find("Ctrl+鼠标左键"), std::string::npos);
  EXPECT_NE(chosen[3].find("Shift+鼠标左键"), std::string::npos);
  EXPECT_NE(chosen[3].find("\"total\":\"3\""), std::string::npos);
  EXPECT_EQ(Operations("193").size(), 1u);
  ASSERT_EQ(Operations("191").size(), 1u);
  EXPECT_NE(Operations("191")[0].find("\"date\":\"" + std::to_string(Day(1)) + "\""), std::string::npos);
  EXPECT_EQ(Operations("192").size(), 1u);
}

TEST_F(Selection, DateChoosesAndReleasesItsFiles) {
  Click(today[0]);
  selection.SelectDate(Day(1), true);  // The single file goes.
  EXPECT_EQ(Selected(), SetOf(yesterday));
  EXPECT_TRUE(selection.IsDateSelected(Day(1)));
  EXPECT_TRUE(selection.IsMultiSelect());
  selection.SelectDate(Day(1), false);
  EXPECT_TRUE(Selected().empty());
  EXPECT_FALSE(selection.IsDateSelected(Day(1)));
}

TEST_F(Selection, UnknownDateOnlyTurnsMultiSelectOn) {
  selection.SelectDate(Day(77), true);
  EXPECT_TRUE(selection.IsMultiSelect());
  EXPECT_TRUE(Selected().empty());
  EXPECT_FALSE(selection.HasSelectedDates());
}

TEST_F(Selection, SearchedFileStaysChosen) {
  Click(today[0]);
  GlobalData::searchJump = true;
  selection.SelectClear(false);
  EXPECT_EQ(Selected(), (std::set{today[0]}));
  GlobalData::searchJump = false;
  selection.SelectClear(false);
  EXPECT_TRUE(Selected().empty());
}

TEST_F(Selection, DeletedFileLeavesWhenTheViewIsReadAnew) {
  Click(today[0]);
  CtrlClick(today[1]);
  ASSERT_EQ(gallery.RecycleFiles({today[1]}, false), 1u);
  EXPECT_EQ(selection.Count(), 2u);
  EXPECT_FALSE(selection.PruneSelection());
  EXPECT_EQ(Selected(), (std::set{today[0]}));
  ASSERT_EQ(gallery.RecycleFiles({today[0]}, false), 1u);
  EXPECT_TRUE(selection.PruneSelection());
  EXPECT_FALSE(selection.PruneSelection());  // There was nothing left to drop.
}

TEST_F(Selection, FilesStayChosenWhenOthersComeAndGo) {
  Click(yesterday[0]);
  ShiftClick(older[1]);
  const auto chosen = Selected();
  const auto newer = AddDay(-1, 3);
  ASSERT_EQ(gallery.RecycleFiles({today[2], older[4]}, false), 2u);
  auto between = CloudFile("between", "default-album-1", (Day(1) + 3) * 1000);
  Add({between});
  EXPECT_FALSE(selection.PruneSelection());
  EXPECT_EQ(Selected(), chosen);
  EXPECT_FALSE(selection.IsSelected(between));
  for (const auto& file : chosen) EXPECT_TRUE(selection.IsSelected(file));
}

TEST_F(Selection, ClearKeepsTheModeWhenAsked) {
  selection.SelectAll(0);
  selection.SelectClear(true);
  EXPECT_TRUE(selection.IsMultiSelect());
  EXPECT_EQ(view.label, "0");
  selection.SelectClear(false);
  EXPECT_FALSE(selection.IsMultiSelect());
  EXPECT_EQ(view.label, "date");
  EXPECT_FALSE(view.bar);
  EXPECT_TRUE(view.binTitle);
}

TEST_F(Selection, ViewerHidesTheControlsOfTheGrid) {
  view.viewer = true;
  selection.ShowSelectState(false);
  EXPECT_FALSE(view.multiEnabled);
  EXPECT_FALSE(view.bubble);
  view.viewer = false;
  selection.ShowSelectState(false);
  EXPECT_TRUE(view.multiEnabled);
  EXPECT_TRUE(view.bubble);
}

}  // namespace
