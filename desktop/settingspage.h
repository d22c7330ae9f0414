#pragma once

#include <utility>
#include <vector>

#include "common/toolkit/container.h"

class FrameWindow;

// Account, import, downloads, appearance, this computer. Changes act at once.
class SettingsPage : public CVerticalLayoutUI {
 public:
  explicit SettingsPage(FrameWindow& of) : frame(of) {}
  void DoInit() override;
  void Reload();
  void OnNotify(TNotifyUI& message);

  // Anew when folders have come or gone, or cannot all be watched.
  void ShowWatched();

 private:
  void Say(const char* name, const QString& words);
  void Show(const char* name, bool on);
  void Check(const char* name, bool on);
  void OnSwitch(const QString& name, bool on);
  void OnClick(const QString& name, CControlUI& sender);
  void ShowAvatar(const QString& user);
  void AskSpace();
  // A menu of what a value may be, below the control that shows it.
  template <class Value>
  void Choose(CControlUI& at, const std::vector<std::pair<Value, QString>>& choices, const Value& now,
              void (*set)(const Value&));
  void ChooseLanguage(CControlUI& at);
  void ChooseLimit(CControlUI& at, qint64 now, void (*set)(const qint64&));
  void ChooseDownloads();
  void AddWatched();
  void ExportKeys();

  FrameWindow& frame;
  QStringList watchedShown;
};
