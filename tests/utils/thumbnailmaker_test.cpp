#include "utils/thumbnailmaker.h"

#include <gtest/gtest.h>
#include <vips/vips.h>

#include <random>

#include "common/platform/files.h"
#include "tests/support/picturefiles.h"
#include "tests/support/temporaryfolder.h"

namespace {

struct Rgb {
  int red = 0;
  int green = 0;
  int blue = 0;
};

bool IsRed(const Rgb& color) { return color.red > 200 && color.green < 60 && color.blue < 60; }

// The thumbnail as the tests see it: decoded by its plain numbers, not turned.
class Thumbnail {
 public:
  explicit Thumbnail(const std::wstring& path)
      : image(vips_image_new_from_file(platform::NativePath(path).c_str(), nullptr)) {}
  ~Thumbnail() {
    if (image) g_object_unref(image);
  }
  Thumbnail(const Thumbnail&) = delete;
  Thumbnail& operator=(const Thumbnail&) = delete;

  int Width() const { return image ? image->Xsize : 0; }
  int Height() const { return image ? image->Ysize : 0; }
  bool HasExif() const { return image && vips_image_get_typeof(image, "exif-data") != 0; }
  std::string Loader() const {
    const char* loader = nullptr;
    return image && vips_image_get_string(image, "vips-loader", &loader) == 0 ? loader : "";
  }
  // The color in the middle of one quarter: 0 left or upper, 1 right or lower.
  Rgb Quarter(int column, int row) const {
    double* values = nullptr;
    int count = 0;
    Rgb color;
    if (!image || vips_getpoint(image, &values, &count, Width() * (1 + 2 * column) / 4,
                                Height() * (1 + 2 * row) / 4, nullptr) != 0) {
      return color;
    }
    if (count == 3)
      color = {static_cast<int>(values[0]), static_cast<int>(values[1]), static_cast<int>(values[2])};
    g_free(values);
    return color;
  }

 private:
  VipsImage* image;
};

class ThumbnailMakerTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    VIPS_INIT("test");
    // The same path is read again and again: what was there before must not be kept.
    vips_cache_set_max(0);
  }

  bool Make(std::string_view name, const std::string& bytes, int longEdge = 32) {
    return MakeThumbnail(folder.Write(name, bytes), target, longEdge);
  }
  bool TargetExists() const { return std::filesystem::exists(platform::NativePath(target)); }

  TemporaryFolder folder;
  TemporaryFolder cache;
  std::wstring target = cache.Wide("thumbnail.jpg");
};

// Where the stored upper left corner stands when the picture is upright, by the
// EXIF standard's table of "0th row, 0th column".
TEST_F(ThumbnailMakerTest, AllOrientationsAreUpright) {
  const int corners[9][2] = {{0, 0}, {0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}, {1, 0}, {1, 1}, {0, 1}};
  for (unsigned orientation = 1; orientation <= 8; ++orientation) {
    ASSERT_TRUE(Make("picture.jpg", JpegWith(Exif({ShortTag(274, orientation)}), 128, 96))) << orientation;
    const Thumbnail thumbnail(target);
    EXPECT_EQ(thumbnail.Width(), orientation < 5 ? 32 : 24) << orientation;
    EXPECT_EQ(thumbnail.Height(), orientation < 5 ? 24 : 32) << orientation;
    EXPECT_FALSE(thumbnail.HasExif());
    for (int corner = 0; corner < 4; ++corner) {
      const bool marked = corner % 2 == corners[orientation][0] && corner / 2 == corners[orientation][1];
      EXPECT_EQ(IsRed(thumbnail.Quarter(corner % 2, corner / 2)), marked) << orientation << " " << corner;
    }
  }
}

TEST_F(ThumbnailMakerTest, SmallPicturesAreNotEnlarged) {
  ASSERT_TRUE(Make("picture.jpg", JpegWith("", 20, 10), 256));
  EXPECT_EQ(Thumbnail(target).Width(), 20);
  EXPECT_EQ(Thumbnail(target).Height(), 10);
}

TEST_F(ThumbnailMakerTest, BitmapIsReadFromTheBottom) {
  ASSERT_TRUE(Make("picture.bmp", Bmp(61, 40)));
  const Thumbnail thumbnail(target);
  EXPECT_EQ(thumbnail.Loader(), "jpegload");
  EXPECT_EQ(thumbnail.Width(), 32);
  EXPECT_TRUE(IsRed(thumbnail.Quarter(0, 0)));
  EXPECT_GT(thumbnail.Quarter(0, 1).blue, 200);
}

TEST_F(ThumbnailMakerTest, RawFileShowsItsPreviewUpright) {
  ASSERT_TRUE(Make("picture.nef", RawWithPreview(8)));
  const Thumbnail thumbnail(target);
  EXPECT_EQ(thumbnail.Width(), 24);
  EXPECT_EQ(thumbnail.Height(), 32);
  EXPECT_TRUE(IsRed(thumbnail.Quarter(0, 1)));
  EXPECT_FALSE(IsRed(thumbnail.Quarter(0, 0)));
}

TEST_F(ThumbnailMakerTest, TransparencyBecomesWhite) {
  const std::string path = (folder / "clear.png").string();
  VipsImage* clear = nullptr;
  ASSERT_EQ(vips_black(&clear, 40, 40, "bands", 4, nullptr), 0);
  VipsImage* colored = nullptr;
  ASSERT_EQ(vips_copy(clear, &colored, "interpretation", VIPS_INTERPRETATION_sRGB, nullptr), 0);
  ASSERT_EQ(vips_pngsave(colored, path.c_str(), nullptr), 0);
  g_object_unref(clear);
  g_object_unref(colored);
  ASSERT_TRUE(MakeThumbnail(folder.Wide("clear.png"), target, 32));
  EXPECT_GT(Thumbnail(target).Quarter(0, 0).green, 250);
}

TEST_F(ThumbnailMakerTest, FolderOfTheTargetIsMade) {
  target = cache.Wide("a/b/thumbnail.jpg");
  ASSERT_TRUE(Make("picture.jpg", JpegWith("")));
  EXPECT_EQ(Thumbnail(target).Width(), 32);
}

TEST_F(ThumbnailMakerTest, ExistingFileIsReplaced) {
  cache.Write("thumbnail.jpg", "old");
  ASSERT_TRUE(Make("picture.jpg", JpegWith("")));
  EXPECT_EQ(Thumbnail(target).Width(), 32);
  EXPECT_EQ(cache.EntryCount(), 1u);
}

TEST_F(ThumbnailMakerTest, FolderNamedAsTheTargetMakesItFail) {
  std::filesystem::create_directory(cache / "thumbnail.jpg");
  EXPECT_FALSE(Make("picture.jpg", JpegWith("")));
  EXPECT_TRUE(std::filesystem::is_directory(cache / "thumbnail.jpg"));
  EXPECT_EQ(cache.EntryCount(), 1u);
}

TEST_F(ThumbnailMakerTest, SourceIsNeverReplaced) {
  const std::string jpeg = JpegWith("");
  const auto source = folder.Write("picture.jpg", jpeg);
  std::filesystem::create_symlink(folder / "picture.jpg", folder / "link.jpg");
  std::filesystem::create_hard_link(folder / "picture.jpg", folder / "hard.jpg");
  for (const char* same : {"picture.jpg", "./picture.jpg", "link.jpg", "hard.jpg"}) {
    EXPECT_FALSE(MakeThumbnail(source, folder.Wide(same), 32)) << same;
    std::string content;
    EXPECT_FALSE(platform::ReadFile(folder / "picture.jpg", content));
    EXPECT_EQ(content, jpeg);
  }
}

TEST_F(ThumbnailMakerTest, FailureKeepsTheOldThumbnail) {
  cache.Write("thumbnail.jpg", "old");
  EXPECT_FALSE(Make("picture.jpg", "no picture"));
  EXPECT_TRUE(TargetExists());
  EXPECT_EQ(cache.EntryCount(), 1u);
}

TEST_F(ThumbnailMakerTest, FilesThatAreNoPicturesFailAndLeaveNothing) {
  std::mt19937 random(11);
  std::string noise(20'000, '\0');
  for (char& byte : noise) byte = static_cast<char>(random());
  const std::string jpeg = JpegWith("");
  for (const std::string& bytes :
       {std::string(), std::string("text"), noise, jpeg.substr(0, 20), "BM" + noise,
        "GIF89a" + noise.substr(0, 4), std::string("\x89PNG\r\n\x1a\n") + noise}) {
    for (const char* name : {"a.jpg", "a.bmp", "a.gif", "a.heic", "a.nef", "a.mp4", "a.avi", "a.mkv"}) {
      EXPECT_FALSE(Make(name, bytes)) << name;
    }
  }
  EXPECT_FALSE(MakeThumbnail(folder.Wide("missing.jpg"), target, 32));
  EXPECT_FALSE(MakeThumbnail(folder.Wide("missing.mp4"), target, 32));
  EXPECT_FALSE(MakeThumbnail(folder.Wide("."), target, 32));
  EXPECT_FALSE(MakeThumbnail(folder.Write("good.jpg", jpeg), target, 0));
  EXPECT_EQ(cache.EntryCount(), 0u);
}

// Every cut either gives a picture with a grey rest or fails; nothing crashes.
TEST_F(ThumbnailMakerTest, TruncatedFilesNeverCrash) {
  const std::string jpeg = JpegWith(Exif({ShortTag(274, 6)}));
  const std::string raw = RawWithPreview(1);
  const std::string bitmap = Bmp(20, 20);
  for (int part = 1; part < 40; ++part) {
    const auto cut = [part](const std::string& whole) {
      return whole.substr(0, whole.size() * static_cast<std::size_t>(part) / 40);
    };
    (void)Make("cut.jpg", cut(jpeg));
    (void)Make("cut.nef", cut(raw));
    (void)Make("cut.bmp", cut(bitmap));
  }
  EXPECT_LE(cache.EntryCount(), 1u);
}

TEST_F(ThumbnailMakerTest, FlippedBytesNeverCrash) {
  std::mt19937 random(5);
  const std::vector<std::pair<std::string, std::string>> files = {
      {"flip.jpg", JpegWith(Exif({ShortTag(274, 6), TextTag(271, "Maker")}, {RationalTag(33434, 1, 125)}))},
      {"flip.nef", RawWithPreview(1)},
      {"flip.bmp", Bmp(20, 20)}};
  for (int round = 0; round < 60; ++round) {
    for (auto [name, bytes] : files) {
      for (int flip = 0; flip < 8; ++flip) bytes[random() % bytes.size()] = static_cast<char>(random());
      (void)Make(name, bytes);
    }
  }
  EXPECT_LE(cache.EntryCount(), 1u);
}

TEST_F(ThumbnailMakerTest, ClaimsBeyondTheLimitsAreRefused) {
  EXPECT_FALSE(Make("bomb.png", PngClaiming(60000, 60000)));
  EXPECT_FALSE(Make("bomb.png", PngClaiming(20000, 20000, true)));
  std::string bitmap = Bmp(2, 2);
  bitmap.replace(18, 8, Long(60000) + Long(60000));
  EXPECT_FALSE(Make("bomb.bmp", bitmap));
  EXPECT_EQ(cache.EntryCount(), 0u);
}

TEST_F(ThumbnailMakerTest, ProgressivePicturesHaveABoundedNumberOfScans) {
  const std::string jpeg = ProgressiveJpeg(64, 48);
  ASSERT_TRUE(Make("progressive.jpg", jpeg));
  EXPECT_TRUE(IsRed(Thumbnail(target).Quarter(0, 0)));
  // The markers count wherever they stand, so a comment full of them will do.
  std::string comment("\xff\xfe\x01\x92", 4);
  for (int i = 0; i < 200; ++i) comment += "\xff\xda";
  EXPECT_FALSE(Make("bomb.jpg", jpeg.substr(0, 2) + comment + jpeg.substr(2)));
}

TEST_F(ThumbnailMakerTest, ManyThreadsMakeTheirOwn) {
  const auto source = folder.Write("picture.jpg", JpegWith("", 640, 480));
  std::atomic<int> made{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = 0; i < 20; ++i) {
        made += MakeThumbnail(source, cache.Wide(std::to_string(thread * 20 + i) + ".jpg"), 64) ? 1 : 0;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(made, 80);
  EXPECT_EQ(cache.EntryCount(), 80u);
}

}  // namespace
