// Phone pictures as the HEIF library writes them, some with a byte changed.

#include <gtest/gtest.h>
#include <libheif/heif.h>

#include <memory>

#include "tests/support/picturefiles.h"
#include "tests/support/temporaryfolder.h"
#include "utils/hevcpicture.h"
#include "utils/mediareader.h"
#include "utils/picturepixels.h"
#include "utils/thumbnailmaker.h"

// The encoder that makes the pictures of these tests keeps a little to its end.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:libx265\n"; }

namespace {

constexpr int kWidth = 256, kHeight = 192, kPreview = 128;

struct Colour {
  int red = 0, green = 0, blue = 0;
  bool IsNear(const Colour& other) const {
    constexpr int kLoss = 12;
    return std::abs(red - other.red) < kLoss && std::abs(green - other.green) < kLoss &&
           std::abs(blue - other.blue) < kLoss;
  }
};
constexpr Colour kRed{220, 30, 30}, kGreen{30, 200, 40}, kBlue{40, 40, 210}, kWhite{235, 235, 235};
// From the left above to the right below.
constexpr Colour kQuarters[] = {kRed, kGreen, kBlue, kWhite};

void PaintQuarters(std::uint8_t* lines, int stride) {
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const Colour& colour = kQuarters[(y < kHeight / 2 ? 0 : 2) + (x < kWidth / 2 ? 0 : 1)];
      std::uint8_t* pixel = lines + y * stride + x * 3;
      pixel[0] = static_cast<std::uint8_t>(colour.red);
      pixel[1] = static_cast<std::uint8_t>(colour.green);
      pixel[2] = static_cast<std::uint8_t>(colour.blue);
    }
  }
}

// In the middle of a quarter, numbered as above.
Colour QuarterOf(const std::uint8_t* lines, int width, int height, int quarter) {
  const std::uint8_t* pixel =
      lines + (height * (1 + 2 * (quarter / 2)) / 4 * width + width * (1 + 2 * (quarter % 2)) / 4) * 3;
  return {pixel[0], pixel[1], pixel[2]};
}

// What the fast way gave; the usual one is for what it leaves.
struct Fast {
  int width = 0, height = 0;
  std::string profile;
  std::vector<Colour> quarters;
};

std::optional<Fast> DecodeFast(const std::filesystem::path& path, int longEdge) {
  if (!StartVips()) return std::nullopt;
  const auto image = DecodeHevcPicture(path, longEdge);
  if (!image) return std::nullopt;
  Fast fast{image->Xsize, image->Ysize, {}, {}};
  std::size_t bytes = 0;
  auto* lines = static_cast<std::uint8_t*>(vips_image_write_to_memory(image.get(), &bytes));
  for (int i = 0; i < 4; ++i) fast.quarters.push_back(QuarterOf(lines, fast.width, fast.height, i));
  g_free(lines);
  const void* profile = nullptr;
  if (vips_image_get_typeof(image.get(), VIPS_META_ICC_NAME) &&
      vips_image_get_blob(image.get(), VIPS_META_ICC_NAME, &profile, &bytes) == 0)
    fast.profile.assign(static_cast<const char*>(profile), bytes);
  return fast;
}

void ExpectColours(const std::vector<Colour>& shown, const std::vector<Colour>& expected) {
  ASSERT_EQ(shown.size(), expected.size());
  for (std::size_t i = 0; i < shown.size(); ++i)
    EXPECT_TRUE(shown[i].IsNear(expected[i]))
        << i << ": " << shown[i].red << ' ' << shown[i].green << ' ' << shown[i].blue;
}

class HeifTest : public testing::Test {
 protected:
  // Of coloured quarters, stored lying and shown turned when `orientation` says so.
  std::string Picture(heif_orientation orientation, const std::string& exif, bool withPreview) {
    const auto context = Owned(heif_context_alloc(), heif_context_free);
    heif_image* drawn = nullptr;
    Good(heif_image_create(kWidth, kHeight, heif_colorspace_RGB, heif_chroma_interleaved_RGB, &drawn));
    const auto image = Owned(drawn, heif_image_release);
    Good(heif_image_add_plane(drawn, heif_channel_interleaved, kWidth, kHeight, 8));
    int stride = 0;
    std::uint8_t* lines = heif_image_get_plane(drawn, heif_channel_interleaved, &stride);
    PaintQuarters(lines, stride);
    if (!profile.empty())
      Good(heif_image_set_raw_color_profile(drawn, "prof", profile.data(), profile.size()));
    heif_encoder* found = nullptr;
    Good(heif_context_get_encoder_for_format(context.get(), heif_compression_HEVC, &found));
    const auto encoder = Owned(found, heif_encoder_release);
    const auto options = Owned(heif_encoding_options_alloc(), heif_encoding_options_free);
    options->image_orientation = orientation;
    const auto colours = Owned(heif_nclx_color_profile_alloc(), heif_nclx_color_profile_free);
    Good(heif_nclx_color_profile_set_matrix_coefficients(colours.get(),
                                                         heif_matrix_coefficients_ITU_R_BT_709_5));
    options->macOS_compatibility_workaround_no_nclx_profile = 0;
    if (isOfTelevision) {
      options->output_nclx_profile = colours.get();
      Good(heif_image_set_nclx_color_profile(drawn, colours.get()));
    }
    heif_image_handle* made = nullptr;
    Good(heif_context_encode_image(context.get(), drawn, encoder.get(), options.get(), &made));
    const auto handle = Owned(made, heif_image_handle_release);
    if (withPreview) {
      heif_image_handle* small = nullptr;
      Good(heif_context_encode_thumbnail(context.get(), drawn, made, encoder.get(), nullptr, kPreview,
                                         &small));
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

  std::filesystem::path Written() const { return folder / "written.heic"; }
  // As the viewer has it.
  std::vector<Colour> Shown(int longEdge) {
    PicturePixels pixels;
    const auto target = folder.Wide("pixels");
    if (!DecodePixels(Written().wstring(), target, longEdge, pixels) || pixels.bands != 3) return {};
    std::ifstream file(folder / "pixels", std::ios::binary);
    const std::string lines(std::istreambuf_iterator<char>(file), {});
    std::vector<Colour> quarters;
    for (int i = 0; i < 4; ++i)
      quarters.push_back(
          QuarterOf(reinterpret_cast<const std::uint8_t*>(lines.data()), pixels.width, pixels.height, i));
    return quarters;
  }

  TemporaryFolder folder;
  std::string profile;
  bool isOfTelevision = false;

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

TEST_F(HeifTest, PhonePictureIsDecodedFastInItsOwnColours) {
  (void)Picture(heif_orientation_normal, "", false);
  for (const int longEdge : {0, 64}) {
    const auto fast = DecodeFast(Written(), longEdge);
    ASSERT_TRUE(fast);
    EXPECT_EQ(fast->width, longEdge == 0 ? kWidth : 64);
    EXPECT_EQ(fast->height, longEdge == 0 ? kHeight : 48);
    ExpectColours(fast->quarters, {kRed, kGreen, kBlue, kWhite});
    ExpectColours(Shown(longEdge), {kRed, kGreen, kBlue, kWhite});
  }
}

TEST_F(HeifTest, TurnedPhonePictureIsDecodedFastAndUpright) {
  (void)Picture(heif_orientation_rotate_90_cw, "", false);
  const auto fast = DecodeFast(Written(), 64);
  ASSERT_TRUE(fast);
  EXPECT_EQ(fast->width, 48);
  EXPECT_EQ(fast->height, 64);
  ExpectColours(fast->quarters, {kBlue, kRed, kWhite, kGreen});
}

TEST_F(HeifTest, FastPictureKeepsTheProfileOfItsColours) {
  profile = "the profile's own bytes";
  (void)Picture(heif_orientation_normal, "", false);
  const auto fast = DecodeFast(Written(), 64);
  ASSERT_TRUE(fast);
  EXPECT_EQ(fast->profile, profile);
}

TEST_F(HeifTest, PictureOfOtherColoursIsLeftToTheLibraryAndHasItsColours) {
  isOfTelevision = true;
  (void)Picture(heif_orientation_normal, "", false);
  EXPECT_FALSE(DecodeFast(Written(), 0));
  ExpectColours(Shown(64), {kRed, kGreen, kBlue, kWhite});
}

TEST_F(HeifTest, LargePreviewIsLeftToTheLibraryAndASmallOneIsNotTaken) {
  (void)Picture(heif_orientation_normal, "", true);
  EXPECT_FALSE(DecodeFast(Written(), kPreview));
  EXPECT_TRUE(DecodeFast(Written(), kPreview + 1));
}

TEST_F(HeifTest, UnitThatIsLongerThanThePictureIsNotTaken) {
  std::string bytes = Picture(heif_orientation_normal, "", false);
  const auto data = bytes.find("mdat");
  ASSERT_NE(data, std::string::npos);
  // The length of the first unit.
  for (std::size_t i = 4; i < 8; ++i) bytes[data + i] = '\x7f';
  EXPECT_FALSE(DecodeFast(folder.Write("damaged.heic", bytes), 0));
}

}  // namespace
