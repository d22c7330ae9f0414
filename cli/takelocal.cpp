#include "takelocal.h"

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/base/jsonfile.h"
#include "host/base/jsontext.h"
#include "importfolders.h"

namespace {

std::filesystem::path File() { return JsonFile::Folder() / "take-local.json"; }

Gallery::Files LocalFiles() {
  Gallery::Files files;
  Gallery::GetInstance().GetAllFiles(files);
  std::erase_if(files, [](const GalleryFile::Ptr& file) {
    return file->IsDeleted || file->IsInBin() || file->LocalPath().empty();
  });
  return files;
}

// By album: {"albums":{"Trip":[{"path":"...","favorite":true}]}}. An empty album
// comes along too.
Json::Value Albums() {
  auto& gallery = Gallery::GetInstance();
  Json::Value albums(Json::objectValue);
  Gallery::Albums all;
  gallery.GetAlbums(all, true);
  for (const auto& album : all) {
    if (album->Kind() == AlbumKind::None)
      albums[platform::WideToUtf8(album->AlbumName.Get())] = Json::Value(Json::arrayValue);
  }
  for (const auto& file : LocalFiles()) {
    const auto album = gallery.GetAlbum(file->AlbumId());
    if (!album) continue;
    Json::Value item(Json::objectValue);
    item["path"] = platform::WideToUtf8(file->LocalPath());
    item["favorite"] = file->IsFavorite.Get();
    albums[platform::WideToUtf8(album->AlbumName.Get())].append(item);
  }
  return albums;
}

std::vector<FolderFiles> FoldersOf(const Json::Value& albums) {
  std::vector<FolderFiles> folders;
  for (const auto& name : albums.getMemberNames()) {
    FolderFiles folder{platform::Utf8ToWide(name), {}};
    for (const Json::Value& item : albums[name])
      folder.paths.push_back(platform::Utf8ToWide(JsonText::Text(item, "path")));
    folders.push_back(std::move(folder));
  }
  return folders;
}

void MarkFavorites(const Json::Value& albums) {
  std::set<std::wstring> favorites;
  for (const Json::Value& album : albums) {
    for (const Json::Value& item : album) {
      if (item["favorite"].isBool() && item["favorite"].asBool())
        favorites.insert(platform::Utf8ToWide(JsonText::Text(item, "path")));
    }
  }
  for (const auto& file : LocalFiles()) {
    if (!file->IsFavorite && favorites.contains(file->LocalPath()))
      (void)Gallery::GetInstance().FavoriteFiles(file, true);  // Files in the bin are not among these.
  }
}

}  // namespace

std::size_t TakeLocal::Count() { return LocalFiles().size(); }

bool TakeLocal::Note(const std::string& user, Output& output) {
  Json::Value note(Json::objectValue);
  note["userName"] = user;
  note["albums"] = Albums();
  const auto error = platform::ReplaceAtomically(File(), JsonFile::Text(note), platform::Rights::OwnerOnly);
  if (error) output.Error("cannot note what the local gallery holds: " + error.message());
  return !error;
}

void TakeLocal::Forget() {
  std::error_code ignored;  // It may not be there.
  std::filesystem::remove(File(), ignored);
}

Exit TakeLocal::Finish(Session& session, Output& output) {
  Json::Value note;
  if (JsonFile::Load(File(), note) != JsonFile::LoadResult::Loaded || !note["albums"].isObject())
    return Exit::Done;
  auto* account = UserAuthService::GetInstance();
  // The login that it was noted for did not come about, or another one did.
  if (account->GetServerUrl().empty() || account->GetUserName() != JsonText::Text(note, "userName")) {
    Forget();
    return Exit::Done;
  }
  output.Hint("taking the local gallery along");
  const Exit exit = ImportFolders(session, FoldersOf(note["albums"]), Known::PassedOver, output);
  MarkFavorites(note["albums"]);
  if (!output.Stopped()) Forget();
  return exit;
}
