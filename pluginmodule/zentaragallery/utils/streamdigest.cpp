#include "utils/streamdigest.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include <array>

namespace {

struct FreeContext {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
  void operator()(EVP_MAC_CTX* context) const { EVP_MAC_CTX_free(context); }
  void operator()(EVP_MAC* mac) const { EVP_MAC_free(mac); }
};

std::string ToHex(const unsigned char* bytes, std::size_t length, StreamDigest::Digits digits) {
  const char* alphabet = digits == StreamDigest::Digits::Upper ? "0123456789ABCDEF" : "0123456789abcdef";
  std::string text;
  text.reserve(length * 2);
  for (std::size_t i = 0; i < length; ++i) {
    text.push_back(alphabet[bytes[i] >> 4]);
    text.push_back(alphabet[bytes[i] & 15]);
  }
  return text;
}

}  // namespace

// Exactly one of the two contexts is set.
struct StreamDigest::State {
  std::unique_ptr<EVP_MD_CTX, FreeContext> plain;
  std::unique_ptr<EVP_MAC_CTX, FreeContext> keyed;
  bool sound = false;
};

StreamDigest::StreamDigest(Kind kind) : state(std::make_unique<State>()) {
  const EVP_MD* algorithm = kind == Kind::Md5 ? EVP_md5() : EVP_sha256();
  state->plain.reset(EVP_MD_CTX_new());
  state->sound = state->plain && EVP_DigestInit_ex(state->plain.get(), algorithm, nullptr) == 1;
}

StreamDigest::StreamDigest(std::unique_ptr<State> made) : state(std::move(made)) {}
StreamDigest::~StreamDigest() = default;
StreamDigest::StreamDigest(StreamDigest&&) noexcept = default;

StreamDigest StreamDigest::Hmac(std::string_view key) {
  auto made = std::make_unique<State>();
  const std::unique_ptr<EVP_MAC, FreeContext> mac(EVP_MAC_fetch(nullptr, "HMAC", nullptr));
  made->keyed.reset(mac ? EVP_MAC_CTX_new(mac.get()) : nullptr);
  char algorithm[] = "SHA256";
  const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, algorithm, 0),
                                   OSSL_PARAM_construct_end()};
  // The library takes a null key for "keep the old one", so that even a key of
  // length 0 needs an address.
  const auto* keyBytes = reinterpret_cast<const unsigned char*>(key.empty() ? "" : key.data());
  made->sound = made->keyed && EVP_MAC_init(made->keyed.get(), keyBytes, key.size(), parameters) == 1;
  return StreamDigest(std::move(made));
}

bool StreamDigest::Update(std::string_view bytes) {
  if (!state->sound) return false;
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  state->sound = (state->plain ? EVP_DigestUpdate(state->plain.get(), data, bytes.size())
                               : EVP_MAC_update(state->keyed.get(), data, bytes.size())) == 1;
  return state->sound;
}

std::string StreamDigest::Finish(Digits digits) {
  if (!state->sound) return {};
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  std::size_t length = 0;
  if (state->plain) {
    unsigned int plainLength = 0;
    state->sound = EVP_DigestFinal_ex(state->plain.get(), digest.data(), &plainLength) == 1;
    length = plainLength;
  } else {
    state->sound = EVP_MAC_final(state->keyed.get(), digest.data(), &length, digest.size()) == 1;
  }
  return state->sound ? ToHex(digest.data(), length, digits) : std::string();
}
