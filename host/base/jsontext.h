#pragma once

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// JSON of files, requests and answers. Exceptions of the library end here; what is
// missing or of another type reads as the value that stands for nothing.
namespace JsonText {

// Nothing for a text that is no JSON, or nested deeper than any answer is.
std::optional<Json::Value> Parse(std::string_view text);
// One line.
std::string Write(const Json::Value& json);

// A member, or null where there is none; nothing is made or thrown.
const Json::Value& Member(const Json::Value& object, const char* key);
// A member as text: numbers too, since services write ids and codes either way.
std::string Text(const Json::Value& object, const char* key);
std::int64_t Number(const Json::Value& object, const char* key, std::int64_t missing = 0);
bool Flag(const Json::Value& object, const char* key);
// A member that is an object, else null.
const Json::Value& Object(const Json::Value& object, const char* key);

}  // namespace JsonText
