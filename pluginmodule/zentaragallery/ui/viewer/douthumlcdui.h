#pragma once

#include <QImage>
#include <QPointer>

#include "common/toolkit/tcontrol.h"
#include "ui/viewer/lcdpictures.h"
#include "ui/viewer/picturefit.h"

class QGestureEvent;
class QNativeGestureEvent;
class QTouchEvent;

// Sends "turnedacross" (lParam: the delta, above 0 to the left) for a wheel that turns
// sideways; false for any other event.
bool WheelAcross(CControlUI& over, QEvent& event);

// One large picture: shows at once what is in memory, the thumbnail at least, and
// sharper as it comes; zooms at the pointer and by two fingers, and is moved by dragging.
//
// Sends "zoomed" (wParam: 0 to 100) when the user has zoomed, and "turned" (lParam:
// the delta) for the wheel without Ctrl, and "wheel" (lParam: that of a notch) when a
// picture that is not zoomed is drawn across. Element "DouThumLCD"; attribute rest="64,32": the space left
// free beside and above a picture that is not zoomed. User-interface thread.
class CDouThumLCDUI : public CWidgetUI {
 public:
  static constexpr int kDragAcross = 30;

  CDouThumLCDUI();

  QString GetClass() const override { return QStringLiteral("DouThumLCDUI"); }
  void SetAttribute(const QString& name, const QString& value) override;
  void SetPos(const QRect& rect, bool needInvalidate = true) override;
  void DoEvent(TEventUI& event) override;
  void PaintBkImage(QPainter& painter) override;
  bool event(QEvent* event) override;

  // Shows another file, fitted; null shows nothing. The same one again keeps zoom and
  // place: its content may have changed.
  void LoadLcd(const GalleryFile::Ptr& shown);
  // A worker has brought something.
  void Take();
  const LcdPicture& Picture() const { return picture; }
  bool HasFailed() const { return file && picture.isNull() && LcdPictures::GetInstance().HasFailed(file); }

  void SetRotation(int degrees);
  int Rotation() const { return rotation; }
  double Zoom() const { return fit.Zoom(); }
  void SetZoom(double value);
  // One pixel of the picture for one of the screen, or back to the whole.
  void ToggleActualSize(QPointF at);
  void ActualSize();
  void MultiplyScale(double factor);
  void Pan(QPointF by);
  bool CanPan() const { return fit.CanPan(); }
  // Neither wheel nor pointer zoom, as for a film.
  void SetZoomable(bool on) { zoomable = on; }

  // The hand over a picture that can be moved.
  void FollowCursor();

  // What others decode ahead for it.
  QSize Box() const;
  QRect PicturePlace() const { return fit.Place(); }
  const PictureFit& Fit() const { return fit; }
  // Tiles of the original in sight that are in memory, and those in sight at all.
  std::pair<int, int> TilesInSight() const;

 private:
  HWND Window() const;
  QSize Upright() const;
  void FollowSize();
  QImage Placeholder() const;
  void Want();
  void Zoomed();
  void PaintWaiting(QPainter& painter) const;
  void PaintTiles(QPainter& painter, QSize drawn);
  bool NeedsTiles() const;
  int TileLevel() const;
  std::vector<LcdTile> VisibleTiles() const;
  QTransform FromPicture() const;
  void OnWheel(TEventUI& event);
  void OnDown(QPoint at);
  void OnMove(QPoint at);
  void OnUp(QPoint at);
  bool OnPad(const QNativeGestureEvent& gesture);
  bool OnPinch(const QGestureEvent& gestures);
  void OnTouch(const QTouchEvent& touch);

  GalleryFile::Ptr file;
  LcdPicture picture;
  QSize recorded;  // of the record's metadata
  PictureFit fit;
  QSize rest{64, 32};
  int rotation = 0;
  bool zoomable = true;
  bool pressed = false;
  QPoint downAt, lastAt;
};
