// Popups with round corners on a screen where nobody mixes windows.

#include <gtest/gtest.h>

#include <QApplication>
#include <QMenu>
#include <QScreen>
#include <QTest>

#include "common/toolkit/compositor.h"

namespace {

// What the screen shows, with a window of one colour below the popup.
class PopupTest : public testing::Test {
 protected:
  void SetUp() override {
    QPalette green;
    green.setColor(QPalette::Window, Qt::green);
    ground.setPalette(green);
    ground.setAutoFillBackground(true);
    ground.setWindowFlag(Qt::X11BypassWindowManagerHint);
    ground.setGeometry(0, 0, 800, 600);
    ground.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&ground));
  }
  static QColor At(QPoint screen) {
    const QImage shown =
        QGuiApplication::primaryScreen()->grabWindow(0, screen.x(), screen.y(), 1, 1).toImage();
    return shown.pixelColor(0, 0);
  }
  static bool Shows(QPoint screen, const QColor& color) {
    return QTest::qWaitFor([&] { return At(screen) == color; }, 10'000);
  }
  QWidget ground;
};

TEST_F(PopupTest, CornersOfAMenuShowWhatLiesBelow) {
  EXPECT_FALSE(toolkit::HasCompositor());
  QMenu menu(nullptr);
  menu.addAction(QStringLiteral("One"));
  menu.addAction(QStringLiteral("Two"));
  menu.popup({100, 100});
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&menu));
  const QRect place = menu.geometry();
  EXPECT_TRUE(Shows(place.topLeft(), Qt::green));
  EXPECT_TRUE(Shows(place.bottomRight(), Qt::green));
  EXPECT_NE(At(place.topLeft() + QPoint(20, 5)), QColor(Qt::green));
  EXPECT_NE(At(place.topLeft() + QPoint(20, 5)), QColor(Qt::black));
}

}  // namespace
