#include "utils/exifwriter.h"

#include <libexif/exif-data.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

constexpr ExifByteOrder kOrder = EXIF_BYTE_ORDER_INTEL;

// Tags of the GPS directory, whose numbers the library shares with another one.
constexpr auto kVersion = static_cast<ExifTag>(0);
constexpr auto kLatitudeRef = static_cast<ExifTag>(1);
constexpr auto kLatitude = static_cast<ExifTag>(2);
constexpr auto kLongitudeRef = static_cast<ExifTag>(3);
constexpr auto kLongitude = static_cast<ExifTag>(4);
constexpr auto kTimeStamp = static_cast<ExifTag>(7);
constexpr auto kDateStamp = static_cast<ExifTag>(29);

struct UnrefExif {
  void operator()(ExifData* data) const { exif_data_unref(data); }
};

// Adds an entry with room for its value, or null when memory is out.
ExifEntry* Add(ExifContent* directory, ExifTag tag, ExifFormat format, unsigned long components) {
  ExifEntry* entry = exif_entry_new();
  if (!entry) return nullptr;
  entry->tag = tag;
  entry->format = format;
  entry->components = components;
  entry->size = static_cast<unsigned>(components) * exif_format_get_size(format);
  // The library frees the value by its own allocator, which is calloc's.
  entry->data = static_cast<unsigned char*>(std::calloc(entry->size, 1));
  exif_content_add_entry(directory, entry);
  exif_entry_unref(entry);  // The directory holds it now.
  return entry->data ? entry : nullptr;
}

void AddText(ExifContent* directory, ExifTag tag, const std::string& text) {
  ExifEntry* entry = Add(directory, tag, EXIF_FORMAT_ASCII, text.size() + 1);
  if (entry) std::copy(text.begin(), text.end(), entry->data);
}

void AddShort(ExifContent* directory, ExifTag tag, std::uint16_t value) {
  ExifEntry* entry = Add(directory, tag, EXIF_FORMAT_SHORT, 1);
  if (entry) exif_set_short(entry->data, kOrder, value);
}

void AddRationals(ExifContent* directory, ExifTag tag, const std::array<ExifRational, 3>& values,
                  unsigned long count) {
  ExifEntry* entry = Add(directory, tag, EXIF_FORMAT_RATIONAL, count);
  for (unsigned long i = 0; entry && i < count; ++i)
    exif_set_rational(entry->data + i * 8, kOrder, values[i]);
}

void AddDegrees(ExifContent* directory, ExifTag tag, double degrees) {
  const auto hundredths = static_cast<std::uint32_t>(std::lround(std::fabs(degrees) * 360000));
  AddRationals(directory, tag,
               {{{hundredths / 360000, 1}, {hundredths / 6000 % 60, 1}, {hundredths % 6000, 100}}}, 3);
}

void AddGps(ExifContent* directory, const ExifToWrite& values) {
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;
  if (std::sscanf(values.gpsTime.c_str() + values.gpsTime.find(' '), "%u:%u:%u", &hour, &minute, &second) !=
      3)
    return;
  if (ExifEntry* version = Add(directory, kVersion, EXIF_FORMAT_BYTE, 4))
    version->data[0] = version->data[1] = 2;
  AddText(directory, kLatitudeRef, values.latitude < 0 ? "S" : "N");
  AddDegrees(directory, kLatitude, values.latitude);
  AddText(directory, kLongitudeRef, values.longitude < 0 ? "W" : "E");
  AddDegrees(directory, kLongitude, values.longitude);
  AddRationals(directory, kTimeStamp, {{{hour, 1}, {minute, 1}, {second, 1}}}, 3);
  AddText(directory, kDateStamp, values.gpsTime.substr(0, values.gpsTime.find(' ')));
}

}  // namespace

std::string WriteExif(const ExifToWrite& values) {
  const std::unique_ptr<ExifData, UnrefExif> data(exif_data_new());
  if (!data) return {};
  exif_data_set_byte_order(data.get(), kOrder);
  ExifContent* main = data->ifd[EXIF_IFD_0];
  ExifContent* exif = data->ifd[EXIF_IFD_EXIF];
  AddText(main, EXIF_TAG_MAKE, values.maker);
  AddText(main, EXIF_TAG_MODEL, values.model);
  AddShort(main, EXIF_TAG_ORIENTATION, values.orientation);
  AddText(main, EXIF_TAG_DATE_TIME, values.time);
  AddRationals(exif, EXIF_TAG_EXPOSURE_TIME, {{{1, values.exposureFraction}}}, 1);
  AddShort(exif, EXIF_TAG_ISO_SPEED_RATINGS, values.isoSpeed);
  AddText(exif, EXIF_TAG_DATE_TIME_ORIGINAL, values.time);
  AddShort(exif, EXIF_TAG_COLOR_SPACE, 1);
  if (values.gpsTime.find(' ') != std::string::npos) AddGps(data->ifd[EXIF_IFD_GPS], values);
  // Adds what the standard demands besides: versions, resolution, components.
  exif_data_set_data_type(data.get(), EXIF_DATA_TYPE_COMPRESSED);
  exif_data_fix(data.get());
  unsigned char* bytes = nullptr;
  unsigned int length = 0;
  exif_data_save_data(data.get(), &bytes, &length);
  const std::unique_ptr<unsigned char, decltype(&std::free)> owner(bytes, &std::free);
  return bytes ? std::string(reinterpret_cast<const char*>(bytes), length) : std::string();
}
