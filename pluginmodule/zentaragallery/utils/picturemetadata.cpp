#include "utils/picturemetadata.h"

#include <array>
#include <charconv>
#include <cmath>
#include <memory>
#include <sstream>
#include <variant>

namespace {

template <typename Record>
struct Field {
  const char* key;
  std::variant<float Record::*, std::int32_t Record::*, bool Record::*, std::string Record::*> member;
};

const std::array<Field<PictureMetadata>, 21> kPictureFields = {{
    {"aperture", &PictureMetadata::aperture},
    {"cameraMaker", &PictureMetadata::cameraMaker},
    {"cameraModel", &PictureMetadata::cameraModel},
    {"colorSpace", &PictureMetadata::colorSpace},
    {"exifTime", &PictureMetadata::exifTime},
    {"exposureBias", &PictureMetadata::exposureBias},
    {"exposureMode", &PictureMetadata::exposureMode},
    {"exposureTime", &PictureMetadata::exposureTime},
    {"flashUsed", &PictureMetadata::flashUsed},
    {"focalLength", &PictureMetadata::focalLength},
    {"height", &PictureMetadata::height},
    {"isoSpeed", &PictureMetadata::isoSpeed},
    {"lens", &PictureMetadata::lens},
    {"maxApertureValue", &PictureMetadata::maxApertureValue},
    {"meteringMode", &PictureMetadata::meteringMode},
    {"position", &PictureMetadata::position},
    {"rotation", &PictureMetadata::rotation},
    {"sensor", &PictureMetadata::sensor},
    {"subjectDistance", &PictureMetadata::subjectDistance},
    {"whiteBalance", &PictureMetadata::whiteBalance},
    {"width", &PictureMetadata::width},
}};

const std::array<Field<VideoMetadata>, 3> kVideoFields = {{
    {"durationTime", &VideoMetadata::durationTime},
    {"height", &VideoMetadata::height},
    {"width", &VideoMetadata::width},
}};

void Take(const Json::Value& value, float& field) {
  if (value.isNumeric() && !value.isBool()) field = value.asFloat();
}
void Take(const Json::Value& value, std::int32_t& field) {
  if (value.isInt()) field = value.asInt();
}
void Take(const Json::Value& value, bool& field) {
  if (value.isBool()) field = value.asBool();
}
void Take(const Json::Value& value, std::string& field) {
  if (value.isString()) field = value.asString();
}

// The shortest decimal number that is this float, so that 2.8f goes out as 2.8
// and not with the digits of its binary form.
Json::Value Give(float field) {
  if (!std::isfinite(field)) return 0.0;
  char text[64];
  const auto end = std::to_chars(text, text + sizeof text, field).ptr;
  double decimal = 0;
  std::from_chars(text, end, decimal);
  return decimal;
}
Json::Value Give(std::int32_t field) { return field; }
Json::Value Give(bool field) { return field; }
Json::Value Give(const std::string& field) { return field; }

template <typename Record, std::size_t size>
bool ReadFields(const std::array<Field<Record>, size>& fields, const Json::Value& json, Record& record) {
  if (json.isNull()) return true;
  if (!json.isObject()) return false;
  for (const auto& field : fields) {
    if (!json.isMember(field.key)) continue;
    std::visit([&](auto member) { Take(json[field.key], record.*member); }, field.member);
  }
  return true;
}

template <typename Record, std::size_t size>
Json::Value WriteFields(const std::array<Field<Record>, size>& fields, const Record& record) {
  Json::Value json(Json::objectValue);
  for (const auto& field : fields) {
    std::visit([&](auto member) { json[field.key] = Give(record.*member); }, field.member);
  }
  return json;
}

Json::StreamWriterBuilder CompactWriter() {
  Json::StreamWriterBuilder builder;
  builder["commentStyle"] = "None";
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  // 17 digits, the default, would print 2.8 as 2.7999999999999998.
  builder["precision"] = 15;
  return builder;
}

Json::CharReaderBuilder StrictReader() {
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;
  builder["failIfExtra"] = true;
  return builder;
}

}  // namespace

bool PictureMetadata::FromJson(const Json::Value& json) { return ReadFields(kPictureFields, json, *this); }

Json::Value PictureMetadata::ToJson() const { return WriteFields(kPictureFields, *this); }

bool VideoMetadata::FromJson(const Json::Value& json) { return ReadFields(kVideoFields, json, *this); }

Json::Value VideoMetadata::ToJson() const { return WriteFields(kVideoFields, *this); }

std::string CompactJson(const Json::Value& json) {
  // Making a writer costs as much as writing the metadata of a picture.
  thread_local const std::unique_ptr<Json::StreamWriter> writer(CompactWriter().newStreamWriter());
  try {
    std::ostringstream text;
    writer->write(json, &text);
    return std::move(text).str();
  } catch (const std::exception&) {
    return {};
  }
}

Json::Value ParseJson(std::string_view text) {
  static const Json::CharReaderBuilder builder = StrictReader();
  // The reader throws on nesting that would exhaust the stack.
  try {
    Json::Value json;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    if (reader->parse(text.data(), text.data() + text.size(), &json, nullptr)) return json;
    return {};
  } catch (const std::exception&) {
    return {};
  }
}
