#include "session/folderimport.h"

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "model/gallery.h"
#include "resources/resourcetext.h"
#include "session/gallerysession.h"
#include "utils/mediatypes.h"

namespace fs = std::filesystem;

namespace {

constexpr char kIsThere[] = "IDS_GALLERT_FILE_ALREADY_EXIST";

// The real album of that name, a system album too: a second "Camera" beside the one of
// the phone would be told from it by nobody. One of the user's own comes first: what was
// imported into it before would else come in twice. Where a view has the name, the album
// stands beside it with a number.
Album::Ptr AlbumFor(const std::wstring& name) {
  auto& gallery = Gallery::GetInstance();
  auto owner = gallery.AlbumNameIsExist(name);
  if (owner && owner->IsReal()) return owner;
  auto system = gallery.GetSystemAlbumNamed(name);
  if (system && system->IsReal()) return system;
  if (!owner) return gallery.CreateAlbum(name, false, -1);
  if (auto beside = gallery.AlbumNameIsExist(name + L"(1)"); beside && beside->IsReal()) return beside;
  return gallery.CreateAlbum(name, true, -1);
}

std::string UpperLimitText() {
  char text[260];
  std::snprintf(text, sizeof text, ResourceText::GetUtf8("IDS_GALLERT_FILES_UPPER_LIMIT").c_str(),
                static_cast<int>(UploadController::kFilesUpperLimit));
  return text;
}

}  // namespace

void ImportChoice::Add(const fs::path& path) {
  std::error_code error;  // A path that cannot be looked at is refused as a file.
  fs::is_directory(path, error) ? AddFolder(path) : AddFile(path);
}

// What is no picture or video in a folder was not chosen by the user.
void ImportChoice::AddFolder(const fs::path& folder) {
  platform::WalkFiles(
      folder,
      [this](const fs::path& file) {
        const auto extension = platform::WideExtension(platform::WidePath(file));
        if (IsPictureExtension(extension) || IsVideoExtension(extension)) AddFile(file);
        return !stopped;
      },
      [this](const fs::path& path, std::error_code why) {
        if (!TakeDangling(path) && onProblem)
          onProblem("cannot read the folder " + platform::DisplayText(platform::WidePath(path)) + ": " +
                    why.message());
        failed = true;
      });
}

// A link that leads nowhere is refused as a file.
bool ImportChoice::TakeDangling(const fs::path& path) {
  std::error_code error;
  if (!fs::is_symlink(path, error) || fs::exists(path, error)) return false;
  AddFile(path);
  return true;
}

void ImportChoice::AddFile(const fs::path& file) {
  std::error_code error;
  const fs::path absolute = fs::absolute(file, error).lexically_normal();
  std::wstring album =
      albumName.empty() ? platform::WideFileName(platform::WidePath(absolute.parent_path())) : albumName;
  if (!Album::CleanName(album)) album = L"Imported";
  const auto same = std::find_if(folders.begin(), folders.end(),
                                 [&album](const FolderFiles& folder) { return folder.albumName == album; });
  auto& target = same != folders.end() ? *same : folders.emplace_back(FolderFiles{album, {}});
  target.paths.push_back(platform::WidePath(absolute));
}

std::optional<ImportSum> FolderImport::Run(const std::vector<FolderFiles>& folders, Known known) {
  sum = {};
  const GallerySession::Turn turn(session, GallerySession::Work::Import, stop, onWait);
  if (!turn.IsHeld()) return std::nullopt;
  total = 0;
  for (const auto& folder : folders) total += folder.paths.size();
  for (const auto& folder : folders) {
    AddFolder(folder, known);
    if (sum.stopped) break;
  }
  return sum;
}

void FolderImport::AddFolder(const FolderFiles& folder, Known known) {
  const auto album = AlbumFor(folder.albumName);
  auto result = AddFiles(folder, album);
  if (known == Known::PassedOver) {
    sum.passedOver += std::erase_if(
        result.refused, [](const RefusedFile& file) { return std::string_view(file.textKey) == kIsThere; });
  }
  for (const auto& refused : result.refused)
    if (onRefused) onRefused(refused);
  for (const auto& file : result.added) sum.bytes += file->Size;
  sum.added += result.added.size();
  sum.refused += result.refused.size();
  sum.stopped = result.stopped;
  if (!album) Tell("cannot make the album \"" + platform::DisplayText(folder.albumName) + "\"");
  if (result.overLimit) Tell(UpperLimitText());
  if (!album || result.overLimit) sum.refused += folder.paths.size();
}

void FolderImport::Tell(const std::string& problem) const {
  if (onProblem) onProblem(problem);
}

UploadController::Result FolderImport::AddFiles(const FolderFiles& folder, const Album::Ptr& album) {
  UploadController controller;
  controller.stop = &stop;
  const std::size_t before = sum.added + sum.refused + sum.passedOver;
  controller.onProgress = [&](const UploadController::Progress& now) {
    if (onProgress) onProgress({before + now.done, total, sum.bytes + now.bytes, folder.albumName});
  };
  return controller.AddToLocal(folder.paths, album);
}
