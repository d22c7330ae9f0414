#include "photocloud/base/json.h"

#include <json/reader.h>
#include <json/writer.h>

#include <exception>

namespace photocloud {
namespace {

// Looks at brackets and commas only, so that the parser never meets a document
// that could exhaust its stack or memory.
bool IsWithinLimits(std::string_view text) {
  int depth = 0;
  int items = 0;
  bool inText = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inText) {
      if (c == '\\') ++i;
      if (c == '"') inText = false;
      continue;
    }
    if (c == '"') inText = true;
    if (c == '{' || c == '[') ++depth, ++items;
    if (c == '}' || c == ']') --depth;
    if (c == ',') ++items;
    if (depth > kMaxJsonDepth || items > kMaxJsonItems) return false;
  }
  return true;
}

Json::CharReaderBuilder StrictReader() {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["stackLimit"] = kMaxJsonDepth + 2;
  return builder;
}

}  // namespace

std::optional<Json::Value> ParseJson(std::string_view text, JsonFault& fault) {
  static const Json::CharReaderBuilder builder = StrictReader();
  fault = JsonFault::TooLarge;
  if (!IsWithinLimits(text)) return std::nullopt;
  fault = JsonFault::Malformed;
  try {
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) return std::nullopt;
    fault = JsonFault::None;
    return value;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::optional<Json::Value> ParseJson(std::string_view text) {
  JsonFault fault = JsonFault::None;
  return ParseJson(text, fault);
}

std::string WriteJson(const Json::Value& value) {
  static const Json::StreamWriterBuilder builder = [] {
    Json::StreamWriterBuilder oneLine;
    oneLine["indentation"] = "";
    oneLine["emitUTF8"] = true;
    return oneLine;
  }();
  return Json::writeString(builder, value);
}

std::string TextOf(const Json::Value& object, const char* key) {
  if (!object.isObject()) return {};
  const Json::Value& member = object[key];
  return member.isString() ? member.asString() : std::string();
}

}  // namespace photocloud
