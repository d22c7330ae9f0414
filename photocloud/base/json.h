#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <string_view>

namespace photocloud {

// Deepest nesting of an accepted document. Records are at most eight deep; the
// bound keeps a hostile document from exhausting the parser's stack.
constexpr int kMaxJsonDepth = 32;

// Most brackets, members and elements of an accepted document together.
constexpr int kMaxJsonItems = 200000;

enum class JsonFault { None, Malformed, TooLarge };

// Parses a document whose root is an object or a list. Duplicate keys, trailing
// text and comments make it malformed.
std::optional<Json::Value> ParseJson(std::string_view text, JsonFault& fault);
std::optional<Json::Value> ParseJson(std::string_view text);

// One line of UTF-8, not escaped.
// Appends `text` as a JSON string.
void AppendText(std::string& out, std::string_view text);

std::string WriteJson(const Json::Value& value);

// The member's text, or an empty one when it is absent or no text.
std::string TextOf(const Json::Value& object, const char* key);

}  // namespace photocloud
