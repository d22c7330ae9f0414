#include "cloud/cloudrecords.h"

#include <array>
#include <charconv>

#include "common/platform/text.h"
#include "host/base/jsontext.h"
#include "host/requests/ns/cloudtime.h"
#include "utils/picturemetadata.h"

namespace CloudRecords {
namespace {

namespace V2 = NS::CloudPhoto::V2;
using NS::CloudTime::Format;

// 0 for a status that is no number: content is there unless the cloud says else.
std::int32_t ContentStatus(const std::string& status) {
  std::int32_t number = 0;
  std::from_chars(status.data(), status.data() + status.size(), number);
  return number;
}

std::string MetadataText(const Json::Value& metadata) {
  return metadata.empty() ? std::string() : CompactJson(metadata);
}

// Services write these as numbers or as texts; readers of the row want numbers.
std::string VideoText(Json::Value metadata) {
  for (const char* key : {"durationTime", "height", "width"}) {
    if (metadata.isObject() && metadata.isMember(key)) {
      metadata[key] = Json::Int64(JsonText::Number(metadata, key));
    }
  }
  return MetadataText(metadata);
}

void PutText(Json::Value& body, const char* key, const std::string& text) {
  if (!text.empty()) body[key] = text;
}

void PutObject(Json::Value& body, const char* key, const Json::Value& object) {
  if (object.isObject() && !object.empty()) body[key] = object;
}

// The album's own properties go up even when they are empty now: they may have
// been emptied here.
Json::Value AlbumBody(const Album& album) {
  Json::Value body(Json::objectValue);
  body["albumName"] = platform::WideToUtf8(album.AlbumName.Get());
  body["localPath"] = album.Lpath.Get();
  const Json::Value properties = album.Expand();
  if (properties.isObject()) body["properties"] = properties;
  return body;
}

}  // namespace

Album::Ptr ToAlbum(const V2::Album& record) {
  auto album = std::make_shared<Album>();
  album->AlbumId = record.id;
  album->AlbumName = platform::Utf8ToWide(record.albumName);
  album->AlbumType = record.type;
  album->CreateTime = std::max<std::int64_t>(record.createdTime, 0);
  album->Lpath = record.localPath;
  album->SetExpand(record.properties);
  album->Classify();
  return album;
}

CloudFileInfo ToFileInfo(const V2::Media& record) {
  CloudFileInfo file;
  file.uniqueId = record.id;
  file.fileId = record.id;
  file.fileName = platform::Utf8ToWide(record.fileName);
  file.fileType = record.fileType;
  file.hash = record.hashId;
  file.albumId = record.albumId;
  file.recycleAlbumId = record.recycled ? kRecycleAlbumId : "";
  file.recycleTime = record.recycledTime;
  file.createTime = std::max<std::int64_t>(record.createdTime, 0);
  file.sdsmtime = std::max<std::int64_t>(record.editedTime, 0);
  file.size = record.size;
  file.favorite = record.favorite;
  file.expand = record.properties;
  file.device = record.deviceId;
  file.source = record.source;
  file.cloudContentStatus = ContentStatus(record.status);
  file.pictureMetadata = MetadataText(record.pictureMetadata);
  file.videoMetadata = VideoText(record.videoMetadata);
  return file;
}

Json::Value AlbumCreateRequest(const Album& album) {
  Json::Value body = AlbumBody(album);
  body["id"] = album.AlbumId.Get();
  PutText(body, "createdTime", Format(album.CreateTime));
  return body;
}

Json::Value AlbumUpdateRequest(const Album& album) {
  Json::Value body = AlbumBody(album);
  body["id"] = album.AlbumId.Get();
  return body;
}

Json::Value MediaUpdateRequest(const CloudFileInfo& file) {
  const bool recycled = file.albumId == kRecycleAlbumId || !file.recycleAlbumId.empty();
  const std::int64_t edited = file.operateTime > 0 ? file.operateTime : file.sdsmtime;
  Json::Value body(Json::objectValue);
  if (edited > 0) PutText(body, "editedTime", Format(edited));
  PutText(body, "fileName", platform::WideToUtf8(file.fileName));
  PutText(body, "albumId", recycled ? kRecycleAlbumId : file.albumId);
  PutText(body, "source", file.source);
  body["favorite"] = file.favorite;
  body["recycled"] = recycled;
  if (recycled && file.recycleTime > 0) PutText(body, "recycledTime", Format(file.recycleTime));
  PutObject(body, "properties", file.expand);
  PutObject(body, "pictureMetadata", ParseJson(file.pictureMetadata));
  PutObject(body, "videoMetadata", ParseJson(file.videoMetadata));
  return body;
}

}  // namespace CloudRecords
