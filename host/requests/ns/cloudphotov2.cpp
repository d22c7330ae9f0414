#include "host/requests/ns/cloudphotov2.h"

#include <limits>

#include "host/base/jsontext.h"
#include "host/requests/curlppx.h"
#include "host/requests/ns/cloudtime.h"

namespace NS::CloudPhoto::V2 {
namespace {

using curlppx::CurlUrl;
using JsonText::Flag;
using JsonText::Number;
using JsonText::Object;
using JsonText::Text;

constexpr char kAlbums[] = "/cloudPhoto/v1/albums";
constexpr char kMedia[] = "/cloudPhoto/v1/media";
constexpr char kChanges[] = "/cloudPhoto/v1/changes";
constexpr char kLocks[] = "/cloudPhoto/v1/locks";

std::int64_t Time(const Json::Value& json, const char* key) {
  return CloudTime::Parse(Text(json, key)).value_or(-1);
}

std::int32_t SmallNumber(const Json::Value& json, const char* key) {
  const std::int64_t number = Number(json, key);
  return number >= 0 && number <= std::numeric_limits<std::int32_t>::max() ? static_cast<std::int32_t>(number)
                                                                           : 0;
}

// The records of a list. A listing with a record that cannot be read is not
// complete, and whoever took it for complete would drop that record here.
template <typename Record>
bool ReadList(const Json::Value& list, std::vector<Record>& records) {
  if (!list.isArray()) return false;
  for (const Json::Value& item : list) {
    if (!Read(item, records.emplace_back())) return false;
  }
  return true;
}

template <typename Record>
Call<Record> Make(const char* method, const std::string& uri, const std::string& lockToken = {}) {
  Call<Record> call;
  call.method = method;
  call.uri = uri;
  call.lockToken = lockToken;
  return call;
}

template <typename Record>
Call<Record> ListCall(const char* path, const ListParameters& parameters) {
  CurlUrl::Query query{{"fields", parameters.fields}, {"pageSize", std::to_string(parameters.pageSize)}};
  if (!parameters.cursor.empty()) query.emplace_back("cursor", parameters.cursor);
  if (!parameters.queryParam.empty()) query.emplace_back("queryParam", parameters.queryParam);
  if (!parameters.orderBy.empty()) query.emplace_back("orderBy", parameters.orderBy);
  return Make<Record>("GET", std::string(path) + "?" + CurlUrl::BuildQuery(query));
}

std::string Item(const char* path, const std::string& id) {
  return std::string(path) + "/" + CurlUrl::Escape(id);
}

}  // namespace

bool Read(const Json::Value& json, About& about) {
  about.dataVersion = Text(json, "dataVersion");
  about.status = Text(json, "status");
  about.maxBatchNumber = SmallNumber(json, "maxBatchNumber");
  about.maxFileUploadSize = Number(json, "maxFileUploadSize");
  about.maxThumbnailSize = Number(json, "maxThumbnailSize");
  about.fullUploadCursor = Text(json, "fullUploadCursor");
  const Json::Value settings = Object(json, "settings");
  for (const std::string& name : settings.getMemberNames())
    about.settings[name] = Text(settings, name.c_str());
  return json.isObject();
}

bool Read(const Json::Value& json, Album& album) {
  album.id = Text(json, "id");
  album.albumName = Text(json, "albumName");
  album.type = Text(json, "type");
  album.createdTime = Time(json, "createdTime");
  album.localPath = Text(json, "localPath");
  album.properties = Object(json, "properties");
  return !album.id.empty();
}

bool Read(const Json::Value& json, AlbumPage& page) {
  page.nextCursor = Text(json, "nextCursor");
  return json.isObject() && ReadList(json["albums"], page.albums);
}

bool Read(const Json::Value& json, Media& media) {
  media.id = Text(json, "id");
  media.albumId = Text(json, "albumId");
  media.fileName = Text(json, "fileName");
  media.fileType = Text(json, "fileType");
  media.hashId = Text(json, "hashId");
  media.deviceId = Text(json, "deviceId");
  media.source = Text(json, "source");
  media.status = Text(json, "status");
  media.version = Text(json, "version");
  media.createdTime = Time(json, "createdTime");
  media.editedTime = Time(json, "editedTime");
  media.recycledTime = Time(json, "recycledTime");
  media.size = Number(json, "size");
  media.favorite = Flag(json, "favorite");
  media.recycled = Flag(json, "recycled");
  media.properties = Object(json, "properties");
  media.pictureMetadata = Object(json, "pictureMetadata");
  media.videoMetadata = Object(json, "videoMetadata");
  return !media.id.empty();
}

bool Read(const Json::Value& json, MediaPage& page) {
  page.nextCursor = Text(json, "nextCursor");
  return json.isObject() && ReadList(json["media"], page.media);
}

bool Read(const Json::Value& json, Change& change) {
  change.changeType = Text(json, "changeType");
  change.device = Text(json, "device");
  change.mediaId = Text(json, "mediaId");
  change.deleted = Flag(json, "deleted");
  if (change.mediaId.empty()) return false;
  return change.deleted || Read(Object(json, "media"), change.media);
}

bool Read(const Json::Value& json, ChangePage& page) {
  page.nextCursor = Text(json, "nextCursor");
  page.newStartCursor = Text(json, "newStartCursor");
  return json.isObject() && ReadList(json["changes"], page.changes);
}

bool Read(const Json::Value& json, StartCursor& cursor) {
  cursor.startCursor = Text(json, "startCursor");
  cursor.fullUploadCursor = Text(json, "fullUploadCursor");
  return !cursor.startCursor.empty();
}

bool Read(const Json::Value& json, Lock& lock) {
  lock.token = Text(json, "token");
  lock.expiresIn = SmallNumber(json, "expiresIn");
  return !lock.token.empty();
}

Call<About> AboutReq::Get(const std::string& fields) {
  return Make<About>("GET", "/cloudPhoto/v1/about?" + CurlUrl::BuildQuery({{"fields", fields}}));
}

Call<AlbumPage> AlbumsReq::List(const ListParameters& parameters) {
  return ListCall<AlbumPage>(kAlbums, parameters);
}

Call<Album> AlbumsReq::Create(const Json::Value& body, const std::string& lockToken) {
  auto call = Make<Album>("POST", kAlbums, lockToken);
  call.body = body;
  return call;
}

Call<Album> AlbumsReq::Update(const std::string& id, const Json::Value& body, const std::string& lockToken) {
  auto call = Make<Album>("PATCH", Item(kAlbums, id), lockToken);
  call.body = body;
  return call;
}

Call<Nothing> AlbumsReq::Delete(const std::string& id, const std::string& lockToken) {
  return Make<Nothing>("DELETE", Item(kAlbums, id), lockToken);
}

Call<MediaPage> MediaReq::List(const ListParameters& parameters) {
  return ListCall<MediaPage>(kMedia, parameters);
}

Call<Media> MediaReq::GetMetadata(const std::string& id, const std::string& fields) {
  return Make<Media>("GET", Item(kMedia, id) + "?" + CurlUrl::BuildQuery({{"fields", fields}}));
}

Call<Media> MediaReq::PatchMetadata(const std::string& id, const Json::Value& body,
                                    const std::string& lockToken) {
  auto call = Make<Media>("PATCH", Item(kMedia, id), lockToken);
  call.body = body;
  return call;
}

Call<Nothing> MediaReq::Delete(const std::string& id, const std::string& lockToken) {
  return Make<Nothing>("DELETE", Item(kMedia, id), lockToken);
}

Call<ChangePage> ChangesReq::List(const std::string& fields, const std::string& cursor) {
  const CurlUrl::Query query{{"fields", fields}, {"cursor", cursor}, {"pageSize", std::to_string(kPageSize)}};
  return Make<ChangePage>("GET", std::string(kChanges) + "?" + CurlUrl::BuildQuery(query) +
                                     "&kinds=Media&queryParam=albumType=0&isIncludeDeleted=true");
}

Call<StartCursor> ChangesReq::GetStartCursor(const std::string& fields) {
  return Make<StartCursor>(
      "GET", std::string(kChanges) + "/getStartCursor?" + CurlUrl::BuildQuery({{"fields", fields}}));
}

Call<Lock> Locks::Get(const std::string& token) {
  return Make<Lock>("GET", std::string(kLocks) + "?" + CurlUrl::BuildQuery({{"token", token}}));
}

Call<Nothing> Locks::Delete(const std::string& token) {
  return Make<Nothing>("DELETE", std::string(kLocks) + "?" + CurlUrl::BuildQuery({{"token", token}}));
}

}  // namespace NS::CloudPhoto::V2
