#include "choicecard.h"

#include <QPainter>
#include <QStyleOptionButton>

#include "common/toolkit/icons.h"
#include "common/toolkit/paintmanager.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/theme.h"

ChoiceCardUI::ChoiceCardUI() {
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  setAttribute(Qt::WA_Hover);
  connect(this, &QRadioButton::toggled, this, [this](bool on) {
    if (on && GetManager()) GetManager()->SendNotify(this, QStringLiteral("selectchanged"));
  });
}

void ChoiceCardUI::SetAttribute(const QString& name, const QString& value) {
  if (name == QStringLiteral("icon")) {
    icon = value;
  } else if (name == QStringLiteral("about")) {
    about = value;
  } else if (name == QStringLiteral("selected")) {
    setChecked(value == QStringLiteral("true"));
  } else {
    CControlUI::SetAttribute(name, value);
  }
}

void ChoiceCardUI::ShowText(const QString& shown) {
  setText(shown);
  setAccessibleDescription(CResourceManager::GetText(about));
  update();
}

void ChoiceCardUI::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const auto place = [this](const QRect& at) { return QStyle::visualRect(layoutDirection(), rect(), at); };
  const double wide = ScaledF(isChecked() ? 2 : 1);
  painter.setPen(QPen(ColorOf(isChecked() ? QStringLiteral("accent") : QStringLiteral("line")), wide));
  painter.setBrush(isChecked()    ? QBrush(ColorOf(QStringLiteral("tint")))
                   : underMouse() ? QBrush(ColorOf(QStringLiteral("hover")))
                                  : Qt::NoBrush);
  painter.drawRoundedRect(QRectF(rect()).adjusted(wide / 2, wide / 2, -wide / 2, -wide / 2), Scaled(12),
                          Scaled(12));

  const QRect square = place({Scaled(14), (height() - Scaled(36)) / 2, Scaled(36), Scaled(36)});
  painter.setPen(Qt::NoPen);
  painter.setBrush(ColorOf(isChecked() ? QStringLiteral("tint-hover") : QStringLiteral("panel")));
  painter.drawRoundedRect(square, Scaled(8), Scaled(8));
  const int glyph = Scaled(20);
  icons::Paint(painter, icon,
               {square.center().x() - glyph / 2 + 1, square.center().y() - glyph / 2 + 1, glyph, glyph},
               ColorOf(isChecked() ? QStringLiteral("accent-text") : QStringLiteral("text")));

  const int mark = Scaled(18), edge = Scaled(14), from = Scaled(64);
  const int room = width() - from - edge - mark - Scaled(8);
  const auto use = [&](const char* style, const char* color) {
    painter.setFont(
        Theme::Instance().Font(QString::fromLatin1(style), GetManager() ? GetManager()->GetScale() : 100));
    painter.setPen(ColorOf(QString::fromLatin1(color)));
  };
  const int side = (isRightToLeft() ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignAbsolute;
  const QString aboutText = CResourceManager::GetText(about);
  use("small", "text-2");
  // One line, or two where a language needs them.
  const int lineHeight = painter.fontMetrics().height();
  const int wanted = painter.fontMetrics()
                         .boundingRect(QRect(0, 0, room, height()), side | Qt::TextWordWrap, aboutText)
                         .height();
  const int tall = std::min(wanted, 2 * lineHeight), head = Scaled(20), gap = Scaled(2);
  const int top = (height() - head - gap - tall) / 2, middle = height() / 2;
  painter.drawText(place({from, top + head + gap, room, tall}), side | Qt::TextWordWrap, aboutText);
  use("strong", "text");
  painter.drawText(place({from, top, room, head}), side | Qt::AlignVCenter,
                   painter.fontMetrics().elidedText(text(), Qt::ElideRight, room));

  QStyleOptionButton radio;
  radio.initFrom(this);
  radio.state |= isChecked() ? QStyle::State_On : QStyle::State_Off;
  radio.rect = place({width() - edge - mark, middle - mark / 2, mark, mark});
  style()->drawPrimitive(QStyle::PE_IndicatorRadioButton, &radio, &painter, this);
  if (!hasFocus()) return;
  QStyleOptionFocusRect ring;
  ring.initFrom(this);
  ring.rect = rect();
  style()->drawPrimitive(QStyle::PE_FrameFocusRect, &ring, &painter, this);
}
