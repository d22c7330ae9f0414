#pragma once

#include <json/value.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "photocloud/base/bytesink.h"
#include "photocloud/base/errorcode.h"
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
  const Json::Value* json = nullptr;  // The body of a batch's item, in place of `body`.
  std::string baseUrl;                // "http://host:port", for absolute links.
  std::string address;                // Of the client, as numbers; empty within the process.
  std::shared_ptr<ByteSink> sink;     // Has taken the body in place of `body`.
  std::optional<ErrorCode> refusal;   // The answer to the head; then there is no body.
  bool onMetricsAddress = false;
  bool inBatch = false;

  std::string Header(const std::string& name) const;
  std::string Query(const std::string& name) const;

  // Sets path and query from a request target. Returns false for a broken one.
  bool SetTarget(const std::string& target);
};

// Where a request is handled, so that what takes long keeps nobody waiting who
// asks for something else.
enum class Lane {
  Direct,    // On the thread of the connection: reads of records.
  Reading,   // Reads an object from the disk, which may be slow and large.
  Storing,   // Waits for the disk and for other writers.
  Deriving,  // Takes a processor and 64 MiB for tens of milliseconds.
};

// What a head says of the body behind it.
struct BodyNotice {
  bool isComing = false;
  std::optional<std::int64_t> length;  // Nothing while the body comes in chunks.
};

// What is to be done with a request of which the head is known.
struct Intake {
  Lane lane = Lane::Direct;
  std::int64_t mostBytes = 0;        // Of the body.
  std::shared_ptr<ByteSink> sink;    // Takes the body; without it the body is kept in memory.
  std::optional<ErrorCode> refusal;  // The body is not read, and this is the answer.
};

// How an answer goes out: faults change it, and guessed passwords wait.
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
