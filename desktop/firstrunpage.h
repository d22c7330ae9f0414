#pragma once

#include "common/toolkit/windowimplbase.h"

class FrameWindow;

// The first start: which photo cloud holds the pictures. Step 1 is the choice, step 2 the
// name and password of a cloud elsewhere.
class FirstRunPage : public WindowImplBaseEx {
 public:
  explicit FirstRunPage(FrameWindow& of) : frame(of) {}
  QString GetSkinFile() override { return QStringLiteral("Desktop/FirstRun.xml"); }
  const char* GetWindowClassName() const override { return "FirstRun"; }
  CControlUI* CreateControl(const QString& element) override;
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  void ShowStep(int next);
  void OnNext();
  void SignIn();
  void Wait(bool busy);
  void Fail(const QString& words);
  QString TextOf(const char* name) const;

  FrameWindow& frame;
  int step = 1;
};
