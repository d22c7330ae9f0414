#pragma once

#include <optional>
#include <string>
#include <vector>

#include "photocloud/api/exchange.h"
#include "photocloud/net/message.h"

namespace photocloud {

// What a route asks of a request before its handler runs.
struct RouteRules {
  bool token = true;      // An access token.
  bool lock = false;      // The account's lock, in x-zt-lock.
  bool hideable = true;   // Refused while the account's data are hidden.
  bool json = false;      // A JSON object as body.
  bool atomic = false;    // Runs in one transaction that an error undoes.
  bool batchable = true;  // May stand in a batch.
};

struct Route {
  const char* method;
  const char* pattern;  // Variable parts in braces: "/media/{mediaId}".
  Answer (*handle)(Exchange& exchange);
  RouteRules rules;
};

// Leads requests to their handlers, and does what all of them need: fault
// rules, token, lock, body, transaction, field selector, error record, log and
// metrics. Safe to call from any thread.
class Router {
 public:
  explicit Router(Services& services);

  // Never throws; whatever fails becomes an error record.
  Response Handle(const Request& request);

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
  Answer RunWithFaults(const Request& request, MessageScope& scope);
  Answer RunRoute(const Match& match, const Request& request, MessageScope& scope);
  std::optional<Answer> Admit(Exchange& exchange, const RouteRules& rules);
  Answer Execute(Exchange& exchange, const Route& route);

  Services& services;
  std::vector<Route> routes;
};

// The answer as it goes over the wire.
Response ToResponse(Answer answer);

}  // namespace photocloud
