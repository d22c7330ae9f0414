#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>
#include <thread>

#include <termios.h>
#include <unistd.h>

#include "commands.h"
#include "common/platform/text.h"
#include "host/cserverpushservice.h"
#include "host/userauthservice.h"
#include "sync/synchelper.h"

namespace {

// Cycles that may follow each other before the two sides are taken to be apart
// for good: a first download, a pull, what goes up, and what that causes.
constexpr int kMaxCycles = 10;
constexpr std::chrono::milliseconds kWatchStep{200};

// Keeps what is typed off the screen.
class HiddenInput {
 public:
  HiddenInput() {
    hidden = tcgetattr(STDIN_FILENO, &before) == 0;
    termios silent = before;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (hidden) tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
  }
  ~HiddenInput() {
    if (hidden) tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
  }
  HiddenInput(const HiddenInput&) = delete;
  HiddenInput& operator=(const HiddenInput&) = delete;

 private:
  termios before{};
  bool hidden = false;
};

std::string ReadPassword(const std::string& file) {
  std::string password;
  if (!file.empty()) {
    std::ifstream input(file);
    std::getline(input, password);
    return password;
  }
  std::cerr << "Password: " << std::flush;
  const HiddenInput hidden;
  std::getline(std::cin, password);
  std::cerr << '\n';
  return password;
}

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
  }
  return "";
}

Exit Login(const std::string& server, const std::string& user, const std::string& passwordFile,
           Output& output) {
  const auto result = UserAuthService::GetInstance()->Login(server, user, ReadPassword(passwordFile));
  if (result == UserAuthService::LoginResult::Done) {
    output.Say("Logged in at " + server + " as " + user + ".");
    return Exit::Done;
  }
  output.Error("cannot log in at " + server + ": " + LoginText(result));
  return Exit::Failed;
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
  json["errorStep"] = state.lastError.step;
  json["errorCause"] = state.lastError.cause;
  json["errorItem"] = state.lastError.item;
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
  if (!state.lastError.step.empty())
    text += "; failed at " + state.lastError.step + ": " + state.lastError.cause;
  output.Print(StateJson(state), text);
}

bool InStep(const SyncState& state) {
  return state.lastError.step.empty() && state.mode == SyncMode::Increment && state.pendingAlbums == 0 &&
         state.pendingFiles == 0;
}

Exit Watch(Output& output) {
  auto& sync = SyncHelper::GetInstance();
  CServerPushService::GetInstance()->Start();
  sync.StartSync();
  output.Say("Watching; Ctrl-C ends it.");
  while (!Session::Stopped()) std::this_thread::sleep_for(kWatchStep);
  CServerPushService::GetInstance()->Stop();
  PrintCycle(sync.GetState(), output);
  return Exit::Done;
}

Exit Sync(bool watch, Output& output) {
  if (UserAuthService::GetInstance()->GetServerUrl().empty()) {
    output.Error("not logged in; \"zentaractl login --server URL --user NAME\" does it");
    return Exit::Failed;
  }
  if (watch) return Watch(output);
  auto& sync = SyncHelper::GetInstance();
  for (int cycle = 0; cycle < kMaxCycles && !Session::Stopped(); ++cycle) {
    (void)sync.RunOnce();  // The state tells how it went.
    const SyncState state = sync.GetState();
    PrintCycle(state, output);
    if (!state.lastError.step.empty() || state.mode == SyncMode::Failed) return Exit::Failed;
    if (InStep(state)) return Exit::Done;
  }
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
  auto* sync = app.add_subcommand("sync", "Bring gallery and photo cloud into step");
  sync->add_flag("--watch", *watch, "Stay and keep them in step");
  sync->callback(
      [choose, watch] { choose([watch](Session&, Output& output) { return Sync(*watch, output); }); });
}

void PrintSyncState(Output& output) {
  if (UserAuthService::GetInstance()->GetServerUrl().empty()) return;
  const SyncState state = SyncHelper::GetInstance().GetState();
  output.Print(StateJson(state), "cloud               " + UserAuthService::GetInstance()->GetServerUrl() +
                                     ", version " + std::to_string(state.row.LatestVersion));
}
