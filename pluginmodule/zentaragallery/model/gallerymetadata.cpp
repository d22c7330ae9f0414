#include "model/gallerymetadata.h"

#include <charconv>

#include "utils/globaldata.h"
#include "utils/mediareader.h"
#include "utils/picturemetadata.h"

namespace {

std::int32_t Degrees(std::int32_t rotation) {
  return rotation >= 1 && rotation <= 8 ? DegreesOfOrientation(rotation) : rotation;
}

std::int32_t RotationOfMetadata(const GalleryFile& file) {
  PictureMetadata metadata;
  return metadata.FromJson(ParseJson(file.PictureMetadata())) ? metadata.rotation : 0;
}

// A number as text; 0 for what is none.
std::int32_t NumberOf(const std::string& text) {
  std::int32_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

}  // namespace

std::int32_t RotationOfFile(const GalleryFile::Ptr& file) {
  if (!file) return 0;
  if (GlobalData::cloudGeneration == GlobalData::kGenerationV2) return Degrees(RotationOfMetadata(*file));
  const Json::Value expand = file->Expand();
  for (const char* key : {"rotate", "rotation"}) {
    if (expand.isObject() && expand[key].isString()) return Degrees(NumberOf(expand[key].asString()));
  }
  const std::wstring thumbnail = file->ThumbnailPath();
  PictureMetadata metadata;
  std::int64_t time = 0;
  return !thumbnail.empty() && ReadExif(thumbnail, metadata, time) ? Degrees(metadata.rotation) : 0;
}
