#include "photocloud/accounts/passwords.h"

#include <sodium.h>

namespace photocloud {

std::string MakeVerifier(const std::string& password, PasswordCost cost) {
  const bool least = cost == PasswordCost::Least;
  char verifier[crypto_pwhash_STRBYTES];
  const int result =
      crypto_pwhash_str(verifier, password.data(), password.size(),
                        least ? crypto_pwhash_OPSLIMIT_MIN : crypto_pwhash_OPSLIMIT_INTERACTIVE,
                        least ? crypto_pwhash_MEMLIMIT_MIN : crypto_pwhash_MEMLIMIT_INTERACTIVE);
  return result == 0 ? verifier : std::string();
}

bool VerifyPassword(const std::string& verifier, const std::string& password) {
  return crypto_pwhash_str_verify(verifier.c_str(), password.data(), password.size()) == 0;
}

}  // namespace photocloud
