#include "photocloud/api/fieldselector.h"

#include "photocloud/base/json.h"

namespace photocloud {
namespace {

std::string_view TrimFront(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  return text;
}

std::string TakeName(std::string_view& rest) {
  rest = TrimFront(rest);
  const auto end = rest.find_first_of(",() ");
  const std::string name(rest.substr(0, end));
  rest = TrimFront(rest.substr(name.size()));
  return name;
}

}  // namespace

std::optional<FieldSelector> FieldSelector::Parse(std::string_view text) {
  FieldSelector selector;
  if (TrimFront(text).empty()) return selector;
  if (!selector.ParseMembers(text, 0) || !text.empty()) return std::nullopt;
  return selector;
}

// Reads names up to the closing parenthesis or the end, and leaves that there.
bool FieldSelector::ParseMembers(std::string_view& rest, int depth) {
  if (depth > kMaxJsonDepth) return false;
  while (true) {
    const std::string name = TakeName(rest);
    if (name.empty()) return false;
    FieldSelector& member = members[name];
    if (!rest.empty() && rest.front() == '(') {
      rest.remove_prefix(1);
      if (!member.ParseMembers(rest, depth + 1) || rest.empty() || rest.front() != ')') return false;
      rest = TrimFront(rest.substr(1));
    }
    if (rest.empty() || rest.front() == ')') return true;
    if (rest.front() != ',') return false;
    rest.remove_prefix(1);
  }
}

Json::Value FieldSelector::Apply(const Json::Value& value) const {
  if (members.empty()) return value;
  if (value.isArray()) {
    Json::Value list(Json::arrayValue);
    for (const Json::Value& element : value) list.append(Apply(element));
    return list;
  }
  if (!value.isObject()) return value;
  Json::Value selected(Json::objectValue);
  for (const auto& [name, inner] : members) {
    if (value.isMember(name)) selected[name] = inner.Apply(value[name]);
  }
  return selected;
}

FieldSelector FieldSelector::Inside(const std::string& name) const {
  const auto found = members.find(name);
  return found == members.end() ? FieldSelector() : found->second;
}

}  // namespace photocloud
