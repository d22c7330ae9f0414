#pragma once

#include <QLineEdit>

#include "common/toolkit/tcontrol.h"

class QMenu;

// A text field of one line. Sends "textchanged", "return", "escape",
// "setfocus", "killfocus".
//
// Attributes: prompt (a text key), password, readonly, maxchar, error.
class CEditUI : public TControl<QLineEdit> {
 public:
  explicit CEditUI(QWidget* parent = nullptr);

  QString GetClass() const override { return QStringLiteral("EditUI"); }
  void SetAttribute(const QString& name, const QString& value) override;
  void Restyle() override;
  void DoEvent(TEventUI& event) override;
  QString GetText() const override { return text(); }

  // Puts a button into the end of the field; the words keep clear of it.
  void PutInside(CControlUI& control);

  // Draws the edge of an error until it is taken back.
  void SetError(bool on);
  bool HasError() const { return error; }
  void SetSelAll() { selectAll(); }
  // The menu of a click of the right button; the caller owns it.
  QMenu* MakeMenu();

 protected:
  void ShowText(const QString& shown) override;
  void contextMenuEvent(QContextMenuEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  void KeepClear();

  QString promptKey;
  QWidget* inside = nullptr;
  bool error = false;
};
