#include "utils/exifreader.h"

#include <libexif/exif-data.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>

#include "common/platform/text.h"
#include "utils/mediareader.h"

namespace {

struct UnrefExif {
  void operator()(ExifData* data) const { exif_data_unref(data); }
};
using ExifOwner = std::unique_ptr<ExifData, UnrefExif>;

constexpr auto kTagGpsTime = static_cast<ExifTag>(7);
constexpr auto kTagGpsDate = static_cast<ExifTag>(29);

ExifOwner Parse(std::string_view exif) {
  static constexpr std::string_view kPrefix("Exif\0\0", 6);
  std::string bytes;
  if (!exif.starts_with(kPrefix)) bytes = kPrefix;
  bytes += exif;
  ExifOwner data(exif_data_new());
  if (!data) return nullptr;
  // Otherwise the library repairs what it reads: a tag of a wrong type is
  // converted and missing ones are added with values that no camera has set.
  exif_data_unset_option(data.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
  exif_data_unset_option(data.get(), EXIF_DATA_OPTION_IGNORE_UNKNOWN_TAGS);
  exif_data_load_data(data.get(), reinterpret_cast<const unsigned char*>(bytes.data()),
                      static_cast<unsigned int>(bytes.size()));
  return data;
}

// One tag's value, read by its type. An empty one answers every question with
// "not there".
class TagValue {
 public:
  TagValue(const ExifEntry* read, ExifByteOrder byteOrder) : entry(read), order(byteOrder) {}

  bool Is(ExifFormat format, unsigned long count = 1) const {
    return entry && entry->data && entry->format == format && entry->components >= count &&
           entry->size >= count * exif_format_get_size(format);
  }

  std::optional<std::int32_t> Short() const {
    if (!Is(EXIF_FORMAT_SHORT)) return std::nullopt;
    return exif_get_short(entry->data, order);
  }

  std::optional<std::int32_t> ShortOrLong() const {
    if (!Is(EXIF_FORMAT_LONG)) return Short();
    const ExifLong value = exif_get_long(entry->data, order);
    return value <= INT32_MAX ? std::optional(static_cast<std::int32_t>(value)) : std::nullopt;
  }

  std::optional<double> Rational(unsigned long index = 0) const {
    if (!Is(EXIF_FORMAT_RATIONAL, index + 1)) return std::nullopt;
    const ExifRational value = exif_get_rational(entry->data + index * 8, order);
    if (value.denominator == 0) return std::nullopt;
    return static_cast<double>(value.numerator) / value.denominator;
  }

  std::optional<double> SignedRational() const {
    if (!Is(EXIF_FORMAT_SRATIONAL)) return std::nullopt;
    const ExifSRational value = exif_get_srational(entry->data, order);
    if (value.denominator == 0) return std::nullopt;
    return static_cast<double>(value.numerator) / value.denominator;
  }

  // Up to the closing zero. Bytes that are no UTF-8, as old cameras write them,
  // become U+FFFD: the text goes into JSON.
  std::optional<std::string> Text() const {
    if (!Is(EXIF_FORMAT_ASCII)) return std::nullopt;
    std::string_view text(reinterpret_cast<const char*>(entry->data), entry->size);
    text = text.substr(0, text.find('\0'));
    return platform::WideToUtf8(platform::Utf8ToWide(text));
  }

 private:
  const ExifEntry* entry;
  ExifByteOrder order;
};

struct Meaning {
  std::int32_t value;
  const char* text;
};

constexpr auto kColorSpaces = std::to_array<Meaning>({{1, "sRGB"}, {65535, "uncalibrated"}});

constexpr auto kExposureModes = std::to_array<Meaning>({{0, "not defined"},
                                                        {1, "manual"},
                                                        {2, "normal program"},
                                                        {3, "aperture priority"},
                                                        {4, "shutter priority"},
                                                        {5, "creative program"},
                                                        {6, "action program"},
                                                        {7, "portrait mode"},
                                                        {8, "landscape mode"}});

constexpr auto kMeteringModes = std::to_array<Meaning>({{0, "unknown"},
                                                        {1, "Average"},
                                                        {2, "CenterWeightedAverage"},
                                                        {3, "Spot"},
                                                        {4, "MultiSpot"},
                                                        {5, "Pattern"},
                                                        {6, "Partial"},
                                                        {255, "other"}});

constexpr auto kSensors = std::to_array<Meaning>({{1, "not defined"},
                                                  {2, "one-chip color area sensor"},
                                                  {3, "two-chip color area sensor"},
                                                  {4, "three-chip color area sensor"},
                                                  {5, "color sequential area sensor"},
                                                  {7, "trilinear sensor"},
                                                  {8, "color sequential linear sensor"}});

template <typename Value, typename Target>
void Set(const std::optional<Value>& value, Target& target) {
  if (value) target = static_cast<Target>(*value);
}

void SetText(const std::optional<std::string>& value, std::string& target) {
  if (value) target = *value;
}

template <std::size_t size>
void SetMeaning(const std::optional<std::int32_t>& value, const std::array<Meaning, size>& meanings,
                std::string& target) {
  if (!value) return;
  const auto row = std::find_if(meanings.begin(), meanings.end(),
                                [&](const Meaning& meaning) { return meaning.value == *value; });
  target = row != meanings.end() ? row->text : "reserved";
}

// A numerator of all ones stands for infinity and does not fit.
void SetDistance(const std::optional<double>& value, std::int32_t& target) {
  if (value) target = static_cast<std::int32_t>(std::min(*value, double{INT32_MAX}));
}

struct TagRow {
  int tag;
  ExifIfd directory;
  void (*apply)(const TagValue&, PictureMetadata&);
};

constexpr auto kTags = std::to_array<TagRow>({
    {271, EXIF_IFD_0, [](const TagValue& tag, PictureMetadata& to) { SetText(tag.Text(), to.cameraMaker); }},
    {272, EXIF_IFD_0, [](const TagValue& tag, PictureMetadata& to) { SetText(tag.Text(), to.cameraModel); }},
    {274, EXIF_IFD_0, [](const TagValue& tag, PictureMetadata& to) { Set(tag.Short(), to.rotation); }},
    {33434, EXIF_IFD_EXIF,
     [](const TagValue& tag, PictureMetadata& to) { Set(tag.Rational(), to.exposureTime); }},
    {34850, EXIF_IFD_EXIF,
     [](const TagValue& tag, PictureMetadata& to) {
       SetMeaning(tag.Short(), kExposureModes, to.exposureMode);
     }},
    {34855, EXIF_IFD_EXIF, [](const TagValue& tag, PictureMetadata& to) { Set(tag.Short(), to.isoSpeed); }},
    {37380, EXIF_IFD_EXIF,
     [](const TagValue& tag, PictureMetadata& to) { Set(tag.SignedRational(), to.exposureBias); }},
    {37381, EXIF_IFD_EXIF,
     [](const TagValue& tag, PictureMetadata& to) { Set(tag.Rational(), to.maxApertureValue); }},
    {37382, EXIF_IFD_EXIF,
     [](const TagValue& tag, PictureMetadata& to) { SetDistance(tag.Rational(), to.subjectDistance); }},
    {37383, EXIF_IFD_EXIF,
     [](const TagValue& tag, PictureMetadata& to) {
       SetMeaning(tag.Short(), kMeteringModes, to.meteringMode);
     }},
    {37385, EXIF_IFD_EXIF, [](const TagValue& tag, PictureMetadata& to) { Set(tag.Short(), to.flashUsed); }},
    {37386, EXIF_IFD_EXIF,
     [](const TagValue& tag, PictureMetadata& to) { Set(tag.Rational(), to.focalLength); }},
    {40961, EXIF_IFD_EXIF,
     [](const TagValue& tag, PictureMetadata& to) { SetMeaning(tag.Short(), kColorSpaces, to.colorSpace); }},
    {41495, EXIF_IFD_EXIF,
     [](const TagValue& tag, PictureMetadata& to) { SetMeaning(tag.Short(), kSensors, to.sensor); }},
});

constexpr auto kSizeTags = std::to_array<TagRow>({
    {256, EXIF_IFD_0, [](const TagValue& tag, PictureMetadata& to) { Set(tag.ShortOrLong(), to.width); }},
    {257, EXIF_IFD_0, [](const TagValue& tag, PictureMetadata& to) { Set(tag.ShortOrLong(), to.height); }},
});

// The picture's tags, found in the directory where they belong, or in the other
// one of the main and the EXIF directory, where raw formats put some of them.
class ExifTags {
 public:
  explicit ExifTags(ExifData* read) : data(read), order(exif_data_get_byte_order(read)) {}

  TagValue Find(ExifTag tag, ExifIfd home) const {
    const ExifEntry* entry = exif_content_get_entry(data->ifd[home], tag);
    if (!entry && home != EXIF_IFD_GPS) {
      entry = exif_content_get_entry(data->ifd[home == EXIF_IFD_0 ? EXIF_IFD_EXIF : EXIF_IFD_0], tag);
    }
    return {entry, order};
  }

  template <std::size_t size>
  void Apply(const std::array<TagRow, size>& rows, PictureMetadata& metadata) const {
    for (const TagRow& row : rows) row.apply(Find(static_cast<ExifTag>(row.tag), row.directory), metadata);
  }

 private:
  ExifData* data;
  ExifByteOrder order;
};

bool IsDate(int year, int month, int day) {
  return year >= 1 && year <= 9999 && month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

bool IsTimeOfDay(int hour, int minute, int second) {
  return hour >= 0 && hour <= 24 && minute >= 0 && minute <= 59 && second >= 0 && second <= 60;
}

std::tm DateOf(int year, int month, int day) {
  std::tm date{};
  date.tm_year = year - 1900;
  date.tm_mon = month - 1;
  date.tm_mday = day;
  return date;
}

// The standard separates the date by colons; some programs write dashes.
bool ParseGpsDate(const std::string& text, std::tm& date) {
  int year = 0;
  int month = 0;
  int day = 0;
  if (std::sscanf(text.c_str(), "%d%*1[-:]%2d%*1[-:]%2d", &year, &month, &day) != 3) return false;
  date = DateOf(year, month, day);
  return IsDate(year, month, day);
}

bool GpsTime(const ExifTags& tags, std::int64_t& timeMs) {
  const auto dateText = tags.Find(kTagGpsDate, EXIF_IFD_GPS).Text();
  const TagValue time = tags.Find(kTagGpsTime, EXIF_IFD_GPS);
  const auto hours = time.Rational(0);
  const auto minutes = time.Rational(1);
  const auto seconds = time.Rational(2);
  std::tm date{};
  if (!dateText || !hours || !minutes || !seconds || !ParseGpsDate(*dateText, date)) return false;
  const double secondOfDay = *hours * 3600 + *minutes * 60 + *seconds;
  if (secondOfDay > 86400) return false;
  timeMs = (std::int64_t{timegm(&date)} + static_cast<std::int64_t>(secondOfDay)) * 1000;
  return true;
}

bool TagTime(const TagValue& tag, std::string& exifTime, std::int64_t& timeMs) {
  const auto text = tag.Text();
  if (!text || !ParseExifTime(*text, timeMs)) return false;
  exifTime = *text;
  return true;
}

}  // namespace

bool ParseExifTime(const std::string& text, std::int64_t& timeMs) {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  const int fields =
      std::sscanf(text.c_str(), "%d:%2d:%2d %2d:%2d:%2d", &year, &month, &day, &hour, &minute, &second);
  if (fields < 3 || !IsDate(year, month, day) || !IsTimeOfDay(hour, minute, second)) return false;
  std::tm local = DateOf(year, month, day);
  local.tm_hour = hour;
  local.tm_min = minute;
  local.tm_sec = second;
  local.tm_isdst = -1;
  local.tm_wday = -1;  // Set by a success; the result -1 alone is also a time.
  const std::time_t seconds = std::mktime(&local);
  if (local.tm_wday < 0) return false;
  timeMs = std::int64_t{seconds} * 1000;
  return true;
}

void ApplyExif(std::string_view exif, ExifSize size, PictureMetadata& metadata, std::int64_t& timeMs) {
  const ExifOwner data = Parse(exif);
  if (!data) return;
  const ExifTags tags(data.get());
  tags.Apply(kTags, metadata);
  if (size == ExifSize::Take) tags.Apply(kSizeTags, metadata);
  if (GpsTime(tags, timeMs)) return;
  if (TagTime(tags.Find(EXIF_TAG_DATE_TIME_ORIGINAL, EXIF_IFD_EXIF), metadata.exifTime, timeMs)) return;
  (void)TagTime(tags.Find(EXIF_TAG_DATE_TIME, EXIF_IFD_0), metadata.exifTime, timeMs);
}
