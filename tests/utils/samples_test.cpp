#include <gtest/gtest.h>
#include <json/json.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "tests/support/temporaryfolder.h"
#include "utils/mediareader.h"
#include "utils/thumbnailmaker.h"

namespace {

// Real photographs that are no part of the sources: the folder of the variable
// ZENTARA_SAMPLES, or "samples" in the folder "shared" beside the sources.
std::filesystem::path SamplesFolder() {
  const char* set = std::getenv("ZENTARA_SAMPLES");
  return set ? set : std::filesystem::path(ZENTARA_SOURCE_DIR) / ".." / "shared" / "samples";
}

std::string Output(const std::string& command) {
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return output;
  char part[65536];
  for (std::size_t count = 0; (count = std::fread(part, 1, sizeof part, pipe)) > 0;)
    output.append(part, count);
  pclose(pipe);
  return output;
}

// Another reader's view of all samples, by path. -G1 names the directory of each
// tag, -n prints numbers.
std::map<std::filesystem::path, Json::Value> ReadByExiftool(const std::filesystem::path& folder) {
  std::map<std::filesystem::path, Json::Value> pictures;
  const Json::Value all = ParseJson(
      Output("exiftool -j -n -G1 -r -api LimitLongValues=1000 '" + folder.string() + "' 2>/dev/null"));
  for (const Json::Value& picture : all) {
    const std::filesystem::path path = picture["SourceFile"].asString();
    if (path.extension() != ".md") pictures[path] = picture;
  }
  return pictures;
}

std::string Trimmed(std::string text) {
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

std::string TextOf(const Json::Value& value) { return value.isNull() ? "" : Trimmed(value.asString()); }

double NumberOf(const Json::Value& value) { return value.isNumeric() ? value.asDouble() : 0; }

class SamplesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(samples)) GTEST_SKIP() << "no samples";
    setenv("TZ", "Asia/Shanghai", 1);
    tzset();
  }
  void TearDown() override {
    unsetenv("TZ");
    tzset();
  }

  std::filesystem::path samples = SamplesFolder();
};

void ExpectSameTags(const PictureMetadata& ours, const Json::Value& theirs) {
  const auto tag = [&](const char* directory, const char* name) {
    return theirs[std::string(directory) + ":" + name];
  };
  EXPECT_EQ(Trimmed(ours.cameraMaker), TextOf(tag("IFD0", "Make")));
  EXPECT_EQ(Trimmed(ours.cameraModel), TextOf(tag("IFD0", "Model")));
  EXPECT_EQ(ours.rotation, NumberOf(tag("IFD0", "Orientation")));
  EXPECT_NEAR(ours.exposureTime, NumberOf(tag("ExifIFD", "ExposureTime")), 1e-4 * ours.exposureTime);
  EXPECT_NEAR(ours.focalLength, NumberOf(tag("ExifIFD", "FocalLength")), 1e-4 * ours.focalLength);
  EXPECT_NEAR(ours.exposureBias, NumberOf(tag("ExifIFD", "ExposureCompensation")), 1e-4);
  EXPECT_EQ(ours.isoSpeed, NumberOf(tag("ExifIFD", "ISO")));
  EXPECT_EQ(ours.flashUsed, NumberOf(tag("ExifIFD", "Flash")) != 0);
  EXPECT_EQ(ours.colorSpace == "sRGB", NumberOf(tag("ExifIFD", "ColorSpace")) == 1);
  EXPECT_EQ(ours.meteringMode == "Pattern", NumberOf(tag("ExifIFD", "MeteringMode")) == 5);
  EXPECT_EQ(ours.exposureMode == "normal program", NumberOf(tag("ExifIFD", "ExposureProgram")) == 2);
  EXPECT_EQ(ours.sensor == "one-chip color area sensor", NumberOf(tag("ExifIFD", "SensingMethod")) == 2);
  const Json::Value width = tag("IFD0", "ImageWidth");
  EXPECT_EQ(ours.width, NumberOf(width.isNull() ? theirs["File:ImageWidth"] : width));
  const Json::Value height = tag("IFD0", "ImageHeight");
  EXPECT_EQ(ours.height, NumberOf(height.isNull() ? theirs["File:ImageHeight"] : height));
}

// The time as exiftool's texts give it, computed by another way than ours: all
// of it in UTC, and Shanghai's eight hours taken off.
std::optional<std::int64_t> ExpectedTime(const Json::Value& theirs) {
  const auto utc = [](const std::string& text) -> std::optional<std::int64_t> {
    std::tm time{};
    if (!strptime(text.c_str(), "%Y:%m:%d %H:%M:%S", &time)) return std::nullopt;
    return std::int64_t{timegm(&time)} * 1000;
  };
  const std::string gps = TextOf(theirs["GPS:GPSDateStamp"]) + " " + TextOf(theirs["GPS:GPSTimeStamp"]);
  if (const auto time = utc(gps)) return time;
  for (const char* name : {"ExifIFD:DateTimeOriginal", "IFD0:ModifyDate"}) {
    if (const auto time = utc(TextOf(theirs[name]))) return *time - 8 * 3600 * 1000;
  }
  return std::nullopt;
}

TEST_F(SamplesTest, MetadataIsWhatAnotherReaderSees) {
  const auto pictures = ReadByExiftool(samples);
  if (pictures.empty()) GTEST_SKIP() << "no exiftool";
  for (const auto& [path, theirs] : pictures) {
    SCOPED_TRACE(path);
    PictureMetadata ours;
    std::int64_t timeMs = -1;
    if (!ReadExif(platform::WidePath(path), ours, timeMs)) {
      EXPECT_EQ(path.parent_path().filename(), "broken");
      continue;
    }
    ExpectSameTags(ours, theirs);
    EXPECT_EQ(timeMs, ExpectedTime(theirs).value_or(-1));
  }
}

TEST_F(SamplesTest, EveryPictureHasAnUprightThumbnail) {
  const TemporaryFolder cache;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(samples)) {
    if (!entry.is_regular_file() || entry.path().extension() == ".md") continue;
    SCOPED_TRACE(entry.path());
    const bool broken = entry.path().parent_path().filename() == "broken";
    const auto target = cache.Wide("thumbnail.jpg");
    const bool made = MakeThumbnail(platform::WidePath(entry.path()), target, 200);
    EXPECT_TRUE(made || broken);
    if (!made) continue;
    PictureMetadata thumbnail;
    std::int64_t timeMs = 0;
    ASSERT_TRUE(ReadExif(target, thumbnail, timeMs));
    EXPECT_LE(std::max(thumbnail.width, thumbnail.height), 200);
    if (entry.path().parent_path().filename() != "orientation") continue;
    const bool landscape = entry.path().filename().string().starts_with("landscape");
    EXPECT_EQ(thumbnail.width > thumbnail.height, landscape);
  }
}

}  // namespace
