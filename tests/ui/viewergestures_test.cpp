// Two fingers over the picture: of a touch pad, which tells the zoom, and of a screen,
// which tells the fingers.

#include <QNativeGestureEvent>
#include <QPointingDevice>
#include <QWindow>

#include "viewertest.h"

namespace {

class ViewerGestures : public ViewerTest {
 protected:
  void SetUp() override {
    ViewerTest::SetUp();
    static QPointingDevice* const kScreen = QTest::createTouchDevice();
    screen = kScreen;
  }
  void OpenLarge() {
    today = AddDay(0, 3);
    for (const auto& file : today) GiveOriginal(file, Quarters({3000, 2250}));
    OpenOn(today[1]);
    ASSERT_TRUE(UntilSharp());
    Settle();
  }
  // As the window system tells it: the place is that in the window, whatever lies there.
  void Pad(double value, QPoint at) {
    const QPointF inWindow = Lcd().mapTo(frame.get(), at);
    QNativeGestureEvent gesture(Qt::ZoomNativeGesture, QPointingDevice::primaryPointingDevice(), 2, inWindow,
                                inWindow, Lcd().mapToGlobal(QPointF(at)), value, {});
    QApplication::sendEvent(&Lcd(), &gesture);
    Settle();
  }
  // Two fingers that lie `from` and end `to` beside `middle`, which moves along `by`.
  void Pinch(QPoint middle, int from, int to, QPoint by = {}) {
    constexpr int kSteps = 8;
    const auto at = [&](int step, int side) {
      const int apart = from + (to - from) * step / kSteps;
      return Lcd().mapTo(frame.get(), middle + by * step / kSteps + QPoint(side * apart, 0));
    };
    QWindow* const window = frame->windowHandle();
    QTest::touchEvent(window, screen).press(0, at(0, -1), window);
    QTest::touchEvent(window, screen).stationary(0).press(1, at(0, 1), window);
    for (int step = 1; step <= kSteps; ++step)
      QTest::touchEvent(window, screen).move(0, at(step, -1), window).move(1, at(step, 1), window);
    QTest::touchEvent(window, screen).release(0, at(kSteps, -1), window).release(1, at(kSteps, 1), window);
    Settle();
  }
  // Where a point of the window lies in the picture, in parts of it.
  QPointF ShareAt(QPoint at) {
    const QRect place = Lcd().PicturePlace();
    return {double(at.x() - place.x()) / place.width(), double(at.y() - place.y()) / place.height()};
  }

  Files today;
  QPointingDevice* screen = nullptr;
};

TEST_F(ViewerGestures, APinchOnATouchPadZoomsAtThePointer) {
  OpenLarge();
  // From where the picture is larger than the window to both sides.
  for (int i = 0; i < 6; ++i) Pad(0.25, Lcd().rect().center());
  const QRect before = Lcd().PicturePlace();
  ASSERT_GT(before.width(), Lcd().width());
  const QPoint at = Lcd().rect().center() - QPoint(200, 120);
  const QPointF share = ShareAt(at);
  Pad(0.1, at);
  const QRect after = Lcd().PicturePlace();
  EXPECT_NEAR(double(after.width()) / before.width(), 1.1, 0.01);
  EXPECT_NEAR(ShareAt(at).x(), share.x(), 0.002);
  EXPECT_NEAR(ShareAt(at).y(), share.y(), 0.002);
  EXPECT_EQ(SliderValue(), std::lround(Lcd().Zoom()));
  EXPECT_EQ(Viewer()->Shown(), today[1]);
}

TEST_F(ViewerGestures, TwoFingersDrawThePictureApartAndTogether) {
  OpenLarge();
  const QRect fitted = Lcd().PicturePlace();
  const QPoint middle = Lcd().rect().center();
  Pinch(middle, 100, 300);
  // The fingers count from where they are known to be two, which is a step later.
  EXPECT_NEAR(double(Lcd().PicturePlace().width()) / fitted.width(), 2.7, 0.35);
  EXPECT_EQ(SliderValue(), std::lround(Lcd().Zoom()));
  Pinch(middle, 300, 60);
  EXPECT_EQ(Lcd().PicturePlace(), fitted);
}

TEST_F(ViewerGestures, APinchIsNoDragAcrossThePicture) {
  OpenLarge();
  Pinch(Lcd().rect().center(), 120, 110, {200, 0});
  EXPECT_EQ(Viewer()->Shown(), today[1]);
  // One finger is: as a mouse draws the picture across.
  QWindow* const window = frame->windowHandle();
  const auto at = [&](int by) { return Lcd().mapTo(frame.get(), Lcd().rect().center() + QPoint(by, 0)); };
  QTest::touchEvent(window, screen).press(0, at(0), window);
  QTest::touchEvent(window, screen).move(0, at(-30), window);
  QTest::touchEvent(window, screen).move(0, at(-80), window);
  QTest::touchEvent(window, screen).release(0, at(-80), window);
  Settle();
  EXPECT_EQ(Viewer()->Shown(), today[2]);
}

TEST_F(ViewerGestures, TwoFingersThatMoveTakeThePictureAlong) {
  OpenLarge();
  const QPoint middle = Lcd().rect().center();
  Pinch(middle, 100, 300);
  const QPoint before = Lcd().PicturePlace().topLeft();
  Pinch(middle, 200, 200, {-80, -40});
  const QPoint moved = Lcd().PicturePlace().topLeft() - before;
  EXPECT_NEAR(moved.x(), -80, 12);
  EXPECT_NEAR(moved.y(), -40, 8);
}

TEST_F(ViewerGestures, AFilmIsNotZoomedByFingers) {
  today = AddDay(0, 1);
  today[0]->SavedFileType = 4;
  GiveOriginal(today[0], Quarters({1600, 1200}));
  Open();
  OpenViewer(today[0]);
  Pad(0.5, Lcd().rect().center());
  Pinch(Lcd().rect().center(), 100, 300);
  EXPECT_EQ(Lcd().Zoom(), 0);
}

}  // namespace
