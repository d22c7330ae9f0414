// Events, attributes and layouts of single controls.

#include <gtest/gtest.h>

#include <QContextMenuEvent>
#include <QMenu>
#include <QWheelEvent>

#include "common/toolkit/button.h"
#include "common/toolkit/container.h"
#include "common/toolkit/edit.h"
#include "common/toolkit/label.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/slider.h"
#include "toolkit/support.h"

namespace {

// Remembers its events and takes those of one type.
class Watcher : public CWidgetUI {
 public:
  void DoEvent(TEventUI& event) override {
    seen.append(event.Type);
    last = event;
    if (taken && event.Type == *taken) event.handled = true;
  }
  QList<EventType> seen;
  TEventUI last;
  std::optional<EventType> taken;
};

struct Nested : testing::Test {
  Nested() : window(R"(<VerticalLayout name="root"/>)") {
    auto* root = window.Find<CContainerUI>("root");
    outer = new Watcher;
    outer->SetName("outer");
    root->Add(outer);
    inner = new Watcher;
    inner->setParent(outer);
    inner->setGeometry(20, 30, 100, 50);
    inner->show();
    QApplication::processEvents();
    outer->seen.clear();
  }

  SkinWindow window;
  Watcher* outer = nullptr;
  Watcher* inner = nullptr;
};

TEST_F(Nested, AnEventNobodyTakesReachesTheParentWithItsOwnPointAndTheFirstSender) {
  QTest::mousePress(inner, Qt::LeftButton, {}, {5, 6});
  EXPECT_TRUE(inner->seen.contains(EventType::ButtonDown));
  ASSERT_TRUE(outer->seen.contains(EventType::ButtonDown));
  EXPECT_EQ(outer->last.pSender, inner);
  EXPECT_EQ(outer->last.ptMouse, QPoint(25, 36));
}

TEST_F(Nested, AHandledEventGoesNoFurther) {
  inner->taken = EventType::ButtonDown;
  QTest::mousePress(inner, Qt::LeftButton, {}, {5, 6});
  EXPECT_FALSE(outer->seen.contains(EventType::ButtonDown));
}

TEST_F(Nested, RightAndLeftButtonAreToldApart) {
  QTest::mousePress(inner, Qt::RightButton);
  EXPECT_TRUE(inner->seen.contains(EventType::RButtonDown));
  EXPECT_FALSE(inner->seen.contains(EventType::ButtonDown));
  QTest::mouseRelease(inner, Qt::RightButton);
  EXPECT_TRUE(inner->seen.contains(EventType::RButtonUp));
}

TEST_F(Nested, DoubleClickIsToldOnceByTheControlUnderIt) {
  QTest::mouseDClick(inner, Qt::LeftButton);
  EXPECT_EQ(window.Count("dbclick"), 1);
  EXPECT_EQ(window.last.pSender, inner);
}

TEST_F(Nested, WheelCarriesItsDirection) {
  QWheelEvent down({5, 5}, inner->mapToGlobal(QPointF(5, 5)), {}, {0, -120}, {}, {}, Qt::NoScrollPhase,
                   false);
  QApplication::sendEvent(inner, &down);
  ASSERT_EQ(inner->seen.last(), EventType::Wheel);
  EXPECT_EQ(inner->last.wheelDelta, -120);
  EXPECT_EQ(inner->last.wParam, 1u);
}

TEST_F(Nested, KeysGoFromTheFocusUpwards) {
  inner->setFocusPolicy(Qt::StrongFocus);
  inner->setFocus();
  QTest::keyPress(inner, Qt::Key_A, Qt::ControlModifier);
  ASSERT_TRUE(outer->seen.contains(EventType::KeyDown));
  EXPECT_EQ(outer->last.key, Qt::Key_A);
  EXPECT_EQ(outer->last.modifiers, Qt::ControlModifier);
  EXPECT_EQ(outer->last.pSender, inner);
}

TEST_F(Nested, ContextMenuBecomesTheMenuNotificationOnlyWhereTheSkinAsksForIt) {
  QContextMenuEvent asked(QContextMenuEvent::Mouse, {3, 3}, {103, 203});
  QApplication::sendEvent(inner, &asked);
  EXPECT_EQ(window.Count("menu"), 0);
  inner->SetAttribute("menu", "true");
  QApplication::sendEvent(inner, &asked);
  EXPECT_EQ(window.Count("menu"), 1);
  EXPECT_EQ(window.last.ptMouse, QPoint(103, 203));
}

TEST_F(Nested, TimerReachesTheControlAndWhenItIsNotTakenTheWindow) {
  window.Manager().SetTimer(inner, 20, 1);
  ASSERT_TRUE(WaitUntil([&] { return window.Count("timer") > 0; }));
  EXPECT_EQ(inner->last.wParam, 20u);
  inner->taken = EventType::Timer;
  const int before = window.Count("timer");
  inner->seen.clear();
  ASSERT_TRUE(WaitUntil([&] { return inner->seen.count(EventType::Timer) >= 3; }));
  EXPECT_EQ(window.Count("timer"), before);
  window.Manager().KillTimer(inner, 20);
  inner->seen.clear();
  window.Manager().SetTimer(outer, 1, 5);
  ASSERT_TRUE(WaitUntil([&] { return outer->seen.count(EventType::Timer) >= 3; }));
  EXPECT_FALSE(inner->seen.contains(EventType::Timer));
}

TEST_F(Nested, TimerOfAControlThatIsGoneDoesNothing) {
  window.Manager().SetTimer(inner, 1, 1);
  delete inner;
  window.Manager().SetTimer(outer, 2, 5);
  ASSERT_TRUE(WaitUntil([&] { return outer->seen.count(EventType::Timer) >= 2; }));
}

TEST_F(Nested, VisibleMeansNotHiddenByItself) {
  outer->SetVisible(false);
  EXPECT_TRUE(inner->IsVisible());
  EXPECT_FALSE(outer->IsVisible());
}

TEST_F(Nested, TheParentChainEndsAtTheWindow) {
  EXPECT_EQ(inner->GetParent(), outer);
  EXPECT_EQ(outer->GetParent(), window.Manager().GetRoot());
  EXPECT_EQ(window.Manager().GetRoot()->GetParent(), nullptr);
  EXPECT_EQ(inner->GetManager(), &window.Manager());
}

// --- SetPos ------------------------------------------------------------------

class Placed : public CWidgetUI {
 public:
  void SetPos(const QRect& rect, bool needInvalidate) override {
    CWidgetUI::SetPos(rect, needInvalidate);
    rects.append(rect);
  }
  QList<QRect> rects;
};

TEST(SetPos, AnOverrideSeesWhatALayoutDid) {
  SkinWindow window(R"(<VerticalLayout name="root"/>)");
  const auto placed = new Placed;
  window.Find<CContainerUI>("root")->Add(placed);
  QApplication::processEvents();
  ASSERT_FALSE(placed->rects.isEmpty());
  EXPECT_EQ(placed->rects.last(), QRect(0, 0, 400, 300));
  placed->rects.clear();
  window.resize(500, 200);
  QApplication::processEvents();
  ASSERT_EQ(placed->rects.size(), 1);
  EXPECT_EQ(placed->rects.last(), QRect(0, 0, 500, 200));
}

TEST(SetPos, ADirectCallRunsTheOverrideOnce) {
  SkinWindow window(R"(<VerticalLayout name="root"/>)");
  auto* placed = new Placed;
  placed->setParent(&window);
  placed->show();
  placed->rects.clear();
  placed->SetPos({1, 2, 30, 40}, true);
  EXPECT_EQ(placed->rects.size(), 1);
  EXPECT_EQ(placed->GetPos(), QRect(1, 2, 30, 40));
}

// --- Attributes ----------------------------------------------------------------

TEST(Attributes, AListIsAppliedInOrder) {
  CWidgetUI control;
  control.ApplyAttributeList(
      R"(name="thumbnail" bkcolor="#FF102030" width="40" height="50" visible="false")");
  EXPECT_EQ(control.GetName(), "thumbnail");
  EXPECT_EQ(CControlUI::ColorOf(control.GetBkColor()), QColor(0x10, 0x20, 0x30));
  EXPECT_EQ(control.GetFixedWidth(), 40);
  EXPECT_EQ(control.GetFixedHeight(), 50);
  EXPECT_FALSE(control.IsVisible());
}

TEST(Attributes, AnUnknownOneIsSaidOnce) {
  static QStringList said;
  said.clear();
  const auto before = qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& words) {
    if (words.contains("unknown attribute")) said.append(words);
  });
  CWidgetUI control;
  control.SetAttribute("nonsense", "1");
  control.SetAttribute("nonsense", "2");
  qInstallMessageHandler(before);
  ASSERT_EQ(said.size(), 1);
  EXPECT_TRUE(said.first().endsWith("ControlUI.nonsense"));
}

TEST(Attributes, TheTooltipIsTheAccessibleNameOfAControlWithoutWords) {
  CWidgetUI icon;
  icon.SetToolTip("IDS_TOOLKIT_CLOSE");
  EXPECT_EQ(icon.accessibleName(), "Close");
  CLabelUI label;
  label.SetText("Words");
  label.SetToolTip("IDS_TOOLKIT_CLOSE");
  EXPECT_EQ(label.accessibleName(), "");
}

TEST(Attributes, AnIconButtonSaysItsWordsAsTooltipAndName) {
  CButtonUI button;
  button.ApplyAttributeList(R"(style="icon" icon="close" text="IDS_TOOLKIT_CLOSE")");
  EXPECT_EQ(button.text(), "");
  EXPECT_EQ(button.toolTip(), "Close");
  EXPECT_EQ(button.accessibleName(), "Close");
}

// --- Layouts ------------------------------------------------------------------

TEST(Layouts, APlainContainerLaysItsChildrenOverEachOther) {
  SkinWindow window(R"(
    <Container><Control name="all"/><Control name="mark" width="16" height="10" align="end" valign="bottom"/>
    </Container>)");
  EXPECT_EQ(window.FindControl("all")->GetPos(), QRect(0, 0, 400, 300));
  EXPECT_EQ(window.FindControl("mark")->GetPos(), QRect(384, 290, 16, 10));
}

TEST(Layouts, AnAlignedChildKeepsItsFreeSpaceOnce) {
  SkinWindow window(R"(
    <Container><Control name="x" width="32" height="20" align="end" valign="top" padding="3,16,8,5"/></Container>)");
  EXPECT_EQ(window.FindControl("x")->GetPos(), QRect(400 - 8 - 32, 16, 32, 20));
}

TEST(Layouts, AHiddenChildTakesNoRoom) {
  SkinWindow window(R"(<VerticalLayout childpadding="6"><Control name="a" height="50"/>
    <Control name="b" height="50"/><Control name="c"/></VerticalLayout>)");
  EXPECT_EQ(window.FindControl("c")->GetPos().top(), 112);
  window.FindControl("b")->SetVisible(false);
  QApplication::processEvents();
  EXPECT_EQ(window.FindControl("c")->GetPos().top(), 56);
}

TEST(Layouts, FromRightToLeftStartAndEndChangePlaces) {
  CResourceManager::GetInstance().SetLanguage("ar");
  SkinWindow window(R"(<HorizontalLayout inset="10,0,0,0"><Control name="a" width="50" padding="5,0,0,0"/>
    <Control name="b"/></HorizontalLayout>)");
  EXPECT_EQ(window.FindControl("a")->GetPos(), QRect(400 - 10 - 5 - 50, 0, 50, 300));
  EXPECT_EQ(window.FindControl("b")->GetPos().left(), 0);
  CResourceManager::GetInstance().SetLanguage("en-GB");
}

TEST(Layouts, TabsShowOneChildAtATime) {
  SkinWindow window(
      R"(<TabLayout name="tabs" selectedid="1"><Control name="a"/><Control name="b"/></TabLayout>)");
  auto* tabs = window.Find<CTabLayoutUI>("tabs");
  EXPECT_EQ(tabs->GetCurSel(), 1);
  EXPECT_FALSE(window.FindControl("a")->Widget()->isVisible());
  EXPECT_TRUE(tabs->SelectItem(0));
  EXPECT_EQ(window.last.sType, "selectchanged");
  EXPECT_TRUE(window.FindControl("a")->Widget()->isVisible());
  EXPECT_FALSE(window.FindControl("b")->Widget()->isVisible());
  EXPECT_FALSE(tabs->SelectItem(2));
}

TEST(Layouts, ARemovedChildIsOutAtOnceAndMayRemoveItself) {
  SkinWindow window(
      R"(<VerticalLayout name="root"><Button name="a" text="x"/><Control name="b"/></VerticalLayout>)");
  auto* root = window.Find<CContainerUI>("root");
  auto* button = window.Find<CButtonUI>("a");
  const QPointer<QWidget> gone(button);
  QObject::connect(button, &QPushButton::clicked, button, [&] { root->Remove(button); });
  QTest::mouseClick(button, Qt::LeftButton);
  EXPECT_EQ(root->GetCount(), 1);
  EXPECT_FALSE(window.FindControl("a"));
  EXPECT_TRUE(WaitUntil([&] { return !gone; }));
}

TEST(Layouts, AChildDeletedElsewhereIsForgotten) {
  SkinWindow window(R"(<VerticalLayout name="root"><Control name="a"/><Control name="b"/></VerticalLayout>)");
  auto* root = window.Find<CContainerUI>("root");
  delete window.FindControl("a")->Widget();
  EXPECT_EQ(root->GetCount(), 1);
  EXPECT_EQ(root->GetItemAt(0)->GetName(), "b");
}

// --- Controls ----------------------------------------------------------------

// An open window asks for it every second.
TEST(Button, ABadgeThatStaysPaintsNothing) {
  SkinWindow window(R"(<VerticalLayout><Button name="b" text="x"/></VerticalLayout>)");
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
  auto* button = window.Find<CButtonUI>("b");
  struct Counter : QObject {
    bool eventFilter(QObject*, QEvent* event) override {
      count += event->type() == QEvent::Paint;
      return false;
    }
    int count = 0;
  } painted;
  button->SetBadge(3);
  QApplication::processEvents();
  button->installEventFilter(&painted);
  button->SetBadge(3);
  QApplication::processEvents();
  EXPECT_EQ(painted.count, 0);
  button->SetBadge(4);
  QApplication::processEvents();
  EXPECT_EQ(painted.count, 1);
}

TEST(Button, OneOfAGroupIsOn) {
  SkinWindow window(R"(<HorizontalLayout><Button name="a" group="g" selected="true" text="a"/>
    <VerticalLayout><Button name="b" group="g" text="b"/></VerticalLayout></HorizontalLayout>)");
  QTest::mouseClick(window.Find<CButtonUI>("b"), Qt::LeftButton);
  EXPECT_TRUE(window.Find<CButtonUI>("b")->IsSelected());
  EXPECT_FALSE(window.Find<CButtonUI>("a")->IsSelected());
}

TEST(Edit, TellsTypingReturnAndEscape) {
  SkinWindow window(R"(<VerticalLayout><Edit name="e" prompt="IDS_TOOLKIT_COPY"/></VerticalLayout>)");
  auto* edit = window.Find<CEditUI>("e");
  EXPECT_EQ(edit->placeholderText(), "Copy");
  QTest::keyClicks(edit, "ab");
  EXPECT_EQ(window.Count("textchanged"), 2);
  EXPECT_EQ(edit->GetText(), "ab");
  QTest::keyClick(edit, Qt::Key_Return);
  EXPECT_EQ(window.Count("return"), 1);
  QTest::keyClick(edit, Qt::Key_Escape);
  EXPECT_EQ(window.Count("escape"), 1);
}

TEST(Edit, AChangeOfLanguageKeepsWhatWasTyped) {
  SkinWindow window(R"(<VerticalLayout><Edit name="e" text="IDS_TOOLKIT_COPY"/></VerticalLayout>)");
  auto* edit = window.Find<CEditUI>("e");
  EXPECT_EQ(edit->GetText(), "Copy");
  edit->setText("mine");
  CResourceManager::GetInstance().SetLanguage("de-DE");
  EXPECT_EQ(edit->GetText(), "mine");
  CResourceManager::GetInstance().SetLanguage("en-GB");
}

// The words stay clear of it, at whichever end it is.
TEST(Edit, AButtonInsideStandsAtItsEndAndIsTold) {
  SkinWindow window(R"(<VerticalLayout><Edit name="e"/><Button name="b" style="icon" icon="eye" width="36"
                       height="36"/></VerticalLayout>)");
  auto* edit = window.Find<CEditUI>("e");
  auto* button = window.Find<CButtonUI>("b");
  edit->PutInside(*button);
  QApplication::processEvents();
  EXPECT_EQ(edit->textMargins(), QMargins(0, 0, button->width(), 0));
  EXPECT_EQ(button->mapTo(edit, QPoint(button->width(), 0)).x(), edit->width());
  QTest::mouseClick(button, Qt::LeftButton);
  EXPECT_EQ(window.Count("click"), 1);
  edit->setLayoutDirection(Qt::RightToLeft);
  QApplication::processEvents();
  EXPECT_EQ(edit->textMargins(), QMargins(button->width(), 0, 0, 0));
  EXPECT_EQ(button->mapTo(edit, QPoint(0, 0)).x(), 0);
}

TEST(Edit, ItsMenuSpeaksTheLanguageOfTheWindow) {
  CResourceManager::GetInstance().SetLanguage("de-DE");
  CEditUI edit;
  edit.setText("words");
  edit.selectAll();
  const std::unique_ptr<QMenu> menu(edit.MakeMenu());
  QStringList words;
  for (const QAction* action : menu->actions()) {
    if (!action->isSeparator()) words.append(action->text().section('\t', 0, 0));
  }
  const QStringList expected{"Rückgängig", "Wiederholen", "Ausschneiden",   "Kopieren",
                             "Einfügen",   "Löschen",     "Alles auswählen"};
  EXPECT_EQ(words, expected) << words.join(' ').toStdString();
  CResourceManager::GetInstance().SetLanguage("en-GB");
}

TEST(Slider, AClickGoesToTheNearestValueAndIsTold) {
  SkinWindow window(R"(<VerticalLayout><Slider name="s" min="1" max="4" value="1" width="108" height="36"/>
    <Control/></VerticalLayout>)");
  auto* slider = window.Find<CSliderUI>("s");
  QTest::mouseClick(slider, Qt::LeftButton, {}, {100, 18});
  EXPECT_EQ(slider->GetValue(), 4);
  EXPECT_EQ(window.last.sType, "valuechanged");
  EXPECT_EQ(window.last.wParam, 4u);
  QTest::mouseClick(slider, Qt::LeftButton, {}, {38, 18});
  EXPECT_EQ(slider->GetValue(), 2);
}

TEST(Slider, AValueHasWords) {
  CSliderUI slider;
  slider.SetValueText([](int value) { return QString("step %1").arg(value); });
  slider.SetValue(3);
  EXPECT_EQ(slider.accessibleDescription(), "step 3");
}

TEST(Label, TooLongWordsAreCutAndToldWhole) {
  SkinWindow window(R"(<HorizontalLayout><Label name="l" text="A rather long name of an album" width="60"/>
    <Control/></HorizontalLayout>)");
  auto* label = window.Find<CLabelUI>("l");
  EXPECT_EQ(label->width(), 60);
  EXPECT_EQ(label->toolTip(), "A rather long name of an album");
  label->SetText("Short");
  EXPECT_EQ(label->toolTip(), "");
}

TEST(Label, ALinkIsTold) {
  SkinWindow window(R"(<HorizontalLayout><Label name="l" html="true"/></HorizontalLayout>)");
  auto* label = window.Find<CLabelUI>("l");
  label->SetText("Full. <a 1><c #007DFF>More</c></a>");
  EXPECT_FALSE(label->text().contains("<c "));
  Q_EMIT label->linkActivated("1");
  EXPECT_EQ(window.last.sType, "link");
  EXPECT_EQ(window.last.sDetail, "1");
}

TEST(ButtonTest, ButtonOfAnotherKindStillFollowsTheLanguage) {
  SkinWindow window(
      R"(<HorizontalLayout><Button name="b" style="main" text="IDS_TOOLKIT_CLOSE"/></HorizontalLayout>)");
  auto* button = window.Find<CButtonUI>("b");
  ASSERT_NE(button, nullptr);
  button->SetKind(ButtonKind::Tool);
  EXPECT_EQ(button->text(), QStringLiteral("Close"));
  CResourceManager::GetInstance().SetLanguage("de-DE");
  EXPECT_EQ(button->text(), QString::fromUtf8("Schließen"));
  CResourceManager::GetInstance().SetLanguage("en-GB");
}

}  // namespace
