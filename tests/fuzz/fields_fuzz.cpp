// Selectors of fields, on texts and on values: both have to leave the same. The input
// is the selector, a line feed, and the JSON to select from.

#include "fuzz.h"
#include "photocloud/api/fieldselector.h"
#include "photocloud/api/jsontext.h"
#include "photocloud/base/json.h"

using namespace photocloud;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input = TextOf(data, size);
  const auto end = input.find('\n');
  const auto selector = FieldSelector::Parse(input.substr(0, end));
  if (!selector || end == std::string_view::npos) return 0;
  const auto value = ParseJson(input.substr(end + 1));
  if (!value || (!value->isObject() && !value->isArray())) return 0;
  const std::string text = WriteJson(*value);
  std::string selected;
  AppendSelected(selected, text, *selector);
  const auto parsed = ParseJson(selected);
  Demand(parsed && *parsed == selector->Apply(*ParseJson(text)));
  // A member that is set is found, and one that is taken away is not.
  if (!value->isObject()) return 0;
  const std::string changed = WithMember(text, "m", "[1]");
  Demand(MemberOf(changed, "m") == "[1]" && ParseJson(changed).has_value());
  Demand(MemberOf(WithMember(changed, "m", ""), "m").empty());
  return 0;
}
