// Windows over the host's: it knows them, and all follow a change of resolution.

#include <gmock/gmock.h>

#include <QApplication>

#include "common/duilib_business/windowbusybaseshadow.h"
#include "common/toolkit/overlays.h"
#include "pagetest.h"
#include "ui/dialogs/deletepicwnd.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class BusyWindowTest : public PageTest {
 protected:
  void SetUp() override {
    PageTest::SetUp();
    WindowBusyBase::SetLog([this](const std::string& line) { log.push_back(line); });
    ASSERT_TRUE(top.Create(static_cast<QWidget*>(nullptr), QStringLiteral("top"), WindowStyle::Frame,
                           {0, 0, 800, 600}));
    WindowBusyBase::SetTopWindow(top.GetHWND());
    top.show();
  }
  void TearDown() override {
    top.Close();
    WindowBusyBase::SetTopWindow(nullptr);
    WindowBusyBase::SetLog(nullptr);
    PageTest::TearDown();
  }
  static std::string Hex(HWND window) {
    std::stringstream text;
    text << "[0x" << std::hex << reinterpret_cast<std::size_t>(window) << "]";
    return text.str();
  }
  std::unique_ptr<DeletePicWnd> Dialog() {
    auto dialog = std::make_unique<DeletePicWnd>(DeletePicWnd::Kind::Files, 2, false);
    EXPECT_TRUE(dialog->Create(&top, QStringLiteral("CDeletePicWnd"), WindowStyle::Dialog));
    return dialog;
  }

  std::vector<std::string> log;
  WindowBusyBase top;
};

TEST_F(BusyWindowTest, HostsWindowKnowsTheWindowsOverIt) {
  auto dialog = Dialog();
  const HWND handle = dialog->GetHWND();
  ASSERT_EQ(top.Children().size(), 1u);
  EXPECT_EQ(top.Children().at(handle), "CDeletePicWnd");
  EXPECT_THAT(log, Contains("WindowBusyBase::InitWindow, hWnd=" + Hex(handle)));
  dialog->Close();
  EXPECT_THAT(top.Children(), IsEmpty());
  log.clear();
  (void)platform::SendMessageW(top.GetHWND(), WM_BUSY_CHILD_DESTROY, reinterpret_cast<WPARAM>(handle), 0);
  EXPECT_THAT(log, ElementsAre("hwnd" + Hex(handle) + " destory not in childMap"));
}

TEST_F(BusyWindowTest, OtherResolutionReachesTheWindowsOverAndInside) {
  WindowImplBaseEx page;
  ASSERT_TRUE(page.Create(&top, QStringLiteral("page"), WindowStyle::Child, {0, 0, 100, 100}));
  auto dialog = Dialog();
  const QSize before = dialog->size();
  log.clear();
  (void)platform::SendMessageW(top.GetHWND(), WM_DPI_CHANGED, 192, 0);
  EXPECT_EQ(top.Manager().GetScale(), 200);
  EXPECT_EQ(top.size(), QSize(1600, 1200));
  EXPECT_EQ(page.Manager().GetScale(), 200);
  EXPECT_EQ(dialog->Manager().GetScale(), 200);
  EXPECT_GT(dialog->width(), before.width() * 3 / 2);
  EXPECT_EQ(dialog->geometry().center().x(), top.rect().center().x());
  EXPECT_THAT(log, Contains("WindowBusyBase::OnDPIChanged uMsg=3267,hWnd=" + Hex(top.GetHWND())));
  EXPECT_THAT(log, Contains("WindowBusyBase::OnDPIChanged uMsg=3267,hWnd=" + Hex(dialog->GetHWND())));
  EXPECT_THAT(log, Contains("WindowBusyBaseShadow::Sub_OnDPIChanged adjust position"));
  (void)platform::SendMessageW(top.GetHWND(), WM_BUSY_DPI_CHANGED, 96, 0);
  EXPECT_EQ(dialog->Manager().GetScale(), 100);
  EXPECT_EQ(page.Manager().GetScale(), 100);
  EXPECT_THAT(log, Contains("WindowBusyBase::OnDPIChanged uMsg=8527,hWnd=" + Hex(dialog->GetHWND())));
}

TEST_F(BusyWindowTest, WindowThatHasGoneGetsNoResolution) {
  auto dialog = Dialog();
  const HWND handle = dialog->GetHWND();
  dialog->Close();
  // Told again, as by a window that never said that it goes.
  (void)platform::SendMessageW(top.GetHWND(), WM_BUSY_CHILD_INIT, reinterpret_cast<WPARAM>(handle), 0);
  ASSERT_EQ(top.Children().size(), 1u);
  log.clear();
  (void)platform::SendMessageW(top.GetHWND(), WM_DPI_CHANGED, 144, 0);
  EXPECT_THAT(log, ElementsAre(HasSubstr("uMsg=3267,hWnd=" + Hex(top.GetHWND()))));
}

TEST_F(BusyWindowTest, FirstDelegateThatTakesAMessageEndsItsWay) {
  struct Delegate : busyProxyInterface {
    explicit Delegate(bool takes) : takesIt(takes) {}
    LRESULT OnBusyMessage(UINT, WPARAM, LPARAM, bool& handled) override {
      ++asked;
      handled = takesIt;
      return 7;
    }
    bool takesIt;
    int asked = 0;
  } passes(false), takes(true), never(true);
  for (auto* delegate : {&passes, &takes, &never}) top.AddDelegate(delegate);
  EXPECT_EQ(platform::SendMessageW(top.GetHWND(), WM_DPI_CHANGED, 192, 0), 7);
  EXPECT_EQ(passes.asked, 1);
  EXPECT_EQ(takes.asked, 1);
  EXPECT_EQ(never.asked, 0);
  EXPECT_EQ(top.Manager().GetScale(), 100);
}

TEST_F(BusyWindowTest, DialogHasItsShadow) {
  auto dialog = Dialog();
  auto* shadow = dynamic_cast<ShadowUI*>(top.findChild<QWidget*>(QStringLiteral("PrintShadowingWnd")));
  ASSERT_NE(shadow, nullptr);
  std::stringstream line;
  line << "WindowBusyBaseShadow::ShadowCreate shadow[0x" << std::hex
       << reinterpret_cast<std::size_t>(static_cast<QWidget*>(shadow)) << "]";
  EXPECT_THAT(log, Contains(line.str()));
}

TEST_F(BusyWindowTest, DimLayerFollowsItsWindowAndGoesWithTheDialog) {
  UIBackGroundMessWnd dim;
  ASSERT_TRUE(dim.Create(&top, QStringLiteral("UIChildMessWnd"), WindowStyle::Child, top.rect()));
  EXPECT_EQ(UIBackGroundMessWnd::Top(), dim.GetHWND());
  EXPECT_EQ(dim.GetSkinFile(), QStringLiteral("Gallery//BackGroundWnd.xml"));
  EXPECT_NE(dim.FindControl(QStringLiteral("background")), nullptr);
  top.resize(900, 500);
  (void)platform::SendMessageW(dim.GetHWND(), UIBackGroundMessWnd::kResized, 0, 0);
  EXPECT_EQ(dim.geometry(), QRect(0, 0, 900, 500));
  (void)platform::SendMessageW(dim.GetHWND(), UIBackGroundMessWnd::kDialogClosed, 0, 0);
  EXPECT_EQ(UIBackGroundMessWnd::Top(), nullptr);
}

// Data that is put off to a timer is loaded once.
TEST_F(BusyWindowTest, DataOfAWindowIsLoadedWhenItIsMadeOrByItsTimer) {
  struct Loader : WindowBusyBase {
    void OnPrepareData() override { ++loads; }
    int loads = 0;
    using WindowBusyBase::PrepareLater;
  } window;
  ASSERT_TRUE(window.Create(&top, QStringLiteral("loader"), WindowStyle::Child, {0, 0, 10, 10}));
  EXPECT_EQ(window.loads, 1);
  TNotifyUI told;
  told.sType = QStringLiteral("timer");
  window.Notify(told);
  EXPECT_EQ(window.loads, 1);
  window.PrepareLater();
  window.Notify(told);
  window.Notify(told);
  EXPECT_EQ(window.loads, 2);
}

}  // namespace
