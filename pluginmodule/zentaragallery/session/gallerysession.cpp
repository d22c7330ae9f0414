#include "session/gallerysession.h"

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/base/drivethreadpool.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/logger.h"
#include "host/push/cserverpushservice.h"
#include "store/sqlitedb.h"
#include "sync/synchelper.h"
#include "transfer/gallerytransmanager.h"
#include "transfer/thumbnails/gallerythumbnailmodule.h"

namespace {

// How soon a wait notices that it was stopped.
constexpr std::chrono::milliseconds kStopStep{100};

std::filesystem::path LogFolder() { return GallerySession::DataFolder() / "logs"; }

}  // namespace

std::filesystem::path GallerySession::DataFolder() { return platform::DataRoot() / "ZentaraCloud"; }

std::string GallerySession::ChooseProfile(const std::filesystem::path& folder, bool usersOwn) {
  if (!usersOwn) platform::SetProfileRoot(folder);
  const auto data = DataFolder();
  std::error_code failed;
  std::filesystem::create_directories(data, failed);
  if (!failed && platform::CanWrite(data)) return {};
  return "cannot write to the profile folder " + data.string() + (failed ? ": " + failed.message() : "");
}

std::string GallerySession::Open() {
  (void)Logger::CloudLogger::GetInstance()->Open(LogFolder() / "zentaractl.log");
  (void)GlobalParamWrapper::GetInstance()->Load();
  if (!UserAuthService::GetInstance()->Load())
    return "cannot read or make the account of the profile in " + platform::ConfigRoot().string();
  auto& sync = SyncHelper::GetInstance();
  sync.SetServices(HostSyncServices());
  sync.SetCallback(&listeners);
  return Load();
}

std::string GallerySession::Load() {
  object->InitWnd();
  loaded = SyncHelper::GetInstance().LoadDataToMemory();
  if (loaded) return {};
  return "cannot read the gallery's database " +
         platform::NativePath(platform::Utf8ToWide(SQLiteDB::GetInstance().Path())).string() +
         "; the log in " + LogFolder().string() + " tells why";
}

void GallerySession::Close() {
  loaded = false;
  object->CloseWndClear();
}

std::string GallerySession::OpenAgain() {
  SyncHelper::GetInstance().Reopen();
  return Load();
}

void GallerySession::Begin() {
  if (std::exchange(begun, true)) return;
  // A gallery without a service has nothing to keep in step with.
  ticking = !UserAuthService::GetInstance()->GetServerUrl().empty();
  ZentaraDeskClient::GalleryThumbnailModule::GetInstance().StartFetching();
  (void)CommonAbility::DriveThreadPool::GetInstance().Add([this, ticks = ticking] {
    (void)GalleryTransManager::GetInstance().LoadTaskFromDB();
    if (ticks) BeginTicks();
  });
}

void GallerySession::End() {
  if (!std::exchange(begun, false)) return;
  if (ticking) EndTicks();
  ZentaraDeskClient::GalleryThumbnailModule::GetInstance().Stop();
}

GallerySession::Turn::Turn(GallerySession& owner, Work what, const std::atomic<bool>& stopped,
                           const std::function<void()>& waiting)
    : session(owner), work(what) {
  platform::MutexLock hold(session.turnLock);
  bool& busy = session.busy[static_cast<std::size_t>(work)];
  if (busy && waiting) waiting();
  while (busy && !stopped) session.turnEnded.wait_for(session.turnLock, kStopStep);
  if (busy) return;
  busy = held = true;
}

GallerySession::Turn::~Turn() {
  if (!held) return;
  platform::MutexLock hold(session.turnLock);
  session.busy[static_cast<std::size_t>(work)] = false;
  session.turnEnded.notify_all();
}

void GallerySession::BeginTicks() {
  platform::MutexLock hold(ticksLock);
  if (tickUsers++ > 0) return;
  CServerPushService::GetInstance()->Start();
  SyncHelper::GetInstance().StartSync();
}

void GallerySession::EndTicks() {
  platform::MutexLock hold(ticksLock);
  if (--tickUsers > 0) return;
  CServerPushService::GetInstance()->Stop();
  SyncHelper::GetInstance().StopTicks();
}
