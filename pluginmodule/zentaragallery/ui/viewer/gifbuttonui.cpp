#include "ui/viewer/gifbuttonui.h"

#include <QPainter>
#include <QTimerEvent>

#include "common/toolkit/attributes.h"
#include "ui/viewer/douthumlcdui.h"

void CGifButtonUI::SetAttribute(const QString& name, const QString& value) {
  if (name != QStringLiteral("rest")) return CWidgetUI::SetAttribute(name, value);
  rest = toolkit::ToSize(value);
}

void CGifButtonUI::DoEvent(TEventUI& event) {
  if (event.Type != EventType::Wheel) return CWidgetUI::DoEvent(event);
  event.handled = true;
  Notify(QStringLiteral("turned"), 0, event.wheelDelta);
}

bool CGifButtonUI::event(QEvent* event) { return WheelAcross(*this, *event) || CWidgetUI::event(event); }

void CGifButtonUI::SetFrames(std::shared_ptr<const MappedPixels> shown) {
  if (shown == frames) return;
  frames = std::move(shown);
  frame = rounds = 0;
  Run();
  update();
}

void CGifButtonUI::SetRotation(int degrees) {
  rotation = degrees;
  update();
}

void CGifButtonUI::PaintBkImage(QPainter& painter) {
  if (!frames) return;
  const QImage image = MappedPixels::Frame(frames, frame);
  const bool aside = rotation % 180 != 0;
  const QSize margins(Scaled(rest.width()), Scaled(rest.height()));
  const QSize box = (size() - 2 * margins).expandedTo({1, 1});
  const QSize turned = aside ? image.size().transposed() : image.size();
  const bool larger = turned.width() > box.width() || turned.height() > box.height();
  const QSize shown = larger ? turned.scaled(box, Qt::KeepAspectRatio) : turned;
  QRect place(QPoint(0, 0), aside ? shown.transposed() : shown);
  place.moveCenter({0, 0});
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  painter.translate(rect().center());
  painter.rotate(rotation);
  painter.drawImage(place, image);
}

void CGifButtonUI::showEvent(QShowEvent* event) {
  CWidgetUI::showEvent(event);
  Run();
}

void CGifButtonUI::hideEvent(QHideEvent* event) {
  CWidgetUI::hideEvent(event);
  clock.stop();
}

bool CGifButtonUI::HasEnded() const { return frames->Loops() > 0 && rounds >= frames->Loops(); }

void CGifButtonUI::Run() {
  clock.stop();
  if (!frames || frames->FrameCount() < 2 || !isVisible() || HasEnded()) return;
  clock.start(frames->DelayMs(frame), Qt::PreciseTimer, this);
}

void CGifButtonUI::timerEvent(QTimerEvent* event) {
  if (event->timerId() != clock.timerId()) return CWidgetUI::timerEvent(event);
  if (frame + 1 == frames->FrameCount()) ++rounds;
  if (!HasEnded()) frame = (frame + 1) % frames->FrameCount();
  Run();
  update();
}
