#pragma once

#include <QWidgetItem>

#include "common/toolkit/tcontrol.h"

class QBoxLayout;
class QLayout;
class QScrollArea;

// A control with children. The children of a plain "Container" lie over each
// other, each filling it or placed by its `align` and `valign`.
//
// Takes ownership of what is added; what is removed is out at once and deleted
// with the next turn of the event loop, so a control may remove itself. A child
// added to a container that stands in its window gets its DoInit at once.
// Attributes: inset="l,t,r,b" (free space inside), childpadding (between
// children), childalign, childvalign (for children without their own).
class CContainerUI : public CWidgetUI {
 public:
  explicit CContainerUI(QWidget* parent = nullptr);

  QString GetClass() const override { return QStringLiteral("ContainerUI"); }
  CControlUI* GetInterface(const QString& name) override;

  virtual bool Add(CControlUI* child) { return AddAt(child, GetCount()); }
  virtual bool AddAt(CControlUI* child, int index);
  virtual bool Remove(CControlUI* child);
  virtual bool RemoveAt(int index) { return Remove(GetItemAt(index)); }
  virtual void RemoveAll();
  // Null outside the range.
  CControlUI* GetItemAt(int index) const;
  // -1 when it is no child.
  int GetItemIndex(const CControlUI* child) const;
  virtual int GetCount() const { return static_cast<int>(items.size()); }
  // Looks below this container only.
  CControlUI* FindSubControl(const QString& name) const;

  void SetInset(const QMargins& margins);
  QMargins GetInset() const { return inset; }
  void SetChildPadding(int pixels);
  int GetChildPadding() const { return childPadding; }

  void SetAttribute(const QString& name, const QString& value) override;
  void Restyle() override;

 protected:
  // Without a layout (null) the children are placed by an override of SetPos.
  CContainerUI(QLayout* children, QWidget* parent);
  virtual void Place(CControlUI& child, int index);
  void InitChildren() override;
  void childEvent(QChildEvent* event) override;

 private:
  // The widget is kept beside: of a child that is being deleted only the address
  // is left.
  struct Item {
    QObject* widget;
    CControlUI* control;
  };

  QList<Item> items;
  QMargins inset;
  int childPadding = 0;
  Qt::Alignment childPlace;
};

// Children from top to bottom.
class CVerticalLayoutUI : public CContainerUI {
 public:
  explicit CVerticalLayoutUI(QWidget* parent = nullptr);
  QString GetClass() const override { return QStringLiteral("VerticalLayoutUI"); }

 protected:
  CVerticalLayoutUI(QLayout* children, QWidget* parent) : CContainerUI(children, parent) {}
};

// Children from start to end, in reading direction.
class CHorizontalLayoutUI : public CContainerUI {
 public:
  explicit CHorizontalLayoutUI(QWidget* parent = nullptr);
  QString GetClass() const override { return QStringLiteral("HorizontalLayoutUI"); }
};

// One child, as wide as this and as high as it wants to be; scrolls when that is more
// than there is room for. Element "ScrollBox".
class CScrollBoxUI : public CVerticalLayoutUI {
 public:
  explicit CScrollBoxUI(QWidget* parent = nullptr);
  QString GetClass() const override { return QStringLiteral("ScrollBoxUI"); }

  // False for a second child.
  bool AddAt(CControlUI* child, int index) override;

 protected:
  void InitChildren() override;

 private:
  QScrollArea* area;
  CControlUI* content = nullptr;
};

// Shows one child at a time. Sends "selectchanged" with the index in wParam.
// Attribute: selectedid.
class CTabLayoutUI : public CContainerUI {
 public:
  explicit CTabLayoutUI(QWidget* parent = nullptr);
  QString GetClass() const override { return QStringLiteral("TabLayoutUI"); }

  bool AddAt(CControlUI* child, int index) override;
  // False outside the range.
  bool SelectItem(int index);
  bool SelectItem(CControlUI* child) { return SelectItem(GetItemIndex(child)); }
  int GetCurSel() const;
  void DoInit() override { SelectItem(first); }

  void SetAttribute(const QString& name, const QString& value) override;

 protected:
  void Place(CControlUI& child, int index) override;

 private:
  int first = 0;
};
