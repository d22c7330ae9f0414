#include "photocloud/api/mediaview.h"

#include <algorithm>

#include "photocloud/base/json.h"

namespace photocloud {
namespace {

constexpr const char* kFromAssets[] = {"attachments",
                                       "hash",
                                       "sha256",
                                       "cipher",
                                       "signedDownloadLink",
                                       "contentDownloadLink",
                                       "thumbnailDownloadLink",
                                       "smallThumbnailDownloadLink"};

bool WantsAssets(const FieldSelector& fields) {
  return std::any_of(std::begin(kFromAssets), std::end(kFromAssets),
                     [&](const char* name) { return fields.Names(name); });
}

Json::Value ViewPlain(const Exchange& exchange, const MediaRecord& media) {
  Json::Value json = ParseJson(media.fields).value_or(Json::Value(Json::objectValue));
  const Account& account = exchange.caller.account;
  json["id"] = media.id;
  json["albumId"] = media.albumId;
  json["recycled"] = media.recycled;
  json["status"] = static_cast<int>(media.status);
  json["version"] = std::to_string(media.version);
  json["mediaOwnerId"] = account.userId;
  json["creator"]["userId"] = account.userId;
  json["creator"]["displayName"] = account.userName;
  json["uploadType"] = "client";
  return json;
}

Json::Value ViewResource(Exchange& exchange, const AssetRecord& asset, const Json::Value& fields) {
  Json::Value json(Json::objectValue);
  json["hash"] = asset.hash;
  json["sha256"] = asset.sha256;
  json["length"] = Json::Int64(asset.length);
  json["sliceSize"] = Json::Int64(asset.sliceSize);
  if (fields.isMember("resourceAttributes")) json["attributes"] = fields["resourceAttributes"];
  json["objects"] = Json::Value(Json::arrayValue);
  bool isHeld = true;
  for (const SliceRecord& slice : exchange.services.store.ListSlices(exchange.Account(), asset.id)) {
    isHeld = isHeld && slice.stored;
    json["objects"].append(ViewSlice(exchange, slice));
  }
  json["state"] = TransferState(isHeld);
  return json;
}

Json::Value ViewAttachment(Exchange& exchange, const AssetRecord& asset) {
  const Json::Value fields = ParseJson(asset.fields).value_or(Json::Value(Json::objectValue));
  Json::Value json(Json::objectValue);
  json["usage"] = asset.usage;
  json["status"] = static_cast<int>(asset.status);
  json["asset"]["id"] = asset.id;
  json["asset"]["versionId"] = asset.versionId;
  for (const char* key : {"cipher", "attributes"}) {
    if (fields.isMember(key)) json["asset"][key] = fields[key];
  }
  json["asset"]["resource"] = ViewResource(exchange, asset, fields);
  return json;
}

// Links lead to plain bytes. The service has none of encrypted content, nor in
// one piece of content in several objects.
std::string PlainLink(const Json::Value& attachment) {
  const Json::Value& asset = attachment["asset"];
  const Json::Value& objects = asset["resource"]["objects"];
  if (asset.isMember("cipher") || objects.size() != 1) return {};
  return TextOf(objects[0]["downloadUrl"], "url");
}

void AddLinks(const Json::Value& attachment, std::initializer_list<const char*> names, Json::Value& json) {
  const std::string link = PlainLink(attachment);
  if (link.empty()) return;
  for (const char* name : names) json[name] = link;
}

void AddContent(const Json::Value& attachment, Json::Value& json) {
  const Json::Value& asset = attachment["asset"];
  json["hash"] = asset["resource"]["hash"];
  json["sha256"] = asset["resource"]["sha256"];
  if (asset.isMember("cipher")) json["cipher"] = asset["cipher"];
  AddLinks(attachment, {"signedDownloadLink", "contentDownloadLink"}, json);
}

}  // namespace

int TransferState(bool isHeld) { return isHeld ? 1 : 2; }

Json::Value SignedUrl(Exchange& exchange, const std::string& method, const std::string& objectId) {
  Json::Value json(Json::objectValue);
  json["url"] = exchange.request.baseUrl + "/cloudPhoto/v1/objects/" + objectId +
                exchange.services.signer.Query(method, objectId);
  json["method"] = method;
  json["headers"][method == "PUT" ? "Content-Type" : "Accept"] = "application/octet-stream";
  return json;
}

Json::Value ViewSlice(Exchange& exchange, const SliceRecord& slice) {
  Json::Value json(Json::objectValue);
  json["id"] = slice.objectId;
  json["number"] = Json::Int64(slice.number);
  json["start"] = Json::Int64(slice.start);
  json["length"] = Json::Int64(slice.length);
  json["state"] = TransferState(slice.stored);
  json["downloadUrl"] = SignedUrl(exchange, "GET", slice.objectId);
  return json;
}

Json::Value ViewWithAttachments(Exchange& exchange, const MediaRecord& media) {
  Json::Value json = ViewPlain(exchange, media);
  json["attachments"] = Json::Value(Json::arrayValue);
  for (const AssetRecord& asset : exchange.services.store.ListAssets(exchange.Account(), media.id)) {
    const Json::Value attachment = ViewAttachment(exchange, asset);
    if (asset.usage == "content") AddContent(attachment, json);
    if (asset.usage == "thumbnail") {
      AddLinks(attachment, {"thumbnailDownloadLink", "smallThumbnailDownloadLink"}, json);
    }
    json["attachments"].append(attachment);
  }
  return json;
}

Json::Value ViewOne(Exchange& exchange, const MediaRecord& media) {
  const bool wants = exchange.fields.IsEverything() || WantsAssets(exchange.fields);
  return wants ? ViewWithAttachments(exchange, media) : ViewPlain(exchange, media);
}

Json::Value ViewInList(Exchange& exchange, const MediaRecord& media, const FieldSelector& fields) {
  return WantsAssets(fields) ? ViewWithAttachments(exchange, media) : ViewPlain(exchange, media);
}

}  // namespace photocloud
