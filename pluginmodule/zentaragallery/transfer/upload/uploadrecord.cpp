#include "transfer/upload/uploadrecord.h"

#include <algorithm>

#include "host/base/jsontext.h"
#include "transfer/upload/slicereader.h"

namespace UploadRecord {

using JsonText::Member;
using JsonText::Number;
using JsonText::Text;

namespace {

bool IsAsset(const Json::Value& record, const Json::Value& attachment, std::int64_t contentSize) {
  const Json::Value& resource = Member(Member(attachment, "asset"), "resource");
  if (!resource.isObject()) return false;
  const Json::Value& objects = resource["objects"];
  const bool areObjects = (objects.isArray() || objects.isNull()) &&
                          std::all_of(objects.begin(), objects.end(),
                                      [](const Json::Value& object) { return object.isObject(); });
  if (!areObjects || !IsContent(attachment)) return areObjects;
  return objects.empty() ? !IsAsked(record, resource) : IsCutOf(resource, contentSize);
}

}  // namespace

bool IsContent(const Json::Value& attachment) { return Text(attachment, "usage") == "content"; }

bool IsAsked(const Json::Value& record, const Json::Value& resource) {
  return Number(resource, "state") == kMustSend && Text(record, "uploadType") == "client";
}

bool IsUsable(const Json::Value& record, std::int64_t contentSize) {
  if (!record.isObject() || record.empty() || Text(record, "id").empty()) return false;
  const Json::Value& list = record["attachments"];
  return list.isArray() && list.size() == 2 && IsAsset(record, list[0], contentSize) &&
         IsAsset(record, list[1], contentSize);
}

Json::Value ContentToSend(const Json::Value& record) {
  for (const Json::Value& attachment : record["attachments"]) {
    const Json::Value& resource = Member(Member(attachment, "asset"), "resource");
    if (IsContent(attachment) && !resource["objects"].empty() && IsAsked(record, resource)) return resource;
  }
  return {};
}

HttpHeaders Headers(const Json::Value& json) {
  HttpHeaders headers;
  if (!json.isObject()) return headers;
  for (const std::string& name : json.getMemberNames()) {
    const Json::Value& value = json[name].isArray() && !json[name].empty() ? json[name][0] : json[name];
    if (value.isString()) headers[name] = value.asString();
  }
  return headers;
}

}  // namespace UploadRecord
