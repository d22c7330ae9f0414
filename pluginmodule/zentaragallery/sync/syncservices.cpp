#include "sync/syncservices.h"

#include "cloud/syncserviceoperationv2.h"
#include "host/base/coperationmanageservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/database/databaseservice.h"
#include "host/push/cserverpushservice.h"
#include "host/transfer/galleryupthdmng.h"
#include "sync/lostfilemanager.h"

using ZentaraDeskClient::GalleryUpThdMng;

namespace {

// The service itself, through its static calls.
class CloudV2Listing : public ICloudListing {
 public:
  std::int32_t GetCutStatus() override { return CloudPhotoV2Helper::GetCutStatus(); }
  std::unique_ptr<CloudVersion> GetAllVersion() override { return CloudPhotoV2Helper::GetAllVersion(); }
  std::unique_ptr<std::vector<Album::Ptr>> GetAlbums(const std::string& cursor) override {
    return CloudPhotoV2Helper::GetAlbums(cursor);
  }
  std::unique_ptr<MediaPage> GetFiles(std::string& cursor, int kind, bool* expired) override {
    return CloudPhotoV2Helper::GetFiles(cursor, kind, expired);
  }
  void ForgetCursor() override { CloudPhotoV2Helper::ForgetCursor(); }
  std::unique_ptr<MediaPage> GetFilesByAlbumId(const std::string& albumId) override {
    return CloudPhotoV2Helper::GetFilesByAlbumId(albumId);
  }
  std::unique_ptr<std::vector<CloudFileInfo>> GetFileDetail(const std::vector<std::string>& ids) override {
    return CloudPhotoV2Helper::GetFileDetail(ids);
  }
  std::int32_t Failures503() const override { return CloudPhotoV2Helper::failures503; }
  std::int64_t Last503Ms() const override { return CloudPhotoV2Helper::last503Ms; }
};

// Hands the push service's messages on. One for the process, as the service's
// delegates are told apart by their object.
class PushDelegate {
 public:
  static PushDelegate& GetInstance() {
    static PushDelegate instance;
    return instance;
  }
  void Register(SyncServices::Push next) {
    Remove();
    push = std::move(next);  // Nobody calls while it is not registered.
    CServerPushService::GetInstance()->AddDelegate({this, &PushDelegate::OnMessage});
  }
  void Remove() { CServerPushService::GetInstance()->RemoveDelegate({this, &PushDelegate::OnMessage}); }

 private:
  void OnMessage(const PushMessage& message) {
    if (push) push(message.command, message.body);
  }
  SyncServices::Push push;
};

void CreateRefundTasks(const std::vector<RefundTask>& tasks, bool lockHeld, std::function<void()> done) {
  std::vector<GalleryUpThdMng::Request> requests;
  requests.reserve(tasks.size());
  for (const RefundTask& task : tasks) requests.push_back({task.fileId, task.type});
  GalleryUpThdMng::GetInstance().CreateTask(std::move(requests), lockHeld, std::move(done));
}

}  // namespace

SyncServices HostSyncServices() {
  SyncServices services;
  services.listing = [] { return std::make_shared<CloudV2Listing>(); };
  services.makeService = [] { return std::make_unique<SyncServiceOperationV2>(); };
  services.briefingPeriodDays = [] {
    return COperationManageService::GetInstance()->GetPcClientProPertiesConfig().briefingPeriodDays;
  };
  services.spaceInfo = [] { return CloudSpaceQuery::GetSpaceInfo(); };
  services.registerPush = [](SyncServices::Push push) {
    PushDelegate::GetInstance().Register(std::move(push));
  };
  services.removePush = [] { PushDelegate::GetInstance().Remove(); };
  services.resetDatabase = [](const std::wstring& path) {
    return DatabaseService::GalleryDBProvider::ResetGalleryDatabase(path);
  };
  const auto lostFiles = std::make_shared<CloudPhoto::LostFileManager>();
  services.startLostFiles = [lostFiles](SyncServices::Refund content, SyncServices::Refund thumbnails) {
    lostFiles->StartupRefundTask(std::move(content), std::move(thumbnails));
  };
  services.stopLostFiles = [lostFiles] { lostFiles->Stop(); };
  services.giveBackLost = [](SyncServices::Refund content, SyncServices::Refund thumbnails) {
    CloudPhoto::LostFileManager once;  // Beside the search that a watch runs.
    return once.GiveBackNow(std::move(content), std::move(thumbnails));
  };
  services.contentPaused = [] { return GlobalParamWrapper::GetInstance()->GetTransfersPaused(); };
  services.pendingUploads = [] {
    std::vector<std::string> ids;
    for (const auto& request : GalleryUpThdMng::GetInstance().PendingTasks()) ids.push_back(request.fileId);
    return ids;
  };
  services.createRefundTasks = CreateRefundTasks;
  return services;
}
