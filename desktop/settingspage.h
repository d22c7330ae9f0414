#pragma once

#include "common/toolkit/container.h"

class FrameWindow;

// Account, downloads, appearance, this computer. Changes act at once.
class SettingsPage : public CVerticalLayoutUI {
 public:
  explicit SettingsPage(FrameWindow& of) : frame(of) {}
  void DoInit() override;
  void Reload();
  void OnNotify(TNotifyUI& message);

 private:
  void Say(const char* name, const QString& words);
  void Choose(CControlUI& at, const QStringList& values, const QStringList& words, const QString& now,
              const std::function<void(const QString&)>& take);

  FrameWindow& frame;
};
