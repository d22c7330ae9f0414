#pragma once

#include "common/toolkit/container.h"
#include "common/toolkit/scrollbar.h"

class CListUI;

// A row of a list: a container that knows its list and its index. A click
// selects it. Element "ListContainerElement".
class CListContainerElementUI : public CHorizontalLayoutUI {
 public:
  explicit CListContainerElementUI(QWidget* parent = nullptr) : CHorizontalLayoutUI(parent) {}

  QString GetClass() const override { return QStringLiteral("ListContainerElementUI"); }
  void SetOwner(CListUI* list) { owner = list; }
  CListUI* GetOwner() const { return owner; }
  void SetIndex(int value) { index = value; }
  int GetIndex() const { return index; }
  bool IsSelected() const { return selected; }
  // Shows it as the selected one; sends nothing.
  virtual void Select(bool on);
  // Return or a double click: sends "itemactivate" from the list.
  virtual bool Activate();
  void DoEvent(TEventUI& event) override;
  void PaintBkColor(QPainter& painter) override;

 private:
  CListUI* owner = nullptr;
  int index = -1;
  bool selected = false;
};

// The part of a list that scrolls: rows below each other, no Qt layout, placed
// by SetPos at the scroll position. Its scroll bars lie at its end and bottom
// edges, children of the body too, but no rows.
class CListBodyUI : public CContainerUI {
 public:
  explicit CListBodyUI(CListUI* list = nullptr, QWidget* parent = nullptr);

  QString GetClass() const override { return QStringLiteral("ListBodyUI"); }

  // Places the rows one below the other from minus the scroll position, then
  // the bars.
  void SetPos(const QRect& rect, bool needInvalidate = true) override;

  // Makes the bars when they are not there.
  virtual void EnableScrollBar(bool vertical = true, bool horizontal = false);
  CScrollBarUI* GetVerticalScrollBar() const { return vertical; }
  CScrollBarUI* GetHorizontalScrollBar() const { return horizontal; }
  // Makes `bar` the vertical one, in place of the one before.
  void SetVerticalScrollBar(CScrollBarUI* bar);

  virtual QSize GetScrollPos() const;
  virtual QSize GetScrollRange() const;
  // Clamped to 0 and the range; places the rows again.
  virtual void SetScrollPos(QSize position);
  // Real pixels of one line and one notch of the wheel.
  void SetScrollStepSize(int pixels) { step = pixels; }
  int GetScrollStepSize() const { return step; }

  virtual void LineUp() { ScrollBy(-step); }
  virtual void LineDown() { ScrollBy(step); }
  virtual void PageUp() { ScrollBy(-height()); }
  virtual void PageDown() { ScrollBy(height()); }
  virtual void HomeUp() { SetScrollPos({GetScrollPos().width(), 0}); }
  virtual void EndDown() { SetScrollPos({GetScrollPos().width(), GetScrollRange().height()}); }
  virtual void TouchUp(int pixels) { ScrollBy(-pixels); }
  virtual void TouchDown(int pixels) { ScrollBy(pixels); }
  void EnsureVisible(int index);

  CListUI* GetOwner() const { return owner; }

 protected:
  // Shows, sizes and places the bars for contents of that size.
  virtual void ProcessScrollBar(const QRect& area, int cxRequired, int cyRequired);
  void ScrollBy(int pixels);
  void Place(CControlUI& child, int index) override;

 private:
  int PlaceRows();

  CListUI* owner = nullptr;
  CScrollBarUI* vertical = nullptr;
  CScrollBarUI* horizontal = nullptr;
  int step = 64;
  bool placing = false;
};

// A list: a body with rows, a selection of one row, keys and wheel. Rows are
// added to the list and land in its body.
//
// Sends "itemselect" (wParam: the index, lParam: the one before) when the user
// or SelectItem changed the selection and "itemactivate" (wParam: the index).
// Attributes: vscrollbar, hscrollbar, step, itemheight.
class CListUI : public CVerticalLayoutUI {
 public:
  explicit CListUI(QWidget* parent = nullptr);

  QString GetClass() const override { return QStringLiteral("ListUI"); }

  // Takes ownership. The rows of the body before are gone with it. Made by
  // itself at the first row when none was set.
  void SetBody(CListBodyUI* newBody);
  CListBodyUI* GetBody() const { return body; }

  bool Add(CControlUI* row) override { return AddAt(row, GetCount()); }
  bool AddAt(CControlUI* row, int index) override;
  bool Remove(CControlUI* row) override;
  bool RemoveAt(int index) override;
  void RemoveAll() override;
  // These are about rows; the list's own children are its body alone.
  CControlUI* GetItemAt(int index) const;
  int GetItemIndex(const CControlUI* row) const;
  int GetCount() const override;

  int GetCurSel() const { return selected; }
  // False for a row that is not there or disabled; -1 selects nothing.
  virtual bool SelectItem(int index, bool takeFocus = false);
  void EnsureVisible(int index);

  QSize GetScrollPos() const;
  QSize GetScrollRange() const;
  virtual void SetScrollPos(QSize position);
  void SetScrollStepSize(int pixels);
  CScrollBarUI* GetVerticalScrollBar() const;

  void DoEvent(TEventUI& event) override;
  void SetAttribute(const QString& name, const QString& value) override;

 private:
  bool HandleKey(int key);
  void NumberRows();

  CListBodyUI* body = nullptr;
  int selected = -1;
};
