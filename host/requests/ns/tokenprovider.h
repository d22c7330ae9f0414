#pragma once

#include <string>

namespace NS {

// The session that requests go out with. Who is logged in is known in a layer above,
// which installs itself here; until then, and in programs without accounts, nobody is.
//
// Safe from any thread, and so are its implementations.
class TokenProvider {
 public:
  virtual ~TokenProvider() = default;

  // Null takes it away. It lives until the process ends, or until it is taken away and
  // no request runs.
  static void Install(TokenProvider* provider);
  // What is installed, or one without a session.
  static TokenProvider& Current();

  // Renews the session when its token ends soon. False, logged, when that was due and
  // did not work.
  virtual bool KeepTokenFresh() = 0;
  // Renews it because the service refused `refusedToken`. True when another token is
  // current now.
  virtual bool RenewToken(const std::wstring& refusedToken) = 0;
  virtual std::wstring AccessToken() const = 0;  // empty while nobody is logged in
  virtual std::string ServerUrl() const = 0;     // without a "/" at the end; may be empty
};

}  // namespace NS
