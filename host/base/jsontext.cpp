#include "host/base/jsontext.h"

#include <json/reader.h>
#include <json/writer.h>

#include <charconv>
#include <memory>

namespace JsonText {
namespace {

constexpr int kDeepest = 64;

}  // namespace

std::optional<Json::Value> Parse(std::string_view text) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["stackLimit"] = kDeepest;
  builder["strictRoot"] = false;
  try {
    Json::Value json;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    if (!reader->parse(text.data(), text.data() + text.size(), &json, nullptr)) return std::nullopt;
    return json;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::string Write(const Json::Value& json) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, json);
}

const Json::Value& Member(const Json::Value& object, const char* key) {
  return object.isObject() ? object[key] : Json::Value::nullSingleton();
}

std::string Text(const Json::Value& object, const char* key) {
  const Json::Value& value = Member(object, key);
  if (value.isString()) return value.asString();
  if (value.isInt64()) return std::to_string(value.asInt64());
  return value.isUInt64() ? std::to_string(value.asUInt64()) : std::string();
}

std::int64_t Number(const Json::Value& object, const char* key, std::int64_t missing) {
  const Json::Value& value = Member(object, key);
  if (value.isInt64()) return value.asInt64();
  if (!value.isString()) return missing;
  const std::string text = value.asString();
  std::int64_t number = missing;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && stop == text.data() + text.size() ? number : missing;
}

bool Flag(const Json::Value& object, const char* key) {
  const Json::Value& value = Member(object, key);
  return value.isBool() && value.asBool();
}

const Json::Value& Object(const Json::Value& object, const char* key) {
  const Json::Value& value = Member(object, key);
  return value.isObject() ? value : Json::Value::nullSingleton();
}

}  // namespace JsonText
