#include <CLI/CLI.hpp>
#include <condition_variable>
#include <thread>

#include "commands.h"
#include "common/platform/mutex.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "downloadrun.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/requests/cloudtrouble.h"
#include "resources/resourcetext.h"
#include "sourceteller.h"
#include "store/dbhelper.h"
#include "sync/synchelper.h"
#include "transfer/gallerytransmanager.h"
#include "utils/globaldata.h"

namespace {

// Cycles that may follow each other before the two sides are taken to be apart
// for good: a first download, a pull, what goes up, and what that causes.
constexpr int kMaxCycles = 10;
constexpr std::chrono::milliseconds kWatchStep{200};

// The name that a user knows what failed by; empty when it is about no one thing.
std::string FileOf(const SyncError& error) {
  auto& gallery = Gallery::GetInstance();
  if (const auto file = gallery.GetFile(error.item)) return platform::DisplayText(file->FileName());
  if (const auto album = gallery.GetAlbum(error.item)) return ShownName(*album);
  return error.item;
}

// The sentence of a reason; what the engine calls it is in JSON and in the log.
std::string ErrorText(const SyncError& error) {
  if (error.step.empty()) return {};
  if (error.words == CloudTrouble::kNotTrusted)
    return NotTrustedText(UserAuthService::GetInstance()->GetServerUrl());
  if (!error.words.empty()) return ResourceText::GetUtf8(error.words);
  const std::string name = FileOf(error);
  return (name.empty() ? "" : name + ": ") + ResourceText::GetUtf8("IDS_SYNC_FAILED");
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
  json["errorWords"] = state.lastError.words;
  json["errorText"] = ErrorText(state.lastError);
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

// Shows how many contents are still on their way up, in a cycle of its own.
class UploadProgress : public ISyncCallback {
 public:
  UploadProgress(GallerySession& session, Output& to) : listeners(session.Listeners()), output(to) {
    listeners.Add(this);
  }
  ~UploadProgress() override { listeners.Remove(this); }
  UploadProgress(const UploadProgress&) = delete;
  UploadProgress& operator=(const UploadProgress&) = delete;

  void Notify(std::int32_t) override {}
  void ShowWindow() override {}
  void OnSyncStatus(SyncStatus status, std::int64_t count) override {
    if (status != SyncStatus::UPLOAD || count < 0 || std::this_thread::get_id() != thread) return;
    const auto figures = GalleryTransManager::GetInstance().GetFigures(TaskType::Upload);
    output.Progress(std::to_string(count) + " files to upload, " + SizeText(figures.speed) + "/s");
  }

 private:
  SyncListeners& listeners;
  Output& output;
  const std::thread::id thread = std::this_thread::get_id();
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

// Ends the own cycle when the command is stopped; it gives the cloud's lock back on
// its way out. Cycles of others go on.
class CycleStopper {
 public:
  explicit CycleStopper(const Output& of) : output(of), thread([this] { Watch(); }) {}
  ~CycleStopper() {
    {
      platform::MutexLock hold(lock);
      done = true;
    }
    changed.notify_all();
    thread.join();
  }
  CycleStopper(const CycleStopper&) = delete;
  CycleStopper& operator=(const CycleStopper&) = delete;

  void Begin() { begun = true; }

 private:
  void Watch() {
    platform::MutexLock hold(lock);
    while (!done) {
      if (begun && output.Stopped()) SyncHelper::GetInstance().EndCycle();
      changed.wait_for(lock, kWatchStep);
    }
  }

  const Output& output;
  std::atomic<bool> begun{false};
  platform::Mutex lock;
  std::condition_variable_any changed;
  bool done GUARDED_BY(lock) = false;
  std::thread thread;  // Last, so that it finds the rest made.
};

// One cycle of this command, behind one that runs. False when it was stopped.
bool RunCycle(Output& output) {
  if (output.Stopped()) return false;
  CycleStopper stopper(output);
  bool told = false;
  const auto giveUp = [&] {
    if (!std::exchange(told, true)) output.Hint("waiting for the cycle that runs");
    return output.Stopped().load();
  };
  // The state tells how it went.
  (void)SyncHelper::GetInstance().RunNext(giveUp, [&stopper] { stopper.Begin(); });
  return !output.Stopped();
}

// Tells how each cycle ended, unless it ended as the one before. The sync's thread
// leaves word and the command's prints: a terminal that stands still holds up no
// cycle.
class CycleTeller : public ISyncCallback {
 public:
  CycleTeller(GallerySession& session, Output& to) : listeners(session.Listeners()), output(to), sources(to) {
    listeners.Add(this);
  }
  ~CycleTeller() override { listeners.Remove(this); }
  CycleTeller(const CycleTeller&) = delete;
  CycleTeller& operator=(const CycleTeller&) = delete;

  void Notify(std::int32_t) override {}
  void ShowWindow() override {}
  void OnSyncStatus(SyncStatus status, std::int64_t) override {
    if (status != SyncStatus::IDLE && status != SyncStatus::SYNCERROR) return;
    const SyncState state = SyncHelper::GetInstance().GetState();
    platform::MutexLock hold(lock);
    ended.push_back(state);
    changed.notify_all();
  }
  // Prints until the command is stopped.
  void Run() {
    while (!output.Stopped()) {
      for (const SyncState& state : TakeEnded()) {
        Tell(state);
        (void)sources.Tell();
      }
    }
  }

 private:
  std::vector<SyncState> TakeEnded() {
    const auto end = std::chrono::steady_clock::now() + kWatchStep;
    platform::MutexLock hold(lock);
    while (ended.empty() && changed.wait_until(lock, end) == std::cv_status::no_timeout) {
    }
    return std::exchange(ended, {});
  }
  void Tell(const SyncState& state) {
    Json::Value told = StateJson(state);
    told.removeMember("errorTime");
    if (told == last) return;
    last = told;
    PrintCycle(state, output);
    output.Flush();
  }

  SyncListeners& listeners;
  Output& output;
  platform::Mutex lock;
  std::condition_variable_any changed;
  std::vector<SyncState> ended GUARDED_BY(lock);
  Json::Value last;
  SourceTeller sources;
};

Exit Watch(GallerySession& session, Output& output) {
  CycleTeller teller(session, output);
  session.BeginTicks();
  output.Say("Watching; Ctrl-C ends it.");
  output.Flush();
  teller.Run();
  session.EndTicks();
  return Exit::Done;
}

enum class Lost { GiveBack, Leave };

Exit Stopped(Output& output) {
  if (output.IsInterrupted()) output.Error("stopped; the next sync goes on");
  return Exit::Failed;
}

Exit Sync(GallerySession& session, bool watch, Lost lost, Output& output) {
  if (UserAuthService::GetInstance()->GetServerUrl().empty()) {
    output.Error("not logged in; \"zentaractl login --server URL --user NAME\" does it");
    return Exit::Failed;
  }
  if (watch) return Watch(session, output);
  const GallerySession::Turn turn(session, GallerySession::Work::Sync, output.Stopped(),
                                  [&output] { TellWaiting(output); });
  if (!turn.IsHeld()) return Stopped(output);
  auto& sync = SyncHelper::GetInstance();
  const UploadProgress progress(session, output);
  SourceTeller sources(output);
  bool missing = false;
  for (int cycle = 0; cycle < kMaxCycles; ++cycle) {
    if (!RunCycle(output)) return Stopped(output);
    if (!IsServed()) {
      output.Error("the photo cloud is of a generation that this program does not serve");
      return Exit::Failed;
    }
    const SyncState state = sync.GetState();
    PrintCycle(state, output);
    missing = sources.Tell();
    if (PrintFailedUploads(output)) return Exit::Failed;
    if (!state.lastError.step.empty() || state.mode == SyncModeFailed) return Exit::Failed;
    if (!InStep(state)) continue;
    if (lost == Lost::GiveBack) {
      // Another cycle takes over what comes of it.
      lost = Lost::Leave;
      if (!sync.GiveBackLost([&output] { return !output.Stopped(); })) {
        output.Error("what the cloud has lost cannot be given back now");
        return Exit::Failed;
      }
      if (output.Stopped()) return Stopped(output);
      if (PrintFailedUploads(output)) return Exit::Failed;
      continue;
    }
    PrintLostContents(output);
    if (state.pendingUploads > 0 && GlobalParamWrapper::GetInstance()->GetTransfersPaused())
      output.Say("Transfers are paused; \"zentaractl resume\" ends the pause.");
    return missing ? Exit::Failed : Exit::Done;
  }
  output.Error("the gallery and the cloud are still apart after " + std::to_string(kMaxCycles) + " cycles");
  return Exit::Failed;
}

}  // namespace

void AddSyncCommands(CLI::App& app, const Choose& choose) {
  auto watch = std::make_shared<bool>(false);
  auto giveBack = std::make_shared<bool>(false);
  auto* sync = app.add_subcommand("sync", "Bring gallery and photo cloud into step");
  sync->add_flag("--watch", *watch, "Stay and keep them in step");
  sync->add_flag("--give-back", *giveBack, "Send again what the cloud has lost and this computer still has")
      ->excludes("--watch");
  sync->callback([choose, watch, giveBack] {
    const Lost lost = *giveBack ? Lost::GiveBack : Lost::Leave;
    choose({[watch, lost](GallerySession& session, Output& output) {
              return Sync(session, *watch, lost, output);
            },
            CommandKind::Resumable, Account::Used});
  });
}

void PrintSyncState(Output& output) {
  if (UserAuthService::GetInstance()->GetServerUrl().empty()) return;
  const SyncState state = SyncHelper::GetInstance().GetState();
  std::string text = "cloud               " + UserAuthService::GetInstance()->GetServerUrl() + ", version " +
                     std::to_string(state.row.LatestVersion);
  if (!state.lastError.step.empty()) {
    text +=
        "\nlast error          " + ErrorText(state.lastError) + ", " + TimeTextShort(state.lastError.timeMs);
  }
  output.Print(StateJson(state), text);
}
