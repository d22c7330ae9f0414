#pragma once

#include "common/duilib_business/windowbusybaseshadow.h"

// The libraries that the program stands on, by resources/licences.json: name, licence,
// and where this computer has its text. Their packages keep it in
// /usr/share/doc/PACKAGE/copyright; where that is not there, the licence's name is all.
class LicencesWnd : public WindowBusyBaseShadow {
 public:
  QString GetSkinFile() override { return QStringLiteral("Desktop/LicencesWnd.xml"); }
  const char* GetWindowClassName() const override { return "LicencesWnd"; }
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;

  // Where packages keep their texts; tests bring a folder of theirs.
  static inline QString documents = QStringLiteral("/usr/share/doc");

 private:
  void AddRow(const QString& name, const QString& licence, const QString& text);
};
