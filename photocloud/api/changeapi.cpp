#include <algorithm>

#include "photocloud/api/handlers.h"
#include "photocloud/api/mediaview.h"

namespace photocloud {
namespace {

Json::Value ToChange(Exchange& exchange, const MediaRecord& media, const FieldSelector& fields) {
  Json::Value json(Json::objectValue);
  const bool isDeleted = media.phase == MediaPhase::Deleted;
  json["changeType"] = isDeleted ? "delete" : media.version == media.createdVersion ? "create" : "update";
  json["device"] = media.device;
  json["deleted"] = isDeleted;
  json["mediaId"] = media.id;
  if (!isDeleted) json["media"] = ViewInList(exchange, media, fields);
  return json;
}

Answer ListChanges(Exchange& exchange) {
  const auto size = PageSize(exchange.request);
  if (const auto* error = std::get_if<ErrorCode>(&size)) return Answer(*error, "pageSize");
  const auto cursor = ReadVersionCursor(exchange);
  if (const auto* error = std::get_if<ErrorCode>(&cursor)) return *error;
  const Account& account = exchange.caller.account;
  const auto after = std::get<std::int64_t>(cursor);
  if (after < account.oldestCursor) return ErrorCode::CursorExpired;
  const bool includeDeleted = exchange.request.Query("isIncludeDeleted") == "true";
  auto page = exchange.services.store.ListChanges(account.id, after, includeDeleted, std::get<int>(size) + 1);
  const bool hasMore = static_cast<int>(page.size()) > std::get<int>(size);
  if (hasMore) page.pop_back();
  // The account was read before the page, so all changes up to its version are
  // in the pages; the page itself may hold newer ones.
  const auto last = page.empty() ? account.version : page.back().version;
  Json::Value json(Json::objectValue);
  json["nextCursor"] = hasMore ? std::to_string(last) : "";
  json["newStartCursor"] = hasMore ? "" : std::to_string(std::max(last, account.version));
  json["changes"] = Json::Value(Json::arrayValue);
  const FieldSelector fields = exchange.fields.Inside("changes").Inside("media");
  for (const MediaRecord& media : page) json["changes"].append(ToChange(exchange, media, fields));
  return json;
}

Answer GetStartCursor(Exchange& exchange) {
  Json::Value json(Json::objectValue);
  json["startCursor"] = std::to_string(exchange.caller.account.version);
  json["fullUploadCursor"] = std::to_string(exchange.caller.account.oldestCursor);
  return json;
}

Json::Value ToLost(Exchange& exchange, const MediaRecord& media) {
  const Json::Value full = ViewWithAttachments(exchange, media);
  Json::Value json(Json::objectValue);
  for (const char* key : {"id", "status", "size", "attachments"}) {
    if (full.isMember(key)) json[key] = full[key];
  }
  return json;
}

Answer ListLosts(Exchange& exchange) {
  const auto size = PageSize(exchange.request);
  if (const auto* error = std::get_if<ErrorCode>(&size)) return Answer(*error, "pageSize");
  const auto cursor = ReadVersionCursor(exchange);
  if (const auto* error = std::get_if<ErrorCode>(&cursor)) return *error;
  auto page = exchange.services.store.ListLosts(exchange.Account(), std::get<std::int64_t>(cursor),
                                                std::get<int>(size) + 1);
  const bool hasMore = static_cast<int>(page.size()) > std::get<int>(size);
  if (hasMore) page.pop_back();
  const auto version = exchange.caller.account.version;
  const auto last = page.empty() ? version : page.back().lostVersion;
  Json::Value json(Json::objectValue);
  json["nextCursor"] = hasMore ? std::to_string(last) : "";
  json["newStartCursor"] = hasMore ? "" : std::to_string(std::max(last, version));
  json["media"] = Json::Value(Json::arrayValue);
  for (const MediaRecord& media : page) json["media"].append(ToLost(exchange, media));
  return json;
}

}  // namespace

std::vector<Route> ChangeRoutes() {
  return {{"GET", "/cloudPhoto/v1/changes", ListChanges, {}},
          {"GET", "/cloudPhoto/v1/changes/getStartCursor", GetStartCursor, {}},
          {"GET", "/cloudPhoto/v1/losts", ListLosts, {}}};
}

}  // namespace photocloud
