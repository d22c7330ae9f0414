#include "photocloud/api/jsontext.h"

#include "photocloud/base/json.h"

namespace photocloud {
namespace {

const FieldSelector kEverything;

void AppendElements(std::string& out, std::string_view list, const FieldSelector& fields) {
  out += '[';
  std::size_t at = 1;
  while (at + 1 < list.size()) {
    const auto behind = BehindValue(list, at);
    AppendSelected(out, list.substr(at, behind - at), fields);
    if (behind + 1 < list.size()) out += ',';
    at = behind + 1;
  }
  out += ']';
}

}  // namespace

void AppendSelected(std::string& out, std::string_view value, const FieldSelector& fields) {
  if (fields.IsEverything() || value.empty() || (value.front() != '{' && value.front() != '[')) {
    out += value;
    return;
  }
  if (value.front() == '[') return AppendElements(out, value, fields);
  ObjectText object(out, fields);
  object.AddMembers(value);
  object.End();
}

void AppendValue(std::string& out, const Json::Value& value) {
  switch (value.type()) {
    case Json::booleanValue:
      out += value.asBool() ? "true" : "false";
      break;
    case Json::intValue:
      out += std::to_string(value.asLargestInt());
      break;
    case Json::stringValue: {
      const char *begin = nullptr, *end = nullptr;
      (void)value.getString(&begin, &end);
      AppendText(out, {begin, end});
      break;
    }
    default:
      out += WriteJson(value);
  }
}

std::string WithMember(std::string_view object, std::string_view name, std::string_view value) {
  const bool isKnown = !MemberOf(object, name).empty();
  bool isPending = !value.empty();
  std::string changed;
  changed.reserve(object.size() + name.size() + value.size() + 4);
  const auto add = [&changed](std::string_view key, std::string_view text) {
    changed += changed.empty() ? "{\"" : ",\"";
    changed += key;
    changed += "\":";
    changed += text;
  };
  ForEachMember(object, [&](std::string_view key, std::string_view old) {
    if (isPending && (isKnown ? key == name : key > name)) {
      add(name, value);
      isPending = false;
    }
    if (key != name) add(key, old);
    return true;
  });
  if (isPending) add(name, value);
  return changed.empty() ? "{}" : changed + '}';
}

ObjectText::ObjectText(std::string& target, const FieldSelector& selector) : out(target), fields(selector) {
  out += '{';
}

const FieldSelector* ObjectText::Open(std::string_view name) {
  const FieldSelector* const inner = fields.IsEverything() ? &kEverything : fields.Find(name);
  if (!inner) return nullptr;
  if (!isFirst) out += ',';
  isFirst = false;
  out += '"';
  out += name;
  out += "\":";
  return inner;
}

void ObjectText::Add(std::string_view name, std::string_view value) {
  if (Begin(name)) AppendText(out, value);
}

void ObjectText::Add(std::string_view name, std::int64_t value) {
  if (Begin(name)) out += std::to_string(value);
}

void ObjectText::Add(std::string_view name, bool value) {
  if (Begin(name)) out += value ? "true" : "false";
}

void ObjectText::AddValue(std::string_view name, std::string_view value) {
  if (value.empty()) return;
  if (const FieldSelector* const inner = Open(name)) AppendSelected(out, value, *inner);
}

void ObjectText::AddMembers(std::string_view object) {
  if (object.size() <= 2) return;
  if (fields.IsEverything()) return AddText(object.substr(1, object.size() - 2));
  std::string_view run;  // Whole members that stand side by side, copied at once.
  ForEachMember(object, [&](std::string_view key, std::string_view value) {
    const FieldSelector* const inner = fields.Find(key);
    if (!inner) return true;
    const bool isWhole = inner->IsEverything();
    const char* const begin = key.data() - 1;
    const std::string_view member(begin, static_cast<std::size_t>(value.data() + value.size() - begin));
    if (isWhole && !run.empty() && run.data() + run.size() + 1 == begin) {
      run = {run.data(), run.size() + 1 + member.size()};
      return true;
    }
    AddText(run);
    run = isWhole ? member : std::string_view();
    if (!isWhole) AddValue(key, value);
    return true;
  });
  AddText(run);
}

void ObjectText::AddText(std::string_view members) {
  if (members.empty()) return;
  if (!isFirst) out += ',';
  isFirst = false;
  out += members;
}

const FieldSelector& ObjectText::Inside(std::string_view name) const {
  const FieldSelector* const inner = fields.Find(name);
  return inner ? *inner : kEverything;
}

}  // namespace photocloud
