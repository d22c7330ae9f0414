#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

#include "photocloud/api/fieldselector.h"
#include "photocloud/base/json.h"
#include "photocloud/base/jsonmembers.h"

namespace photocloud {

// Answers put together from stored JSON as it stands. Parsing a record into
// values and printing them again takes thirty times as long as reading its row.
//
// The texts are those that WriteJson made: sound, and without blanks.

// Appends what `fields` selects of a value; lists are passed through to their
// elements.
void AppendSelected(std::string& out, std::string_view value, const FieldSelector& fields);

// Appends a value as JSON.
void AppendValue(std::string& out, const Json::Value& value);

// The object with the member set to `value`, JSON text; an empty one takes it away.
// Members stay in the order of their names, so that equal records are equal texts.
std::string WithMember(std::string_view object, std::string_view name, std::string_view value);

// Writes an object member by member, of which `fields` selects some.
//
//   ObjectText object(out, fields);
//   if (object.Begin("id")) AppendText(out, media.id);
//   object.End();
class ObjectText {
 public:
  ObjectText(std::string& target, const FieldSelector& selector);
  ObjectText(const ObjectText&) = delete;
  ObjectText& operator=(const ObjectText&) = delete;

  // True when the member is wanted: then its value has to follow.
  [[nodiscard]] bool Begin(std::string_view name) { return Open(name) != nullptr; }
  void Add(std::string_view name, std::string_view value);  // A text.
  void Add(std::string_view name, std::int64_t value);
  void Add(std::string_view name, bool value);
  // A value that is JSON already; an empty one stands for no member.
  void AddValue(std::string_view name, std::string_view value);
  // All wanted members of another object.
  void AddMembers(std::string_view object);
  void End() { out += '}'; }

  const FieldSelector& Inside(std::string_view name) const;

 private:
  // The selector inside a wanted member, whose name is written; else null.
  const FieldSelector* Open(std::string_view name);
  // One or more members as they stand, without braces.
  void AddText(std::string_view members);

  std::string& out;
  const FieldSelector& fields;
  bool isFirst = true;
};

}  // namespace photocloud
