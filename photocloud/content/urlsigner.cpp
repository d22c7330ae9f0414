#include "photocloud/content/urlsigner.h"

#include "photocloud/base/text.h"

namespace photocloud {
namespace {

// Long enough for one slow object; a client asks again when it is over.
constexpr std::int64_t kValidSeconds = 3600;

}  // namespace

UrlSigner::UrlSigner(const std::string& secret, const Clock& serviceClock) : clock(serviceClock) {
  crypto_auth_hmacsha256_init(&keyed, reinterpret_cast<const unsigned char*>(secret.data()), secret.size());
}

std::string UrlSigner::Query(const std::string& method, const std::string& objectId) const {
  const std::string expires = std::to_string(clock.NowMs() / 1000 + kValidSeconds);
  return "?expires=" + expires + "&signature=" + Sign(method, objectId, expires);
}

bool UrlSigner::Accepts(const std::string& method, const std::string& objectId, const std::string& expires,
                        const std::string& signature) const {
  const auto until = ParseNumber(expires);
  if (!until || *until < clock.NowMs() / 1000) return false;
  return EqualSecrets(Sign(method, objectId, expires), signature);
}

std::string UrlSigner::Sign(const std::string& method, const std::string& objectId,
                            const std::string& expires) const {
  // The key's part of the digest is done once for all signatures.
  crypto_auth_hmacsha256_state state = keyed;
  const std::string text = method + "\n" + objectId + "\n" + expires;
  unsigned char digest[crypto_auth_hmacsha256_BYTES];
  crypto_auth_hmacsha256_update(&state, reinterpret_cast<const unsigned char*>(text.data()), text.size());
  crypto_auth_hmacsha256_final(&state, digest);
  return ToHex({reinterpret_cast<const char*>(digest), sizeof digest});
}

}  // namespace photocloud
