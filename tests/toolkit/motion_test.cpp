#include "common/toolkit/motion.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QPainter>
#include <QTest>

#include "common/toolkit/theme.h"

namespace motion = toolkit::motion;

namespace {

// Counts what is painted of it.
class Painted : public QWidget {
 public:
  using QWidget::QWidget;
  int times = 0;

 protected:
  void paintEvent(QPaintEvent*) override {
    ++times;
    QPainter(this).fillRect(rect(), Qt::red);
  }
};

class MotionTest : public testing::Test {
 protected:
  MotionTest() : widget(&window) {
    motion::SetMode(motion::Mode::Moving);
    window.resize(200, 200);
    widget.setGeometry(50, 50, 100, 100);
    window.show();
  }
  ~MotionTest() override {
    motion::SetMode(motion::Mode::Still);
    Theme::Instance().SetDesktop({});
  }

  QWidget window;
  Painted widget;
};

TEST_F(MotionTest, WhatAppearsEndsAsItIsWithoutAnEffect) {
  const QRect place = widget.geometry();
  motion::Appear(widget, motion::kDialogMs, {.offset = {0, 16}, .scale = 0.98});
  ASSERT_NE(widget.graphicsEffect(), nullptr);
  // At its beginning nothing of it is to be seen.
  EXPECT_NE(window.grab().toImage().pixelColor(100, 100), QColor(Qt::red));
  EXPECT_TRUE(QTest::qWaitFor([this] { return widget.graphicsEffect() == nullptr; }, 60'000));
  EXPECT_EQ(window.grab().toImage().pixelColor(100, 100), QColor(Qt::red));
  EXPECT_EQ(widget.geometry(), place);
}

TEST_F(MotionTest, WhatGoesLeavesAPictureThatGoesToo) {
  widget.hide();
  motion::Vanish(widget, motion::kDialogOutMs);
  EXPECT_EQ(window.findChildren<QWidget*>().size(), 2);
  EXPECT_EQ(window.grab().toImage().pixelColor(100, 100), QColor(Qt::red));
  EXPECT_TRUE(QTest::qWaitFor([this] { return window.findChildren<QWidget*>().size() == 1; }, 60'000));
}

TEST_F(MotionTest, ColourComesToTheOneThatIsWanted) {
  EXPECT_EQ(motion::Followed(widget, Qt::black), QColor(Qt::black));  // the first one at once
  EXPECT_NE(motion::Followed(widget, Qt::white), QColor(Qt::white));
  const int before = widget.times;
  EXPECT_TRUE(
      QTest::qWaitFor([this] { return motion::Followed(widget, Qt::white) == QColor(Qt::white); }, 60'000));
  EXPECT_GT(widget.times, before);
}

TEST_F(MotionTest, NothingMovesWhereTheDesktopWantsNoMotion) {
  motion::SetMode(motion::Mode::Desktop);
  Theme::Instance().SetDesktop({.reducedMotion = true});
  EXPECT_EQ(motion::Lasting(motion::kDialogMs), 0);
  motion::Appear(widget, motion::kDialogMs);
  EXPECT_EQ(widget.graphicsEffect(), nullptr);
  widget.hide();
  motion::Vanish(widget, motion::kDialogOutMs);
  EXPECT_EQ(window.findChildren<QWidget*>().size(), 1);
  EXPECT_EQ(motion::Followed(widget, Qt::black), QColor(Qt::black));
  EXPECT_EQ(motion::Followed(widget, Qt::white), QColor(Qt::white));
  motion::Arrival arrival;
  arrival.Begin();
  EXPECT_FALSE(arrival.IsMoving());
  EXPECT_EQ(arrival.Strength(), 1);
}

TEST_F(MotionTest, TimesAndCurveAreThoseOfTheDesign) {
  EXPECT_EQ(motion::kColorMs, 120);
  EXPECT_EQ(motion::kToastMs, 240);
  EXPECT_EQ(motion::kToastOutMs, 180);
  const QEasingCurve curve = motion::Curve();
  EXPECT_EQ(curve.valueForProgress(0), 0);
  EXPECT_EQ(curve.valueForProgress(1), 1);
  EXPECT_GT(curve.valueForProgress(0.5), 0.8);  // fast start, soft end
}

}  // namespace
