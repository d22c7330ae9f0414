#include "photocloud/api/router.h"

#include <chrono>

#include "photocloud/api/handlers.h"
#include "photocloud/base/json.h"
#include "photocloud/base/log.h"
#include "photocloud/base/text.h"

namespace photocloud {
namespace {

// Of bodies in memory; those of requests without a token are small.
constexpr std::int64_t kMostBodyBytes = 8 << 20;
constexpr std::int64_t kMostOpenBodyBytes = 64 << 10;

ErrorCode CodeOf(const StoreFailure& failure) {
  switch (failure.kind) {
    case StoreFailure::Kind::Busy:
      return ErrorCode::Unavailable;
    case StoreFailure::Kind::Full:
      return ErrorCode::NoSpace;
    case StoreFailure::Kind::Broken:
      break;
  }
  return ErrorCode::Internal;
}

std::optional<ErrorCode> CheckAccount(const Account& account, const RouteRules& rules) {
  if (rules.hideable && account.hidden) return ErrorCode::DataHidden;
  // What needs the lock changes the account's data.
  if (rules.lock && account.suspendedMs > 0) return ErrorCode::AccountDisabled;
  return std::nullopt;
}

std::vector<std::string_view> SplitPath(std::string_view path) {
  std::vector<std::string_view> parts;
  parts.reserve(8);
  while (true) {
    const auto end = path.find('/');
    parts.push_back(path.substr(0, end));
    if (end == std::string_view::npos) return parts;
    path.remove_prefix(end + 1);
  }
}

bool IsVariable(std::string_view part) { return !part.empty() && part.front() == '{'; }

// The variable parts of a path; nothing when it does not match or one does not
// decode.
std::optional<std::vector<std::string>> MatchPattern(const std::vector<std::string_view>& pattern,
                                                     const std::vector<std::string_view>& path) {
  if (pattern.size() != path.size()) return std::nullopt;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (!IsVariable(pattern[i]) && pattern[i] != path[i]) return std::nullopt;
  }
  std::vector<std::string> arguments;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (!IsVariable(pattern[i])) continue;
    auto decoded = PercentDecode(path[i], false);
    if (!decoded || decoded->empty()) return std::nullopt;
    arguments.push_back(std::move(*decoded));
  }
  return arguments;
}

std::string BearerToken(const Request& request) {
  const std::string header = request.Header("authorization");
  constexpr std::string_view kScheme = "bearer ";
  if (ToLower(header.substr(0, kScheme.size())) != kScheme) return {};
  return header.substr(kScheme.size());
}

// The body of a push message about an ordinary change.
std::string SyncMessage(std::int64_t version) {
  Json::Value body(Json::objectValue);
  body["deviceCategory"] = "pc";
  body["serviceType"] = "cloudphoto";
  body["operType"] = "sync";
  body["version"] = std::to_string(version);
  return WriteJson(body);
}

Answer FaultAnswer(const FaultRule& rule) {
  Answer answer(ErrorCode::Malformed);
  answer.status = rule.status ? rule.status : answer.status;
  Json::Value& error = answer.json["error"];
  error["status"] = answer.status;
  error["description"] = "fault";
  error["errors"][0]["code"] =
      rule.errorCode.empty() ? "3108" + std::to_string(answer.status) : rule.errorCode;
  error["errors"][0]["reason"] = "fault";
  return answer;
}

}  // namespace

Response ToResponse(Answer answer) {
  if (answer.raw) return std::move(*answer.raw);
  Response response;
  response.status = answer.status;
  response.body = answer.text.empty() ? WriteJson(answer.json) : std::move(answer.text);
  if (answer.status == Describe(ErrorCode::TooManyRequests).status)
    response.headers.emplace_back("Retry-After", "10");
  if (answer.status == Describe(ErrorCode::Unavailable).status)
    response.headers.emplace_back("Retry-After", "2");
  return response;
}

Router::Router(Services& allServices) : services(allServices), routes(ApiRoutes()) {
  if (services.faults) {
    const auto faultRoutes = FaultRoutes();
    routes.insert(routes.end(), faultRoutes.begin(), faultRoutes.end());
  }
  for (const Route& route : routes) patterns.push_back(SplitPath(route.pattern));
}

Response Router::Handle(const Request& request) {
  const auto start = std::chrono::steady_clock::now();
  const Match match = Find(request);
  MessageScope scope;
  Response response;
  try {
    response = ToResponse(Run(request, scope));
    services.store.Flush();
    if (scope.hasChanged) {
      const auto account = services.store.FindAccount(scope.account);
      if (account) services.push.Publish(account->id, scope.changedBy, "301", SyncMessage(account->version));
    }
  } catch (const StoreFailure& failure) {
    Log(LogLevel::Error, "request failed", {{"path", request.path}, {"reason", failure.what()}});
    response = ToResponse(CodeOf(failure));
  } catch (const std::exception& failure) {
    Log(LogLevel::Error, "request failed", {{"path", request.path}, {"reason", failure.what()}});
    response = ToResponse(ErrorCode::Internal);
  }
  response.delivery = scope.delivery;
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  // Metrics and log name the route and not the path, which holds ids.
  const std::string route = match.route ? match.route->pattern : "other";
  services.metrics.CountRequest(match.route ? request.method : "other", route, response.status, took.count());
  Log(LogLevel::Info, "request",
      {{"method", request.method},
       {"route", route},
       {"status", std::to_string(response.status)},
       {"milliseconds", std::to_string(static_cast<std::int64_t>(took.count() * 1000))}});
  return response;
}

Answer Router::Run(const Request& request, MessageScope& scope) {
  const bool isAboutFaults = request.path.rfind("/faults", 0) == 0;
  if (services.faults && !isAboutFaults) return RunWithFaults(request, scope);
  return RunRoute(Find(request), request, scope);
}

Answer Router::RunWithFaults(const Request& request, MessageScope& scope) {
  std::size_t order = 0;
  const auto rule = services.faults->Note(
      {request.method, request.path, request.queryText, request.Header("x-zt-device-id"), request.inBatch, 0},
      order);
  if (!rule) {
    Answer answer = RunRoute(Find(request), request, scope);
    services.faults->SetStatus(order, answer.status);
    return answer;
  }
  scope.delivery = {rule->delayMs, rule->cutAfterBytes, rule->close || rule->dropRequest};
  if (rule->before.isObject()) RunFaultAction(services, rule->before);
  const bool isReplaced = rule->status != 0 || !rule->errorCode.empty() || rule->dropRequest;
  Answer answer = isReplaced ? FaultAnswer(*rule) : RunRoute(Find(request), request, scope);
  if (rule->after.isObject()) RunFaultAction(services, rule->after);
  services.faults->SetStatus(order, answer.status);
  return answer;
}

Router::Match Router::Find(const Request& request) const {
  Match match;
  const auto path = SplitPath(request.path);
  for (std::size_t i = 0; i < routes.size(); ++i) {
    const Route& route = routes[i];
    auto arguments = MatchPattern(patterns[i], path);
    if (!arguments) continue;
    match.isPathKnown = true;
    if (request.method != route.method) continue;
    match.route = &route;
    match.arguments = std::move(*arguments);
    return match;
  }
  return match;
}

Answer Router::RunRoute(const Match& match, const Request& request, MessageScope& scope) {
  if (request.refusal) return *request.refusal;
  if (!match.route) return match.isPathKnown ? ErrorCode::MethodNotAllowed : ErrorCode::PathUnknown;
  if (request.inBatch && !match.route->rules.batchable) return ErrorCode::Malformed;
  Exchange exchange{request, services, *this, scope, match.arguments, {}, {}, {}};
  if (auto refusal = Prepare(exchange, match.route->rules)) return *refusal;
  Answer answer = Execute(exchange, *match.route);
  if (!answer.raw && answer.text.empty() && !answer.isSelected)
    answer.json = exchange.fields.Apply(answer.json);
  return answer;
}

Intake Router::Admit(const Request& head, const BodyNotice& notice) {
  const Match match = Find(head);
  Intake intake;
  try {
    if (notice.isComing) intake = AdmitBody(match, head, notice);
  } catch (const StoreFailure& failure) {
    intake.refusal = CodeOf(failure);
  } catch (const std::exception& failure) {
    intake.refusal = ErrorCode::Internal;
  }
  if (match.route) intake.lane = match.route->rules.atomic ? Lane::Storing : match.route->rules.lane;
  return intake;
}

Intake Router::AdmitBody(const Match& match, const Request& head, const BodyNotice& notice) {
  Intake intake;
  if (!match.route) {
    intake.refusal = match.isPathKnown ? ErrorCode::MethodNotAllowed : ErrorCode::PathUnknown;
    return intake;
  }
  MessageScope scope;
  Exchange exchange{head, services, *this, scope, match.arguments, {}, {}, {}};
  if (match.route->open) {
    auto opened = match.route->open(exchange, notice.length);
    if (const auto* refused = std::get_if<ErrorCode>(&opened))
      intake.refusal = *refused;
    else
      intake.sink = std::get<std::shared_ptr<ByteSink>>(opened);
    // The sink knows its own length.
    intake.mostBytes = INT64_MAX;
    return intake;
  }
  intake.refusal = CheckToken(exchange, match.route->rules);
  intake.mostBytes = match.route->rules.token || services.faults ? kMostBodyBytes : kMostOpenBodyBytes;
  if (!intake.refusal && notice.length.value_or(0) > intake.mostBytes)
    intake.refusal = ErrorCode::BodyTooLarge;
  return intake;
}

std::optional<ErrorCode> Router::CheckToken(Exchange& exchange, const RouteRules& rules) {
  if (!rules.token) return std::nullopt;
  if (exchange.scope.caller) return TakeCallerOfBatch(exchange, rules);
  auto caller = services.accounts.Authenticate(BearerToken(exchange.request));
  if (const auto* refused = std::get_if<ErrorCode>(&caller)) return *refused;
  exchange.caller = std::move(std::get<Caller>(caller));
  return CheckAccount(exchange.caller.account, rules);
}

// Items of a batch come with the token of the whole. Their account is read anew:
// items before them may have changed it.
std::optional<ErrorCode> Router::TakeCallerOfBatch(Exchange& exchange, const RouteRules& rules) {
  exchange.caller = *exchange.scope.caller;
  auto account = services.store.FindAccount(exchange.caller.account.id);
  if (!account) return ErrorCode::TokenInvalid;
  exchange.caller.account = std::move(*account);
  return CheckAccount(exchange.caller.account, rules);
}

std::optional<Answer> Router::Prepare(Exchange& exchange, const RouteRules& rules) {
  if (const auto refused = CheckToken(exchange, rules)) return Answer(*refused);
  auto fields = FieldSelector::Parse(exchange.request.Query("fields"));
  if (!fields) return Answer(ErrorCode::Malformed, "fields");
  exchange.fields = std::move(*fields);
  if (!rules.json) return std::nullopt;
  if (exchange.request.json) {
    exchange.body = *exchange.request.json;
    return std::nullopt;
  }
  JsonFault fault = JsonFault::None;
  auto body = ParseJson(exchange.request.body, fault);
  if (fault == JsonFault::TooLarge) return Answer(ErrorCode::TooManyItems);
  if (!body || !body->isObject()) return Answer(ErrorCode::Malformed, "body");
  exchange.body = std::move(*body);
  return std::nullopt;
}

Answer Router::Execute(Exchange& exchange, const Route& route) {
  if (!route.rules.atomic) return route.handle(exchange);
  Answer answer;
  const bool hadChanged = exchange.scope.hasChanged;
  const bool stored = services.store.Atomically([&] {
    // The lock is looked at inside the transaction, so that nobody can take it
    // between the look and the change.
    if (route.rules.lock && !HoldsLock(exchange)) {
      answer = ErrorCode::LockInvalid;
      return false;
    }
    answer = route.handle(exchange);
    return answer.status < 400;
  });
  if (!stored) exchange.scope.hasChanged = hadChanged;
  return answer;
}

}  // namespace photocloud
