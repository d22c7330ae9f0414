#include "ui/viewer/douthumlcdui.h"

#include <QGestureEvent>
#include <QNativeGestureEvent>
#include <QPainter>
#include <QPinchGesture>
#include <QTouchEvent>
#include <QWheelEvent>
#include <cmath>

#include "common/toolkit/attributes.h"
#include "common/toolkit/icons.h"
#include "common/toolkit/paintmanager.h"
#include "common/toolkit/resourcequeue.h"
#include "ui/pagecontext.h"
#include "utils/picturemetadata.h"

namespace {

constexpr double kNotch = 120;
constexpr double kZoomOfNotch = 10;  // of 100
constexpr int kPreviousDelta = 120, kNextDelta = -120;
// The decoded picture counts as large enough; a last pixel is rounding.
constexpr double kSharpEnough = 1.02;

LcdPictures& Pictures() { return LcdPictures::GetInstance(); }

QSize RecordedSize(const GalleryFile& file) {
  PictureMetadata metadata;
  if (file.IsVideo() || !metadata.FromJson(ParseJson(file.PictureMetadata()))) return {};
  const QSize lies(metadata.width, metadata.height);
  return metadata.rotation >= 5 && metadata.rotation <= 8 ? lies.transposed() : lies;
}

bool IsTurnedAside(int rotation) { return rotation % 180 != 0; }

}  // namespace

CDouThumLCDUI::CDouThumLCDUI() {
  grabGesture(Qt::PinchGesture);
  connect(&ResourceQueue::GetInstance(), &ResourceQueue::ready, this, [this] {
    if (picture.isNull()) FollowSize();
  });
}

void CDouThumLCDUI::SetAttribute(const QString& name, const QString& value) {
  if (name != QStringLiteral("rest")) return CWidgetUI::SetAttribute(name, value);
  rest = toolkit::ToSize(value);
  FollowSize();
}

HWND CDouThumLCDUI::Window() const { return GetManager() ? GetManager()->GetPaintWindow() : nullptr; }

void CDouThumLCDUI::SetPos(const QRect& rect, bool needInvalidate) {
  CWidgetUI::SetPos(rect, needInvalidate);
  FollowSize();
  if (file && isVisible()) Want();
}

// --- What it shows

void CDouThumLCDUI::LoadLcd(const GalleryFile::Ptr& shown) {
  const bool another = shown != file;
  file = shown;
  picture = {};
  recorded = file ? RecordedSize(*file) : QSize();
  if (another) {
    fit.SetPicture({});
    fit.Reset();
    pressed = false;
  }
  // Also at each reload: a cycle of the sync may have brought it, and the next one is far.
  if (file && (another || HasFailed())) Pictures().TryAgain(file);
  Take();
  if (file) Want();
  setAccessibleName(file ? Page::AccessibleText(*file) : QString());
}

void CDouThumLCDUI::Take() {
  if (file) {
    if (auto better = Pictures().Get(file, Box()); !better.isNull()) picture = std::move(better);
  }
  FollowSize();
}

void CDouThumLCDUI::Want() {
  if (!Pictures().Has(file, Box())) Pictures().Want(file, Box(), Window());
}

QSize CDouThumLCDUI::Box() const {
  const QSize box = fit.Box();
  return IsTurnedAside(rotation) ? box.transposed() : box;
}

// The size of the upright picture in its own pixels, as far as anybody knows it. A
// thumbnail alone tells the shape.
QSize CDouThumLCDUI::Upright() const {
  if (!picture.whole.isEmpty()) return picture.whole;
  if (!recorded.isEmpty()) return recorded;
  if (!picture.image.isNull()) return picture.image.size();
  const QImage small = Placeholder();
  return small.isNull() ? QSize() : small.size().scaled(Box(), Qt::KeepAspectRatio);
}

void CDouThumLCDUI::FollowSize() {
  fit.SetWindow(size(), {Scaled(rest.width()), Scaled(rest.height())});
  const QSize upright = Upright();
  fit.SetPicture(IsTurnedAside(rotation) ? upright.transposed() : upright);
  FollowCursor();
  update();
}

QImage CDouThumLCDUI::Placeholder() const {
  if (!file || !file->thumbExists) return {};
  return ResourceQueue::GetInstance().Get(Page::NativeText(file->ThumbnailName()), {});
}

void CDouThumLCDUI::SetRotation(int degrees) {
  rotation = ((degrees % 360) + 360) % 360;
  fit.Reset();
  FollowSize();
  if (file) Want();
}

// --- Zoom

void CDouThumLCDUI::SetZoom(double value) {
  if (!zoomable) return;
  fit.SetZoom(value, fit.Middle());
  FollowCursor();
  update();
}

void CDouThumLCDUI::MultiplyScale(double factor) {
  if (!zoomable) return;
  fit.MultiplyScale(factor, fit.Middle());
  Zoomed();
}

void CDouThumLCDUI::ToggleActualSize(QPointF at) {
  if (!zoomable) return;
  fit.SetZoom(fit.IsZoomed() ? 0 : fit.ActualZoom(), at);
  Zoomed();
}

void CDouThumLCDUI::ActualSize() {
  if (!zoomable) return;
  fit.SetZoom(fit.ActualZoom(), fit.Middle());
  Zoomed();
}

void CDouThumLCDUI::Pan(QPointF by) {
  fit.Pan(by);
  update();
}

void CDouThumLCDUI::Zoomed() {
  FollowCursor();
  update();
  Notify(QStringLiteral("zoomed"), static_cast<WPARAM>(std::lround(fit.Zoom())));
}

void CDouThumLCDUI::FollowCursor() {
  setCursor(!CanPan() ? Qt::ArrowCursor : pressed ? Qt::ClosedHandCursor : Qt::OpenHandCursor);
}

// --- Painting

// From the upright picture's rectangle, as it is drawn before it is turned, to the window.
QTransform CDouThumLCDUI::FromPicture() const {
  const QRect place = fit.Place();
  QTransform turn = QTransform::fromTranslate(place.x(), place.y());
  if (rotation == 90) turn.translate(place.width(), 0);
  if (rotation == 180) turn.translate(place.width(), place.height());
  if (rotation == 270) turn.translate(0, place.height());
  return turn.rotate(rotation);
}

void CDouThumLCDUI::PaintBkImage(QPainter& painter) {
  if (!file) return;
  const QImage& image = picture.image.isNull() ? Placeholder() : picture.image;
  if (image.isNull()) return PaintWaiting(painter);
  const QSize place = fit.Place().size();
  const QSize drawn = IsTurnedAside(rotation) ? place.transposed() : place;
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  painter.setTransform(FromPicture(), true);
  // A last pixel that is rounded otherwise would blur all of it.
  const QSize off = image.size() - drawn;
  const bool same = std::abs(off.width()) <= 1 && std::abs(off.height()) <= 1;
  same ? painter.drawImage(QPoint(0, 0), image) : painter.drawImage(QRect(QPoint(0, 0), drawn), image);
  if (NeedsTiles()) PaintTiles(painter, drawn);
}

void CDouThumLCDUI::PaintWaiting(QPainter& painter) const {
  const int side = Scaled(48);
  const QRect icon(rect().center() - QPoint(side / 2, side / 2), QSize(side, side));
  const bool failed = HasFailed();
  icons::Paint(painter, failed ? QStringLiteral("picture-missing") : QStringLiteral("gallery"), icon,
               ColorOf(QStringLiteral("text-off")));
}

bool CDouThumLCDUI::NeedsTiles() const {
  if (!picture.fromOriginal || picture.frames || file->IsVideo() || !fit.IsZoomed()) return false;
  const QSize place = fit.Place().size();
  const int drawn = IsTurnedAside(rotation) ? place.height() : place.width();
  return drawn > picture.image.width() * kSharpEnough && picture.image.width() < Upright().width();
}

int CDouThumLCDUI::TileLevel() const {
  const double scale = fit.Scale();
  return scale >= 1 ? 0 : std::max(0, int(std::floor(std::log2(1 / scale))));
}

std::vector<LcdTile> CDouThumLCDUI::VisibleTiles() const {
  std::vector<LcdTile> tiles;
  const auto original = Pictures().Original(file);
  if (!original) return tiles;
  const int level = TileLevel(), side = LcdTile::kSide << level;
  const QSize whole = original->Size();
  const QSize place = fit.Place().size();
  const double drawnWidth = IsTurnedAside(rotation) ? place.height() : place.width();
  const double scale = drawnWidth / whole.width();
  const QRectF seen = FromPicture().inverted().mapRect(QRectF(rect()));
  const QRect pixels =
      QRectF(seen.topLeft() / scale, seen.size() / scale).toAlignedRect() & QRect(QPoint(0, 0), whole);
  if (pixels.isEmpty()) return tiles;
  for (int y = pixels.top() / side; y <= pixels.bottom() / side; ++y)
    for (int x = pixels.left() / side; x <= pixels.right() / side; ++x) tiles.push_back({level, x, y});
  return tiles;
}

std::pair<int, int> CDouThumLCDUI::TilesInSight() const {
  int there = 0;
  const auto tiles = file && NeedsTiles() ? VisibleTiles() : std::vector<LcdTile>();
  for (const LcdTile& tile : tiles) there += Pictures().Tile(file, tile).isNull() ? 0 : 1;
  return {there, static_cast<int>(tiles.size())};
}

void CDouThumLCDUI::PaintTiles(QPainter& painter, QSize drawn) {
  const auto original = Pictures().Original(file);
  if (!original) return Pictures().WantOriginal(file, Window());
  const QSize whole = original->Size();
  const double sx = double(drawn.width()) / whole.width(), sy = double(drawn.height()) / whole.height();
  std::vector<LcdTile> missing;
  for (const LcdTile& tile : VisibleTiles()) {
    const QImage image = Pictures().Tile(file, tile);
    if (image.isNull()) {
      missing.push_back(tile);
      continue;
    }
    const int side = LcdTile::kSide << tile.level;
    const QRect pixels = QRect(tile.x * side, tile.y * side, side, side) & QRect(QPoint(0, 0), whole);
    // Edges of neighbours fall on the same pixel of the screen.
    const QPoint from(int(std::lround(pixels.left() * sx)), int(std::lround(pixels.top() * sy)));
    const QPoint to(int(std::lround((pixels.right() + 1) * sx)),
                    int(std::lround((pixels.bottom() + 1) * sy)));
    painter.drawImage(QRect(from, QSize(to.x() - from.x(), to.y() - from.y())), image);
  }
  Pictures().WantTiles(file, missing, Window());
}

// --- Pointer

void CDouThumLCDUI::DoEvent(TEventUI& event) {
  switch (event.Type) {
    case EventType::Wheel:
      return OnWheel(event);
    case EventType::ButtonDown:
      event.handled = true;
      return OnDown(event.ptMouse);
    case EventType::MouseMove:
      return OnMove(event.ptMouse);
    case EventType::ButtonUp:
      return OnUp(event.ptMouse);
    case EventType::DoubleClick:
      pressed = false;
      ToggleActualSize(event.ptMouse);
      event.handled = true;
      return;
    default:
      return CWidgetUI::DoEvent(event);
  }
}

void CDouThumLCDUI::OnWheel(TEventUI& event) {
  event.handled = true;
  if (!(event.modifiers & Qt::ControlModifier)) return Notify(QStringLiteral("turned"), 0, event.wheelDelta);
  if (!zoomable) return;
  fit.SetZoom(fit.Zoom() + event.wheelDelta / kNotch * kZoomOfNotch, event.ptMouse);
  Zoomed();
}

void CDouThumLCDUI::OnDown(QPoint at) {
  setFocus(Qt::MouseFocusReason);
  pressed = true;
  downAt = lastAt = at;
  FollowCursor();
}

void CDouThumLCDUI::OnMove(QPoint at) {
  if (!pressed) return;
  if (CanPan()) Pan(at - lastAt);
  lastAt = at;
}

void CDouThumLCDUI::OnUp(QPoint at) {
  if (!std::exchange(pressed, false)) return;
  FollowCursor();
  const int across = at.x() - downAt.x();
  if (CanPan() || std::abs(across) <= kDragAcross) return;
  const bool previous = (across > 0) != (layoutDirection() == Qt::RightToLeft);
  Notify(QStringLiteral("wheel"), 0, previous ? kPreviousDelta : kNextDelta);
}

// --- Fingers

bool CDouThumLCDUI::event(QEvent* event) {
  switch (event->type()) {
    case QEvent::NativeGesture:
      return OnPad(static_cast<QNativeGestureEvent&>(*event)) || CWidgetUI::event(event);
    case QEvent::Gesture:
      return OnPinch(static_cast<QGestureEvent&>(*event)) || CWidgetUI::event(event);
    case QEvent::Wheel:
      return WheelAcross(*this, *event) || CWidgetUI::event(event);
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
      OnTouch(static_cast<QTouchEvent&>(*event));
      return true;
    default:
      return CWidgetUI::event(event);
  }
}

bool WheelAcross(CControlUI& over, QEvent& event) {
  if (event.type() != QEvent::Wheel) return false;
  const auto& wheel = static_cast<QWheelEvent&>(event);
  const QPoint turned = wheel.angleDelta();
  if (turned.y() != 0 || turned.x() == 0 || wheel.modifiers() & Qt::ControlModifier) return false;
  over.Notify(QStringLiteral("turnedacross"), 0, turned.x());
  event.accept();
  return true;
}

// Its own position is that in the window.
bool CDouThumLCDUI::OnPad(const QNativeGestureEvent& gesture) {
  if (gesture.gestureType() != Qt::ZoomNativeGesture || !zoomable) return false;
  fit.MultiplyScale(1 + gesture.value(), mapFromGlobal(gesture.globalPosition()));
  Zoomed();
  return true;
}

bool CDouThumLCDUI::OnPinch(const QGestureEvent& gestures) {
  const auto* pinch = static_cast<QPinchGesture*>(gestures.gesture(Qt::PinchGesture));
  if (!pinch || !zoomable) return false;
  if (pinch->changeFlags() & QPinchGesture::CenterPointChanged)
    Pan(pinch->centerPoint() - pinch->lastCenterPoint());
  if (pinch->changeFlags() & QPinchGesture::ScaleFactorChanged) {
    fit.MultiplyScale(pinch->scaleFactor(), mapFromGlobal(pinch->centerPoint()));
    Zoomed();
  }
  return true;
}

// Who takes two fingers gets no mouse events made of one: it draws the picture as the
// mouse does. What has had a second finger is a pinch to its end.
void CDouThumLCDUI::OnTouch(const QTouchEvent& touch) {
  const QPoint at = touch.points().first().position().toPoint();
  if (touch.pointCount() > 1) pressed = false;
  if (touch.type() == QEvent::TouchBegin && touch.pointCount() == 1) return OnDown(at);
  touch.type() == QEvent::TouchEnd ? OnUp(at) : OnMove(at);
}
