#include "photocloud/faults/faultplan.h"

#include <set>

#include "photocloud/base/json.h"

namespace photocloud {
namespace {

// A long randomized test sends some hundred thousand requests.
constexpr std::size_t kMostSeen = 500000;

bool HasKnownKeys(const Json::Value& rule) {
  static const std::set<std::string> known = {"method", "path",        "nth",     "times",
                                              "status", "errorCode",   "delayMs", "cutAfterBytes",
                                              "close",  "dropRequest", "before",  "after"};
  for (const std::string& key : rule.getMemberNames()) {
    if (!known.contains(key)) return false;
  }
  return true;
}

// Each reads an optional member and returns false when it has a wrong type.
bool Take(const Json::Value& rule, const char* key, std::string& target) {
  if (!rule.isMember(key)) return true;
  target = TextOf(rule, key);
  return rule[key].isString();
}

bool Take(const Json::Value& rule, const char* key, std::int64_t& target) {
  if (!rule.isMember(key)) return true;
  if (!rule[key].isInt64() || rule[key].asInt64() < 0) return false;
  target = rule[key].asInt64();
  return true;
}

bool Take(const Json::Value& rule, const char* key, bool& target) {
  if (!rule.isMember(key)) return true;
  if (!rule[key].isBool()) return false;
  target = rule[key].asBool();
  return true;
}

bool Take(const Json::Value& rule, const char* key, Json::Value& target) {
  if (!rule.isMember(key)) return true;
  target = rule[key];
  return target.isObject();
}

// Answers of a fault have a body, which 204 and 304 must not have.
bool IsWithBody(std::int64_t status) {
  return status >= 200 && status < 600 && status != 204 && status != 304;
}

bool Fill(const Json::Value& source, FaultRule& rule) {
  std::int64_t status = 0;
  std::int64_t cut = -1;
  const bool good = Take(source, "method", rule.method) && Take(source, "path", rule.path) &&
                    Take(source, "nth", rule.nth) && Take(source, "times", rule.times) &&
                    Take(source, "status", status) && Take(source, "errorCode", rule.errorCode) &&
                    Take(source, "delayMs", rule.delayMs) && Take(source, "cutAfterBytes", cut) &&
                    Take(source, "close", rule.close) && Take(source, "dropRequest", rule.dropRequest) &&
                    Take(source, "before", rule.before) && Take(source, "after", rule.after);
  rule.status = static_cast<int>(status);
  if (cut >= 0) rule.cutAfterBytes = cut;
  return good && rule.nth >= 1 && (status == 0 || IsWithBody(status));
}

bool Hits(const FaultRule& rule) {
  return rule.matched >= rule.nth && (rule.times == 0 || rule.matched < rule.nth + rule.times);
}

}  // namespace

std::optional<FaultRule> FaultPlan::Add(const Json::Value& source) {
  if (!source.isObject() || !HasKnownKeys(source)) return std::nullopt;
  Entry entry;
  if (!Fill(source, entry.rule)) return std::nullopt;
  try {
    entry.expression = std::regex(entry.rule.path);
  } catch (const std::regex_error&) {
    return std::nullopt;
  }
  const MutexLock guard(planLock);
  entry.rule.id = ++lastId;
  entries.push_back(entry);
  return entry.rule;
}

void FaultPlan::Clear() {
  const MutexLock guard(planLock);
  entries.clear();
}

std::vector<FaultRule> FaultPlan::Rules() const {
  const MutexLock guard(planLock);
  std::vector<FaultRule> rules;
  rules.reserve(entries.size());
  for (const Entry& entry : entries) rules.push_back(entry.rule);
  return rules;
}

std::optional<FaultRule> FaultPlan::Note(const SeenRequest& request, std::size_t& order) {
  const std::string target = request.query.empty() ? request.path : request.path + "?" + request.query;
  const MutexLock guard(planLock);
  order = forgotten + seen.size();
  seen.push_back(request);
  if (seen.size() > kMostSeen) {
    seen.pop_front();
    ++forgotten;
  }
  std::optional<FaultRule> hit;
  for (Entry& entry : entries) {
    if (!entry.rule.method.empty() && entry.rule.method != request.method) continue;
    if (!std::regex_search(target, entry.expression)) continue;
    ++entry.rule.matched;
    if (!hit && Hits(entry.rule)) hit = entry.rule;
  }
  return hit;
}

void FaultPlan::SetStatus(std::size_t order, int status) {
  const MutexLock guard(planLock);
  if (order < forgotten || order - forgotten >= seen.size()) return;
  seen[order - forgotten].status = status;
}

std::vector<SeenRequest> FaultPlan::Seen() const {
  const MutexLock guard(planLock);
  return {seen.begin(), seen.end()};
}

void FaultPlan::ForgetSeen() {
  const MutexLock guard(planLock);
  forgotten += seen.size();
  seen.clear();
}

Json::Value FaultPlan::ToJson(const FaultRule& rule) {
  Json::Value json(Json::objectValue);
  json["id"] = Json::Int64(rule.id);
  json["method"] = rule.method;
  json["path"] = rule.path;
  json["nth"] = Json::Int64(rule.nth);
  json["times"] = Json::Int64(rule.times);
  json["matched"] = Json::Int64(rule.matched);
  return json;
}

}  // namespace photocloud
