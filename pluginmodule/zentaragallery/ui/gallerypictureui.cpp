#include "ui/gallerypictureui.h"

#include <QApplication>
#include <QHelpEvent>
#include <QMimeData>
#include <QPainter>
#include <QTimer>
#include <QToolTip>

#include "common/toolkit/icons.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/resourcequeue.h"
#include "common/toolkit/theme.h"
#include "ui/dragpicture.h"
#include "ui/gallerydragout.h"
#include "ui/galleryrows.h"
#include "ui/pagecontext.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/view/galleryselecthelper.h"
#include "ui/view/gridgeometry.h"
#include "ui/view/pageflags.h"
#include "ui/view/pagerules.h"
#include "ui/view/thumbrequests.h"
#include "ui/viewer/lcdpictures.h"
#include "utils/messages.h"

namespace {

constexpr int kDragDistance = 6;
constexpr int kCorner = 4;
constexpr int kInset = 2;  // between a picture and its frame

// What of an image is painted, and where. One of nearly the size of its place, by less
// than the eye sees, is not scaled, which would cost many times more: its edge is left
// out.
struct Drawn {
  QRect place, source;
};
Drawn Unscaled(const QRect& place, const QSize& image, int tolerance) {
  const QSize off = image - place.size();
  if (std::abs(off.width()) > tolerance || std::abs(off.height()) > tolerance)
    return {place, QRect(QPoint(), image)};
  const QSize common = image.boundedTo(place.size());
  const QPoint corner((image.width() - common.width()) / 2, (image.height() - common.height()) / 2);
  return {{place.topLeft(), common}, {corner, common}};
}

GallerySelectHelper& Selection() { return GallerySelectHelper::GetInstance(); }

}  // namespace

CGalleryPictureUI::CGalleryPictureUI(CFileInfoCellBase& owner) : row(owner) { setFocusPolicy(Qt::NoFocus); }

CGalleryPictureUI::~CGalleryPictureUI() {
  if (filtered) filtered->RemovePreMessageFilter(this);
}

void CGalleryPictureUI::DoInit() {
  filtered = GetManager();
  if (filtered) filtered->AddPreMessageFilter(this);
}

// --- What it shows

void CGalleryPictureUI::Bind(const GalleryFile::Ptr& next) {
  if (next == file) return;
  file = next;
  pressed = false;
  hit = {};
  waits = false;
  arrival.End();
  update();
}

void CGalleryPictureUI::SetThumbPath(const QString& path) {
  if (path == thumbPath) return;
  thumbPath = path;
  update();
}

void CGalleryPictureUI::TakeThumbPath() {
  SetThumbPath(file->thumbExists ? Page::NativeText(file->ThumbnailName()) : QString());
  update();
}

LRESULT CGalleryPictureUI::MessageHandler(UINT uMsg, WPARAM, LPARAM lParam, bool& handled) {
  if (uMsg != WM_GALLERY_THUMB_READY || !file || lParam != reinterpret_cast<LPARAM>(file.get())) return 0;
  ResourceQueue::GetInstance().Forget(Page::NativeText(file->ThumbnailName()));
  TakeThumbPath();
  handled = true;
  return 0;
}

QString CGalleryPictureUI::AccessibleText() const {
  if (!file) return {};
  const QString text = Page::AccessibleText(*file);
  if (!Selection().IsSelected(file)) return text;
  return text + QStringLiteral(", ") + CResourceManager::GetText(QStringLiteral("IDS_ACCESSIBLE_SELECTED"));
}

// Asked for when it is wanted: a cell changes its picture with every scroll.
bool CGalleryPictureUI::event(QEvent* event) {
  if (event->type() != QEvent::ToolTip) return CWidgetUI::event(event);
  const auto* help = static_cast<QHelpEvent*>(event);
  if (file && hit.contains(help->pos())) {
    const QString words =
        Page::Wide(file->FileName()) + u'\n' + CResourceManager::FormatDate(file->CreateTime);
    QToolTip::showText(help->globalPos(), words, this, hit);
  } else {
    QToolTip::hideText();
  }
  return true;
}

// --- Painting

void CGalleryPictureUI::PaintBkImage(QPainter& painter) {
  if (!file) return;
  // The thumbnail is stored upright: the size alone matters.
  // At the size that it is painted in: scaling it once more would be most of a step.
  const QImage image =
      thumbPath.isEmpty() ? QImage() : ResourceQueue::GetInstance().Get(thumbPath, PictureSize());
  const bool waited = std::exchange(waits, image.isNull());
  if (image.isNull()) return PaintPlaceholder(painter);
  if (waited) arrival.Begin();
  PaintPicture(painter, image);
}

QSize CGalleryPictureUI::PictureSize() const {
  const int inset = 2 * Scaled(kInset);
  return size() - QSize(inset, inset);
}

QRect CGalleryPictureUI::PictureRect(const QImage& image) const {
  if (image.isNull()) return rect();
  const auto place = GridGeometry::Fit(image.width(), image.height(), width(), height());
  return {place.x, place.y, place.width, place.height};
}

void CGalleryPictureUI::PaintPlaceholder(QPainter& painter) {
  hit = rect();
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(ColorOf(QStringLiteral("skeleton")));
  painter.drawRoundedRect(rect(), Scaled(kCorner), Scaled(kCorner));
  const bool failed = ThumbRequests::GetInstance().HasFailed(file) ||
                      (!thumbPath.isEmpty() && ResourceQueue::GetInstance().HasFailed(thumbPath));
  const int side = std::min({Scaled(32), width(), height()});
  const QRect icon(rect().center() - QPoint(side / 2, side / 2), QSize(side, side));
  icons::Paint(painter, failed ? QStringLiteral("picture-missing") : QStringLiteral("gallery"), icon,
               ColorOf(QStringLiteral("text-off")));
  PaintFrame(painter, rect());
  PaintMarks(painter);
  PaintFocus(painter, rect());
}

void CGalleryPictureUI::PaintPicture(QPainter& painter, const QImage& image) {
  const QRect frame = PictureRect(image);
  const int inset = Scaled(kInset);
  hit = frame.adjusted(inset, inset, -inset, -inset);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  const auto [place, source] = Unscaled(hit, image.size(), inset);
  painter.drawImage(place, image, source);
  if (arrival.IsMoving()) PaintArriving(painter, place);
  PaintMarks(painter);
  PaintCorners(painter, place);
  PaintFrame(painter, frame);
  PaintFocus(painter, frame);
}

// The placeholder lies over the picture and grows weaker. The cell alone is painted again.
void CGalleryPictureUI::PaintArriving(QPainter& painter, const QRect& place) {
  painter.setOpacity(1 - arrival.Strength());
  painter.fillRect(place, ColorOf(QStringLiteral("skeleton")));
  painter.setOpacity(1);
  QTimer::singleShot(toolkit::motion::kFrameMs, this, [this] { update(hit); });
}

void CGalleryPictureUI::PaintFrame(QPainter& painter, const QRect& frame) {
  if (!Selection().IsSelected(file)) return;
  const int wide = Scaled(Theme::Instance().IsHighContrast() ? 3 : 2);
  painter.setPen(QPen(ColorOf(QStringLiteral("select")), wide));
  painter.setBrush(Qt::NoBrush);
  const double half = wide / 2.0;
  painter.drawRoundedRect(QRectF(frame).adjusted(half, half, -half, -half), Scaled(kCorner), Scaled(kCorner));
  if (Selection().IsMultiSelect()) PaintTick(painter);
}

void CGalleryPictureUI::PaintTick(QPainter& painter) {
  const int side = Scaled(20), gap = Scaled(8);
  const bool mirrored = layoutDirection() == Qt::RightToLeft;
  const QRect disc(mirrored ? hit.left() + gap : hit.right() + 1 - gap - side, hit.top() + gap, side, side);
  painter.setPen(QPen(Qt::white, ScaledF(1.5)));
  painter.setBrush(ColorOf(QStringLiteral("select")));
  painter.drawEllipse(disc);
  const int mark = Scaled(14);
  const QRect tick(disc.center() - QPoint(mark / 2 - 1, mark / 2 - 1), QSize(mark, mark));
  icons::Paint(painter, QStringLiteral("check"), tick, Qt::white);
}

void CGalleryPictureUI::PaintFocus(QPainter& painter, const QRect& frame) {
  if (Page::FocusFile() != file) return;
  const double half = ScaledF(1);
  const int out = Scaled(2);  // The cell's own padding leaves no more.
  painter.setPen(QPen(ColorOf(QStringLiteral("focus")), 2 * half));
  painter.setBrush(Qt::NoBrush);
  painter.setClipping(false);
  const QRectF ring =
      QRectF(frame).adjusted(-out + half, -out + half, out - half, out - half) & QRectF(rect());
  painter.drawRoundedRect(ring.adjusted(half, half, -half, -half), Scaled(kCorner + 2), Scaled(kCorner + 2));
}

// The page's colour over what a rounded picture would leave free: many times cheaper
// than painting through a rounded clip.
void CGalleryPictureUI::PaintCorners(QPainter& painter, const QRect& picture) {
  static QPixmap corner;  // one look for all cells
  static QColor cornerColor;
  const int side = Scaled(kCorner);
  if (corner.isNull() || corner.width() != 2 * side || cornerColor != ColorOf(QStringLiteral("page"))) {
    cornerColor = ColorOf(QStringLiteral("page"));
    QImage square(2 * side, 2 * side, QImage::Format_ARGB32_Premultiplied);
    square.fill(cornerColor);
    QPainter hole(&square);
    hole.setRenderHint(QPainter::Antialiasing);
    hole.setCompositionMode(QPainter::CompositionMode_DestinationOut);
    hole.setPen(Qt::NoPen);
    hole.setBrush(Qt::black);
    hole.drawEllipse(0, 0, 2 * side, 2 * side);
    hole.end();
    corner = QPixmap::fromImage(square);
  }
  const int right = picture.right() + 1 - side, bottom = picture.bottom() + 1 - side;
  painter.drawPixmap(picture.left(), picture.top(), corner, 0, 0, side, side);
  painter.drawPixmap(right, picture.top(), corner, side, 0, side, side);
  painter.drawPixmap(picture.left(), bottom, corner, 0, side, side, side);
  painter.drawPixmap(right, bottom, corner, side, side, side, side);
}

bool CGalleryPictureUI::HasMarks() const {
  return file->IsLocalOnly() || file->IsVideo() || (file->ContinuousType == 1 && file->HasMembers());
}

void CGalleryPictureUI::PaintMarks(QPainter& painter) {
  if (!HasMarks()) return;
  const bool local = file->IsLocalOnly();
  const bool video = file->IsVideo();
  const bool burst = file->ContinuousType == 1 && file->HasMembers();
  const int strip = Scaled(20), side = Scaled(16), edge = 1;
  painter.fillRect(QRect(hit.left(), hit.bottom() + 1 - strip, hit.width(), strip),
                   ColorOf(QStringLiteral("strip")));
  const bool mirrored = layoutDirection() == Qt::RightToLeft;
  const auto mark = [&](const QString& name, bool atStart) {
    const int x = atStart != mirrored ? hit.left() + edge : hit.right() + 1 - edge - side;
    icons::Paint(painter, name, {x, hit.bottom() + 1 - edge - side, side, side}, Qt::white);
  };
  if (video) {
    mark(QStringLiteral("video"), true);
  } else if (burst) {
    mark(QStringLiteral("burst"), true);
  }
  if (local) mark(QStringLiteral("waiting-upload"), false);
}

// --- Mouse

void CGalleryPictureUI::Redraw() { Page::PostRedraw(); }

void CGalleryPictureUI::TellToolbar() {
  if (Selection().Count() > 0) Page::PostToolbar(static_cast<int>(PageRules::ToolbarState::Selected));
}

void CGalleryPictureUI::ClearByBlank() { Page::Post(WM_GALLERY_KEY_ESCAPE); }

void CGalleryPictureUI::DoEvent(TEventUI& event) {
  if (event.pSender != this) return CWidgetUI::DoEvent(event);
  switch (event.Type) {
    case EventType::ButtonDown:
      OnLeftDown(event);
      return;
    case EventType::DoubleClick:
      downAt = event.ptMouse;
      return;
    case EventType::RButtonDown:
      OnRightDown(event);
      return;
    case EventType::ButtonUp:
      OnLeftUp();
      return;
    case EventType::MouseMove:
      OnMove(event);
      return;
    case EventType::SetCursor:
      setCursor(file && hit.contains(event.ptMouse) ? Qt::PointingHandCursor : Qt::ArrowCursor);
      return;
    default:
      return CWidgetUI::DoEvent(event);
  }
}

void CGalleryPictureUI::OnLeftDown(TEventUI& event) {
  if (!hit.contains(event.ptMouse)) return ClearByBlank();
  event.handled = true;
  pressed = true;
  downAt = event.ptMouse;
  Page::SetFocusFile(nullptr);
  if (file) {
    LcdPictures::GetInstance().Prepare();  // A second press opens the viewer.
    Selection().OnLButtonDown(file);
    TellToolbar();
  } else if (Selection().Count() > 0) {
    Selection().SelectClear(false);
    Page::PostToolbar(0);
  }
  Redraw();
}

void CGalleryPictureUI::OnRightDown(const TEventUI& event) {
  if (!hit.contains(event.ptMouse)) return ClearByBlank();
  if (file) {
    Selection().OnRButtonDown(file);
    TellToolbar();
  } else if (Selection().Count() > 0) {
    Selection().SelectClear(false);
    Page::PostToolbar(0);
  }
  pressed = false;
  Redraw();
}

void CGalleryPictureUI::OnLeftUp() {
  if (file) {
    Selection().OnLButtonUp(file, pressed);
    if (Selection().Count() == 0) Page::PostToolbar(0);
  }
  Redraw();
  pressed = false;
}

void CGalleryPictureUI::Press() {
  if (!file) return;
  Selection().OnLButtonDown(file);
  TellToolbar();
  pressed = true;
  OnLeftUp();
}

void CGalleryPictureUI::OnMove(const TEventUI& event) {
  setCursor(file && hit.contains(event.ptMouse) ? Qt::PointingHandCursor : Qt::ArrowCursor);
  const auto album = GalleryFileListViewHelper::GetInstance().CurrentAlbum();
  if (!album) return;
  if (album->Kind() == AlbumKind::TimeLine) row.HoverOver();
  if (!pressed || dragging || !PageRules::IsMovableType(album->Kind())) return;
  const QPoint moved = event.ptMouse - downAt;
  if (std::abs(moved.x()) >= kDragDistance || std::abs(moved.y()) >= kDragDistance) StartDrag();
}

// To an album of the panel, or out to another program.
void CGalleryPictureUI::StartDrag() {
  dragging = true;
  GalleryDragOut::Run(*this, MakeDragPicture(*this, Selection().Count()));
  dragging = pressed = false;
}
