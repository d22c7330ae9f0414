#include "host/account/passwordkeys.h"

#include <sodium.h>

#include "host/base/hexadecimal.h"

namespace {

constexpr char kSaltPrefix[] = "zentara-cloud login 1:";
constexpr unsigned long long kPasses = 3;
constexpr std::size_t kMemoryBytes = std::size_t{64} << 20;
constexpr std::uint64_t kLoginId = 1;
constexpr std::uint64_t kWrapId = 2;
constexpr char kLoginContext[crypto_kdf_CONTEXTBYTES + 1] = "login___";
constexpr char kWrapContext[crypto_kdf_CONTEXTBYTES + 1] = "wrapkeys";

using Key = std::array<std::uint8_t, crypto_kdf_KEYBYTES>;

// Only ASCII letters: tables of other letters differ between systems and years.
std::string LowerCase(std::string name) {
  for (char& letter : name) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return name;
}

bool DeriveMaster(const std::string& userName, const std::string& password, Key& master) {
  const std::string text = kSaltPrefix + LowerCase(userName);
  std::array<std::uint8_t, crypto_generichash_BYTES> hash;
  crypto_generichash(hash.data(), hash.size(), reinterpret_cast<const unsigned char*>(text.data()),
                     text.size(), nullptr, 0);
  static_assert(crypto_pwhash_SALTBYTES == 16);
  return crypto_pwhash(master.data(), master.size(), password.data(), password.size(), hash.data(), kPasses,
                       kMemoryBytes, crypto_pwhash_ALG_ARGON2ID13) == 0;
}

}  // namespace

PasswordKeys::~PasswordKeys() {
  sodium_memzero(loginSecret.data(), loginSecret.size());
  sodium_memzero(wrapKey.data(), wrapKey.size());
}

std::optional<PasswordKeys> PasswordKeys::Derive(const std::string& userName, const std::string& password) {
  Key master;
  if (sodium_init() < 0 || !DeriveMaster(userName, password, master)) return std::nullopt;
  PasswordKeys keys;
  Key login;
  crypto_kdf_derive_from_key(login.data(), login.size(), kLoginId, kLoginContext, master.data());
  crypto_kdf_derive_from_key(keys.wrapKey.data(), keys.wrapKey.size(), kWrapId, kWrapContext, master.data());
  keys.loginSecret = Hexadecimal::Text(login);
  sodium_memzero(login.data(), login.size());
  sodium_memzero(master.data(), master.size());
  return keys;
}
