#include "common/toolkit/control.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QCursor>
#include <QFocusEvent>
#include <QHash>
#include <QKeyEvent>
#include <QLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QSet>
#include <QTouchEvent>
#include <QWheelEvent>

#include "common/toolkit/attributes.h"
#include "common/toolkit/paintmanager.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/theme.h"
#include "common/toolkit/toolkit.h"
#include "common/toolkit/windowimplbase.h"

using namespace toolkit;

CControlUI::~CControlUI() = default;

CControlUI* CControlUI::Around(QWidget* widget) {
  for (; widget; widget = widget->parentWidget()) {
    if (CControlUI* control = Of(widget)) return control;
  }
  return nullptr;
}

CControlUI* CControlUI::GetParent() const { return Around(Widget()->parentWidget()); }

CPaintManagerUI* CControlUI::GetManager() const {
  const auto* window = WindowAround(Widget()->parentWidget());
  return window ? &const_cast<WindowImplBaseEx*>(window)->Manager() : nullptr;
}

int CControlUI::GetScale() const { return ScaleOf(Widget()); }
int CControlUI::Scaled(int pixels) const { return pixels <= 0 ? 0 : toolkit::Scaled(pixels, GetScale()); }
double CControlUI::ScaledF(double pixels) const { return toolkit::ScaledF(pixels, GetScale()); }

void CControlUI::Init() {
  if (initialised) return;
  initialised = true;
  // Until now there was no window to ask for the scale.
  Restyle();
  InitChildren();
  DoInit();
}

// --- Words ---------------------------------------------------------------

void CControlUI::SetText(const QString& keyOrWords) {
  textKey = keyOrWords;
  ShowText(CResourceManager::GetText(keyOrWords));
}

void CControlUI::SetToolTip(const QString& keyOrWords) {
  toolTipKey = keyOrWords;
  ApplyTexts();
}

void CControlUI::ApplyTexts() {
  if (!textKey.isNull()) ShowText(CResourceManager::GetText(textKey));
  if (!toolTipKey.isNull()) Widget()->setToolTip(CResourceManager::GetText(toolTipKey));
  const QString spoken = accessibleKey.isNull() ? toolTipKey : accessibleKey;
  const bool wanted = !accessibleKey.isNull() || (!toolTipKey.isNull() && GetText().isEmpty());
  if (wanted) Widget()->setAccessibleName(CResourceManager::GetText(spoken));
}

// --- Sizes ---------------------------------------------------------------

void CControlUI::SetFixedWidth(int width) {
  fixedSize.setWidth(width);
  ApplySizes();
}

void CControlUI::SetFixedHeight(int height) {
  fixedSize.setHeight(height);
  ApplySizes();
}

void CControlUI::SetMinWidth(int width) {
  minSize.setWidth(width);
  ApplySizes();
}

void CControlUI::SetMaxWidth(int width) {
  maxSize.setWidth(width);
  ApplySizes();
}

void CControlUI::SetMinHeight(int height) {
  minSize.setHeight(height);
  ApplySizes();
}

void CControlUI::SetMaxHeight(int height) {
  maxSize.setHeight(height);
  ApplySizes();
}

void CControlUI::ApplySizes() {
  const auto lower = [this](int fixed, int least) { return fixed >= 0 ? Scaled(fixed) : Scaled(least); };
  const auto upper = [this](int fixed, int most) {
    return fixed >= 0 ? Scaled(fixed) : most >= 0 ? Scaled(most) : QWIDGETSIZE_MAX;
  };
  Widget()->setMinimumSize(lower(fixedSize.width(), minSize.width()),
                           lower(fixedSize.height(), minSize.height()));
  Widget()->setMaximumSize(upper(fixedSize.width(), maxSize.width()),
                           upper(fixedSize.height(), maxSize.height()));
}

void CControlUI::SetPadding(const QMargins& margins) {
  padding = margins;
  NeedUpdate();
}

QMargins CControlUI::GetPadding() const {
  const QMargins start(Scaled(padding.left()), Scaled(padding.top()), Scaled(padding.right()),
                       Scaled(padding.bottom()));
  if (!Widget()->isRightToLeft()) return start;
  return {start.right(), start.top(), start.left(), start.bottom()};
}

void CControlUI::SetAlignment(Qt::Alignment alignment) {
  place = alignment;
  const QWidget* parent = Widget()->parentWidget();
  if (parent && parent->layout()) parent->layout()->setAlignment(Widget(), alignment);
  NeedUpdate();
}

void CControlUI::SetPos(const QRect& rect, bool needInvalidate) {
  inSetPos = true;
  Widget()->setGeometry(rect);
  inSetPos = false;
  if (needInvalidate) Invalidate();
}

void CControlUI::SetSizeRule(Qt::Orientation direction, const QString& value) {
  const bool across = direction == Qt::Horizontal;
  QSizePolicy policy = Widget()->sizePolicy();
  const auto set = [&](QSizePolicy::Policy rule) {
    across ? policy.setHorizontalPolicy(rule) : policy.setVerticalPolicy(rule);
    Widget()->setSizePolicy(policy);
  };
  if (value == "fill") return set(QSizePolicy::Expanding);
  if (value == "auto") return set(QSizePolicy::Fixed);
  across ? SetFixedWidth(value.toInt()) : SetFixedHeight(value.toInt());
}

// --- Looks ---------------------------------------------------------------

QColor CControlUI::ColorOf(const QString& color) {
  if (color.isEmpty()) return {};
  return color.startsWith('#') ? QColor(color) : Theme::Instance().Color(color);
}

QColor CControlUI::TextColor() const {
  if (!IsEnabled()) return Theme::Instance().Color("text-off");
  return foreColor.isEmpty() ? Theme::Instance().Color("text") : ColorOf(foreColor);
}

void CControlUI::SetBkColor(const QString& color) {
  if (backColor == color) return;
  backColor = color;
  Invalidate();
}

void CControlUI::SetTextColor(const QString& color) {
  foreColor = color;
  Restyle();
}

void CControlUI::SetBorderColor(const QString& color) {
  edgeColor = color;
  Invalidate();
}

void CControlUI::SetFont(const QString& style) {
  fontStyle = style;
  Restyle();
}

void CControlUI::Restyle() {
  ApplySizes();
  restyling = true;
  ApplyTexts();
  restyling = false;
  if (!fontStyle.isEmpty()) Widget()->setFont(Theme::Instance().Font(fontStyle, GetScale()));
  if (!foreColor.isEmpty()) {
    QPalette palette;
    for (const auto role : {QPalette::WindowText, QPalette::Text}) {
      palette.setColor(role, ColorOf(foreColor));
      palette.setColor(QPalette::Disabled, role, Theme::Instance().Color("text-off"));
    }
    Widget()->setPalette(palette);
  }
  NeedUpdate();
  Invalidate();
}

void CControlUI::PaintGround() {
  QPainter painter(Widget());
  painter.setRenderHint(QPainter::Antialiasing);
  PaintBkColor(painter);
  PaintBkImage(painter);
  PaintBorder(painter);
}

void CControlUI::PaintBkColor(QPainter& painter) {
  const QColor color = ColorOf(backColor);
  if (!color.isValid()) return;
  if (rounding.isEmpty()) return painter.fillRect(Widget()->rect(), color);
  painter.setPen(Qt::NoPen);
  painter.setBrush(color);
  painter.drawRoundedRect(Widget()->rect(), Scaled(rounding.width()), Scaled(rounding.height()));
}

void CControlUI::PaintBkImage(QPainter&) {}

void CControlUI::PaintBorder(QPainter& painter) {
  const QColor color = ColorOf(edgeColor);
  if (!color.isValid()) return;
  const double width = std::max(1.0, ScaledF(edgeWidth));
  const QRectF edge = QRectF(Widget()->rect()).adjusted(width / 2, width / 2, -width / 2, -width / 2);
  painter.setPen(QPen(color, width));
  painter.setBrush(Qt::NoBrush);
  painter.drawRoundedRect(edge, Scaled(rounding.width()), Scaled(rounding.height()));
}

// --- Attributes ----------------------------------------------------------

const QHash<QString, CControlUI::Setter>& CControlUI::Setters() {
  using C = CControlUI;
  using S = const QString;
  static const QHash<QString, Setter> setters{
      {"name", [](C& c, S& v) { c.SetName(v); }},
      {"text", [](C& c, S& v) { c.SetText(v); }},
      {"tooltip", [](C& c, S& v) { c.SetToolTip(v); }},
      {"width", [](C& c, S& v) { c.SetSizeRule(Qt::Horizontal, v); }},
      {"height", [](C& c, S& v) { c.SetSizeRule(Qt::Vertical, v); }},
      {"minwidth", [](C& c, S& v) { c.SetMinWidth(v.toInt()); }},
      {"maxwidth", [](C& c, S& v) { c.SetMaxWidth(v.toInt()); }},
      {"minheight", [](C& c, S& v) { c.SetMinHeight(v.toInt()); }},
      {"maxheight", [](C& c, S& v) { c.SetMaxHeight(v.toInt()); }},
      {"padding", [](C& c, S& v) { c.SetPadding(ToMargins(v)); }},
      {"align", [](C& c, S& v) { c.SetAlignment((c.place & Qt::AlignVertical_Mask) | ToAlignment(v)); }},
      {"valign", [](C& c, S& v) { c.SetAlignment((c.place & Qt::AlignHorizontal_Mask) | ToAlignment(v)); }},
      {"stretch",
       [](C& c, S& v) {
         QSizePolicy policy = c.Widget()->sizePolicy();
         policy.setHorizontalStretch(v.toInt());
         policy.setVerticalStretch(v.toInt());
         c.Widget()->setSizePolicy(policy);
       }},
      {"visible", [](C& c, S& v) { c.SetVisible(ToBool(v)); }},
      {"enabled", [](C& c, S& v) { c.SetEnabled(ToBool(v)); }},
      {"bkcolor", [](C& c, S& v) { c.SetBkColor(v); }},
      {"textcolor", [](C& c, S& v) { c.SetTextColor(v); }},
      {"bordercolor", [](C& c, S& v) { c.SetBorderColor(v); }},
      {"bordersize", [](C& c, S& v) { c.edgeWidth = v.toInt(); }},
      {"borderround", [](C& c, S& v) { c.rounding = ToSize(v); }},
      {"font", [](C& c, S& v) { c.SetFont(v); }},
      {"drop", [](C& c, S& v) { c.Widget()->setProperty("drop", ToBool(v)); }},
      {"touch", [](C& c, S& v) { c.Widget()->setAttribute(Qt::WA_AcceptTouchEvents, ToBool(v)); }},
      {"menu", [](C& c, S& v) { c.menu = ToBool(v); }},
      {"cursor", [](C& c, S& v) { c.Widget()->setCursor(ToCursor(v)); }},
      {"tab", [](C& c, S& v) { c.Widget()->setFocusPolicy(ToBool(v) ? Qt::StrongFocus : Qt::ClickFocus); }},
      {"mouse", [](C& c, S& v) { c.Widget()->setAttribute(Qt::WA_TransparentForMouseEvents, !ToBool(v)); }},
      {"accessiblename",
       [](C& c, S& v) {
         c.accessibleKey = v;
         c.ApplyTexts();
       }},
      {"tag", [](C& c, S& v) { c.SetTag(v.toULongLong()); }},
  };
  return setters;
}

void CControlUI::SetAttribute(const QString& name, const QString& value) {
  if (const Setter setter = Setters().value(name)) return setter(*this, value);
  static QSet<QString> told;
  const QString what = GetClass() + '.' + name;
  if (told.contains(what)) return;
  told.insert(what);
  qWarning("Skin: unknown attribute %s", qUtf8Printable(what));
}

void CControlUI::ApplyAttributeList(const QString& list) {
  for (const auto& [name, value] : ToAttributes(list)) SetAttribute(name, value);
}

// --- Events --------------------------------------------------------------

void CControlUI::DoEvent(TEventUI&) {}

void CControlUI::Notify(const QString& type, WPARAM wParam, LPARAM lParam, const QString& detail) {
  if (CPaintManagerUI* manager = GetManager()) manager->SendNotify(this, type, wParam, lParam, detail);
}

bool CControlUI::Send(TEventUI& event) {
  if (!event.pSender) event.pSender = this;
  DoEvent(event);
  return event.handled;
}

bool CControlUI::SendMouse(QEvent& event, EventType type) {
  const auto& mouse = static_cast<QSinglePointEvent&>(event);
  TEventUI told{.Type = type,
                .pSender = nullptr,
                .ptMouse = mouse.position().toPoint(),
                .ptScreen = mouse.globalPosition().toPoint(),
                .modifiers = mouse.modifiers()};
  // Qt hands an event that nobody took to the parent, with the point in it; who
  // it began at is who lies under the point.
  if (QWidget* child = Widget()->childAt(told.ptMouse)) told.pSender = Around(child);
  if (type == EventType::Wheel) {
    told.wheelDelta = static_cast<QWheelEvent&>(event).angleDelta().y();
    told.wParam = told.wheelDelta > 0 ? 0 : 1;
  }
  const QPointer<QWidget> alive(Widget());
  if (Send(told) || !alive) return true;
  if (type == EventType::DoubleClick && told.pSender == this) {
    Notify("dbclick", 0, 0);
    if (!alive) return true;
  } else if (type == EventType::MouseMove) {
    told.Type = EventType::SetCursor;
    (void)Send(told);
    told.handled = false;
  }
  return told.handled;
}

bool CControlUI::SendKey(QEvent& event, EventType type) {
  const auto& key = static_cast<QKeyEvent&>(event);
  TEventUI told{.Type = type,
                .pSender = Around(QApplication::focusWidget()),
                .modifiers = key.modifiers(),
                .key = key.key(),
                .wParam = static_cast<WPARAM>(key.key()),
                .lParam = static_cast<LPARAM>(key.count())};
  return Send(told);
}

bool CControlUI::SendTouch(QEvent& event) {
  const auto& touch = static_cast<QTouchEvent&>(event);
  if (touch.points().isEmpty()) return false;
  const EventType type = event.type() == QEvent::TouchBegin    ? EventType::TouchPress
                         : event.type() == QEvent::TouchUpdate ? EventType::TouchMove
                                                               : EventType::TouchRelease;
  TEventUI told{.Type = type,
                .ptMouse = touch.points().first().position().toPoint(),
                .ptScreen = touch.points().first().globalPosition().toPoint(),
                .modifiers = touch.modifiers()};
  (void)Send(told);
  // A touch that is not taken at its begin would never be heard of again.
  return Widget()->testAttribute(Qt::WA_AcceptTouchEvents);
}

bool CControlUI::SendContextMenu(QEvent& event) {
  const auto& asked = static_cast<QContextMenuEvent&>(event);
  TEventUI told{.Type = EventType::ContextMenu, .ptMouse = asked.pos(), .ptScreen = asked.globalPos()};
  const QPointer<QWidget> alive(Widget());
  if (Send(told) || !alive) return true;
  CPaintManagerUI* manager = GetManager();
  if (!menu || !manager) return false;
  TNotifyUI message{.sType = "menu", .pSender = this, .ptMouse = asked.globalPos()};
  manager->SendNotify(message);
  return true;
}

bool CControlUI::Translate(QEvent& event) {
  const auto button = [&event](EventType left, EventType right) {
    return static_cast<QMouseEvent&>(event).button() == Qt::RightButton ? right : left;
  };
  bool done = false;
  switch (event.type()) {
    case QEvent::MouseButtonPress:
      done = SendMouse(event, button(EventType::ButtonDown, EventType::RButtonDown));
      break;
    case QEvent::MouseButtonRelease:
      done = SendMouse(event, button(EventType::ButtonUp, EventType::RButtonUp));
      break;
    case QEvent::MouseButtonDblClick:
      done = SendMouse(event, button(EventType::DoubleClick, EventType::RDoubleClick));
      break;
    case QEvent::MouseMove:
      done = SendMouse(event, EventType::MouseMove);
      break;
    case QEvent::Wheel:
      done = SendMouse(event, EventType::Wheel);
      break;
    case QEvent::KeyPress:
      done = SendKey(event, EventType::KeyDown);
      break;
    case QEvent::KeyRelease:
      done = SendKey(event, EventType::KeyUp);
      break;
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
      done = SendTouch(event);
      break;
    case QEvent::ContextMenu:
      done = SendContextMenu(event);
      break;
    case QEvent::Enter:
    case QEvent::Leave:
    case QEvent::FocusIn:
    case QEvent::FocusOut: {
      TEventUI told{.Type = event.type() == QEvent::Enter     ? EventType::MouseEnter
                            : event.type() == QEvent::Leave   ? EventType::MouseLeave
                            : event.type() == QEvent::FocusIn ? EventType::SetFocus
                                                              : EventType::KillFocus};
      // The widget has to know of these in any case, for hover and cursor.
      (void)Send(told);
      return false;
    }
    case QEvent::Paint:
      PaintGround();
      return false;
    default:
      return false;
  }
  if (done) event.accept();
  return done;
}

void CControlUI::AfterResize() {
  if (!inSetPos) SetPos(GetPos(), false);
}
