// What the service and the account are: about, quota, registration, time, metrics.

#include <algorithm>

#include "photocloud/api/handlers.h"

namespace photocloud {
namespace {

Answer GetTime(Exchange& exchange) {
  const auto now = exchange.services.clock.NowMs();
  Json::Value json(Json::objectValue);
  json["serverTime"] = Json::Int64(now / 1000);
  json["serverTimeMs"] = Json::Int64(now);
  return json;
}

Answer GetAbout(Exchange& exchange) {
  const Account& account = exchange.caller.account;
  const ServiceSettings& settings = exchange.services.settings;
  Json::Value json(Json::objectValue);
  json["dataVersion"] = "v2.0";
  json["status"] = account.suspendedMs > 0 ? "disabled" : "normal";
  json["maxBatchNumber"] = settings.maxBatchNumber;
  json["maxFileUploadSize"] = Json::Int64(settings.content.maxFileBytes);
  json["maxThumbnailSize"] = Json::Int64(settings.content.maxThumbnailBytes);
  json["fullUploadCursor"] = std::to_string(account.oldestCursor);
  Answer answer(exchange.fields.Apply(json));
  // Clients read settings by name, whatever they select beside them.
  answer.json["settings"]["v2cut"] = "1";
  answer.json["settings"]["suspendCursor"] = account.suspendCursor;
  if (account.restoredCursor > 0)
    answer.json["settings"]["restoredCursor"] = std::to_string(account.restoredCursor);
  if (account.suspendedMs > 0) answer.json["settings"]["disableTime"] = std::to_string(account.suspendedMs);
  if (account.deleteMs > 0) answer.json["settings"]["deleteTime"] = std::to_string(account.deleteMs);
  answer.isSelected = true;
  return answer;
}

Answer GetQuota(Exchange& exchange) {
  const Account& account = exchange.caller.account;
  const auto free = exchange.services.vault.FreeBytes(account);
  Json::Value json(Json::objectValue);
  json["totalSpace"] = Json::Int64(account.quotaBytes);
  json["usedSpace"] = Json::Int64(account.quotaBytes - free);
  json["freeSpace"] = Json::Int64(free);
  return json;
}

Answer GetRegisterInfo(Exchange& exchange) {
  Json::Value json(Json::objectValue);
  json["userId"] = exchange.caller.account.userId;
  json["userStatus"] = exchange.caller.account.userStatus;
  return json;
}

Answer GetMetrics(Exchange& exchange) {
  if (!exchange.request.onMetricsAddress) return ErrorCode::PathUnknown;
  Response response;
  response.contentType = "text/plain; version=0.0.4";
  response.body = exchange.services.metrics.Text(exchange.services.push.Count());
  return response;
}

}  // namespace

std::vector<Route> AboutRoutes() {
  RouteRules open;
  open.token = false;
  open.hideable = false;
  RouteRules metrics = open;
  metrics.batchable = false;
  RouteRules own;
  own.hideable = false;
  return {{"GET", "/cloudPhoto/v1/time", GetTime, open},
          {"GET", "/cloudPhoto/v1/about", GetAbout, {}},
          {"GET", "/cloudPhoto/v1/quota", GetQuota, own},
          {"GET", "/cloudPhoto/v1/users/registerInfo", GetRegisterInfo, own},
          {"GET", "/metrics", GetMetrics, metrics}};
}

std::vector<Route> ApiRoutes() {
  std::vector<Route> all;
  for (const auto& part : {AccountRoutes(), AboutRoutes(), AlbumRoutes(), MediaRoutes(), ChangeRoutes(),
                           ContentRoutes(), LockRoutes(), BatchRoutes()}) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

}  // namespace photocloud
