#include "host/transfer/backendtransmodule.h"

#include "host/base/globalparamwrapper.h"
#include "host/transfer/transfermanager.h"

namespace ZentaraDeskClient {

BackendTransModule& BackendTransModule::GetInstance() {
  static BackendTransModule instance;
  return instance;
}

void BackendTransModule::NetworkChanged(bool connected) {
  GlobalParamWrapper::GetInstance()->SetNetIsConnect(connected);
  (void)Start("transfer module");  // It may run already.
  Tell(connected ? ModuleEvent::NetworkResume : ModuleEvent::NetworkDisconnect);
}

void BackendTransModule::OnNetworkResume() {
  TransferManager::ForEach([](TransferManager& manager) { manager.OnNetworkResume(); });
}

void BackendTransModule::OnNetworkDisconnect() {
  TransferManager::ForEach([](TransferManager& manager) { manager.OnNetworkDisconnect(); });
}

void BackendTransModule::OnUserLogFailed() {
  TransferManager::ForEach([](TransferManager& manager) { manager.OnLogout(); });
}

}  // namespace ZentaraDeskClient
