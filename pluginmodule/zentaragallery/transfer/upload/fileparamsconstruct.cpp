#include "transfer/upload/fileparamsconstruct.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "cloud/cheader.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsontext.h"
#include "host/requests/ns/cloudtime.h"
#include "host/requests/ns/request.h"
#include "transfer/contentcrypto.h"
#include "utils/gallerylog.h"
#include "utils/methodfunction.h"
#include "utils/picturemetadata.h"

namespace {

using JsonText::Text;

constexpr char kTag[] = "FileParamsConstruct<struct FileSliceCmdParamsV2>::UploadSliceInfo";
constexpr char kCreatePath[] =
    "/cloudPhoto/v1/media?mode=temp&fields=fileName,attachments,signedDownloadLink,"
    "smallThumbnailDownloadLink,thumbnailDownloadLink,id,pictureMetadata,uploadType";
constexpr char kSlicePath[] = "/cloudPhoto/v1/media/%s/assets/%s/revisions/%s";
constexpr char kPublishPath[] =
    "/cloudPhoto/v1/media/%s?mode=normal&fields=id,attachments,source,sha256,hash,status,fileName";
// The longest path that the service takes; a longer one fails the command.
constexpr std::size_t kPathBuffer = 256;
// Confirms an object that has been stored (RFC 9110, 15.3.1).
constexpr int kStored = 200;

template <typename... Texts>
std::string Path(const char* format, const Texts&... texts) {
  std::array<char, kPathBuffer> path{};
  const int length = std::snprintf(path.data(), path.size(), format, texts.c_str()...);
  return length > 0 && static_cast<std::size_t>(length) < path.size() ? path.data() : std::string();
}

std::int32_t TypeNumber(std::int32_t kind) {
  const bool known = kind >= 0 && kind <= static_cast<std::int32_t>(FileType::Gif) && kind != 10;
  return known ? kind : static_cast<std::int32_t>(FileType::Defalut);
}

void PutMimeType(const GalleryFile& file, Json::Value& body) {
  const std::string_view type = UploadMimeType(platform::WideExtension(file.FileName()));
  if (!type.empty()) body["mimeType"] = std::string(type);
}

Json::Value Owner() {
  Json::Value owner;
  owner["userId"] = platform::WideToUtf8(UserAuthService::GetInstance()->GetCurrentUserID());
  return owner;
}

Json::Value CipherOf(const std::string& hmac) {
  return ContentCrypto::CipherRecord(hmac, GlobalParamWrapper::GetInstance()->GetUserInfo());
}

// What goes out without its hash or its cipher record could never be read again.
bool IsReadable(const Json::Value& attachment) {
  const Json::Value& asset = attachment["asset"];
  return !Text(asset["resource"], "hash").empty() && asset["cipher"].isObject();
}

std::string AlbumIdOf(const FileSliceCmdParamsV2& record) {
  return record.album ? record.album->AlbumId.Get() : record.file->AlbumId();
}

}  // namespace

template <typename T>
bool FileParamsConstruct<T>::ParamsProcess(HttpHeaders&, std::string&, std::int32_t&, std::string&) {
  LogError("FileParamsConstruct::ParamsProcess", "url is empty!");
  return false;
}

template <typename T>
bool FileParamsConstruct<T>::ParamsProcessV2(HttpHeaders& headers, std::string& requestBody,
                                             std::int32_t& requestMethod, std::string& requestUrl) try {
  const std::string path = CommandUrl();
  if (path.empty()) {
    LogError("FileParamsConstruct::ParamsProcessV2", "url is empty!");
    return false;
  }
  requestBody = CommandBody();
  if (requestBody.empty()) {
    LogError("FileParamsConstruct::ParamsProcessV2", "build cmd fail!");
    return false;
  }
  CHeader::GetInstance().Build(headers);
  headers["Authorization"] = "Bearer " + platform::WideToUtf8(UserAuthService::GetInstance()->GetCurrentAT());
  headers["x-zt-lock"] = record->lockToken;
  requestMethod = command == kPublishMedia ? kHttpPatch : kHttpPost;
  requestUrl = NS::Request::BaseUrl() + path;
  return true;
} catch (const Json::Exception& failure) {  // The answer that it is made of has another shape.
  LogError(kTag, failure.what());
  return false;
}

template <typename T>
std::string FileParamsConstruct<T>::CommandUrl() const {
  const std::string media = Text(record->doc, "id");
  switch (command) {
    case kCreateMedia:
      return kCreatePath;
    case kAnnounceSlice:
    case kConfirmSlice:
      return Path(kSlicePath, media, Text(record->Asset(), "id"), Text(record->Asset(), "versionId"));
    case kPublishMedia:
      return Path(kPublishPath, media);
    default:
      return {};
  }
}

template <typename T>
std::string FileParamsConstruct<T>::CommandBody() const {
  switch (command) {
    case kCreateMedia:
      return UploadSliceInfo();
    case kAnnounceSlice:
      return SliceBody();
    case kConfirmSlice:
      return UploadStateBody();
    default:
      return FinalBody();
  }
}

template <typename T>
std::string FileParamsConstruct<T>::UploadSliceInfo() const {
  const GalleryFile& file = *record->file;
  if (file.FileName().empty()) {
    LogError(kTag, "upload Filename is empty!");
    return {};
  }
  Json::Value body;
  // A file that the cloud knows gives its content back into its own record.
  if (!file.IsLocalOnly()) body["id"] = file.UniqueId();
  body["albumId"] = AlbumIdOf(*record);
  body["createdTime"] = NS::CloudTime::Format(file.CreateTime);
  body["favorite"] = static_cast<bool>(file.IsFavorite);
  body["fileName"] = platform::WideToUtf8(file.FileName());
  body["fileType"] = TypeNumber(file.SavedFileType);
  PutMimeType(file, body);
  body["recycled"] = AlbumIdOf(*record) == kRecycleAlbumId;
  body["hashId"] = file.Hash();
  const Json::Value properties = file.Expand();
  body["properties"] = properties.isObject() ? properties : Json::Value(Json::objectValue);
  body["attachments"].append(ContentAttachment());
  body["attachments"].append(ThumbnailAttachment());
  const Json::Value& attachments = body["attachments"];
  return std::all_of(attachments.begin(), attachments.end(), IsReadable) ? JsonText::Write(body) : "";
}

template <typename T>
Json::Value FileParamsConstruct<T>::ContentAttachment() const {
  Json::Value attachment;
  attachment["usage"] = "content";
  Json::Value& asset = attachment["asset"];
  asset["resource"]["hash"] = ContentCrypto::ResourceHash(record->mk2, record->contentHmac);
  asset["resource"]["length"] = Json::Int64(record->source->size);
  asset["resource"]["sha256"] = record->source->sha256;
  if (const Json::Value cipher = CipherOf(record->contentHmac); !cipher.isNull()) asset["cipher"] = cipher;
  asset["attributes"] = Json::Value(Json::objectValue);
  const bool isVideo = record->file->PictureMetadata().empty() && !record->file->VideoMetadata().empty();
  const std::string text = isVideo ? record->file->VideoMetadata() : record->file->PictureMetadata();
  if (!text.empty()) asset["attributes"][isVideo ? "videoMetadata" : "pictureMetadata"] = ParseJson(text);
  return attachment;
}

template <typename T>
Json::Value FileParamsConstruct<T>::ThumbnailAttachment() const {
  const std::string& small = record->source->smallThumbnail;
  const std::string& large = record->source->largeThumbnail;
  Json::Value attachment;
  attachment["usage"] = "thumbnail";
  Json::Value& asset = attachment["asset"];
  Json::Value attributes;
  attributes["sha256"]["small"] = MethodFunction::Sha256(small);
  attributes["sha256"]["large"] = MethodFunction::Sha256(large);
  attributes["length"]["small"] = Json::Int64(small.size());
  attributes["length"]["large"] = Json::Int64(large.size());
  asset["resource"]["hash"] = ContentCrypto::ResourceHash(record->mk2, record->thumbHmac);
  asset["resource"]["length"] = Json::Int64(small.size() + large.size());
  asset["resource"]["sha256"] = MethodFunction::Sha256(small + large);
  asset["resource"]["attributes"] = attributes;
  if (const Json::Value cipher = CipherOf(record->thumbHmac); !cipher.isNull()) asset["cipher"] = cipher;
  asset["attributes"] = attributes;
  return attachment;
}

template <typename T>
std::string FileParamsConstruct<T>::SliceBody() const {
  if (record->md5.empty() || record->sha256.empty()) return {};
  const Json::Value& asset = record->Asset();
  Json::Value object, body;
  object["objectId"] = asset["resource"]["objects"][record->objectIndex]["id"];
  object["md5"] = record->md5;
  object["sha256"] = record->sha256;
  body["resource"]["hash"] = asset["resource"]["hash"];
  body["resource"]["sha256"] = asset["resource"]["sha256"];
  body["resource"]["objects"].append(object);
  body["attributes"] = asset["attributes"];
  return JsonText::Write(body);
}

template <typename T>
std::string FileParamsConstruct<T>::UploadStateBody() const {
  const Json::Value& resource = record->Asset()["resource"];
  const Json::Value& answered = record->sliceResponse["resource"]["objects"][record->objectIndex];
  Json::Value object, body;
  object["objectId"] = resource["objects"][record->objectIndex]["id"];
  object["uploadStatus"]["status"] = kStored;
  object["uploadStatus"]["headers"] = answered["downloadUrl"]["headers"];
  object["uploadStatus"]["body"] = "string";
  body["resource"]["hash"] = resource["hash"];
  body["resource"]["sha256"] = resource["sha256"];
  body["resource"]["objects"].append(object);
  if (record->objectIndex + 1 == resource["objects"].size()) body["state"] = 0;
  return JsonText::Write(body);
}

template <typename T>
std::string FileParamsConstruct<T>::FinalBody() const {
  const GalleryFile& file = *record->file;
  Json::Value body;
  body["creator"] = body["owner"] = Owner();
  PutMimeType(file, body);
  body["fileName"] = platform::WideToUtf8(file.FileName());
  body["favorite"] = static_cast<bool>(file.IsFavorite);
  body["albumId"] = AlbumIdOf(*record);
  body["fileType"] = TypeNumber(file.SavedFileType);
  body["hashId"] = record->source->hashId;
  body["id"] = record->doc["id"];
  body["size"] = Json::Int64(record->source->size);
  body["source"] = "PC";
  body["uploadType"] = "client";
  return JsonText::Write(body);
}

template class FileParamsConstruct<FileSliceCmdParamsV2>;

std::string AES_128_CBC_Thumb(const FileSliceCmdParamsV2& record) {
  const ContentCrypto::KeyAndIv keys = ContentCrypto::KeysOfHmac(record.thumbHmac);
  if (!keys.IsUsable()) {
    LogError("FileParamsConstruct::AES_128_CBC_Thumb", "thm upload get smallLargeHmac failed!");
    return {};
  }
  const auto small = ContentCrypto::Encrypt(keys.key, keys.iv, record.source->smallThumbnail);
  const auto large = ContentCrypto::Encrypt(keys.key, keys.iv, record.source->largeThumbnail);
  return small && large ? *small + *large : std::string();
}
