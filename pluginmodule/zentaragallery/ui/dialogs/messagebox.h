#pragma once

#include <QString>
#include <QWidget>

#include "common/duilib_business/windowbusybaseshadow.h"

// A sentence and one button, "CErrorWnd".
class ErrorWnd : public WindowBusyBaseShadow {
 public:
  ErrorWnd(QString title, QString words, QString button);
  QString GetSkinFile() override { return QStringLiteral("Gallery/Error/ErrorWnd.xml"); }
  const char* GetWindowClassName() const override { return "CErrorWnd"; }
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;

 private:
  const QString titleKey, words, buttonKey;
};

// Shows it over the window around `owner` until it is closed. Keys or words.
void PopMessageBox(QWidget& owner, const QString& title, const QString& words, const QString& button);
