#include "common/toolkit/label.h"

#include <QAccessible>
#include <QPainter>
#include <QRegularExpression>
#include <QStyle>

#include "common/toolkit/attributes.h"
#include "common/toolkit/icons.h"
#include "common/toolkit/theme.h"

using namespace toolkit;

namespace {

// The tags of skin texts as the rich text that QLabel knows.
QString ToRichText(QString words) {
  static const QRegularExpression link("<a ([^>\"]*)>"), color("<c #([0-9A-Fa-f]{6,8})>");
  words.replace(link, R"(<a href="\1" style="text-decoration:none">)");
  words.replace(color, R"(<span style="color:#\1">)");
  return words.replace("</c>", "</span>");
}

}  // namespace

CLabelUI::CLabelUI(QWidget* parent) : TControl<QLabel>(parent) {
  setTextFormat(Qt::PlainText);
  setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  connect(this, &QLabel::linkActivated, this, [this](const QString& name) { Notify("link", 0, 0, name); });
}

void CLabelUI::ShowText(const QString& shown) {
  const bool change = live && shown != lastWords;
  lastWords = shown;
  CControlUI::ShowText(shown);
  setText(html ? ToRichText(shown) : shown);
  TellWhole();
  if (change) {
    QAccessibleEvent told(this, QAccessible::NameChanged);
    QAccessible::updateAccessibility(&told);
  }
}

void CLabelUI::SetAttribute(const QString& name, const QString& value) {
  if (name == "textalign") {
    setAlignment(ToAlignment(value) | Qt::AlignVCenter);
  } else if (name == "wrap") {
    setWordWrap(ToBool(value));
  } else if (name == "elide") {
    elide = value == "middle" ? Qt::ElideMiddle : value == "none" ? Qt::ElideNone : Qt::ElideRight;
  } else if (name == "icon") {
    SetIcon(value);
  } else if (name == "iconsize") {
    iconSize = value.toInt();
  } else if (name == "iconcolor") {
    iconColor = value;
  } else if (name == "html") {
    html = ToBool(value);
    setTextFormat(html ? Qt::RichText : Qt::PlainText);
  } else if (name == "live") {
    live = !value.isEmpty();
  } else {
    TControl<QLabel>::SetAttribute(name, value);
  }
}

void CLabelUI::SetIcon(const QString& name, int size, const QString& color) {
  icon = name;
  if (size > 0) iconSize = size;
  if (!color.isEmpty()) iconColor = color;
  Restyle();
}

void CLabelUI::Restyle() {
  CControlUI::Restyle();
  if (icon.isEmpty()) return;
  const QColor color = iconColor.isEmpty() ? TextColor() : ColorOf(iconColor);
  setPixmap(icons::Pixmap(icon, Scaled(iconSize), color, devicePixelRatioF()));
}

bool CLabelUI::Elides() const { return elide != Qt::ElideNone && !wordWrap() && !html && icon.isEmpty(); }

QSize CLabelUI::minimumSizeHint() const {
  const QSize hint = QLabel::minimumSizeHint();
  return Elides() ? QSize(std::min(hint.width(), fontMetrics().horizontalAdvance("\u2026")), hint.height())
                  : hint;
}

void CLabelUI::TellWhole() {
  if (!Elides() || (!tellsWhole && !toolTip().isEmpty())) return;
  tellsWhole = fontMetrics().horizontalAdvance(text()) > contentsRect().width() && isVisible();
  setToolTip(tellsWhole ? text() : QString());
}

void CLabelUI::resizeEvent(QResizeEvent* event) {
  QLabel::resizeEvent(event);
  TellWhole();
}

void CLabelUI::paintEvent(QPaintEvent* event) {
  if (!Elides()) return QLabel::paintEvent(event);
  QPainter painter(this);
  const QString shown = fontMetrics().elidedText(text(), elide, contentsRect().width());
  style()->drawItemText(&painter, contentsRect(),
                        static_cast<int>(QStyle::visualAlignment(layoutDirection(), alignment())), palette(),
                        isEnabled(), shown, foregroundRole());
}
