#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "photocloud/push/pushhub.h"

namespace photocloud {

// What a handler sees of a request. Plain data: no handler touches a socket.
struct Request {
  std::string method;
  std::string path;                            // As sent, still percent-encoded.
  std::string queryText;                       // As sent.
  std::map<std::string, std::string> query;    // Decoded; of a repeated name the last.
  std::map<std::string, std::string> headers;  // Names in lower case.
  std::string body;
  std::string baseUrl;  // "http://host:port", for absolute links.
  bool fromLoopback = false;
  bool inBatch = false;

  std::string Header(const std::string& name) const;
  std::string Query(const std::string& name) const;

  // Sets path and query from a request target. Returns false for a broken one.
  bool SetTarget(const std::string& target);
};

// How an answer goes out; only faults change it.
struct Delivery {
  std::int64_t delayMs = 0;
  std::optional<std::int64_t> cutAfterBytes;
  bool close = false;
};

struct Response {
  int status = 200;
  std::string contentType = "application/json";
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  std::shared_ptr<PushStream> stream;  // When set, the body is this stream's texts until its end.
  Delivery delivery;
};

}  // namespace photocloud
