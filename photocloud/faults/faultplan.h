#pragma once

#include <json/value.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "photocloud/base/mutex.h"

namespace photocloud {

// One way to fail on purpose. Empty and zero members do nothing.
struct FaultRule {
  std::int64_t id = 0;
  std::string method;
  std::string path;  // Regular expression, searched in path and query.
  std::int64_t nth = 1;
  std::int64_t times = 1;  // 0 without end.
  int status = 0;
  std::string errorCode;
  std::int64_t delayMs = 0;
  std::optional<std::int64_t> cutAfterBytes;
  bool close = false;
  bool dropRequest = false;
  Json::Value before;
  Json::Value after;
  std::int64_t matched = 0;
};

struct SeenRequest {
  std::string method;
  std::string path;
  std::string query;
  std::string device;
  bool inBatch = false;
  int status = 0;
};

// What a started fault mode does to requests, and what it saw of them.
//
// Only in a server that was started for tests. Safe to call from any thread.
class FaultPlan {
 public:
  // Adds a rule that counts matches from now on. Nothing when `rule` holds a
  // wrong type, an unknown key or a broken expression.
  std::optional<FaultRule> Add(const Json::Value& rule);
  void Clear();
  std::vector<FaultRule> Rules() const;

  // Notes a request and counts it for every rule that matches. `order` is its
  // place for SetStatus. Returns the first rule that hits.
  std::optional<FaultRule> Note(const SeenRequest& request, std::size_t& order);
  void SetStatus(std::size_t order, int status);
  std::vector<SeenRequest> Seen() const;
  void ForgetSeen();

  static Json::Value ToJson(const FaultRule& rule);

 private:
  struct Entry {
    FaultRule rule;
    std::regex expression;
  };

  mutable Mutex planLock;
  std::vector<Entry> entries GUARDED_BY(planLock);
  std::deque<SeenRequest> seen GUARDED_BY(planLock);
  // Requests dropped from the front of `seen`.
  std::size_t forgotten GUARDED_BY(planLock) = 0;
  std::int64_t lastId GUARDED_BY(planLock) = 0;
};

}  // namespace photocloud
