#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "addresscheck.h"
#include "common/toolkit/windowimplbase.h"

class FrameWindow;

// The first start: which photo cloud holds the pictures. Step 1 is the choice, step 2 the
// name and password of a cloud elsewhere.
class FirstRunPage : public WindowImplBaseEx {
 public:
  explicit FirstRunPage(FrameWindow& of);
  ~FirstRunPage() override;
  QString GetSkinFile() override { return QStringLiteral("Desktop/FirstRun.xml"); }
  const char* GetWindowClassName() const override { return "FirstRun"; }
  CControlUI* CreateControl(const QString& element) override;
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;

  // How an address is asked, on a worker; tests bring their own.
  std::function<AddressCheck::Answer(const std::string& server, const std::function<bool()>& goesOn)> ask;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  void ShowStep(int next);
  void OnNext();
  void OnAddress();
  // Asks the address that is typed; nothing for what is none.
  void Check();
  void OnChecked(const QString& address, AddressCheck::Answer answer);
  void StopCheck();
  // The line below the address: what is said of it, with an icon; or a ring and a way to stop.
  void ShowCheck(const char* words, const char* icon, const char* color);
  void SignIn();
  void Wait(bool busy);
  void Fail(const QString& words);
  QString TextOf(const char* name) const;

  FrameWindow& frame;
  int step = 1;
  std::shared_ptr<std::atomic<bool>> asking;  // of the check that runs; false once nobody waits for it
  QString answered;                           // the address that has answered
  bool wantsOn = false;                       // Next was pressed: on with the answer
};
