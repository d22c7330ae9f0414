#include "common/toolkit/buttonpainter.h"

#include <QPainter>
#include <QStyleOption>

#include "common/toolkit/button.h"
#include "common/toolkit/icons.h"
#include "common/toolkit/mix.h"
#include "common/toolkit/motion.h"
#include "common/toolkit/theme.h"
#include "common/toolkit/toolkit.h"

using namespace toolkit;

namespace buttonpainter {
namespace {

struct Shape {
  int height, width;  // least, at 100 %
  int start, end;     // free space inside
  int gap;            // between icon and words
};

// A button that a Qt dialog made itself counts as a plain one, its default one
// as the main one.
struct Face {
  const QStyleOptionButton& option;
  const QWidget* widget;
  const CButtonUI* button = dynamic_cast<const CButtonUI*>(widget);
  int scale = ScaleOf(widget);

  ButtonKind Kind() const {
    if (button) return button->Kind();
    return option.features & QStyleOptionButton::DefaultButton ? ButtonKind::Main : ButtonKind::Plain;
  }
  bool Has(QStyle::StateFlag flag) const { return option.state & flag; }
  bool IsOn() const { return Has(QStyle::State_On); }
  bool IsEnabled() const { return Has(QStyle::State_Enabled); }
  bool IsHot() const { return IsEnabled() && Has(QStyle::State_MouseOver); }
  bool IsDown() const { return IsEnabled() && Has(QStyle::State_Sunken); }
  bool IsChoice() const { return Kind() == ButtonKind::Choice; }
  bool IsFilled() const {
    if (!IsEnabled() && button && button->IsBareWhenOff()) return false;
    return Kind() == ButtonKind::Main || Kind() == ButtonKind::Danger || Kind() == ButtonKind::Plain ||
           IsChoice();
  }
  QString Icon() const { return button ? button->IconName() : QString(); }
  int IconSize() const { return Icon().isEmpty() ? 0 : button->IconSize(); }
  int Px(int pixels) const { return Scaled(pixels, scale); }
};

Shape ShapeOf(const Face& face) {
  const bool icon = !face.Icon().isEmpty();
  if (face.option.text.isEmpty() && icon) {
    const int side = face.Kind() == ButtonKind::Round ? 40 : 36;
    return {side, side, 0, 0, 0};
  }
  switch (face.Kind()) {
    case ButtonKind::Plain:
    case ButtonKind::Main:
    case ButtonKind::Danger:
      // A row has no room for the full width.
      if (face.widget && face.widget->maximumHeight() <= face.Px(32)) return {32, 0, 12, 12, 8};
      return icon ? Shape{36, 0, 12, 14, 8} : Shape{36, 88, 16, 16, 8};
    case ButtonKind::Tool:
    case ButtonKind::Icon:
    case ButtonKind::Round:
      return icon ? Shape{36, 36, 10, 12, 8} : Shape{36, 36, 12, 12, 8};
    case ButtonKind::Link:
      return {28, 0, 0, 0, 6};
    case ButtonKind::Chip:
      return icon ? Shape{28, 0, 12, 6, 6} : Shape{28, 0, 12, 12, 0};
    case ButtonKind::Album:
      return {40, 0, 11, 10, 12};
    case ButtonKind::Nav:
      return {56, 76, 0, 0, 4};
    case ButtonKind::Segment:
      return {28, 0, 12, 12, 6};
    case ButtonKind::Choice:
      return {32, 180, 12, 8, 8};
  }
  return {};
}

QColor Darker(const QColor& color, double part) {
  return QColor::fromRgbF(static_cast<float>(color.redF() * (1 - part)),
                          static_cast<float>(color.greenF() * (1 - part)),
                          static_cast<float>(color.blueF() * (1 - part)));
}

QColor Token(const char* name) { return Theme::Instance().Color(name); }

QColor FilledGround(const Face& face) {
  if (!face.IsEnabled()) return Token("hover");
  switch (face.Kind()) {
    case ButtonKind::Main:
      return Token(face.IsDown() ? "accent-press" : face.IsHot() ? "accent-hover" : "accent");
    case ButtonKind::Danger:
      return Darker(Token("danger-fill"), face.IsDown() ? 0.16 : face.IsHot() ? 0.08 : 0);
    default:
      return Mixed(Token("raised"), Token("text"), face.IsDown() ? 0.10 : face.IsHot() ? 0.05 : 0);
  }
}

QColor GroundOf(const Face& face) {
  if (face.IsFilled()) return FilledGround(face);
  if (face.Kind() == ButtonKind::Link || face.Kind() == ButtonKind::Nav) return {};
  if (face.Kind() == ButtonKind::Segment) return face.IsOn() ? Token("raised") : QColor();
  if (!face.IsEnabled()) return {};
  if (face.IsOn() || face.Kind() == ButtonKind::Chip) {
    if (face.IsDown()) return Darker(Token("tint-hover"), 0.04);
    return Token(face.IsHot() ? "tint-hover" : "tint");
  }
  if (face.Kind() == ButtonKind::Round) {
    return Mixed(Token("raised"), Token("text"), face.IsDown() ? 0.10 : face.IsHot() ? 0.05 : 0);
  }
  return face.IsDown() ? Token("press") : face.IsHot() ? Token("hover") : QColor();
}

QColor InkOf(const Face& face) {
  if (!face.IsEnabled()) return Token("text-off");
  switch (face.Kind()) {
    case ButtonKind::Main:
    case ButtonKind::Danger:
      return Token("on-dark");
    case ButtonKind::Link:
      return face.button && face.button->HasTextColor() ? face.button->TextColor()
                                                        : Token(face.IsDown() ? "accent-text" : "link");
    case ButtonKind::Chip:
      return Token("accent-text");
    case ButtonKind::Nav:
      return Token(face.IsOn() ? "accent-text" : "text-2");
    case ButtonKind::Segment:
      return Token(face.IsOn() ? "text" : "text-2");
    default:
      if (face.IsOn()) return Token("accent-text");
      return face.button ? face.button->TextColor() : Token("text");
  }
}

QColor IconInkOf(const Face& face) {
  const bool own = face.button && !face.button->IconColor().isEmpty();
  if (own && face.IsEnabled()) return CControlUI::ColorOf(face.button->IconColor());
  if (face.Kind() == ButtonKind::Album && face.IsEnabled() && !face.IsOn()) return Token("text-2");
  return InkOf(face);
}

int RadiusOf(const Face& face, const QRect& rect) {
  if (face.Kind() == ButtonKind::Round || face.Kind() == ButtonKind::Chip) return rect.height() / 2;
  return face.Px(rect.height() <= face.Px(28) ? 6 : 8);
}

void PaintGround(QPainter& painter, const Face& face) {
  const QRect rect = face.option.rect;
  const QColor ground = face.widget ? motion::Followed(*face.widget, GroundOf(face)) : GroundOf(face);
  const int radius = RadiusOf(face, rect);
  if (face.Kind() == ButtonKind::Segment && face.IsOn()) {
    const int edge = std::max(1, face.Px(2));
    PaintShadow(painter, rect.adjusted(edge, edge, -edge, -edge), radius, 1, face.scale);
  }
  painter.setPen(Qt::NoPen);
  painter.setBrush(ground.isValid() ? QBrush(ground) : QBrush(Qt::NoBrush));
  painter.drawRoundedRect(rect, radius, radius);
  const bool edged = face.IsEnabled() && (face.Kind() == ButtonKind::Plain || face.IsChoice() ||
                                          face.Kind() == ButtonKind::Round);
  if (!edged && !Theme::Instance().IsHighContrast()) return;
  if (face.Kind() == ButtonKind::Link || face.Kind() == ButtonKind::Album || face.Kind() == ButtonKind::Nav)
    return;
  QColor edge = Token("line-strong");
  if (!Theme::Instance().IsHighContrast()) edge.setAlphaF(face.Kind() == ButtonKind::Round ? 0.2f : 0.45f);
  PaintEdge(painter, rect, radius, std::max(1, face.Px(1)), edge);
}

void PaintWords(QPainter& painter, const Face& face, const QRect& rect, Qt::Alignment alignment) {
  QFont font = face.widget ? face.widget->font() : painter.font();
  if (face.IsOn() && (face.Kind() == ButtonKind::Album || face.Kind() == ButtonKind::Nav)) {
    font.setWeight(QFont::DemiBold);
  }
  font.setUnderline(face.Kind() == ButtonKind::Link && face.IsHot());
  painter.setFont(font);
  painter.setPen(InkOf(face));
  const QFontMetrics metrics(font);
  const QString words =
      metrics.elidedText(face.option.text, Qt::ElideRight, rect.width(), Qt::TextShowMnemonic);
  painter.drawText(rect,
                   static_cast<int>(alignment) | Qt::AlignVCenter | Qt::TextSingleLine | Qt::TextHideMnemonic,
                   words);
}

int WordsWidth(const Face& face) {
  const QString& text = face.option.text;
  return text.isEmpty() ? 0 : face.option.fontMetrics.size(Qt::TextShowMnemonic, text).width();
}

void PaintBadge(QPainter& painter, const Face& face) {
  if (!face.button || face.button->Badge() <= 0) return;
  QFont font = Theme::Instance().Font("nav-strong", face.scale);
  font.setPixelSize(face.Px(10));
  const QString words = QString::number(std::min(face.button->Badge(), 99));
  const int high = face.Px(16);
  const int wide = std::max(high, QFontMetrics(font).horizontalAdvance(words) + face.Px(8));
  QRect badge(face.Px(42), 0, wide, high);
  badge = QStyle::visualRect(face.option.direction, face.option.rect, badge);
  const int ring = face.Px(2);
  painter.setPen(Qt::NoPen);
  painter.setBrush(Token("nav"));
  painter.drawRoundedRect(badge.adjusted(-ring, -ring, ring, ring), high / 2 + ring, high / 2 + ring);
  painter.setBrush(Token("accent"));
  painter.drawRoundedRect(badge, high / 2, high / 2);
  painter.setFont(font);
  painter.setPen(Token("on-dark"));
  painter.drawText(badge, Qt::AlignCenter, words);
}

void PaintNav(QPainter& painter, const Face& face) {
  const QRect rect = face.option.rect;
  QRect pill(0, 0, face.Px(52), face.Px(32));
  pill.moveLeft(rect.left() + (rect.width() - pill.width()) / 2);
  painter.setPen(Qt::NoPen);
  const QColor ground = face.IsOn()     ? Token(face.IsHot() ? "tint-hover" : "tint")
                        : face.IsDown() ? Token("press")
                        : face.IsHot()  ? Token("hover")
                                        : QColor();
  if (ground.isValid()) {
    painter.setBrush(ground);
    painter.drawRoundedRect(pill, pill.height() / 2, pill.height() / 2);
  }
  QRect icon(0, 0, face.IconSize(), face.IconSize());
  icon.moveCenter(pill.center());
  icons::Paint(painter, face.Icon(), icon, IconInkOf(face), face.option.direction);
  const QRect words(rect.left(), pill.bottom() + 1 + face.Px(4), rect.width(), face.Px(14));
  PaintWords(painter, face, words, Qt::AlignHCenter);
  PaintBadge(painter, face);
}

// Icon and words beside each other; a chip and a choice have the icon at the end.
void PaintRow(QPainter& painter, const Face& face) {
  const Shape shape = ShapeOf(face);
  const QRect rect = face.option.rect;
  const int icon = face.IconSize(), gap = icon && !face.option.text.isEmpty() ? face.Px(shape.gap) : 0;
  const int room = rect.width() - face.Px(shape.start) - face.Px(shape.end) - icon - gap;
  const int words = std::min(WordsWidth(face) + 1, room);
  const bool fromStart =
      face.Kind() == ButtonKind::Album || face.Kind() == ButtonKind::Link || face.IsChoice();
  const int length = icon + gap + words;
  const int free = rect.width() - face.Px(shape.start) - face.Px(shape.end) - length;
  const int x = face.Px(shape.start) + (fromStart ? 0 : std::max(0, free / 2));
  const bool iconLast = face.Kind() == ButtonKind::Chip || face.IsChoice();
  const auto part = [&](int left, int wide, int high) {
    const QRect logical(rect.left() + left, rect.top() + (rect.height() - high) / 2, wide, high);
    return QStyle::visualRect(face.option.direction, rect, logical);
  };
  const int wordsWide = fromStart ? room : words;
  if (icon) {
    const QRect place = part(iconLast ? x + wordsWide + gap : x, icon, icon);
    icons::Paint(painter, face.Icon(), place, IconInkOf(face), face.option.direction);
  }
  if (!face.option.text.isEmpty()) {
    const Qt::Alignment side = QStyle::visualAlignment(face.option.direction, Qt::AlignLeft);
    PaintWords(painter, face, part(iconLast ? x : x + icon + gap, wordsWide, rect.height()), side);
  }
  if (face.Kind() == ButtonKind::Album && face.IsOn()) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(Token("accent"));
    painter.drawRoundedRect(part(0, face.Px(3), face.Px(20)), face.Px(2), face.Px(2));
  }
}

}  // namespace

void Paint(QPainter& painter, const QStyleOptionButton& option, const QWidget* widget) {
  const Face face{.option = option, .widget = widget};
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  PaintGround(painter, face);
  face.Kind() == ButtonKind::Nav ? PaintNav(painter, face) : PaintRow(painter, face);
  painter.restore();
}

QSize Size(const QStyleOptionButton& option, const QWidget* widget) {
  const Face face{.option = option, .widget = widget};
  const Shape shape = ShapeOf(face);
  if (face.Kind() == ButtonKind::Nav) return {face.Px(shape.width), face.Px(shape.height)};
  const int icon = face.IconSize(), words = WordsWidth(face);
  const int gap = icon && words ? face.Px(shape.gap) : 0;
  const int wide = face.Px(shape.start) + icon + gap + words + 2 + face.Px(shape.end);
  const int high = std::max(face.Px(shape.height), option.fontMetrics.height());
  return {std::max(wide, face.Px(shape.width)), high};
}

}  // namespace buttonpainter
