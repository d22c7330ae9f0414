#pragma once

#include <QPointF>
#include <QRect>
#include <QSize>

// Where a picture lies in a window: its size at a zoom of 0 to 100, and its place.
// At 0 it is fitted into the window less its margins, and never larger than its own
// pixels; at 100 it is twice its own pixels, or four times the fitted size. Sizes are those of the picture as
// it is shown, turned.
class PictureFit {
 public:
  static constexpr double kMaxZoom = 100;

  // Keeps the zoom, and the part in the middle in the middle.
  void SetWindow(QSize window, QSize margins);
  // Another size of the same picture keeps what is seen; empty is no picture.
  void SetPicture(QSize size);
  // Fitted and in the middle.
  void Reset();

  QSize Box() const;
  double Zoom() const { return zoom; }
  double Scale() const;
  double FitScale() const;
  // The zoom at which a pixel of the picture is one of the screen; that of twice the
  // size for a picture which is shown so when fitted.
  double ActualZoom() const;
  // `at` in the window stays on its place of the picture.
  void SetZoom(double value, QPointF at);
  void MultiplyScale(double factor, QPointF at);
  QPointF Middle() const { return {window.width() / 2.0, window.height() / 2.0}; }
  bool IsZoomed() const { return zoom > 0; }
  // Whether it is larger than the window, so that it can be moved.
  bool CanPan() const;
  void Pan(QPointF by);
  // In the window.
  QRect Place() const;

 private:
  double LargestScale() const;
  void Clamp();

  QSize window, margins, picture;
  double zoom = 0;
  QPointF offset;  // of the picture's middle from the window's
};
