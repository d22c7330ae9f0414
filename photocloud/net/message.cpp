#include "photocloud/net/message.h"

#include "photocloud/base/text.h"

namespace photocloud {
namespace {

std::string Find(const std::map<std::string, std::string>& map, const std::string& name) {
  const auto found = map.find(name);
  return found == map.end() ? std::string() : found->second;
}

}  // namespace

std::string Request::Header(const std::string& name) const { return Find(headers, name); }

std::string Request::Query(const std::string& name) const { return Find(query, name); }

bool Request::SetTarget(const std::string& target) {
  const auto mark = target.find('?');
  path = target.substr(0, mark);
  queryText = mark == std::string::npos ? "" : target.substr(mark + 1);
  query.clear();
  if (path.empty() || path.front() != '/') return false;
  const auto plainPath = PercentDecode(path, false);
  if (plainPath && !IsUtf8(*plainPath)) return false;
  for (const std::string& pair : Split(queryText, '&')) {
    if (pair.empty()) continue;
    // Only the first "=" parts name and value: values such as "albumType=0" hold one.
    const auto equals = pair.find('=');
    const auto name = PercentDecode(pair.substr(0, equals), true);
    const auto value = PercentDecode(equals == std::string::npos ? "" : pair.substr(equals + 1), true);
    if (!name || !value || !IsUtf8(*name) || !IsUtf8(*value)) return false;
    query[*name] = *value;
  }
  return true;
}

}  // namespace photocloud
