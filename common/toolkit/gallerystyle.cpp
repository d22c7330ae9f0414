#include "common/toolkit/gallerystyle.h"

#include <QFocusFrame>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QSlider>
#include <QStyleOption>
#include <QToolTip>

#include "common/toolkit/button.h"
#include "common/toolkit/buttonpainter.h"
#include "common/toolkit/compositor.h"
#include "common/toolkit/edit.h"
#include "common/toolkit/icons.h"
#include "common/toolkit/mix.h"
#include "common/toolkit/motion.h"
#include "common/toolkit/scrollbar.h"
#include "common/toolkit/slider.h"
#include "common/toolkit/theme.h"
#include "common/toolkit/toolkit.h"

using namespace toolkit;

namespace {

// At 100 %.
constexpr int kRingDistance = 2, kRingWidth = 2;
constexpr int kKnob = 16, kHotKnob = 18, kTrack = 3;
constexpr int kThumb = 6, kHotThumb = 8, kShortestThumb = 32;
constexpr int kPopupRadius = 12;
constexpr int kMenuItem = 34, kMenuPadding = 6, kMenuIcon = 18;
constexpr int kIndicator = 18, kSwitchWide = 40, kSwitchHigh = 22;

QColor Token(const char* name) { return Theme::Instance().Color(name); }

bool IsSwitch(const QWidget* widget) {
  const auto box = dynamic_cast<const CCheckBoxUI*>(widget);
  return box && box->IsSwitch();
}

struct State {
  explicit State(const QStyleOption& option) : flags(option.state) {}
  bool Has(QStyle::StateFlag flag) const { return flags & flag; }
  bool Enabled() const { return Has(QStyle::State_Enabled); }
  bool Hot() const { return Enabled() && Has(QStyle::State_MouseOver); }
  bool Down() const { return Enabled() && Has(QStyle::State_Sunken); }
  bool On() const { return Has(QStyle::State_On); }
  QStyle::State flags;
};

// Opens a painter state for round shapes without an outline.
class Fresh {
 public:
  explicit Fresh(QPainter& target) : painter(target) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
  }
  ~Fresh() { painter.restore(); }
  Fresh(const Fresh&) = delete;
  Fresh& operator=(const Fresh&) = delete;

 private:
  QPainter& painter;
};

QColor OnColor(const State& state) {
  return Token(state.Down() ? "accent-press" : state.Hot() ? "accent-hover" : "accent");
}

void PaintCheck(QPainter& painter, const QStyleOption& option, int scale) {
  const State state(option);
  painter.setOpacity(state.Enabled() ? 1 : 0.45);
  const double radius = ScaledF(5, scale);
  const bool partly = state.Has(QStyle::State_NoChange);
  painter.setBrush(state.On() || partly ? OnColor(state) : Token("field"));
  painter.drawRoundedRect(option.rect, radius, radius);
  if (state.On() || partly) {
    icons::Paint(painter, partly ? "minus" : "check", option.rect.adjusted(1, 1, -1, -1), Token("on-dark"));
    return;
  }
  const QColor edge = Token(state.Down() ? "accent-press" : state.Hot() ? "text-2" : "line-strong");
  PaintEdge(painter, option.rect, radius, ScaledF(1.5, scale), edge);
}

void PaintRadio(QPainter& painter, const QStyleOption& option, int scale) {
  const State state(option);
  painter.setOpacity(state.Enabled() ? 1 : 0.45);
  const double radius = option.rect.height() / 2.0;
  painter.setBrush(state.On() ? QColor(Qt::white) : Token("field"));
  painter.drawEllipse(option.rect);
  const QColor rest = Token(state.Down() ? "accent-press" : state.Hot() ? "text-2" : "line-strong");
  PaintEdge(painter, option.rect, radius, ScaledF(state.On() ? 5.5 : 1.5, scale),
            state.On() ? OnColor(state) : rest);
}

void PaintSwitch(QPainter& painter, const QStyleOption& option, int scale) {
  const State state(option);
  painter.setOpacity(state.Enabled() ? 1 : 0.4);
  const QRect rect = option.rect;
  painter.setBrush(state.On() ? OnColor(state) : Token("line-strong"));
  painter.drawRoundedRect(rect, rect.height() / 2.0, rect.height() / 2.0);
  const int inset = Scaled(3, scale), knob = rect.height() - 2 * inset;
  const int left = state.On() ? rect.width() - inset - knob : inset;
  const QRect place(rect.left() + left, rect.top() + inset, knob, knob);
  painter.setBrush(Qt::white);
  painter.drawEllipse(QStyle::visualRect(option.direction, rect, place));
}

void PaintField(QPainter& painter, const QStyleOption& option, const QWidget* widget) {
  const State state(option);
  const int scale = ScaleOf(widget);
  const auto edit = dynamic_cast<const CEditUI*>(widget);
  const bool error = edit && edit->HasError(), focus = state.Has(QStyle::State_HasFocus);
  const double radius = ScaledF(option.rect.height() <= Scaled(28, scale) ? 6 : 8, scale);
  painter.setBrush(Token("field"));
  painter.drawRoundedRect(option.rect, radius, radius);
  const QColor edge = !state.Enabled() ? Token("line")
                      : error          ? Token("danger")
                      : focus          ? Token("focus")
                      : state.Hot()    ? Token("text-2")
                                       : Token("line-strong");
  PaintEdge(painter, option.rect, radius, std::max(1.0, ScaledF(error || focus ? 2 : 1, scale)), edge);
}

// What the ring goes around, in the widget: the knob of a slider, the box of a
// check box without words, else all of it.
QRect RingTarget(const QWidget& framed, const QStyle& style) {
  const auto button = qobject_cast<const QAbstractButton*>(&framed);
  if (button && button->text().isEmpty() && !qobject_cast<const QPushButton*>(&framed)) {
    QStyleOptionButton option;
    option.initFrom(&framed);
    const bool radio = qobject_cast<const QRadioButton*>(&framed);
    return style.subElementRect(radio ? QStyle::SE_RadioButtonIndicator : QStyle::SE_CheckBoxIndicator,
                                &option, &framed);
  }
  const auto slider = dynamic_cast<const CSliderUI*>(&framed);
  return slider ? slider->KnobRect() : framed.rect();
}

void PaintRing(QPainter& painter, const QStyleOption& option, const QWidget* widget, const QStyle& style) {
  const auto frame = qobject_cast<const QFocusFrame*>(widget);
  if (!frame || !frame->widget()) return;
  const QWidget& framed = *frame->widget();
  const int scale = ScaleOf(&framed);
  const int ring = Scaled(kRingWidth, scale), out = Scaled(kRingDistance + kRingWidth, scale);
  const QRect target = RingTarget(framed, style).translated(option.rect.topLeft() + QPoint(out, out));
  const QRect rect = target.adjusted(-out, -out, out, out) & option.rect;
  const QVariant own = framed.property("radius");
  const int inner = Scaled(own.isValid() ? own.toInt() : 8, scale);
  const double radius = std::min(inner + out, std::min(rect.width(), rect.height()) / 2);
  PaintEdge(painter, rect, radius, ring, Token("focus"));
}

// --- Menus --------------------------------------------------------------------

void PaintMenuGround(QPainter& painter, const QRect& rect, const QWidget* widget) {
  const int scale = ScaleOf(widget);
  const double radius = widget && widget->isWindow() ? ScaledF(kPopupRadius, scale) : 0;
  painter.setBrush(Token("raised"));
  painter.drawRoundedRect(rect, radius, radius);
  PaintEdge(painter, rect, radius, std::max(1, Scaled(1, scale)), Token("line"));
}

void PaintMenuItem(QPainter& painter, const QStyleOptionMenuItem& item, const QWidget* widget) {
  const int scale = ScaleOf(widget);
  const auto px = [scale](int pixels) { return Scaled(pixels, scale); };
  const QRect rect = item.rect;
  if (item.menuItemType == QStyleOptionMenuItem::Separator) {
    const int line = std::max(1, px(1));
    painter.fillRect(rect.left() + px(4), rect.center().y(), rect.width() - px(8), line, Token("line"));
    return;
  }
  const State state(item);
  if (state.Has(QStyle::State_Selected) && state.Enabled()) {
    painter.setBrush(Token(state.Down() ? "press" : "hover"));
    painter.drawRoundedRect(rect, px(6), px(6));
  }
  const auto part = [&](int left, int wide) {
    return QStyle::visualRect(item.direction, rect,
                              QRect(rect.left() + left, rect.top(), wide, rect.height()));
  };
  const auto menu = qobject_cast<const QMenu*>(widget);
  QAction* const action = menu ? menu->actionAt(rect.center()) : nullptr;
  const bool danger = action && action->property("danger").toBool();
  const QColor ink = Token(!state.Enabled() ? "text-off" : danger ? "danger-text" : "text");
  const QRect icon = part(px(10), px(kMenuIcon));
  const bool marked = item.checkType != QStyleOptionMenuItem::NotCheckable;
  if (marked && item.checked) icons::Paint(painter, "check", icon, ink);
  if (!marked && !item.icon.isNull()) {
    item.icon.paint(&painter, icon, Qt::AlignCenter, state.Enabled() ? QIcon::Normal : QIcon::Disabled);
  }
  const int start = px(10) + (marked || item.maxIconWidth > 0 ? px(kMenuIcon + 12) : 0);
  const QRect words = part(start, rect.width() - start - px(12));
  painter.setFont(item.font);
  painter.setPen(ink);
  const QString text = item.text.section('\t', 0, 0), keys = item.text.section('\t', 1, 1);
  const int flags = Qt::AlignVCenter | Qt::TextSingleLine | Qt::TextHideMnemonic;
  const auto side = [&item](Qt::Alignment a) {
    return static_cast<int>(QStyle::visualAlignment(item.direction, a));
  };
  painter.drawText(words, flags | side(Qt::AlignLeft), text);
  if (keys.isEmpty()) return;
  painter.setFont(Theme::Instance().Font("small", scale));
  painter.setPen(Token("text-2"));
  painter.drawText(words, flags | side(Qt::AlignRight), keys);
}

QSize MenuItemSize(const QStyleOptionMenuItem& item, const QWidget* widget) {
  const int scale = ScaleOf(widget);
  if (item.menuItemType == QStyleOptionMenuItem::Separator) return {1, Scaled(13, scale)};
  const QFontMetrics metrics(item.font);
  const bool icon = item.maxIconWidth > 0 || item.checkType != QStyleOptionMenuItem::NotCheckable;
  const QString text = item.text.section('\t', 0, 0), keys = item.text.section('\t', 1, 1);
  int wide = Scaled(22, scale) + metrics.size(Qt::TextShowMnemonic, text).width() + 2;
  if (icon) wide += Scaled(kMenuIcon + 12, scale);
  if (!keys.isEmpty()) wide += Scaled(24, scale) + metrics.horizontalAdvance(keys);
  return {std::max(wide, Scaled(168, scale)), std::max(Scaled(kMenuItem, scale), metrics.height())};
}

// --- Sliders and scroll bars ---------------------------------------------------

QRect SliderKnob(const QStyleOptionSlider& option, int size) {
  const bool across = option.orientation == Qt::Horizontal;
  const int length = across ? option.rect.width() : option.rect.height();
  const int at = QStyle::sliderPositionFromValue(option.minimum, option.maximum, option.sliderPosition,
                                                 length - size, option.upsideDown);
  const int side = across ? (option.rect.height() - size) / 2 : (option.rect.width() - size) / 2;
  return QRect(across ? at : side, across ? side : at, size, size).translated(option.rect.topLeft());
}

void PaintStops(QPainter& painter, const QStyleOptionSlider& option, int scale, double knob) {
  const int count = option.maximum - option.minimum;
  const double dot = ScaledF(3, scale), y = option.rect.center().y() + ScaledF(7.5, scale);
  QColor color = Token("line-strong");
  color.setAlphaF(0.7f);
  painter.setBrush(color);
  for (int i = 0; count > 0 && i <= count; ++i) {
    const double x = knob / 2 + (option.rect.width() - knob) * i / count;
    painter.drawEllipse(QPointF(x, y), dot / 2, dot / 2);
  }
}

constexpr float kRailAlpha = 0.3F;

void PaintSlider(QPainter& painter, const QStyleOptionSlider& option, const QWidget* widget) {
  const int scale = ScaleOf(widget);
  const State state(option);
  const bool across = option.orientation == Qt::Horizontal;
  const double hit = Scaled(kHotKnob, scale);
  const QPointF knob = QRectF(SliderKnob(option, Scaled(kHotKnob, scale))).center();
  const QRectF rect(option.rect);
  const double half = ScaledF(kTrack, scale) / 2;
  painter.setOpacity(state.Enabled() ? 1 : 0.4);
  QRectF track = across ? QRectF(hit / 2, rect.center().y() - half, rect.width() - hit, 2 * half)
                        : QRectF(rect.center().x() - half, hit / 2, 2 * half, rect.height() - hit);
  const auto slider = dynamic_cast<const CSliderUI*>(widget);
  QColor rail = Token("slider-track");
  if (slider && slider->HasTextColor()) (rail = slider->TextColor()).setAlphaF(kRailAlpha);
  painter.setBrush(rail);
  painter.drawRoundedRect(track, half, half);
  if (across) {
    option.upsideDown ? track.setLeft(knob.x()) : track.setRight(knob.x());
  } else {
    option.upsideDown ? track.setTop(knob.y()) : track.setBottom(knob.y());
  }
  painter.setBrush(Token("accent"));
  painter.drawRoundedRect(track, half, half);
  if (slider && slider->HasStops() && across) PaintStops(painter, option, scale, hit);
  const auto widgetSlider = qobject_cast<const QSlider*>(widget);
  const bool down = state.Enabled() && widgetSlider && widgetSlider->isSliderDown();
  const bool large = state.Hot() || down;
  const double radius = ScaledF(large ? kHotKnob : kKnob, scale) / 2;
  painter.setOpacity(1);
  // A see-through knob would show the line below it.
  const QColor body = Theme::Instance().IsDark() ? Token("text") : Token("raised");
  const double fade = state.Enabled() ? 1 : 0.4;
  painter.setBrush(Mixed(Token("page"), body, fade));
  const QColor edge = Token(down ? "accent" : "line-strong");
  painter.setPen(QPen(Mixed(Token("page"), edge, fade), std::max(1.0, ScaledF(1, scale))));
  painter.drawEllipse(knob, radius - 0.5, radius - 0.5);
}

QRect ScrollThumb(const QStyleOptionSlider& option, const QWidget* widget) {
  const bool across = option.orientation == Qt::Horizontal;
  const QRect rect = option.rect;
  const int length = across ? rect.width() : rect.height(), scale = ScaleOf(widget);
  const auto bar = dynamic_cast<const CScrollBarUI*>(widget);
  const qint64 range = qint64{option.maximum} - option.minimum;
  int thumb = length;
  if (range > 0) {
    const qint64 part = qint64{option.pageStep} * length / (range + option.pageStep);
    thumb = bar && bar->ThumbSize() > 0 ? Scaled(bar->ThumbSize(), scale)
                                        : std::max(static_cast<int>(part), Scaled(kShortestThumb, scale));
  }
  thumb = std::min(thumb, length);
  const int at = QStyle::sliderPositionFromValue(option.minimum, option.maximum, option.sliderPosition,
                                                 length - thumb, option.upsideDown);
  return across ? QRect(rect.left() + at, rect.top(), thumb, rect.height())
                : QRect(rect.left(), rect.top() + at, rect.width(), thumb);
}

void PaintScrollBar(QPainter& painter, const QStyleOptionSlider& option, const QWidget* widget) {
  const int scale = ScaleOf(widget);
  const State state(option);
  const bool hot = state.Hot() || state.Down(), across = option.orientation == Qt::Horizontal;
  if (hot) {
    QColor rail = Token("text");
    rail.setAlphaF(0.07f);
    painter.setBrush(rail);
    const double round = std::min(option.rect.width(), option.rect.height()) / 2.0;
    painter.drawRoundedRect(option.rect, round, round);
  }
  if (option.maximum <= option.minimum) return;
  const QRectF place = ScrollThumb(option, widget);
  const double wide = ScaledF(hot ? kHotThumb : kThumb, scale);
  const double side = ((across ? place.height() : place.width()) - wide) / 2;
  const QRectF thumb = across ? place.adjusted(0, side, 0, -side) : place.adjusted(side, 0, -side, 0);
  painter.setBrush(Token(hot ? "line-strong" : "thumb"));
  painter.drawRoundedRect(thumb, wide / 2, wide / 2);
}

// The mask of a popup whose corners cannot be see-through; nothing for others.
int CutCorners(const QWidget* widget, QStyleHintReturn* data) {
  auto* mask = qstyleoption_cast<QStyleHintReturnMask*>(data);
  if (!widget || !mask || widget->testAttribute(Qt::WA_TranslucentBackground)) return 0;
  const double radius = ScaledF(kPopupRadius, ScaleOf(widget));
  QPainterPath round;
  round.addRoundedRect(widget->rect(), radius, radius);
  mask->region = QRegion(round.toFillPolygon().toPolygon());
  return 1;
}

}  // namespace

GalleryStyle::GalleryStyle() : QProxyStyle("Fusion") {}

void GalleryStyle::polish(QWidget* widget) {
  QProxyStyle::polish(widget);
  const bool field = qobject_cast<QLineEdit*>(widget);
  // The edge of a field is its ring.
  if (field) widget->setProperty("ownring", true);
  if (field || qobject_cast<QMenu*>(widget)) widget->setAttribute(Qt::WA_Hover);
  if (qobject_cast<QMenu*>(widget) || widget->inherits("QTipLabel")) {
    motion::LetPopUp(*widget);
    widget->setWindowFlag(Qt::FramelessWindowHint);
    // See-through corners would be black: a mask cuts them then.
    widget->setAttribute(Qt::WA_TranslucentBackground, HasCompositor());
  }
}

void GalleryStyle::polish(QPalette& palette) {
  const auto set = [&palette](QPalette::ColorRole role, const char* token, const char* off = nullptr) {
    palette.setColor(role, Token(token));
    if (off) palette.setColor(QPalette::Disabled, role, Token(off));
  };
  set(QPalette::Window, "page");
  set(QPalette::WindowText, "text", "text-off");
  set(QPalette::Base, "field");
  set(QPalette::AlternateBase, "panel");
  set(QPalette::Text, "text", "text-off");
  set(QPalette::Button, "raised");
  set(QPalette::ButtonText, "text", "text-off");
  set(QPalette::BrightText, "on-dark");
  set(QPalette::Highlight, "accent", "text-off");
  set(QPalette::HighlightedText, "on-dark");
  set(QPalette::PlaceholderText, "text-2", "text-off");
  set(QPalette::Link, "link");
  set(QPalette::LinkVisited, "link");
  set(QPalette::ToolTipBase, "dim-toast");
  set(QPalette::ToolTipText, "on-dark");
  set(QPalette::Mid, "line-strong");
  set(QPalette::Light, "raised");
  set(QPalette::Dark, "line-strong");
}

void GalleryStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                               const QWidget* widget) const {
  const Fresh fresh(*painter);
  switch (element) {
    case CE_PushButton:
      return buttonpainter::Paint(*painter, *qstyleoption_cast<const QStyleOptionButton*>(option), widget);
    case CE_MenuItem:
      return PaintMenuItem(*painter, *qstyleoption_cast<const QStyleOptionMenuItem*>(option), widget);
    case CE_MenuEmptyArea:
      return;
    case CE_FocusFrame:
      return PaintRing(*painter, *option, widget, *this);
    default:
      return QProxyStyle::drawControl(element, option, painter, widget);
  }
}

void GalleryStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                 const QWidget* widget) const {
  const Fresh fresh(*painter);
  switch (element) {
    case PE_IndicatorCheckBox:
      return IsSwitch(widget) ? PaintSwitch(*painter, *option, ScaleOf(widget))
                              : PaintCheck(*painter, *option, ScaleOf(widget));
    case PE_IndicatorRadioButton:
      return PaintRadio(*painter, *option, ScaleOf(widget));
    case PE_PanelLineEdit:
      return PaintField(*painter, *option, widget);
    case PE_FrameLineEdit:
    case PE_FrameFocusRect:
    case PE_FrameMenu:
      return;
    case PE_PanelMenu:
      return PaintMenuGround(*painter, option->rect, widget);
    case PE_PanelTipLabel:
      painter->setBrush(Token("dim-toast"));
      painter->drawRoundedRect(option->rect, Scaled(6, ScaleOf(widget)), Scaled(6, ScaleOf(widget)));
      return;
    default:
      return QProxyStyle::drawPrimitive(element, option, painter, widget);
  }
}

void GalleryStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                                      QPainter* painter, const QWidget* widget) const {
  const Fresh fresh(*painter);
  const auto slider = qstyleoption_cast<const QStyleOptionSlider*>(option);
  if (control == CC_Slider && slider) return PaintSlider(*painter, *slider, widget);
  if (control == CC_ScrollBar && slider) return PaintScrollBar(*painter, *slider, widget);
  QProxyStyle::drawComplexControl(control, option, painter, widget);
}

QRect GalleryStyle::subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                                   const QWidget* widget) const {
  const auto slider = qstyleoption_cast<const QStyleOptionSlider*>(option);
  if (control == CC_Slider && slider) {
    return part == SC_SliderHandle ? SliderKnob(*slider, Scaled(kHotKnob, ScaleOf(widget))) : option->rect;
  }
  if (control != CC_ScrollBar || !slider) return QProxyStyle::subControlRect(control, option, part, widget);
  const QRect rect = option->rect, thumb = ScrollThumb(*slider, widget);
  const bool across = slider->orientation == Qt::Horizontal;
  switch (part) {
    case SC_ScrollBarSlider:
      return thumb;
    case SC_ScrollBarGroove:
      return rect;
    case SC_ScrollBarSubPage:
      return across ? QRect(rect.topLeft(), QPoint(thumb.left() - 1, rect.bottom()))
                    : QRect(rect.topLeft(), QPoint(rect.right(), thumb.top() - 1));
    case SC_ScrollBarAddPage:
      return across ? QRect(QPoint(thumb.right() + 1, rect.top()), rect.bottomRight())
                    : QRect(QPoint(rect.left(), thumb.bottom() + 1), rect.bottomRight());
    default:
      return {};  // No buttons at the ends.
  }
}

QRect GalleryStyle::subElementRect(SubElement element, const QStyleOption* option,
                                   const QWidget* widget) const {
  if (element == SE_LineEditContents) {
    const int scale = ScaleOf(widget);
    const int side = Scaled(option->rect.height() <= Scaled(28, scale) ? 6 : 10, scale);
    return option->rect.adjusted(side, 0, -side, 0);
  }
  if (element == SE_PushButtonContents || element == SE_PushButtonFocusRect) return option->rect;
  return QProxyStyle::subElementRect(element, option, widget);
}

QSize GalleryStyle::sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                                     const QWidget* widget) const {
  const int scale = ScaleOf(widget);
  switch (type) {
    case CT_PushButton:
      return buttonpainter::Size(*qstyleoption_cast<const QStyleOptionButton*>(option), widget);
    case CT_MenuItem:
      return MenuItemSize(*qstyleoption_cast<const QStyleOptionMenuItem*>(option), widget);
    case CT_LineEdit:
      return {size.width() + Scaled(24, scale),
              std::max(Scaled(36, scale), size.height() + Scaled(8, scale))};
    case CT_Slider:
      return size.expandedTo({Scaled(36, scale), Scaled(36, scale)});
    case CT_CheckBox:
    case CT_RadioButton: {
      const QSize known = QProxyStyle::sizeFromContents(type, option, size, widget);
      return known.expandedTo({Scaled(28, scale), Scaled(28, scale)});
    }
    default:
      return QProxyStyle::sizeFromContents(type, option, size, widget);
  }
}

int GalleryStyle::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const {
  const int scale = ScaleOf(widget);
  switch (metric) {
    case PM_IndicatorWidth:
      return Scaled(IsSwitch(widget) ? kSwitchWide : kIndicator, scale);
    case PM_IndicatorHeight:
      return Scaled(IsSwitch(widget) ? kSwitchHigh : kIndicator, scale);
    case PM_ExclusiveIndicatorWidth:
    case PM_ExclusiveIndicatorHeight:
      return Scaled(kIndicator, scale);
    case PM_CheckBoxLabelSpacing:
    case PM_RadioButtonLabelSpacing:
      return Scaled(10, scale);
    case PM_SliderThickness:
      return Scaled(36, scale);
    case PM_SliderLength:
      return Scaled(kHotKnob, scale);
    case PM_SliderSpaceAvailable:
      if (const auto slider = qstyleoption_cast<const QStyleOptionSlider*>(option)) {
        const bool across = slider->orientation == Qt::Horizontal;
        return (across ? slider->rect.width() : slider->rect.height()) - Scaled(kHotKnob, scale);
      }
      return QProxyStyle::pixelMetric(metric, option, widget);
    case PM_ScrollBarExtent:
      return Scaled(14, scale);
    case PM_MenuPanelWidth:
      return 0;
    case PM_MenuHMargin:
    case PM_MenuVMargin:
      return Scaled(kMenuPadding, scale);
    case PM_SmallIconSize:
      return Scaled(kMenuIcon, scale);
    case PM_ToolTipLabelFrameWidth:
      return Scaled(8, scale);
    case PM_FocusFrameHMargin:
    case PM_FocusFrameVMargin: {
      const auto frame = qobject_cast<const QFocusFrame*>(widget);
      return Scaled(kRingDistance + kRingWidth, ScaleOf(frame ? frame->widget() : widget));
    }
    case PM_ButtonShiftHorizontal:
    case PM_ButtonShiftVertical:
      return 0;
    default:
      return QProxyStyle::pixelMetric(metric, option, widget);
  }
}

int GalleryStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                            QStyleHintReturn* data) const {
  switch (hint) {
    case SH_FocusFrame_AboveWidget:
      return 1;
    case SH_FocusFrame_Mask:
      return 0;
    case SH_ScrollBar_LeftClickAbsolutePosition:
      return 1;
    case SH_Slider_AbsoluteSetButtons:
      return Qt::LeftButton;
    case SH_ToolTip_WakeUpDelay:
      return 500;
    case SH_MessageBox_CenterButtons:
      return 0;
    case SH_Menu_MouseTracking:
      return 1;
    case SH_Menu_Mask:
    case SH_ToolTip_Mask:
      return CutCorners(widget, data);
    default:
      return QProxyStyle::styleHint(hint, option, widget, data);
  }
}
