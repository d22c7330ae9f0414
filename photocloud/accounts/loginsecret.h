#pragma once

#include <string>

namespace photocloud {

// What a device sends in place of a password. Devices derive it themselves; here
// it is derived for an operator who adds an account by its password.
//
//   master = Argon2id(password, salt, 3 passes, 64 MiB, 1 lane), 32 bytes
//   salt   = first 16 of the 32 bytes BLAKE2b("zentara-cloud login 1:" + name),
//            the name with its letters A to Z in lower case
//   secret = crypto_kdf(master, id 1, "login___"), 32 bytes, as lower-case hex
//
// Empty when memory is short.
std::string DeriveLoginSecret(const std::string& userName, const std::string& password);

}  // namespace photocloud
