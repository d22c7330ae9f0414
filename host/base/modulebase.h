#pragma once

#include "host/base/msgthreadability.h"

namespace ZentaraDeskClient {

// What the host tells its modules.
enum class ModuleEvent {
  SyncDriveKeyOk,
  CloudPhotoKeyOk,
  PushMessage,
  GuserKeyMessage,
  ResetDatabase,
  UserLogFailed,
  NetworkResume,
  NetworkDisconnect,
};

// A module of the client: a thread with a queue, on which the host's events
// arrive as On... calls. An event that a module has no use for ends in the empty
// operation here.
//
// Tell may be called from any thread; the On... operations run on the module's.
class ModuleBase : public CommonAbility::MsgThreadAbility {
 public:
  void Tell(ModuleEvent event);
  void TellConfigChange(int change);

 protected:
  // The order of these is the order of their slots and stays.
  virtual void OnInit() {}     // the thread has started
  virtual void OnDestroy() {}  // the thread is about to end
  virtual void OnSyncDriveKeyOk() {}
  virtual void OnCloudPhotoKeyOk() {}
  virtual void OnPushMessage() {}
  virtual void OnGuserKeyMessage() {}
  virtual void OnResetdatabase() {}
  virtual void OnPcConfigChangeMess(int change);
  virtual void OnUserLogFailed() {}
  virtual void OnNetworkResume() {}
  virtual void OnNetworkDisconnect() {}
  virtual void OnTimer(int id);

  void ThreadStarted() final { OnInit(); }
  void ThreadStopping() final { OnDestroy(); }
  void TimerExpired(int id) final { OnTimer(id); }

 private:
  void Handle(ModuleEvent event);
};

}  // namespace ZentaraDeskClient
