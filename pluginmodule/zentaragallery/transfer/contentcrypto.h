#pragma once

#include <json/value.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/base/globalparamwrapper.h"

// What reaches the cloud as the bytes of a picture, and the way back.
//
// The key and the IV of a content are the two halves of an HMAC over it, whose
// key is a secret of the user: the same file of one user always becomes the same
// bytes, those of two users never. Each object of a content is a stream of its
// own, with the same key and IV and its own padding:
//
//   object i      AES-128-CBC(key, iv, plain[start, start + slice)) + padding
//   thumbnails    AES-128-CBC(small) AES-128-CBC(large), in one object
//
// All AES is CBC with PKCS#7 padding (RFC 5652, 6.3): AES-128 for a key of 16
// bytes, else AES-256. Safe from any thread. Nothing here logs a key.
namespace ContentCrypto {

// Hexadecimal digits in either case; empty for anything else.
std::string FromHex(std::string_view digits);
std::string ToHex(std::string_view bytes);       // small letters
std::string ToUpperHex(std::string_view bytes);  // capital letters

// The 16 bytes of a master key's first 32 digits; empty when they are none.
std::string MasterKey(const std::string& digits);

struct KeyAndIv {
  std::string key;
  std::string iv;
  bool IsUsable() const { return !key.empty() && !iv.empty(); }
};
// The two halves of an HMAC's text.
KeyAndIv KeysOfHmac(const std::string& hmac);

// Empty when the library fails or a key or IV has a wrong length; for the second
// also when the padding is not whole, as under a wrong key.
std::optional<std::string> Encrypt(const std::string& key, const std::string& iv, std::string_view plain);
std::optional<std::string> Decrypt(const std::string& key, const std::string& iv, std::string_view cipher);

// Encrypts one stream in passes.
class StreamCipher {
 public:
  StreamCipher(const std::string& key, const std::string& iv);
  ~StreamCipher();
  StreamCipher(const StreamCipher&) = delete;
  StreamCipher& operator=(const StreamCipher&) = delete;
  // Writes at most `plain.size() + 16` bytes to `out`, and how many to `written`.
  // False once anything has failed.
  bool Update(std::string_view plain, char* out, std::size_t& written);
  // Writes the last block, 16 bytes.
  bool Finish(char* out, std::size_t& written);

 private:
  struct State;
  const std::unique_ptr<State> state;
};

// Bytes that `plain` bytes become: up to the next block, a whole one behind full
// blocks.
constexpr std::int64_t PaddedSize(std::int64_t plain) { return (plain / 16 + 1) * 16; }

// The record that travels with an asset and brings a reader to its key, wrapped
// with both keys of the user. Null for an empty HMAC and when it cannot be wrapped.
Json::Value CipherRecord(const std::string& hmac, const st_UserInfo& user);

// The hash of a resource: HMAC-SHA-256 with `mk2` over the HMAC's text, in a
// field of 64 bytes whose second half stays zero: 128 digits. Empty when `mk2` is no
// key.
std::string ResourceHash(const std::string& mk2, const std::string& hmac);

// Reads a content whose key stands wrapped in `encryptedKey`, by the user's key 1
// or 3. False, logged, for another type, a wrong key and damaged bytes.
//
// The plain bytes take the place of the others, so that a slice is in memory once:
// `data` is empty after a success, and as it was after a failure.
bool DecryptData(std::int32_t keyType, const std::string& encryptedKey, const std::string& ivText,
                 std::string& data, std::string& plain);
// The same for a content of any size in a file, which is one stream, into the file
// `plain`, in passes. False, logged; also when `goesOn` says no. What was written until
// then is left to the caller.
bool DecryptFile(std::int32_t keyType, const std::string& encryptedKey, const std::string& ivText,
                 const std::filesystem::path& data, const std::filesystem::path& plain,
                 const std::function<bool()>& goesOn);
// As DecryptData, for a content that came with its HMAC's text.
bool DecryptDataByHmac(const std::string& hmac, std::string& data, std::string& plain);

}  // namespace ContentCrypto
