#include <CLI/CLI.hpp>
#include <condition_variable>

#include "commands.h"
#include "common/platform/mutex.h"
#include "transfer/thumbnails/gallerythumbnailmodule.h"
#include "transfer/thumbnails/thumbnailhelper.h"
#include "transfer/thumbnails/thumbnailhelperext.h"

namespace {

constexpr std::chrono::milliseconds kProgressStep{200};

// Counts the files whose turn is over, and whether they have a thumbnail then; told
// by the worker.
class Progress {
 public:
  void Add(bool there) {
    platform::MutexLock hold(lock);
    ++(there ? present : missing);
    changed.notify_all();
  }
  // Until all have ended or the user has had enough.
  void Wait(std::size_t total, Output& output) {
    platform::MutexLock hold(lock);
    while (present + missing < total && !output.Stopped()) {
      changed.wait_for(lock, kProgressStep);
      output.Progress(std::to_string(present + missing) + " of " + std::to_string(total));
    }
  }
  std::size_t Present() const {
    platform::MutexLock hold(lock);
    return present;
  }
  std::size_t Missing() const {
    platform::MutexLock hold(lock);
    return missing;
  }

 private:
  mutable platform::Mutex lock;
  std::condition_variable_any changed;
  std::size_t present GUARDED_BY(lock) = 0;
  std::size_t missing GUARDED_BY(lock) = 0;
};

Gallery::Files Wanted(bool missingOnly) {
  Gallery::Files files;
  Gallery::GetInstance().GetAllFiles(files);
  if (missingOnly) std::erase_if(files, [](const auto& file) { return file->TestThumbnailOnDisk(); });
  return files;
}

// Hands the requests over and returns for how many files `ended` will be called.
std::size_t AskForAll(bool missingOnly, const ThumbnailHelper::Done& ended) {
  std::vector<ThumbnailRequest> requests;
  for (const auto& file : Wanted(missingOnly)) requests.push_back({file, false, !missingOnly, ended, {}});
  ThumbnailHelper::GetInstance().DownloadThumbs(requests);
  return requests.size();
}

Exit FetchThumbnails(Session& session, const std::vector<std::string>& ids, bool missingOnly,
                     Output& output) {
  for (const std::string& id : ids) {
    if (session.FindFile(id)) continue;
    output.Error(id + ": not in the gallery");
    return Exit::Failed;
  }
  const Session::Turn turn(session, Session::Work::Thumbnails, output);
  if (!turn.IsHeld()) return Exit::Failed;
  auto& module = ZentaraDeskClient::GalleryThumbnailModule::GetInstance();
  Progress progress;
  const auto ended = [&progress](const GalleryFile::Ptr& done) { progress.Add(done->thumbExists); };
  (void)module.StartFetching();  // Nobody else has.
  const std::size_t total =
      ids.empty() ? AskForAll(missingOnly, ended) : ThumbnailHelperExt::DownloadSearchThumbs(ids, ended);
  progress.Wait(total, output);
  module.Stop();  // Also calls back for what is left after Ctrl-C.
  output.EndProgress();
  Json::Value document(Json::objectValue);
  document["thumbnails"] = static_cast<Json::UInt64>(progress.Present());
  document["missing"] = static_cast<Json::UInt64>(progress.Missing());
  document["stopped"] = output.Stopped().load();
  output.Print(document, std::to_string(progress.Present()) + " thumbnails, " +
                             std::to_string(progress.Missing()) + " could not be had");
  return progress.Missing() == 0 ? Exit::Done : Exit::Failed;
}

}  // namespace

void AddThumbnailCommands(CLI::App& app, const Choose& choose) {
  auto ids = std::make_shared<std::vector<std::string>>();
  auto missing = std::make_shared<bool>(false);
  auto* thumbs = app.add_subcommand("thumbs", "Fetch the small thumbnails of all files anew");
  thumbs->add_option("ID", *ids, "Only these files' thumbnails that are not there; ids as ls shows them");
  thumbs->add_flag("--missing", *missing, "Only those that are not there");
  thumbs->callback([=] {
    choose(
        {[=](Session& session, Output& output) { return FetchThumbnails(session, *ids, *missing, output); },
         CommandKind::Long});
  });
}
