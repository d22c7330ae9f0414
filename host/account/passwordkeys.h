#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

// What a password stands for at a photo cloud. The password itself never leaves
// this computer; the service gets the login secret, which tells nothing of the
// wrapping key.
//
//   master    = Argon2id(password, salt, 3 passes, 64 MiB, 1 lane), 32 bytes
//   salt      = first 16 of the 32 bytes BLAKE2b("zentara-cloud login 1:" + name),
//               the name with its letters A to Z in lower case
//   login     = crypto_kdf(master, id 1, "login___"), 32 bytes, as lower-case hex
//   wrap key  = crypto_kdf(master, id 2, "wrapkeys"), 32 bytes
//
// The salt has to be known before the first answer of the service, so it comes
// from the name. The memory is that of RFC 9106's second recommended set.
struct PasswordKeys {
  using WrapKey = std::array<std::uint8_t, 32>;

  PasswordKeys() = default;
  ~PasswordKeys();  // wipes the keys
  PasswordKeys(PasswordKeys&&) = default;
  PasswordKeys& operator=(PasswordKeys&&) = default;
  PasswordKeys(const PasswordKeys&) = delete;
  PasswordKeys& operator=(const PasswordKeys&) = delete;

  // Takes some tenths of a second. Nothing when memory is short.
  static std::optional<PasswordKeys> Derive(const std::string& userName, const std::string& password);

  std::string loginSecret;
  WrapKey wrapKey{};
};
