#include "photocloud/api/handlers.h"
#include "photocloud/base/json.h"
#include "photocloud/base/text.h"

namespace photocloud {
namespace {

// Headers of items come as texts or as lists of one text.
std::string HeaderText(const Json::Value& value) {
  if (value.isArray() && !value.empty()) return value[0].isString() ? value[0].asString() : std::string();
  return value.isString() ? value.asString() : std::string();
}

// An item as a request of its own: it takes over the outer headers, and its own
// ones go before them, but never another account's token.
bool ToRequest(const Json::Value& item, const Request& outer, Request& request) {
  if (!item.isObject() || !item["method"].isString() || !item["uri"].isString()) return false;
  request.method = TextOf(item, "method");
  request.headers = outer.headers;
  request.baseUrl = outer.baseUrl;
  request.inBatch = true;
  if (item["headers"].isObject()) {
    for (const std::string& name : item["headers"].getMemberNames()) {
      const std::string key = ToLower(name);
      if (key != "authorization") request.headers[key] = HeaderText(item["headers"][name]);
    }
  }
  const Json::Value& body = item["body"];
  if (body.isString()) request.body = body.asString();
  if (body.isObject()) request.body = WriteJson(body);
  return request.SetTarget(TextOf(item, "uri"));
}

Json::Value RunItem(Exchange& exchange, const Json::Value& item) {
  Request request;
  const Answer answer = ToRequest(item, exchange.request, request)
                            ? exchange.router.Run(request, exchange.scope)
                            : Answer(ErrorCode::Malformed, "requests");
  Json::Value json(Json::objectValue);
  json["code"] = answer.status;
  json["headers"] = Json::Value(Json::objectValue);
  json["body"] = answer.json;
  return json;
}

Answer RunBatch(Exchange& exchange) {
  if (exchange.request.Query("form") != "json") return Answer(ErrorCode::Malformed, "form");
  const Json::Value& requests = exchange.body["requests"];
  if (!requests.isArray()) return Answer(ErrorCode::Malformed, "requests");
  if (static_cast<int>(requests.size()) > exchange.services.settings.maxBatchNumber) {
    return Answer(ErrorCode::TooManyItems, "requests");
  }
  Json::Value json(Json::objectValue);
  json["responses"] = Json::Value(Json::arrayValue);
  for (const Json::Value& item : requests) json["responses"].append(RunItem(exchange, item));
  return json;
}

}  // namespace

std::vector<Route> BatchRoutes() {
  RouteRules rules;
  rules.json = true;
  rules.batchable = false;
  // One transaction for all items, and so one flush of the disk. Each item that
  // fails undoes its own part only.
  rules.atomic = true;
  return {{"POST", "/cloudPhoto/v1/batch", RunBatch, rules}};
}

}  // namespace photocloud
