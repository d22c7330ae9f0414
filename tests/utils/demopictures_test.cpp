#include "utils/demopictures.h"

#include <gmock/gmock.h>

#include "common/platform/files.h"
#include "tests/support/temporaryfolder.h"
#include "utils/mediareader.h"
#include "utils/mediatypes.h"
#include "utils/thumbnailmaker.h"

namespace {

// Drawing the set takes a second or more, so the tests share one.
class DemoPicturesTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder = new TemporaryFolder;
    files = MakeDemoPictures(*folder / "照片");
  }
  static void TearDownTestSuite() {
    delete folder;
    folder = nullptr;
  }
  static std::wstring Named(std::string_view name) { return platform::WidePath(*folder / "照片" / name); }

  static TemporaryFolder* folder;
  static std::vector<std::filesystem::path> files;
};

TemporaryFolder* DemoPicturesTest::folder = nullptr;
std::vector<std::filesystem::path> DemoPicturesTest::files;

TEST_F(DemoPicturesTest, SetIsWholeAndReadable) {
  ASSERT_EQ(files.size(), 20u);
  for (const auto& file : files) {
    const std::wstring path = platform::WidePath(file);
    PictureMetadata picture;
    VideoMetadata video;
    std::int64_t timeMs = 0;
    const bool isVideo = IsVideoExtension(platform::WideExtension(path));
    EXPECT_TRUE(isVideo ? ReadVideo(path, video) : ReadExif(path, picture, timeMs)) << file;
    EXPECT_TRUE(MakeThumbnail(path, platform::WidePath(*folder / "thumbnail.jpg"), 100)) << file;
  }
}

TEST_F(DemoPicturesTest, HasTheBurst) {
  std::vector<std::string> names;
  for (const auto& file : files) names.push_back(file.filename().string());
  EXPECT_THAT(names, ::testing::IsSupersetOf({"IMG_20240612_101500_BURST001_COVER.jpg",
                                              "IMG_20240612_101500_BURST002.jpg",
                                              "IMG_20240612_101500_BURST010.jpg"}));
}

TEST_F(DemoPicturesTest, PortraitIsStoredLyingAndShownUpright) {
  PictureMetadata metadata;
  std::int64_t timeMs = 0;
  ASSERT_TRUE(ReadExif(Named("IMG_20240612_213000.jpg"), metadata, timeMs));
  EXPECT_EQ(metadata.rotation, 6);
  EXPECT_EQ(metadata.width, 1600);
  EXPECT_EQ(metadata.height, 1200);
  EXPECT_EQ(metadata.exifTime, "2024:06:12 21:30:00");
  EXPECT_EQ(metadata.cameraMaker, "Demo Optics");
  EXPECT_EQ(metadata.colorSpace, "sRGB");
  EXPECT_FLOAT_EQ(metadata.exposureTime, 1.0f / 60);
  const auto thumbnail = platform::WidePath(*folder / "upright.jpg");
  ASSERT_TRUE(MakeThumbnail(Named("IMG_20240612_213000.jpg"), thumbnail, 160));
  ASSERT_TRUE(ReadExif(thumbnail, metadata, timeMs));
  EXPECT_EQ(metadata.width, 120);
  EXPECT_EQ(metadata.height, 160);
}

TEST_F(DemoPicturesTest, PositionedPictureHasTheTimeOfTheSatellite) {
  PictureMetadata metadata;
  std::int64_t timeMs = 0;
  ASSERT_TRUE(ReadExif(Named("IMG_20240612_061500.jpg"), metadata, timeMs));
  EXPECT_EQ(timeMs, 1718172900000);  // date -u -d '2024-06-12 06:15:00' +%s
  EXPECT_EQ(metadata.exifTime, "");
}

TEST_F(DemoPicturesTest, VideoOfTwoSeconds) {
  VideoMetadata metadata;
  ASSERT_TRUE(ReadVideo(Named("VID_20240613_213000.mp4"), metadata));
  EXPECT_EQ(metadata.durationTime, 2);
  EXPECT_EQ(metadata.width, 640);
  EXPECT_EQ(metadata.height, 360);
}

TEST_F(DemoPicturesTest, TruncatedVideosAreNoVideosAndNeverCrash) {
  std::string whole;
  ASSERT_FALSE(platform::ReadFile(platform::NativePath(Named("VID_20240613_213000.mp4")), whole));
  for (int part = 1; part < 10; ++part) {
    const auto cut =
        folder->Write("cut.mp4", whole.substr(0, whole.size() * static_cast<std::size_t>(part) / 10));
    VideoMetadata metadata;
    EXPECT_FALSE(ReadVideo(cut, metadata)) << part;
    EXPECT_FALSE(MakeThumbnail(cut, platform::WidePath(*folder / "cut.jpg"), 100)) << part;
  }
}

TEST_F(DemoPicturesTest, FilesThatAreThereAreKept) {
  const TemporaryFolder other;
  for (const auto& file : files) other.Write(file.filename().string(), "mine");
  const auto again = MakeDemoPictures(other / "");
  ASSERT_EQ(again.size(), files.size());
  for (const auto& file : again) EXPECT_EQ(std::filesystem::file_size(file), 4u) << file;
}

TEST_F(DemoPicturesTest, FolderThatCannotBeMadeGivesNothing) {
  folder->Write("file", "");
  EXPECT_TRUE(MakeDemoPictures(*folder / "file" / "pictures").empty());
}

}  // namespace
