#include "photocloud/api/mediafields.h"

#include <array>
#include <cstring>

#include "photocloud/api/jsontext.h"
#include "photocloud/api/limits.h"
#include "photocloud/base/json.h"
#include "photocloud/base/text.h"
#include "photocloud/base/timetext.h"

namespace photocloud {
namespace {

enum class FieldType { Text, Number, Flag, Record, Time };

struct FieldRule {
  const char* name;
  FieldType type;
};

constexpr std::array kFields = {
    FieldRule{"fileName", FieldType::Text},        FieldRule{"fileType", FieldType::Number},
    FieldRule{"mimeType", FieldType::Text},        FieldRule{"size", FieldType::Number},
    FieldRule{"hashId", FieldType::Text},          FieldRule{"createdTime", FieldType::Time},
    FieldRule{"editedTime", FieldType::Time},      FieldRule{"recycledTime", FieldType::Time},
    FieldRule{"favorite", FieldType::Flag},        FieldRule{"source", FieldType::Text},
    FieldRule{"description", FieldType::Text},     FieldRule{"properties", FieldType::Record},
    FieldRule{"appSettings", FieldType::Record},   FieldRule{"pictureMetadata", FieldType::Record},
    FieldRule{"videoMetadata", FieldType::Record},
};

constexpr std::string_view kRecycledTime = "recycledTime";

bool HasType(const Json::Value& value, FieldType type) {
  switch (type) {
    case FieldType::Text:
      return value.isString() && value.asString().size() <= kLongestMediaText &&
             IsPlainText(value.asString());
    case FieldType::Number:
      return value.isInt64() && value.asInt64() >= 0;
    case FieldType::Flag:
      return value.isBool();
    case FieldType::Record:
      return value.isObject();
    case FieldType::Time:
      return value.isString() && ParseTime(value.asString()).has_value();
  }
  return false;
}

// A stored text without characters that need escapes, which names of fields and
// times are; for any other the escaped form.
std::string_view TextMember(std::string_view fields, std::string_view name) {
  const std::string_view value = MemberOf(fields, name);
  return value.size() < 2 || value.front() != '"' ? std::string_view() : value.substr(1, value.size() - 2);
}

}  // namespace

std::string TakeMediaFields(const Json::Value& body, MediaRecord& media) {
  for (const FieldRule& rule : kFields) {
    const Json::Value* const value = body.find(rule.name, rule.name + std::strlen(rule.name));
    if (!value) continue;
    if (!value->isNull() && !HasType(*value, rule.type)) return rule.name;
    std::string text;
    if (!value->isNull()) AppendValue(text, *value);
    media.fields = WithMember(media.fields, rule.name, text);
  }
  if (TextMember(media.fields, "fileName").empty()) return "fileName";
  if (media.fields.size() > kLongestMediaFields) return "properties";
  media.createdMs = ParseTime(TextMember(media.fields, "createdTime")).value_or(media.createdMs);
  return {};
}

std::string TakePlace(const Json::Value& body, std::int64_t nowMs, MediaRecord& media) {
  bool recycled = media.recycled;
  if (body.isMember("recycled")) {
    if (!body["recycled"].isBool()) return "recycled";
    recycled = body["recycled"].asBool();
  }
  if (body.isMember("albumId")) {
    const std::string album = TextOf(body, "albumId");
    if (album.empty() || album.size() > kLongestAlbumId || !IsPlainText(album)) return "albumId";
    if (album == kRecycleAlbum) recycled = true;
    if (album != kRecycleAlbum || media.albumId.empty()) media.albumId = album;
  }
  if (media.albumId.empty()) return "albumId";
  media.recycled = recycled;
  const bool hasTime = !MemberOf(media.fields, kRecycledTime).empty();
  if (hasTime == recycled) return {};
  media.fields = WithMember(media.fields, kRecycledTime, recycled ? '"' + FormatTime(nowMs) + '"' : "");
  return {};
}

}  // namespace photocloud
