#include "common/toolkit/edit.h"

#include "common/toolkit/attributes.h"
#include "common/toolkit/resourcemanager.h"

using namespace toolkit;

CEditUI::CEditUI(QWidget* parent) : TControl<QLineEdit>(parent) {
  SetFont("body");
  connect(this, &QLineEdit::textChanged, this, [this] { Notify("textchanged"); });
  connect(this, &QLineEdit::returnPressed, this, [this] { Notify("return"); });
}

void CEditUI::ShowText(const QString& shown) {
  // A change of language must not undo what the user typed.
  if (shown != CControlUI::GetText() || text().isEmpty()) setText(shown);
  CControlUI::ShowText(shown);
}

void CEditUI::SetAttribute(const QString& name, const QString& value) {
  if (name == "prompt") {
    promptKey = value;
    setPlaceholderText(CResourceManager::GetText(value));
  } else if (name == "password") {
    setEchoMode(ToBool(value) ? QLineEdit::Password : QLineEdit::Normal);
  } else if (name == "readonly") {
    setReadOnly(ToBool(value));
  } else if (name == "maxchar") {
    setMaxLength(value.toInt());
  } else if (name == "error") {
    SetError(ToBool(value));
  } else {
    TControl<QLineEdit>::SetAttribute(name, value);
  }
}

void CEditUI::SetError(bool on) {
  if (error == on) return;
  error = on;
  Invalidate();
}

void CEditUI::Restyle() {
  CControlUI::Restyle();
  if (!promptKey.isEmpty()) setPlaceholderText(CResourceManager::GetText(promptKey));
}

void CEditUI::DoEvent(TEventUI& event) {
  TControl<QLineEdit>::DoEvent(event);
  if (event.Type == EventType::SetFocus) Notify("setfocus");
  if (event.Type == EventType::KillFocus) Notify("killfocus");
  if (event.Type == EventType::KeyDown && event.key == Qt::Key_Escape) Notify("escape");
}
