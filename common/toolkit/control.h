#pragma once

#include <QMargins>
#include <QRect>
#include <QString>
#include <QVariant>
#include <QWidget>

#include "common/toolkit/types.h"

class CPaintManagerUI;
class QPainter;

// What every control of a skin can do, whichever Qt widget it is.
//
// A control is a QWidget that also is a CControlUI (see TControl); it lives and
// dies as a QWidget, owned by its parent. Everything runs on the user-interface
// thread.
//
// Sizes given in attributes and in the Set...Width, ...Height and ...Padding
// operations are pixels at 100 % and follow the window's scale by themselves.
// Everything else (SetPos, GetWidth, events, painting) is in real pixels, with
// positions in the parent's coordinates, as in QWidget::geometry.
//
// Attributes: name, text and tooltip (a text key, or the words), width and
// height ("fill", "auto" for its contents, or pixels), minwidth, maxwidth,
// minheight, maxheight, padding="l,t,r,b" (free space around it; start and end
// change places from right to left), align (start, center, end), valign (top,
// center, bottom), stretch, visible, enabled, bkcolor, textcolor, bordercolor
// (a token of the theme such as "panel", or #RRGGBB), bordersize, borderround
// (one radius, or "15,15"), font (a style of the theme), drop, touch, menu
// ("true": a click of the right button sends "menu"), cursor (hand, arrow,
// text, wait), tab ("false": not reached by Tab), mouse ("false": the pointer
// goes through it), accessiblename, tag.
class CControlUI {
 public:
  CControlUI() = default;
  CControlUI(const CControlUI&) = delete;
  CControlUI& operator=(const CControlUI&) = delete;
  virtual ~CControlUI();

  // The control of a widget; null when it is none.
  static CControlUI* Of(QObject* widget) { return dynamic_cast<CControlUI*>(widget); }
  // The widget's control or the next one up.
  static CControlUI* Around(QWidget* widget);

  virtual QWidget* Widget() = 0;
  const QWidget* Widget() const { return const_cast<CControlUI*>(this)->Widget(); }

  virtual QString GetClass() const { return QStringLiteral("ControlUI"); }
  // This control when it is, or takes the part of, a class of that name.
  virtual CControlUI* GetInterface(const QString& name) { return name == GetClass() ? this : nullptr; }

  QString GetName() const { return Widget()->objectName(); }
  void SetName(const QString& name) { Widget()->setObjectName(name); }
  CControlUI* GetParent() const;
  // The manager of the window around it; null outside any window.
  CPaintManagerUI* GetManager() const;

  virtual QString GetText() const { return words; }
  // Shows the text of the key, or the words themselves when there is no such
  // key, and shows it anew when the language changes.
  void SetText(const QString& keyOrWords);
  // Also the accessible name of a control that shows no words.
  void SetToolTip(const QString& keyOrWords);
  QString GetToolTip() const { return Widget()->toolTip(); }

  virtual void SetVisible(bool visible = true) { Widget()->setVisible(visible); }
  // Not hidden by itself: a visible control of a hidden page counts.
  bool IsVisible() const { return !Widget()->isHidden(); }
  virtual void SetEnabled(bool enabled = true) { Widget()->setEnabled(enabled); }
  bool IsEnabled() const { return Widget()->isEnabled(); }
  void SetFocus() { Widget()->setFocus(Qt::OtherFocusReason); }
  bool IsFocused() const { return Widget()->hasFocus(); }

  // Pixels at 100 %; -1 takes the limit away.
  void SetFixedWidth(int width);
  void SetFixedHeight(int height);
  void SetMinWidth(int width);
  void SetMaxWidth(int width);
  void SetMinHeight(int height);
  void SetMaxHeight(int height);
  void SetPadding(const QMargins& margins);
  // Real pixels; 0 when not fixed.
  int GetFixedWidth() const { return Scaled(fixedSize.width()); }
  int GetFixedHeight() const { return Scaled(fixedSize.height()); }
  // Free space around it, real pixels, with left and right as on the screen.
  QMargins GetPadding() const;
  void SetAlignment(Qt::Alignment alignment);
  Qt::Alignment GetAlignment() const { return place; }

  // Moves and sizes the control. Also called after every change of size that a
  // layout made, so an override sees all of them and may place its children;
  // call the base first. `rect` may be the one it already has.
  virtual void SetPos(const QRect& rect, bool needInvalidate = true);
  QRect GetPos() const { return Widget()->geometry(); }
  int GetWidth() const { return Widget()->width(); }
  int GetHeight() const { return Widget()->height(); }

  void Invalidate() { Widget()->update(); }
  // Asks the layouts above to place everything again.
  void NeedUpdate() { Widget()->updateGeometry(); }

  // Unknown names are said once each on the Qt warning channel.
  virtual void SetAttribute(const QString& name, const QString& value);
  // "name=\"thumbnail\" bkcolor=\"page\" drop=\"true\""
  void ApplyAttributeList(const QString& list);

  // Colours by token or #RRGGBB; empty for none.
  void SetBkColor(const QString& color);
  QString GetBkColor() const { return backColor; }
  void SetTextColor(const QString& color);
  void SetBorderColor(const QString& color);
  void SetFont(const QString& style);
  QString GetFontStyle() const { return fontStyle; }

  // Free for the owner of the control.
  void SetTag(std::uintptr_t value) { tag = value; }
  std::uintptr_t GetTag() const { return tag; }
  void SetUserData(const QVariant& data) { userData = data; }
  QVariant GetUserData() const { return userData; }

  // Called once, when the control stands in its window with its attributes and
  // its children, which were called before.
  virtual void DoInit() {}
  // Of the window and of containers: calls DoInit here and below, once.
  void Init();
  bool IsInitialised() const { return initialised; }
  // Called for every event before Qt handles it; an event marked handled goes
  // no further.
  virtual void DoEvent(TEventUI& event);
  // Called when scale, theme or language changed: everything made of them is
  // made again. Overrides call the base.
  virtual void Restyle();

  // Sends a notification with this control as the sender.
  void Notify(const QString& type, WPARAM wParam = 0, LPARAM lParam = 0, const QString& detail = {});

  // Percent, of the window around it.
  int GetScale() const;
  int Scaled(int pixels) const;
  double ScaledF(double pixels) const;

  // A colour by token or #RRGGBB, in the theme of the moment.
  static QColor ColorOf(const QString& color);
  // text-off while it is disabled.
  QColor TextColor() const;
  bool HasTextColor() const { return !foreColor.isEmpty(); }

  // Painting in this order, before the Qt widget paints itself.
  virtual void PaintBkColor(QPainter& painter);
  virtual void PaintBkImage(QPainter& painter);
  virtual void PaintBorder(QPainter& painter);

 protected:
  // Puts the words into the widget.
  virtual void ShowText(const QString& shown) { words = shown; }
  // The event loop's side, called by TControl. True when the event is done.
  bool Translate(QEvent& event);
  void AfterEvent(QEvent& event);
  virtual void InitChildren() {}

 private:
  using Setter = void (*)(CControlUI&, const QString&);
  static const QHash<QString, Setter>& Setters();
  bool Send(TEventUI& event);
  bool SendMouse(QEvent& event, EventType type);
  bool SendKey(QEvent& event, EventType type);
  bool SendTouch(QEvent& event);
  bool SendContextMenu(QEvent& event);
  void PaintGround();
  void ApplySizes();
  void ApplyTexts();
  void SetSizeRule(Qt::Orientation direction, const QString& value);

  QString textKey, toolTipKey, accessibleKey;
  QString words;
  QString backColor, foreColor, edgeColor, fontStyle;
  QSize fixedSize{-1, -1}, minSize{-1, -1}, maxSize{-1, -1};
  QMargins padding;
  QSize rounding;
  int edgeWidth = 1;
  Qt::Alignment place;
  std::uintptr_t tag = 0;
  QVariant userData;
  bool menu = false;
  bool initialised = false;
  bool inSetPos = false;
};
