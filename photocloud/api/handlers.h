#pragma once

#include <json/value.h>

#include <vector>

#include "photocloud/api/router.h"

namespace photocloud {

// The routes of each handler file. openapi.yaml describes all of them, and a
// test holds the two against each other.
std::vector<Route> AccountRoutes();
std::vector<Route> AboutRoutes();
std::vector<Route> AlbumRoutes();
std::vector<Route> MediaRoutes();
std::vector<Route> ChangeRoutes();
std::vector<Route> ContentRoutes();
std::vector<Route> LockRoutes();
std::vector<Route> BatchRoutes();
std::vector<Route> FaultRoutes();

// All of the above but the last.
std::vector<Route> ApiRoutes();

// True when the request carries the token of the account's lock in force.
bool HoldsLock(Exchange& exchange);

// Does a fault action; see FaultAction in openapi.yaml. False when it is not
// understood or names something that does not exist.
bool RunFaultAction(Services& services, const Json::Value& action);

}  // namespace photocloud
