#include "host/requests/ns/cloudphotov2assets.h"

#include "host/base/jsontext.h"
#include "host/requests/curlppx.h"

namespace NS::CloudPhoto::V2 {
namespace {

using JsonText::Flag;
using JsonText::Number;
using JsonText::Object;
using JsonText::Text;

ResourceObject ReadObject(const Json::Value& json) {
  ResourceObject object;
  object.id = Text(json, "id");
  object.number = Number(json, "number");
  object.start = Number(json, "start");
  object.length = Number(json, "length");
  const Json::Value download = Object(json, "downloadUrl");
  object.downloadUrl.url = Text(download, "url");
  object.downloadUrl.headers = HeaderLines(Object(download, "headers"));
  return object;
}

Resource ReadResource(const Json::Value& json) {
  Resource resource;
  resource.hash = Text(json, "hash");
  resource.sha256 = Text(json, "sha256");
  resource.length = Number(json, "length");
  resource.sliceSize = Number(json, "sliceSize");
  resource.state = static_cast<std::int32_t>(Number(json, "state"));
  if (!json.isObject() || !json["objects"].isArray()) return resource;
  for (const Json::Value& object : json["objects"]) resource.objects.push_back(ReadObject(object));
  return resource;
}

Cipher ReadCipher(const Json::Value& json) {
  Cipher cipher;
  cipher.isSet = json.isObject() && !json.empty();
  cipher.iv = Text(json, "iv");
  cipher.hmac = Text(json, "hmac");
  if (!json.isObject() || !json["keychains"].isArray()) return cipher;
  for (const Json::Value& chain : json["keychains"]) {
    cipher.keychains.push_back(
        {static_cast<std::int32_t>(Number(chain, "type")), Text(chain, "ekey"), Text(chain, "id")});
  }
  return cipher;
}

Attachment ReadAttachment(const Json::Value& json) {
  Attachment attachment;
  attachment.usage = Text(json, "usage");
  attachment.status = Text(json, "status");
  const Json::Value asset = Object(json, "asset");
  attachment.asset.id = Text(asset, "id");
  attachment.asset.versionId = Text(asset, "versionId");
  attachment.asset.status = Text(asset, "status");
  attachment.asset.deleted = Flag(asset, "deleted");
  attachment.asset.cipher = ReadCipher(Object(asset, "cipher"));
  attachment.asset.resource = ReadResource(Object(asset, "resource"));
  attachment.asset.attributes = Object(asset, "attributes");
  return attachment;
}

}  // namespace

Keychain Cipher::Strongest() const {
  Keychain strongest;
  for (const Keychain& chain : keychains) {
    if (chain.type > strongest.type) strongest = chain;
  }
  return strongest;
}

const Attachment* MediaGetResponse::Find(const std::string& usage) const {
  for (const Attachment& attachment : attachments) {
    if (attachment.usage == usage) return &attachment;
  }
  return nullptr;
}

bool Read(const Json::Value& json, MediaGetResponse& media) {
  media.id = Text(json, "id");
  media.albumId = Text(json, "albumId");
  media.fileName = Text(json, "fileName");
  media.properties = Object(json, "properties");
  media.contentDownloadLink = Text(json, "contentDownloadLink");
  media.thumbnailDownloadLink = Text(json, "thumbnailDownloadLink");
  media.smallThumbnailDownloadLink = Text(json, "smallThumbnailDownloadLink");
  if (!json.isObject()) return false;
  if (!json["attachments"].isArray()) return true;
  for (const Json::Value& attachment : json["attachments"]) {
    if (attachment.isObject()) media.attachments.push_back(ReadAttachment(attachment));
  }
  return true;
}

Call<MediaGetResponse> GetContentCall(const std::string& id, const std::string& fields) {
  Call<MediaGetResponse> call;
  call.uri = "/cloudPhoto/v1/media/" + curlppx::CurlUrl::Escape(id) + "?" +
             curlppx::CurlUrl::BuildQuery({{"fields", fields}});
  return call;
}

std::vector<std::string> HeaderLines(const Json::Value& headers) {
  std::vector<std::string> lines;
  if (!headers.isObject()) return lines;
  for (const std::string& name : headers.getMemberNames()) {
    const Json::Value& value = headers[name];
    const Json::Value& text = value.isArray() && !value.empty() ? value[0] : value;
    if (text.isString()) lines.push_back(name + ":" + text.asString());
  }
  return lines;
}

}  // namespace NS::CloudPhoto::V2
