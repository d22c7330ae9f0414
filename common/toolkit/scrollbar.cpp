#include "common/toolkit/scrollbar.h"

#include <QStyle>
#include <QStyleOptionSlider>

#include "common/toolkit/attributes.h"
#include "common/toolkit/list.h"

using namespace toolkit;

CScrollBarUI::CScrollBarUI(QWidget* parent) : TControl<QScrollBar>(Qt::Vertical, parent) {
  setFocusPolicy(Qt::NoFocus);
  setContextMenuPolicy(Qt::NoContextMenu);
  SetFixedWidth(14);
  setMaximum(0);
  connect(this, &QScrollBar::valueChanged, this, &CScrollBarUI::MovedByUser);
}

CControlUI* CScrollBarUI::GetInterface(const QString& name) {
  return name == "ScrollBar" ? this : TControl<QScrollBar>::GetInterface(name);
}

void CScrollBarUI::SetAttribute(const QString& name, const QString& value) {
  if (name == "hor") {
    SetHorizontal(ToBool(value));
  } else if (name == "range") {
    SetScrollRange(value.toInt());
  } else if (name == "value") {
    SetScrollPos(value.toInt());
  } else if (name == "thumbsize") {
    thumbSize = value.toInt();
  } else {
    TControl<QScrollBar>::SetAttribute(name, value);
  }
}

void CScrollBarUI::SetHorizontal(bool horizontal) {
  setOrientation(horizontal ? Qt::Horizontal : Qt::Vertical);
  SetFixedWidth(horizontal ? -1 : 14);
  SetFixedHeight(horizontal ? 14 : -1);
}

void CScrollBarUI::SetScrollRange(int range) {
  telling = false;
  setRange(0, std::max(0, range));
  telling = true;
}

void CScrollBarUI::SetScrollPos(int position) {
  telling = false;
  setValue(position);
  telling = true;
}

void CScrollBarUI::MovedByUser(int position) {
  if (!telling) return;
  if (owner) {
    QSize now = owner->GetScrollPos();
    IsHorizontal() ? now.setWidth(position) : now.setHeight(position);
    owner->SetScrollPos(now);
  }
  Notify("valuechanged", static_cast<WPARAM>(position));
}

QRect CScrollBarUI::ThumbRect() const {
  QStyleOptionSlider option;
  initStyleOption(&option);
  return style()->subControlRect(QStyle::CC_ScrollBar, &option, QStyle::SC_ScrollBarSlider, this);
}
