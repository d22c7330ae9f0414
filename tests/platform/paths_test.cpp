#include "common/platform/paths.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <optional>

#include "tests/support/temporaryfolder.h"

namespace {

namespace fs = std::filesystem;
using platform::DisplayText;
using platform::NativePath;
using platform::WidePath;

// Sets a variable for the length of a test; a null value removes it.
class ScopedVariable {
 public:
  ScopedVariable(const char* variable, const char* value) : name(variable) {
    if (const char* present = std::getenv(variable)) before = present;
    value ? ::setenv(variable, value, 1) : ::unsetenv(variable);
  }
  ~ScopedVariable() { before ? ::setenv(name, before->c_str(), 1) : ::unsetenv(name); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  const char* name;
  std::optional<std::string> before;
};

const std::string kNastyNames[] = {
    "plain.jpg",
    "back\\slash.jpg",
    "\\",
    "\\\\",
    "..\\..\\up.jpg",
    "\xE4\xB8\xAD\xE6\x96\x87.jpg",                      // Chinese
    "\xE0\xB8\xA0\xE0\xB8\xB2\xE0\xB8\x9E.jpg",          // Thai
    "\xF0\x9F\x98\x80\xF0\x9F\x91\xA9\xE2\x80\x8D.jpg",  // emoji with a joiner
    "latin1-\xE4\xF6\xFC.jpg",                           // bytes that are no UTF-8
    "\xF0\x9F\x98",                                      // the beginning of a character
    "\xED\xA0\x80.jpg",                                  // an encoded surrogate
    "\xEF\x80\x80\xEF\x81\x9C\xEF\x83\xBF",              // U+F000, U+F05C, U+F0FF
    "\xEF\x81\x9C\\\xEF\x82\x80\x80",                    // genuine ones beside stand-ins
    "new\nline\ttab\x01\x7F",
    "a:b*c?d<e>f|g\"h. ",
    "\xEF\xBF\xBD\xEF\xBF\xBF",
};

TEST(PathsTest, EveryNameSurvivesTheRoundTrip) {
  for (const std::string& name : kNastyNames) {
    const fs::path native = fs::path("/photos") / name;
    EXPECT_EQ(NativePath(WidePath(native)).string(), native.string());
  }
}

TEST(PathsTest, EverySingleByteSurvivesTheRoundTrip) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string name(1, static_cast<char>(byte));
    EXPECT_EQ(NativePath(WidePath(name)).string(), name) << byte;
  }
}

TEST(PathsTest, FilesWithNastyNamesAreFoundAgain) {
  const TemporaryFolder folder;
  for (const std::string& name : kNastyNames) {
    const fs::path native = folder / name;
    std::ofstream(native) << name;
    ASSERT_TRUE(fs::exists(native)) << name;
    EXPECT_TRUE(fs::exists(NativePath(WidePath(native)))) << name;
  }
}

TEST(PathsTest, WidePathKeepsSeparatorsAndMapsBytes) {
  EXPECT_EQ(WidePath("/a/b\\c"), L"/a/b\uF05Cc");
  EXPECT_EQ(WidePath("\xFF"), L"\uF0FF");
  EXPECT_EQ(WidePath("\xEF\x81\x9C"), L"\uF0EF\uF081\uF09C");
  EXPECT_EQ(WidePath("\xEF\x84\x80\xEE\xBF\xBF"), L"\uF100\uEFFF");
}

TEST(PathsTest, BothSeparatorsOfTheModelSeparate) {
  EXPECT_EQ(NativePath(L"/cache\\Thumbnail\\a.jpg").string(), "/cache/Thumbnail/a.jpg");
  EXPECT_EQ(NativePath(L"/a\uF05Cb").string(), "/a\\b");
}

TEST(PathsTest, ForeignStandInsCannotLeaveTheFolder) {
  // U+F000 + "." and + "/" are never made from a name, so they are plain characters.
  EXPECT_EQ(NativePath(L"\uF02E\uF02E\uF02Fetc").string(),
            "\xEF\x80\xAE\xEF\x80\xAE\xEF\x80\xAF"
            "etc");
  EXPECT_EQ(NativePath(std::wstring_view(L"a\0b", 3)).string(),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(NativePath(L"\uF000").string(), "\xEF\x80\x80");
}

TEST(PathsTest, FileNameFollowsTheLastSeparatorOfEitherKind) {
  EXPECT_EQ(platform::WideFileName(L"/a\\b/c.jpg"), L"c.jpg");
  EXPECT_EQ(platform::WideFileName(L"/a/b\\c.jpg"), L"c.jpg");
  EXPECT_EQ(platform::WideFileName(L"c.jpg"), L"c.jpg");
  EXPECT_EQ(platform::WideFileName(L"/a/"), L"");
  EXPECT_EQ(platform::WideFileName(L"/a/b\uF05Cc"), L"b\uF05Cc");
}

TEST(PathsTest, ExtensionIsFoldedAndKeepsItsDot) {
  EXPECT_EQ(platform::WideExtension(L"/a.b/IMG.JPG"), L".jpg");
  EXPECT_EQ(platform::WideExtension(L"/a.b/IMG"), L"");
  EXPECT_EQ(platform::WideExtension(L"a.tar.GZ"), L".gz");
  EXPECT_EQ(platform::WideExtension(L"a."), L".");
  EXPECT_EQ(platform::WideExtension(L".nef"), L".nef");
}

TEST(PathsTest, DisplayTextShowsTheCharacterBehindAStandIn) {
  EXPECT_EQ(DisplayText(WidePath("back\\slash")), "back\\slash");
  EXPECT_EQ(DisplayText(WidePath("\xEF\x81\x9C")), "\xEF\x81\x9C");
  EXPECT_EQ(DisplayText(WidePath("gr\xFC\xDF")), "gr\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(DisplayText(L"\u4E2D.jpg"), "\xE4\xB8\xAD.jpg");
}

TEST(PathsTest, DisplayTextCannotSteerATerminal) {
  EXPECT_EQ(DisplayText(L"\x1b[2J\n\x7f"), "\xE2\x90\x9B[2J\xE2\x90\x8A\xE2\x90\xA1");
}

TEST(PathsTest, RootsFollowTheEnvironment) {
  const ScopedVariable data("XDG_DATA_HOME", "/xdg/data");
  const ScopedVariable cache("XDG_CACHE_HOME", nullptr);
  const ScopedVariable config("XDG_CONFIG_HOME", "not/absolute");
  const ScopedVariable home("HOME", "/home/someone");
  EXPECT_EQ(platform::DataRoot(), "/xdg/data");
  EXPECT_EQ(platform::CacheRoot(), "/home/someone/.cache");
  EXPECT_EQ(platform::ConfigRoot(), "/home/someone/.config");
  EXPECT_EQ(platform::HomeFolder(), "/home/someone");
}

TEST(PathsTest, UserDirsNamePicturesAndDownloads) {
  const TemporaryFolder folder;
  const ScopedVariable config("XDG_CONFIG_HOME", folder.Path().c_str());
  const ScopedVariable home("HOME", "/home/someone");
  std::ofstream(folder / "user-dirs.dirs") << "# comment\nXDG_PICTURES_DIR=\"$HOME/My \\\"Bilder\\\"/\"\n"
                                           << "XDG_DOWNLOAD_DIR=\"/srv/down\"\n";
  EXPECT_EQ(platform::PicturesFolder(), "/home/someone/My \"Bilder\"");
  EXPECT_EQ(platform::DownloadsFolder(), "/srv/down");
}

TEST(PathsTest, UnusableUserDirsFallBack) {
  const TemporaryFolder folder;
  const ScopedVariable config("XDG_CONFIG_HOME", folder.Path().c_str());
  const ScopedVariable home("HOME", "/home/someone");
  EXPECT_EQ(platform::PicturesFolder(), "/home/someone/Pictures");
  std::ofstream(folder / "user-dirs.dirs") << "XDG_PICTURES_DIR=\"$HOME/\"\nXDG_DOWNLOAD_DIR=relative\n";
  EXPECT_EQ(platform::PicturesFolder(), "/home/someone/Pictures");
  EXPECT_EQ(platform::DownloadsFolder(), "/home/someone/Downloads");
}

TEST(PathsTest, ProfilePutsAllStateUnderOneFolder) {
  const ScopedVariable data("XDG_DATA_HOME", "/xdg/data");
  platform::SetProfileRoot("/profiles/one");
  EXPECT_EQ(platform::DataRoot(), "/profiles/one/data");
  EXPECT_EQ(platform::CacheRoot(), "/profiles/one/cache");
  EXPECT_EQ(platform::ConfigRoot(), "/profiles/one/config");
  EXPECT_EQ(platform::DownloadsFolder(), "/profiles/one/downloads");
  EXPECT_EQ(platform::HomeFolder(), "/profiles/one");
  platform::SetProfileRoot({});
  EXPECT_EQ(platform::DataRoot(), "/xdg/data");
}

TEST(PathsTest, RelativeProfileDoesNotFollowLaterChangesOfFolder) {
  platform::SetProfileRoot("relative");
  const fs::path expected = fs::current_path() / "relative/data";
  const fs::path before = fs::current_path();
  fs::current_path("/");
  EXPECT_EQ(platform::DataRoot(), expected);
  fs::current_path(before);
  platform::SetProfileRoot({});
}

}  // namespace
