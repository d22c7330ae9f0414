#pragma once

#include <json/value.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace photocloud {

// The parsed `fields` value of a request: "nextCursor,media(id,position(x,y))".
//
// A name without parentheses selects the whole member; an empty selector
// selects everything. Names that an answer does not have are no failure, since
// clients name fields that only some records carry.
class FieldSelector {
 public:
  // Nothing for unbalanced parentheses, an empty name, or a nesting deeper than
  // an answer can be. Blanks around names count for nothing.
  static std::optional<FieldSelector> Parse(std::string_view text);

  // What is left of `value`. Lists are passed through to their elements.
  Json::Value Apply(const Json::Value& value) const;

  bool IsEverything() const { return members.empty(); }
  bool Names(const std::string& name) const { return members.count(name) > 0; }
  // The selector of a member that is named, or null.
  const FieldSelector* Find(std::string_view name) const {
    const auto found = members.find(name);
    return found == members.end() ? nullptr : &found->second;
  }
  // The selector that holds inside a member; everything when it is not named.
  FieldSelector Inside(const std::string& name) const;

 private:
  bool ParseMembers(std::string_view& rest, int depth);

  std::map<std::string, FieldSelector, std::less<>> members;
};

}  // namespace photocloud
