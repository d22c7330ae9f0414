#pragma once

#include <json/value.h>

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "photocloud/api/fieldselector.h"
#include "photocloud/api/services.h"
#include "photocloud/base/errorcode.h"
#include "photocloud/net/message.h"

namespace photocloud {

class Router;

// What a handler gives back: JSON, or a whole response for anything else.
struct Answer {
  int status = 200;
  Json::Value json = Json::Value(Json::objectValue);
  std::string text;  // JSON that is written already; goes before `json` when it is not empty.
  std::optional<Response> raw;
  bool isSelected = false;  // The handler has applied the field selector itself.

  Answer() = default;
  Answer(Json::Value value) : json(std::move(value)) {}
  // What the selector leaves, as text.
  static Answer OfText(std::string text);
  Answer(Response response) : status(response.status), raw(std::move(response)) {}
  // The error record with the code's own reason and subject, or with others.
  Answer(ErrorCode error);
  Answer(ErrorCode error, const std::string& subject);
};

// What the requests of one HTTP message share, a batch with its items.
struct MessageScope {
  const Caller* caller = nullptr;  // Of the whole batch, in its items.
  bool hasChanged = false;         // Listening devices are told once all is stored.
  std::string changedBy;
  std::int64_t account = 0;
  Delivery delivery;

  // The answer waits at least so long.
  void Delay(std::int64_t milliseconds) { delivery.delayMs = std::max(delivery.delayMs, milliseconds); }
};

// One request on its way through a handler. Lives on the handling thread.
struct Exchange {
  const Request& request;
  Services& services;
  Router& router;
  MessageScope& scope;
  std::vector<std::string> arguments;  // Decoded variable parts of the path.
  Caller caller;                       // Empty on routes without a token.
  Json::Value body;                    // Parsed, on routes that take JSON; else null.
  FieldSelector fields;

  std::int64_t Account() const { return caller.account.id; }
  // The device that the request names, else the one that logged in.
  std::string Device() const;
  // Gives the change its version, and lets listening devices know afterwards.
  std::int64_t NextVersion();
  void TellDevices();
};

// True for a name that may stand in records as the device of a change.
bool IsDeviceName(const std::string& text);

// A page of a list: `cursor` and `pageSize` of the request.
std::variant<int, ErrorCode> PageSize(const Request& request);

// Cursors of lists ordered by creation time: "v<version>.<created>.<id>". The
// version says since when the walk is going on: it expires once the changes
// since then cannot be listed any more.
std::string WriteCursor(std::int64_t version, const ListPosition& position);
struct ListCursor {
  std::int64_t version = 0;
  std::optional<ListPosition> position;
};
std::variant<ListCursor, ErrorCode> ReadListCursor(const Request& request, const Account& account);
// Cursors that are versions.
std::variant<std::int64_t, ErrorCode> ReadVersionCursor(const Request& request, const Account& account);

// The terms of `queryParam`: "albumId='x'&recycled=false". Quotes are taken
// off. Nothing for a term without "=".
std::optional<std::map<std::string, std::string>> QueryTerms(const Request& request);

}  // namespace photocloud
