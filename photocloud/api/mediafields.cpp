#include "photocloud/api/mediafields.h"

#include <array>

#include "photocloud/api/jsontext.h"
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

constexpr std::size_t kLongestText = 4096;
constexpr std::size_t kLongestAlbumId = 256;
// All fields together.
constexpr std::size_t kLongestFields = 256 << 10;

bool HasType(const Json::Value& value, FieldType type) {
  switch (type) {
    case FieldType::Text:
      return value.isString() && value.asString().size() <= kLongestText && IsPlainText(value.asString());
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

}  // namespace

std::string TakeMediaFields(const Json::Value& body, MediaRecord& media) {
  Json::Value fields = ParseJson(media.fields).value_or(Json::Value(Json::objectValue));
  for (const FieldRule& rule : kFields) {
    if (!body.isMember(rule.name)) continue;
    const Json::Value& value = body[rule.name];
    if (value.isNull()) {
      fields.removeMember(rule.name);
    } else if (HasType(value, rule.type)) {
      fields[rule.name] = value;
    } else {
      return rule.name;
    }
  }
  if (TextOf(fields, "fileName").empty()) return "fileName";
  media.fields = WriteJson(fields);
  if (media.fields.size() > kLongestFields) return "properties";
  media.createdMs = ParseTime(TextOf(fields, "createdTime")).value_or(media.createdMs);
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
  // Most changes leave this alone, and parsing takes longer than all the rest.
  const bool hasTime = !MemberOf(media.fields, "recycledTime").empty();
  media.recycled = recycled;
  if (hasTime == recycled) return {};
  Json::Value fields = ParseJson(media.fields).value_or(Json::Value(Json::objectValue));
  if (!recycled) fields.removeMember("recycledTime");
  if (recycled && !fields.isMember("recycledTime")) fields["recycledTime"] = FormatTime(nowMs);
  media.fields = WriteJson(fields);
  return {};
}

}  // namespace photocloud
