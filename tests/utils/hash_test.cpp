#include <gmock/gmock.h>

#include "common/platform/clock.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsonfile.h"
#include "tests/support/temporaryfolder.h"
#include "utils/encrypthelper.h"
#include "utils/methodfunction.h"
#include "utils/streamdigest.h"

namespace {

using ::testing::MatchesRegex;

// Longer than two passes, so that passes have to be joined. Digests from
// sha256sum, md5sum and python's hmac.
std::string TenMillionLetters() { return std::string(10'000'000, 'a'); }

struct FixedClock : platform::Clock {
  explicit FixedClock(std::int64_t value) : ticks(value) { Replace(this); }
  ~FixedClock() override { Replace(nullptr); }
  std::int64_t Ticks() const override { return ticks; }
  std::int64_t ticks;
};

TEST(Hash, Sha256OfPublishedMessages) {
  EXPECT_EQ(MethodFunction::Sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(MethodFunction::Sha256("abc"),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(MethodFunction::Sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST(Hash, FileDigestsOfSeveralPasses) {
  const TemporaryFolder folder;
  const auto path = folder.Write("letters.bin", TenMillionLetters());
  const std::string sha256 = "01f4a87c04b40af59aadc0e812293509709c9a8763a60b7f9e19303322f8b03c";
  EXPECT_EQ(MethodFunction::FileSha256(path), sha256);
  EXPECT_EQ(EncryptHelper::FileSha256(path), sha256);
  EXPECT_EQ(MethodFunction::FileMd5(path), "7095BAE098259E0DDA4B7ACC624DE4E2");
  EXPECT_EQ(MethodFunction::FileHashId(path),
            "f2f2619887b4f53a400a247ec1d33d04a42e357a65df266677496ec1791258b0");
}

TEST(Hash, FileDigestsOfPublishedMessages) {
  const TemporaryFolder folder;
  EXPECT_EQ(MethodFunction::FileMd5(folder.Write("empty", "")), "D41D8CD98F00B204E9800998ECF8427E");
  EXPECT_EQ(MethodFunction::FileMd5(folder.Write("abc", "abc")), "900150983CD24FB0D6963F7D28E17F72");
  EXPECT_EQ(MethodFunction::FileHashId(folder.Wide("empty")),
            "b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad");
  EXPECT_EQ(MethodFunction::FileHashId(folder.Wide("abc")),
            "fd7adb152c05ef80dccf50a1fa4c05d5a3ec6da95575fc312ae7c5d091836351");
  EXPECT_EQ(EncryptHelper::FileSha256(folder.Wide("empty")), MethodFunction::Sha256(""));
}

TEST(Hash, FileThatCannotBeReadGivesEmptyText) {
  const TemporaryFolder folder;
  for (const auto& path : {folder.Wide("missing"), folder.Wide("."), std::wstring()}) {
    EXPECT_EQ(MethodFunction::FileSha256(path), "");
    EXPECT_EQ(MethodFunction::FileMd5(path), "");
    EXPECT_EQ(MethodFunction::FileHashId(path), "");
    EXPECT_EQ(EncryptHelper::FileSha256(path), "");
  }
}

// RFC 4231, cases 1, 2 and 6; the last key is longer than a block.
TEST(Hash, HmacOfPublishedMessages) {
  const auto hmac = [](std::string_view key, std::string_view message) {
    StreamDigest digest = StreamDigest::Hmac(key);
    digest.Update(message);
    return digest.Finish();
  };
  EXPECT_EQ(hmac(std::string(20, '\x0b'), "Hi There"),
            "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7");
  EXPECT_EQ(hmac("Jefe", "what do ya want for nothing?"),
            "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
  EXPECT_EQ(hmac(std::string(131, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First"),
            "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
}

// The check value of this CRC, and values of python's zlib.crc32.
TEST(Hash, Crc32OfKnownTexts) {
  EXPECT_EQ(MethodFunction::Crc32("123456789"), 0xCBF43926u);
  EXPECT_EQ(MethodFunction::Crc32(""), 0u);
  EXPECT_EQ(MethodFunction::Crc32("\xe7\x9b\xae\xe5\xbd\x95"), 0xCFC657DBu);
}

TEST(Guid, HasThirtySixUpperCaseCharacters) {
  const std::string guid = MethodFunction::NewGuid();
  EXPECT_EQ(guid.size(), 36u);
  EXPECT_THAT(guid, MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}"));
  EXPECT_NE(guid, MethodFunction::NewGuid());
}

TEST(CurrentTime, IsRoundedTowardsZero) {
  EXPECT_EQ((FixedClock(17'182'450'509'999), MethodFunction::CurrentTime()), 1'718'245'050);
  EXPECT_EQ((FixedClock(9'999), MethodFunction::CurrentTime()), 0);
  EXPECT_EQ((FixedClock(-9'999), MethodFunction::CurrentTime()), 0);
  EXPECT_EQ((FixedClock(-25'000), MethodFunction::CurrentTime()), -2);
}

TEST(GalleryFunction, IsOffWhenItIsAmongTheClosedOnes) {
  const TemporaryFolder profile;
  platform::SetProfileRoot(profile / "");
  GlobalParamWrapper::GetInstance()->Load();
  EXPECT_FALSE(MethodFunction::IsDisableTheGllaryFunction());
  std::filesystem::create_directories(JsonFile::Folder());
  std::ofstream(JsonFile::Folder() / "settings.json") << R"({"closedFunctions":["gallery"]})";
  GlobalParamWrapper::GetInstance()->Load();
  EXPECT_TRUE(MethodFunction::IsDisableTheGllaryFunction());
  platform::SetProfileRoot({});
  GlobalParamWrapper::GetInstance()->Load();
}

}  // namespace
