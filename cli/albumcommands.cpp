#include <CLI/CLI.hpp>

#include "commands.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"

namespace {

Json::Value AlbumSummary(const Album& album) {
  Json::Value json(Json::objectValue);
  json["id"] = album.AlbumId.Get();
  PutExact(json, "name",
           album.Kind() == AlbumKind::None ? platform::ExactText(album.AlbumName.Get()) : ShownName(album));
  json["pictures"] = Json::UInt64{album.pictureCount};
  json["videos"] = Json::UInt64{album.videoCount};
  std::int64_t bytes = 0;
  for (const auto& file : album.Files()) {
    bytes += file->Size;
    for (const auto& member : file->GetMembers()) bytes += member->Size;
  }
  json["size"] = Json::Int64{bytes};
  json["hidden"] = album.IsHidden();
  return json;
}

void PrintAlbum(const Album& album, Output& output) {
  const Json::Value json = AlbumSummary(album);
  output.Print(json,
               Padded(ShownName(album), 28) + "  " + Padded(json["pictures"].asString() + " pictures", 15) +
                   Padded(json["videos"].asString() + " videos", 12) + SizeText(json["size"].asInt64()));
}

// A second "Camera" beside the one of the phone would be told from it by nobody.
bool IsReserved(const std::string& name, Output& output) {
  if (!Gallery::GetInstance().IsReservedName(platform::Utf8ToWide(name))) return false;
  output.Error("cannot name an album \"" + name + "\": a system album is called so");
  return true;
}

Exit CreateAlbum(const std::string& name, Output& output) {
  if (IsReserved(name, output)) return Exit::Failed;
  const auto album = Gallery::GetInstance().CreateAlbum(platform::Utf8ToWide(name), false, -1);
  if (!album) {
    output.Error("cannot create the album \"" + name + "\": the name is taken or not allowed");
    return Exit::Failed;
  }
  PrintAlbum(*album, output);
  return Exit::Done;
}

Exit RenameAlbum(const std::string& name, const std::string& newName, Output& output) {
  const auto album = FindAlbum(name);
  if (IsReserved(newName, output)) return Exit::Failed;
  if (album && Gallery::GetInstance().RenameAlbum(album, platform::Utf8ToWide(newName))) {
    PrintAlbum(*album, output);
    return Exit::Done;
  }
  output.Error(album ? "cannot rename the album \"" + name + "\" to \"" + newName +
                           "\": the new name is taken or not allowed, or it is a system album"
                     : "no album \"" + name + "\"");
  return Exit::Failed;
}

Exit DeleteAlbum(const std::string& name, Output& output) {
  const auto album = FindAlbum(name);
  if (album && Gallery::GetInstance().DeleteAlbum(album)) return Exit::Done;
  output.Error(album ? "\"" + name + "\" is a system album and cannot be deleted"
                     : "no album \"" + name + "\"");
  return Exit::Failed;
}

}  // namespace

void PrintAlbums(Output& output) {
  Gallery::Albums albums;
  Gallery::GetInstance().GetAlbums(albums, true);
  if (const auto bin = Gallery::GetInstance().GetAlbum(kRecycleAlbumId)) albums.push_back(bin);
  for (const auto& album : albums) PrintAlbum(*album, output);
}

void AddAlbumCommands(CLI::App& app, const Choose& choose) {
  app.add_subcommand("albums", "List the albums")->callback([choose] {
    choose([](GallerySession&, Output& output) {
      PrintAlbums(output);
      return Exit::Done;
    });
  });

  auto* album = app.add_subcommand("album", "Create, rename or delete an album");
  album->require_subcommand(1);
  auto name = std::make_shared<std::string>();
  auto newName = std::make_shared<std::string>();
  auto* create = album->add_subcommand("create", "Create an album");
  create->add_option("NAME", *name)->required();
  create->callback([choose, name] {
    choose([name](GallerySession&, Output& output) { return CreateAlbum(*name, output); });
  });
  auto* rename = album->add_subcommand("rename", "Rename an album");
  rename->add_option("NAME", *name)->required();
  rename->add_option("NEW_NAME", *newName)->required();
  rename->callback([choose, name, newName] {
    choose([name, newName](GallerySession&, Output& output) { return RenameAlbum(*name, *newName, output); });
  });
  auto* remove = album->add_subcommand("delete", "Delete an album; its files go to the recycle bin");
  remove->add_option("NAME", *name)->required();
  remove->callback([choose, name] {
    choose([name](GallerySession&, Output& output) { return DeleteAlbum(*name, output); });
  });
}
