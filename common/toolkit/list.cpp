#include "common/toolkit/list.h"

#include <QPainter>

#include "common/toolkit/attributes.h"
#include "common/toolkit/theme.h"

using namespace toolkit;

// --- Rows -------------------------------------------------------------------

void CListContainerElementUI::Select(bool on) {
  if (selected == on) return;
  selected = on;
  Invalidate();
}

bool CListContainerElementUI::Activate() {
  if (!owner) return false;
  owner->Notify("itemactivate", static_cast<WPARAM>(index));
  return true;
}

void CListContainerElementUI::DoEvent(TEventUI& event) {
  if (!owner || !IsEnabled()) return CHorizontalLayoutUI::DoEvent(event);
  const bool button = event.Type == EventType::ButtonDown || event.Type == EventType::RButtonDown;
  if (button) owner->SelectItem(owner->GetItemIndex(this), true);
  if (event.Type == EventType::DoubleClick) event.handled = Activate();
  CHorizontalLayoutUI::DoEvent(event);
}

void CListContainerElementUI::PaintBkColor(QPainter& painter) {
  CHorizontalLayoutUI::PaintBkColor(painter);
  const bool hot = underMouse() && IsEnabled() && owner;
  if (!selected && !hot) return;
  const Theme& theme = Theme::Instance();
  painter.setPen(Qt::NoPen);
  painter.setBrush(theme.Color(!selected ? "hover" : hot ? "tint-hover" : "tint"));
  painter.drawRoundedRect(rect(), Scaled(8), Scaled(8));
}

// --- The body -----------------------------------------------------------------

CListBodyUI::CListBodyUI(CListUI* list, QWidget* parent) : CContainerUI(nullptr, parent), owner(list) {}

void CListBodyUI::Place(CControlUI&, int) {
  if (!placing) SetPos(GetPos());
}

void CListBodyUI::SetVerticalScrollBar(CScrollBarUI* bar) {
  delete std::exchange(vertical, bar);
  if (!bar) return;
  bar->setParent(this);
  bar->SetOwner(this);
  bar->SetLineSize(step);
  bar->hide();
  if (IsInitialised()) bar->Init();
}

void CListBodyUI::EnableScrollBar(bool wantVertical, bool wantHorizontal) {
  if (wantVertical && !vertical) SetVerticalScrollBar(new CScrollBarUI);
  if (!wantHorizontal || horizontal) return;
  horizontal = new CScrollBarUI(this);
  horizontal->SetHorizontal(true);
  horizontal->SetOwner(this);
  horizontal->hide();
}

QSize CListBodyUI::GetScrollPos() const {
  return {horizontal ? horizontal->GetScrollPos() : 0, vertical ? vertical->GetScrollPos() : 0};
}

QSize CListBodyUI::GetScrollRange() const {
  return {horizontal ? horizontal->GetScrollRange() : 0, vertical ? vertical->GetScrollRange() : 0};
}

void CListBodyUI::SetScrollPos(QSize position) {
  const QSize before = GetScrollPos();
  if (vertical) vertical->SetScrollPos(position.height());
  if (horizontal) horizontal->SetScrollPos(position.width());
  if (GetScrollPos() != before) PlaceRows();
}

void CListBodyUI::ScrollBy(int pixels) {
  const QSize now = GetScrollPos();
  SetScrollPos({now.width(), now.height() + pixels});
}

void CListBodyUI::SetPos(const QRect& rect, bool needInvalidate) {
  CContainerUI::SetPos(rect, needInvalidate);
  if (placing) return;
  placing = true;
  const int contents = PlaceRows();
  ProcessScrollBar(this->rect(), width(), contents);
  // The bar took room from the rows, or gave some back.
  PlaceRows();
  placing = false;
}

// Gives the height of all rows.
int CListBodyUI::PlaceRows() {
  const QMargins inside(Scaled(GetInset().left()), Scaled(GetInset().top()), Scaled(GetInset().right()),
                        Scaled(GetInset().bottom()));
  const int bar = vertical && vertical->IsVisible() ? vertical->GetFixedWidth() : 0;
  const int left = inside.left() + (isRightToLeft() ? bar : 0) - GetScrollPos().width();
  const int across = std::max(0, width() - inside.left() - inside.right() - bar);
  int y = inside.top() - GetScrollPos().height();
  const int top = y;
  for (int i = 0; i < GetCount(); ++i) {
    CControlUI& row = *GetItemAt(i);
    if (!row.IsVisible()) continue;
    const QMargins around = row.GetPadding();
    const int free = across - around.left() - around.right();
    const int hint = row.Widget()->hasHeightForWidth() ? row.Widget()->heightForWidth(free)
                                                       : row.Widget()->sizeHint().height();
    const int high =
        row.GetFixedHeight() > 0 ? row.GetFixedHeight() : std::max(hint, row.Widget()->minimumHeight());
    row.SetPos({left + around.left(), y + around.top(), free, high}, false);
    y += around.top() + high + around.bottom() + Scaled(GetChildPadding());
  }
  return y - top + inside.top() + inside.bottom();
}

void CListBodyUI::ProcessScrollBar(const QRect& area, int cxRequired, int cyRequired) {
  if (horizontal) {
    const int extra = cxRequired - area.width();
    horizontal->SetScrollRange(extra);
    horizontal->SetPageSize(area.width());
    const int high = horizontal->GetFixedHeight();
    horizontal->SetPos({area.left(), area.bottom() + 1 - high, area.width(), high});
    horizontal->SetVisible(extra > 0);
  }
  if (!vertical) return;
  const int extra = cyRequired - area.height();
  vertical->SetScrollRange(extra);
  vertical->SetPageSize(area.height());
  const int wide = vertical->GetFixedWidth();
  const int x = isRightToLeft() ? area.left() : area.right() + 1 - wide;
  vertical->SetPos({x, area.top(), wide, area.height()});
  vertical->SetVisible(extra > 0);
  vertical->raise();
}

void CListBodyUI::EnsureVisible(int index) {
  const CControlUI* row = GetItemAt(index);
  if (!row) return;
  const QRect place = row->GetPos();
  if (place.top() < 0) {
    ScrollBy(place.top());
  } else if (place.bottom() >= height()) {
    ScrollBy(place.bottom() + 1 - height());
  }
}

// --- The list -------------------------------------------------------------------

CListUI::CListUI(QWidget* parent) : CVerticalLayoutUI(parent) { setFocusPolicy(Qt::StrongFocus); }

void CListUI::SetBody(CListBodyUI* newBody) {
  if (body) CVerticalLayoutUI::Remove(body);
  body = newBody;
  selected = -1;
  if (body) CVerticalLayoutUI::AddAt(body, 0);
}

bool CListUI::AddAt(CControlUI* row, int index) {
  if (!body) {
    SetBody(new CListBodyUI(this));
    body->EnableScrollBar();
  }
  if (!body->AddAt(row, index)) return false;
  NumberRows();
  return true;
}

void CListUI::NumberRows() {
  for (int i = 0; i < GetCount(); ++i) {
    const auto row = dynamic_cast<CListContainerElementUI*>(GetItemAt(i));
    if (!row) continue;
    row->SetOwner(this);
    row->SetIndex(i);
    row->Select(i == selected);
  }
}

bool CListUI::Remove(CControlUI* row) { return RemoveAt(GetItemIndex(row)); }

bool CListUI::RemoveAt(int index) {
  if (!body || !body->RemoveAt(index)) return false;
  if (selected == index) selected = -1;
  if (selected > index) --selected;
  NumberRows();
  body->SetPos(body->GetPos());
  return true;
}

void CListUI::RemoveAll() {
  selected = -1;
  if (!body) return;
  body->RemoveAll();
  body->SetPos(body->GetPos());
}

CControlUI* CListUI::GetItemAt(int index) const { return body ? body->GetItemAt(index) : nullptr; }
int CListUI::GetItemIndex(const CControlUI* row) const { return body ? body->GetItemIndex(row) : -1; }
int CListUI::GetCount() const { return body ? body->GetCount() : 0; }

bool CListUI::SelectItem(int index, bool takeFocus) {
  CControlUI* const row = GetItemAt(index);
  if (index != -1 && (!row || !row->IsEnabled())) return false;
  if (takeFocus) SetFocus();
  if (index == selected) return true;
  const int before = std::exchange(selected, index);
  NumberRows();
  EnsureVisible(index);
  Notify("itemselect", static_cast<WPARAM>(index), before);
  return true;
}

void CListUI::EnsureVisible(int index) {
  if (body) body->EnsureVisible(index);
}

QSize CListUI::GetScrollPos() const { return body ? body->GetScrollPos() : QSize(0, 0); }
QSize CListUI::GetScrollRange() const { return body ? body->GetScrollRange() : QSize(0, 0); }

void CListUI::SetScrollPos(QSize position) {
  if (body) body->SetScrollPos(position);
}

void CListUI::SetScrollStepSize(int pixels) {
  if (body) body->SetScrollStepSize(pixels);
}

CScrollBarUI* CListUI::GetVerticalScrollBar() const { return body ? body->GetVerticalScrollBar() : nullptr; }

bool CListUI::HandleKey(int key) {
  const auto select = [this](int index) { return SelectItem(std::clamp(index, 0, GetCount() - 1)); };
  const auto row = dynamic_cast<CListContainerElementUI*>(GetItemAt(selected));
  switch (key) {
    case Qt::Key_Up:
      return select(selected - 1);
    case Qt::Key_Down:
      return select(selected + 1);
    case Qt::Key_Home:
      return select(0);
    case Qt::Key_End:
      return select(GetCount() - 1);
    case Qt::Key_PageUp:
      body->PageUp();
      return true;
    case Qt::Key_PageDown:
      body->PageDown();
      return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
      return row && row->Activate();
    default:
      return false;
  }
}

void CListUI::DoEvent(TEventUI& event) {
  if (body && GetCount() > 0 && event.Type == EventType::Wheel) {
    event.wheelDelta > 0 ? body->LineUp() : body->LineDown();
    event.handled = true;
  } else if (body && GetCount() > 0 && event.Type == EventType::KeyDown) {
    event.handled = HandleKey(event.key);
  }
  CVerticalLayoutUI::DoEvent(event);
}

void CListUI::SetAttribute(const QString& name, const QString& value) {
  if (name == "vscrollbar" || name == "hscrollbar") {
    if (!body) SetBody(new CListBodyUI(this));
    body->EnableScrollBar(name == "vscrollbar" && ToBool(value), name == "hscrollbar" && ToBool(value));
  } else if (name == "step") {
    SetScrollStepSize(value.toInt());
  } else {
    CVerticalLayoutUI::SetAttribute(name, value);
  }
}
