#include "photocloud/api/handlers.h"
#include "photocloud/api/jsontext.h"
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
  if (body.isObject()) request.json = &body;
  return request.SetTarget(TextOf(item, "uri"));
}

// Answers of the items together are bounded, as those of a page are: an item that
// comes too late is not run.
constexpr std::size_t kMostBatchBytes = 16 << 20;

void RunItem(Exchange& exchange, const Json::Value& item, std::string& out) {
  Request request;
  Answer answer;
  if (out.size() > kMostBatchBytes) {
    answer = ErrorCode::BodyTooLarge;
  } else if (ToRequest(item, exchange.request, request)) {
    answer = exchange.router.Run(request, exchange.scope);
  } else {
    answer = Answer(ErrorCode::Malformed, "requests");
  }
  out += "{\"code\":" + std::to_string(answer.status) + ",\"headers\":{},\"body\":";
  out += answer.text.empty() ? WriteJson(answer.json) : answer.text;
  out += '}';
}

Answer RunBatch(Exchange& exchange) {
  if (exchange.request.Query("form") != "json") return Answer(ErrorCode::Malformed, "form");
  const Json::Value& requests = exchange.body["requests"];
  if (!requests.isArray()) return Answer(ErrorCode::Malformed, "requests");
  if (static_cast<int>(requests.size()) > exchange.services.settings.maxBatchNumber) {
    return Answer(ErrorCode::TooManyItems, "requests");
  }
  const Caller caller = exchange.caller;
  exchange.scope.caller = &caller;
  std::string list = "{\"responses\":[";
  for (const Json::Value& item : requests) {
    if (list.back() != '[') list += ',';
    RunItem(exchange, item, list);
  }
  exchange.scope.caller = nullptr;
  list += "]}";
  if (exchange.fields.IsEverything()) return Answer::OfText(std::move(list));
  std::string selected;
  AppendSelected(selected, list, exchange.fields);
  return Answer::OfText(std::move(selected));
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
