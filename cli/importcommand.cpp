#include <CLI/CLI.hpp>
#include <filesystem>

#include "commands.h"
#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "resources/resourcetext.h"
#include "session/takelocal.h"
#include "utils/demopictures.h"
#include "utils/mediatypes.h"

namespace fs = std::filesystem;

namespace {

constexpr char kDanglingLink[] = "IDS_GALLERY_DANGLING_LINK";

// The file that "does not exist" would be looked for in vain: the link is there.
bool IsDanglingLink(const RefusedFile& refused) {
  std::error_code error;
  return std::string_view(refused.textKey) == "IDS_GALLERT_FILE_NOT_EXIST" &&
         fs::is_symlink(platform::NativePath(refused.path), error);
}

void PrintRefused(const RefusedFile& refused, Output& output) {
  Json::Value json(Json::objectValue);
  const std::string path = platform::DisplayText(refused.path);
  const char* key = IsDanglingLink(refused) ? kDanglingLink : refused.textKey;
  const std::string words = ResourceText::GetUtf8(key);
  PutExact(json, "path", platform::NativePath(refused.path).string());
  json["refused"] = key;
  json["text"] = words;
  output.Print(json, "refused  " + path + "  " + key + "  " + words);
}

Exit Import(GallerySession& session, const std::vector<std::string>& paths, const std::string& albumName,
            Known known, Output& output) {
  ImportChoice choice(platform::Utf8ToWide(albumName), output.Stopped());
  choice.onProblem = [&output](const std::string& problem) { output.Error(problem); };
  for (const auto& path : paths) choice.Add(output.Path(path));
  const ImportSum sum = ImportFolders(session, choice.Folders(), known, output);
  return sum.IsGood() && !choice.Failed() ? Exit::Done : Exit::Failed;
}

bool HoldsPictures(const fs::path& folder) {
  bool found = false;
  platform::WalkFiles(
      folder,
      [&found](const fs::path& file) {
        found = IsPictureExtension(platform::WideExtension(platform::WidePath(file)));
        return !found;
      },
      [](const fs::path&, std::error_code) {});
  return found;
}

// The pictures of the user, or some to look at where there are none.
std::string DefaultFolder(Output& output) {
  const fs::path pictures = platform::PicturesFolder();
  if (HoldsPictures(pictures)) return pictures.string();
  const fs::path demo = platform::DataRoot() / "ZentaraCloud" / "Demonstration";
  output.Say("No pictures in " + pictures.string() + "; showing demonstration pictures.");
  (void)MakeDemoPictures(demo);
  return demo.string();
}

// Imports and shows what is in the gallery then.
Exit Start(GallerySession& session, std::vector<std::string> folders, Output& output) {
  if (folders.empty()) folders.push_back(DefaultFolder(output));
  const Exit exit = Import(session, folders, "", Known::PassedOver, output);
  output.Say("\nTime line");
  PrintTimeLine(output);
  output.Say("\nAlbums");
  PrintAlbums(output);
  return exit;
}

void PrintSum(const ImportSum& sum, Output& output) {
  Json::Value json(Json::objectValue);
  json["added"] = Json::UInt64{sum.added};
  json["thereAlready"] = Json::UInt64{sum.passedOver};
  json["refusedCount"] = Json::UInt64{sum.refused};
  json["size"] = Json::Int64{sum.bytes};
  json["stopped"] = sum.stopped;
  output.Print(json, std::to_string(sum.added) + " added (" + SizeText(sum.bytes) + "), " +
                         (sum.passedOver > 0 ? std::to_string(sum.passedOver) + " there already, " : "") +
                         std::to_string(sum.refused) + " refused" + (sum.stopped ? ", stopped" : ""));
}

}  // namespace

ImportSum ImportFolders(GallerySession& session, const std::vector<FolderFiles>& folders, Known known,
                        Output& output) {
  FolderImport work(session, output.Stopped());
  work.onWait = [&output] { TellWaiting(output); };
  work.onProgress = [&output](const FolderImport::Progress& now) {
    output.Progress(std::to_string(now.done) + " of " + std::to_string(now.total) + " files, " +
                    SizeText(now.bytes) + "  " + platform::DisplayText(now.albumName));
  };
  work.onRefused = [&output](const RefusedFile& refused) { PrintRefused(refused, output); };
  work.onProblem = [&output](const std::string& problem) { output.Error(problem); };
  const auto sum = work.Run(folders, known);
  if (sum) PrintSum(*sum, output);
  return sum.value_or(ImportSum{.stopped = true});
}

Exit TakeLocalAlong(GallerySession& session, Output& output) {
  const auto sum = TakeLocal::Finish([&](const std::vector<FolderFiles>& folders) {
    output.Hint("taking the local gallery along");
    return ImportFolders(session, folders, Known::PassedOver, output);
  });
  return !sum || sum->IsGood() ? Exit::Done : Exit::Failed;
}

void AddImportCommands(CLI::App& app, const Choose& choose) {
  auto paths = std::make_shared<std::vector<std::string>>();
  auto album = std::make_shared<std::string>();
  auto* add = app.add_subcommand("import", "Add pictures and videos, or folders of them");
  add->add_option("PATH", *paths)->required();
  add->add_option("--album", *album, "Add all to this album instead of one for each folder")
      ->type_name("NAME");
  add->callback([choose, paths, album] {
    choose({[paths, album](GallerySession& session, Output& output) {
              return Import(session, *paths, *album, Known::Refused, output);
            },
            CommandKind::Long});
  });
  auto* start =
      app.add_subcommand("start", "Import folders, by default the user's pictures, and show the gallery");
  start->add_option("FOLDER", *paths);
  start->callback([choose, paths] {
    choose({[paths](GallerySession& session, Output& output) { return Start(session, *paths, output); },
            CommandKind::Long});
  });
}
