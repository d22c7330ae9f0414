// Windows: handles and messages, filters, closing, modal dialogs, scale, drags.

#include <gtest/gtest.h>

#include <QMimeData>
#include <thread>

#include "common/toolkit/button.h"
#include "common/toolkit/container.h"
#include "common/toolkit/menu.h"
#include "common/toolkit/overlays.h"
#include "common/toolkit/toolkit.h"
#include "toolkit/support.h"

namespace {

const char kEmpty[] = R"(<VerticalLayout name="root"/>)";

struct Filter : IMessageFilterUI {
  LRESULT MessageHandler(UINT uMsg, WPARAM, LPARAM, bool& handled) override {
    seen.append(uMsg);
    if (onMessage) onMessage();
    handled = uMsg == taken;
    return 42;
  }
  QList<UINT> seen;
  UINT taken = 0;
  std::function<void()> onMessage;
};

TEST(Messages, AFilterComesBeforeTheWindow) {
  SkinWindow window(kEmpty);
  Filter filter;
  filter.taken = 3106;
  window.Manager().AddPreMessageFilter(&filter);
  EXPECT_EQ(platform::SendMessageW(window.GetHWND(), 3106, 0, 0), 42);
  EXPECT_FALSE(window.messages.contains(3106));
  platform::SendMessageW(window.GetHWND(), 3107, 0, 0);
  EXPECT_TRUE(window.messages.contains(3107));
  window.Manager().RemovePreMessageFilter(&filter);
  platform::SendMessageW(window.GetHWND(), 3106, 0, 0);
  EXPECT_TRUE(window.messages.contains(3106));
}

TEST(Messages, AFilterMayTakeItselfAndTheNextAway) {
  SkinWindow window(kEmpty);
  Filter first, second;
  first.onMessage = [&] {
    window.Manager().RemovePreMessageFilter(&first);
    window.Manager().RemovePreMessageFilter(&second);
  };
  window.Manager().AddPreMessageFilter(&first);
  window.Manager().AddPreMessageFilter(&second);
  platform::SendMessageW(window.GetHWND(), 3106, 0, 0);
  EXPECT_EQ(first.seen.size(), 1);
  EXPECT_TRUE(second.seen.isEmpty());
}

TEST(Messages, AWorkerThatSendsGetsTheAnswer) {
  SkinWindow window(kEmpty);
  Filter filter;
  filter.taken = 4000;
  window.Manager().AddPreMessageFilter(&filter);
  std::atomic<LRESULT> answer = 0;
  std::thread worker([&] { answer = platform::SendMessageW(window.GetHWND(), 4000, 0, 0); });
  EXPECT_TRUE(WaitUntil([&] { return answer == 42; }));
  worker.join();
}

TEST(Closing, TakesTheHandleAwayAndSaysSoOnce) {
  SkinWindow window(kEmpty);
  const HWND handle = window.GetHWND();
  EXPECT_EQ(toolkit::WidgetOf(handle), &window);
  platform::PostMessageW(handle, platform::WM_CLOSE, 0, 0);
  platform::PostMessageW(handle, 5000, 0, 0);
  ASSERT_TRUE(WaitUntil([&] { return window.finals == 1; }));
  QApplication::processEvents();
  EXPECT_FALSE(platform::IsWindow(handle));
  EXPECT_EQ(toolkit::WidgetOf(handle), nullptr);
  EXPECT_FALSE(window.messages.contains(5000));
  EXPECT_FALSE(window.isVisible());
  window.Close();
  EXPECT_EQ(window.finals, 1);
}

TEST(Closing, TheDesktopsCloseIsTheMessage) {
  SkinWindow window(kEmpty);
  QCloseEvent asked;
  QApplication::sendEvent(&window, &asked);
  EXPECT_TRUE(window.messages.contains(platform::WM_CLOSE));
  EXPECT_EQ(window.finals, 1);
}

TEST(Closing, WindowsInsideAreClosedBefore) {
  SkinWindow window(kEmpty);
  SkinWindow inside(kEmpty, {0, 0, 50, 50}, WindowStyle::Child, &window);
  window.Close();
  EXPECT_EQ(inside.finals, 1);
  EXPECT_FALSE(inside.GetHWND());
}

TEST(Closing, ADeletedWindowHasNoHandle) {
  HWND handle;
  {
    SkinWindow window(kEmpty);
    handle = window.GetHWND();
  }
  EXPECT_FALSE(platform::IsWindow(handle));
  EXPECT_FALSE(platform::PostMessageW(handle, 5000, 0, 0));
}

TEST(Names, AWindowDoesNotLookIntoTheWindowsInsideIt) {
  SkinWindow window(kEmpty);
  SkinWindow inside(R"(<VerticalLayout><Control name="deep"/></VerticalLayout>)", {0, 0, 50, 50},
                    WindowStyle::Child, window.FindControl("root")->Widget());
  EXPECT_TRUE(inside.FindControl("deep"));
  EXPECT_FALSE(window.FindControl("deep"));
}

// --- Dialogs -------------------------------------------------------------------

const char kDialog[] = R"(
  <VerticalLayout inset="24,24,24,24"><HorizontalLayout>
  <Button name="btn_cancel" text="Cancel"/><Button name="btn_ok" style="main" text="OK"/>
  </HorizontalLayout></VerticalLayout>)";

struct DialogTest : testing::Test {
  SkinWindow window{R"(<VerticalLayout><Button name="outside" text="x"/><Control/></VerticalLayout>)"};
};

TEST_F(DialogTest, StandsInTheMiddleOfItsParentsWindow) {
  SkinWindow dialog(kDialog, {}, WindowStyle::Dialog, window.FindControl("outside")->Widget());
  EXPECT_EQ(dialog.parentWidget(), &window);
  EXPECT_GT(dialog.width(), 100);
  EXPECT_NEAR(dialog.geometry().center().x(), window.rect().center().x(), 1);
  EXPECT_NEAR(dialog.geometry().center().y(), window.rect().center().y(), 1);
}

TEST_F(DialogTest, GivesItsResultAndTheFocusBack) {
  auto* outside = window.Find<CButtonUI>("outside");
  window.activateWindow();
  outside->setFocus();
  SkinWindow dialog(kDialog, {}, WindowStyle::Dialog, &window);
  QObject::connect(dialog.Find<CButtonUI>("btn_ok"), &QPushButton::clicked, &dialog,
                   [&] { dialog.Close(IDOK); });
  QMetaObject::invokeMethod(
      &dialog,
      [&] {
        EXPECT_FALSE(outside->hasFocus());
        QTest::mouseClick(dialog.Find<CButtonUI>("btn_ok"), Qt::LeftButton);
      },
      Qt::QueuedConnection);
  EXPECT_EQ(dialog.ShowModal(), IDOK);
  EXPECT_TRUE(outside->hasFocus());
}

TEST_F(DialogTest, TabStaysInside) {
  SkinWindow dialog(kDialog, {}, WindowStyle::Dialog, &window);
  window.activateWindow();
  auto* cancel = dialog.Find<CButtonUI>("btn_cancel");
  auto* ok = dialog.Find<CButtonUI>("btn_ok");
  cancel->setFocus();
  QTest::keyClick(cancel, Qt::Key_Tab);
  EXPECT_TRUE(ok->hasFocus());
  QTest::keyClick(ok, Qt::Key_Tab);
  EXPECT_TRUE(cancel->hasFocus());
  QTest::keyClick(cancel, Qt::Key_Backtab, Qt::ShiftModifier);
  EXPECT_TRUE(ok->hasFocus());
}

TEST_F(DialogTest, EscapeClosesItWithoutTheResult) {
  SkinWindow dialog(kDialog, {}, WindowStyle::Dialog, &window);
  QMetaObject::invokeMethod(
      &dialog, [&] { QTest::keyClick(dialog.Find<CButtonUI>("btn_ok"), Qt::Key_Escape); },
      Qt::QueuedConnection);
  EXPECT_EQ(dialog.ShowModal(), IDCANCEL);
}

TEST_F(DialogTest, ADimLayerTakesTheClicksAndFollowsTheWindow) {
  auto* const layer = new DimLayer(window);
  EXPECT_EQ(layer->geometry(), window.rect());
  QTest::mouseClick(window.windowHandle(), Qt::LeftButton, {}, {10, 10});
  EXPECT_EQ(window.Count("click"), 0);
  window.resize(700, 500);
  QApplication::processEvents();
  EXPECT_EQ(layer->size(), QSize(700, 500));
}

// --- Scale -----------------------------------------------------------------------

TEST(Scale, RoundsToWholePixelsBothWays) {
  SkinWindow window(kEmpty);
  auto& manager = window.Manager();
  manager.SetDPI(144);
  EXPECT_EQ(manager.GetScale(), 150);
  EXPECT_EQ(manager.Scale(89), 134);
  EXPECT_EQ(manager.RestoreScale(134), 89);
  EXPECT_EQ(manager.ScaleRect({10, 10, 21, 20}), QRect(15, 15, 32, 30));
  EXPECT_EQ(manager.RestoreScaleRect({15, 15, 30, 30}), QRect(10, 10, 20, 20));
}

TEST(Scale, TheMessageMakesTheWindowAnewAndGoesToTheWindowsInside) {
  SkinWindow window(
      R"(<VerticalLayout inset="10,10,10,10"><Control name="a" height="40"/><Control/></VerticalLayout>)");
  SkinWindow inside(kEmpty, {0, 0, 50, 50}, WindowStyle::Child, &window);
  platform::SendMessageW(window.GetHWND(), WM_DPI_CHANGED, 192, 0);
  QApplication::processEvents();
  EXPECT_EQ(window.FindControl("a")->GetPos(), QRect(20, 20, 360, 80));
  EXPECT_EQ(inside.messages.count(WM_DPI_FORWARD), 1);
  EXPECT_EQ(inside.Manager().GetScale(), 200);
}

TEST(Scale, FontsFollow) {
  SkinWindow window(R"(<VerticalLayout><Label name="l" font="title" text="x"/></VerticalLayout>)");
  EXPECT_EQ(window.FindControl("l")->Widget()->font().pixelSize(), 16);
  window.Manager().SetDPI(144);
  EXPECT_EQ(window.FindControl("l")->Widget()->font().pixelSize(), 24);
}

// --- Drags -------------------------------------------------------------------------

TEST(Drag, ArrivesAsMessagesWithDataAndPoint) {
  SkinWindow window(kEmpty);
  window.EnableDragDrop();
  QList<QPoint> points;
  QStringList urls;
  window.onMessage = [&](UINT message, WPARAM, LPARAM value) {
    if (message < WM_DRAG_ENTER || message > WM_DRAG_RELEASE) return;
    auto& drag = *reinterpret_cast<DragDataUI*>(value);
    points.append(drag.point);
    if (drag.data) urls.append(drag.data->urls().value(0).toString());
    drag.accepted = drag.point.x() > 50;
  };
  QMimeData data;
  data.setUrls({QUrl("file:///a.jpg")});
  QDragEnterEvent enter({5, 6}, Qt::CopyAction, &data, Qt::LeftButton, {});
  QApplication::sendEvent(&window, &enter);
  QDragMoveEvent refused({7, 8}, Qt::CopyAction, &data, Qt::LeftButton, {});
  QApplication::sendEvent(&window, &refused);
  EXPECT_FALSE(refused.isAccepted());
  QDragMoveEvent taken({70, 8}, Qt::CopyAction, &data, Qt::LeftButton, {});
  QApplication::sendEvent(&window, &taken);
  EXPECT_TRUE(taken.isAccepted());
  QDropEvent drop({70, 8}, Qt::CopyAction, &data, Qt::LeftButton, {});
  QApplication::sendEvent(&window, &drop);
  EXPECT_TRUE(drop.isAccepted());
  QDragLeaveEvent leave;
  QApplication::sendEvent(&window, &leave);
  const QList<UINT> expected{WM_DRAG_ENTER, WM_DRAG_OVER, WM_DRAG_OVER, WM_DRAG_RELEASE, WM_DRAG_LEAVE};
  EXPECT_EQ(window.messages, expected);
  EXPECT_EQ(points.first(), QPoint(5, 6));
  EXPECT_EQ(urls.first(), "file:///a.jpg");
}

// --- Notices ---------------------------------------------------------------------

TEST(ToastTest, GoesWhenItsTimeIsOver) {
  SkinWindow window(kEmpty);
  const QPointer<Toast> toast = Toast::Show(window, {.icon = "check", .sentence = "3 files moved"});
  EXPECT_EQ(toast->LastsMs(), 5000);
  ASSERT_NE(toast->ClockId(), 0);
  QTimerEvent over(toast->ClockId());
  QApplication::sendEvent(toast, &over);
  EXPECT_TRUE(toast->isHidden());
  EXPECT_TRUE(WaitUntil([&] { return !toast; }));
}

TEST(ToastTest, StaysWhileItIsHoveredOrFocused) {
  SkinWindow window(kEmpty);
  window.activateWindow();
  auto* toast = Toast::Show(window, {.sentence = "Deleted", .action = "Undo"});
  EXPECT_EQ(toast->LastsMs(), 10000);
  auto* action = toast->findChild<CButtonUI*>();
  action->setFocus();
  EXPECT_EQ(toast->ClockId(), 0);
  action->clearFocus();
  EXPECT_NE(toast->ClockId(), 0);
  toast->setAttribute(Qt::WA_UnderMouse);
  QEnterEvent enter({1, 1}, {1, 1}, {1, 1});
  QApplication::sendEvent(toast, &enter);
  EXPECT_EQ(toast->ClockId(), 0);
}

TEST(ToastTest, RunsItsActionAndGoes) {
  SkinWindow window(kEmpty);
  int runs = 0;
  const QPointer<Toast> toast =
      Toast::Show(window, {.sentence = "Deleted", .action = "Undo", .onAction = [&] { ++runs; }});
  QTest::mouseClick(toast->findChild<CButtonUI*>(), Qt::LeftButton);
  EXPECT_EQ(runs, 1);
  EXPECT_TRUE(toast->isHidden());
}

TEST(ToastTest, TheNextTakesThePlaceOfTheOneBefore) {
  SkinWindow window(kEmpty);
  const QPointer<Toast> first = Toast::Show(window, {.sentence = "one"});
  Toast* second = Toast::Show(window, {.sentence = "two"});
  EXPECT_TRUE(first->isHidden());
  EXPECT_FALSE(second->isHidden());
  EXPECT_EQ(second->geometry().center().x(), window.rect().center().x());
  EXPECT_EQ(second->accessibleName(), "two");
}

TEST(BubbleTest, PointsAtItsControlAndGoesWithIt) {
  SkinWindow window(R"(<VerticalLayout><Edit name="e" text="x" width="200"/><Control/></VerticalLayout>)");
  QWidget* edit = window.FindControl("e")->Widget();
  const QPointer<Bubble> bubble =
      Bubble::Show(*edit, "There is already an album with this name", BubbleKind::Error);
  EXPECT_GT(bubble->geometry().top(), edit->geometry().bottom() - 1);
  EXPECT_GE(bubble->height(), 28);
  EXPECT_EQ(bubble->accessibleName(), "There is already an album with this name");
  edit->hide();
  EXPECT_TRUE(bubble->isHidden());
}

// --- Menus -------------------------------------------------------------------------

TEST(Menu, TheChoiceComesBackWithItsName) {
  SkinWindow window(R"(<VerticalLayout><Control name="ThumbPic"/></VerticalLayout>)");
  CControlUI* sender = window.FindControl("ThumbPic");
  const QPointer<CMenuWnd> menu = CMenuWnd::Show("Menu/TextMenu.xml", window.Manager(), sender, {20, 20});
  ASSERT_TRUE(menu);
  QAction* copy = menu->FindItem("Copy");
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->text(), "Copy");
  copy->trigger();
  EXPECT_EQ(window.last.sType, "menuclick");
  EXPECT_EQ(window.last.sDetail, "Copy");
  EXPECT_EQ(window.last.pSender, sender);
  menu->close();
  EXPECT_TRUE(WaitUntil([&] { return !menu; }));
}

TEST(Menu, AMissingFileGivesNone) {
  SkinWindow window(kEmpty);
  EXPECT_FALSE(CMenuWnd::Show("Menu/Nothing.xml", window.Manager(), nullptr, {}));
}

}  // namespace
