#include <gtest/gtest.h>

#include <QScrollArea>
#include <QScrollBar>
#include <thread>

#include "common/toolkit/button.h"
#include "common/toolkit/container.h"
#include "common/toolkit/label.h"
#include "toolkit/support.h"

namespace {

const char kSkin[] = R"(
<Window><VerticalLayout name="root" inset="10,20,30,40" childpadding="5">
  <Label name="title" text="Hello" height="30"/>
  <HorizontalLayout name="bar" height="50">
    <Button name="first" text="One" width="100"/>
    <Button name="second" text="Two" width="80" padding="7,0,0,0"/>
    <Control/>
  </HorizontalLayout>
  <Control name="rest"/>
</VerticalLayout></Window>)";

TEST(WindowSkin, ControlsAreFoundByNameAndPlacedByTheLayout) {
  SkinWindow window(kSkin);
  ASSERT_TRUE(window.FindControl("title"));
  EXPECT_EQ(window.FindControl("title")->GetPos(), QRect(10, 20, 360, 30));
  EXPECT_EQ(window.FindControl("bar")->GetPos(), QRect(10, 55, 360, 50));
  EXPECT_EQ(window.FindControl("rest")->GetPos(), QRect(10, 110, 360, 150));
  EXPECT_EQ(window.FindControl("second")->GetPos().left(), 107);
  EXPECT_EQ(window.Find<CLabelUI>("title")->GetText(), "Hello");
  EXPECT_FALSE(window.Find<CButtonUI>("title"));
  EXPECT_FALSE(window.FindControl("nobody"));
}

TEST(WindowSkin, ClickOfTheMouseAndOfTheKeyboardAreTold) {
  SkinWindow window(kSkin);
  auto* button = window.Find<CButtonUI>("first");
  QTest::mouseClick(button, Qt::LeftButton);
  EXPECT_EQ(window.Count("click"), 1);
  EXPECT_EQ(window.last.pSender, button);
  QTest::keyClick(button, Qt::Key_Space);
  EXPECT_EQ(window.Count("click"), 2);
}

TEST(WindowSkin, ScrollBoxShowsAsMuchAsFitsOfATallerChild) {
  SkinWindow window(R"(
<Window><ScrollBox name="box"><VerticalLayout name="tall">
  <Button name="upper" text="One" height="2000"/><Button name="lower" text="Two" height="2000"/>
</VerticalLayout></ScrollBox></Window>)");
  auto* box = window.Find<CScrollBoxUI>("box");
  ASSERT_TRUE(box);
  EXPECT_EQ(box->FindSubControl("lower"), window.FindControl("lower"));
  EXPECT_EQ(window.FindControl("tall")->GetHeight(), 4000);
  auto* area = box->findChild<QScrollArea*>();
  ASSERT_TRUE(area);
  EXPECT_EQ(area->verticalScrollBar()->maximum(), 4000 - box->height());
  CButtonUI refused;
  EXPECT_FALSE(box->Add(&refused));
  QTest::mouseClick(window.Find<CButtonUI>("upper"), Qt::LeftButton);
  EXPECT_EQ(window.Count("click"), 1);
}

TEST(WindowSkin, PostedMessagesArriveInOrderFromAnotherThread) {
  SkinWindow window(kSkin);
  std::thread worker([handle = window.GetHWND()] {
    for (WPARAM i = 0; i < 100; ++i) platform::PostMessageW(handle, 5000, i, 0);
  });
  ASSERT_TRUE(WaitUntil([&] { return window.messages.count(5000) == 100; }));
  worker.join();
  WPARAM expected = 0;
  for (int i = 0; i < window.messages.size(); ++i) {
    if (window.messages[i] == 5000) {
      EXPECT_EQ(window.words[i], expected++);
    }
  }
}

}  // namespace
