#include "utils/picturemetadata.h"

#include <gtest/gtest.h>

namespace {

TEST(PictureMetadata, TextKeepsEveryField) {
  const std::string text =
      R"({"aperture":2.8,"cameraMaker":"Häns","cameraModel":"相机","colorSpace":"sRGB",)"
      R"("exifTime":"2024:06:12 10:15:00","exposureBias":-0.33,"exposureMode":"manual","exposureTime":0.008,)"
      R"("flashUsed":true,"focalLength":4.25,"height":3000,"isoSpeed":100,"lens":"wide","maxApertureValue":1.5,)"
      R"("meteringMode":"Spot","position":"home","rotation":6,"sensor":"not defined","subjectDistance":12,)"
      R"("whiteBalance":"auto","width":4000})";
  PictureMetadata metadata;
  EXPECT_TRUE(metadata.FromJson(ParseJson(text)));
  EXPECT_EQ(CompactJson(metadata.ToJson()), text);
  EXPECT_EQ(metadata.aperture, 2.8f);
  EXPECT_EQ(metadata.rotation, 6);
  EXPECT_TRUE(metadata.flashUsed);
}

TEST(PictureMetadata, MissingKeysLeaveFields) {
  PictureMetadata metadata;
  metadata.width = 7;
  metadata.lens = "wide";
  EXPECT_TRUE(metadata.FromJson(ParseJson(R"({"height":5})")));
  EXPECT_TRUE(metadata.FromJson(ParseJson("{}")));
  EXPECT_TRUE(metadata.FromJson(Json::Value()));
  EXPECT_EQ(metadata.height, 5);
  EXPECT_EQ(metadata.width, 7);
  EXPECT_EQ(metadata.lens, "wide");
}

TEST(PictureMetadata, ValuesOfAnotherTypeLeaveFields) {
  PictureMetadata metadata;
  metadata.width = 7;
  metadata.lens = "wide";
  metadata.aperture = 2;
  EXPECT_TRUE(metadata.FromJson(ParseJson(
      R"({"width":"8","height":99999999999,"lens":3,"aperture":[1],"flashUsed":"yes","rotation":{}})")));
  EXPECT_EQ(metadata.width, 7);
  EXPECT_EQ(metadata.height, 0);
  EXPECT_EQ(metadata.lens, "wide");
  EXPECT_EQ(metadata.aperture, 2);
  EXPECT_FALSE(metadata.flashUsed);
  EXPECT_EQ(metadata.rotation, 0);
  EXPECT_FALSE(metadata.FromJson(ParseJson("[1]")));
}

TEST(VideoMetadata, TextKeepsEveryField) {
  VideoMetadata metadata;
  EXPECT_TRUE(metadata.FromJson(ParseJson(R"({"durationTime":12,"height":720,"width":1280,"other":1})")));
  EXPECT_EQ(CompactJson(metadata.ToJson()), R"({"durationTime":12,"height":720,"width":1280})");
}

TEST(Json, TextThatIsNoDocumentIsNull) {
  for (const std::string text : {"", "{", "nonsense", "{} {}", "{\"a\":}"})
    EXPECT_TRUE(ParseJson(text).isNull()) << text;
  EXPECT_TRUE(ParseJson(std::string(100'000, '[')).isNull());
}

TEST(Json, WholeNumbersKeepAllDigits) {
  EXPECT_EQ(CompactJson(ParseJson("[1718158500123,-9223372036854775808,18446744073709551615]")),
            "[1718158500123,-9223372036854775808,18446744073709551615]");
}

}  // namespace
