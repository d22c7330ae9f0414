#pragma once

#include <string>

#include "host/base/globalparamwrapper.h"

// A user's keys and one text, for which every expected value was made with the
// openssl command line:
//   openssl dgst -sha256 -mac HMAC -macopt hexkey:MK1 FILE
//   openssl enc -aes-128-cbc -K KEY -iv IV -in FILE | xxd -p
// The master keys are 000102...0f and f0f1...ff, the user's 1011...1f and
// 2021...3f.

inline constexpr char kFox[] = "The quick brown fox jumps over the lazy dog";
inline constexpr char kFoxHmac[] = "19cef782d548b76d9e5e1b5c057dd9c1f2817c1df3a626e4c5dfffc88e6e4304";
inline constexpr char kMasterKey1[] = "000102030405060708090a0b0c0d0e0f";
// Digits behind the first 32 do not count.
inline constexpr char kMasterKey2[] = "F0F1F2F3F4F5F6F7F8F9FAFBFCFDFEFF00112233445566778899aabbccddeeff";
// The fields of an asset whose HMAC is kFoxHmac.
inline constexpr char kFoxResourceHash[] =
    "bcde0bab2c9d6ba30fe5c10b9e3c8f598221326be6d4473a743dde44d2d019c3"
    "0000000000000000000000000000000000000000000000000000000000000000";
inline constexpr char kFoxKey1[] =
    "F2817C1DF3A626E4C5DFFFC88E6E4304"
    "B55EEB8D1226EE0C2B9686AE8BAB7B30CD0C3B2299276159A53B303A0B0110C985159477C98201BF18CAFF7D61268462";
inline constexpr char kFoxKey3[] =
    "F2817C1DF3A626E4C5DFFFC88E6E4304"
    "169BED0DEE94ADBDE4B6CA3ACED00C7C90B452B6E98EE4F3E18E5256E9E222C95821867A41BA816F8A47F5662787E245";

inline st_UserInfo KnownUser() {
  st_UserInfo user;
  user.userId = L"user-1";
  for (int i = 0; i < 16; ++i) user.userKey1[i] = static_cast<unsigned char>(0x10 + i);
  for (int i = 0; i < 32; ++i) user.userKey3[i] = static_cast<unsigned char>(0x20 + i);
  const std::wstring id1 = L"key-one", id3 = L"key-three";
  std::copy(id1.begin(), id1.end(), user.userKeyId1);
  std::copy(id3.begin(), id3.end(), user.userKeyId3);
  return user;
}
