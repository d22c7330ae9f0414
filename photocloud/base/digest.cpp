#include "photocloud/base/digest.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include "photocloud/base/text.h"

namespace photocloud {
namespace {

std::string DigestHex(const EVP_MD* method, std::string_view bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_Digest(bytes.data(), bytes.size(), digest, &length, method, nullptr);
  return ToHex({reinterpret_cast<const char*>(digest), length});
}

}  // namespace

std::string Sha256Hex(std::string_view bytes) { return DigestHex(EVP_sha256(), bytes); }

std::string Md5Hex(std::string_view bytes) { return DigestHex(EVP_md5(), bytes); }

std::string HmacSha256Hex(std::string_view key, std::string_view bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
       reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest, &length);
  return ToHex({reinterpret_cast<const char*>(digest), length});
}

}  // namespace photocloud
