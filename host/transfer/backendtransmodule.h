#pragma once

#include "host/base/modulebase.h"

namespace ZentaraDeskClient {

// Hands the host's events on to the transfers of all modules, on a thread of its
// own: a lost connection holds them, its return lets them go on, and a session
// that has ended stops them.
class BackendTransModule : public ModuleBase {
 public:
  static BackendTransModule& GetInstance();
  ~BackendTransModule() override { Stop(); }

  // Told by whoever watches the network; stored in GlobalParamWrapper. Starts the
  // thread.
  void NetworkChanged(bool connected);

 protected:
  void OnNetworkResume() override;
  void OnNetworkDisconnect() override;
  void OnUserLogFailed() override;
};

}  // namespace ZentaraDeskClient
