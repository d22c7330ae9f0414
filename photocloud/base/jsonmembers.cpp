#include "photocloud/base/jsonmembers.h"

namespace photocloud {

std::size_t BehindString(std::string_view text, std::size_t at) {
  while (true) {
    at = text.find('"', at + 1);
    if (at == std::string_view::npos) return text.size();
    std::size_t escapes = 0;
    while (text[at - 1 - escapes] == '\\') ++escapes;
    if (escapes % 2 == 0) return at + 1;
  }
}

std::size_t BehindValue(std::string_view text, std::size_t at) {
  if (at >= text.size()) return text.size();
  if (text[at] == '"') return BehindString(text, at);
  if (text[at] != '{' && text[at] != '[') {
    while (at < text.size() && text[at] != ',' && text[at] != '}' && text[at] != ']') ++at;
    return at;
  }
  int depth = 0;
  while (at < text.size()) {
    const char letter = text[at];
    if (letter == '"') {
      at = BehindString(text, at);
      continue;
    }
    if (letter == '{' || letter == '[') ++depth;
    if (letter == '}' || letter == ']') --depth;
    ++at;
    if (depth == 0) return at;
  }
  return text.size();
}

std::string_view MemberOf(std::string_view object, std::string_view name) {
  std::string_view found;
  ForEachMember(object, [&](std::string_view key, std::string_view value) {
    if (key != name) return true;
    found = value;
    return false;
  });
  return found;
}

}  // namespace photocloud
