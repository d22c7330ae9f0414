#include "utils/mediareader.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "tests/support/picturefiles.h"
#include "tests/support/temporaryfolder.h"
#include "utils/mediainfolibrary.h"

namespace {

constexpr std::int64_t kUntouched = -77;

// Local times are told in a zone that is neither UTC nor the machine's.
class MediaReaderTest : public ::testing::Test {
 protected:
  void SetUp() override { SetZone("Asia/Shanghai"); }
  void TearDown() override { SetZone(nullptr); }

  static void SetZone(const char* zone) {
    zone ? setenv("TZ", zone, 1) : unsetenv("TZ");
    tzset();
  }

  bool Read(const std::string& bytes, std::string_view name = "picture.jpg") {
    metadata = {};
    timeMs = kUntouched;
    return ReadExif(folder.Write(name, bytes), metadata, timeMs, &why);
  }

  // Reads a JPEG whose EXIF directory has one tag.
  void ReadTag(const Tag& tag) { ASSERT_TRUE(Read(JpegWith(Exif({}, {tag})))); }

  TemporaryFolder folder;
  PictureMetadata metadata;
  std::int64_t timeMs = kUntouched;
  MediaFailure why = MediaFailure::None;
};

TEST_F(MediaReaderTest, EveryTagOfTheTable) {
  const Tag bias{37380, kSignedRational, Rational(static_cast<std::uint32_t>(-1), 3)};
  const std::string exif =
      Exif({TextTag(271, "Maker"), TextTag(272, "Model"), ShortTag(274, 6)},
           {RationalTag(33434, 1, 125), ShortTag(34850, 2), ShortTag(34855, 400), bias,
            RationalTag(37381, 3, 2), RationalTag(37382, 29, 10), ShortTag(37383, 3), ShortTag(37385, 16),
            RationalTag(37386, 17, 4), ShortTag(40961, 1), ShortTag(41495, 2)});
  ASSERT_TRUE(Read(JpegWith(exif)));
  PictureMetadata expected;
  expected.FromJson(ParseJson(
      R"({"cameraMaker":"Maker","cameraModel":"Model","rotation":6,"exposureTime":0.008,)"
      R"("exposureMode":"normal program","isoSpeed":400,"exposureBias":-0.33333334,"maxApertureValue":1.5,)"
      R"("subjectDistance":2,"meteringMode":"Spot","flashUsed":true,"focalLength":4.25,"colorSpace":"sRGB",)"
      R"("sensor":"one-chip color area sensor","width":64,"height":48})"));
  EXPECT_EQ(CompactJson(metadata.ToJson()), CompactJson(expected.ToJson()));
  EXPECT_EQ(timeMs, kUntouched);
  EXPECT_EQ(why, MediaFailure::None);
}

TEST_F(MediaReaderTest, ValueMaps) {
  using Row = std::pair<unsigned, std::string>;
  for (const auto& [value, text] : {Row{1, "sRGB"}, {65535, "uncalibrated"}, {2, "reserved"}}) {
    ReadTag(ShortTag(40961, value));
    EXPECT_EQ(metadata.colorSpace, text);
  }
  for (const auto& [value, text] : {Row{0, "not defined"},
                                    {1, "manual"},
                                    {2, "normal program"},
                                    {3, "aperture priority"},
                                    {4, "shutter priority"},
                                    {5, "creative program"},
                                    {6, "action program"},
                                    {7, "portrait mode"},
                                    {8, "landscape mode"},
                                    {9, "reserved"}}) {
    ReadTag(ShortTag(34850, value));
    EXPECT_EQ(metadata.exposureMode, text);
  }
  for (const auto& [value, text] : {Row{0, "unknown"},
                                    {1, "Average"},
                                    {2, "CenterWeightedAverage"},
                                    {3, "Spot"},
                                    {4, "MultiSpot"},
                                    {5, "Pattern"},
                                    {6, "Partial"},
                                    {255, "other"},
                                    {7, "reserved"}}) {
    ReadTag(ShortTag(37383, value));
    EXPECT_EQ(metadata.meteringMode, text);
  }
  for (const auto& [value, text] : {Row{1, "not defined"},
                                    {2, "one-chip color area sensor"},
                                    {3, "two-chip color area sensor"},
                                    {4, "three-chip color area sensor"},
                                    {5, "color sequential area sensor"},
                                    {7, "trilinear sensor"},
                                    {8, "color sequential linear sensor"},
                                    {6, "reserved"}}) {
    ReadTag(ShortTag(41495, value));
    EXPECT_EQ(metadata.sensor, text);
  }
}

TEST_F(MediaReaderTest, TagsOfAnotherTypeAreIgnored) {
  ReadTag({40961, kLong, Long(1)});
  EXPECT_EQ(metadata.colorSpace, "");
  ReadTag({40961, kAscii, "1"});
  EXPECT_EQ(metadata.colorSpace, "");
  ReadTag({34855, kLong, Long(400)});
  EXPECT_EQ(metadata.isoSpeed, 0);
  ReadTag(ShortTag(33434, 1));
  EXPECT_EQ(metadata.exposureTime, 0);
  ReadTag({37383, kShort, ""});
  EXPECT_EQ(metadata.meteringMode, "");
}

TEST_F(MediaReaderTest, ImpossibleRationalsAreIgnoredOrBounded) {
  ReadTag(RationalTag(37386, 5, 0));
  EXPECT_EQ(metadata.focalLength, 0);
  ReadTag(RationalTag(37382, 0xFFFFFFFF, 1));
  EXPECT_EQ(metadata.subjectDistance, INT32_MAX);
  ReadTag(ShortTag(37385, 0));
  EXPECT_FALSE(metadata.flashUsed);
}

TEST_F(MediaReaderTest, SizeTagsOverrideTheDecodedSize) {
  ASSERT_TRUE(Read(JpegWith(Exif({{256, kShort, Short(4000)}, {257, kLong, Long(3000)}}))));
  EXPECT_EQ(metadata.width, 4000);
  EXPECT_EQ(metadata.height, 3000);
  ASSERT_TRUE(Read(JpegWith(Exif({TextTag(256, "400"), {257, kLong, Long(0xFFFFFFFF)}}))));
  EXPECT_EQ(metadata.width, 64);
  EXPECT_EQ(metadata.height, 48);
}

TEST_F(MediaReaderTest, GpsTimeWinsAsUtc) {
  const Tag gpsTime{7, kRational, Rational(9, 1) + Rational(30, 1) + Rational(155, 10)};
  const std::vector<Tag> dates = {TextTag(36867, "2020:01:01 00:00:00")};
  for (const char* date : {"2021:04:11", "2021-04-11"}) {
    ASSERT_TRUE(Read(JpegWith(Exif({}, dates, {gpsTime, TextTag(29, date)}))));
    EXPECT_EQ(timeMs, 1618133415000) << date;  // date -u -d '2021-04-11 09:30:15' +%s
    EXPECT_EQ(metadata.exifTime, "");
  }
}

TEST_F(MediaReaderTest, UnusableGpsTimeLeavesItToTheOriginal) {
  const Tag gpsTime{7, kRational, Rational(9, 1) + Rational(30, 1) + Rational(15, 1)};
  const Tag broken{7, kRational, Rational(9, 1) + Rational(30, 0) + Rational(15, 1)};
  const Tag tooShort{7, kRational, Rational(9, 1)};
  const std::vector<Tag> dates = {TextTag(36867, "2024:06:12 10:15:00")};
  for (const std::vector<Tag>& gps : {std::vector<Tag>{gpsTime},
                                      {TextTag(29, "2021:04:11")},
                                      {broken, TextTag(29, "2021:04:11")},
                                      {tooShort, TextTag(29, "2021:04:11")},
                                      {gpsTime, TextTag(29, "2021:13:11")},
                                      {gpsTime, TextTag(29, "")}}) {
    ASSERT_TRUE(Read(JpegWith(Exif({}, dates, gps))));
    EXPECT_EQ(timeMs, 1718158500000);
    EXPECT_EQ(metadata.exifTime, "2024:06:12 10:15:00");
  }
}

TEST_F(MediaReaderTest, OriginalTimeWinsOverChangeTime) {
  const Tag change = TextTag(306, "2024:06:12 10:15:00");
  ASSERT_TRUE(Read(JpegWith(Exif({change}, {TextTag(36867, "2024:06:12 00:00:00")}))));
  EXPECT_EQ(timeMs, 1718121600000);
  EXPECT_EQ(metadata.exifTime, "2024:06:12 00:00:00");
  for (const char* unset : {"", "    :  :     :  :  ", "0000:00:00 00:00:00", "2024:06"}) {
    ASSERT_TRUE(Read(JpegWith(Exif({change}, {TextTag(36867, unset)}))));
    EXPECT_EQ(timeMs, 1718158500000) << unset;
    EXPECT_EQ(metadata.exifTime, "2024:06:12 10:15:00");
  }
}

TEST_F(MediaReaderTest, TimeTextOfThreeToSixFields) {
  const auto parse = [](const std::string& text) {
    std::int64_t time = kUntouched;
    return ParseExifTime(text, time) ? time : kUntouched;
  };
  EXPECT_EQ(parse("2024:06:12 10:15:00"), 1718158500000);
  EXPECT_EQ(parse("2024:06:12 10:15"), 1718158500000);
  EXPECT_EQ(parse("2024:06:12 10"), 1718158500000 - 15 * 60 * 1000);
  EXPECT_EQ(parse("2024:06:12"), 1718121600000);
  EXPECT_EQ(parse("1969:12:30 10:15:00"), -164700000);
  for (const char* text : {"", "2024", "2024:06", "2024-06-12", "nonsense", "2024:00:12", "2024:13:01",
                           "99999:01:01", "2024:06:12 10:75:00", "99999999999999999999:01:01"}) {
    EXPECT_EQ(parse(text), kUntouched) << text;
  }
}

TEST_F(MediaReaderTest, PictureWithoutExifIsASuccess) {
  ASSERT_TRUE(Read(JpegWith("")));
  EXPECT_EQ(metadata.width, 64);
  EXPECT_EQ(metadata.height, 48);
  EXPECT_EQ(metadata.rotation, 0);
  EXPECT_EQ(timeMs, kUntouched);
}

TEST_F(MediaReaderTest, DamagedExifIsASuccess) {
  const std::string exif = Exif({TextTag(271, "A maker of cameras")}, {ShortTag(40961, 1)});
  for (std::size_t length = 0; length < exif.size(); ++length) {
    ASSERT_TRUE(Read(JpegWith(exif.substr(0, length)))) << length;
    EXPECT_EQ(metadata.width, 64);
  }
}

TEST_F(MediaReaderTest, TextThatIsNoUtf8BecomesUtf8) {
  ASSERT_TRUE(Read(JpegWith(Exif({TextTag(271, "Caf\xe9")}))));
  EXPECT_EQ(metadata.cameraMaker, "Caf\xef\xbf\xbd");
}

TEST_F(MediaReaderTest, NamesOfEveryKind) {
  const std::string jpeg = JpegWith(Exif({ShortTag(274, 3)}));
  for (const char* name : {"照片.jpg", "รูป.jpg", "🌄.JPG", "a[n=-1].jpg", "space name.jpg", "picture.png"}) {
    ASSERT_TRUE(Read(jpeg, name)) << name;
    EXPECT_EQ(metadata.rotation, 3);
  }
}

TEST_F(MediaReaderTest, SizesOfOtherFormats) {
  ASSERT_TRUE(Read(Bmp(31, 17), "picture.bmp"));
  EXPECT_EQ(metadata.width, 31);
  EXPECT_EQ(metadata.height, 17);
  ASSERT_TRUE(Read(PngClaiming(300, 200), "picture.png"));
  EXPECT_EQ(metadata.width, 300);
  EXPECT_EQ(metadata.height, 200);
}

TEST_F(MediaReaderTest, RawFileHasItsOwnSizeAndExif) {
  ASSERT_TRUE(Read(RawWithPreview(8), "picture.NEF"));
  EXPECT_EQ(metadata.width, 96);
  EXPECT_EQ(metadata.height, 64);
  EXPECT_EQ(metadata.rotation, 8);
  EXPECT_EQ(metadata.cameraModel, "NIKON TEST");
  EXPECT_EQ(timeMs, 1718158500000);
}

TEST_F(MediaReaderTest, FilesThatAreNoPictures) {
  for (const std::string& bytes :
       {std::string(), std::string("This is a text."), std::string("\xff\xd8\xff"), std::string("BM"),
        std::string("GIF89a"), std::string(5000, '\0'), std::string("<svg width='5' height='5'/>")}) {
    EXPECT_FALSE(Read(bytes));
    EXPECT_EQ(why, MediaFailure::NotDecodable) << bytes;
    EXPECT_EQ(metadata.width, 0);
  }
  EXPECT_FALSE(Read("II*\0 no directory", "picture.nef"));
  EXPECT_FALSE(Read(RawWithPreview(1), "picture.jpg"));
  EXPECT_FALSE(ReadExif(folder.Wide("missing.jpg"), metadata, timeMs, &why));
  EXPECT_EQ(why, MediaFailure::CannotOpen);
  EXPECT_FALSE(ReadExif(folder.Wide("."), metadata, timeMs));
}

TEST_F(MediaReaderTest, ClaimsBeyondTheLimitsAreRefused) {
  EXPECT_FALSE(Read(PngClaiming(60000, 60000), "bomb.png"));
  EXPECT_EQ(why, MediaFailure::TooLarge);
  EXPECT_FALSE(Read(PngClaiming(20000, 20000, true), "interlaced.png"));
  EXPECT_EQ(why, MediaFailure::TooLarge);
  EXPECT_TRUE(Read(PngClaiming(20000, 20000), "large.png"));
  std::string bitmap = Bmp(2, 2);
  bitmap.replace(18, 8, Long(60000) + Long(60000));
  EXPECT_FALSE(Read(bitmap, "bomb.bmp"));
  EXPECT_EQ(why, MediaFailure::TooLarge);
}

TEST_F(MediaReaderTest, DegreesOfAllOrientations) {
  const std::vector<std::int32_t> expected = {0, 0, 0, 180, 180, 270, 90, 90, 270, 0};
  for (std::int32_t orientation = 0; orientation < 10; ++orientation) {
    EXPECT_EQ(DegreesOfOrientation(orientation), expected[static_cast<std::size_t>(orientation)]);
  }
  EXPECT_EQ(DegreesOfOrientation(-1), 0);
}

TEST_F(MediaReaderTest, OrientationsAreReadAsTheyStand) {
  for (unsigned orientation = 1; orientation <= 8; ++orientation) {
    ASSERT_TRUE(Read(JpegWith(Exif({ShortTag(274, orientation)}))));
    EXPECT_EQ(metadata.rotation, static_cast<std::int32_t>(orientation));
  }
}

TEST_F(MediaReaderTest, FilesThatAreNoVideos) {
  VideoMetadata video;
  video.width = 5;
  for (const std::string& bytes :
       {std::string(), std::string("text"), std::string(100'000, '\0'), JpegWith("")}) {
    EXPECT_FALSE(ReadVideo(folder.Write("video.mp4", bytes), video, &why));
    EXPECT_EQ(why, MediaFailure::NotDecodable);
  }
  EXPECT_FALSE(ReadVideo(folder.Wide("missing.mp4"), video, &why));
  EXPECT_EQ(why, MediaFailure::CannotOpen);
  EXPECT_EQ(video.width, 5);
}

TEST_F(MediaReaderTest, VideoThatWasFilmedUprightKeepsItsTurn) {
  VideoMetadata video;
  ASSERT_TRUE(ReadVideo(folder.Write("turned.mp4", TurnedVideo()), video));
  EXPECT_EQ(video.rotation, 90);
  ASSERT_TRUE(ReadVideo(folder.Write("lying.mp4", VideoOfTracks(1)), video));
  EXPECT_EQ(video.rotation, 0);
}

TEST_F(MediaReaderTest, MissingMediaLibraryIsNull) {
  EXPECT_EQ(MediaInfoLibrary::Load("libzentara-missing.so.0"), nullptr);
  EXPECT_EQ(MediaInfoLibrary::Load("libc.so.6"), nullptr);
}

}  // namespace
