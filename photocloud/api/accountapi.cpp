// Sessions, wrapped keys and the push stream of an account.

#include "photocloud/api/handlers.h"
#include "photocloud/api/limits.h"
#include "photocloud/base/json.h"
#include "photocloud/base/text.h"

namespace photocloud {
namespace {

Answer TokenAnswer(const std::variant<Tokens, ErrorCode>& result) {
  if (const auto* refused = std::get_if<ErrorCode>(&result)) return *refused;
  const Tokens& tokens = std::get<Tokens>(result);
  Json::Value json(Json::objectValue);
  json["accessToken"] = tokens.accessToken;
  json["expiresIn"] = Json::Int64(tokens.accessSeconds);
  json["refreshToken"] = tokens.refreshToken;
  json["refreshExpiresIn"] = Json::Int64(tokens.refreshSeconds);
  json["userId"] = tokens.userId;
  json["userName"] = tokens.userName;
  return json;
}

Answer Login(Exchange& exchange) {
  const Json::Value& body = exchange.body;
  if (!body["userName"].isString()) return Answer(ErrorCode::Malformed, "userName");
  if (!body["password"].isString()) return Answer(ErrorCode::Malformed, "password");
  const std::string device = TextOf(body, "deviceId");
  if (!IsDeviceName(device)) return Answer(ErrorCode::Malformed, "deviceId");
  const auto result = exchange.services.accounts.Login(
      {TextOf(body, "userName"), TextOf(body, "password"), device, exchange.request.address});
  exchange.scope.Delay(result.waitMs);
  return TokenAnswer(result.outcome);
}

Answer Refresh(Exchange& exchange) {
  if (!exchange.body["refreshToken"].isString()) return Answer(ErrorCode::Malformed, "refreshToken");
  return TokenAnswer(exchange.services.accounts.Refresh(TextOf(exchange.body, "refreshToken")));
}

Answer Logout(Exchange& exchange) {
  (void)exchange.services.accounts.EndSession(exchange.caller, exchange.caller.sessionId);
  exchange.services.EndLostStreams();
  return {};
}

Answer ListSessions(Exchange& exchange) {
  Json::Value json(Json::objectValue);
  json["sessions"] = Json::Value(Json::arrayValue);
  for (const Session& session : exchange.services.accounts.ListSessions(exchange.caller)) {
    Json::Value entry(Json::objectValue);
    entry["id"] = std::to_string(session.id);
    entry["deviceId"] = session.deviceId;
    entry["createdTime"] = Json::Int64(session.createdMs);
    entry["lastUsedTime"] = Json::Int64(session.lastUsedMs);
    entry["current"] = session.id == exchange.caller.sessionId;
    json["sessions"].append(entry);
  }
  return json;
}

Answer EndSession(Exchange& exchange) {
  const auto id = ParseNumber(exchange.arguments[0]);
  if (!id || !exchange.services.accounts.EndSession(exchange.caller, *id)) {
    return Answer(ErrorCode::ObjectUnknown, "sessionId");
  }
  exchange.services.EndLostStreams();
  return {};
}

Answer KeysAnswer(const WrappedKeys& keys) {
  Json::Value json(Json::objectValue);
  json["keys"] = keys.revision == 0 ? Json::Value() : ParseJson(keys.keys).value_or(Json::Value());
  json["revision"] = Json::Int64(keys.revision);
  return json;
}

Answer GetKeys(Exchange& exchange) {
  return KeysAnswer(exchange.services.store.LoadKeys(exchange.Account()));
}

Answer PutKeys(Exchange& exchange) {
  const Json::Value& body = exchange.body;
  if (!body["keys"].isObject()) return Answer(ErrorCode::Malformed, "keys");
  if (!body["ifRevision"].isInt64()) return Answer(ErrorCode::Malformed, "ifRevision");
  WrappedKeys keys = exchange.services.store.LoadKeys(exchange.Account());
  if (keys.revision != body["ifRevision"].asInt64()) return Answer(ErrorCode::CompareFailed, "ifRevision");
  keys.keys = WriteJson(body["keys"]);
  if (keys.keys.size() > kLongestKeys) return Answer(ErrorCode::BodyTooLarge, "keys");
  keys.revision += 1;
  exchange.services.store.StoreKeys(exchange.Account(), keys);
  return KeysAnswer(keys);
}

Answer ChangePassword(Exchange& exchange) {
  const Json::Value& body = exchange.body;
  if (!body["password"].isString()) return Answer(ErrorCode::Malformed, "password");
  if (TextOf(body, "newPassword").empty()) return Answer(ErrorCode::Malformed, "newPassword");
  if (!body["keys"].isObject()) return Answer(ErrorCode::Malformed, "keys");
  if (!body["ifRevision"].isInt64()) return Answer(ErrorCode::Malformed, "ifRevision");
  const PasswordChange change{TextOf(body, "password"), TextOf(body, "newPassword"), WriteJson(body["keys"]),
                              body["ifRevision"].asInt64(), exchange.request.address};
  if (change.keys.size() > kLongestKeys) return Answer(ErrorCode::BodyTooLarge, "keys");
  const auto result = exchange.services.accounts.ChangePassword(exchange.caller, change);
  exchange.scope.Delay(result.waitMs);
  if (const auto* refused = std::get_if<ErrorCode>(&result.outcome)) return *refused;
  exchange.services.EndLostStreams();
  return KeysAnswer(std::get<WrappedKeys>(result.outcome));
}

Answer OpenPush(Exchange& exchange) {
  Response response;
  response.contentType = "text/event-stream";
  response.stream =
      exchange.services.push.Subscribe(exchange.Account(), exchange.Device(), exchange.caller.sessionId);
  return response;
}

}  // namespace

std::vector<Route> AccountRoutes() {
  RouteRules open;
  open.token = false;
  open.hideable = false;
  open.json = true;
  open.batchable = false;
  RouteRules login = open;
  login.lane = Lane::Deriving;
  RouteRules refresh = open;
  refresh.lane = Lane::Storing;
  RouteRules own;
  own.hideable = false;
  RouteRules end = own;
  end.lane = Lane::Storing;
  RouteRules change = own;
  change.json = true;
  change.atomic = true;
  RouteRules push = own;
  push.batchable = false;
  // Derivations take their time and run outside any transaction.
  RouteRules password = push;
  password.json = true;
  password.lane = Lane::Deriving;
  return {{"POST", "/cloudPhoto/v1/auth/login", Login, login},
          {"POST", "/cloudPhoto/v1/auth/refresh", Refresh, refresh},
          {"POST", "/cloudPhoto/v1/auth/logout", Logout, end},
          {"POST", "/cloudPhoto/v1/auth/password", ChangePassword, password},
          {"GET", "/cloudPhoto/v1/sessions", ListSessions, own},
          {"DELETE", "/cloudPhoto/v1/sessions/{sessionId}", EndSession, end},
          {"GET", "/cloudPhoto/v1/keys", GetKeys, own},
          {"PUT", "/cloudPhoto/v1/keys", PutKeys, change},
          {"GET", "/cloudPhoto/v1/push", OpenPush, push}};
}

}  // namespace photocloud
