#pragma once

#include <json/value.h>

#include <optional>
#include <string>

#include "host/account/passwordkeys.h"

// The keys of an account as they lie at the photo cloud: sealed, so that only who
// knows the password opens them, and bound to the user id, so that a service
// cannot pass off another account's.
//
//   {"format":1,"sealed":base64([nonce 24][ciphertext][mac 16])}
//
// XChaCha20-Poly1305 over the JSON text of AccountKeys::Of; the associated data
// are the bytes of the user id.
namespace WrappedKeys {

Json::Value Seal(const Json::Value& keys, const std::string& userId, const PasswordKeys::WrapKey& wrapKey);
// Nothing when the record is of another format, under another key or user, or
// damaged, or when the keys in it are not whole.
std::optional<Json::Value> Open(const Json::Value& record, const std::string& userId,
                                const PasswordKeys::WrapKey& wrapKey);

}  // namespace WrappedKeys
