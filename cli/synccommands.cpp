#include <CLI/CLI.hpp>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "commands.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "downloadrun.h"
#include "host/cserverpushservice.h"
#include "host/globalparamwrapper.h"
#include "host/userauthservice.h"
#include "password.h"
#include "store/dbhelper.h"
#include "sync/synchelper.h"
#include "transfer/gallerytransmanager.h"
#include "utils/globaldata.h"

namespace {

// Cycles that may follow each other before the two sides are taken to be apart
// for good: a first download, a pull, what goes up, and what that causes.
constexpr int kMaxCycles = 10;
constexpr std::chrono::milliseconds kWatchStep{200};

const char* LoginText(UserAuthService::LoginResult result) {
  switch (result) {
    case UserAuthService::LoginResult::Done:
      return "logged in";
    case UserAuthService::LoginResult::Refused:
      return "wrong name or password, or the account is disabled";
    case UserAuthService::LoginResult::Unreachable:
      return "no photo cloud answers there";
    case UserAuthService::LoginResult::NotAllowed:
      return "the address must begin with https:// unless it is this computer";
    case UserAuthService::LoginResult::NotStored:
      return "the profile cannot be written";
    case UserAuthService::LoginResult::KeysUnreadable:
      return "the account's keys do not open with this password; nothing was stored";
    case UserAuthService::LoginResult::NoMemory:
      return "there is too little memory to derive keys from the password";
  }
  return "";
}

Exit Login(const std::string& server, const std::string& user, const std::string& passwordFile,
           Output& output) {
  const auto password = ReadPassword(passwordFile);
  if (!password) {
    output.Error("cannot read the password file " + passwordFile);
    return Exit::Failed;
  }
  const auto result = UserAuthService::GetInstance()->Login(server, user, *password);
  if (result == UserAuthService::LoginResult::Done) {
    output.Say("Logged in at " + server + " as " + user + ".");
    return Exit::Done;
  }
  output.Error("cannot log in at " + server + ": " + LoginText(result));
  return Exit::Failed;
}

// The name that a user knows what failed by; empty when it is about no one thing.
std::string FileOf(const SyncError& error) {
  auto& gallery = Gallery::GetInstance();
  if (const auto file = gallery.GetFile(error.item)) return platform::DisplayText(file->FileName());
  if (const auto album = gallery.GetAlbum(error.item)) return ShownName(*album);
  return error.item;
}

// "failed at STEP, NAME: CAUSE"
std::string ErrorText(const SyncError& error) {
  const std::string name = FileOf(error);
  return "failed at " + error.step + (name.empty() ? "" : ", " + name) + ": " + error.cause;
}

Json::Value StateJson(const SyncState& state) {
  Json::Value json(Json::objectValue);
  json["status"] = static_cast<int>(state.status);
  json["mode"] = static_cast<int>(state.mode);
  json["latestVersion"] = Json::Int64{state.row.LatestVersion};
  json["albumListVersion"] = state.row.AlbumListVersion;
  json["hasDownAll"] = Json::Int64{state.row.HasDownAll};
  json["cursor"] = state.row.Cursor;
  json["fileCursor"] = state.row.FileCursor;
  json["lockHeld"] = state.lockHeld;
  json["pendingAlbums"] = static_cast<Json::UInt64>(state.pendingAlbums);
  json["pendingFiles"] = static_cast<Json::UInt64>(state.pendingFiles);
  json["pendingUploads"] = static_cast<Json::UInt64>(state.pendingUploads);
  json["requeued"] = static_cast<Json::UInt64>(state.requeued);
  json["errorStep"] = state.lastError.step;
  json["errorCause"] = state.lastError.cause;
  json["errorItem"] = state.lastError.item;
  json["errorFile"] = FileOf(state.lastError);
  json["errorTime"] = Json::Int64{state.lastError.timeMs};
  return json;
}

void PrintCycle(const SyncState& state, Output& output) {
  constexpr const char* kModes[] = {"no answer",        "new account", "full download",
                                    "resumed download", "comparison",  "changes"};
  std::string text = kModes[static_cast<std::size_t>(state.mode)];
  text += ", version " + std::to_string(state.row.LatestVersion) +
          ", waiting: " + std::to_string(state.pendingAlbums) + " albums, " +
          std::to_string(state.pendingFiles) + " changed files, " + std::to_string(state.pendingUploads) +
          " contents";
  if (state.requeued > 0)
    text += "; " + std::to_string(state.requeued) + " pictures that the cloud has lost go up again";
  if (!state.lastError.step.empty()) text += "; " + ErrorText(state.lastError);
  output.Print(StateJson(state), text);
}

// Pictures whose content the cloud has lost, as far as this device has heard of it.
void PrintLostContents(Output& output) {
  Gallery::Files lost;
  if (!DBHelper::GetInstance().GetLostFiles(lost) || lost.empty()) return;
  const auto here = std::count_if(lost.begin(), lost.end(), [](const GalleryFile::Ptr& file) {
    std::error_code ignored;
    const std::wstring path = file->LocalPath();
    return !path.empty() && std::filesystem::is_regular_file(platform::NativePath(path), ignored);
  });
  Json::Value json(Json::objectValue);
  json["lostContents"] = static_cast<Json::UInt64>(lost.size());
  json["lostContentsHere"] = Json::Int64{here};
  std::string text = "The cloud has lost the content of " + std::to_string(lost.size()) + " pictures.";
  if (here > 0) {
    text += " " + std::to_string(here) +
            " of them lie on this computer; \"zentaractl sync --give-back\" sends them again.";
  }
  output.Print(json, text);
}

// Shows how many contents are still on their way up.
class UploadProgress : public ISyncCallback {
 public:
  explicit UploadProgress(Output& to) : output(to) { SyncHelper::GetInstance().SetCallback(this); }
  ~UploadProgress() { SyncHelper::GetInstance().SetCallback(nullptr); }

  void Notify(std::int32_t) override {}
  void ShowWindow() override {}
  void OnSyncStatus(SyncStatus status, std::int64_t count) override {
    if (status != SyncStatus::UPLOAD || count < 0) return;
    const auto figures = GalleryTransManager::GetInstance().GetFigures(TaskType::Upload);
    output.Progress(std::to_string(count) + " files to upload, " + SizeText(figures.speed) + "/s");
  }

 private:
  Output& output;
};

// Uploads that have failed in this run; their files keep waiting.
bool PrintFailedUploads(Output& output) {
  bool any = false;
  for (const auto& task : GalleryTransManager::GetInstance().Tasks(TaskType::Upload)) {
    if (task->Status() != TaskStatus::Failed) continue;
    PrintFailure(*task, output);
    any = true;
  }
  return any;
}

bool InStep(const SyncState& state) {
  return state.lastError.step.empty() && state.mode == SyncModeIncrement && state.pulled &&
         state.pendingAlbums == 0 && state.pendingFiles == 0;
}

bool IsServed() {
  const int generation = GlobalData::cloudGeneration;
  return generation != GlobalData::kGenerationV1 && generation != GlobalData::kGenerationV1Eur;
}

// Ends the running cycle at Ctrl-C; it gives the cloud's lock back on its way out.
class CycleStopper {
 public:
  CycleStopper() : thread([this] { Watch(); }) {}
  ~CycleStopper() {
    {
      std::lock_guard hold(lock);
      done = true;
    }
    changed.notify_all();
    thread.join();
  }
  CycleStopper(const CycleStopper&) = delete;
  CycleStopper& operator=(const CycleStopper&) = delete;

 private:
  void Watch() {
    std::unique_lock hold(lock);
    while (!changed.wait_for(hold, kWatchStep, [this] { return done; })) {
      if (Session::Stopped()) return SyncHelper::GetInstance().StopSync();
    }
  }

  std::mutex lock;
  std::condition_variable changed;
  bool done = false;
  std::thread thread;  // Last, so that it finds the rest made.
};

// Tells how each cycle ended, unless it ended as the one before. Called on the
// timer's thread.
class CycleTeller : public ISyncCallback {
 public:
  explicit CycleTeller(Output& to) : output(to) { SyncHelper::GetInstance().SetCallback(this); }
  ~CycleTeller() { SyncHelper::GetInstance().SetCallback(nullptr); }
  CycleTeller(const CycleTeller&) = delete;
  CycleTeller& operator=(const CycleTeller&) = delete;

  void Notify(std::int32_t) override {}
  void ShowWindow() override {}
  void OnSyncStatus(SyncStatus status, std::int64_t) override {
    if (status != SyncStatus::IDLE && status != SyncStatus::SYNCERROR) return;
    const SyncState state = SyncHelper::GetInstance().GetState();
    Json::Value told = StateJson(state);
    told.removeMember("errorTime");
    if (told == last) return;
    last = told;
    PrintCycle(state, output);
    output.Flush();
  }

 private:
  Output& output;
  Json::Value last;
};

Exit Watch(Output& output) {
  auto& sync = SyncHelper::GetInstance();
  CycleTeller teller(output);
  CServerPushService::GetInstance()->Start();
  sync.StartSync();
  output.Say("Watching; Ctrl-C ends it.");
  output.Flush();
  while (!Session::Stopped()) std::this_thread::sleep_for(kWatchStep);
  CServerPushService::GetInstance()->Stop();
  sync.StopSync();
  sync.StopTimer();
  return Exit::Done;
}

enum class Lost { GiveBack, Leave };

Exit Sync(bool watch, Lost lost, Output& output) {
  if (UserAuthService::GetInstance()->GetServerUrl().empty()) {
    output.Error("not logged in; \"zentaractl login --server URL --user NAME\" does it");
    return Exit::Failed;
  }
  if (watch) return Watch(output);
  auto& sync = SyncHelper::GetInstance();
  const UploadProgress progress(output);
  const CycleStopper stopper;
  for (int cycle = 0; cycle < kMaxCycles; ++cycle) {
    (void)sync.RunOnce();  // The state tells how it went.
    if (Session::Stopped()) {
      output.Error("stopped; the next sync goes on");
      return Exit::Failed;
    }
    if (!IsServed()) {
      output.Error("the photo cloud is of a generation that this program does not serve");
      return Exit::Failed;
    }
    const SyncState state = sync.GetState();
    PrintCycle(state, output);
    if (PrintFailedUploads(output)) return Exit::Failed;
    if (!state.lastError.step.empty() || state.mode == SyncModeFailed) return Exit::Failed;
    if (!InStep(state)) continue;
    if (lost == Lost::GiveBack) {
      // Another cycle takes over what comes of it.
      lost = Lost::Leave;
      if (!sync.GiveBackLost()) {
        output.Error("what the cloud has lost cannot be given back now");
        return Exit::Failed;
      }
      if (PrintFailedUploads(output)) return Exit::Failed;
      continue;
    }
    PrintLostContents(output);
    if (state.pendingUploads > 0 && GlobalParamWrapper::GetInstance()->GetTransfersPaused())
      output.Say("Transfers are paused; \"zentaractl resume\" ends the pause.");
    return Exit::Done;
  }
  output.Error("the gallery and the cloud are still apart after " + std::to_string(kMaxCycles) + " cycles");
  return Exit::Failed;
}

}  // namespace

void AddSyncCommands(CLI::App& app, const Choose& choose) {
  auto server = std::make_shared<std::string>();
  auto user = std::make_shared<std::string>();
  auto passwordFile = std::make_shared<std::string>();
  auto* login = app.add_subcommand("login", "Open a session at a photo cloud");
  login->add_option("--server", *server, "Its address")->required()->type_name("URL");
  login->add_option("--user", *user, "Your name there")->required()->type_name("NAME");
  login->add_option("--password-file", *passwordFile, "Read the password from this file's first line")
      ->type_name("FILE");
  login->callback([choose, server, user, passwordFile] {
    choose([=](Session&, Output& output) { return Login(*server, *user, *passwordFile, output); });
  });
  app.add_subcommand("logout", "End the session and go back to the local gallery")->callback([choose] {
    choose([](Session&, Output& output) {
      if (UserAuthService::GetInstance()->Logout()) return Exit::Done;
      output.Error("the profile cannot be written");
      return Exit::Failed;
    });
  });
  auto watch = std::make_shared<bool>(false);
  auto giveBack = std::make_shared<bool>(false);
  auto* sync = app.add_subcommand("sync", "Bring gallery and photo cloud into step");
  sync->add_flag("--watch", *watch, "Stay and keep them in step");
  sync->add_flag("--give-back", *giveBack, "Send again what the cloud has lost and this computer still has")
      ->excludes("--watch");
  sync->callback([choose, watch, giveBack] {
    choose([=](Session&, Output& output) {
      return Sync(*watch, *giveBack ? Lost::GiveBack : Lost::Leave, output);
    });
  });
}

void PrintSyncState(Output& output) {
  if (UserAuthService::GetInstance()->GetServerUrl().empty()) return;
  const SyncState state = SyncHelper::GetInstance().GetState();
  std::string text = "cloud               " + UserAuthService::GetInstance()->GetServerUrl() + ", version " +
                     std::to_string(state.row.LatestVersion);
  if (!state.lastError.step.empty()) {
    text +=
        "\nlast cycle          " + ErrorText(state.lastError) + ", " + TimeTextShort(state.lastError.timeMs);
  }
  output.Print(StateJson(state), text);
}
