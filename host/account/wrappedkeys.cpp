#include "host/account/wrappedkeys.h"

#include <sodium.h>

#include <vector>

#include "host/account/accountkeys.h"
#include "host/base/jsontext.h"

namespace WrappedKeys {
namespace {

constexpr int kFormat = 1;
constexpr std::size_t kNonceBytes = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr std::size_t kMacBytes = crypto_aead_xchacha20poly1305_ietf_ABYTES;
constexpr int kBase64 = sodium_base64_VARIANT_ORIGINAL;
static_assert(std::tuple_size_v<PasswordKeys::WrapKey> == crypto_aead_xchacha20poly1305_ietf_KEYBYTES);

using Bytes = std::vector<unsigned char>;

const unsigned char* Raw(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

std::string ToBase64(const Bytes& bytes) {
  std::string text(sodium_base64_encoded_len(bytes.size(), kBase64), '\0');
  sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(), kBase64);
  text.pop_back();  // The library counts a zero at the end.
  return text;
}

Bytes FromBase64(const std::string& text) {
  if (text.empty()) return {};  // The library takes no null address, not even for no bytes.
  Bytes bytes(text.size());
  std::size_t length = 0;
  const bool whole = sodium_base642bin(bytes.data(), bytes.size(), text.data(), text.size(), nullptr, &length,
                                       nullptr, kBase64) == 0;
  bytes.resize(whole ? length : 0);
  return bytes;
}

}  // namespace

Json::Value Seal(const Json::Value& keys, const std::string& userId, const PasswordKeys::WrapKey& wrapKey) {
  const std::string text = JsonText::Write(AccountKeys::Of(keys));
  Bytes sealed(kNonceBytes + text.size() + kMacBytes);
  randombytes_buf(sealed.data(), kNonceBytes);
  crypto_aead_xchacha20poly1305_ietf_encrypt(sealed.data() + kNonceBytes, nullptr, Raw(text), text.size(),
                                             Raw(userId), userId.size(), nullptr, sealed.data(),
                                             wrapKey.data());
  Json::Value record(Json::objectValue);
  record["format"] = kFormat;
  record["sealed"] = ToBase64(sealed);
  return record;
}

std::optional<Json::Value> Open(const Json::Value& record, const std::string& userId,
                                const PasswordKeys::WrapKey& wrapKey) {
  if (JsonText::Number(record, "format") != kFormat) return std::nullopt;
  const Bytes sealed = FromBase64(JsonText::Text(record, "sealed"));
  if (sealed.size() < kNonceBytes + kMacBytes) return std::nullopt;
  std::string text(sealed.size() - kNonceBytes - kMacBytes, '\0');
  if (crypto_aead_xchacha20poly1305_ietf_decrypt(
          reinterpret_cast<unsigned char*>(text.data()), nullptr, nullptr, sealed.data() + kNonceBytes,
          sealed.size() - kNonceBytes, Raw(userId), userId.size(), sealed.data(), wrapKey.data()) != 0) {
    return std::nullopt;
  }
  const auto keys = JsonText::Parse(text);
  sodium_memzero(text.data(), text.size());
  if (!keys || !keys->isObject() || !AccountKeys::AreWhole(*keys)) return std::nullopt;
  return AccountKeys::Of(*keys);
}

}  // namespace WrappedKeys
