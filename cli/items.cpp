#include "items.h"

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "resources/resourcetext.h"

Album::Ptr FindAlbum(const std::string& name) {
  auto& gallery = Gallery::GetInstance();
  if (auto album = gallery.GetAlbum(name)) return album;
  if (auto album = gallery.AlbumNameIsExist(platform::Utf8ToWide(name))) return album;
  Gallery::Albums albums;
  gallery.GetAlbums(albums, true);
  if (const auto bin = gallery.GetAlbum(kRecycleAlbumId)) albums.push_back(bin);
  for (const AlbumKind kind : {AlbumKind::TimeLine, AlbumKind::RecentlyUpload, AlbumKind::AllPictures,
                               AlbumKind::AllVideos, AlbumKind::Favorite}) {
    if (auto view = gallery.GetOrCreateSystemAlbum(kind)) albums.push_back(view);
  }
  const auto found = std::find_if(albums.begin(), albums.end(),
                                  [&name](const Album::Ptr& album) { return ShownName(*album) == name; });
  return found == albums.end() ? nullptr : *found;
}

GalleryFile::Ptr FindFile(const std::string& id) { return Gallery::GetInstance().GetFile(id); }

std::string ShownName(const Album& album) {
  if (album.Kind() == AlbumKind::None) return platform::DisplayText(album.AlbumName.Get());
  return platform::WideToUtf8(ResourceText::Get(album.displayName.Get()));
}

Json::Value FileSummary(const GalleryFile& file) {
  Json::Value json(Json::objectValue);
  json["id"] = file.UniqueId();
  PutExact(json, "fileName", platform::ExactText(file.FileName()));
  json["createTime"] = Json::Int64{file.CreateTime};
  json["size"] = Json::Int64{file.Size};
  json["albumId"] = file.AlbumId();
  json["fileType"] = file.SavedFileType.Get();
  json["favorite"] = file.IsFavorite.Get();
  json["inBin"] = file.IsInBin();
  json["state"] = file.GalleryState.Get();
  if (file.ContinuousType == 1) json["shots"] = static_cast<Json::UInt64>(file.GetMembers().size() + 1);
  return json;
}

std::string FileLine(const GalleryFile& file) {
  std::string marks;
  if (file.IsFavorite) marks += " *";
  if (file.ContinuousType == 1) marks += " [" + std::to_string(file.GetMembers().size() + 1) + " shots]";
  return file.UniqueId() + "  " + TimeTextShort(file.CreateTime) + "  " + Padded(SizeText(file.Size), 8) +
         "  " + platform::DisplayText(file.FileName()) + marks;
}
