#pragma once

#include <QCheckBox>
#include <QPushButton>
#include <QRadioButton>

#include "common/toolkit/tcontrol.h"

// How a button looks; drawn by GalleryStyle.
enum class ButtonKind {
  Plain,    // an edge
  Main,     // filled with the accent
  Danger,   // filled red
  Tool,     // icon and words, no ground
  Link,     // words only
  Icon,     // icon only, no ground
  Round,    // icon on a raised disc
  Chip,     // rounded, small
  Album,    // a line of a list: icon, words, a bar at the start when chosen
  Nav,      // icon above words
  Segment,  // a part of a segmented control
  Choice    // what is chosen of a menu that it opens: an edge, words, an arrow at the end
};

// A push button. Sends "click".
//
// Attributes: style (plain, main, danger, tool, link, icon, round, chip, album,
// nav, segment, choice), bareoff (without a ground while it is off), icon, iconsize, iconcolor, group
// (buttons of one group in one window are a choice: one of them is on; sends "selectchanged"), checkable,
// selected, shortcut, badge.
class CButtonUI : public TControl<QPushButton> {
 public:
  explicit CButtonUI(QWidget* parent = nullptr);

  QString GetClass() const override { return QStringLiteral("ButtonUI"); }
  void SetAttribute(const QString& name, const QString& value) override;
  void Restyle() override;
  void DoInit() override;

  void SetKind(ButtonKind value);
  ButtonKind Kind() const { return kind; }
  void SetIcon(const QString& name);
  QString IconName() const { return iconName; }
  QString IconColor() const { return iconColor; }
  // Real pixels.
  int IconSize() const { return Scaled(iconSize); }
  // Shows the icon alone, with the words as tooltip and accessible name.
  void SetIconOnly(bool only);
  bool IsIconOnly() const { return iconOnly; }
  bool IsBareWhenOff() const { return bareWhenOff; }

  void Selected(bool on) { setChecked(on); }
  bool IsSelected() const { return isChecked(); }
  // A small number at the icon; 0 shows none.
  void SetBadge(int count);
  int Badge() const { return badge; }

 protected:
  void ShowText(const QString& shown) override;

 private:
  ButtonKind kind = ButtonKind::Plain;
  QString iconName, iconColor, group;
  int iconSize = 20;
  int badge = 0;
  bool iconOnly = false;
  bool bareWhenOff = false;
};

// Sends "selectchanged". Attribute: selected; switch ("true": drawn as one).
class CCheckBoxUI : public TControl<QCheckBox> {
 public:
  explicit CCheckBoxUI(QWidget* parent = nullptr);
  QString GetClass() const override { return QStringLiteral("CheckBoxUI"); }
  void SetAttribute(const QString& name, const QString& value) override;
  void Selected(bool on) { setChecked(on); }
  bool IsSelected() const { return isChecked(); }
  bool IsSwitch() const { return isSwitch; }

 protected:
  void ShowText(const QString& shown) override;

 private:
  bool isSwitch = false;
};

// One of several under one parent. Sends "selectchanged" when it becomes the
// one. Attribute: selected.
class CRadioUI : public TControl<QRadioButton> {
 public:
  explicit CRadioUI(QWidget* parent = nullptr);
  QString GetClass() const override { return QStringLiteral("RadioUI"); }
  void SetAttribute(const QString& name, const QString& value) override;
  void Selected(bool on) { setChecked(on); }
  bool IsSelected() const { return isChecked(); }

 protected:
  void ShowText(const QString& shown) override;
};
