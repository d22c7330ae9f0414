#pragma once

#include "common/duilib_business/windowbusybaseshadow.h"
#include "workspace.h"

// Asks for the present password and twice for the new one, and changes it.
// IDOK when that is done.
class PasswordWnd : public WindowBusyBaseShadow {
 public:
  explicit PasswordWnd(Workspace& of) : work(of) {}
  QString GetSkinFile() override { return QStringLiteral("Desktop/PasswordWnd.xml"); }
  const char* GetWindowClassName() const override { return "PasswordWnd"; }
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;

  static constexpr int kShortest = 8;  // as the service has it

 private:
  void OnOk();
  void Wait(bool busy);
  QString TextOf(const char* name) const;

  Workspace& work;
};

// The account's open sessions; each but this one can be ended.
class DevicesWnd : public WindowBusyBaseShadow {
 public:
  explicit DevicesWnd(Workspace& of) : work(of) {}
  QString GetSkinFile() override { return QStringLiteral("Desktop/DevicesWnd.xml"); }
  const char* GetWindowClassName() const override { return "DevicesWnd"; }
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;

 private:
  void Load();
  void Show(const QString& error, const std::vector<Workspace::Device>& devices);

  Workspace& work;
};
