#include "photocloud/content/urlsigner.h"

#include "photocloud/base/digest.h"
#include "photocloud/base/text.h"

namespace photocloud {
namespace {

// Long enough for one slow object; a client asks again when it is over.
constexpr std::int64_t kValidSeconds = 3600;

}  // namespace

UrlSigner::UrlSigner(std::string signingSecret, const Clock& serviceClock)
    : secret(std::move(signingSecret)), clock(serviceClock) {}

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
  return HmacSha256Hex(secret, method + "\n" + objectId + "\n" + expires);
}

}  // namespace photocloud
