#include <CLI/CLI.hpp>

#include "commands.h"
#include "common/platform/paths.h"

namespace {

const char* StateText(Gallery::ProcFileState state) {
  switch (state) {
    case Gallery::Done:
      return "done";
    case Gallery::NotFound:
      return "not in the gallery";
    case Gallery::NoAlbum:
      return "its album does not exist";
    case Gallery::NoRecycleAlbum:
      return "there is no recycle bin";
    case Gallery::AlreadyThere:
      return "a file of that name is there already";
    case Gallery::Refused:
      return "the file cannot be recycled or deleted";
    case Gallery::MoveRefused:
      return "the file cannot be moved there";
  }
  return "";
}

// Collects what a batch reports, the last word for each file.
class Outcome {
 public:
  explicit Outcome(Output& to) : output(to) {}

  void Fail(const std::string& id, const std::string& why) { failed[id] = why; }
  Gallery::Report Report() {
    return [this](Gallery::ProcFileState state, const GalleryFile::Ptr& file) {
      if (!file) return;
      if (state == Gallery::Done) {
        failed.erase(file->UniqueId());
      } else {
        failed[file->UniqueId()] = StateText(state);
      }
    };
  }
  Exit Finish() {
    for (const auto& [id, why] : failed) {
      Json::Value json(Json::objectValue);
      json["id"] = id;
      json["error"] = why;
      if (output.IsJson()) output.Print(json, "");
      output.Error(std::string(id).append(": ").append(why));
    }
    return failed.empty() ? Exit::Done : Exit::Failed;
  }

 private:
  Output& output;
  std::map<std::string, std::string> failed;
};

Gallery::Files Collect(const std::vector<std::string>& ids, Outcome& outcome) {
  Gallery::Files files;
  for (const auto& id : ids) {
    if (auto file = FindFile(id)) {
      files.push_back(std::move(file));
    } else {
      outcome.Fail(id, "not in the gallery");
    }
  }
  return files;
}

using Batch = std::function<void(const Gallery::Files&, const Gallery::Report&)>;

Exit RunBatch(const std::vector<std::string>& ids, Output& output, const Batch& batch) {
  Outcome outcome(output);
  const auto files = Collect(ids, outcome);
  if (!files.empty()) batch(files, outcome.Report());
  return outcome.Finish();
}

Exit SetFavorite(const std::vector<std::string>& ids, bool on, Output& output) {
  Outcome outcome(output);
  for (const auto& file : Collect(ids, outcome)) {
    if (file->IsFavorite != on && !Gallery::GetInstance().FavoriteFiles(file, on)) {
      outcome.Fail(file->UniqueId(), "a file in the recycle bin cannot be a favourite");
    }
  }
  return outcome.Finish();
}

Exit Move(const std::vector<std::string>& ids, const std::string& albumName, Output& output) {
  const auto album = FindAlbum(albumName);
  if (!album || !album->IsReal()) {
    output.Error(album ? "files cannot be moved to \"" + albumName + "\"" : "no album \"" + albumName + "\"");
    return Exit::Failed;
  }
  return RunBatch(ids, output, [&album](const Gallery::Files& files, const Gallery::Report& report) {
    Gallery::GetInstance().MoveFiles(files, album, false, report);
  });
}

// Files that are in the bin already stay there; one that is not goes through it.
void RecoverOnly(const Gallery::Files& files, const Gallery::Report& report) {
  Gallery::Files inBin;
  for (const auto& file : files) {
    if (file->IsInBin()) {
      inBin.push_back(file);
    } else {
      report(Gallery::NotFound, file);
    }
  }
  Gallery::GetInstance().RecoverFiles(inBin, false, report);
}

}  // namespace

void AddFileCommands(CLI::App& app, const Choose& choose) {
  auto ids = std::make_shared<std::vector<std::string>>();
  const auto add = [&](const char* name, const char* help,
                       std::function<Exit(const std::vector<std::string>&, Output&)> run) {
    auto* command = app.add_subcommand(name, help);
    command->add_option("ID", *ids, "Ids of files, as ls shows them")->required();
    command->callback([choose, ids, run = std::move(run)] {
      choose([ids, run](GallerySession&, Output& output) { return run(*ids, output); });
    });
    return command;
  };
  const auto batch = [](const Batch& work) {
    return
        [work](const std::vector<std::string>& list, Output& output) { return RunBatch(list, output, work); };
  };

  add("recycle", "Put files into the recycle bin; one that was never uploaded is deleted",
      batch([](const auto& files, const auto& report) {
        Gallery::GetInstance().RecycleFiles(files, false, report);
      }));
  add("recover", "Take files out of the recycle bin", batch(RecoverOnly));
  add("delete", "Delete files for good", batch([](const auto& files, const auto& report) {
        Gallery::GetInstance().DeleteFiles(files, false, report);
      }));
  add("favorite", "Mark files as favourites",
      [](const auto& list, Output& output) { return SetFavorite(list, true, output); });
  add("unfavorite", "Take the favourite mark away",
      [](const auto& list, Output& output) { return SetFavorite(list, false, output); });
  auto to = std::make_shared<std::string>();
  auto* move = add("move", "Move files to another album",
                   [to](const auto& list, Output& output) { return Move(list, *to, output); });
  move->add_option("--to", *to, "The album")->required()->type_name("ALBUM");
}
