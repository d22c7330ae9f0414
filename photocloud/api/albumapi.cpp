#include "photocloud/api/handlers.h"
#include "photocloud/api/limits.h"
#include "photocloud/base/json.h"
#include "photocloud/base/text.h"
#include "photocloud/base/timetext.h"

namespace photocloud {
namespace {

bool IsReserved(const std::string& albumId) {
  return albumId == "default-album-1" || albumId == "default-album-2" || albumId == "default-album-3";
}

Json::Value ToJson(const AlbumRecord& album) {
  Json::Value json(Json::objectValue);
  json["id"] = album.id;
  json["albumName"] = album.albumName;
  json["type"] = album.type;
  json["createdTime"] = album.createdTime;
  json["localPath"] = album.localPath;
  json["properties"] = ParseJson(album.properties).value_or(Json::Value(Json::objectValue));
  json["version"] = std::to_string(album.version);
  return json;
}

// Copies an optional text member; false when it is no text or too long.
bool TakeText(const Json::Value& body, const char* key, std::size_t longest, std::string& target) {
  if (!body.isMember(key)) return true;
  target = TextOf(body, key);
  return body[key].isString() && target.size() <= longest && IsPlainText(target);
}

bool TakeTime(const Json::Value& body, AlbumRecord& album) {
  if (!body.isMember("createdTime")) return true;
  const auto time = ParseTime(TextOf(body, "createdTime"));
  if (!time) return false;
  album.createdTime = TextOf(body, "createdTime");
  album.createdMs = *time;
  return true;
}

bool TakeProperties(const Json::Value& body, AlbumRecord& album) {
  if (!body.isMember("properties")) return true;
  album.properties = WriteJson(body["properties"]);
  return body["properties"].isObject() && album.properties.size() <= kLongestAlbumProperties;
}

// Fills what the body names; the name of the first member at fault, or empty.
std::string Fill(const Json::Value& body, AlbumRecord& album) {
  if (!TakeText(body, "albumName", kLongestAlbumName, album.albumName) || album.albumName.empty())
    return "albumName";
  if (!TakeText(body, "localPath", kLongestAlbumPath, album.localPath)) return "localPath";
  if (!TakeText(body, "type", kLongestAlbumType, album.type)) return "type";
  if (!TakeTime(body, album)) return "createdTime";
  if (!TakeProperties(body, album)) return "properties";
  return {};
}

bool IsSame(const AlbumRecord& left, const AlbumRecord& right) {
  return left.albumName == right.albumName && left.type == right.type &&
         left.createdTime == right.createdTime && left.localPath == right.localPath &&
         left.properties == right.properties && left.deleted == right.deleted;
}

std::size_t TextBytes(const AlbumRecord& album) {
  return album.albumName.size() + album.localPath.size() + album.properties.size();
}

// Stores `album` in place of `known`. An unchanged album makes no version, so a
// repeated request makes no noise.
Answer Store(Exchange& exchange, AlbumRecord album, const std::optional<AlbumRecord>& known) {
  const auto sameName = exchange.services.store.FindAlbumByName(exchange.Account(), album.albumName);
  if (sameName && sameName->id != album.id) return ErrorCode::AlbumNameExists;
  if (!known || !IsSame(album, *known)) {
    album.version = exchange.NextVersion();
    exchange.services.store.PutAlbum(exchange.Account(), album);
    if ((!known || TextBytes(album) > TextBytes(*known)) &&
        !exchange.services.vault.IsWithinQuota(exchange.Account())) {
      return ErrorCode::NoSpace;
    }
  }
  return ToJson(album);
}

// Cuts a page to its number of albums and to its bytes. Returns whether more
// follow.
bool CutPage(std::vector<AlbumRecord>& albums, int most) {
  std::size_t kept = 0;
  std::size_t bytes = 0;
  while (kept < albums.size() && static_cast<int>(kept) < most && bytes <= kMostPageBytes)
    bytes += TextBytes(albums[kept++]);
  const bool hasMore = kept < albums.size();
  albums.resize(kept);
  return hasMore;
}

Answer ListAlbums(Exchange& exchange) {
  const auto size = PageSize(exchange.request);
  if (const auto* error = std::get_if<ErrorCode>(&size)) return Answer(*error, "pageSize");
  const auto cursor = ReadListCursor(exchange.request, exchange.caller.account);
  if (const auto* error = std::get_if<ErrorCode>(&cursor)) return *error;
  const auto terms = QueryTerms(exchange.request);
  if (!terms) return Answer(ErrorCode::Malformed, "queryParam");
  const auto& [version, position] = std::get<ListCursor>(cursor);
  const auto type = terms->find("albumType");
  auto albums = exchange.services.store.ListAlbums(
      exchange.Account(), type == terms->end() ? "" : type->second, position, std::get<int>(size) + 1);
  Json::Value json(Json::objectValue);
  json["nextCursor"] = "";
  if (CutPage(albums, std::get<int>(size))) {
    json["nextCursor"] = WriteCursor(version, {albums.back().createdMs, albums.back().id});
  }
  json["albums"] = Json::Value(Json::arrayValue);
  for (const AlbumRecord& album : albums) json["albums"].append(ToJson(album));
  return json;
}

Answer CreateAlbum(Exchange& exchange) {
  AlbumRecord album;
  album.id = exchange.body.isMember("id") ? TextOf(exchange.body, "id") : RandomId();
  if (album.id.empty() || album.id.size() > kLongestAlbumId || !IsPlainText(album.id)) {
    return Answer(ErrorCode::Malformed, "id");
  }
  const auto known = exchange.services.store.FindAlbum(exchange.Account(), album.id);
  // The bin is there from the start, and clients bring it along as their own.
  if (known && IsReserved(album.id)) return ToJson(*known);
  album.createdMs = exchange.services.clock.NowMs();
  album.createdTime = FormatTime(album.createdMs);
  album.properties = "{}";
  const std::string fault = Fill(exchange.body, album);
  if (!fault.empty()) return Answer(ErrorCode::Malformed, fault);
  return Store(exchange, album, known);
}

Answer UpdateAlbum(Exchange& exchange) {
  const auto known = exchange.services.store.FindAlbum(exchange.Account(), exchange.arguments[0]);
  if (!known || known->deleted) return ErrorCode::AlbumUnknown;
  AlbumRecord album = *known;
  const std::string fault = Fill(exchange.body, album);
  if (!fault.empty()) return Answer(ErrorCode::Malformed, fault);
  return Store(exchange, album, known);
}

Answer DeleteAlbum(Exchange& exchange) {
  const std::string& id = exchange.arguments[0];
  auto album = exchange.services.store.FindAlbum(exchange.Account(), id);
  if (!album) return ErrorCode::AlbumUnknown;
  if (IsReserved(id)) return ErrorCode::AlbumReserved;
  if (!album->deleted) {
    if (exchange.services.store.AlbumHoldsMedia(exchange.Account(), id)) return ErrorCode::AlbumNotEmpty;
    album->deleted = true;
    album->version = exchange.NextVersion();
    exchange.services.store.PutAlbum(exchange.Account(), *album);
  }
  // Also when it was gone before: the device that repeats its request, and the
  // second of two devices, both got what they asked for.
  Json::Value json(Json::objectValue);
  json["id"] = id;
  return json;
}

}  // namespace

std::vector<Route> AlbumRoutes() {
  RouteRules change;
  change.lock = true;
  change.atomic = true;
  RouteRules write = change;
  write.json = true;
  return {{"GET", "/cloudPhoto/v1/albums", ListAlbums, {}},
          {"POST", "/cloudPhoto/v1/albums", CreateAlbum, write},
          {"PATCH", "/cloudPhoto/v1/albums/{albumId}", UpdateAlbum, write},
          {"DELETE", "/cloudPhoto/v1/albums/{albumId}", DeleteAlbum, change}};
}

}  // namespace photocloud
