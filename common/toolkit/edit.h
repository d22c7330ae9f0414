#pragma once

#include <QLineEdit>

#include "common/toolkit/tcontrol.h"

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

  // Draws the edge of an error until it is taken back.
  void SetError(bool on);
  bool HasError() const { return error; }
  void SetSelAll() { selectAll(); }

 protected:
  void ShowText(const QString& shown) override;

 private:
  QString promptKey;
  bool error = false;
};
