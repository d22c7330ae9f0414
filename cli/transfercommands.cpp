#include <CLI/CLI.hpp>
#include <thread>

#include "commands.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "downloaderrors.h"
#include "downloadrun.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/transfer/speedmeter.h"
#include "store/dbhelper.h"
#include "transfer/gallerytransmanager.h"

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::milliseconds kWatchStep{1000};
constexpr std::chrono::milliseconds kStopStep{100};

bool MayTransfer(Output& output) {
  if (UserAuthService::GetInstance()->GetServerUrl().empty()) {
    output.Error("not logged in; \"zentaractl login --server URL --user NAME\" does it");
    return false;
  }
  if (GlobalParamWrapper::GetInstance()->GetTransfersPaused()) {
    output.Error("transfers are paused; \"zentaractl resume\" goes on");
    return false;
  }
  return true;
}

bool IsThere(const GalleryFile& file, const fs::path& folder) {
  const fs::path path = platform::NativePath(file.LocalPath());
  std::error_code error;
  return path.parent_path() == folder &&
         fs::file_size(path, error) == static_cast<std::uintmax_t>(file.Size) && !error;
}

// Everything that the cloud has and the folder has not.
Gallery::Files MissingIn(const fs::path& folder) {
  Gallery::Files files;
  Gallery::GetInstance().GetAllFiles(files);
  std::erase_if(files, [&folder](const GalleryFile::Ptr& file) {
    return file->IsLocalOnly() || file->IsInBin() || file->IsDeleted || IsThere(*file, folder);
  });
  return files;
}

bool Collect(const Session& session, const std::vector<std::string>& ids, Gallery::Files& files,
             Output& output) {
  bool all = true;
  for (const auto& id : ids) {
    const auto file = session.FindFile(id);
    if (file && !file->IsLocalOnly()) {
      files.push_back(file);
      continue;
    }
    output.Error(id + (file ? ": not in the cloud yet" : ": not in the gallery"));
    all = false;
  }
  return all;
}

std::set<std::string> IdsOf(const Gallery::Files& files) {
  std::set<std::string> ids;
  for (const auto& file : files) ids.insert(file->UniqueId());
  return ids;
}

Exit Download(const Session& session, const std::vector<std::string>& ids, bool everything,
              const std::string& to, Output& output) {
  if (ids.empty() != everything) {
    output.Error("name the files to download, or say --all");
    return Exit::Usage;
  }
  if (!MayTransfer(output)) return Exit::Failed;
  const fs::path folder = (output.Path(to) / "").lexically_normal().parent_path();
  Gallery::Files files = everything ? MissingIn(folder) : Gallery::Files();
  const bool found = Collect(session, ids, files, output);
  DownloadRun run(output);
  auto& manager = GalleryTransManager::GetInstance();
  const std::size_t completed = manager.GetFigures(TaskType::Download).completed;
  (void)manager.GalleryDownload(files, platform::WidePath(folder));
  if (!files.empty() && manager.Tasks(TaskType::Download).empty() &&
      manager.GetFigures(TaskType::Download).completed == completed) {
    output.Error("the downloads cannot be stored; the log tells why");
    return Exit::Failed;
  }
  run.Take(IdsOf(files));
  const Exit exit = run.Finish();
  return found ? exit : Exit::Failed;
}

// Goes on with what earlier runs have left.
Exit GoOn(Output& output) {
  if (!MayTransfer(output)) return Exit::Failed;
  DownloadRun run(output);
  std::vector<CompletedTaskProperty> finished;
  (void)DBHelper::GetInstance().GetCompleted(finished);  // Unread, they are printed once more.
  for (const auto& row : finished) run.KnowFinished(row.Id);
  auto& manager = GalleryTransManager::GetInstance();
  if (manager.LoadTaskFromDB() == finished.size()) {
    output.Say("No downloads wait.");
    return Exit::Done;
  }
  // Those that this process had listed already.
  manager.ResumeAll(TaskType::Download);
  (void)manager.RetryFailed(TaskType::Download);
  run.TakeAll();
  return run.Finish();
}

Exit SetPaused(bool paused, Output& output) {
  if (GlobalParamWrapper::GetInstance()->SetTransfersPaused(paused)) {
    if (paused)
      GalleryTransManager::GetInstance().PauseAll(TaskType::Download);  // Uploads look for themselves.
    return Exit::Done;
  }
  output.Error("the settings of the profile cannot be written");
  return Exit::Failed;
}

// A row of the list; what other processes do shows in it from look to look.
Json::Value TransferJson(const char* kind, const std::string& id, const std::wstring& name,
                         std::int64_t size) {
  Json::Value json(Json::objectValue);
  json["kind"] = kind;
  json["id"] = id;
  PutExact(json, "fileName", platform::ExactText(name));
  json["size"] = Json::Int64{size};
  return json;
}

std::string TransferLine(const Json::Value& json) {
  std::string line = Padded(json["kind"].asString(), 9) + Padded(json["status"].asString(), 12) +
                     Padded(SizeText(json["size"].asInt64()), 9);
  if (json.isMember("transferred")) line += Padded(SizeText(json["transferred"].asInt64()) + " there", 14);
  if (json["speed"].asInt64() > 0) line += Padded(SizeText(json["speed"].asInt64()) + "/s", 11);
  line += Shown(json["fileName"].asString());
  return json.isMember("error") ? line + "; " + DownloadErrors::Text(json) : line;
}

class TransferList {
 public:
  // False, told, when the database cannot be read.
  bool Read(Output& output) {
    std::vector<DownloadTaskProperty> downloads;
    std::vector<CompletedTaskProperty> finished;
    auto& database = DBHelper::GetInstance();
    if (!database.GetDownloads(downloads) || !database.GetCompleted(finished)) {
      output.Error("the stored transfers cannot be read; the log tells why");
      return false;
    }
    paused = GlobalParamWrapper::GetInstance()->GetTransfersPaused();
    errors = DownloadErrors::Load();
    list.clear();
    AddUploads();
    for (const auto& row : downloads) AddDownload(row);
    for (const auto& row : finished) AddFinished(row);
    return true;
  }
  const std::vector<Json::Value>& List() const { return list; }

 private:
  void AddUploads() {
    Gallery::Files files;
    Gallery::GetInstance().GetAllFiles(files);
    for (const auto& file : files) {
      if (!file->IsLocalOnly() || file->IsDeleted || file->IsInBin()) continue;
      Json::Value json = TransferJson("upload", file->UniqueId(), file->FileName(), file->Size);
      json["status"] = paused ? "paused" : "waiting";
      list.push_back(json);
    }
  }
  void AddDownload(const DownloadTaskProperty& row) {
    const auto now = std::chrono::steady_clock::now();
    const std::int64_t speed = speeds[row.Id].Measure(now, row.Position);
    Json::Value json = TransferJson("download", row.UniqueId, row.FileName, row.TotalLength);
    json["status"] = paused ? "paused" : speed > 0 ? "running" : "unfinished";
    json["transferred"] = Json::Int64{row.Position};
    json["speed"] = Json::Int64{speed};
    PutExact(json, "path", platform::NativePath(row.LocalPath).string());
    const Json::Value& error = errors[row.UniqueId];
    for (const char* key : {"error", "step", "text", "cause"}) {
      if (error.isObject() && error.isMember(key)) json[key] = error[key];
    }
    list.push_back(json);
  }
  void AddFinished(const CompletedTaskProperty& row) {
    Json::Value json = TransferJson("download", row.UniqueId, row.FileName, row.TotalLength);
    json["status"] = "done";
    json["endTime"] = Json::Int64{row.EndTime};
    PutExact(json, "path", platform::NativePath(row.LocalPath).string());
    list.push_back(json);
  }

  bool paused = false;
  Json::Value errors;                         // by file id
  std::map<std::int64_t, SpeedMeter> speeds;  // by row
  std::vector<Json::Value> list;
};

Exit Transfers(bool watch, Output& output) {
  TransferList list;
  std::vector<Json::Value> shown;
  do {
    if (!list.Read(output)) return Exit::Failed;
    for (const auto& json : list.List()) {
      if (std::find(shown.begin(), shown.end(), json) == shown.end()) output.Print(json, TransferLine(json));
    }
    shown = list.List();
    output.Flush();
    for (auto waited = kStopStep; watch && waited <= kWatchStep && !output.Stopped(); waited += kStopStep)
      std::this_thread::sleep_for(kStopStep);
  } while (watch && !output.Stopped());
  return Exit::Done;
}

}  // namespace

void AddTransferCommands(CLI::App& app, const Choose& choose) {
  auto ids = std::make_shared<std::vector<std::string>>();
  auto all = std::make_shared<bool>(false);
  auto to = std::make_shared<std::string>();
  auto* download = app.add_subcommand("download", "Bring originals from the photo cloud into a folder");
  download->add_option("ID", *ids, "Ids of files, as ls shows them");
  download->add_flag("--all", *all, "Everything that is not there yet");
  download->add_option("--to", *to, "The folder")->required()->type_name("DIR");
  download->callback([choose, ids, all, to] {
    choose({[=](Session& session, Output& output) { return Download(session, *ids, *all, *to, output); },
            CommandKind::Long, Account::Used});
  });
  auto watch = std::make_shared<bool>(false);
  auto* transfers = app.add_subcommand("transfers", "List uploads and downloads, waiting and finished");
  transfers->add_flag("--watch", *watch, "Stay and show what changes");
  transfers->callback([choose, watch] {
    choose({[watch](Session&, Output& output) { return Transfers(*watch, output); },
            *watch ? CommandKind::Resumable : CommandKind::Short, *watch ? Account::Used : Account::Any});
  });
  const auto add = [&](const char* name, const char* help, CommandKind kind, Exit (*run)(Output&)) {
    app.add_subcommand(name, help)->callback([choose, run, kind] {
      choose({[run](Session&, Output& output) { return run(output); }, kind,
              kind == CommandKind::Long ? Account::Used : Account::Any});
    });
  };
  add("pause", "Pause all uploads and downloads of this profile", CommandKind::Short,
      [](Output& output) { return SetPaused(true, output); });
  add("resume", "End the pause and go on with unfinished downloads; uploads go on with the next sync",
      CommandKind::Long, [](Output& output) {
        const Exit exit = SetPaused(false, output);
        const bool online = !UserAuthService::GetInstance()->GetServerUrl().empty();
        return exit == Exit::Done && online ? GoOn(output) : exit;
      });
  add("retry", "Try unfinished and failed downloads again", CommandKind::Long,
      [](Output& output) { return GoOn(output); });
}
