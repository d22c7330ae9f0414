#include "host/requests/ns/tokenprovider.h"

#include <atomic>

namespace NS {
namespace {

class NoSession : public TokenProvider {
 public:
  bool KeepTokenFresh() override { return true; }
  bool RenewToken(const std::wstring&) override { return false; }
  std::wstring AccessToken() const override { return {}; }
  std::string ServerUrl() const override { return {}; }
};

std::atomic<TokenProvider*> installed{nullptr};

}  // namespace

void TokenProvider::Install(TokenProvider* provider) { installed = provider; }

TokenProvider& TokenProvider::Current() {
  // Never destroyed: threads may still send while the process ends.
  static TokenProvider* const none = new NoSession;
  TokenProvider* const provider = installed;
  return provider ? *provider : *none;
}

}  // namespace NS
