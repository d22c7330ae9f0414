#include "host/account/wrappedkeys.h"

#include <gtest/gtest.h>

#include "host/base/hexadecimal.h"

namespace {

constexpr char kUser[] = "user-1";

// Sealed with HChaCha20 written out in Python (checked against section 2.2.1 of
// draft-irtf-cfrg-xchacha-03) and the ChaCha20-Poly1305 of its package
// "cryptography", under the wrapping key of "alice" and "wonderland", the nonce
// 00 01 .. 17 and the associated data "user-1".
constexpr char kSealed[] =
    "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXh0ua2cfgSO/MwIVExJqvOp8GQbVxXFv4Bt8R0A5yssf4OaFC6r56Ivdqi7jQMOka8/"
    "xB+RTZG6"
    "nahTHwtpHw3mkvmH39TWdD7DnGh+Bxq/"
    "PqrcASeFrU8uyltdEAGJKIw4r8KvEUoY1inSAkgQFm5BYngvU3ThYJHWsKN8TbHJH0HdOTWi+0"
    "1IpTzmyQePZkj2YFvrfFg8RNoT+y5QophQIKz1Uta+2GwcnhLILCspy9m1J1OMdWn3TW2oVxW+rkyaKR+"
    "skHB8qkG0oeI3DlSQs4GYuId+"
    "AY0G2G2bvZ3XpKL2LUzlfZhbdUtoqofxAWA5zykUo1l9ySasCN+W9LxSSATbX1tK2739k119GNpARbbSGqAXtEkIEewuheq/"
    "4QNHHttVBn"
    "t09iNDZ7nrtdCCwZIdMrA6LZYXh9UoY8x8KHTPhOkSQvCN97Fe7x4yJAtEGU30nN6AboxpK9SeCfZdodPHHAycvTYHpYaw4SEmB6eklD"
    "Qr"
    "4r/bW1z97Ze8c=";
constexpr char kWrapKey[] = "a57a5cc9ae1ce84117cdadb631585a56a6b0b9f7917c660f2336ad77ceb5ddaf";

PasswordKeys::WrapKey KeyOf(const char* digits) {
  PasswordKeys::WrapKey key{};
  const auto bytes = Hexadecimal::Bytes(digits, key.size());
  EXPECT_TRUE(bytes);
  std::copy(bytes->begin(), bytes->end(), key.begin());
  return key;
}

Json::Value Record(const std::string& sealed) {
  Json::Value record(Json::objectValue);
  record["format"] = 1;
  record["sealed"] = sealed;
  return record;
}

Json::Value KnownKeys() {
  Json::Value keys(Json::objectValue);
  keys["mk1"] = std::string(64, '1');
  keys["mk2"] = std::string(64, '2');
  keys["userKey1"] = std::string(32, '3');
  keys["userKey3"] = std::string(64, '4');
  keys["userKeyId1"] = std::string(32, '5');
  keys["userKeyId3"] = std::string(32, '6');
  return keys;
}

TEST(WrappedKeysTest, RecordOfAnotherImplementationOpens) {
  const auto keys = WrappedKeys::Open(Record(kSealed), kUser, KeyOf(kWrapKey));
  ASSERT_TRUE(keys);
  EXPECT_EQ(*keys, KnownKeys());
}

TEST(WrappedKeysTest, SealedKeysOpenAgainAndNoTwoRecordsAreEqual) {
  const auto key = KeyOf(kWrapKey);
  const Json::Value first = WrappedKeys::Seal(KnownKeys(), kUser, key);
  const Json::Value second = WrappedKeys::Seal(KnownKeys(), kUser, key);
  EXPECT_NE(first["sealed"], second["sealed"]);
  for (const Json::Value& record : {first, second}) {
    const auto opened = WrappedKeys::Open(record, kUser, key);
    ASSERT_TRUE(opened);
    EXPECT_EQ(*opened, KnownKeys());
  }
}

TEST(WrappedKeysTest, MembersThatAreNoKeysAreNotSealed) {
  Json::Value account = KnownKeys();
  account["refreshToken"] = "token";
  const auto key = KeyOf(kWrapKey);
  EXPECT_EQ(*WrappedKeys::Open(WrappedKeys::Seal(account, kUser, key), kUser, key), KnownKeys());
}

TEST(WrappedKeysTest, AnotherUserOrKeyDoesNotOpen) {
  EXPECT_FALSE(WrappedKeys::Open(Record(kSealed), "user-2", KeyOf(kWrapKey)));
  auto key = KeyOf(kWrapKey);
  key[31] ^= 1;
  EXPECT_FALSE(WrappedKeys::Open(Record(kSealed), kUser, key));
}

TEST(WrappedKeysTest, DamagedRecordsDoNotOpen) {
  const std::string sealed = kSealed;
  for (std::size_t at = 0; at < sealed.size() - 1; at += 7) {
    std::string damaged = sealed;
    damaged[at] = damaged[at] == 'A' ? 'B' : 'A';
    EXPECT_FALSE(WrappedKeys::Open(Record(damaged), kUser, KeyOf(kWrapKey))) << at;
  }
  for (const char* text :
       {"", "AAAA", "no base64!", "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXh0ua2cfgSO/MwIVExJqvOg=="})
    EXPECT_FALSE(WrappedKeys::Open(Record(text), kUser, KeyOf(kWrapKey))) << text;
}

TEST(WrappedKeysTest, RecordsOfALaterFormatDoNotOpen) {
  Json::Value record = Record(kSealed);
  record["format"] = 2;
  EXPECT_FALSE(WrappedKeys::Open(record, kUser, KeyOf(kWrapKey)));
  EXPECT_FALSE(WrappedKeys::Open(Json::Value(), kUser, KeyOf(kWrapKey)));
}

}  // namespace
