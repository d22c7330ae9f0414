#include "utils/mediatypes.h"

#include <gtest/gtest.h>

#include "utils/methodfunction.h"

namespace {

TEST(MediaTypes, KnowsPicturesAndVideosInAnyCase) {
  for (const auto* extension :
       {L".mp4", L".3g2", L".3gp", L".asf", L".avi", L".m4v", L".mkv", L".mov", L".wmv", L".MoV"}) {
    EXPECT_TRUE(IsVideoExtension(extension)) << extension;
    EXPECT_FALSE(IsPictureExtension(extension)) << extension;
    EXPECT_EQ(SavedFileTypeOf(extension), 4) << extension;
  }
  for (const auto* extension : {L".jpg", L".jpeg", L".png", L".bmp", L".gif", L".heic", L".nef", L".HEIC"}) {
    EXPECT_TRUE(IsPictureExtension(extension)) << extension;
    EXPECT_FALSE(IsVideoExtension(extension)) << extension;
    EXPECT_EQ(SavedFileTypeOf(extension), 1) << extension;
  }
}

TEST(MediaTypes, RefusesOtherExtensions) {
  for (const auto* extension : {L"", L".", L"jpg", L"mp4", L".jpg ", L".txt", L".mp", L".mp44"}) {
    EXPECT_FALSE(IsPictureExtension(extension)) << extension;
    EXPECT_FALSE(IsVideoExtension(extension)) << extension;
    EXPECT_EQ(SavedFileTypeOf(extension), 1) << extension;
  }
}

TEST(MimeType, IsLookedUpBySmallLetters) {
  EXPECT_EQ(MethodFunction::MimeType(L".jpg"), "image/jpeg");
  EXPECT_EQ(MethodFunction::MimeType(L".JPEG"), "image/jpeg");
  EXPECT_EQ(MethodFunction::MimeType(L".Mp4"), "video/mp4");
  EXPECT_EQ(MethodFunction::MimeType(L".mov"), "video/quicktime");
  EXPECT_EQ(MethodFunction::MimeType(L".3gp"), "video/3gpp");
  EXPECT_EQ(MethodFunction::MimeType(L".3g2"), "video/3gpp2");
  EXPECT_EQ(MethodFunction::MimeType(L".arw"), "image/x-sony-arw");
  EXPECT_EQ(MethodFunction::MimeType(L".dng"), "image/x-adobe-dng");
  EXPECT_EQ(MethodFunction::MimeType(L".nef"), "image/nef");
  EXPECT_EQ(MethodFunction::MimeType(L".cr2"), "image/cr2");
  EXPECT_EQ(MethodFunction::MimeType(L".pef"), "image/x-pentax-pef");
  EXPECT_EQ(MethodFunction::MimeType(L".rw2"), "image/x-panasonic-raw");
  EXPECT_EQ(MethodFunction::MimeType(L".heic"), "image/heic");
  EXPECT_EQ(MethodFunction::MimeType(L".heif"), "image/heif");
  EXPECT_EQ(MethodFunction::MimeType(L".avif"), "image/avif");
}

TEST(MimeType, OfUnknownExtensionIsOctetStream) {
  for (const auto* extension : {L"", L".", L"jpg", L".zzz", L".0", L".xyz"}) {
    EXPECT_EQ(MethodFunction::MimeType(extension), "application/octet-stream") << extension;
  }
}

TEST(MimeType, EveryUploadableExtensionHasOne) {
  for (const auto* extension : {L".jpg", L".jpeg", L".png", L".bmp", L".gif", L".heic", L".nef"}) {
    EXPECT_EQ(MethodFunction::MimeType(extension).rfind("image/", 0), 0u) << extension;
  }
  for (const auto* extension :
       {L".mp4", L".3g2", L".3gp", L".asf", L".avi", L".m4v", L".mkv", L".mov", L".wmv"}) {
    EXPECT_EQ(MethodFunction::MimeType(extension).rfind("video/", 0), 0u) << extension;
  }
}

}  // namespace
