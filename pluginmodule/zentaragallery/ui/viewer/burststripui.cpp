#include "ui/viewer/burststripui.h"

#include <QApplication>
#include <QHelpEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QStyle>
#include <QToolTip>

#include "common/toolkit/icons.h"
#include "common/toolkit/mix.h"
#include "common/toolkit/resourcequeue.h"
#include "ui/pagecontext.h"
#include "ui/view/thumbrequests.h"
#include "ui/viewer/viewerlist.h"

namespace {

constexpr int kWidth = 64, kHeight = 49, kGap = 6, kCorner = 4;
constexpr double kOthers = 0.72;

}  // namespace

BurstStripUI::BurstStripUI() {
  setFocusPolicy(Qt::NoFocus);  // The arrow keys of the window walk through the shots.
  connect(&ResourceQueue::GetInstance(), &ResourceQueue::ready, this, [this] { update(); });
}

// The grid shows the cover alone: nobody has looked for the others' thumbnails yet.
void BurstStripUI::AskForThumbnails() {
  ThumbRequests::Files missing;
  for (const auto& file : ViewerList::Burst())
    if (!file->thumbExists) missing.push_back(file);
  const QPointer<BurstStripUI> strip(this);
  ThumbRequests::GetInstance().Ask(missing, [strip](const GalleryFile::Ptr&) {
    toolkit::RunLater([strip] {
      if (strip) strip->update();
    });
  });
}

void BurstStripUI::SetShown(int index) {
  shown = index;
  AskForThumbnails();
  update();
}

// In the middle while there is room, else so that the shown one is in sight.
QRect BurstStripUI::MemberRect(int index) const {
  const int count = static_cast<int>(ViewerList::Burst().size());
  const int wide = Scaled(kWidth), step = wide + Scaled(kGap), all = count * step - Scaled(kGap);
  int from = (width() - all) / 2;
  if (all > width()) from = std::clamp(width() / 2 - shown * step - wide / 2, width() - all, 0);
  const QRect place(from + index * step, (height() - Scaled(kHeight)) / 2, wide, Scaled(kHeight));
  return QStyle::visualRect(layoutDirection(), rect(), place);
}

int BurstStripUI::IndexAt(QPoint point) const {
  for (int i = 0; i < static_cast<int>(ViewerList::Burst().size()); ++i)
    if (MemberRect(i).contains(point)) return i;
  return -1;
}

void BurstStripUI::DoEvent(TEventUI& event) {
  if (event.Type == EventType::ButtonDown) {
    if (const int index = IndexAt(event.ptMouse); index >= 0)
      Notify(QStringLiteral("itemselect"), static_cast<WPARAM>(index));
    event.handled = true;
  } else if (event.Type == EventType::SetCursor) {
    setCursor(IndexAt(event.ptMouse) >= 0 ? Qt::PointingHandCursor : Qt::ArrowCursor);
  }
  CWidgetUI::DoEvent(event);
}

bool BurstStripUI::event(QEvent* event) {
  if (event->type() != QEvent::ToolTip) return CWidgetUI::event(event);
  const auto& help = static_cast<QHelpEvent&>(*event);
  const int index = IndexAt(help.pos());
  if (index < 0) return CWidgetUI::event(event);
  QToolTip::showText(help.globalPos(),
                     Page::Wide(ViewerList::Burst()[static_cast<std::size_t>(index)]->FileName()), this);
  return true;
}

void BurstStripUI::PaintBkImage(QPainter& painter) {
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  const auto& members = ViewerList::Burst();
  for (int i = 0; i < static_cast<int>(members.size()); ++i) {
    const QRect place = MemberRect(i);
    if (!place.intersects(rect())) continue;
    const auto& file = *members[static_cast<std::size_t>(i)];
    const QImage image = file.thumbExists
                             ? ResourceQueue::GetInstance().Get(Page::NativeText(file.ThumbnailName()), {})
                             : QImage();
    QPainterPath rounded;
    rounded.addRoundedRect(place, Scaled(kCorner), Scaled(kCorner));
    painter.save();
    painter.setClipPath(rounded);
    painter.fillRect(place, ColorOf(QStringLiteral("skeleton")));
    painter.setOpacity(i == shown ? 1 : kOthers);
    // Filled: the middle of the shot tells more than its edges.
    const QSize filled =
        image.isNull() ? QSize() : image.size().scaled(place.size(), Qt::KeepAspectRatioByExpanding);
    QRect target(QPoint(0, 0), filled);
    target.moveCenter(place.center());
    if (!image.isNull()) painter.drawImage(target, image);
    painter.restore();
    if (i == shown)
      toolkit::PaintEdge(painter, place, Scaled(kCorner), Scaled(2), ColorOf(QStringLiteral("select")));
  }
}
