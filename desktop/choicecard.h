#pragma once

#include <QRadioButton>

#include "common/toolkit/tcontrol.h"

// One of several large choices under one parent: an icon, what it is, a sentence about
// it, and the mark of a radio button. Sends "selectchanged" when it becomes the one.
//
// Attributes: icon, about (the sentence, a text key), selected.
class ChoiceCardUI : public TControl<QRadioButton> {
 public:
  ChoiceCardUI();
  QString GetClass() const override { return QStringLiteral("ChoiceCardUI"); }
  void SetAttribute(const QString& name, const QString& value) override;
  bool IsSelected() const { return isChecked(); }

 protected:
  void ShowText(const QString& shown) override;
  void paintEvent(QPaintEvent* event) override;
  bool hitButton(const QPoint&) const override { return true; }

 private:
  QString icon, about;
};
