#include "host/account/passwordkeys.h"

#include <gtest/gtest.h>

#include "host/base/hexadecimal.h"

namespace {

// Expected values come from the reference implementation of Argon2 and from
// Python's BLAKE2b:
//
//   salt=$(printf 'zentara-cloud login 1:alice' | b2sum -l 256 | cut -c1-32)
//   printf wonderland | argon2 "$(echo $salt | xxd -r -p)" -id -t 3 -m 16 -p 1 -l 32 -r
//     ef982a98c260c80dfaa524e2ff42a351abfb57c7027a19a5524126a4293181d2
//   python3 -c "import hashlib; print(hashlib.blake2b(digest_size=32,
//     key=bytes.fromhex('ef98...'), salt=(1).to_bytes(16,'little'),
//     person=b'login___'+bytes(8)).hexdigest())"
//
// and with salt 2 and b'wrapkeys' for the second key.
struct Vector {
  const char* userName;
  const char* password;
  const char* loginSecret;
  const char* wrapKey;
};
constexpr Vector kVectors[] = {
    {"alice", "wonderland", "61d8056e8d26e1639ef03eeec0e707e4d0c5a357a9fed7fc23be7aa1bf2fc2ca",
     "a57a5cc9ae1ce84117cdadb631585a56a6b0b9f7917c660f2336ad77ceb5ddaf"},
    {"aLICE", "wonderland", "61d8056e8d26e1639ef03eeec0e707e4d0c5a357a9fed7fc23be7aa1bf2fc2ca",
     "a57a5cc9ae1ce84117cdadb631585a56a6b0b9f7917c660f2336ad77ceb5ddaf"},
    {"\u00c4nne.B", "p\u00e4ss w\u00f6rd", "9d24305208dd25d6490ed46692cac62c992d63e32c5ff09a3ec1b660aa8f63f5",
     "ea68e4b506d033db0ed1f3a93f5c29236f779d1af5c80b6816127c05883fb462"},
};

TEST(PasswordKeysTest, KeysAreThoseOfIndependentImplementations) {
  for (const Vector& vector : kVectors) {
    const auto keys = PasswordKeys::Derive(vector.userName, vector.password);
    ASSERT_TRUE(keys) << vector.userName;
    EXPECT_EQ(keys->loginSecret, vector.loginSecret) << vector.userName;
    EXPECT_EQ(Hexadecimal::Text(keys->wrapKey), vector.wrapKey) << vector.userName;
  }
}

}  // namespace
