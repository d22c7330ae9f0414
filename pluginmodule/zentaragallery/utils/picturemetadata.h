#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>
#include <string_view>

// A record with a JSON form.
class IObjectWidthJson {
 public:
  virtual ~IObjectWidthJson() = default;
  // Takes each key that is present with a usable type, leaves the other fields.
  virtual bool FromJson(const Json::Value& json) = 0;
  virtual Json::Value ToJson() const = 0;
};

// Properties of a picture, read from its EXIF or sent by the cloud. The JSON
// key of a field is its name.
class PictureMetadata : public IObjectWidthJson {
 public:
  bool FromJson(const Json::Value& json) override;
  Json::Value ToJson() const override;

  float aperture = 0;
  std::string cameraMaker;
  std::string cameraModel;
  std::string colorSpace;
  std::string exifTime;
  float exposureBias = 0;
  std::string exposureMode;
  float exposureTime = 0;
  bool flashUsed = false;
  float focalLength = 0;
  std::int32_t height = 0;
  std::int32_t isoSpeed = 0;
  std::string lens;
  float maxApertureValue = 0;
  std::string meteringMode;
  std::string position;
  std::int32_t rotation = 0;
  std::string sensor;
  std::int32_t subjectDistance = 0;
  std::string whiteBalance;
  std::int32_t width = 0;
};

class VideoMetadata : public IObjectWidthJson {
 public:
  bool FromJson(const Json::Value& json) override;
  Json::Value ToJson() const override;

  std::int32_t durationTime = 0;  // seconds
  std::int32_t height = 0;
  std::int32_t width = 0;
  // Degrees clockwise by which a player turns it: 0, 90, 180 or 270. Of the record's
  // JSON it is no part; `Expand` has it.
  std::int32_t rotation = 0;
};

// Compact one-line JSON, UTF-8 not escaped; and back, null for a text that is
// no JSON document.
std::string CompactJson(const Json::Value& json);
Json::Value ParseJson(std::string_view text);
