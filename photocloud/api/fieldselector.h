#pragma once

#include <json/value.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace photocloud {

// The parsed `fields` value of a request: "nextCursor,media(id,position(x,y))".
//
// A name without parentheses selects the whole member; an empty selector
// selects everything. Names that an answer does not have are no failure, since
// clients name fields that only some records carry.
class FieldSelector {
 public:
  FieldSelector();
  ~FieldSelector();
  FieldSelector(const FieldSelector& other);
  FieldSelector& operator=(const FieldSelector& other);
  FieldSelector(FieldSelector&& other) noexcept;
  FieldSelector& operator=(FieldSelector&& other) noexcept;

  // Nothing for unbalanced parentheses, an empty name, one with a character that JSON
  // escapes, or a nesting deeper than an answer can be. Blanks around names count for nothing.
  static std::optional<FieldSelector> Parse(std::string_view text);

  // What is left of `value`. Lists are passed through to their elements.
  Json::Value Apply(const Json::Value& value) const;

  bool IsEverything() const { return members.empty(); }
  bool Names(std::string_view name) const { return Find(name) != nullptr; }
  // True when it names some members, and none but these.
  bool NamesOnly(std::span<const std::string_view> names) const;
  // The selector of a member that is named, or null.
  const FieldSelector* Find(std::string_view name) const;
  // The selector that holds inside a member; everything when it is not named.
  FieldSelector Inside(std::string_view name) const;

 private:
  bool ParseMembers(std::string_view& rest, int depth);

  struct Member;
  // A dozen names at most: looking along them is faster than a tree.
  std::vector<Member> members;
};

struct FieldSelector::Member {
  std::string name;
  FieldSelector inner;
};

inline const FieldSelector* FieldSelector::Find(std::string_view name) const {
  for (const Member& member : members) {
    // Most names differ in length or first letter, and comparing them is a call.
    if (member.name.size() != name.size() || member.name.front() != name.front()) continue;
    if (member.name == name) return &member.inner;
  }
  return nullptr;
}

}  // namespace photocloud
