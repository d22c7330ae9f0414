// One device: the client without windows, driven by lines of JSON on standard
// input, each answered by one on standard output. Paths that only a test takes
// (a clock that is moved, writes that fail or end the process) live here, so that
// the client needs no switch for them.

#include <sqlite3.h>

#include <condition_variable>
#include <csignal>
#include <iostream>

#include "cloud/syncserviceoperationv2.h"
#include "common/platform/clock.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsontext.h"
#include "host/base/logger.h"
#include "host/push/cserverpushservice.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "sync/synchelper.h"
#include "zentaragalleryobj.h"

namespace {

using JsonText::Number;
using JsonText::Text;

// The system's time, moved by the test.
class MovedClock : public platform::Clock {
 public:
  explicit MovedClock(const platform::Clock& from) : base(from) {}
  std::int64_t Ticks() const override { return base.Ticks() + movedMs * 10'000; }
  std::atomic<std::int64_t> movedMs{0};

 private:
  const platform::Clock& base;
};

// Counts commits of all connections; the chosen one fails or ends the process.
struct WriteFaults {
  std::atomic<int> writes{0};
  std::atomic<int> failAt{0};
  std::atomic<int> endAt{0};
};
WriteFaults faults;

int OnCommit(void*) {
  const int number = ++faults.writes;
  if (number == faults.endAt) std::raise(SIGKILL);
  return number == faults.failAt ? 1 : 0;
}

// Counts statements that are no query, inside of transactions too; the process
// ends behind the chosen one.
std::atomic<int> statements{0};
std::atomic<int> endBehind{0};

int OnStatement(unsigned, void*, void* statement, void*) {
  const char* sql = sqlite3_sql(static_cast<sqlite3_stmt*>(statement));
  if (!sql || std::string_view(sql).starts_with("SELECT") || std::string_view(sql).starts_with("PRAGMA"))
    return 0;
  if (++statements == endBehind) std::raise(SIGKILL);
  return 0;
}

int HookConnection(sqlite3* connection, const char**, const void*) {
  sqlite3_commit_hook(connection, OnCommit, nullptr);
  sqlite3_trace_v2(connection, SQLITE_TRACE_PROFILE, OnStatement, nullptr);
  return SQLITE_OK;
}

// Lets a test wait for what the sync tells its window.
class Listener : public ISyncCallback {
 public:
  void Notify(std::int32_t) override {}
  void ShowWindow() override {}
  void OnSyncStatus(SyncStatus status, std::int64_t) override {
    {
      const std::lock_guard hold(lock);
      ++told[static_cast<int>(status)];
    }
    changed.notify_all();
  }
  int Count(int status) {
    const std::lock_guard hold(lock);
    return told[status];
  }
  bool Await(int status, int count) {
    std::unique_lock hold(lock);
    return changed.wait_for(hold, kPatience, [&] { return told[status] >= count; });
  }

 private:
  // Only a sync that hangs runs into it.
  static constexpr std::chrono::seconds kPatience{30};
  std::mutex lock;
  std::condition_variable changed;
  std::map<int, int> told;
};

// A lock that another device holds is asked for again at once.
class EagerService : public SyncServiceOperationV2 {
 public:
  EagerService() { lockRetryWait = std::chrono::milliseconds(1); }
};

// The cloud's lists, with a chance to do something while a page is asked for.
class WatchedListing : public ICloudListing {
 public:
  WatchedListing(std::shared_ptr<ICloudListing> of, const std::function<void()>& inPage)
      : listing(std::move(of)), onPage(inPage) {}
  std::int32_t GetCutStatus() override { return listing->GetCutStatus(); }
  std::unique_ptr<CloudVersion> GetAllVersion() override { return listing->GetAllVersion(); }
  std::unique_ptr<std::vector<Album::Ptr>> GetAlbums(const std::string& cursor) override {
    return listing->GetAlbums(cursor);
  }
  std::unique_ptr<MediaPage> GetFiles(std::string& cursor, int kind, bool* expired) override {
    if (onPage) onPage();
    return listing->GetFiles(cursor, kind, expired);
  }
  void ForgetCursor() override { listing->ForgetCursor(); }
  std::unique_ptr<MediaPage> GetFilesByAlbumId(const std::string& albumId) override {
    return listing->GetFilesByAlbumId(albumId);
  }
  std::unique_ptr<std::vector<CloudFileInfo>> GetFileDetail(const std::vector<std::string>& ids) override {
    return listing->GetFileDetail(ids);
  }
  std::int32_t Failures503() const override { return listing->Failures503(); }
  std::int64_t Last503Ms() const override { return listing->Last503Ms(); }

 private:
  const std::shared_ptr<ICloudListing> listing;
  const std::function<void()>& onPage;
};

class Device {
 public:
  Json::Value Do(const Json::Value& command);

 private:
  using Answer = Json::Value (Device::*)(const Json::Value&);

  Json::Value Open(const Json::Value& command);
  Json::Value CreateAlbum(const Json::Value& command);
  Json::Value RenameAlbum(const Json::Value& command);
  Json::Value DeleteAlbum(const Json::Value& command);
  Json::Value Recycle(const Json::Value& command);
  Json::Value Recover(const Json::Value& command);
  Json::Value Delete(const Json::Value& command);
  Json::Value Favorite(const Json::Value& command);
  Json::Value Move(const Json::Value& command);
  Json::Value Import(const Json::Value& command);
  Json::Value Cycle(const Json::Value& command);
  Json::Value Briefing(const Json::Value& command);
  Json::Value CycleWithBriefing(const Json::Value& command);
  Json::Value Watch(const Json::Value& command);
  Json::Value Await(const Json::Value& command);
  Json::Value Dump(const Json::Value& command);
  Json::Value MoveClock(const Json::Value& command);
  Json::Value FailWrite(const Json::Value& command);
  Json::Value EndAtWrite(const Json::Value& command);
  Json::Value Writes(const Json::Value& command);
  Json::Value EndBehindStatement(const Json::Value& command);

  static Album::Ptr AlbumOf(const Json::Value& command) { return gallery().GetAlbum(Text(command, "album")); }
  static Gallery::Files FilesOf(const Json::Value& command) {
    const auto file = gallery().GetFile(Text(command, "id"));
    return file ? Gallery::Files{file} : Gallery::Files{};
  }
  static Gallery& gallery() { return Gallery::GetInstance(); }

  MovedClock clock{platform::Clock::Get()};
  ZentaraGalleryObj object;
  Listener listener;
  std::function<void()> onPage;
};

Json::Value Device::Do(const Json::Value& command) {
  static const std::map<std::string, Answer> commands = {
      {"open", &Device::Open},
      {"createAlbum", &Device::CreateAlbum},
      {"renameAlbum", &Device::RenameAlbum},
      {"deleteAlbum", &Device::DeleteAlbum},
      {"recycle", &Device::Recycle},
      {"recover", &Device::Recover},
      {"delete", &Device::Delete},
      {"favorite", &Device::Favorite},
      {"move", &Device::Move},
      {"import", &Device::Import},
      {"cycle", &Device::Cycle},
      {"briefing", &Device::Briefing},
      {"cycleWithBriefing", &Device::CycleWithBriefing},
      {"watch", &Device::Watch},
      {"await", &Device::Await},
      {"dump", &Device::Dump},
      {"moveClock", &Device::MoveClock},
      {"failWrite", &Device::FailWrite},
      {"endAtWrite", &Device::EndAtWrite},
      {"writes", &Device::Writes},
      {"endBehindStatement", &Device::EndBehindStatement},
  };
  const auto found = commands.find(Text(command, "do"));
  if (found != commands.end()) return (this->*found->second)(command);
  Json::Value unknown(Json::objectValue);
  unknown["unknownCommand"] = Text(command, "do");
  return unknown;
}

Json::Value Device::Open(const Json::Value& command) {
  platform::SetProfileRoot(Text(command, "profile"));
  platform::Clock::Replace(&clock);
  (void)sqlite3_auto_extension(reinterpret_cast<void (*)()>(HookConnection));
  (void)Logger::CloudLogger::GetInstance()->Open(std::filesystem::path(Text(command, "profile")) /
                                                 "device.log");
  (void)GlobalParamWrapper::GetInstance()->Load();
  auto& session = *UserAuthService::GetInstance();
  Json::Value answer(Json::objectValue);
  answer["opened"] = session.Load();
  if (session.GetServerUrl().empty()) {
    answer["opened"] = session.Login(Text(command, "server"), Text(command, "user"),
                                     Text(command, "password")) == UserAuthService::LoginResult::Done;
  }
  object.InitWnd();
  auto services = HostSyncServices();
  services.makeService = [] { return std::make_unique<EagerService>(); };
  services.listing = [this, make = services.listing] {
    return std::make_shared<WatchedListing>(make(), onPage);
  };
  auto& sync = SyncHelper::GetInstance();
  sync.SetServices(std::move(services));
  sync.SetCallback(&listener);
  if (!sync.LoadDataToMemory()) answer["opened"] = false;
  answer["device"] = platform::WideToUtf8(GlobalParamWrapper::GetInstance()->GetSystemUUid());
  return answer;
}

Json::Value Device::CreateAlbum(const Json::Value& command) {
  const auto album = gallery().CreateAlbum(platform::Utf8ToWide(Text(command, "name")), false, -1);
  return album ? album->AlbumId.Get() : std::string();
}

Json::Value Device::RenameAlbum(const Json::Value& command) {
  return gallery().RenameAlbum(AlbumOf(command), platform::Utf8ToWide(Text(command, "name")));
}

Json::Value Device::DeleteAlbum(const Json::Value& command) {
  return gallery().DeleteAlbum(AlbumOf(command));
}

Json::Value Device::Recycle(const Json::Value& command) {
  return gallery().RecycleFiles(FilesOf(command), false) == 1;
}

Json::Value Device::Recover(const Json::Value& command) {
  return gallery().RecoverFiles(FilesOf(command), false) == 1;
}

Json::Value Device::Delete(const Json::Value& command) {
  return gallery().DeleteFiles(FilesOf(command), false) == 1;
}

Json::Value Device::Favorite(const Json::Value& command) {
  const auto files = FilesOf(command);
  return !files.empty() && gallery().FavoriteFiles(files.front(), command["on"].asBool());
}

Json::Value Device::Move(const Json::Value& command) {
  return gallery().MoveFiles(FilesOf(command), AlbumOf(command), false) == 1;
}

// A row as an import leaves it, without the picture: its content waits.
Json::Value Device::Import(const Json::Value& command) {
  const auto file = std::make_shared<GalleryFile>();
  file->SetUniqueId(Text(command, "id"));
  file->SetGuid(Text(command, "id"));
  file->SetFileName(platform::Utf8ToWide(Text(command, "name")));
  file->SetAlbumId(Text(command, "album"));
  file->CreateTime = platform::NowMs();
  file->FirstUpdateTime = platform::NowMs();
  file->SavedFileType = 1;
  file->Size = 1;
  file->IsLocalUpload = true;
  file->GalleryState = 1;
  return DBHelper::GetInstance().AddFiles({file}) && gallery().AddFiles({file}) == 1;
}

Json::Value Outcome(bool done) {
  const SyncState state = SyncHelper::GetInstance().GetState();
  Json::Value answer(Json::objectValue);
  answer["done"] = done;
  answer["mode"] = static_cast<int>(state.mode);
  answer["step"] = state.lastError.step;
  answer["cause"] = state.lastError.cause;
  answer["item"] = state.lastError.item;
  answer["lockHeld"] = state.lockHeld;
  answer["pending"] = Json::UInt64(state.pendingAlbums + state.pendingFiles);
  return answer;
}

Json::Value Device::Cycle(const Json::Value&) { return Outcome(SyncHelper::GetInstance().RunOnce()); }

Json::Value Device::Briefing(const Json::Value& command) {
  return SyncHelper::GetInstance().Briefing(static_cast<int>(Number(command, "type")));
}

// A cycle in whose first listed page a briefing by push is asked for.
Json::Value Device::CycleWithBriefing(const Json::Value&) {
  Json::Value answered;
  onPage = [&answered] {
    if (answered.isNull()) answered = SyncHelper::GetInstance().Briefing(2);
  };
  Json::Value answer = Outcome(SyncHelper::GetInstance().RunOnce());
  onPage = nullptr;
  answer["briefing"] = answered;
  return answer;
}

Json::Value Device::Watch(const Json::Value&) {
  CServerPushService::GetInstance()->Start();
  SyncHelper::GetInstance().StartSync();
  return true;
}

// With "count", waits until the status was told so often; answers how often.
Json::Value Device::Await(const Json::Value& command) {
  const int status = static_cast<int>(Number(command, "status"));
  (void)listener.Await(status, static_cast<int>(Number(command, "count")));
  return listener.Count(status);
}

Json::Value Device::Dump(const Json::Value&) {
  Json::Value dump(Json::objectValue);
  dump["albums"] = Json::Value(Json::objectValue);
  dump["files"] = Json::Value(Json::objectValue);
  Gallery::Albums albums;
  gallery().GetAlbums(albums, true);
  for (const auto& album : albums) {
    Json::Value& entry = dump["albums"][album->AlbumId.Get()];
    entry["name"] = platform::WideToUtf8(album->AlbumName.Get());
    entry["properties"] = album->Expand().isObject() ? album->Expand() : Json::Value(Json::objectValue);
    if (!album->Operation.Get().empty()) entry["waits"] = album->Operation.Get();
  }
  Gallery::Files files;
  gallery().GetAllFiles(files);
  for (const auto& file : files) {
    Json::Value& entry = dump["files"][file->UniqueId()];
    entry["name"] = platform::WideToUtf8(file->FileName());
    entry["album"] = file->AlbumId();
    entry["bin"] = file->IsInBin();
    entry["favorite"] = file->IsFavorite.Get();
    entry["size"] = Json::Int64(file->Size);
    entry["createTime"] = Json::Int64(file->CreateTime);
    entry["properties"] = file->Expand().isObject() ? file->Expand() : Json::Value(Json::objectValue);
    // Where a user finds it must agree with what it says of itself.
    const auto home = gallery().GetAlbum(file->IsInBin() ? kRecycleAlbumId : file->AlbumId());
    if (!home || !home->Holds(file)) entry["notInItsAlbum"] = true;
    if (file->GalleryState != 0) entry["waits"] = file->GalleryState.Get();
    if (file->IsDeleted) entry["deleted"] = true;
  }
  return dump;
}

Json::Value Device::MoveClock(const Json::Value& command) {
  clock.movedMs += Number(command, "ms");
  return true;
}

Json::Value Device::FailWrite(const Json::Value& command) {
  faults.writes = 0;
  faults.failAt = static_cast<int>(Number(command, "number"));
  return true;
}

Json::Value Device::EndAtWrite(const Json::Value& command) {
  faults.writes = 0;
  faults.endAt = static_cast<int>(Number(command, "number"));
  return true;
}

Json::Value Device::Writes(const Json::Value&) { return faults.writes.load(); }

Json::Value Device::EndBehindStatement(const Json::Value& command) {
  statements = 0;
  endBehind = static_cast<int>(Number(command, "number"));
  return true;
}

}  // namespace

int main() {
  Device device;
  for (std::string line; std::getline(std::cin, line);) {
    const Json::Value command = JsonText::Parse(line).value_or(Json::Value());
    std::cout << JsonText::Write(device.Do(command)) << std::endl;
  }
  std::_Exit(0);  // The test's end of the line is gone; nothing is left to save.
}
