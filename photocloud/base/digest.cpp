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

struct Digester::State {
  EVP_MD_CTX* const sha256 = EVP_MD_CTX_new();
  EVP_MD_CTX* const md5 = EVP_MD_CTX_new();
};

namespace {

std::string FinishHex(EVP_MD_CTX* context) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_DigestFinal_ex(context, digest, &length);
  return ToHex({reinterpret_cast<const char*>(digest), length});
}

}  // namespace

Digester::Digester() : state(std::make_unique<State>()) {
  EVP_DigestInit_ex(state->sha256, EVP_sha256(), nullptr);
  EVP_DigestInit_ex(state->md5, EVP_md5(), nullptr);
}

Digester::~Digester() {
  EVP_MD_CTX_free(state->sha256);
  EVP_MD_CTX_free(state->md5);
}

void Digester::Add(std::string_view piece) {
  EVP_DigestUpdate(state->sha256, piece.data(), piece.size());
  EVP_DigestUpdate(state->md5, piece.data(), piece.size());
}

Digester::Digests Digester::Finish() { return {FinishHex(state->sha256), FinishHex(state->md5)}; }

}  // namespace photocloud
