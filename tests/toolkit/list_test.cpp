#include "common/toolkit/list.h"

#include <gtest/gtest.h>

#include <QWheelEvent>

#include "common/toolkit/resourcemanager.h"
#include "toolkit/support.h"

namespace {

struct Rows : testing::Test {
  explicit Rows(int count = 20)
      : window(R"(<VerticalLayout><List name="list" vscrollbar="true" step="64"/></VerticalLayout>)",
               {0, 0, 200, 300}) {
    list = window.Find<CListUI>("list");
    for (int i = 0; i < count; ++i) {
      auto* row = new CListContainerElementUI;
      row->SetFixedHeight(40);
      row->SetName(QString("row%1").arg(i));
      list->Add(row);
    }
    QApplication::processEvents();
    window.told.clear();
  }

  QRect RowPos(int index) const { return list->GetItemAt(index)->GetPos(); }

  SkinWindow window;
  CListUI* list = nullptr;
};

struct FewRows : Rows {
  FewRows() : Rows(3) {}
};

TEST_F(Rows, StandBelowEachOtherBesideTheBar) {
  EXPECT_EQ(list->GetCount(), 20);
  EXPECT_EQ(RowPos(0), QRect(0, 0, 186, 40));
  EXPECT_EQ(RowPos(3), QRect(0, 120, 186, 40));
  EXPECT_TRUE(list->GetVerticalScrollBar()->IsVisible());
  EXPECT_EQ(list->GetVerticalScrollBar()->GetPos(), QRect(186, 0, 14, 300));
  EXPECT_EQ(list->GetScrollRange().height(), 20 * 40 - 300);
}

TEST_F(FewRows, NeedNoBar) {
  EXPECT_FALSE(list->GetVerticalScrollBar()->IsVisible());
  EXPECT_EQ(RowPos(0).width(), 200);
  EXPECT_EQ(list->GetScrollRange().height(), 0);
}

TEST_F(Rows, ScrollByStepsAndStopAtTheEnds) {
  list->GetBody()->LineDown();
  EXPECT_EQ(list->GetScrollPos().height(), 64);
  EXPECT_EQ(RowPos(0).top(), -64);
  list->GetBody()->LineUp();
  list->GetBody()->LineUp();
  EXPECT_EQ(list->GetScrollPos().height(), 0);
  list->GetBody()->PageDown();
  EXPECT_EQ(list->GetScrollPos().height(), 300);
  list->GetBody()->EndDown();
  EXPECT_EQ(list->GetScrollPos().height(), 500);
  EXPECT_EQ(RowPos(19).bottom(), 299);
  list->SetScrollPos({0, 9999});
  EXPECT_EQ(list->GetScrollPos().height(), 500);
  list->GetBody()->HomeUp();
  EXPECT_EQ(list->GetScrollPos().height(), 0);
}

TEST_F(Rows, FollowTheWheelAndTheBar) {
  QWheelEvent down({5, 5}, list->mapToGlobal(QPointF(5, 5)), {}, {0, -120}, {}, {}, Qt::NoScrollPhase, false);
  QApplication::sendEvent(list->GetItemAt(0)->Widget(), &down);
  EXPECT_EQ(list->GetScrollPos().height(), 64);
  list->GetVerticalScrollBar()->setValue(200);  // as a drag of the thumb does
  EXPECT_EQ(RowPos(5).top(), 0);
}

TEST_F(Rows, ARowIsSelectedByAClickAndByKeys) {
  QTest::mouseClick(list->GetItemAt(2)->Widget(), Qt::LeftButton);
  EXPECT_EQ(list->GetCurSel(), 2);
  EXPECT_EQ(window.Count("itemselect"), 1);
  EXPECT_EQ(window.last.wParam, 2u);
  EXPECT_EQ(window.last.lParam, -1);
  QTest::keyClick(list, Qt::Key_Down);
  EXPECT_EQ(list->GetCurSel(), 3);
  QTest::keyClick(list, Qt::Key_End);
  EXPECT_EQ(list->GetCurSel(), 19);
  EXPECT_EQ(RowPos(19).bottom(), 299);
  QTest::keyClick(list, Qt::Key_Return);
  EXPECT_EQ(window.last.sType, "itemactivate");
  EXPECT_EQ(window.last.wParam, 19u);
}

TEST_F(Rows, ADisabledRowIsNotSelected) {
  list->GetItemAt(1)->SetEnabled(false);
  EXPECT_FALSE(list->SelectItem(1));
  EXPECT_EQ(list->GetCurSel(), -1);
}

TEST_F(Rows, TheSelectionStaysWithItsRowWhenRowsGo) {
  list->SelectItem(5);
  list->RemoveAt(2);
  EXPECT_EQ(list->GetCurSel(), 4);
  EXPECT_EQ(list->GetItemAt(4)->GetName(), "row5");
  list->RemoveAt(4);
  EXPECT_EQ(list->GetCurSel(), -1);
  EXPECT_EQ(list->GetScrollRange().height(), 18 * 40 - 300);
}

TEST_F(Rows, RemoveAllLeavesNothingToScroll) {
  list->GetBody()->EndDown();
  list->RemoveAll();
  EXPECT_EQ(list->GetCount(), 0);
  EXPECT_FALSE(list->GetVerticalScrollBar()->IsVisible());
  EXPECT_EQ(list->GetScrollPos().height(), 0);
}

TEST_F(Rows, FromRightToLeftTheBarIsAtTheLeft) {
  CResourceManager::GetInstance().SetLanguage("ar");
  QApplication::processEvents();
  list->GetBody()->SetPos(list->GetBody()->GetPos());
  EXPECT_EQ(list->GetVerticalScrollBar()->GetPos().left(), 0);
  EXPECT_EQ(RowPos(0).left(), 14);
  CResourceManager::GetInstance().SetLanguage("en-GB");
}

// A body that lays out by itself, as a virtual list does.
class OwnBody : public CListBodyUI {
 public:
  explicit OwnBody(CListUI* list) : CListBodyUI(list) {}
  void SetPos(const QRect& rect, bool needInvalidate) override {
    CControlUI::SetPos(rect, needInvalidate);
    ++passes;
  }
  int passes = 0;
};

TEST(ListBody, AnotherBodyPlacesItsOwnRows) {
  SkinWindow window(R"(<VerticalLayout><List name="list"/></VerticalLayout>)");
  auto* list = window.Find<CListUI>("list");
  auto* body = new OwnBody(list);
  list->SetBody(body);
  QApplication::processEvents();
  EXPECT_GE(body->passes, 1);
  EXPECT_EQ(body->GetPos(), QRect(0, 0, 400, 300));
  const int before = body->passes;
  window.resize(410, 300);
  QApplication::processEvents();
  EXPECT_EQ(body->passes, before + 1);
}

TEST(ScrollBar, ClampsIntoItsRangeAndTellsOnlyMovesOfTheUser) {
  SkinWindow window(
      R"(<HorizontalLayout><ScrollBar name="bar" range="100" value="90"/><Control/></HorizontalLayout>)");
  auto* bar = window.Find<CScrollBarUI>("bar");
  EXPECT_EQ(bar->GetScrollPos(), 90);
  window.told.clear();
  bar->SetScrollRange(50);
  EXPECT_EQ(bar->GetScrollPos(), 50);
  bar->SetScrollPos(20);
  EXPECT_EQ(window.Count("valuechanged"), 0);
  bar->triggerAction(QAbstractSlider::SliderToMaximum);
  EXPECT_EQ(window.Count("valuechanged"), 1);
}

TEST(ScrollBar, AFixedThumbKeepsItsLength) {
  SkinWindow window(
      R"(<HorizontalLayout><ScrollBar name="bar" range="1000" thumbsize="64"/><Control/></HorizontalLayout>)");
  auto* bar = window.Find<CScrollBarUI>("bar");
  EXPECT_EQ(bar->ThumbRect(), QRect(0, 0, 14, 64));
  bar->SetScrollPos(1000);
  EXPECT_EQ(bar->ThumbRect(), QRect(0, 300 - 64, 14, 64));
}

}  // namespace
