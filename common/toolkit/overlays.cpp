#include "common/toolkit/overlays.h"

#include <QAccessible>
#include <QApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QPainter>
#include <QTimerEvent>

#include "common/toolkit/motion.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/theme.h"
#include "common/toolkit/toolkit.h"

namespace motion = toolkit::motion;

namespace {

constexpr int kToastBottom = 32, kToastWidest = 560, kToastHigh = 44;
constexpr int kToastRadius = 12, kBubbleArrow = 6, kBubbleWidest = 340, kBubbleMargin = 8;

bool ChangesPlace(const QEvent& event) {
  return event.type() == QEvent::Resize || event.type() == QEvent::Move || event.type() == QEvent::Show ||
         event.type() == QEvent::LayoutDirectionChange;
}

void Alert(QWidget& widget, const QString& words) {
  widget.setAccessibleName(words);
  QAccessibleEvent told(&widget, QAccessible::Alert);
  QAccessible::updateAccessibility(&told);
}

CButtonUI* MakeClose(QWidget& parent) {
  const auto close = new CButtonUI(&parent);
  close->ApplyAttributeList(
      R"(style="icon" icon="close" iconsize="16" iconcolor="on-dark" width="28" height="28")");
  close->SetText("IDS_TOOLKIT_CLOSE");
  return close;
}

}  // namespace

// --- Shadow -----------------------------------------------------------------

ShadowUI::ShadowUI(QWidget& widget, int cornerRadius, int shadowLevel)
    : CWidgetUI(widget.parentWidget()), caster(widget), radius(cornerRadius), level(shadowLevel) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
  connect(&caster, &QObject::destroyed, this, &QObject::deleteLater);
  caster.installEventFilter(this);
  Follow();
}

void ShadowUI::Follow() {
  const int margin = toolkit::ShadowMargin(level, GetScale());
  setGeometry(caster.geometry().adjusted(-margin, -margin, margin, margin));
  setVisible(!caster.isHidden());
  stackUnder(&caster);
}

bool ShadowUI::eventFilter(QObject*, QEvent* event) {
  if (ChangesPlace(*event) || event->type() == QEvent::Hide || event->type() == QEvent::ZOrderChange)
    Follow();
  return false;
}

void ShadowUI::PaintBkImage(QPainter& painter) {
  const int margin = toolkit::ShadowMargin(level, GetScale());
  toolkit::PaintShadow(painter, rect().adjusted(margin, margin, -margin, -margin), Scaled(radius), level,
                       GetScale());
}

// --- Dim layer --------------------------------------------------------------

DimLayer::DimLayer(QWidget& covered) : CWidgetUI(&covered) {
  setGeometry(covered.rect());
  covered.installEventFilter(this);
  show();
  raise();
  motion::Appear(*this, motion::kDialogMs);
}

bool DimLayer::eventFilter(QObject* watched, QEvent* event) {
  if (watched == parentWidget() && event->type() == QEvent::Resize) setGeometry(parentWidget()->rect());
  return false;
}

void DimLayer::PaintBkImage(QPainter& painter) {
  QColor color = Theme::Instance().Color("dim");
  // The page would be gone altogether without translucency.
  if (color.alpha() == 255) color.setAlphaF(0.75f);
  painter.fillRect(rect(), color);
}

void DimLayer::DoEvent(TEventUI& event) {
  const bool leaves = event.Type == EventType::MouseEnter || event.Type == EventType::MouseLeave ||
                      event.Type == EventType::SetFocus || event.Type == EventType::KillFocus;
  event.handled = !leaves;
}

// --- Toast ------------------------------------------------------------------

Toast* Toast::Show(QWidget& page, const Contents& contents) {
  for (QObject* child : page.children()) {
    if (const auto before = dynamic_cast<Toast*>(child)) before->Dismiss();
  }
  return new Toast(page, contents);
}

Toast::Toast(QWidget& page, const Contents& contents) : CWidgetUI(&page) {
  lasts = contents.action.isEmpty() ? kShownMs : kShownWithActionMs;
  Build(contents);
  new ShadowUI(*this, kToastRadius, 2);
  page.installEventFilter(this);
  connect(qApp, &QApplication::focusChanged, this, &Toast::RunClock);
  Place();
  show();
  raise();
  motion::Appear(*this, motion::kToastMs, {.offset = {0, Scaled(motion::kToastWay)}});
  RunClock();
  Alert(*this, CResourceManager::GetText(contents.sentence));
}

void Toast::Build(const Contents& contents) {
  const auto row = new QHBoxLayout(this);
  row->setContentsMargins(Scaled(16), Scaled(8), Scaled(12), Scaled(8));
  row->setSpacing(Scaled(12));
  if (!contents.icon.isEmpty()) {
    const auto icon = new CLabelUI(this);
    icon->SetIcon(contents.icon, 20, contents.iconColor);
    row->addWidget(icon);
  }
  const auto sentence = new CLabelUI(this);
  sentence->ApplyAttributeList(R"(font="body" textcolor="on-dark" wrap="false")");
  sentence->SetText(contents.sentence);
  row->addWidget(sentence, 1);
  if (!contents.action.isEmpty()) {
    const auto action = new CButtonUI(this);
    action->ApplyAttributeList(R"(style="link" font="strong" textcolor="dim-toast-link")");
    action->SetName(QStringLiteral("toast_action"));
    action->SetText(contents.action);
    connect(action, &QPushButton::clicked, this, [this, run = contents.onAction] {
      Dismiss();
      if (run) run();
    });
    row->addWidget(action);
  }
  const auto close = MakeClose(*this);
  connect(close, &QPushButton::clicked, this, &Toast::Dismiss);
  row->addWidget(close);
}

void Toast::Place() {
  const QWidget& page = *parentWidget();
  const int widest = std::min(Scaled(kToastWidest), page.width() - Scaled(2 * 16));
  const int wide = std::min(sizeHint().width(), widest),
            high = std::max(sizeHint().height(), Scaled(kToastHigh));
  setGeometry((page.width() - wide) / 2, page.height() - Scaled(kToastBottom) - high, wide, high);
}

void Toast::Dismiss() {
  clock.stop();
  if (isVisible()) motion::Vanish(*this, motion::kToastOutMs, {.offset = {0, Scaled(motion::kToastWay)}});
  hide();
  deleteLater();
}

// Its button may hold the focus: that it goes is told while the toast is none any more.
Toast::~Toast() { disconnect(qApp, nullptr, this, nullptr); }

// Runs while neither pointer nor focus is here.
void Toast::RunClock() {
  const QWidget* focus = QApplication::focusWidget();
  const bool held = underMouse() || (focus && isAncestorOf(focus));
  if (held) {
    clock.stop();
  } else if (!clock.isActive() && !isHidden()) {
    clock.start(lasts, this);
  }
}

bool Toast::event(QEvent* event) {
  const bool done = CWidgetUI::event(event);
  if (event->type() == QEvent::Enter || event->type() == QEvent::Leave) RunClock();
  return done;
}

bool Toast::eventFilter(QObject* watched, QEvent* event) {
  if (watched == parentWidget() && event->type() == QEvent::Resize) Place();
  return false;
}

void Toast::timerEvent(QTimerEvent* event) {
  if (event->timerId() == clock.timerId()) return Dismiss();
  CWidgetUI::timerEvent(event);
}

void Toast::PaintBkImage(QPainter& painter) {
  painter.setPen(Qt::NoPen);
  painter.setBrush(Theme::Instance().Color("dim-toast"));
  painter.drawRoundedRect(rect(), Scaled(kToastRadius), Scaled(kToastRadius));
}

// --- Bubble -----------------------------------------------------------------

Bubble* Bubble::Show(QWidget& anchor, const QString& words, BubbleKind kind, bool closable) {
  const auto bubble = new Bubble(anchor, kind, closable);
  bubble->SetWords(words);
  bubble->show();
  bubble->raise();
  const int way = bubble->Scaled(motion::kPopupWay);
  motion::Appear(*bubble, motion::kPopupMs, {.offset = {0, bubble->above ? -way : way}});
  return bubble;
}

Bubble::Bubble(QWidget& target, BubbleKind bubbleKind, bool closable)
    : CWidgetUI(target.window()), anchor(&target), kind(bubbleKind) {
  const auto row = new QHBoxLayout(this);
  row->setSpacing(Scaled(8));
  label = new CLabelUI(this);
  label->ApplyAttributeList(R"(font="small" textcolor="on-dark" wrap="true")");
  row->addWidget(label, 1);
  if (closable) {
    const auto close = MakeClose(*this);
    connect(close, &QPushButton::clicked, this, &Bubble::Dismiss);
    row->addWidget(close, 0, Qt::AlignTop);
  }
  target.installEventFilter(this);
  connect(&target, &QObject::destroyed, this, &QObject::deleteLater);
}

QString Bubble::Words() const { return label->GetText(); }

void Bubble::SetWords(const QString& words) {
  label->SetText(words);
  Place();
  Alert(*this, label->GetText());
}

void Bubble::Dismiss() {
  if (isVisible()) motion::Vanish(*this, motion::kPopupMs);
  hide();
  deleteLater();
}

void Bubble::Place() {
  if (!anchor) return;
  const QWidget& page = *parentWidget();
  const QRect at(anchor->mapTo(&page, QPoint()), anchor->size());
  const int arrow = Scaled(kBubbleArrow), side = Scaled(12);
  layout()->setContentsMargins(side, Scaled(8) + arrow, side, Scaled(8) + arrow);
  // As wide as one line wants, up to the limit; then as high as the lines.
  const int words = label->fontMetrics().horizontalAdvance(label->text()) + 2;
  const int rest = layout()->sizeHint().width() - label->sizeHint().width();
  const int wide = std::min({words + rest, Scaled(kBubbleWidest), page.width()});
  const int high =
      layout()->hasHeightForWidth() ? layout()->heightForWidth(wide) : layout()->sizeHint().height();
  above = at.bottom() + high > page.height() && at.top() >= high;
  const int start = isRightToLeft() ? at.right() + 1 - wide : at.left();
  const int margin = Scaled(kBubbleMargin);
  const int x = std::clamp(start, margin, std::max(margin, page.width() - wide - margin));
  arrowX = std::clamp(at.center().x() - x, side + arrow, std::max(side + arrow, wide - side - arrow));
  if (at.width() > 2 * wide) arrowX = isRightToLeft() ? wide - 2 * side : 2 * side;
  setGeometry(x, above ? at.top() - high : at.bottom() + 1, wide, high);
}

bool Bubble::eventFilter(QObject* watched, QEvent* event) {
  if (watched != anchor) return false;
  if (event->type() == QEvent::Hide) Dismiss();
  if (ChangesPlace(*event)) Place();
  return false;
}

void Bubble::PaintBkImage(QPainter& painter) {
  const char* token = kind == BubbleKind::Accent  ? "accent"
                      : kind == BubbleKind::Error ? "danger-fill"
                                                  : "dim-toast";
  const int arrow = Scaled(kBubbleArrow);
  const QRect body = rect().adjusted(0, arrow, 0, -arrow);
  painter.setPen(Qt::NoPen);
  painter.setBrush(Theme::Instance().Color(token));
  painter.drawRoundedRect(body, Scaled(8), Scaled(8));
  const int base = above ? body.bottom() + 1 : body.top(), tip = above ? base + arrow : base - arrow;
  painter.drawPolygon(
      QPolygon{{QPoint(arrowX - arrow, base), QPoint(arrowX + arrow, base), QPoint(arrowX, tip)}});
}
