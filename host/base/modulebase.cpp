#include "host/base/modulebase.h"

#include <array>

namespace ZentaraDeskClient {

void ModuleBase::Tell(ModuleEvent event) {
  PostTask([this, event] { Handle(event); });
}

void ModuleBase::TellConfigChange(int change) {
  PostTask([this, change] { OnPcConfigChangeMess(change); });
}

void ModuleBase::Handle(ModuleEvent event) {
  using Operation = void (ModuleBase::*)();
  struct Route {
    ModuleEvent event;
    Operation operation;
  };
  static constexpr std::array<Route, 8> kRoutes{{
      {ModuleEvent::SyncDriveKeyOk, &ModuleBase::OnSyncDriveKeyOk},
      {ModuleEvent::CloudPhotoKeyOk, &ModuleBase::OnCloudPhotoKeyOk},
      {ModuleEvent::PushMessage, &ModuleBase::OnPushMessage},
      {ModuleEvent::GuserKeyMessage, &ModuleBase::OnGuserKeyMessage},
      {ModuleEvent::ResetDatabase, &ModuleBase::OnResetdatabase},
      {ModuleEvent::UserLogFailed, &ModuleBase::OnUserLogFailed},
      {ModuleEvent::NetworkResume, &ModuleBase::OnNetworkResume},
      {ModuleEvent::NetworkDisconnect, &ModuleBase::OnNetworkDisconnect},
  }};
  for (const Route& route : kRoutes) {
    if (route.event == event) (this->*route.operation)();
  }
}

void ModuleBase::OnPcConfigChangeMess(int /*change*/) {}
void ModuleBase::OnTimer(int /*id*/) {}

}  // namespace ZentaraDeskClient
