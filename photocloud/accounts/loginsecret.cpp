#include "photocloud/accounts/loginsecret.h"

#include <sodium.h>

#include <array>

namespace photocloud {
namespace {

constexpr unsigned long long kPasses = 3;
constexpr std::size_t kMemory = std::size_t{64} * 1024 * 1024;
constexpr std::size_t kSecretBytes = 32;

using Hash = std::array<unsigned char, crypto_generichash_BYTES>;

Hash SaltOf(std::string userName) {
  // Letters beyond ASCII stay: tables of their cases differ between systems.
  for (char& letter : userName) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter | 0x20);
  }
  const std::string text = "zentara-cloud login 1:" + userName;
  Hash hash;
  crypto_generichash(hash.data(), hash.size(), reinterpret_cast<const unsigned char*>(text.data()),
                     text.size(), nullptr, 0);
  return hash;
}

}  // namespace

std::string DeriveLoginSecret(const std::string& userName, const std::string& password) {
  std::array<unsigned char, crypto_kdf_KEYBYTES> master;
  if (crypto_pwhash(master.data(), master.size(), password.data(), password.size(), SaltOf(userName).data(),
                    kPasses, kMemory, crypto_pwhash_ALG_ARGON2ID13) != 0) {
    return {};
  }
  std::array<unsigned char, kSecretBytes> secret;
  crypto_kdf_derive_from_key(secret.data(), secret.size(), 1, "login___", master.data());
  std::string text(2 * kSecretBytes + 1, '\0');
  sodium_bin2hex(text.data(), text.size(), secret.data(), secret.size());
  text.pop_back();
  return text;
}

}  // namespace photocloud
