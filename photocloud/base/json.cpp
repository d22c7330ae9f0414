#include "photocloud/base/json.h"

#include <json/reader.h>
#include <json/writer.h>

#include <charconv>
#include <exception>

#include "photocloud/base/text.h"

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

// The number of an escape "\uXXXX" at `at`, or -1.
int EscapedUnit(std::string_view text, std::size_t at) {
  if (at + 6 > text.size() || text[at] != '\\' || text[at + 1] != 'u') return -1;
  int unit = 0;
  const auto result = std::from_chars(text.data() + at + 2, text.data() + at + 6, unit, 16);
  return result.ec == std::errc() && result.ptr == text.data() + at + 6 ? unit : -1;
}

bool IsHighSurrogate(int unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLowSurrogate(int unit) { return unit >= 0xDC00 && unit < 0xE000; }

// Escapes of half a character would become text that is no UTF-8. Backslashes
// stand in texts only; anywhere else the parser refuses them.
bool HasWholeCharacters(std::string_view text) {
  for (auto at = text.find('\\'); at != std::string_view::npos; at = text.find('\\', at)) {
    const int unit = EscapedUnit(text, at);
    if (IsLowSurrogate(unit)) return false;
    if (!IsHighSurrogate(unit)) {
      at += 2;
      continue;
    }
    if (!IsLowSurrogate(EscapedUnit(text, at + 6))) return false;
    at += 12;
  }
  return true;
}

// Looks at all of it, since a loop without an early end takes many letters at a time.
bool NeedsEscapes(std::string_view text) {
  unsigned found = 0;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    found |= static_cast<unsigned>(byte < 0x20) | static_cast<unsigned>(byte == '"') |
             static_cast<unsigned>(byte == '\\') | static_cast<unsigned>(byte == 0x7F);
  }
  return found != 0;
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
  if (!IsUtf8(text) || !HasWholeCharacters(text)) return std::nullopt;
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

void AppendText(std::string& out, std::string_view text) {
  if (NeedsEscapes(text)) {
    out += WriteJson(Json::Value(std::string(text)));
    return;
  }
  out += '"';
  out += text;
  out += '"';
}

std::string TextOf(const Json::Value& object, const char* key) {
  if (!object.isObject()) return {};
  const Json::Value& member = object[key];
  return member.isString() ? member.asString() : std::string();
}

}  // namespace photocloud
