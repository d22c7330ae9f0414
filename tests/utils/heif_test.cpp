// Phone pictures as the HEIF library writes them, some with a byte changed.

#include <gtest/gtest.h>
#include <libheif/heif.h>

#include <memory>

#include "tests/support/picturefiles.h"
#include "tests/support/temporaryfolder.h"
#include "utils/mediareader.h"
#include "utils/thumbnailmaker.h"

// The encoder that makes the pictures of these tests keeps a little to its end.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:libx265\n"; }

namespace {

constexpr int kWidth = 256, kHeight = 192, kPreview = 128;

class HeifTest : public testing::Test {
 protected:
  // A grey picture, stored lying and shown turned when `orientation` says so.
  std::string Picture(heif_orientation orientation, const std::string& exif, bool withPreview) {
    const auto context = Owned(heif_context_alloc(), heif_context_free);
    heif_image* grey = nullptr;
    Good(heif_image_create(kWidth, kHeight, heif_colorspace_RGB, heif_chroma_interleaved_RGB, &grey));
    const auto image = Owned(grey, heif_image_release);
    Good(heif_image_add_plane(grey, heif_channel_interleaved, kWidth, kHeight, 8));
    int stride = 0;
    std::uint8_t* lines = heif_image_get_plane(grey, heif_channel_interleaved, &stride);
    std::fill(lines, lines + stride * kHeight, std::uint8_t{128});
    heif_encoder* found = nullptr;
    Good(heif_context_get_encoder_for_format(context.get(), heif_compression_HEVC, &found));
    const auto encoder = Owned(found, heif_encoder_release);
    const auto options = Owned(heif_encoding_options_alloc(), heif_encoding_options_free);
    options->image_orientation = orientation;
    heif_image_handle* made = nullptr;
    Good(heif_context_encode_image(context.get(), grey, encoder.get(), options.get(), &made));
    const auto handle = Owned(made, heif_image_handle_release);
    if (withPreview) {
      heif_image_handle* small = nullptr;
      Good(
          heif_context_encode_thumbnail(context.get(), grey, made, encoder.get(), nullptr, kPreview, &small));
      heif_image_handle_release(small);
    }
    if (!exif.empty())
      Good(heif_context_add_exif_metadata(context.get(), made, exif.data(), static_cast<int>(exif.size())));
    Good(heif_context_write_to_file(context.get(), (folder / "written.heic").c_str()));
    std::ifstream file(folder / "written.heic", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  PictureMetadata Read(const std::string& bytes) {
    PictureMetadata metadata;
    std::int64_t time = 0;
    EXPECT_TRUE(ReadExif(folder.Write("picture.heic", bytes), metadata, time));
    return metadata;
  }
  // The TIFF structure alone, as the format wants it.
  static std::string Tiff(const std::vector<Tag>& tags) { return Exif(tags).substr(6); }
  static Tag LongTag(int number, std::uint32_t value) { return {number, kLong, Long(value)}; }

  TemporaryFolder folder;

 private:
  template <typename Object>
  static std::unique_ptr<Object, void (*)(Object*)> Owned(Object* object, void (*release)(Object*)) {
    return {object, release};
  }
  template <typename Object>
  static std::unique_ptr<Object, void (*)(const Object*)> Owned(Object* object,
                                                                void (*release)(const Object*)) {
    return {object, release};
  }
  static void Good(const heif_error& error) { ASSERT_EQ(error.code, heif_error_Ok) << error.message; }
};

TEST_F(HeifTest, PreviewOfOtherDimensionsThanItSaysLeavesTheThumbnailToTheMainPicture) {
  std::string bytes = Picture(heif_orientation_normal, "", true);
  const std::string size("ispe\0\0\0\0\0\0\0\x80\0\0\0\x60", 16);  // 128 x 96
  const auto at = bytes.find(size);
  ASSERT_NE(at, std::string::npos);
  bytes[at + 11] = '\x7e';
  const auto path = folder.Write("picture.heic", bytes);
  ASSERT_TRUE(MakeThumbnail(path, folder.Wide("thumbnail.jpg"), 64));
  PictureMetadata metadata;
  std::int64_t time = 0;
  ASSERT_TRUE(ReadExif(folder.Wide("thumbnail.jpg"), metadata, time));
  EXPECT_EQ(metadata.width, 64);
  EXPECT_EQ(metadata.height, 48);
}

// As a JPEG of the same camera: the size as it lies, and the turn beside it.
TEST_F(HeifTest, TurnedPicturesAreStoredAlikeWhateverTheirSizeTagsSay) {
  const Tag turn = ShortTag(274, 6);
  for (const auto& tags : {std::vector<Tag>{turn},
                           {LongTag(256, kWidth), LongTag(257, kHeight), turn},
                           {LongTag(256, kHeight), LongTag(257, kWidth), turn}}) {
    const auto metadata = Read(Picture(heif_orientation_rotate_90_cw, Tiff(tags), false));
    EXPECT_EQ(metadata.width, kWidth);
    EXPECT_EQ(metadata.height, kHeight);
    EXPECT_EQ(metadata.rotation, 6);
  }
}

TEST_F(HeifTest, PictureThatIsOnlySaidToBeTurnedKeepsItsSize) {
  const auto metadata = Read(Picture(heif_orientation_normal, Tiff({ShortTag(274, 6)}), false));
  EXPECT_EQ(metadata.width, kWidth);
  EXPECT_EQ(metadata.height, kHeight);
}

}  // namespace
