#include "ui/timescrollbar.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include "common/toolkit/list.h"
#include "common/toolkit/motion.h"
#include "common/toolkit/paintmanager.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/theme.h"

namespace {

constexpr int kThumbLength = 64;
constexpr int kBubbleBefore = 106, kBubbleAbove = 12;
constexpr int kBubbleWidth = 98, kBubbleHeight = 24;

QString TextOf(const std::optional<std::int64_t>& day) {
  return day ? CResourceManager::FormatDate(*day * 1000) : QString();
}

QString WithSharp(const QString& color) {
  return color.startsWith(u'#') || color.size() < 6 ? color : u'#' + color.last(6);
}

}  // namespace

// The bubble stands over the rows, beside the bar; its tip points at the bar.
class CTimeScrollBarUINew::Bubble : public QWidget {
 public:
  Bubble(const CTimeScrollBarUINew& of, QWidget* over) : QWidget(over), bar(of) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setObjectName(QStringLiteral("TimeFrame"));
  }
  QString text;

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(Theme::Instance().Font(QStringLiteral("small-strong"), bar.GetScale()));
    if (TimeBar::BubbleImage(bar.GetScale()).empty()) return PaintBareText(painter);
    PaintFrame(painter);
    painter.setPen(QColor(bar.textColor));
    painter.drawText(TextRect(), Qt::AlignHCenter | Qt::AlignTop, text);
  }

 private:
  QRect TextRect() const {
    const int left = bar.Scaled(4);
    const QRect place(left, bar.Scaled(6), bar.Scaled(86) + left, bar.Scaled(16) + bar.Scaled(6));
    return layoutDirection() == Qt::RightToLeft ? place.translated(width() - place.width() - 2 * left, 0)
                                                : place;
  }
  // A scale without a frame: an edge keeps the words legible over any picture.
  void PaintBareText(QPainter& painter) {
    const QFontMetrics metrics(painter.font());
    const QRect place = TextRect();
    QPainterPath words;
    words.addText(place.center().x() - metrics.horizontalAdvance(text) / 2, place.top() + metrics.ascent(),
                  painter.font(), text);
    painter.strokePath(words, QPen(CControlUI::ColorOf(QStringLiteral("dim-toast")), bar.Scaled(3)));
    painter.fillPath(words, QColor(bar.textColor));
  }
  void PaintFrame(QPainter& painter) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(CControlUI::ColorOf(QStringLiteral("dim-toast")));
    const int tip = bar.Scaled(5), round = bar.Scaled(4);
    const bool mirrored = layoutDirection() == Qt::RightToLeft;
    const QRect body = mirrored ? rect().adjusted(tip, 0, 0, 0) : rect().adjusted(0, 0, -tip, 0);
    painter.drawRoundedRect(body, round, round);
    QPainterPath arrow;
    const double middle = height() / 2.0, base = mirrored ? body.left() : body.right() + 1;
    arrow.moveTo(base, middle - tip);
    arrow.lineTo(mirrored ? 0 : width(), middle);
    arrow.lineTo(base, middle + tip);
    painter.drawPath(arrow);
  }

  const CTimeScrollBarUINew& bar;
};

CTimeScrollBarUINew::CTimeScrollBarUINew(QWidget* parent) : CScrollBarUI(parent) {
  setAttribute(Qt::WA_OpaquePaintEvent, false);
  setContextMenuPolicy(Qt::NoContextMenu);
  fade.setEasingCurve(toolkit::motion::Curve());
  connect(&fade, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
    strength = value.toDouble();
    update();
  });
}

QString& CTimeScrollBarUINew::DateText() {
  static QString text;
  return text;
}

CControlUI* CTimeScrollBarUINew::GetInterface(const QString& name) {
  return name == QStringLiteral("TimeScrollBar") ? this : CScrollBarUI::GetInterface(name);
}

void CTimeScrollBarUINew::DoInit() {
  CScrollBarUI::DoInit();
  SetName(QStringLiteral("ShowTimeScrollBar"));
}

void CTimeScrollBarUINew::SetAttribute(const QString& name, const QString& value) {
  if (name == QStringLiteral("thumbcolor")) {
    thumbColor = WithSharp(value);
  } else if (name == QStringLiteral("textcolor")) {
    textColor = WithSharp(value);
  } else {
    CScrollBarUI::SetAttribute(name, value);
  }
}

QRect CTimeScrollBarUINew::ThumbRect() const {
  const auto thumb = TimeBar::ThumbAt(height(), Scaled(kThumbLength), GetScrollRange(), GetScrollPos());
  return {0, thumb.top, width(), thumb.length};
}

QString CTimeScrollBarUINew::GetDateAtPoint(int y) const {
  return TextOf(model.GetDateAtPoint(y, height(), GetScrollRange()));
}

void CTimeScrollBarUINew::SetDatePos(int position) {
  const auto date = model.DateAtScroll(position);
  const QString language = CResourceManager::Language();
  if (date != currentDate || language != currentLanguage) currentText = TextOf(date);
  currentDate = date;
  currentLanguage = language;
  DateText() = currentText;
}

void CTimeScrollBarUINew::ShowForAWhile() {
  visibleTimer = true;
  if (auto* manager = GetManager()) manager->SetTimer(this, kTimerId, kShownMs);
  Fade();
}

void CTimeScrollBarUINew::Fade() {
  using namespace toolkit;
  const double wanted = IsShown() ? 1 : 0;
  update();
  const bool comes = fade.state() == QAbstractAnimation::Running && fade.endValue().toDouble() == wanted;
  if (comes || strength == wanted) return;
  fade.stop();
  const int lasts = motion::Lasting(IsShown() ? motion::kBarMs : motion::kBarOutMs);
  if (lasts == 0) {
    strength = wanted;
    return;
  }
  fade.setStartValue(strength);
  fade.setEndValue(wanted);
  fade.setDuration(lasts);
  fade.start();
}

void CTimeScrollBarUINew::DoEvent(TEventUI& event) {
  switch (event.Type) {
    case EventType::MouseEnter:
      hot = true;
      if (auto* manager = GetManager()) manager->KillTimer(this, kTimerId);
      Fade();
      break;
    case EventType::MouseLeave:
      hot = false;
      HideBubble();
      ShowForAWhile();
      break;
    case EventType::Timer:
      if (event.wParam != kTimerId) break;
      visibleTimer = false;
      if (auto* manager = GetManager()) manager->KillTimer(this, kTimerId);
      Fade();
      event.handled = true;
      return;
    default:
      break;
  }
  CScrollBarUI::DoEvent(event);
}

void CTimeScrollBarUINew::SetScrollFromPoint(int y) {
  auto* owner = GetOwner();
  if (!owner) return;
  const auto position = TimeBar::ScrollFromPoint(y, height(), ThumbRect().height(), GetScrollRange());
  owner->SetScrollPos({owner->GetScrollPos().width(), static_cast<int>(position)});
}

void CTimeScrollBarUINew::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton || !rect().contains(event->pos())) return;
  pointer = event->pos();
  setSliderDown(true);
  Fade();
  const QString text = GetDateAtPoint(pointer.y());
  DateText() = text;
  Notify(QStringLiteral("click"));
  SetScrollFromPoint(pointer.y());
  PaintDateBubble();
  event->accept();
}

void CTimeScrollBarUINew::mouseMoveEvent(QMouseEvent* event) {
  pointer = event->pos();
  if (isSliderDown()) {
    DateText() = GetDateAtPoint(std::clamp(pointer.y(), 0, height() - 1));
    Notify(QStringLiteral("click"));
    SetScrollFromPoint(pointer.y());
  }
  PaintDateBubble();
  update();
}

void CTimeScrollBarUINew::mouseReleaseEvent(QMouseEvent* event) {
  setSliderDown(false);
  if (!rect().contains(event->pos())) HideBubble();
  ShowForAWhile();
}

void CTimeScrollBarUINew::hideEvent(QHideEvent* event) {
  HideBubble();
  CScrollBarUI::hideEvent(event);
}

void CTimeScrollBarUINew::PaintDateBubble() {
  const QString text = GetDateAtPoint(std::clamp(pointer.y(), 0, std::max(0, height() - 1)));
  if (text.isEmpty()) return HideBubble();
  if (!bubble) bubble = new Bubble(*this, parentWidget());
  auto* shown = static_cast<Bubble*>(bubble);
  shown->text = text;
  const QPoint corner = mapTo(parentWidget(), QPoint(0, pointer.y()));
  const int wide = Scaled(kBubbleWidth);
  const bool mirrored = layoutDirection() == Qt::RightToLeft;
  const int x = mirrored ? corner.x() + width() + Scaled(kBubbleBefore - kBubbleWidth)
                         : corner.x() - Scaled(kBubbleBefore);
  shown->setGeometry(x, corner.y() - Scaled(kBubbleAbove), wide, Scaled(kBubbleHeight));
  shown->raise();
  shown->show();
  shown->update();
}

void CTimeScrollBarUINew::HideBubble() {
  if (bubble) bubble->hide();
}

void CTimeScrollBarUINew::paintEvent(QPaintEvent*) {
  if (strength == 0) return;
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setOpacity(strength);
  painter.setPen(Qt::NoPen);
  PaintRail(painter);
  PaintThumb(painter);
}

void CTimeScrollBarUINew::PaintRail(QPainter& painter) {
  if (!hot && !isSliderDown()) return;
  painter.setBrush(ColorOf(QStringLiteral("hover")));
  painter.drawRoundedRect(rect(), width() / 2.0, width() / 2.0);
}

void CTimeScrollBarUINew::PaintThumb(QPainter& painter) {
  const int drawn = Scaled(hot || isSliderDown() ? 8 : 6);
  QRect thumb = ThumbRect();
  thumb.setLeft((width() - drawn) / 2);
  thumb.setWidth(drawn);
  painter.setBrush(ColorOf(thumbColor));
  painter.drawRoundedRect(thumb, drawn / 2.0, drawn / 2.0);
}
