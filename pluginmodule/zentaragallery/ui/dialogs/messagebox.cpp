#include "ui/dialogs/messagebox.h"

#include "ui/pagecontext.h"
#include "utils/messages.h"

ErrorWnd::ErrorWnd(QString title, QString text, QString button)
    : titleKey(std::move(title)), words(std::move(text)), buttonKey(std::move(button)) {}

void ErrorWnd::InitWindow() {
  WindowBusyBaseShadow::InitWindow();
  if (auto* label = FindControl(QStringLiteral("title"))) label->SetText(titleKey);
  if (auto* label = FindControl(QStringLiteral("label"))) label->SetText(words);
  if (auto* button = FindControl(QStringLiteral("btn_ok"))) {
    button->SetText(buttonKey);
    button->SetFocus();
  }
}

void ErrorWnd::Notify(TNotifyUI& message) {
  WindowBusyBaseShadow::Notify(message);
  if (message.sType == QStringLiteral("click")) Close(IDOK);
}

void PopMessageBox(QWidget& owner, const QString& title, const QString& words, const QString& button) {
  Asked<ErrorWnd> box(title, words, button);
  (void)box.RunOver(owner);
  Page::Post(WM_GALLERY_ERROR_CLOSED);
}
