#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "photocloud/api/exchange.h"
#include "photocloud/net/httpserver.h"
#include "photocloud/net/message.h"

namespace photocloud {

// What a route asks of a request before its handler runs.
struct RouteRules {
  bool token = true;         // An access token.
  bool lock = false;         // The account's lock, in x-zt-lock.
  bool hideable = true;      // Refused while the account's data are hidden.
  bool json = false;         // A JSON object as body.
  bool atomic = false;       // Runs in one transaction that an error undoes.
  bool batchable = true;     // May stand in a batch.
  Lane lane = Lane::Direct;  // Atomic ones go to Storing.
};

struct Route {
  const char* method;
  const char* pattern;  // Variable parts in braces: "/media/{mediaId}".
  Answer (*handle)(Exchange& exchange);
  RouteRules rules;
  // On routes whose body is not kept in memory: looks at the head and says where
  // the body goes, or why it is not wanted.
  std::variant<std::shared_ptr<ByteSink>, ErrorCode> (*open)(Exchange& exchange,
                                                             std::optional<std::int64_t> length) = nullptr;
};

// Leads requests to their handlers, and does what all of them need: fault
// rules, token, lock, body, transaction, field selector, error record, log and
// metrics. Safe to call from any thread.
class Router : public HttpService {
 public:
  explicit Router(Services& services);

  // Token or signature, space and announced length, before the body comes.
  Intake Admit(const Request& head, const BodyNotice& notice) override;

  // Never throws; whatever fails becomes an error record.
  Response Handle(const Request& request) override;

  // One item of a batch, or the whole message. May throw StoreFailure.
  Answer Run(const Request& request, MessageScope& scope);

  const std::vector<Route>& Routes() const { return routes; }

 private:
  struct Match {
    const Route* route = nullptr;
    std::vector<std::string> arguments;
    bool isPathKnown = false;
  };

  Match Find(const Request& request) const;
  Intake AdmitBody(const Match& match, const Request& head, const BodyNotice& notice);
  Answer RunWithFaults(const Request& request, MessageScope& scope);
  Answer RunRoute(const Match& match, const Request& request, MessageScope& scope);
  std::optional<ErrorCode> TakeCallerOfBatch(Exchange& exchange, const RouteRules& rules);
  std::optional<ErrorCode> CheckToken(Exchange& exchange, const RouteRules& rules);
  std::optional<Answer> Prepare(Exchange& exchange, const RouteRules& rules);
  Answer Execute(Exchange& exchange, const Route& route);

  Services& services;
  std::vector<Route> routes;
  std::vector<std::vector<std::string_view>> patterns;  // Of `routes`, in their parts.
};

// The answer as it goes over the wire.
Response ToResponse(Answer answer);

}  // namespace photocloud
