#include <CLI/CLI.hpp>
#include <filesystem>

#include "commands.h"
#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "importfolders.h"
#include "resources/resourcetext.h"
#include "transfer/import/uploadcontroller.h"
#include "utils/demopictures.h"
#include "utils/mediatypes.h"

namespace fs = std::filesystem;

namespace {

// The user's choice of files and folders as files, by the album they go to. A
// folder's files go to an album of its name, and its folders' files to theirs.
class Choice {
 public:
  Choice(std::string to, Output& out) : albumName(std::move(to)), output(out) {}

  void Add(const fs::path& path) {
    std::error_code failed;  // A path that cannot be looked at is refused as a file.
    if (fs::is_directory(path, failed)) {
      AddFolder(path);
    } else {
      AddFile(path);
    }
  }
  const std::vector<FolderFiles>& Folders() const { return folders; }
  bool Failed() const { return failed; }

 private:
  // What is no picture or video in a folder was not chosen by the user.
  void AddFolder(const fs::path& folder) {
    platform::WalkFiles(
        folder,
        [this](const fs::path& file) {
          const auto extension = platform::WideExtension(platform::WidePath(file));
          if (IsPictureExtension(extension) || IsVideoExtension(extension)) AddFile(file);
          return !output.Stopped();
        },
        [this](const fs::path& path, std::error_code why) {
          if (!TakeDangling(path))
            output.Error("cannot read the folder " + platform::DisplayText(platform::WidePath(path)) + ": " +
                         why.message());
          failed = true;
        });
  }
  // A link that leads nowhere is refused as a file.
  bool TakeDangling(const fs::path& path) {
    std::error_code error;
    if (!fs::is_symlink(path, error) || fs::exists(path, error)) return false;
    AddFile(path);
    return true;
  }
  void AddFile(const fs::path& file) {
    std::error_code failed;
    const fs::path absolute = fs::absolute(file, failed).lexically_normal();
    std::wstring album = albumName.empty()
                             ? platform::WideFileName(platform::WidePath(absolute.parent_path()))
                             : platform::Utf8ToWide(albumName);
    if (!Album::CleanName(album)) album = L"Imported";
    const auto same = std::find_if(folders.begin(), folders.end(),
                                   [&album](const FolderFiles& folder) { return folder.albumName == album; });
    auto& target = same != folders.end() ? *same : folders.emplace_back(FolderFiles{album, {}});
    target.paths.push_back(platform::WidePath(absolute));
  }

  const std::string albumName;
  Output& output;
  std::vector<FolderFiles> folders;
  bool failed = false;
};

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

std::string UpperLimitText() {
  char text[260];
  std::snprintf(text, sizeof text, ResourceText::GetUtf8("IDS_GALLERT_FILES_UPPER_LIMIT").c_str(),
                static_cast<int>(UploadController::kFilesUpperLimit));
  return text;
}

constexpr char kIsThere[] = "IDS_GALLERT_FILE_ALREADY_EXIST";

struct ImportCount {
  const Known known;
  std::size_t added = 0;
  std::size_t refused = 0;
  std::size_t passedOver = 0;
  std::int64_t bytes = 0;
  bool stopped = false;
};

void ImportFolder(const FolderFiles& folder, std::size_t total, ImportCount& count, Output& output) {
  const auto album = Gallery::GetInstance().AlbumForFolder(folder.albumName);
  UploadController controller;
  controller.stop = &output.Stopped();
  const std::size_t before = count.added + count.refused + count.passedOver;
  controller.onProgress = [&](const UploadController::Progress& progress) {
    output.Progress(std::to_string(before + progress.done) + " of " + std::to_string(total) + " files, " +
                    SizeText(count.bytes + progress.bytes) + "  " + platform::DisplayText(folder.albumName));
  };
  auto result = controller.AddToLocal(folder.paths, album);
  if (count.known == Known::PassedOver) {
    count.passedOver += std::erase_if(
        result.refused, [](const RefusedFile& file) { return std::string_view(file.textKey) == kIsThere; });
  }
  for (const auto& refused : result.refused) PrintRefused(refused, output);
  for (const auto& file : result.added) count.bytes += file->Size;
  count.added += result.added.size();
  count.refused += result.refused.size();
  count.stopped = result.stopped;
  if (!album) output.Error("cannot make the album \"" + platform::DisplayText(folder.albumName) + "\"");
  if (result.overLimit) output.Error(UpperLimitText());
  if (!album || result.overLimit) count.refused += folder.paths.size();
}

Exit Import(Session& session, const std::vector<std::string>& paths, const std::string& albumName,
            Known known, Output& output) {
  Choice choice(albumName, output);
  for (const auto& path : paths) choice.Add(output.Path(path));
  const Exit exit = ImportFolders(session, choice.Folders(), known, output);
  return choice.Failed() ? Exit::Failed : exit;
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
Exit Start(Session& session, std::vector<std::string> folders, Output& output) {
  if (folders.empty()) folders.push_back(DefaultFolder(output));
  const Exit exit = Import(session, folders, "", Known::PassedOver, output);
  output.Say("\nTime line");
  PrintTimeLine(output);
  output.Say("\nAlbums");
  PrintAlbums(output);
  return exit;
}

}  // namespace

Exit ImportFolders(Session& session, const std::vector<FolderFiles>& folders, Known known, Output& output) {
  // What one import has not stored yet, another one could not know to be there.
  const Session::Turn turn(session, Session::Work::Import, output);
  if (!turn.IsHeld()) return Exit::Failed;
  std::size_t total = 0;
  for (const auto& folder : folders) total += folder.paths.size();
  ImportCount count{known};
  for (const auto& folder : folders) {
    ImportFolder(folder, total, count, output);
    if (count.stopped) break;
  }
  Json::Value json(Json::objectValue);
  json["added"] = Json::UInt64{count.added};
  json["thereAlready"] = Json::UInt64{count.passedOver};
  json["refusedCount"] = Json::UInt64{count.refused};
  json["size"] = Json::Int64{count.bytes};
  json["stopped"] = count.stopped;
  output.Print(json, std::to_string(count.added) + " added (" + SizeText(count.bytes) + "), " +
                         (count.passedOver > 0 ? std::to_string(count.passedOver) + " there already, " : "") +
                         std::to_string(count.refused) + " refused" + (count.stopped ? ", stopped" : ""));
  return count.refused > 0 || count.stopped ? Exit::Failed : Exit::Done;
}

void AddImportCommands(CLI::App& app, const Choose& choose) {
  auto paths = std::make_shared<std::vector<std::string>>();
  auto album = std::make_shared<std::string>();
  auto* import = app.add_subcommand("import", "Add pictures and videos, or folders of them");
  import->add_option("PATH", *paths)->required();
  import->add_option("--album", *album, "Add all to this album instead of one for each folder")
      ->type_name("NAME");
  import->callback([choose, paths, album] {
    choose({[paths, album](Session& session, Output& output) {
              return Import(session, *paths, *album, Known::Refused, output);
}
, CommandKind::Long
});
});
auto* start =
    app.add_subcommand("start", "Import folders, by default the user's pictures, and show the gallery");
start->add_option("FOLDER", *paths);
start->callback([choose, paths] {
  choose({[paths](Session& session, Output& output) { return Start(session, *paths, output); },
          CommandKind::Long});
});
}
