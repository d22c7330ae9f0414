#include "transfer/contentcrypto.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>

#include "knownkeys.h"
#include "support/temporaryfolder.h"
#include "transfer/upload/fileparamsconstruct.h"
#include "transfer/upload/galleryuploadtask.h"
#include "transfer/upload/uploadsource.h"
#include "utils/methodfunction.h"

namespace {

using ContentCrypto::FromHex;
using ContentCrypto::ToHex;

constexpr char kFoxCipher[] =
    "2d45a20b2ce89269b84ce59b521eb570f008b616bda9bb186d61908f1c57fb8f142ab31d6fa09dccb2ac238103b88505";

TEST(ContentCryptoTest, HexTakesEitherCaseAndRefusesTheRest) {
  EXPECT_EQ(FromHex("00aAFf"), std::string("\x00\xaa\xff", 3));
  EXPECT_EQ(FromHex("abc"), "");
  EXPECT_EQ(FromHex("zz"), "");
  EXPECT_EQ(ContentCrypto::ToUpperHex("\xab"), "AB");
}

TEST(ContentCryptoTest, KeyAndIvAreTheHalvesOfTheHmac) {
  const std::string masterKey = ContentCrypto::MasterKey(kMasterKey1);
  EXPECT_EQ(GalleryUploadTask::CalContentHmac(masterKey, kFox), kFoxHmac);
  const auto keys = ContentCrypto::KeysOfHmac(kFoxHmac);
  EXPECT_EQ(ToHex(keys.key), "19cef782d548b76d9e5e1b5c057dd9c1");
  EXPECT_EQ(ToHex(keys.iv), "f2817c1df3a626e4c5dfffc88e6e4304");
  EXPECT_FALSE(ContentCrypto::KeysOfHmac("").IsUsable());
}

TEST(ContentCryptoTest, EmptyFileHasAnHmacOverNothingAndOneBlockOfPadding) {
  EXPECT_EQ(GalleryUploadTask::CalContentHmac(ContentCrypto::MasterKey(kMasterKey1), ""),
            "07eff8b326b7798c9ccfcbdbe579489ac785a7995a04618b1a2813c26744777d");
  const auto keys = ContentCrypto::KeysOfHmac(kFoxHmac);
  EXPECT_EQ(ToHex(*ContentCrypto::Encrypt(keys.key, keys.iv, "")), "7d82b7b21f72e50737e9df3cafa05fc5");
}

TEST(ContentCryptoTest, FullBlocksGetAWholeBlockOfPadding) {
  const auto keys = ContentCrypto::KeysOfHmac(kFoxHmac);
  EXPECT_EQ(ToHex(*ContentCrypto::Encrypt(keys.key, keys.iv, "0123456789abcdef")),
            "c53cea73fcf72983bd5ac3c4023280ace8c5bb5a9111027176b3ae5fbbdecc54");
  EXPECT_EQ(ContentCrypto::PaddedSize(16), 32);
  EXPECT_EQ(ContentCrypto::PaddedSize(15), 16);
  EXPECT_EQ(ContentCrypto::PaddedSize(0), 16);
}

TEST(ContentCryptoTest, CipherRecordWrapsTheKeysTextWithBothKeysOfTheUser) {
  const Json::Value record = ContentCrypto::CipherRecord(kFoxHmac, KnownUser());
  EXPECT_EQ(record["algorithm"], "AES_128_CBC_PKCS5Padding");
  EXPECT_EQ(record["dataType"], 12);
  EXPECT_EQ(record["iv"], "f2817c1df3a626e4c5dfffc88e6e4304");
  EXPECT_EQ(record["hfek"], "1|f2817c1df3a626e4c5dfffc88e6e4304");
  ASSERT_EQ(record["keychains"].size(), 2u);
  const Json::Value& first = record["keychains"][0];
  EXPECT_EQ(first["type"], 1);
  EXPECT_EQ(first["algorithm"], "AES_128_CBC_PKCS5Padding");
  EXPECT_EQ(first["id"], "key-one");
  EXPECT_EQ(first["ekey"], kFoxKey1);
  const Json::Value& second = record["keychains"][1];
  EXPECT_EQ(second["type"], 3);
  EXPECT_EQ(second["algorithm"], "AES_256_CBC_PKCS5Padding");
  EXPECT_EQ(second["id"], "key-three");
  EXPECT_EQ(second["ekey"], kFoxKey3);
  EXPECT_TRUE(ContentCrypto::CipherRecord("", KnownUser()).isNull());
}

TEST(ContentCryptoTest, ResourceHashOfNoKeyIsEmpty) {
  EXPECT_EQ(ContentCrypto::ResourceHash("", kFoxHmac), "");
  EXPECT_EQ(ContentCrypto::ResourceHash("no key", kFoxHmac), "");
}

TEST(ContentCryptoTest, ResourceHashHas128Digits) {
  EXPECT_EQ(ContentCrypto::ResourceHash(kMasterKey2, kFoxHmac), kFoxResourceHash);
}

TEST(ContentCryptoTest, ThumbnailMd5Has64DigitsOfWhichTheLast32AreZero) {
  EXPECT_EQ(MethodFunction::Md5(kFox), "9e107d9d372bb6826bd81d3542a419d6" + std::string(32, '0'));
}

TEST(ContentCryptoTest, EitherKeyOfTheUserOpensTheContent) {
  GlobalParamWrapper::GetInstance()->SetUser(KnownUser(), L"");
  const std::string iv = "F2817C1DF3A626E4C5DFFFC88E6E4304";
  std::string data = FromHex(kFoxCipher), plain;
  EXPECT_TRUE(ContentCrypto::DecryptData(
      1,
      iv + "B55EEB8D1226EE0C2B9686AE8BAB7B30CD0C3B2299276159A53B303A0B0110C985159477C98201BF18CAFF7D61268462",
      iv, data, plain));
  EXPECT_EQ(plain, kFox);
  data = FromHex(kFoxCipher);
  EXPECT_TRUE(ContentCrypto::DecryptData(
      3,
      iv + "169BED0DEE94ADBDE4B6CA3ACED00C7C90B452B6E98EE4F3E18E5256E9E222C95821867A41BA816F8A47F5662787E245",
      iv, data, plain));
  EXPECT_EQ(plain, kFox);
}

TEST(ContentCryptoTest, WrongKeysTypesAndBytesAreRefused) {
  GlobalParamWrapper::GetInstance()->SetUser(KnownUser(), L"");
  const std::string iv = "f2817c1df3a626e4c5dfffc88e6e4304";
  const std::string wrapped =
      "B55EEB8D1226EE0C2B9686AE8BAB7B30CD0C3B2299276159A53B303A0B0110C985159477C98201BF18CAFF7D61268462";
  const std::string whole = FromHex(kFoxCipher);
  std::string data = whole, plain = "before", part = whole.substr(1), nothing;
  EXPECT_FALSE(ContentCrypto::DecryptData(0, iv + wrapped, iv, data, plain));
  EXPECT_FALSE(ContentCrypto::DecryptData(2, iv + wrapped, iv, data, plain));
  EXPECT_FALSE(ContentCrypto::DecryptData(3, iv + wrapped, iv, data, plain));
  EXPECT_FALSE(ContentCrypto::DecryptData(1, iv, iv, data, plain));
  EXPECT_FALSE(ContentCrypto::DecryptData(1, "", iv, data, plain));
  EXPECT_FALSE(ContentCrypto::DecryptData(1, iv + wrapped, "", data, plain));
  EXPECT_FALSE(ContentCrypto::DecryptData(1, iv + wrapped, iv, part, plain));
  EXPECT_FALSE(ContentCrypto::DecryptData(1, iv + wrapped, iv, nothing, plain));
  EXPECT_EQ(plain, "");
  EXPECT_EQ(data, whole) << "another key may open it";
}

TEST(ContentCryptoTest, BytesUnderAnotherKeyStayForTheNextAttempt) {
  const std::string whole = FromHex(kFoxCipher);
  std::string data = whole, plain;
  EXPECT_FALSE(ContentCrypto::DecryptDataByHmac(std::string(64, '0'), data, plain));
  EXPECT_EQ(data, whole);
  EXPECT_TRUE(ContentCrypto::DecryptDataByHmac(kFoxHmac, data, plain));
  EXPECT_EQ(plain, kFox);
}

TEST(ContentCryptoTest, HmacTextOpensTheContentToo) {
  std::string data = FromHex(kFoxCipher), plain;
  EXPECT_TRUE(ContentCrypto::DecryptDataByHmac(kFoxHmac, data, plain));
  EXPECT_EQ(plain, kFox);
  EXPECT_EQ(data, "");
  data = FromHex(kFoxCipher);
  EXPECT_FALSE(ContentCrypto::DecryptDataByHmac("", data, plain));
}

TEST(ContentCryptoTest, ThumbnailsWithoutAKeyGiveNothing) {
  UploadSource source;
  FileSliceCmdParamsV2 record;
  record.source = &source;
  EXPECT_EQ(AES_128_CBC_Thumb(record), "");
}

TEST(ContentCryptoTest, TwoUsersDiffer) {
  const std::string other(32, 'a');
  EXPECT_NE(GalleryUploadTask::CalContentHmac(ContentCrypto::MasterKey(other), kFox), kFoxHmac);
  EXPECT_NE(ContentCrypto::ResourceHash(other, kFoxHmac), kFoxResourceHash);
}

TEST(UploadSourceTest, OnePassGivesEveryDigest) {
  const TemporaryFolder folder;
  const auto path = folder.Write("fox", kFox);
  const auto thumbnail = folder.Write("thumbnail", "");
  UploadSource source;
  std::string failure;
  ASSERT_TRUE(source.Read(
      path, thumbnail, thumbnail, ContentCrypto::MasterKey(kMasterKey1), [] { return true; }, failure));
  EXPECT_EQ(source.size, 43);
  EXPECT_EQ(source.contentHmac, kFoxHmac);
  EXPECT_EQ(source.sha256, "d7a8fbb307d7809469ca9abcb0082e4f8d5651e46d3cdb762d02d0bf37c9e592");
  EXPECT_EQ(source.hashId, "fb011e6154a19b9a4c767373c305275a5a69e8b68b0b4c9200c383dced19a416");
}

TEST(UploadSourceTest, FileWithoutThumbnailsCannotBeRead) {
  const TemporaryFolder folder;
  const auto path = folder.Write("fox", kFox);
  UploadSource source;
  std::string failure;
  EXPECT_FALSE(source.Read(
      path, L"", L"", std::string(16, 'k'), [] { return true; }, failure));
  EXPECT_NE(failure.find("thumbnail"), std::string::npos);
}

class UploadSourceFailureTest : public testing::Test {
 protected:
  bool Read(
      const std::wstring& path, std::function<bool()> goOn = [] { return true; }) {
    return source.Read(path, thumbnail, thumbnail, std::string(16, 'k'), goOn, failure);
  }
  const TemporaryFolder folder;
  const std::wstring thumbnail = folder.Write("thumbnail", "");
  UploadSource source;
  std::string failure;
};

TEST_F(UploadSourceFailureTest, FileThatGoesAwayBetweenTwoPassesIsNoticed) {
  const auto path = folder.Write("fox", std::string(0x400000 + 1, 'x'));
  EXPECT_FALSE(Read(path, [&] {
    std::filesystem::remove(folder.Path() / "fox");
    return true;
  }));
  EXPECT_EQ(failure, "file does not exist");
}

TEST_F(UploadSourceFailureTest, SizeThatNobodyKnowsIsTold) {
  EXPECT_FALSE(Read(folder.Wide("nowhere")));
  EXPECT_EQ(failure, "GetFileHash error: GetFileSizeEx fail. filesize=-1");
}

TEST_F(UploadSourceFailureTest, FileThatGrowsIsRefused) {
  const auto path = folder.Write("fox", kFox);
  bool grown = false;
  EXPECT_FALSE(Read(path, [&] {
    if (!grown) std::ofstream(folder.Path() / "fox", std::ios::app) << "more";
    return grown = true;
  }));
  EXPECT_EQ(failure, "the file's size changes");
}

TEST(UploadSourceTest, SlicesTellOneChangedByteFromWhatWasRead) {
  const TemporaryFolder folder;
  const auto path = folder.Write("fox", kFox);
  const auto thumbnail = folder.Write("thumbnail", "");
  UploadSource source;
  std::string failure;
  ASSERT_TRUE(source.Read(
      path, thumbnail, thumbnail, ContentCrypto::MasterKey(kMasterKey1), [] { return true; }, failure));
  const auto keys = ContentCrypto::KeysOfHmac(kFoxHmac);
  const auto readAgain = [&] {
    ChangeCheck plain;
    EXPECT_TRUE(GetEncryptSliceHash(path, keys.key, keys.iv, 32, 0, plain).isWhole);
    EXPECT_TRUE(GetEncryptSliceHash(path, keys.key, keys.iv, 11, 32, plain).isWhole);
    return plain.SawTheSameAs(source.bytes);
  };
  EXPECT_TRUE(readAgain());
  std::string changed = kFox;
  changed.back() ^= 1;
  folder.Write("fox", changed);
  EXPECT_FALSE(readAgain());
}

TEST(UploadSourceTest, SliceIsAStreamOfItsOwnAndDigestedAsItIsSent) {
  const TemporaryFolder folder;
  const auto path = folder.Write("three", "????0123456789abcdef????");
  const auto keys = ContentCrypto::KeysOfHmac(kFoxHmac);
  ChangeCheck plain;
  const EncryptedSlice slice = GetEncryptSliceHash(path, keys.key, keys.iv, 16, 4, plain);
  ASSERT_TRUE(slice.isWhole);
  EXPECT_EQ(ToHex(slice.bytes), "c53cea73fcf72983bd5ac3c4023280ace8c5bb5a9111027176b3ae5fbbdecc54");
  EXPECT_EQ(slice.md5, "3146bdc7b20e1b70e168a0fa32ae9eb0");
  EXPECT_EQ(slice.sha256, "4186da79775990f426a4a21aabed48c455e8459a5219d5e42926b70a262d0622");
  // A range past the end is cut there.
  EXPECT_EQ(GetEncryptSliceHash(path, keys.key, keys.iv, 100, 24, plain).bytes.size(), 16u);
  EXPECT_FALSE(GetEncryptSliceHash(L"/nowhere", keys.key, keys.iv, 16, 0, plain).isWhole);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kNoMemoryThrows = false;  // It ends the process there.
#else
constexpr bool kNoMemoryThrows = true;
#endif

TEST(UploadSourceTest, SliceWithoutMemoryIsNotWhole) {
  if (!kNoMemoryThrows) GTEST_SKIP() << "a sanitizer ends the process without memory";
  const TemporaryFolder folder;
  const auto path = folder.Write("fox", kFox);
  const auto keys = ContentCrypto::KeysOfHmac(kFoxHmac);
  constexpr std::int64_t kNobodyHas = std::numeric_limits<std::int64_t>::max() - 64;
  ChangeCheck plain;
  EXPECT_FALSE(GetEncryptSliceHash(path, keys.key, keys.iv, kNobodyHas, 0, plain).isWhole);
}

TEST(UploadMimeTypeTest, ServiceNamesSomeTypesItsOwnWay) {
  EXPECT_EQ(UploadMimeType(L".wmv"), "audio/x-ms-wmv");
  EXPECT_EQ(UploadMimeType(L".nef"), "image/nef");
  EXPECT_EQ(UploadMimeType(L".ico"), "image/x-ico");
  EXPECT_EQ(UploadMimeType(L".mp3"), "audio/x-mpeg");
  for (const wchar_t* extension : {L".rar", L".bin", L".class", L".exe"})
    EXPECT_EQ(UploadMimeType(extension), "application/octet-stream");
  EXPECT_EQ(UploadMimeType(L".3gp"), "video/3gpp");
  EXPECT_EQ(UploadMimeType(L".arw"), "image/x-sony-arw");
  EXPECT_EQ(UploadMimeType(L".dng"), "image/x-adobe-dng");
  EXPECT_EQ(UploadMimeType(L".mp4"), "video/mp4");
  EXPECT_EQ(UploadMimeType(L".mov"), "video/quicktime");
  EXPECT_EQ(UploadMimeType(L".unknown"), "");
  EXPECT_EQ(UploadMimeType(L""), "");
}

}  // namespace
