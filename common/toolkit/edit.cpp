#include "common/toolkit/edit.h"

#include <QContextMenuEvent>
#include <QHBoxLayout>
#include <QHash>
#include <QMenu>

#include "common/toolkit/attributes.h"
#include "common/toolkit/resourcemanager.h"

using namespace toolkit;

CEditUI::CEditUI(QWidget* parent) : TControl<QLineEdit>(parent) {
  SetFont("body");
  connect(this, &QLineEdit::textChanged, this, [this] { Notify("textchanged"); });
  connect(this, &QLineEdit::returnPressed, this, [this] { Notify("return"); });
}

void CEditUI::ShowText(const QString& shown) {
  // A change of language or theme must not undo what the user typed.
  const bool untouched = text() == CControlUI::GetText();
  const bool again = IsRestyling();
  if (untouched || !again) setText(shown);
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

QMenu* CEditUI::MakeMenu() {
  // Qt's items have no names, only their English words.
  static const QHash<QString, const char*> words{{"Undo", "IDS_TOOLKIT_UNDO"},
                                                 {"Redo", "IDS_TOOLKIT_REDO"},
                                                 {"Cut", "IDS_TOOLKIT_CUT"},
                                                 {"Copy", "IDS_TOOLKIT_COPY"},
                                                 {"Paste", "IDS_TOOLKIT_PASTE"},
                                                 {"Delete", "IDS_TOOLKIT_DELETE"},
                                                 {"Select All", "IDS_TOOLKIT_SELECT_ALL"}};
  QMenu* const menu = createStandardContextMenu();
  for (QAction* action : menu->actions()) {
    const char* key = words.value(action->text().section('\t', 0, 0).remove('&'));
    if (!key) continue;
    const QString shortcut = action->text().section('\t', 1, 1);
    action->setText(CResourceManager::GetText(key) + (shortcut.isEmpty() ? QString() : '\t' + shortcut));
    action->setIcon({});
  }
  return menu;
}

void CEditUI::contextMenuEvent(QContextMenuEvent* event) {
  QMenu* const menu = MakeMenu();
  menu->setAttribute(Qt::WA_DeleteOnClose);
  menu->popup(event->globalPos());
}

void CEditUI::PutInside(CControlUI& control) {
  inside = control.Widget();
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins({});
  row->addStretch();
  row->addWidget(inside);
  inside->setCursor(Qt::ArrowCursor);
  KeepClear();
}

void CEditUI::KeepClear() {
  if (!inside) return;
  const int room = inside->maximumWidth();
  setTextMargins(isRightToLeft() ? room : 0, 0, isRightToLeft() ? 0 : room, 0);
}

void CEditUI::changeEvent(QEvent* event) {
  TControl<QLineEdit>::changeEvent(event);
  if (event->type() == QEvent::LayoutDirectionChange) KeepClear();
}

void CEditUI::SetError(bool on) {
  if (error == on) return;
  error = on;
  Invalidate();
}

void CEditUI::Restyle() {
  CControlUI::Restyle();
  if (!promptKey.isEmpty()) setPlaceholderText(CResourceManager::GetText(promptKey));
  KeepClear();
}

void CEditUI::DoEvent(TEventUI& event) {
  TControl<QLineEdit>::DoEvent(event);
  if (event.Type == EventType::SetFocus) Notify("setfocus");
  if (event.Type == EventType::KillFocus) Notify("killfocus");
  if (event.Type == EventType::KeyDown && event.key == Qt::Key_Escape) Notify("escape");
}
