#include "photocloud/api/fieldselector.h"

#include <algorithm>

#include "photocloud/base/json.h"

namespace photocloud {
namespace {

std::string_view TrimFront(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  return text;
}

// Stored JSON has it escaped, so that no name would find it there.
bool IsEscaped(char letter) {
  return static_cast<unsigned char>(letter) < ' ' || letter == '"' || letter == '\\';
}

std::string TakeName(std::string_view& rest) {
  rest = TrimFront(rest);
  const auto end = rest.find_first_of(",() ");
  std::string name(rest.substr(0, end));
  rest = TrimFront(rest.substr(name.size()));
  return name;
}

}  // namespace

// Here, where the members' type is complete.
FieldSelector::FieldSelector() = default;
FieldSelector::~FieldSelector() = default;
FieldSelector::FieldSelector(const FieldSelector& other) = default;
FieldSelector& FieldSelector::operator=(const FieldSelector& other) = default;
FieldSelector::FieldSelector(FieldSelector&& other) noexcept = default;
FieldSelector& FieldSelector::operator=(FieldSelector&& other) noexcept = default;

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
    if (name.empty() || std::any_of(name.begin(), name.end(), IsEscaped)) return false;
    // Named twice it is one member, with all that stands in either.
    auto known =
        std::find_if(members.begin(), members.end(), [&](const Member& each) { return each.name == name; });
    if (known == members.end()) known = members.insert(members.end(), Member{name, {}});
    FieldSelector& member = known->inner;
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
  for (const Member& member : members) {
    if (value.isMember(member.name)) selected[member.name] = member.inner.Apply(value[member.name]);
  }
  return selected;
}

bool FieldSelector::NamesOnly(std::span<const std::string_view> names) const {
  return !members.empty() && std::all_of(members.begin(), members.end(), [names](const Member& member) {
    return std::find(names.begin(), names.end(), member.name) != names.end();
  });
}

FieldSelector FieldSelector::Inside(std::string_view name) const {
  const FieldSelector* const found = Find(name);
  return found ? *found : FieldSelector();
}

}  // namespace photocloud
