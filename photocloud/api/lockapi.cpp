#include "photocloud/api/handlers.h"
#include "photocloud/base/text.h"

namespace photocloud {
namespace {

Answer LockAnswer(Exchange& exchange, LockRecord& lock) {
  const auto seconds = exchange.services.settings.lockSeconds;
  lock.untilMs = exchange.services.clock.NowMs() + seconds * 1000;
  exchange.services.store.StoreLock(exchange.Account(), lock);
  Json::Value json(Json::objectValue);
  json["token"] = lock.token;
  json["expiresIn"] = Json::Int64(seconds);
  return json;
}

bool IsHeld(const Exchange& exchange, const LockRecord& lock) {
  return !lock.token.empty() && lock.untilMs > exchange.services.clock.NowMs();
}

Answer GetLock(Exchange& exchange) {
  LockRecord lock = exchange.services.store.LoadLock(exchange.Account());
  const std::string token = exchange.request.Query("token");
  if (!token.empty()) {
    if (!IsHeld(exchange, lock) || !EqualSecrets(lock.token, token))
      return Answer(ErrorCode::LockInvalid, "token");
    return LockAnswer(exchange, lock);
  }
  // The holder itself may start again, after a crash or a lost answer. Its old
  // token ends with that, so there is still one writer.
  if (IsHeld(exchange, lock) && lock.device != exchange.Device()) return ErrorCode::LockHeld;
  lock.token = RandomId();
  lock.device = exchange.Device();
  return LockAnswer(exchange, lock);
}

Answer DeleteLock(Exchange& exchange) {
  const LockRecord lock = exchange.services.store.LoadLock(exchange.Account());
  if (!IsHeld(exchange, lock)) return {};
  if (!EqualSecrets(lock.token, exchange.request.Query("token")))
    return Answer(ErrorCode::LockInvalid, "token");
  exchange.services.store.StoreLock(exchange.Account(), {});
  return {};
}

}  // namespace

bool HoldsLock(Exchange& exchange) {
  const LockRecord lock = exchange.services.store.LoadLock(exchange.Account());
  return IsHeld(exchange, lock) && EqualSecrets(lock.token, exchange.request.Header("x-zt-lock"));
}

std::vector<Route> LockRoutes() {
  RouteRules rules;
  rules.atomic = true;
  return {{"GET", "/cloudPhoto/v1/locks", GetLock, rules},
          {"DELETE", "/cloudPhoto/v1/locks", DeleteLock, rules}};
}

}  // namespace photocloud
