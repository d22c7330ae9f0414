#pragma once

#include <sodium.h>

#include <cstdint>
#include <string>

#include "photocloud/base/clock.h"

namespace photocloud {

// Signs paths of objects, so that bytes travel without the caller's token and
// only for a while. A signature holds for one method and one object.
class UrlSigner {
 public:
  UrlSigner(const std::string& secret, const Clock& clock);

  // "?expires=...&signature=..."
  std::string Query(const std::string& method, const std::string& objectId) const;
  bool Accepts(const std::string& method, const std::string& objectId, const std::string& expires,
               const std::string& signature) const;

 private:
  std::string Sign(const std::string& method, const std::string& objectId, const std::string& expires) const;

  crypto_auth_hmacsha256_state keyed;  // Before the first byte of a text.
  const Clock& clock;
};

}  // namespace photocloud
