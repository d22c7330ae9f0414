#include "common/toolkit/container.h"

#include <QBoxLayout>
#include <QChildEvent>
#include <QGridLayout>
#include <QScrollArea>
#include <QStackedLayout>
#include <algorithm>
#include <utility>

#include "common/toolkit/attributes.h"

using namespace toolkit;

namespace {

// A control in a Qt layout, with its free space around it.
class PaddedItem : public QWidgetItem {
 public:
  explicit PaddedItem(CControlUI& child) : QWidgetItem(child.Widget()), control(child) {
    setAlignment(child.GetAlignment());
  }

  QSize sizeHint() const override { return Grown(QWidgetItem::sizeHint()); }
  QSize minimumSize() const override { return Grown(QWidgetItem::minimumSize()); }
  QSize maximumSize() const override {
    return Grown(QWidgetItem::maximumSize()).boundedTo({QLAYOUTSIZE_MAX, QLAYOUTSIZE_MAX});
  }
  int heightForWidth(int width) const override {
    if (placing) return QWidgetItem::heightForWidth(width);
    const QMargins around = control.GetPadding();
    const int height = QWidgetItem::heightForWidth(width - around.left() - around.right());
    return height < 0 ? height : height + around.top() + around.bottom();
  }
  void setGeometry(const QRect& rect) override {
    // The base asks for the size to align the widget itself.
    placing = true;
    QWidgetItem::setGeometry(rect.marginsRemoved(control.GetPadding()));
    placing = false;
  }

 private:
  QSize Grown(QSize size) const { return placing || isEmpty() ? size : size.grownBy(control.GetPadding()); }

  CControlUI& control;
  bool placing = false;
};

// Takes the child out of the tree now and deletes it when no event of it runs.
void Drop(CControlUI& child) {
  child.Widget()->hide();
  child.Widget()->setParent(nullptr);
  child.Widget()->deleteLater();
}

}  // namespace

CContainerUI::CContainerUI(QWidget* parent) : CContainerUI(new QGridLayout, parent) {}

CContainerUI::CContainerUI(QLayout* children, QWidget* parent) : CWidgetUI(parent) {
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
  if (!children) return;
  children->setContentsMargins(0, 0, 0, 0);
  children->setSpacing(0);
  setLayout(children);
}

CControlUI* CContainerUI::GetInterface(const QString& name) {
  return name == "Container" ? this : CWidgetUI::GetInterface(name);
}

bool CContainerUI::AddAt(CControlUI* child, int index) {
  if (!child || index < 0 || index > GetCount()) return false;
  const bool hidden = child->Widget()->testAttribute(Qt::WA_WState_ExplicitShowHide) && !child->IsVisible();
  child->Widget()->setParent(this);
  items.insert(index, {child->Widget(), child});
  if (child->GetAlignment() == Qt::Alignment() && childPlace != Qt::Alignment())
    child->SetAlignment(childPlace);
  Place(*child, index);
  child->SetVisible(!hidden);
  if (IsInitialised()) child->Init();
  return true;
}

void CContainerUI::InitChildren() {
  for (int i = 0; i < CContainerUI::GetCount(); ++i) items[i].control->Init();
}

void CContainerUI::Place(CControlUI& child, int index) {
  if (!layout()) return;
  const auto item = new PaddedItem(child);
  if (const auto box = dynamic_cast<QBoxLayout*>(layout())) {
    box->insertItem(index, item);
  } else if (const auto grid = dynamic_cast<QGridLayout*>(layout())) {
    grid->addItem(item, 0, 0, 1, 1, child.GetAlignment());
  }
}

bool CContainerUI::Remove(CControlUI* child) {
  const int index = GetItemIndex(child);
  if (index < 0) return false;
  items.removeAt(index);
  Drop(*child);
  return true;
}

void CContainerUI::RemoveAll() {
  for (const Item& item : std::exchange(items, {})) Drop(*item.control);
}

CControlUI* CContainerUI::GetItemAt(int index) const {
  return index < 0 || index >= items.size() ? nullptr : items[index].control;
}

int CContainerUI::GetItemIndex(const CControlUI* child) const {
  const auto found = std::ranges::find(items, child, &Item::control);
  return found == items.end() ? -1 : static_cast<int>(found - items.begin());
}

CControlUI* CContainerUI::FindSubControl(const QString& name) const {
  return CControlUI::Of(findChild<QWidget*>(name));
}

void CContainerUI::childEvent(QChildEvent* event) {
  if (event->removed()) items.removeIf([event](const Item& item) { return item.widget == event->child(); });
  CWidgetUI::childEvent(event);
}

void CContainerUI::SetInset(const QMargins& margins) {
  inset = margins;
  Restyle();
}

void CContainerUI::SetChildPadding(int pixels) {
  childPadding = pixels;
  Restyle();
}

void CContainerUI::Restyle() {
  if (layout()) {
    const bool mirrored = isRightToLeft();
    const int left = mirrored ? inset.right() : inset.left(), right = mirrored ? inset.left() : inset.right();
    layout()->setContentsMargins(Scaled(left), Scaled(inset.top()), Scaled(right), Scaled(inset.bottom()));
    layout()->setSpacing(Scaled(childPadding));
  }
  CWidgetUI::Restyle();
}

void CContainerUI::SetAttribute(const QString& name, const QString& value) {
  if (name == "inset") return SetInset(ToMargins(value));
  if (name == "childpadding") return SetChildPadding(value.toInt());
  if (name == "childalign" || name == "childvalign") {
    childPlace |= ToAlignment(value);
    return;
  }
  CWidgetUI::SetAttribute(name, value);
}

CVerticalLayoutUI::CVerticalLayoutUI(QWidget* parent) : CContainerUI(new QVBoxLayout, parent) {}

CHorizontalLayoutUI::CHorizontalLayoutUI(QWidget* parent) : CContainerUI(new QHBoxLayout, parent) {}

CScrollBoxUI::CScrollBoxUI(QWidget* parent) : CVerticalLayoutUI(parent), area(new QScrollArea(this)) {
  area->setFrameShape(QFrame::NoFrame);
  area->setWidgetResizable(true);
  area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  area->setFocusPolicy(Qt::NoFocus);
  area->viewport()->setAutoFillBackground(false);
  layout()->addWidget(area);
}

bool CScrollBoxUI::AddAt(CControlUI* child, int) {
  if (!child || content) return false;
  content = child;
  area->setWidget(child->Widget());
  child->Widget()->setAutoFillBackground(false);
  if (IsInitialised()) child->Init();
  return true;
}

void CScrollBoxUI::InitChildren() {
  if (content) content->Init();
}

CTabLayoutUI::CTabLayoutUI(QWidget* parent) : CContainerUI(new QStackedLayout, parent) {}

bool CTabLayoutUI::AddAt(CControlUI* child, int index) {
  if (!CContainerUI::AddAt(child, index)) return false;
  if (index != GetCurSel()) child->Widget()->hide();  // The stack shows it when its turn comes.
  return true;
}

void CTabLayoutUI::Place(CControlUI& child, int index) {
  static_cast<QStackedLayout*>(layout())->insertWidget(index, child.Widget());
}

bool CTabLayoutUI::SelectItem(int index) {
  if (index < 0 || index >= GetCount()) return false;
  if (index == GetCurSel()) return true;
  static_cast<QStackedLayout*>(layout())->setCurrentIndex(index);
  Notify("selectchanged", static_cast<WPARAM>(index));
  return true;
}

int CTabLayoutUI::GetCurSel() const { return static_cast<QStackedLayout*>(layout())->currentIndex(); }

void CTabLayoutUI::SetAttribute(const QString& name, const QString& value) {
  // The pages come after the attributes.
  if (name == "selectedid") {
    first = value.toInt();
  } else {
    CContainerUI::SetAttribute(name, value);
  }
}
