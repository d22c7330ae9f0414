#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host/requests/ns/request.h"

// The contents of a media record: where their bytes lie and what opens them.
namespace NS::CloudPhoto::V2 {

// A signed address of one object, and the headers that go with it.
struct ObjectUrl {
  std::string url;
  std::vector<std::string> headers;  // lines "name:value"
};

struct ResourceObject {
  std::string id;
  std::int64_t number = 0;
  std::int64_t start = 0;   // where it begins in the plain content
  std::int64_t length = 0;  // bytes that are stored
  ObjectUrl downloadUrl;
};

struct Resource {
  std::string hash;
  std::string sha256;
  std::int64_t length = 0;  // plain bytes
  std::int64_t sliceSize = 0;
  std::int32_t state = 0;
  std::vector<ResourceObject> objects;
};

struct Keychain {
  std::int32_t type = 0;  // 1 and 3: which key of the user wraps `ekey`
  std::string ekey;       // hexadecimal: 16 bytes of IV, then the wrapped key's text
  std::string id;
};

struct Cipher {
  std::string iv;    // hexadecimal
  std::string hmac;  // of content whose writer stored the HMAC's text itself; else empty
  std::vector<Keychain> keychains;
  bool isSet = false;

  // The strongest key of those that wrap the content's; type 0 without any.
  Keychain Strongest() const;
};

struct Asset {
  std::string id;
  std::string versionId;
  std::string status;
  bool deleted = false;
  Cipher cipher;
  Resource resource;
  Json::Value attributes;
};

struct Attachment {
  std::string usage;  // "content", "thumbnail"
  std::string status;
  Asset asset;
};

// The answer of a metadata read with contents.
struct MediaGetResponse {
  std::string id;
  std::string albumId;
  std::string fileName;
  Json::Value properties;
  std::vector<Attachment> attachments;
  // Addresses that need the session; empty for content that is encrypted.
  std::string contentDownloadLink;
  std::string thumbnailDownloadLink;
  std::string smallThumbnailDownloadLink;

  // Null when there is none of that usage.
  const Attachment* Find(const std::string& usage) const;
};

bool Read(const Json::Value& json, MediaGetResponse& media);

// What a metadata read asks for to reach contents and thumbnails.
inline constexpr char kContentFields[] =
    "albumId,favorite,recycled,fileName,id,properties,attachments,contentDownloadLink,"
    "smallThumbnailDownloadLink,thumbnailDownloadLink";

// A metadata read of `id` with these fields.
Call<MediaGetResponse> GetContentCall(const std::string& id, const std::string& fields);

// Lines "name:value" of an object whose values are texts or lists of one text.
std::vector<std::string> HeaderLines(const Json::Value& headers);

}  // namespace NS::CloudPhoto::V2
